/* tarnlog_sqlite.cpp - the event log's one backend: a SQLite file of its
 * own, opened per operation, with the shared retry on a locked database and
 * rotation by log_limit at every insert. Statements are built whole, with
 * no fixed buffer; caller text goes in quoted (%q values, %w names). */
#include <ctype.h>
#include <errno.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <string>

#include "common/vurotarn_holder_int.h"
#include "common/vurotarn_sqlite_int.h"
#include "tarnlog/vurotarnlog_int.h"
#include "vurofs.h"
#include "vurotarn_common.h"
#include "vurotarn_error.h"
#include "vurotarn_macro_util.h"

#define VUROTARNLOG_ERR_INIT 502
#define VUROTARNLOG_ERR_GET 503
#define VUROTARNLOG_ERR_CREATE 504
#define VUROTARNLOG_ERR_SET 505
#define VUROTARNLOG_ERR_DELETE 506

/* Set on a file without tables only: on any other it has no effect but a
 * write of the file's header, which made every open a write transaction. */
static const char kAutoVacuum[] = "PRAGMA auto_vacuum = FULL;";
static const char kTablesPresent[] = "SELECT COUNT(*) FROM sqlite_master;";

static const char kSchema[] =
    "CREATE TABLE if not exists log ("
    "id INTEGER PRIMARY KEY ASC, happen_time INTEGER, level INTEGER, user_id INTEGER, "
    "obj_id TEXT, parent_obj_id TEXT, username TEXT, "
    "chs TEXT, cht TEXT, csy TEXT, dan TEXT, enu TEXT, fre TEXT, ger TEXT, hun TEXT, "
    "ita TEXT, jpn TEXT, krn TEXT, nld TEXT, nor TEXT, plk TEXT, ptb TEXT, ptg TEXT, "
    "rus TEXT, spn TEXT, sve TEXT, trk TEXT, extra_info TEXT, pid INTEGER);"
    // The row count, kept by triggers: COUNT(*) reads the whole table, and
    // the rotation needs the count at every insert. A file made before the
    // count gains it here, at its next open.
    "CREATE TABLE IF NOT EXISTS log_count (k INTEGER PRIMARY KEY CHECK (k = 0), "
    "n INTEGER NOT NULL);"
    "CREATE TRIGGER IF NOT EXISTS log_count_insert AFTER INSERT ON log "
    "BEGIN UPDATE log_count SET n = n + 1 WHERE k = 0; END;"
    "CREATE TRIGGER IF NOT EXISTS log_count_delete AFTER DELETE ON log "
    "BEGIN UPDATE log_count SET n = n - 1 WHERE k = 0; END;";

/* Both triggers in place: asked before the schema statement, so that the
 * open knows whether it made them. */
static const char kTriggersPresent[] =
    "SELECT COUNT(*) FROM sqlite_master WHERE type = 'trigger' AND tbl_name = 'log' AND "
    "name IN ('log_count_insert', 'log_count_delete');";
/* The count made anew from the table. It runs only when the count's row or
 * a trigger was missing at the open (an older file, a table dropped by
 * hand), so that an open does not ask for the write lock. The triggers
 * exist before it and it is one statement: every row is counted once, by
 * it or by a trigger after it, whoever writes in between. */
static const char kCountMake[] =
    "INSERT OR REPLACE INTO log_count (k, n) SELECT 0, COUNT(*) FROM log;";
static const char kCountRead[] = "SELECT n FROM log_count WHERE k = 0;";

/* ---- connection ---- */

/* Runs one step of the open inside the bracket; false (with the condition
 * traced there, so that it carries errno) when it failed. */
template <typename Fn>
static bool bracketed(Fn fn, const char* szCond) {
    VUROTARN_PRIV_SCOPE();
    bool ok = fn();
    if (!ok) {
        VUROTARNTraceCond(__FILE__, __LINE__, szCond);
    }
    return ok;
}

/* The first column of the first row as a number; the target keeps its
 * value when there is no row. */
static int firstLong(void* arg, int argc, char** argv, char**) {
    if (argc > 0 && argv[0] != NULL) {
        *static_cast<long*>(arg) = strtol(argv[0], NULL, 10);
    }
    return 0;
}

/* A new connection with the schema in place, or NULL. The file is made for
 * root alone the first time: it holds what every user did. */
