/* log_scale_test.cpp - the event log's write at any size: the same table as
 * the plain statements (insert, COUNT(*), rotation of the oldest) give on a
 * twin file, no statement of a write that reads the whole table, and a file
 * made before the kept count gaining it at its next open. */
#include <sqlite3.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

/* The table as it was made before the count was kept. */
const char kOldSchema[] =
    "PRAGMA auto_vacuum = FULL;"
    "CREATE TABLE if not exists log ("
    "id INTEGER PRIMARY KEY ASC, happen_time INTEGER, level INTEGER, user_id INTEGER, "
    "obj_id TEXT, parent_obj_id TEXT, username TEXT, "
    "chs TEXT, cht TEXT, csy TEXT, dan TEXT, enu TEXT, fre TEXT, ger TEXT, hun TEXT, "
    "ita TEXT, jpn TEXT, krn TEXT, nld TEXT, nor TEXT, plk TEXT, ptb TEXT, ptg TEXT, "
    "rus TEXT, spn TEXT, sve TEXT, trk TEXT, extra_info TEXT, pid INTEGER);";

/* Owns a parameter list. */
struct Params {
    PQLIBSZLIST p = QLIBCSzListAlloc(8);
    explicit Params(std::initializer_list<const char*> items) {
        for (const char* s : items) QLIBCSzListPush(&p, s);
    }
    ~Params() { QLIBCSzListFree(p); }
    Params(const Params&) = delete;
    Params& operator=(const Params&) = delete;
};

/* One open database file outside the library. */
class Db {
public:
    explicit Db(const std::string& path) { sqlite3_open(path.c_str(), &db_); }
    ~Db() { sqlite3_close(db_); }
    Db(const Db&) = delete;
    Db& operator=(const Db&) = delete;
    sqlite3* get() const { return db_; }

    void exec(const std::string& sql) {
        char* err = nullptr;
        int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err);
        EXPECT_EQ(SQLITE_OK, rc) << sql << ": " << (err ? err : "");
        sqlite3_free(err);
    }
    /* Every row of a query, its columns joined by "|". */
    std::vector<std::string> rows(const std::string& sql) {
        std::vector<std::string> out;
        char* err = nullptr;
        int rc = sqlite3_exec(
            db_, sql.c_str(),
            [](void* p, int n, char** v, char**) {
                std::string row;
                for (int i = 0; i < n; i++) row += std::string(i ? "|" : "") + (v[i] ? v[i] : "~");
                static_cast<std::vector<std::string>*>(p)->push_back(row);
                return 0;
            },
            &out, &err);
        EXPECT_EQ(SQLITE_OK, rc) << sql << ": " << (err ? err : "");
        sqlite3_free(err);
        return out;
    }
    long value(const std::string& sql) {
        std::vector<std::string> r = rows(sql);
        return r.empty() ? -1 : strtol(r.back().c_str(), nullptr, 10);
    }

private:
    sqlite3* db_ = nullptr;
};

/* The plan lines of a statement that read the log table from end to end. */
std::vector<std::string> tableScans(sqlite3* db, const std::string& statement) {
    std::vector<std::string> scans;
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, ("EXPLAIN QUERY PLAN " + statement).c_str(), -1, &st, nullptr) !=
        SQLITE_OK) {
        return {"<cannot plan: " + std::string(sqlite3_errmsg(db)) + ">"};
    }
    while (sqlite3_step(st) == SQLITE_ROW) {
        std::string detail = (const char*)sqlite3_column_text(st, 3);
        if (detail == "SCAN log" || detail.rfind("SCAN log ", 0) == 0) {
            scans.push_back(detail);
        }
    }
    sqlite3_finalize(st);
    return scans;
}

/* The single statements of an exec text. */
std::vector<std::string> statementsOf(sqlite3* db, const std::string& text) {
    std::vector<std::string> out;
    const char* at = text.c_str();
    while (*at != '\0') {
        sqlite3_stmt* st = nullptr;
        const char* tail = nullptr;
        if (sqlite3_prepare_v2(db, at, -1, &st, &tail) != SQLITE_OK) {
            out.push_back(at);  // planned on its own, it fails the test visibly
            break;
        }
        if (st != nullptr) {
            out.push_back(sqlite3_sql(st));
            sqlite3_finalize(st);
        }
        at = tail;
    }
    return out;
}

}  // namespace

class LogScaleTest : public TarnTest {
protected:
    void TearDown() override {
        execCapture(false);
        TarnTest::TearDown();
    }

