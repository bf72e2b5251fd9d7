/* tarn_test.h - what every test leans on: a fixture with a sysroot of its
 * own, the lines the library sent to syslog, counters of the SQL runs and
 * sleeps of the SQL step, the library's own holders of hashes, string lists
 * and record lists (parameters and filters), ids of a record list, and file
 * helpers. */
#ifndef TARN_TEST_H
#define TARN_TEST_H

#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/vurotarn_holder_int.h"
#include "peer_sim.h"

#define ASSERT_OK(call) ASSERT_EQ(0, (call))
#define EXPECT_OK(call) EXPECT_EQ(0, (call))

namespace tarntest {

struct LogLine {
    int priority;
    std::string text;
};

/* Lines captured from syslog since the last clear. */
std::vector<LogLine>& logLines();
void logClear();
/* True when some captured line contains every piece, in any order. */
bool logHas(const std::string& piece);
int logCount(const std::string& piece);
std::string logDump();
/* The same lines as appended to a file in the test's root by this process
 * and by every process forked from it ("<priority> text", one a line). */
const char kLogFileName[] = "/tarn-test-syslog";
std::string logFilePath();
std::vector<LogLine> logFileLines();
int logFileCount(const std::string& piece);

/* The SQL step's sleep: while fast, usleep records and returns at once. */
void sleepSetFast(bool fast);
int sleepCount();
void sleepReset();

/* Runs of sqlite3_exec whose text contains the piece (all runs for ""). */
void execCountReset(const std::string& piece);
int execCount();
/* While capture is on, each sqlite3_exec text is kept with the database
 * file it ran on; turning it on forgets what was kept before. */
struct ExecRun {
    std::string file;
    std::string sql;
};
void execCapture(bool on);
const std::vector<ExecRun>& execCaptured();

/* Runs a program and waits; its exit status, -1 if it could not run. What
 * it writes on stdout (and, when pErr is given, stderr) is collected. */
int runProgram(const std::vector<std::string>& argv, std::string* pOut = nullptr,
               std::string* pErr = nullptr);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text, mode_t mode = 0644);

/* The ids of a record list of any family, in list order. */
template <class Rec>
std::vector<long> ids(const Rec* p) {
    std::vector<long> out;
    for (; p != nullptr; p = p->pNext) out.push_back((long)p->id);
    return out;
}

/* The texts of a string list, in list order. */
inline std::vector<std::string> items(PQLIBSZLIST l) {
    return l != nullptr ? std::vector<std::string>(l->pszItem, l->pszItem + l->nItem)
                        : std::vector<std::string>();
}

/* Children, reaped with a deadline. reapWithin: pid's exit status, or -1
 * when it ran over (then killed) or did not exit normally. reapChildren:
 * up to n children other than keep, fewer when there are no more; those
 * still there after ms are killed. childrenNow: the children that exist,
 * exited ones not yet reaped included. */
int reapWithin(pid_t pid, int ms);
struct Reaped {
    int count = 0;    // children reaped
    int exited0 = 0;  // of them, those that exited with 0
};
Reaped reapChildren(int n, int ms, pid_t keep);
std::set<pid_t> childrenNow();

/* The seconds a stress test runs: 20, or TARN_STRESS_SECONDS when set (the
 * sanitizer build shortens it, a long run makes it longer). */
int stressSeconds();
/* Seconds on the monotonic clock. */
double now();

/* The JSON of a text written in a test; a failed expectation when it is
 * no JSON. */
Json::Value parse(const std::string& text);

/* One row of a query: column name -> text ("" for NULL). */
using Row = std::map<std::string, std::string>;

/* A sysroot laid out by "tarn init", removed again afterwards. */
class TarnTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    /* Absolute system path below the test's sysroot. */
    std::string sys(const std::string& path) const { return root_ + path; }
    /* Runs one SQL text on the main database outside the library. */
    void sql(const std::string& text);
    std::string sqlValue(const std::string& query);
    /* The same on the event log's database, and every row of a query on
     * it, read outside the library. */
    std::string logValue(const std::string& query);
    std::vector<Row> logRows(const std::string& query);
    void logSql(const std::string& text);
    /* Runs the tarn tool on this root; its exit status, and its stdout
     * parsed as JSON into *pOut ("<not json>" when it is not). */
    int tarn(std::vector<std::string> args, Json::Value* pOut = nullptr);
    /* Caps every remote call's time-out (credential.conf), so that a
     * server that never answers holds a test for ms, not a minute. */
    void remoteTimeoutCap(int ms);
    /* Installs an executable shell plug-in at the plug-in path "mod/hook". */
    void pluginInstall(const std::string& name, const std::string& body);

    std::string root_;
};

/* A test against simulated servers on its root; every exchange is capped
 * (a second unless asked), so a hung server holds up no test. */
class RemoteTest : public TarnTest {
protected:
    /* The simulator goes before the root it writes in. */
    void TearDown() override {
        sim_.finish();
        TarnTest::TearDown();
    }
    /* Starts sim_ with the options (their root is this test's). */
    void simStart(PeerSimOptions o, int capMs = 1000);
    void simStart(int peers) {
        PeerSimOptions o;
        o.peers = peers;
        simStart(o);
    }
    PeerSim sim_;
};

/* Turns off LeakSanitizer's check at exit in this process and the
 * children it forks from now on: the check needs a thread of its own, which
 * a test that limits the processes of a user takes away. Nothing without
 * the sanitizer. */
void leakCheckOff();
/* Runs work in a forked child, reaped within ms: work's return value as
 * the child's exit status, -1 as reapWithin gives it. */
int runInChild(const std::function<int()>& work, int ms);
/* The same in a fresh network namespace with only lo up, so that nothing
 * the work sends can leave the machine; kNetnsRefused when the sandbox
 * refuses the namespace. */
const int kNetnsRefused = 77;
int runInFreshNetns(const std::function<int()>& work, int ms);

/* Secrets of the running test: the simulators' tokens, the session ids of
 * its store, and any a test notes itself. No captured line of any process
 * and no output of a program it ran may hold one whole, except the lines
 * that print a far side's answer or a join entry as they came. */
void secretNote(const std::string& secret);
/* Each place a secret stood, "where: line"; empty when there is none. */
std::vector<std::string> secretLeaks();
/* Forgets the notes and the programs' outputs, as each test starts. */
void secretsReset();
/* Everything programs run through runProgram wrote since the reset. */
std::string& programOutputs();

}  // namespace tarntest

#endif