static sqlite3* VUROTARNLogDBInit() {
    VUROTARNRandInit();
    // The root join refuses a path (a planted link) that leads out of the
    // root: nothing is then created, chowned or opened there.
    std::string path = VUROSysPathStr(VUROTARNLOG_DB_PATH);
    if (path.empty()) {
        VUROTARNTraceCond(__FILE__, __LINE__, "VUROSysPath(VUROTARNLOG_DB_PATH) refused");
        return NULL;
    }
    if (VUROTARN_PRIVILEGED(access(path.c_str(), F_OK)) != 0) {
        if (!bracketed([&] { return 0 <= QLIBCFileTouch(VUROTARNLOG_DB_PATH); },
                       "0 > QLIBCFileTouch(VUROTARNLOG_DB_PATH)") ||
            !bracketed([&] { return 0 <= chown(path.c_str(), 0, 0); },
                       "0 > chown(VUROTARNLOG_DB_PATH, 0, 0)") ||
            !bracketed([&] { return 0 <= chmod(path.c_str(), 0600); },
                       "0 > chmod(VUROTARNLOG_DB_PATH, 0600)")) {
            return NULL;
        }
    }
    sqlite3* db = NULL;
    if (!bracketed([&] { return 0 == sqlite3_open(path.c_str(), &db); },
                   "0 != sqlite3_open(VUROTARNLOG_DB_PATH, &db)")) {
        sqlite3_close(db);
        return NULL;
    }
    long tables = 0;
    long triggers = 0;
    long count = -1;
    if (vurotarnSqlExecRetry(db, kTablesPresent, firstLong, &tables) != 0 ||
        vurotarnSqlExecRetry(db, kTriggersPresent, firstLong, &triggers) != 0 ||
        (tables == 0 && vurotarnSqlExecRetry(db, kAutoVacuum, NULL, NULL) != 0) ||
        vurotarnSqlExecRetry(db, kSchema, NULL, NULL) != 0 ||
        vurotarnSqlExecRetry(db, kCountRead, firstLong, &count) != 0 ||
        ((triggers < 2 || count < 0) && vurotarnSqlExecRetry(db, kCountMake, NULL, NULL) != 0)) {
        sqlite3_close(db);
        return NULL;
    }
    return db;
}

/* ---- rows into records ---- */

static void VUROTARNLogFillOne(VURO_TARNLOG* p, int argc, char** argv, char** cols) {
    for (int i = 0; i < argc; i++) {
        const char* col = cols[i];
        const char* val = argv[i];
        if (strcmp(col, "id") == 0) {
            p->id = val != NULL ? strtol(val, NULL, 10) : 0;
        } else if (strcmp(col, "level") == 0) {
            p->level = val != NULL ? (int)strtol(val, NULL, 10) : 0;
        } else if (strcmp(col, "happen_time") == 0) {
            p->happen_time = val != NULL ? (time_t)strtol(val, NULL, 10) : 0;
        } else if (strcmp(col, "user_id") == 0) {
            p->user_id = val != NULL ? (uid_t)strtol(val, NULL, 10) : 0;
        } else if (strcmp(col, "obj_id") == 0) {
            p->str_obj_id = val != NULL ? val : "";
        } else if (strcmp(col, "parent_obj_id") == 0) {
            p->str_parent_obj_id = val != NULL ? val : "";
        } else if (strcmp(col, "username") == 0) {
            p->str_username = val != NULL ? val : "";
        } else if (strcmp(col, "extra_info") == 0) {
            p->str_extra_info = val != NULL ? val : "";
        } else {
            int lang = vurotarnLogLangIndex(col);
            if (lang >= 0) {
                p->*kVurotarnLogLangs[lang].field = val != NULL ? val : "";
            }
        }
    }
}

/* Takes the first row only: a filled record is left as it is. */
static int fillOneCallback(void* arg, int argc, char** argv, char** cols) {
    VURO_TARNLOG* p = static_cast<VURO_TARNLOG*>(arg);
    if (p->available) {
        return 0;
    }
    p->available = TRUE;
    VUROTARNLogFillOne(p, argc, argv, cols);
    return 0;
}

/* Puts each row at the head, so the list runs against the query's order. */
static int VUROTARNLogFillList(void* arg, int argc, char** argv, char** cols) {
    VURO_TARNLOG_LIST* pList = static_cast<VURO_TARNLOG_LIST*>(arg);
    VURO_TARNLOG* p = VUROTARNLogAlloc();
    if (p == NULL) {
        return 1;
    }
    p->available = TRUE;
    VUROTARNLogFillOne(p, argc, argv, cols);
    p->pNext = *pList;
    *pList = p;
    return 0;
}

