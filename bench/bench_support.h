/* bench_support.h - what every benchmark shares: a sysroot with a fresh
 * database, and a reporter that prints each library operation's time as a
 * ratio of the bare work it must do (SQLite statements, a plain client),
 * measured in the same run. */
#ifndef TARN_BENCH_SUPPORT_H
#define TARN_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>
#include <ftw.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "vurotarn_sqlite.h"

namespace tarnbench {

inline std::string& sysroot() {
    static std::string root;
    return root;
}

inline std::string dbPath() { return sysroot() + VUROTARN_SQLITE_DB_PATH; }

inline void execOrDie(sqlite3* db, const std::string& sql) {
    char* err = nullptr;
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
        fprintf(stderr, "bench setup: %s\n", err ? err : "?");
        exit(1);
    }
}

/* A sysroot with an empty main database made from data/tarn_db.sql. */
inline void sysrootMake() {
    char tmpl[] = "/tmp/tarn-bench-XXXXXX";
    if (!mkdtemp(tmpl)) exit(1);
    sysroot() = tmpl;
    setenv("VURO_SYSROOT", tmpl, 1);
    std::string dir = sysroot();
    for (const char* part : {"/var", "/packages", "/TARN", "/target", "/db"}) {
        dir += part;
        mkdir(dir.c_str(), 0755);
    }
    std::ifstream in(std::string(TARN_SOURCE_DIR) + "/data/tarn_db.sql");
    std::stringstream ss;
    ss << in.rdbuf();
    sqlite3* db = nullptr;
    sqlite3_open(dbPath().c_str(), &db);
    execOrDie(db, ss.str());
    sqlite3_close(db);
}

inline void sysrootRemove() {
    nftw(
        sysroot().c_str(),
        [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); }, 16,
        FTW_DEPTH | FTW_PHYS);
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

inline int runWithRatios(int argc, char** argv, std::vector<RatioReporter::Pair> pairs) {
    sysrootMake();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter(std::move(pairs));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    sysrootRemove();
    return 0;
}

}  // namespace tarnbench

#endif
