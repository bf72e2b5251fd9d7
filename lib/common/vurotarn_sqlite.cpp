/* vurotarn_sqlite.cpp - database access: the SQL step with its bounded retry,
 * per-call connections, the caller's transaction pair, and the builders of
 * condition, IN and LIKE texts. Leans on SQLite's %q quoting throughout. */
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "common/vurotarn_sqlite_int.h"
#include "vurotarn_macro_util.h"

VUROTARN_API sqlite3* vurotarn_sqlite_db = NULL;
static size_t begin_count = 0;

static const char* const kOpenTextMain =
    "0 != sqlite3_open(VUROTARN_SQLITE_DB_PATH, &vurotarn_sqlite_db)";

void VUROTARNRandInit() {
    static bool blInit = false;
    if (!blInit) {
        srand((unsigned)(time(NULL) + getpid()));
        blInit = true;
    }
}

static std::string dbFile(const char* szDbPath) { return VUROSysPathStr(szDbPath); }

/* Open checked, inside the bracket, with the condition trace written there
 * so that it carries errno. */
static int sqlOpenChecked(sqlite3** pDb, const char* szDbPath, const char* szOpenText) {
    VUROTARN_PRIV priv;
    bool blFailed = false;
    ENTERCriticalSection(priv);
    // A path the root join refused is "", which SQLite would open as a
    // private temporary database: that must fail instead.
    const std::string strFile = dbFile(szDbPath);
    if (strFile.empty() || 0 != sqlite3_open(strFile.c_str(), pDb)) {
        VUROTARNTraceCond(__FILE__, __LINE__, szOpenText ? szOpenText : kOpenTextMain);
        blFailed = true;
    }
    LEAVECriticalSection(priv);
    return blFailed ? -1 : 0;
}

/* 0.1 to 1 s in most cases; the arithmetic is 32-bit on purpose, so that the
 * wrap of rand() * 32 spreads the waits of processes that collide. */
static useconds_t sqlRetrySleepTime() {
    int32_t r = (int32_t)((uint32_t)rand() * 32u);
    r = r % 1000000;
    uint32_t uSleep = (uint32_t)(r + 100000);
    if (uSleep > 999999) {
        uSleep = 999999;
    }
    return (useconds_t)uSleep;
}

int vurotarnSqlStep(sqlite3** pDb, const char* szDbPath, const char* szOpenText, const char* szSQL,
                    VUROTARN_SQL_CALLBACK callback, void* arg) {
    if (*pDb == NULL && sqlOpenChecked(pDb, szDbPath, szOpenText) != 0) {
        return -1;
    }
    size_t cbExec = strlen(szSQL) + 24;
    char* szExecSQL = (char*)calloc(cbExec, 1);
    if (szExecSQL == NULL) {
        QLIBCErrSetEx(ERR_OUT_OF_MEMORY, __FILE__, __LINE__);
        VUROTARN_TRACE("Can't malloc memory: %llu bytes\n", (unsigned long long)cbExec);
        return -1;
    }
    snprintf(szExecSQL, cbExec, "PRAGMA foreign_keys=ON;%s", szSQL);

    int rc = vurotarnSqlExecRetry(*pDb, szExecSQL, callback, arg);
    free(szExecSQL);
    return rc;
}

int vurotarnSqlExecRetry(sqlite3* db, const char* szSQL, VUROTARN_SQL_CALLBACK callback,
                         void* arg) {
    char* szErrMsg = NULL;
    int retry = 101;
    for (;;) {
        VUROTARN_PRIV priv;
        ENTERCriticalSection(priv);
        int iRvSql = sqlite3_exec(db, szSQL, callback, arg, &szErrMsg);
        LEAVECriticalSection(priv);
        if (iRvSql == 0) {
            return 0;
        }
        if (szErrMsg == NULL) {
            return -1;
        }
        if (strstr(szErrMsg, "database is locked") != NULL && --retry != 0) {
            sqlite3_free(szErrMsg);
            szErrMsg = NULL;
            usleep(sqlRetrySleepTime());
            continue;
        }
        VUROTARN_TRACE("Exec sql:[%s] error: %s\n", szSQL, szErrMsg);
        ENTERCriticalSection(priv);
        sqlite3_free(szErrMsg);
        LEAVECriticalSection(priv);
        return -1;
    }
}

VurotarnConnection::VurotarnConnection(const char* szDbPath, const char* szOpenText)
    : szDbPath_(szDbPath), szOpenText_(szOpenText) {
    VUROTARN_PRIV priv;
    ENTERCriticalSection(priv);
    // Not examined here: a handle that cannot work fails in the SQL step,
    // which also opens (and refuses) a path the root join refused.
    const std::string strFile = dbFile(szDbPath_);
    if (!strFile.empty()) {
        sqlite3_open(strFile.c_str(), &vurotarn_sqlite_db_);
    }
    LEAVECriticalSection(priv);
}