static int countCallback(void* arg, int argc, char** argv, char**) {
    if (argc > 0 && argv[0] != NULL) {
        *static_cast<size_t*>(arg) = (size_t)strtol(argv[0], NULL, 10);
    }
    return 0;
}

/* ---- statements ---- */

static size_t VUROTARNLogDBRecordGetCount(sqlite3* db, const std::string& condition) {
    VUROTARN_ARG_CHECK(NULL, !=, db, return 0);
    // The whole table's count is the kept one.
    std::string sql =
        condition.empty() ? kCountRead : "SELECT COUNT(*) FROM log " + condition + ";";
    size_t count = 0;
    if (vurotarnSqlExecRetry(db, sql.c_str(), countCallback, &count) != 0) {
        VUROTARN_LOG("Failed to count VURO_TARNLOG records");
        return 0;
    }
    return count;
}

static int VUROTARNLogDBRecordGetList(sqlite3* db, const char* szCondition,
                                      VURO_TARNLOG_LIST* pList) {
    std::string sql = "SELECT * FROM log";
    if (szCondition != NULL && szCondition[0] != '\0') {
        sql += " ";
        sql += szCondition;
    }
    sql += ";";
    if (vurotarnSqlExecRetry(db, sql.c_str(), VUROTARNLogFillList, pList) != 0) {
        VUROTARN_LOG("Failed to list VURO_TARNLOG records");
    }
    int count = 0;
    for (VURO_TARNLOG* p = *pList; p != NULL; p = p->pNext) {
        count++;
    }
    return count;
}

void* VUROTARNLogDBRecordListAndCallback(sqlite3* db, const char* szCondition,
                                         VUROTARNLOG_ROW_CALLBACK callback, PQLIBSZHASH pParms) {
    std::string sql = "SELECT * FROM log";
    sql += szCondition != NULL ? szCondition : "";
    sql += ";";
    PQLIBSZHASH parms = pParms;
    if (vurotarnSqlExecRetry(db, sql.c_str(), callback, &parms) != 0) {
        VUROTARN_LOG("Failed to list VURO_TARNLOG records");
    }
    return NULL;
}

/* 1 when filled, 0 when there is no such row, -1 when the statement failed. */
static int VUROTARNLogDBRecordGet(sqlite3* db, long int id, VURO_TARNLOG* pTARNLog) {
    char szSQL[128];
    snprintf(szSQL, sizeof(szSQL), "SELECT * FROM log WHERE id=%ld;", id);
    BOOL before = pTARNLog->available;
    if (vurotarnSqlExecRetry(db, szSQL, fillOneCallback, pTARNLog) != 0) {
        return -1;
    }
    return !before && pTARNLog->available ? 1 : 0;
}

static int VUROTARNLogDBRecordDelete(sqlite3* db, long int id) {
    char szSQL[128];
    if (id == -1) {
        snprintf(szSQL, sizeof(szSQL), "DELETE FROM log;");
    } else {
        snprintf(szSQL, sizeof(szSQL), "DELETE FROM log WHERE id=%ld;", id);
    }
    return vurotarnSqlExecRetry(db, szSQL, NULL, NULL);
}

static int VUROTARNLogDBRecordUpdate(sqlite3* db, const VURO_TARNLOG* p) {
    long pid = (long)getpid();
    long userId = (long)(uint32_t)p->user_id;
    VurotarnSqlText update(sqlite3_mprintf(
        "UPDATE log SET id=%ld, happen_time=%ld, user_id=%ld, obj_id='%q', parent_obj_id='%q', "
        "username='%q', extra_info='%q', pid=%ld WHERE id=%ld;",
        p->id, (long)p->happen_time, userId, p->str_obj_id.c_str(), p->str_parent_obj_id.c_str(),
        p->str_username.c_str(), p->str_extra_info.c_str(), pid, p->id));
    VurotarnSqlText check(sqlite3_mprintf(
        "SELECT id FROM log WHERE id=%ld AND happen_time=%ld AND user_id=%ld AND obj_id='%q' "
        "AND parent_obj_id='%q' AND username='%q' AND extra_info='%q' AND pid=%ld;",
        p->id, (long)p->happen_time, userId, p->str_obj_id.c_str(), p->str_parent_obj_id.c_str(),
        p->str_username.c_str(), p->str_extra_info.c_str(), pid));
    if (update.get() == NULL || check.get() == NULL) {
        VUROTARN_LOG("Failed to malloc SQL");
        return -1;
    }
    if (vurotarnSqlExecRetry(db, update.get(), NULL, NULL) != 0) {
        return -1;
    }
    VURO_TARNLOG scratch;
    if (vurotarnSqlExecRetry(db, check.get(), fillOneCallback, &scratch) != 0) {
        return -1;
    }
    if (!scratch.available) {
        QLIBCErrSetEx(ERR_WRITE_FAILED, __FILE__, __LINE__);
        return -1;
    }
    return 0;
}

