/* bench_support.h - what every benchmark shares: a sysroot laid out by the
 * same code as "tarn init", and a reporter that prints each library
 * operation's time as a ratio of the bare work it must do (SQLite
 * statements, a plain client),
 * measured in the same run. */
#ifndef TARN_BENCH_SUPPORT_H
#define TARN_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>
#include <ftw.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include <map>
#include <string>
#include <vector>

#include "tarn_root.h"
#include "vurotarn_sqlite.h"

namespace tarnbench {

inline std::string& sysroot() {
    static std::string root;
    return root;
}

inline std::string dbPath() { return sysroot() + VUROTARN_SQLITE_DB_PATH; }

/* A set-up step that failed ends the bench with what it was. */
inline void setupOrDie(bool ok, const char* what) {
    if (!ok) {
        fprintf(stderr, "bench setup: %s\n", what);
        exit(1);
    }
}

inline void execOrDie(sqlite3* db, const std::string& sql) {
    char* err = nullptr;
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
        fprintf(stderr, "bench setup: %s\n", err ? err : "?");
        exit(1);
    }
}

/* A bare setup: the database at path opened inside one transaction, rows
 * stepped in or the process ends with SQLite's words, and the end. */
inline sqlite3* setupBegin(const std::string& path) {
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    execOrDie(db, "BEGIN");
    return db;
}

inline void setupStep(sqlite3* db, sqlite3_stmt* st) {
    if (sqlite3_step(st) != SQLITE_DONE) {
        fprintf(stderr, "bench setup: %s\n", sqlite3_errmsg(db));
        exit(1);
    }
    sqlite3_reset(st);
}

inline void setupEnd(sqlite3* db, sqlite3_stmt* st = nullptr) {
    sqlite3_finalize(st);
    execOrDie(db, "COMMIT");
    sqlite3_close(db);
}

/* A sysroot laid out by the code of "tarn init", with the parts the bare
 * statements beside the library's calls have too: the main database with
 * the root OU, and for the benchmarks of worded log rows the UI data and
 * the configuration (parts: tarnroot::RootPart). */
inline void sysrootMake(int parts) {
    char tmpl[] = "/tmp/tarn-bench-XXXXXX";
    if (!mkdtemp(tmpl)) exit(1);
    sysroot() = tmpl;
    setenv("VURO_SYSROOT", tmpl, 1);
    std::string err;
    if (!tarnroot::rootLayOut(std::string(TARN_SOURCE_DIR) + "/data", "", &err, parts)) {
        fprintf(stderr, "bench setup: %s\n", err.c_str());
        exit(1);
    }
}

inline void sysrootRemove() {
    nftw(
        sysroot().c_str(),
        [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); }, 16,
        FTW_DEPTH | FTW_PHYS);
}

/* Runs body(process, n) `each` times in each of `processes` children at
 * once; the wall time of the whole, or -1 when a child failed. */
template <typename Body>
double processesRun(int processes, int each, Body body) {
    auto start = std::chrono::steady_clock::now();
    std::vector<pid_t> pids;
    for (int w = 0; w < processes; w++) {
        pid_t pid = fork();
        if (pid == 0) {
            int failed = 0;
            for (int n = 0; n < each; n++) failed += body(w, n) != 0;
            _exit(failed == 0 ? 0 : 1);
        }
        pids.push_back(pid);
    }
    bool ok = true;
    for (pid_t pid : pids) {
        int status = 0;
        waitpid(pid, &status, 0);
        ok = ok && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return ok ? secs : -1;
}

/* Console output plus a table of ratios: library / bare, per pair. */
class RatioReporter : public benchmark::ConsoleReporter {
public:
    struct Pair {
        std::string lib, bare;
        double target;
    };
    explicit RatioReporter(std::vector<Pair> pairs) : pairs_(std::move(pairs)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.run_type == Run::RT_Iteration && !r.error_occurred) {
                times_[r.benchmark_name()] = r.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        printf("\n%-34s %-34s %8s %8s\n", "library", "bare", "ratio", "target");
        for (const Pair& p : pairs_) {
            if (!times_.count(p.lib) || !times_.count(p.bare)) continue;
            double ratio = times_[p.lib] / times_[p.bare];
            // A target of 0 or less: reported for information, nothing to meet.
            if (p.target <= 0) {
                printf("%-34s %-34s %7.2fx %8s\n", p.lib.c_str(), p.bare.c_str(), ratio, "-");
                continue;
            }
            printf("%-34s %-34s %7.2fx %7.2fx %s\n", p.lib.c_str(), p.bare.c_str(), ratio, p.target,
                   ratio <= p.target ? "ok" : "OVER");
        }
    }

private:
    std::vector<Pair> pairs_;
    std::map<std::string, double> times_;
};

/* The benchmarks of this program in a sysroot of the given parts, told
 * through reporter. */
inline int runWith(int argc, char** argv, benchmark::BenchmarkReporter& reporter, int parts) {
    sysrootMake(parts);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    sysrootRemove();
    return 0;
}

inline int runWithRatios(int argc, char** argv, std::vector<RatioReporter::Pair> pairs,
                         int parts = tarnroot::kRootDatabase) {
    RatioReporter reporter(std::move(pairs));
    return runWith(argc, argv, reporter, parts);
}

}  // namespace tarnbench

#endif