    std::string logDb() const { return sys(VUROTARNLOG_DB_PATH); }

    void limitSet(int rows) {
        ASSERT_OK(VUROTARNSetConf("log_limit", std::to_string(rows).c_str()));
    }

    /* Row i of the sequence: levels of all three groups, the word in the
     * English text of some and in the user name of others. */
    static VURO_TARNLOG row(int i) {
        VURO_TARNLOG log;
        log.level = (int[]){LOG_ERR, LOG_WARNING, LOG_INFO, LOG_NOTICE, LOG_DEBUG}[i % 5];
        log.happen_time = 5000 + i / 2;
        log.str_obj_id = "ou_" + std::to_string(i % 4);
        log.str_parent_obj_id = "ou_0";
        log.str_username = i % 6 == 0 ? "harbour-ops" : "admin";
        log.str_enu = i % 3 == 0 ? "OU Harbour edited " + std::to_string(i) : "OU Field";
        log.str_ger = "OE " + std::to_string(i);
        log.str_extra_info = i % 7 == 0 ? "{\"k\":1}" : "";
        return log;
    }
};

/* One sequence of writes through the library, and through the plain
 * statements on a twin file: the tables agree row for row and id for id, and
 * so do filtered pages and counts. */
TEST_F(LogScaleTest, SameRowsAsThePlainStatements) {
    const std::string twinPath = sys("/var/twin_log.sqlite");
    Db twin(twinPath);
    twin.exec(kOldSchema);
    int limit = 1000;
    auto write = [&](const VURO_TARNLOG& record) {
        VURO_TARNLOG log = record;
        ASSERT_OK(VUROTARNLogCreate(&log));
        // The library writes every language, empty where there is no text.
        char* ins = sqlite3_mprintf(
            "INSERT INTO log (happen_time, level, user_id, obj_id, parent_obj_id, username, "
            "enu, ger, extra_info, pid, chs, cht, csy, dan, fre, hun, ita, jpn, krn, nld, nor, "
            "plk, ptb, ptg, rus, spn, sve, trk) VALUES (%ld, %d, %ld, '%q', '%q', '%q', '%q', "
            "'%q', '%q', %ld, '', '', '', '', '', '', '', '', '', '', '', '', '', '', '', '', '', "
            "'');",
            (long)record.happen_time, record.level, (long)(uint32_t)record.user_id,
            record.str_obj_id.c_str(), record.str_parent_obj_id.c_str(),
            record.str_username.c_str(), record.str_enu.c_str(), record.str_ger.c_str(),
            record.str_extra_info.c_str(), (long)getpid());
        twin.exec(ins);
        sqlite3_free(ins);
        EXPECT_EQ((long)sqlite3_last_insert_rowid(twin.get()), log.id);
        long excess = twin.value("SELECT COUNT(*) FROM log;") - limit;
        if (excess > 0) {
            twin.exec("DELETE FROM log WHERE id in (SELECT id FROM log ORDER BY id ASC LIMIT " +
                      std::to_string(excess) + ");");
        }
    };
    auto remove = [&](long id) {
        ASSERT_OK(VUROTARNLogDeleteByID(id));
        twin.exec("DELETE FROM log WHERE id=" + std::to_string(id) + ";");
    };
    auto same = [&](const char* when) {
        Db lib(logDb());
        const std::string all = "SELECT * FROM log ORDER BY id;";
        std::vector<std::string> mine = lib.rows(all), theirs = twin.rows(all);
        EXPECT_EQ(theirs, mine) << when;
        EXPECT_EQ(twin.value("SELECT COUNT(*) FROM log;"),
                  lib.value("SELECT n FROM log_count WHERE k = 0;"))
            << when;
    };

    limitSet(limit);
    for (int i = 0; i < 12; i++) write(row(i));
    // Two equal rows in one second from one process: two rows, two ids.
    write(row(5));
    write(row(5));
    same("after the first writes");
    // Single deletes leave gaps; the newest id goes too, and is given again.
    remove(3);
    remove(7);
    remove(14);
    for (int i = 12; i < 17; i++) write(row(i));
    same("after the deletes");

    // A lowered limit rotates several rows out at once, then one a write.
    limit = 6;
    limitSet(limit);
    write(row(17));
    EXPECT_EQ("6", logValue("SELECT COUNT(*) FROM log"));
    write(row(18));
    write(row(18));
    remove(std::stol(logValue("SELECT min(id) + 2 FROM log")));
    write(row(19));
    write(row(20));
    same("after the rotations");

    // Pages of the word in any field, with the total and the level groups.
    limit = 40;
    limitSet(limit);
    for (int i = 21; i < 45; i++) write(row(i));
    same("before the pages");
    const char* where =
        " WHERE (username LIKE '%harbour%' ESCAPE '\\' OR \"enu\" LIKE '%harbour%' ESCAPE '\\')";
    long total = twin.value(std::string("SELECT COUNT(*) FROM log") + where);
    ASSERT_GT(total, 5);
    for (int offset = 0; offset < total + 3; offset += 4) {
        PQLIBSZHASH parms = QLIBCSzHashAlloc(16);
        const char* kv[][2] = {
            {"filter_word", "Harbour"}, {"filter_field", "all"},    {"lang", "enu"},
            {"sort_by", "id"},          {"sort_direction", "desc"}, {"limit", "4"}};
        for (auto& p : kv) QLIBCSzHashSetValue(&parms, p[0], p[1]);
        QLIBCSzHashSetValue(&parms, "offset", std::to_string(offset).c_str());
        VURO_TARNLOG_LIST list = nullptr;
        size_t n = 0, err = 0, warn = 0, info = 0;
        int got = VUROTARNLogList(parms, &list, &n, &err, &warn, &info);
        QLIBCSzHashFree(parms);
        std::vector<std::string> page;
        for (VURO_TARNLOG* p = list; p != nullptr; p = p->pNext) {
            page.insert(page.begin(), std::to_string(p->id));
        }
        VUROTARNLogListFree(&list);
        EXPECT_EQ((int)page.size(), got);
        EXPECT_EQ(twin.rows(std::string("SELECT id FROM log") + where +
                            " ORDER BY id DESC LIMIT 4 OFFSET " + std::to_string(offset)),
                  page)
            << "offset " << offset;
        EXPECT_EQ(total, (long)n);
        const char* groups[] = {" AND 0 <= level AND level <= 3", " AND 4 <= level AND level <= 5",
                                " AND 6 <= level AND level <= 7"};
        size_t libCounts[] = {err, warn, info};
        for (int g = 0; g < 3; g++) {
            EXPECT_EQ(twin.value(std::string("SELECT COUNT(*) FROM log") + where + groups[g]),
                      (long)libCounts[g]);
        }
    }
    // The whole table's total is the kept count.
    PQLIBSZHASH none = QLIBCSzHashAlloc(4);
    size_t all = 0;
    VURO_TARNLOG_LIST list = nullptr;
    VUROTARNLogList(none, &list, &all, nullptr, nullptr, nullptr);
    VUROTARNLogListFree(&list);
    QLIBCSzHashFree(none);
    EXPECT_EQ(twin.value("SELECT COUNT(*) FROM log;"), (long)all);

    // A clear empties both the table and its count.
    ASSERT_OK(VUROTARNLogDeleteByID(-1));
    twin.exec("DELETE FROM log;");
    write(row(45));
    same("after a clear");
}