/* A log_limit text as a row count: a positive whole number, and above the
 * 32-bit range the largest count it can hold; -1 for anything else (0,
 * negative, not a number, trailing text). */
static int64_t logLimitParse(const char* szLimit) {
    char* szEnd = NULL;
    errno = 0;
    long long limit = strtoll(szLimit, &szEnd, 10);
    if (szEnd == szLimit) {
        return -1;
    }
    while (*szEnd == ' ' || *szEnd == '\t' || *szEnd == '\n') szEnd++;
    if (*szEnd != '\0' || limit <= 0) {
        return -1;
    }
    return (errno == ERANGE || limit > INT32_MAX) ? INT32_MAX : limit;
}

/* The number of rows log_limit allows. A value without a meaning as a row
 * count falls back to the default: nothing but a clear empties the table. */
static int64_t logLimit() {
    char szLimit[256] = {0};
    VUROTARNGetConf("log_limit", szLimit, sizeof(szLimit));
    int64_t limit = logLimitParse(szLimit);
    for (const TARN_CONF_DEFULT* d = gVUROTARNConfDefault; limit <= 0 && d->szKey != NULL; d++) {
        if (strcmp(d->szKey, "log_limit") == 0) {
            limit = logLimitParse(d->szValue);
        }
    }
    return limit > 0 ? limit : INT32_MAX;
}

static int VUROTARNLogDBRecordCreate(sqlite3* db, VURO_TARNLOG* p, long int* pID) {
    long pid = (long)getpid();
    VUROTARN_ARG_CHECK(NULL, !=, db, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, p, return -1);
    long userId = (long)(uint32_t)p->user_id;
    VurotarnSqlText insert(sqlite3_mprintf(
        "INSERT INTO log (happen_time, level, user_id, obj_id, parent_obj_id, username, "
        "chs, cht, csy, dan, enu, fre, ger, hun, ita, jpn, krn, nld, nor, plk, ptb, ptg, rus, "
        "spn, sve, trk, extra_info, pid) VALUES (%ld, %ld, %ld, '%q', '%q', '%q', "
        "'%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', "
        "'%q', '%q', '%q', '%q', '%q', '%q', '%q', %ld);",
        (long)p->happen_time, (long)p->level, userId, p->str_obj_id.c_str(),
        p->str_parent_obj_id.c_str(), p->str_username.c_str(), p->str_chs.c_str(),
        p->str_cht.c_str(), p->str_csy.c_str(), p->str_dan.c_str(), p->str_enu.c_str(),
        p->str_fre.c_str(), p->str_ger.c_str(), p->str_hun.c_str(), p->str_ita.c_str(),
        p->str_jpn.c_str(), p->str_krn.c_str(), p->str_nld.c_str(), p->str_nor.c_str(),
        p->str_plk.c_str(), p->str_ptb.c_str(), p->str_ptg.c_str(), p->str_rus.c_str(),
        p->str_spn.c_str(), p->str_sve.c_str(), p->str_trk.c_str(), p->str_extra_info.c_str(),
        pid));
    if (insert.get() == NULL) {
        VUROTARN_LOG("Failed to malloc SQL");
        return -1;
    }
    if (vurotarnSqlExecRetry(db, insert.get(), NULL, NULL) != 0) {
        return -1;
    }
    // The row this insert made, by its own id: equal rows written in one
    // second each get theirs. The other columns still prove the write.
    VurotarnSqlText lookup(sqlite3_mprintf(
        "SELECT id FROM log WHERE id=%lld AND happen_time=%ld AND level=%ld AND user_id=%ld AND "
        "obj_id='%q' AND parent_obj_id='%q' AND username='%q' AND extra_info='%q' AND pid=%ld;",
        (long long)sqlite3_last_insert_rowid(db), (long)p->happen_time, (long)p->level, userId,
        p->str_obj_id.c_str(), p->str_parent_obj_id.c_str(), p->str_username.c_str(),
        p->str_extra_info.c_str(), pid));
    if (lookup.get() == NULL) {
        VUROTARN_LOG("Failed to malloc SQL");
        return -1;
    }
    VURO_TARNLOG scratch;
    if (vurotarnSqlExecRetry(db, lookup.get(), fillOneCallback, &scratch) != 0 ||
        !scratch.available) {
        QLIBCErrSetEx(ERR_WRITE_FAILED, __FILE__, __LINE__);
        return -1;
    }
    if (pID != NULL) {
        *pID = scratch.id;
    }

    int64_t excess = (int64_t)VUROTARNLogDBRecordGetCount(db, "") - logLimit();
    if (excess <= 0) {
        return 0;
    }
    // The oldest rows, found from the smallest id along the key: the table
    // is not read beyond the rows that go.
    VurotarnSqlText rotate(sqlite3_mprintf(
        "DELETE FROM log WHERE id IN (SELECT id FROM log WHERE id >= (SELECT min(id) FROM log) "
        "ORDER BY id ASC LIMIT %lld);",
        (long long)excess));
    if (rotate.get() == NULL) {
        VUROTARN_LOG("Failed to malloc SQL");
        return -1;
    }
    return vurotarnSqlExecRetry(db, rotate.get(), NULL, NULL);
}