VurotarnConnection::~VurotarnConnection() {
    if (vurotarn_sqlite_db_ != nullptr) {
        int savedErrno = errno;
        VUROTARN_PRIV priv;
        ENTERCriticalSection(priv);
        sqlite3_close(vurotarn_sqlite_db_);
        vurotarn_sqlite_db_ = nullptr;
        LEAVECriticalSection(priv);
        errno = savedErrno;
    }
}

int VurotarnConnection::exec(const char* szSQL, VUROTARN_SQL_CALLBACK callback, void* arg) {
    return vurotarnSqlStep(&vurotarn_sqlite_db_, szDbPath_, szOpenText_, szSQL, callback, arg);
}

/* ---- the caller's transaction ---- */

int VUROTARNBeginTranscation() {
    VUROTARNRandInit();
    if (vurotarn_sqlite_db != NULL && begin_count != 0) {
        begin_count++;
        return 0;
    }
    if (vurotarn_sqlite_db == NULL &&
        sqlOpenChecked(&vurotarn_sqlite_db, VUROTARN_SQLITE_DB_PATH, kOpenTextMain) != 0) {
        return -1;
    }
    if (vurotarnSqlStep(&vurotarn_sqlite_db, VUROTARN_SQLITE_DB_PATH, kOpenTextMain,
                        "BEGIN TRANSACTION", NULL, NULL) != 0) {
        return -1;
    }
    begin_count++;
    return 0;
}

int VUROTARNCommitTranscation() {
    VUROTARNRandInit();
    if (vurotarn_sqlite_db == NULL) {
        VUROTARN_LOG("vurotarn_sqlite_db = NULL");
        QLIBCErrSetEx(ERR_OPEN_FAILED, __FILE__, __LINE__);
        return -1;
    }
    if (begin_count == 0) {
        VUROTARN_LOG("begin_count = 0");
        QLIBCErrSetEx(ERR_OPEN_FAILED, __FILE__, __LINE__);
        return -1;
    }
    // Counted down before the commit runs: a failed commit leaves 0.
    if (--begin_count != 0) {
        return 0;
    }
    return vurotarnSqlStep(&vurotarn_sqlite_db, VUROTARN_SQLITE_DB_PATH, kOpenTextMain,
                           "COMMIT TRANSACTION", NULL, NULL);
}

/* ---- condition text ---- */

struct VurotarnSqlKeyFormat {
    const char* szKey;
    const char* szFormat;
};

static const VurotarnSqlKeyFormat szSqlKeyOrder[] = {
    {"sort_by", " \"%q\" "},
    {"sort_by_no_escape", " %s "},
    {"sort_direction", " COLLATE NOCASE %q "},
    {"sort_extra_no_escape", " , %s"},
    {"limit", " limit %Q "},
    {"offset", " offset %Q "},
};

void vurotarnSqlSpoil(char* szBuf) {
    size_t len = strlen(szBuf);
    if (len == 0) {
        return;
    }
    size_t quotes = 0;
    for (size_t i = 0; i < len; i++) {
        quotes += szBuf[i] == '\'';
    }
    if (quotes % 2 == 0) {
        szBuf[len - 1] = szBuf[len - 1] == '\'' ? ' ' : '\'';
    }
}

bool vurotarnSqlAppendCut(char* szBuf, size_t cbBuf, const std::string& text) {
    size_t len = strlen(szBuf);
    if (len + text.size() < cbBuf) {
        memcpy(szBuf + len, text.c_str(), text.size() + 1);
        return true;
    }
    if (len + 1 < cbBuf) {
        size_t n = cbBuf - len - 1;
        memcpy(szBuf + len, text.data(), n);
        szBuf[len + n] = '\0';
    }
    vurotarnSqlSpoil(szBuf);
    return false;
}

/* Appends behind what szBuf holds; false when the text was cut. */
static bool appendCut(char* szBuf, size_t cbBuf, const std::string& text) {
    return vurotarnSqlAppendCut(szBuf, cbBuf, text);
}

