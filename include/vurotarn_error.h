/* vurotarn_error.h - the library's own error store (used by the event log)
 * and the switch that copies traces to the terminal. */
#ifndef VUROTARN_ERROR_H
#define VUROTARN_ERROR_H

#include "vurotarn_type.h"

#define VUROTARN_ERR_SYSTEM 500
#define VUROTARN_ERR_UNUSED 501
#define VUROTARN_ERR_LOG_DB_OPEN 502
#define VUROTARN_ERR_LOG_GET 503
#define VUROTARN_ERR_LOG_CREATE 504
#define VUROTARN_ERR_LOG_SET 505
#define VUROTARN_ERR_LOG_DELETE 506

typedef struct _tag_vurotarn_error_string_ {
    int error_code;
    const char* szSec;
    const char* szKey;
} VUROTARN_ERROR_STRING;

/* Non-zero copies every trace to standard output. The library only reads it. */
extern VUROTARN_API int giTerminalDebug;

VUROTARN_API int VUROTARNErrSetEx(int error_code, const char* file, int line);
VUROTARN_API void VUROTARNErrReset();
VUROTARN_API int VUROTARNErrGet();
VUROTARN_API const char* VUROTARNErrGetFile();
VUROTARN_API int VUROTARNErrGetLine();
VUROTARN_API const char* VUROTARNErrGetString(int error_code, const char** pszSec);
/* The cause of the last database step that failed, in SQLite's words
 * ("database or disk is full", "file is not a database"); "" when none
 * failed since the last reset. Callers name it in their failure messages. */
VUROTARN_API void VUROTARNErrSetCause(const char* szCause);
VUROTARN_API const char* VUROTARNErrGetCause();

#define VUROTARNErrSet(code) VUROTARNErrSetEx((code), __FILE__, __LINE__)

#endif