/* ---- backend entries ---- */

static int tarnlog_sqlite_create(VURO_TARNLOG* pTARNLog) {
    VurotarnConnection db(VUROTARNLogDBInit());
    if (db.get() == NULL) {
        VUROTARN_LOG("Init VURO_TARNLOG DB failed. " VUROTARN_ERRSTORE_FMT, VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_INIT, __FILE__, __LINE__);
    }
    if (VUROTARNLogDBRecordCreate(db.get(), pTARNLog, &pTARNLog->id) < 0) {
        VUROTARN_LOG("Create VURO_TARNLOG record failed. " VUROTARN_ERRSTORE_FMT,
                     VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_CREATE, __FILE__, __LINE__);
    }
    return 0;
}

static int tarnlog_sqlite_set(const VURO_TARNLOG* pTARNLog) {
    VurotarnConnection db(VUROTARNLogDBInit());
    if (db.get() == NULL) {
        VUROTARN_LOG("Init VURO_TARNLOG DB failed. " VUROTARN_ERRSTORE_FMT, VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_INIT, __FILE__, __LINE__);
    }
    if (VUROTARNLogDBRecordUpdate(db.get(), pTARNLog) < 0) {
        VUROTARN_LOG("Set VURO_TARNLOG record failed. id:[%ld]" VUROTARN_ERRSTORE_FMT, pTARNLog->id,
                     VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_SET, __FILE__, __LINE__);
    }
    return 0;
}

static int tarnlog_sqlite_delete_by_id(long int id) {
    VurotarnConnection db(VUROTARNLogDBInit());
    if (db.get() == NULL) {
        VUROTARN_LOG("Init VURO_TARNLOG DB failed. " VUROTARN_ERRSTORE_FMT, VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_INIT, __FILE__, __LINE__);
    }
    if (VUROTARNLogDBRecordDelete(db.get(), id) < 0) {
        VUROTARN_LOG("Delete VURO_TARNLOG record failed. id:[%ld]" VUROTARN_ERRSTORE_FMT, id,
                     VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_DELETE, __FILE__, __LINE__);
    }
    return 0;
}

static int tarnlog_sqlite_get_by_id(long int id, VURO_TARNLOG* pTARNLog) {
    VurotarnConnection db(VUROTARNLogDBInit());
    if (db.get() == NULL) {
        VUROTARN_LOG("Init sqlite failed. " VUROTARN_ERRSTORE_FMT, VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_INIT, __FILE__, __LINE__);
    }
    if (VUROTARNLogDBRecordGet(db.get(), id, pTARNLog) < 0) {
        VUROTARN_LOG("Get VURO_TARNLOG record failed. id:[%ld]" VUROTARN_ERRSTORE_FMT, id,
                     VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_GET, __FILE__, __LINE__);
    }
    return 0;
}

