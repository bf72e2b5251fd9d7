/* vurotarn_sqlite.h - the transaction pair for callers outside the library
 * and the builders of SQL condition text. */
#ifndef VUROTARN_SQLITE_H
#define VUROTARN_SQLITE_H

#include "vurotarn_type.h"

struct sqlite3;

#define VUROTARN_SQLITE_DB_PATH "/var/packages/TARN/target/db/tarn_db.sqlite"

/* The connection of VUROTARNBeginTranscation / VUROTARNCommitTranscation; no
 * record operation uses it. */
extern VUROTARN_API struct sqlite3* vurotarn_sqlite_db;

VUROTARN_API int VUROTARNBeginTranscation();
VUROTARN_API int VUROTARNCommitTranscation();
VUROTARN_API int VUROTARNSQLConditionCreate(const PQLIBSZHASH pParms, char* szSQL, size_t nSQL);
VUROTARN_API int VUROTARNSQLIn(const char* szColumnName, PQLIBSZLIST pList, char* szSqlCond,
                               size_t nSqlCond);
VUROTARN_API int VUROTARNSQLEscapeLikeValue(const char* szFrom, char** szTo);

#endif