/* Each statement a logged write runs on the log file, planned on that file:
 * none reads the log table from end to end, on a log full at its limit. */
TEST_F(LogScaleTest, NoStatementOfAWriteScansTheTable) {
    limitSet(20);
    for (int i = 0; i < 25; i++) {
        VURO_TARNLOG log = row(i);
        ASSERT_OK(VUROTARNLogCreate(&log));
    }
    Db db(logDb());
    // The check sees the scans that were there before.
    EXPECT_EQ(1u, tableScans(db.get(), "SELECT COUNT(*) FROM log").size());
    EXPECT_EQ(1u, tableScans(db.get(),
                             "DELETE FROM log WHERE id in (SELECT id FROM log ORDER BY "
                             "id ASC LIMIT 1)")
                      .size());

    // A change-log row through the whole path, and a lowered limit.
    setenv("VURO_WEBAPI_USERNAME", "admin", 1);
    Params ps{"Sales EU", "{gpo_tree:root_ou}"};
    execCapture(true);
    ASSERT_OK(VUROTARNLog(LOG_INFO, "ou_12", "ou_0", "log", "ou_create", ps.p, nullptr));
    limitSet(15);
    VURO_TARNLOG log = row(30);
    ASSERT_OK(VUROTARNLogCreate(&log));
    execCapture(false);
    unsetenv("VURO_WEBAPI_USERNAME");
    EXPECT_EQ("15", logValue("SELECT COUNT(*) FROM log"));

    std::vector<std::string> statements;
    for (const ExecRun& run : execCaptured()) {
        if (run.file == logDb()) {
            for (const std::string& s : statementsOf(db.get(), run.sql)) statements.push_back(s);
        }
    }
    // The rows, the count and the rotation were all among them.
    auto seen = [&](const char* piece) {
        return std::count_if(statements.begin(), statements.end(), [&](const std::string& s) {
            return s.find(piece) != std::string::npos;
        });
    };
    EXPECT_EQ(2, seen("INSERT INTO log ("));
    EXPECT_LE(2, seen("FROM log_count"));
    EXPECT_EQ(2, seen("DELETE FROM log WHERE"));
    for (const std::string& s : statements) {
        EXPECT_EQ(std::vector<std::string>(), tableScans(db.get(), s)) << s;
    }
}