static int tarnlog_sqlite_list_all(VURO_TARNLOG_LIST* pTARNLogList, BOOL (*isKeep)(VURO_TARNLOG*)) {
    VurotarnConnection db(VUROTARNLogDBInit());
    if (db.get() == NULL) {
        VUROTARN_LOG("Init VURO_TARNLOG DB failed. " VUROTARN_ERRSTORE_FMT, VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_INIT, __FILE__, __LINE__);
    }
    VURO_TARNLOG_LIST list = NULL;
    VUROTARNLogDBRecordGetList(db.get(), NULL, &list);
    int kept = 0;
    VURO_TARNLOG** link = &list;
    while (*link != NULL) {
        VURO_TARNLOG* p = *link;
        if (isKeep != NULL && !isKeep(p)) {
            *link = p->pNext;
            VUROTARNLogFree(p);
            continue;
        }
        kept++;
        link = &p->pNext;
    }
    if (kept > 0) {
        *pTARNLogList = list;
    }
    return kept;
}

/* The "obj_id" filter is a comma list of quoted ids, as
 * VUROMsgGetObjIdByUser makes it; plain ids of letters, digits and "_"
 * are taken too. The list is read and quoted anew, so that caller text
 * never stands in the statement as it came; false when it is no such
 * list. An empty text is an empty list, which matches nothing. */
static bool objIdListRequoted(const char* szIds, std::string* pOut) {
    const char* p = szIds;
    auto blank = [&] {
        while (*p == ' ' || *p == '\t' || *p == '\n') p++;
    };
    blank();
    while (*p != '\0') {
        std::string id;
        if (*p == '\'') {
            for (p++;; p++) {
                if (*p == '\0') {
                    return false;
                }
                if (*p == '\'' && *++p != '\'') {
                    break;
                }
                id += *p;
            }
        } else {
            while (isalnum((unsigned char)*p) || *p == '_') id += *p++;
            if (id.empty()) {
                return false;
            }
        }
        VurotarnSqlText quoted(sqlite3_mprintf("%s'%q'", pOut->empty() ? "" : ",", id.c_str()));
        if (!quoted) {
            return false;
        }
        *pOut += quoted.get();
        blank();
        if (*p == ',') {
            p++;
            blank();
            if (*p == '\0') {
                return false;
            }
        } else if (*p != '\0') {
            return false;
        }
    }
    return true;
}

/* The event log's list, refused before it is run: a bad request sets
 * ERR_BAD_PARAMETERS and gives -1, with the total 0. */
static int listRefused(size_t* pTotalCount, const char* szWhy) {
    VUROTARN_LOG("Refused VURO_TARNLOG list: %s", szWhy);
    if (pTotalCount != NULL) {
        *pTotalCount = 0;
    }
    QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
    return -1;
}