int VUROTARNSQLConditionCreate(const PQLIBSZHASH pParms, char* szSQL, size_t nSQL) {
    VUROTARN_ARG_CHECK(NULL, !=, pParms, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, szSQL, return -1);
    VUROTARN_ARG_CHECK(0, <, nSQL, return -1);

    int ret = -1;
    PQLIBSZLIST pKeys = NULL;
    PQLIBSZHASH pCopy = QLIBCIHashAllocator(pParms->nSize, pParms->nItemHint);
    if (pCopy == NULL || QLIBCCopyHash(pParms, pCopy) < 0) {
        VUROTARN_LOG("QLIBCSzHashAlloc failed, error=%m");
        QLIBCSzHashFree(pCopy);
        return -1;
    }
    pKeys = QLIBCSzListAlloc(512);
    if (pKeys == NULL) {
        VUROTARN_LOG("QLIBCSzListAlloc failed, error=%m");
        QLIBCSzHashFree(pCopy);
        return -1;
    }

    char szSQL2[4096] = {0};
    char szSQL3[4096];
    bool blOrderBy = false;
    for (const VurotarnSqlKeyFormat& key : szSqlKeyOrder) {
        const char* szValue = QLIBCSzHashGetValue(pCopy, key.szKey);
        if (szValue == NULL) {
            continue;
        }
        sqlite3_snprintf(sizeof(szSQL3), szSQL3, key.szFormat, szValue);
        if (strncmp(key.szKey, "sort_by", 7) == 0) {
            appendCut(szSQL2, sizeof(szSQL2),
                      (blOrderBy ? " ," : " order by ") + std::string(szSQL3) + " ");
            blOrderBy = true;
        } else {
            appendCut(szSQL2, sizeof(szSQL2), " " + std::string(szSQL3) + " ");
        }
        QLIBCSzHashRemoveKey(pCopy, key.szKey);
    }

    if (QLIBCSzHashEnumKey(pCopy, &pKeys) < 0) {
        goto cleanup;
    }
    memset(szSQL, 0, nSQL);
    for (int i = 0; i < pKeys->nItem; i++) {
        const char* szKey = pKeys->pszItem[i];
        const char* szValue = QLIBCSzHashGetValue(pParms, szKey);
        std::string piece = i == 0 ? " where " : " and ";
        if (strcasecmp(szKey, "sqlWhere") == 0) {
            piece += " " + std::string(szValue) + " ";
        } else {
            char* szCond = sqlite3_mprintf(" %s='%q' ", szKey, szValue);
            if (szCond == NULL) {
                goto cleanup;
            }
            piece += szCond;
            sqlite3_free(szCond);
        }
        // A filter cut short could select other rows: refuse it.
        if (!appendCut(szSQL, nSQL, piece)) {
            VUROTARN_LOG("szSQL buffer is not big enough, size=%lld", (long long)nSQL);
            goto cleanup;
        }
    }
    if (szSQL2[0] != '\0') {
        if (!appendCut(szSQL, nSQL, szSQL2)) {
            VUROTARN_LOG("szSQL buffer is not big enough, size=%lld", (long long)nSQL);
            goto cleanup;
        }
    }
    ret = 0;

cleanup:
    QLIBCSzListFree(pKeys);
    QLIBCSzHashFree(pCopy);
    return ret;
}

int VUROTARNSQLIn(const char* szColumnName, PQLIBSZLIST pList, char* szSqlCond, size_t nSqlCond) {
    VUROTARN_ARG_CHECK(NULL, !=, szColumnName, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, pList, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, szSqlCond, return -1);
    VUROTARN_ARG_CHECK(0, <, nSqlCond, return -1);
    if (pList->nItem <= 0) {
        return 0;
    }
    szSqlCond[0] = '\0';
    bool whole = true;
    for (int i = 0; i < pList->nItem && whole; i++) {
        char* szItem = i == 0 ? sqlite3_mprintf(" %s in ('%q'", szColumnName, pList->pszItem[0])
                              : sqlite3_mprintf(",'%q'", pList->pszItem[i]);
        if (szItem == NULL) {
            return -1;
        }
        whole = appendCut(szSqlCond, nSqlCond, szItem);
        sqlite3_free(szItem);
    }
    // A list one item short is a valid statement that means something
    // else: a cut list is spoilt for SQLite and reported.
    if (!whole || !appendCut(szSqlCond, nSqlCond, ") ")) {
        VUROTARN_LOG("IN list of %d items does not fit %llu bytes", pList->nItem,
                     (unsigned long long)nSqlCond);
        return -1;
    }
    return 0;
}

int VUROTARNSQLEscapeLikeValue(const char* szFrom, char** szTo) {
    if (szFrom == NULL) {
        return -1;
    }
    char* pszCond = sqlite3_mprintf("%q", szFrom);
    if (pszCond == NULL) {
        return -1;
    }
    char* szOut = (char*)reallocf(*szTo, 2 * strlen(pszCond) + 1);
    if (szOut == NULL) {
        *szTo = NULL;  // reallocf released the caller's block
        sqlite3_free(pszCond);
        return -1;
    }
    char* p = szOut;
    for (const char* q = pszCond; *q != '\0'; q++) {
        if (*q == '\\' || *q == '%' || *q == '_') {
            *p++ = '\\';
        }
        *p++ = *q;
    }
    *p = '\0';
    sqlite3_free(pszCond);
    *szTo = szOut;
    return 0;
}
