/* vurotarn_sqlite.cpp - database access: the SQL step with its bounded retry,
 * per-call connections, the caller's transaction pair, and the builders of
 * condition, IN and LIKE texts. Values go in with SQLite's %q quoting, names
 * with %w inside double quotes. */
#include <ctype.h>
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>

#include "common/vurotarn_holder_int.h"
#include "common/vurotarn_secret_int.h"
#include "common/vurotarn_sqlite_int.h"
#include "vurotarn_error.h"
#include "vurotarn_macro_util.h"

VUROTARN_API sqlite3* vurotarn_sqlite_db = NULL;

/* SQLite's text formatting allocates for long texts through the allocator
 * that sqlite3_initialize sets up; a process whose first SQLite call was a
 * condition with a long sort key called a null allocator. So SQLite is set
 * up when the library is loaded, before any caller can format. */
__attribute__((constructor)) static void vurotarnSqliteLoad() { sqlite3_initialize(); }
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
    VUROTARN_PRIV_SCOPE();
    // A path the root join refused is "", which SQLite would open as a
    // private temporary database: that must fail instead.
    const std::string strFile = dbFile(szDbPath);
    if (strFile.empty() || 0 != sqlite3_open(strFile.c_str(), pDb)) {
        VUROTARNTraceCond(__FILE__, __LINE__, szOpenText ? szOpenText : kOpenTextMain);
        return -1;
    }
    return 0;
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
        int iRvSql = VUROTARN_PRIVILEGED(sqlite3_exec(db, szSQL, callback, arg, &szErrMsg));
        if (iRvSql == 0) {
            return 0;
        }
        if (szErrMsg == NULL) {
            VUROTARNErrSetCause(sqlite3_errstr(iRvSql));
            return -1;
        }
        bool blLocked = strstr(szErrMsg, "database is locked") != NULL;
        if (blLocked && --retry != 0) {
            sqlite3_free(szErrMsg);
            szErrMsg = NULL;
            usleep(sqlRetrySleepTime());
            continue;
        }
        // Kept for the caller's message: the statement alone says nothing.
        VUROTARNErrSetCause(
            (std::string(szErrMsg) + (blLocked ? " (gave up after 101 tries)" : "")).c_str());
        VUROTARN_TRACE("Exec sql:[%s] error: %s\n", vurotarnSecretsShortened(szSQL).c_str(),
                       szErrMsg);
        VUROTARN_PRIV_SCOPE();
        sqlite3_free(szErrMsg);
        return -1;
    }
}

VurotarnConnection::VurotarnConnection(const char* szDbPath, const char* szOpenText)
    : szDbPath_(szDbPath), szOpenText_(szOpenText) {
    VUROTARN_PRIV_SCOPE();
    // Not examined here: a handle that cannot work fails in the SQL step,
    // which also opens (and refuses) a path the root join refused.
    const std::string strFile = dbFile(szDbPath_);
    if (!strFile.empty()) {
        sqlite3_open(strFile.c_str(), &vurotarn_sqlite_db_);
    }
}

VurotarnConnection::VurotarnConnection(sqlite3* db)
    : vurotarn_sqlite_db_(db), szDbPath_(nullptr), szOpenText_(nullptr) {}