/* A file made before the kept count: opened through the library it gains
 * the count with the rows it already has, and the rotation then follows
 * it. Rows written from outside the library are counted too, and a table
 * dropped by hand gets its count back at the next open. */
TEST_F(LogScaleTest, OldFileGainsTheCountAtItsNextOpen) {
    {
        Db old(logDb());
        old.exec(kOldSchema);
        old.exec("BEGIN;");
        for (int i = 1; i <= 30; i++) {
            old.exec("INSERT INTO log (id, happen_time, level, enu) VALUES (" +
                     std::to_string(i * 3) + ", " + std::to_string(100 + i) + ", 6, 'old');");
        }
        old.exec("COMMIT;");
        EXPECT_EQ(0, old.value("SELECT COUNT(*) FROM sqlite_master WHERE name LIKE 'log_count%'"));
    }
    VURO_TARNLOG probe;
    ASSERT_OK(VUROTARNLogGetByID(3, &probe));
    EXPECT_TRUE(probe.available);
    EXPECT_EQ("3", logValue("SELECT COUNT(*) FROM sqlite_master WHERE name LIKE 'log_count%'"));
    EXPECT_EQ("30", logValue("SELECT n FROM log_count WHERE k = 0"));

    // A limit under the rows: the first write takes the oldest out.
    limitSet(25);
    VURO_TARNLOG log = row(0);
    ASSERT_OK(VUROTARNLogCreate(&log));
    EXPECT_EQ(91, log.id);
    EXPECT_EQ("25", logValue("SELECT COUNT(*) FROM log"));
    EXPECT_EQ("21", logValue("SELECT min(id) FROM log"));
    EXPECT_EQ("25", logValue("SELECT n FROM log_count WHERE k = 0"));

    {
        // The triggers live in the file: writers outside the library count.
        Db outside(logDb());
        outside.exec("INSERT INTO log (happen_time, enu) VALUES (1, 'by hand');");
        outside.exec("DELETE FROM log WHERE id IN (21, 24);");
    }
    EXPECT_EQ("24", logValue("SELECT n FROM log_count WHERE k = 0"));
    log = row(1);
    ASSERT_OK(VUROTARNLogCreate(&log));
    EXPECT_EQ("25", logValue("SELECT COUNT(*) FROM log"));
    EXPECT_EQ("25", logValue("SELECT n FROM log_count WHERE k = 0"));

    {
        Db outside(logDb());
        outside.exec("DROP TABLE log;");
        outside.exec(kOldSchema);
        outside.exec("INSERT INTO log (happen_time, enu) VALUES (1, 'a'), (2, 'b');");
    }
    // The stale count of the dropped table is not trusted.
    ASSERT_OK(VUROTARNLogGetByID(1, &probe));
    EXPECT_EQ("2", logValue("SELECT n FROM log_count WHERE k = 0"));
}

/* A file is laid out with auto_vacuum; afterwards an open that only reads
 * writes nothing (the file's change counter stays). */
TEST_F(LogScaleTest, AnOpenThatReadsWritesNothing) {
    VURO_TARNLOG log = row(0);
    ASSERT_OK(VUROTARNLogCreate(&log));
    EXPECT_EQ("1", logValue("PRAGMA auto_vacuum"));
    auto changes = [&] {
        std::string header = readFile(logDb()).substr(24, 4);
        return ((unsigned char)header[0] << 24) | ((unsigned char)header[1] << 16) |
               ((unsigned char)header[2] << 8) | (unsigned char)header[3];
    };
    unsigned before = changes();
    VURO_TARNLOG back;
    ASSERT_OK(VUROTARNLogGetByID(log.id, &back));
    EXPECT_TRUE(back.available);
    EXPECT_EQ(before, changes());
    log = row(1);
    ASSERT_OK(VUROTARNLogCreate(&log));
    EXPECT_NE(before, changes());
}
