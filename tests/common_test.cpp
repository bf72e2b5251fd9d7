/* common_test.cpp - the library frame: error stores, the argument check and
 * traces as they reach syslog, the privilege bracket, the SQL step's retry
 * against a real lock, the caller's transactions and the SQL text builders. */
#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sqlite3.h>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

TEST(ErrorStore, LibraryCodesAndTheirTexts) {
    EXPECT_EQ(-1, VUROTARNErrSetEx(504, "here.cpp", 7));
    EXPECT_EQ(504, VUROTARNErrGet());
    EXPECT_STREQ("here.cpp", VUROTARNErrGetFile());
    EXPECT_EQ(7, VUROTARNErrGetLine());
    VUROTARNErrReset();
    EXPECT_EQ(0, VUROTARNErrGet());
    EXPECT_EQ(nullptr, VUROTARNErrGetFile());
    EXPECT_EQ(0, VUROTARNErrGetLine());
}

static int checkedCall(void* p, size_t n) {
    VUROTARN_ARG_CHECK(NULL, !=, p, return -1);
    VUROTARN_ARG_CHECK(0, <, n, return -1);
    return 0;
}

TEST(Diagnostics, ArgumentCheckLogsConditionAndSetsPlatformCode) {
    logClear();
    int x = 0;
    EXPECT_EQ(-1, checkedCall(nullptr, 1));
    EXPECT_TRUE(logHas("Invaild Argument (__null != p)=[0]\n")) << logDump();
    EXPECT_EQ(ERR_BAD_PARAMETERS, QLIBCErrGet());
    EXPECT_EQ(LOG_ERR, logLines().back().priority);
    EXPECT_EQ(-1, checkedCall(&x, 0));
    EXPECT_TRUE(logHas("Invaild Argument (0 < n)=[0]")) << logDump();
    EXPECT_NE(nullptr, strstr(logLines().back().text.c_str(), "common_test.cpp:"));
    EXPECT_EQ(0, checkedCall(&x, 3));
}

TEST(Diagnostics, TraceShapesAndTerminalTwin) {
    // stdout into a pipe to see the terminal copy.
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    fflush(stdout);
    int savedOut = dup(1);
    dup2(fds[1], 1);

    logClear();
    giTerminalDebug = 0;
    errno = 0;
    VUROTARN_TRACE("get gpo failed, id=%lld\n", 42LL);
    errno = ENOENT;
    VUROTARN_TRACE_COND(0 == open_the_door());
    errno = 0;
    VUROTARN_TRACE_LOCATED("malloc hash failed");
    giTerminalDebug = 1;
    errno = 0;
    VUROTARN_TRACE("to both %d\n", 7);
    EXPECT_EQ(-1, checkedCall(nullptr, 1));  // argument checks stay in the log
    giTerminalDebug = 0;

    fflush(stdout);
    dup2(savedOut, 1);
    close(savedOut);
    close(fds[1]);
    char buf[4096] = {0};
    ssize_t n = read(fds[0], buf, sizeof(buf) - 1);
    close(fds[0]);
    std::string term(buf, n > 0 ? (size_t)n : 0);

    std::string euidPid =
        "(euid=" + std::to_string(geteuid()) + ")(pid=" + std::to_string(getpid()) + ")";
    const auto& lines = logLines();
    ASSERT_GE(lines.size(), 5u) << logDump();
    EXPECT_NE(std::string::npos, lines[0].text.find(euidPid + "get gpo failed, id=42\n"));
    EXPECT_NE(std::string::npos,
              lines[1].text.find(euidPid + "(No such file or directory)Failed [0 == "
                                           "open_the_door()], err=No such file or directory\n"));
    EXPECT_NE(std::string::npos, lines[2].text.find(euidPid + "(" + __FILE__ + ":"));
    EXPECT_NE(std::string::npos, lines[2].text.find(")(Success)malloc hash failed\n\n"));
    EXPECT_NE(std::string::npos, lines[3].text.find(euidPid + "to both 7\n"));
    // Only the trace written while the switch was on reached the terminal.
    EXPECT_EQ(std::string::npos, term.find("get gpo failed"));
    EXPECT_NE(std::string::npos, term.find(std::string("(") + __FILE__ + ":"));
    EXPECT_NE(std::string::npos, term.find(euidPid + "to both 7\n"));
    EXPECT_EQ(std::string::npos, term.find("Invaild"));
}

/* Runs fn in a child whose effective ids are unprivileged (real and saved
 * stay root, so the bracket can raise); the child's exit code is fn's. */