VurotarnConnection::~VurotarnConnection() {
    if (vurotarn_sqlite_db_ != nullptr) {
        int savedErrno = errno;
        VUROTARN_PRIVILEGED(sqlite3_close(vurotarn_sqlite_db_));
        vurotarn_sqlite_db_ = nullptr;
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

/* A column name as a quoted identifier: "name", or "table"."name" for a
 * name with a dot. The text of a plain name is that name in double quotes,
 * and no name, whatever it holds, can end the identifier early. */
std::string vurotarnSqlIdentifier(const char* szName) {
    const char* szDot = strchr(szName, '.');
    VurotarnSqlText text(
        szDot == NULL
            ? sqlite3_mprintf("\"%w\"", szName)
            : sqlite3_mprintf("\"%w\".\"%w\"", std::string(szName, szDot).c_str(), szDot + 1));
    return text ? text.get() : "";
}

const char* vurotarnSqlSortDirection(const char* szDirection) {
    if (strcasecmp(szDirection, "asc") == 0) {
        return "ASC";
    }
    if (strcasecmp(szDirection, "desc") == 0) {
        return "DESC";
    }
    return NULL;
}

static bool isNameStart(char c) { return isalpha((unsigned char)c) || c == '_'; }
static bool isNameChar(char c) { return isalnum((unsigned char)c) || c == '_'; }

/* The sort keys that go in unquoted carry a join's "table.column" and
 * its direction, built by callers from their own names. Only that shape
 * passes: names, each with one optional "table." and ASC or DESC, separated
 * by commas. */
static bool sqlOrderTermsPlain(const char* sz) {
    const char* p = sz;
    for (;;) {
        while (*p == ' ') p++;
        for (int part = 0; part < 2; part++) {
            if (!isNameStart(*p)) {
                return false;
            }
            while (isNameChar(*p)) p++;
            if (*p != '.' || part == 1) {
                break;
            }
            p++;
        }
        while (*p == ' ') p++;
        for (const char* szDir : {"asc", "desc"}) {
            size_t n = strlen(szDir);
            if (strncasecmp(p, szDir, n) == 0 && !isNameChar(p[n])) {
                p += n;
                break;
            }
        }
        while (*p == ' ') p++;
        if (*p == '\0') {
            return true;
        }
        if (*p++ != ',') {
            return false;
        }
    }
}

/* Each recognised key: the format of its piece, and the value that piece is
 * made of (NULL: the value is refused). */
struct VurotarnSqlKeyFormat {
    const char* szKey;
    const char* szFormat;
    const char* (*value)(const char* szValue);
};

static const char* valueAsGiven(const char* szValue) { return szValue; }
static const char* valueIfPlainTerms(const char* szValue) {
    return sqlOrderTermsPlain(szValue) ? szValue : NULL;
}

static const VurotarnSqlKeyFormat szSqlKeyOrder[] = {
    {"sort_by", " \"%w\" ", valueAsGiven},
    {"sort_by_no_escape", " %s ", valueIfPlainTerms},
    {"sort_direction", " COLLATE NOCASE %s ", vurotarnSqlSortDirection},
    {"sort_extra_no_escape", " , %s", valueIfPlainTerms},
    {"limit", " limit %Q ", valueAsGiven},
    {"offset", " offset %Q ", valueAsGiven},
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

    std::unique_ptr<QLIBSZHASH, void (*)(PQLIBSZHASH)> copy(
        QLIBCIHashAllocator(pParms->nSize, pParms->nItemHint), QLIBCSzHashFree);
    if (!copy || QLIBCCopyHash(pParms, copy.get()) < 0) {
        VUROTARN_LOG("QLIBCSzHashAlloc failed, error=%m");
        return -1;
    }
    VurotarnSzList keys(512);
    if (!keys) {
        VUROTARN_LOG("QLIBCSzListAlloc failed, error=%m");
        return -1;
    }

    std::string suffix;
    bool blOrderBy = false;
    for (const VurotarnSqlKeyFormat& key : szSqlKeyOrder) {
        const char* szValue = QLIBCSzHashGetValue(copy.get(), key.szKey);
        if (szValue == NULL) {
            continue;
        }
        const char* szPut = key.value(szValue);
        if (szPut == NULL) {
            VUROTARN_LOG("%s refused: not a plain sort term or direction", key.szKey);
            return -1;
        }
        VurotarnSqlText piece(sqlite3_mprintf(key.szFormat, szPut));
        if (!piece) {
            return -1;
        }
        if (strncmp(key.szKey, "sort_by", 7) == 0) {
            suffix += (blOrderBy ? " ," : " order by ") + std::string(piece.get()) + " ";
            blOrderBy = true;
        } else {
            suffix += " " + std::string(piece.get()) + " ";
        }
        QLIBCSzHashRemoveKey(copy.get(), key.szKey);
    }

    PQLIBSZLIST& pKeys = keys.get();
    if (QLIBCSzHashEnumKey(copy.get(), &pKeys) < 0) {
        return -1;
    }
    memset(szSQL, 0, nSQL);
    for (int i = 0; i < pKeys->nItem; i++) {
        const char* szKey = pKeys->pszItem[i];
        const char* szValue = QLIBCSzHashGetValue(pParms, szKey);
        std::string piece = i == 0 ? " where " : " and ";
        if (strcasecmp(szKey, "sqlWhere") == 0) {
            piece += " " + std::string(szValue) + " ";
        } else {
            VurotarnSqlText cond(
                sqlite3_mprintf(" %s='%q' ", vurotarnSqlIdentifier(szKey).c_str(), szValue));
            if (!cond) {
                return -1;
            }
            piece += cond.get();
        }
        // A filter cut short could select other rows: refuse it.
        if (!appendCut(szSQL, nSQL, piece)) {
            VUROTARN_LOG("szSQL buffer is not big enough, size=%lld", (long long)nSQL);
            return -1;
        }
    }
    if (!suffix.empty() && !appendCut(szSQL, nSQL, suffix)) {
        VUROTARN_LOG("szSQL buffer is not big enough, size=%lld", (long long)nSQL);
        return -1;
    }
    return 0;
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
    const std::string column = vurotarnSqlIdentifier(szColumnName);
    bool whole = true;
    for (int i = 0; i < pList->nItem && whole; i++) {
        VurotarnSqlText item(
            i == 0 ? sqlite3_mprintf(" %s in ('%q'", column.c_str(), pList->pszItem[0])
                   : sqlite3_mprintf(",'%q'", pList->pszItem[i]));
        if (!item) {
            return -1;
        }
        whole = appendCut(szSqlCond, nSqlCond, item.get());
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

std::string vurotarnSqlLikeContains(const char* szColumn, const char* szWord) {
    char* szEscaped = NULL;
    if (VUROTARNSQLEscapeLikeValue(szWord, &szEscaped) != 0) {
        return " 0 ";  // matches nothing rather than everything
    }
    std::unique_ptr<char, void (*)(void*)> escaped(szEscaped, free);
    return " " + vurotarnSqlIdentifier(szColumn) + " LIKE '%" + escaped.get() + "%' ESCAPE '\\' ";
}
