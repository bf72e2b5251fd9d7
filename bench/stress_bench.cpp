/* stress_bench.cpp - writes per second with eight processes writing at
 * once, each write with its event log row, beside eight processes issuing
 * the bare statements of such a write: the cost of the library's locking
 * story (per-call connections, retry with random sleeps) under contention. */
#include <sys/wait.h>
#include <unistd.h>

#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

namespace {

const int kProcesses = 8;
const int kWritesEach = 25;

/* The log database with its table as the first write makes it, once, in
 * the root that runWithRatios laid out (string files and log_limit are
 * there already, so every write is worded as in production). */
void setupOnce() {
    static bool done = false;
    if (done) return;
    done = true;
    VURO_TARNLOG first;
    VUROTARNLogCreate(&first);
}

template <typename Body>
double runProcesses(Body body) {
    return processesRun(kProcesses, kWritesEach, body);
}

/* One iteration is every process's steps; its time is given per write,
 * and the writes per second of all processes together as a counter. */
void report(benchmark::State& state, double secs, double& totalSecs) {
    if (secs < 0) {
        state.SkipWithError("a writer failed");
        return;
    }
    totalSecs += secs;
    state.SetIterationTime(secs / (kProcesses * kWritesEach * 2));
}

void writesPerSecond(benchmark::State& state, double totalSecs) {
    if (totalSecs > 0) {
        state.counters["writes_per_s"] =
            (double)state.iterations() * kProcesses * kWritesEach * 2 / totalSecs;
    }
}

/* Rounds of kProcesses writers, each writing its OUs through write(name);
 * the names carry the prefix, the round, the writer and the step, so that
 * no two rows of any run share one. */
template <class Write>
void concurrentRounds(benchmark::State& state, const std::string& prefix, Write write) {
    static int round = 0;
    double total = 0;
    setupOnce();
    for (auto _ : state) {
        int r = round++;
        double secs = runProcesses([&](int w, int n) {
            return write(prefix + "r" + std::to_string(r) + "w" + std::to_string(w) + "-" +
                         std::to_string(n));
        });
        report(state, secs, total);  // two writes per step
    }
    writesPerSecond(state, total);
}

void BM_ConcurrentWrites(benchmark::State& state) {
    concurrentRounds(state, "", [](const std::string& name) {
        VURO_TARN_OU ou;
        ou.str_name = name;
        if (VUROTARNOuCreate(&ou) != 0) return -1;
        ou.str_name += " renamed";
        return VUROTARNOuSet(&ou);
    });
}

/* What one logged write must issue at least: the row with its read-back on
 * the main database, the event row with its look-up and count on the log
 * database, each on a connection of its own. */
int bareWrite(const std::string& name) {
    sqlite3* db = nullptr;
    if (sqlite3_open(dbPath().c_str(), &db) != SQLITE_OK) return -1;
    sqlite3_busy_timeout(db, 60000);
    char* sql = sqlite3_mprintf(
        "INSERT INTO ou (mtime, name, \"desc\", parent_id, block_inheritance, linked_gpo, "
        "extra_info) VALUES (1, '%q', '', 0, 0, '', '');"
        "SELECT id FROM ou WHERE name='%q';",
        name.c_str(), name.c_str());
    char* err = nullptr;
    int rc = sqlite3_exec(db, sql, nullptr, nullptr, &err);
    if (rc != SQLITE_OK) fprintf(stderr, "bare write: %s\n", err ? err : "?");
    sqlite3_free(err);
    sqlite3_free(sql);
    sqlite3_close(db);
    if (rc != SQLITE_OK) return -1;
    std::string logPath = sysroot() + VUROTARNLOG_DB_PATH;
    if (sqlite3_open(logPath.c_str(), &db) != SQLITE_OK) return -1;
    sqlite3_busy_timeout(db, 60000);
    sql = sqlite3_mprintf(
        "INSERT INTO log (happen_time, level, user_id, obj_id, parent_obj_id, username, enu, "
        "ger, extra_info, pid) VALUES (1, 6, 4294967295, '%q', 'ou_0', '', '%q', '%q', '', 1);"
        "SELECT id FROM log WHERE obj_id='%q' AND pid=1;SELECT COUNT(*) FROM log;",
        name.c_str(), name.c_str(), name.c_str(), name.c_str());
    rc = sqlite3_exec(db, sql, nullptr, nullptr, &err);
    if (rc != SQLITE_OK) fprintf(stderr, "bare log write: %s\n", err ? err : "?");
    sqlite3_free(err);
    sqlite3_free(sql);
    sqlite3_close(db);
    return rc == SQLITE_OK ? 0 : -1;
}

void BM_BareConcurrentWrites(benchmark::State& state) {
    concurrentRounds(state, "bare ", [](const std::string& name) {
        return bareWrite(name) == 0 && bareWrite(name + " renamed") == 0 ? 0 : -1;
    });
}

BENCHMARK(BM_ConcurrentWrites)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BareConcurrentWrites)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv,
                         {{"BM_ConcurrentWrites/iterations:3/manual_time",
                           "BM_BareConcurrentWrites/iterations:3/manual_time", 3.0}},
                         tarnroot::kRootDatabase | tarnroot::kRootData | tarnroot::kRootDefaults);
}
