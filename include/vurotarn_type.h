/* vurotarn_type.h - types shared by every family of libtarn: object types,
 * the export marker and the truth type of the platform. */
#ifndef VUROTARN_TYPE_H
#define VUROTARN_TYPE_H

#include <stddef.h>
#include <time.h>

#include <vurocore.h>

#define VUROTARN_API __attribute__((visibility("default")))

/* Kinds of tree node and of delegate holder. */
#define VURO_TARN_TYPE_PEER 1
#define VURO_TARN_TYPE_OU 2
#define VURO_TARN_TYPE_GPO 3
#define VURO_TARN_TYPE_USER 8
#define VURO_TARN_TYPE_GROUP 9

/* Change-log actions passed to the family log writers. */
#define VUROTARN_LOG_ACTION_CREATE 0
#define VUROTARN_LOG_ACTION_SET 1
#define VUROTARN_LOG_ACTION_DELETE 2

#endif