int tarnlog_sqlite_list_ext(PQLIBSZHASH pParms, VURO_TARNLOG_LIST* pTARNLogList,
                            size_t* pTotalCount, size_t* pErrCount, size_t* pWarnCount,
                            size_t* pInfoCount, VUROTARNLOG_ROW_CALLBACK callback) {
    auto value = [&](const char* key) -> const char* {
        return pParms != NULL ? QLIBCSzHashGetValue(pParms, key) : NULL;
    };
    const char* szObjId = value("obj_id");
    const char* szWord = value("filter_word");
    const char* szField = value("filter_field");
    const char* szLang = value("lang");
    const char* szSortBy = value("sort_by");
    const char* szSortDir = value("sort_direction");
    const char* szLimit = value("limit");
    const char* szOffset = value("offset");

    // The language names a column: one of the twenty, or no request.
    std::string field;
    if (szWord != NULL && szField != NULL) {
        field = strcmp(szField, "all") == 0 ? "username,action" : szField;
    }
    bool blLangUsed = field.find("action") != std::string::npos ||
                      (szSortBy != NULL && strcmp(szSortBy, "action") == 0);
    if (szLang != NULL ? vurotarnLogLangIndex(szLang) < 0 : blLangUsed) {
        return listRefused(pTotalCount, "lang is not one of the twenty languages");
    }
    std::string ids;
    if (szObjId != NULL && !objIdListRequoted(szObjId, &ids)) {
        return listRefused(pTotalCount, "obj_id is not a list of quoted ids");
    }

    VurotarnConnection db(VUROTARNLogDBInit());
    if (db.get() == NULL) {
        if (pTotalCount != NULL) {
            *pTotalCount = 0;
        }
        VUROTARN_LOG("Init VURO_TARNLOG DB failed. " VUROTARN_ERRSTORE_FMT, VUROTARN_ERRSTORE_ARGS);
        return VUROTARNErrSetEx(VUROTARNLOG_ERR_INIT, __FILE__, __LINE__);
    }

    // No fixed buffer: a user who sees thousands of objects has an id
    // list of that size, twice.
    std::string cond;
    if (szObjId != NULL) {
        cond += " WHERE  (obj_id in (" + ids + ") OR parent_obj_id in (" + ids + ")) ";
    }
    if (!field.empty()) {
        cond += szObjId != NULL ? " AND " : " WHERE ";
        cond += " ( ";
        if (field.find("username") != std::string::npos) {
            cond += vurotarnSqlLikeContains("username", szWord) + " OR ";
        }
        if (field.find("action") != std::string::npos) {
            cond += vurotarnSqlLikeContains(szLang, szWord) + " OR ";
        }
        cond += " 0 ) ";
    }
    if (pTotalCount != NULL) {
        *pTotalCount = VUROTARNLogDBRecordGetCount(db.get(), cond);
    }
    if (pErrCount != NULL && pWarnCount != NULL && pInfoCount != NULL) {
        const std::string base = !cond.empty() ? cond : " WHERE 1 ";
        const char* kGroups[] = {"  AND 0 <= level AND level <= 3 ",
                                 "  AND 4 <= level AND level <= 5 ",
                                 "  AND 6 <= level AND level <= 7 "};
        size_t* counts[] = {pErrCount, pWarnCount, pInfoCount};
        for (int g = 0; g < 3; g++) {
            *counts[g] = VUROTARNLogDBRecordGetCount(db.get(), base + kGroups[g]);
        }
    }
    if (szSortBy != NULL) {
        const char* szColumn = strcmp(szSortBy, "action") == 0 ? szLang : szSortBy;
        cond += " order by " + vurotarnSqlIdentifier(szColumn) + " ";
        if (szSortDir != NULL) {
            cond += strcasecmp(szSortDir, "desc") == 0 ? " DESC " : " ASC ";
        }
    }
    if (szLimit != NULL) {
        // Kept as 32 bits and printed unsigned: "-1" reads 4294967295.
        cond += " limit " + std::to_string((uint32_t)strtol(szLimit, NULL, 10)) + " ";
        if (szOffset != NULL) {
            cond += " offset " + std::to_string((uint32_t)strtol(szOffset, NULL, 10)) + " ";
        }
    }

    if (callback != NULL) {
        VUROTARNLogDBRecordListAndCallback(db.get(), cond.c_str(), callback, pParms);
        return 0;
    }
    VURO_TARNLOG_LIST list = NULL;
    int count = VUROTARNLogDBRecordGetList(db.get(), cond.c_str(), &list);
    if (list != NULL) {
        *pTARNLogList = list;
    }
    return count;
}

static int tarnlog_sqlite_list(const PQLIBSZHASH pParms, VURO_TARNLOG_LIST* pTARNLogList,
                               size_t* pTotalCount, size_t* pErrCount, size_t* pWarnCount,
                               size_t* pInfoCount) {
    return tarnlog_sqlite_list_ext(pParms, pTARNLogList, pTotalCount, pErrCount, pWarnCount,
                                   pInfoCount, NULL);
}

static int tarnlog_sqlite_print(const PQLIBSZHASH pParms, size_t* pTotalCount,
                                VUROTARNLOG_ROW_CALLBACK callback) {
    return tarnlog_sqlite_list_ext(pParms, NULL, pTotalCount, NULL, NULL, NULL, callback);
}

int tarnlog_sqlite_init(VURO_TARNLOG_BACKEND* pBackend) {
    VUROTARN_ARG_CHECK(NULL, !=, pBackend, return -1);
    pBackend->name = "tarnlog_sqlite_backend";
    pBackend->create = tarnlog_sqlite_create;
    pBackend->set = tarnlog_sqlite_set;
    pBackend->delete_by_id = tarnlog_sqlite_delete_by_id;
    pBackend->get_by_id = tarnlog_sqlite_get_by_id;
    pBackend->list_all = tarnlog_sqlite_list_all;
    pBackend->list = tarnlog_sqlite_list;
    pBackend->print = tarnlog_sqlite_print;
    return 0;
}
