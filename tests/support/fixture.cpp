/* fixture.cpp - the test fixture: a fresh sysroot per test, laid out by the
 * tarn tool itself, and small helpers to look at it from outside. */
#include <fcntl.h>
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <sqlite3.h>

#include <fstream>
#include <sstream>

#include "tarn_test.h"
#include "vurojson.h"
#include "vurotarn_sqlite.h"
#include "vurotarnlog.h"

namespace tarntest {

static std::string drain(int fd) {
    std::string out;
    char buf[4096];
    ssize_t n;
    while ((n = read(fd, buf, sizeof(buf))) > 0) out.append(buf, (size_t)n);
    close(fd);
    return out;
}

int runProgram(const std::vector<std::string>& argv, std::string* pOut, std::string* pErr) {
    int fds[2];
    if (pipe(fds) != 0) return -1;
    // stderr into a file rather than a second pipe: no deadlock on either.
    // Always read back: the secrets check looks at every program's output.
    char errPath[] = "/tmp/tarn-stderr-XXXXXX";
    int errFd = mkstemp(errPath);
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        dup2(fds[1], 1);
        if (errFd >= 0) dup2(errFd, 2);
        close(fds[0]);
        close(fds[1]);
        std::vector<char*> args;
        for (const std::string& a : argv) args.push_back((char*)a.c_str());
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(fds[1]);
    std::string out = drain(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (pOut) *pOut = out;
    std::string err;
    if (errFd >= 0) {
        lseek(errFd, 0, SEEK_SET);
        err = drain(errFd);
        unlink(errPath);
    }
    if (pErr) {
        *pErr = err;
    } else if (!err.empty()) {
        fputs(err.c_str(), stderr);
    }
    programOutputs() += out + "\n" + err + "\n";
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void writeFile(const std::string& path, const std::string& text, mode_t mode) {
    std::ofstream(path, std::ios::binary) << text;
    chmod(path.c_str(), mode);
}

static int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

void TarnTest::SetUp() {
    char tmpl[] = "/tmp/tarn-test-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(tmpl));
    root_ = tmpl;
    setenv("VURO_SYSROOT", root_.c_str(), 1);
    // Every network stand-in then refuses any destination but loopback.
    setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
    // The programs the test runs log into the test's file too. A sanitized
    // program would refuse a library loaded before its runtime.
    setenv("LD_PRELOAD", TARN_TEST_SYSLOG_PRELOAD, 1);
    const char* asan = getenv("ASAN_OPTIONS");
    std::string asanOptions = asan != nullptr ? asan : "";
    if (asanOptions.find("verify_asan_link_order") == std::string::npos) {
        asanOptions += std::string(asanOptions.empty() ? "" : ":") + "verify_asan_link_order=0";
        setenv("ASAN_OPTIONS", asanOptions.c_str(), 1);
    }
    std::string out;
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "--root", root_, "init", "--data",
                             std::string(TARN_SOURCE_DIR) + "/data"},
                            &out))
        << out;
    logClear();
    secretsReset();
    sleepSetFast(false);
    sleepReset();
    execCountReset("");
}

void TarnTest::TearDown() {
    for (const std::string& leak : secretLeaks()) {
        ADD_FAILURE() << "a secret stands whole in " << leak;
    }
    if (!root_.empty() && getenv("TARN_TEST_KEEP") == nullptr) {
        nftw(root_.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
    unsetenv("VURO_SYSROOT");
    unsetenv("LD_PRELOAD");
}

/* Runs text on one database file; SQLite's message, "" when it ran. */
static std::string execOn(const std::string& dbFile, const std::string& text,
                          std::vector<Row>* pRows = nullptr) {
    sqlite3* db = nullptr;
    std::string msg;
    if (sqlite3_open(dbFile.c_str(), &db) != SQLITE_OK) {
        msg = "cannot open " + dbFile;
    } else {
        char* err = nullptr;
        auto keep = [](void* p, int n, char** v, char** names) {
            Row row;
            for (int i = 0; i < n; i++) row[names[i]] = v[i] ? v[i] : "";
            static_cast<std::vector<Row>*>(p)->push_back(row);
            return 0;
        };
        if (sqlite3_exec(db, text.c_str(), pRows ? +keep : nullptr, pRows, &err) != SQLITE_OK) {
            msg = err ? err : "failed";
        }
        sqlite3_free(err);
    }
    sqlite3_close(db);
    return msg;
}

void TarnTest::sql(const std::string& text) {
    ASSERT_EQ("", execOn(sys(VUROTARN_SQLITE_DB_PATH), text));
}

void TarnTest::logSql(const std::string& text) {
    ASSERT_EQ("", execOn(sys(VUROTARNLOG_DB_PATH), text));
}

std::vector<Row> TarnTest::logRows(const std::string& query) {
    std::vector<Row> rows;
    execOn(sys(VUROTARNLOG_DB_PATH), query, &rows);
    return rows;
}

/* The first column of the last row of a query on one database file. */
static std::string valueOf(const std::string& dbFile, const std::string& query) {
    sqlite3* db = nullptr;
    std::string value = "<none>";
    if (sqlite3_open(dbFile.c_str(), &db) == SQLITE_OK) {
        sqlite3_exec(
            db, query.c_str(),
            [](void* p, int n, char** v, char**) {
                if (n > 0) *(std::string*)p = v[0] ? v[0] : "NULL";
                return 0;
            },
            &value, nullptr);
    }
    sqlite3_close(db);
    return value;
}

std::string TarnTest::sqlValue(const std::string& query) {
    return valueOf(sys(VUROTARN_SQLITE_DB_PATH), query);
}

std::string TarnTest::logValue(const std::string& query) {
    return valueOf(sys(VUROTARNLOG_DB_PATH), query);
}

int TarnTest::tarn(std::vector<std::string> args, Json::Value* pOut) {
    args.insert(args.begin(), {TARN_CLI_PATH, "--root", root_});
    std::string out;
    int rc = runProgram(args, &out);
    if (pOut) {
        Json::CharReaderBuilder b;
        std::string errs;
        std::istringstream in(out);
        if (!Json::parseFromStream(b, in, pOut, &errs)) *pOut = Json::Value("<not json>");
    }
    return rc;
}

void TarnTest::remoteTimeoutCap(int ms) {
    std::string conf = sys("/etc/vuro/credential.conf");
    std::string text = readFile(conf);
    size_t at = text.find("timeout_cap_ms=");
    if (at != std::string::npos) text.erase(at, text.find('\n', at) - at + 1);
    writeFile(conf, text + "timeout_cap_ms=" + std::to_string(ms) + "\n");
}

void RemoteTest::simStart(PeerSimOptions o, int capMs) {
    remoteTimeoutCap(capMs);
    o.root = root_;
    ASSERT_TRUE(sim_.start(o)) << sim_.error();
}

void TarnTest::pluginInstall(const std::string& name, const std::string& body) {
    std::string dir = sys("/var/packages/TARN/target/plugin/") + name.substr(0, name.find('/'));
    mkdir(dir.c_str(), 0755);
    writeFile(sys("/var/packages/TARN/target/plugin/") + name, "#!/bin/sh\n" + body, 0755);
}

int stressSeconds() {
    const char* s = getenv("TARN_STRESS_SECONDS");
    return s != nullptr && atoi(s) > 0 ? atoi(s) : 20;
}

double now() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

Json::Value parse(const std::string& text) {
    Json::Value v;
    EXPECT_TRUE(vurojson::fromString(v, text)) << text;
    return v;
}

}  // namespace tarntest
