/* vurotarn_error.cpp - the library's own error store, one per process, and
 * the table that maps its codes to keys of the web interface's texts. */
#include <stddef.h>

#include <string>

#include "vurotarn_error.h"

VUROTARN_API int giTerminalDebug = 0;

static int g_error_code = 0;
static const char* g_file = NULL;
static int g_line = 0;
static std::string g_cause;

static const VUROTARN_ERROR_STRING rgErrorString[] = {
    {VUROTARN_ERR_SYSTEM, "common", "error_system"},
    {VUROTARN_ERR_UNUSED, NULL, NULL},
    {VUROTARN_ERR_LOG_DB_OPEN, NULL, NULL},
    {VUROTARN_ERR_LOG_GET, NULL, NULL},
    {VUROTARN_ERR_LOG_SET, NULL, NULL},
    {VUROTARN_ERR_LOG_CREATE, NULL, NULL},
    {VUROTARN_ERR_LOG_DELETE, NULL, NULL},
};

int VUROTARNErrSetEx(int error_code, const char* file, int line) {
    g_error_code = error_code;
    g_file = file;
    g_line = line;
    return -1;
}

void VUROTARNErrReset() {
    g_error_code = 0;
    g_file = NULL;
    g_line = 0;
    g_cause.clear();
}

void VUROTARNErrSetCause(const char* szCause) { g_cause = szCause != NULL ? szCause : ""; }

const char* VUROTARNErrGetCause() { return g_cause.c_str(); }

int VUROTARNErrGet() { return g_error_code; }

const char* VUROTARNErrGetFile() { return g_file; }

int VUROTARNErrGetLine() { return g_line; }

const char* VUROTARNErrGetString(int error_code, const char** pszSec) {
    for (const VUROTARN_ERROR_STRING& row : rgErrorString) {
        if (row.error_code != error_code) {
            continue;
        }
        if (pszSec != NULL) {
            *pszSec = row.szSec ? row.szSec : "";
        }
        return row.szKey;
    }
    return "";
}