static int inUnprivilegedChild(gid_t egid, uid_t euid, int (*fn)()) {
    pid_t pid = fork();
    if (pid == 0) {
        if (setresgid((gid_t)-1, egid, (gid_t)-1) != 0) _exit(90);
        if (setresuid((uid_t)-1, euid, (uid_t)-1) != 0) _exit(91);
        _exit(fn());
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 99;
}

static int bracketRaisesAndRestores() {
    logClear();
    VUROTARN_PRIV priv;
    ENTERCriticalSection(priv);
    if (geteuid() != 0 || getegid() != 0 || errno != 0) return 1;
    if (logCount("WARNING: setresgid(-1, 0, -1)") != 1) return 2;
    if (logCount("WARNING: setresuid(-1, 0, -1)") != 1) return 3;
    if (logLines()[0].priority != (LOG_AUTH | LOG_INFO)) return 4;
    if (logLines()[0].text.find("WARNING: setresgid") == std::string::npos)
        return 5;  // group first
    logClear();
    LEAVECriticalSection(priv);
    if (geteuid() != 65534 || getegid() != 65534 || errno != 0) return 6;
    // Raised to root to change the group, then restored: one note, for the raise.
    if (logLines().size() != 1 || logCount("WARNING: setresuid(-1, 0, -1)") != 1) return 7;
    uid_t r, e, s;
    getresuid(&r, &e, &s);
    if (r != 0 || s != 0) return 8;
    return 0;
}

static int bracketGroupOnly() {
    // euid 0, egid 100: only the group moves, and only its raise is noted.
    logClear();
    VUROTARN_PRIV priv;
    ENTERCriticalSection(priv);
    if (getegid() != 0) return 1;
    LEAVECriticalSection(priv);
    if (getegid() != 100 || geteuid() != 0) return 2;
    if (logLines().size() != 1 || logCount("WARNING: setresgid(-1, 0, -1)") != 1) return 3;
    return 0;
}

static int bracketFailedRaiseStillRunsWork() {
    // Drop every user id for good (the real group stays 0, so the group may
    // still be raised): raising the user fails, the work runs anyway.
    if (setresuid(65534, 65534, 65534) != 0) return 10;
    logClear();
    VUROTARN_PRIV priv;
    bool ran = false;
    ENTERCriticalSection(priv);
    ran = true;
    int err = errno;
    LEAVECriticalSection(priv);
    if (!ran || err != EPERM) return 1;
    if (!logHas("ERROR: setresuid(-1, 0, -1) [Operation not permitted]")) return 2;
    if (!logHas("ERROR: ENTERCriticalSection")) return 3;
    if (logLines()[1].priority != (LOG_AUTH | LOG_ERR)) return 4;
    if (geteuid() != 65534) return 5;
    return 0;
}

TEST(PrivilegeBracket, RaisesAndRestoresInAnUnprivilegedChild) {
    if (getuid() != 0) GTEST_SKIP() << "needs root as real id";
    EXPECT_EQ(0, inUnprivilegedChild(65534, 65534, bracketRaisesAndRestores));
    EXPECT_EQ(0, inUnprivilegedChild(100, 0, bracketGroupOnly));
    EXPECT_EQ(0, inUnprivilegedChild(65534, 65534, bracketFailedRaiseStillRunsWork));
}

TEST(PrivilegeBracket, RootPassesThroughSilently) {
    if (geteuid() != 0 || getegid() != 0) GTEST_SKIP() << "needs root";
    logClear();
    errno = ENOENT;
    VUROTARN_PRIV priv;
    ENTERCriticalSection(priv);
    EXPECT_EQ(0, errno);
    errno = ENOENT;
    LEAVECriticalSection(priv);
    EXPECT_EQ(0, errno);
    EXPECT_TRUE(logLines().empty()) << logDump();
}

static std::string condition(std::initializer_list<std::pair<const char*, const char*>> pairs,
                             size_t cb = 4096, int* pRet = nullptr) {
    PQLIBSZHASH h = QLIBCSzHashAlloc(16);
    for (const auto& p : pairs) QLIBCSzHashSetValue(&h, p.first, p.second);
    std::vector<char> buf(cb, 'x');
    int r = VUROTARNSQLConditionCreate(h, buf.data(), cb);
    QLIBCSzHashFree(h);
    if (pRet) *pRet = r;
    return r == 0 ? std::string(buf.data()) : "<failed>";
}

TEST(SqlText, ConditionBuilder) {
    EXPECT_EQ(
        " where  \"parent_id\"='3'  order by  \"name\"    COLLATE NOCASE DESC    limit '10'  "
        "  offset '0'  ",
        condition({{"sort_by", "name"},
                   {"sort_direction", "DESC"},
                   {"limit", "10"},
                   {"offset", "0"},
                   {"parent_id", "3"}}));
    EXPECT_EQ("", condition({}));
    EXPECT_EQ(" order by  \"a\"   , b  ",
              condition({{"sort_by_no_escape", "b"}, {"sort_by", "a"}}));
    // No sort key: no "order by"; SQLite refuses it later.
    EXPECT_EQ("  COLLATE NOCASE ASC  ", condition({{"sort_direction", "ASC"}}));
    // Raw filters are not quoted, column filters are; any case of sqlWhere.
    EXPECT_EQ(" where  id>1  and  \"name\"='O''Neil' ",
              condition({{"SQLWHERE", "id>1"}, {"name", "O'Neil"}}));
    int r = 0;
    // Names are identifiers whatever they hold; a direction is ASC or DESC,
    // and unquoted sort terms are names with a direction, or refused.
    EXPECT_EQ(" where  \"t\".\"a\"\"b\"='c' ", condition({{"t.a\"b", "c"}}));
    EXPECT_EQ(" order by  \"x\"\"y\"    COLLATE NOCASE DESC  ",
              condition({{"sort_by", "x\"y"}, {"sort_direction", "desc"}}));
    EXPECT_EQ(" order by  package.id DESC, peer.sn  ",
              condition({{"sort_by_no_escape", "package.id DESC, peer.sn"}}));
    for (const char* bad : {"DESC; DROP TABLE ou", "up", ""}) {
        condition({{"sort_by", "id"}, {"sort_direction", bad}}, 4096, &r);
        EXPECT_EQ(-1, r) << bad;
    }
    for (const char* bad : {"id; DROP TABLE ou", "(SELECT 1)", "a.b.c", "id,", "id DESC x"}) {
        condition({{"sort_by_no_escape", bad}}, 4096, &r);
        EXPECT_EQ(-1, r) << bad;
        condition({{"sort_extra_no_escape", bad}}, 4096, &r);
        EXPECT_EQ(-1, r) << bad;
    }
    // A filter or sort suffix that won't fit is refused: a filter cut short
    // could select other rows.
    logClear();
    condition({{"a", "b"}}, 11, &r);
    EXPECT_EQ(-1, r);
    EXPECT_TRUE(logHas("szSQL buffer is not big enough, size=11")) << logDump();
    logClear();
    char buf[8];
    EXPECT_EQ(-1, VUROTARNSQLConditionCreate(nullptr, buf, sizeof(buf)));
    EXPECT_TRUE(logHas("Invaild Argument (__null != pParms)=[0]")) << logDump();
}

TEST(SqlText, InClauseAndLikeEscape) {
    PQLIBSZLIST list = QLIBCSzListAlloc(4);
    char buf[64] = "untouched";
    EXPECT_EQ(0, VUROTARNSQLIn("sn", list, buf, sizeof(buf)));
    EXPECT_STREQ("untouched", buf);
    QLIBCSzListPush(&list, "A1");
    QLIBCSzListPush(&list, "B'2");
    EXPECT_EQ(0, VUROTARNSQLIn("sn", list, buf, sizeof(buf)));
    EXPECT_STREQ(" \"sn\" in ('A1','B''2') ", buf);
    char small[14];
    // Cut: reported, and left with an open quote that SQLite refuses, never
    // a shorter list of another meaning.
    EXPECT_EQ(-1, VUROTARNSQLIn("sn", list, small, sizeof(small)));
    EXPECT_STREQ(" \"sn\" in ('A1", small);
    char exact[23];  // room for the closing parenthesis, not the blank
    EXPECT_EQ(-1, VUROTARNSQLIn("sn", list, exact, sizeof(exact)));
    EXPECT_STREQ(" \"sn\" in ('A1','B''2''", exact);
    QLIBCSzListFree(list);

    char* out = (char*)malloc(2);
    EXPECT_EQ(0, VUROTARNSQLEscapeLikeValue("50%_a\\b'", &out));
    EXPECT_STREQ("50\\%\\_a\\\\b''", out);
    free(out);
    out = nullptr;
    EXPECT_EQ(-1, VUROTARNSQLEscapeLikeValue(nullptr, &out));
    EXPECT_EQ(nullptr, out);
}

class SqlStepTest : public TarnTest {};

/* Holds an exclusive lock on the main database in a child process until
 * released (or for holdMs). Returns the child's pid once the lock is held. */
static pid_t lockHolder(const std::string& dbPath, int holdMs, int* pReleaseFd) {
    int ready[2], release[2];
    if (pipe(ready) != 0 || pipe(release) != 0) return -1;
    pid_t pid = fork();
    if (pid == 0) {
        close(ready[0]);
        close(release[1]);
        sqlite3* db = nullptr;
        sqlite3_open(dbPath.c_str(), &db);
        char* err = nullptr;
        if (sqlite3_exec(db, "BEGIN EXCLUSIVE; UPDATE ou SET pid=pid WHERE id=0;", nullptr, nullptr,
                         &err) != SQLITE_OK) {
            _exit(3);
        }
        (void)!write(ready[1], "x", 1);
        if (holdMs > 0) {
            usleep((useconds_t)holdMs * 1000);
        } else {
            char c;
            (void)!read(release[0], &c, 1);
        }
        sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
        sqlite3_close(db);
        _exit(0);
    }
    close(ready[1]);
    close(release[0]);
    char c;
    if (read(ready[0], &c, 1) != 1) return -1;
    close(ready[0]);
    *pReleaseFd = release[1];
    return pid;
}

TEST_F(SqlStepTest, LockedDatabaseRunsTheStatementExactly101Times) {
    int releaseFd = -1;
    pid_t holder = lockHolder(sys(VUROTARN_SQLITE_DB_PATH), 0, &releaseFd);
    ASSERT_GT(holder, 0);
    sleepSetFast(true);
    execCountReset("INSERT INTO ou");
    VURO_TARN_OU ou;
    VUROTARNOuItemSetName(&ou, "Locked out");
    EXPECT_EQ(-1, VUROTARNOuCreate(&ou));
    EXPECT_EQ(101, execCount());
    EXPECT_EQ(100, sleepCount());
    EXPECT_TRUE(logHas("error: database is locked")) << logDump();
    EXPECT_TRUE(logHas("Failed to create VURO_TARN_OU."));
    (void)!write(releaseFd, "x", 1);
    close(releaseFd);
    waitpid(holder, nullptr, 0);
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM ou WHERE name='Locked out'"));
}

TEST_F(SqlStepTest, WriteWaitsOutAShortLock) {
    int releaseFd = -1;
    pid_t holder = lockHolder(sys(VUROTARN_SQLITE_DB_PATH), 300, &releaseFd);
    ASSERT_GT(holder, 0);
    VURO_TARN_OU ou;
    VUROTARNOuItemSetName(&ou, "Patient");
    EXPECT_OK(VUROTARNOuCreate(&ou));
    EXPECT_GE(sleepCount(), 1);
    EXPECT_FALSE(logHas("database is locked")) << logDump();
    close(releaseFd);
    waitpid(holder, nullptr, 0);
    EXPECT_EQ("Patient", sqlValue("SELECT name FROM ou WHERE id=" + std::to_string(ou.id)));
}

TEST_F(SqlStepTest, OtherErrorsAreTracedAtOnceWithoutRetry) {
    sql("DROP TABLE ou;");
    execCountReset("SELECT * FROM ou");
    VURO_TARN_OU ou;
    EXPECT_EQ(-1, VUROTARNOuGet(1, &ou));
    EXPECT_EQ(1, execCount());
    EXPECT_EQ(0, sleepCount());
    EXPECT_TRUE(
        logHas("Exec sql:[PRAGMA foreign_keys=ON;SELECT * FROM ou WHERE id=1 ;] error: "
               "no such table: ou"))
        << logDump();
}

TEST_F(SqlStepTest, TransactionsNestAndCommitOnce) {
    // One process-wide connection: run the whole story in a child so other
    // tests keep a clean state.
    pid_t pid = fork();
    if (pid == 0) {
        logClear();
        if (VUROTARNCommitTranscation() != -1 || QLIBCErrGet() != ERR_OPEN_FAILED) _exit(1);
        if (!logHas("vurotarn_sqlite_db = NULL")) _exit(2);
        execCountReset("TRANSACTION");
        if (VUROTARNBeginTranscation() != 0 || VUROTARNBeginTranscation() != 0) _exit(3);
        if (execCount() != 1) _exit(4);  // one BEGIN
        if (sqlite3_exec(vurotarn_sqlite_db, "INSERT INTO ou(name) VALUES('txn')", 0, 0, 0))
            _exit(5);
        if (VUROTARNCommitTranscation() != 0 || execCount() != 1) _exit(6);  // no COMMIT yet
        if (sqlite3_get_autocommit(vurotarn_sqlite_db)) _exit(7);
        if (VUROTARNCommitTranscation() != 0 || execCount() != 2) _exit(8);
        if (!sqlite3_get_autocommit(vurotarn_sqlite_db)) _exit(9);
        logClear();
        if (VUROTARNCommitTranscation() != -1 || !logHas("begin_count = 0")) _exit(10);
        sqlite3* before = vurotarn_sqlite_db;
        if (VUROTARNBeginTranscation() != 0 || vurotarn_sqlite_db != before) _exit(11);
        if (execCount() != 3 || VUROTARNCommitTranscation() != 0) _exit(12);
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM ou WHERE name='txn'"));
}
