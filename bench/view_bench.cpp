/* view_bench.cpp - a user's view of a generated tree (1,000 OUs, 5,000
 * peers, the user delegated on 20 OUs) and the peer filter built from it,
 * which must cost about one view, not one view per peer. */
#include <unistd.h>

#include <fstream>

#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

namespace {

const uid_t kUser = 3001;

void treeMake() {
    static bool done = false;
    if (done) return;
    done = true;
    std::string etc = sysroot() + "/etc";
    mkdir(etc.c_str(), 0755);
    std::ofstream(etc + "/passwd") << "root:x:0:0::/:/bin/sh\ndora:x:3001:100::/:/bin/sh\n";
    std::ofstream(etc + "/group") << "users:x:100:\nadministrators:x:101:\n";
    sqlite3* db = nullptr;
    sqlite3_open(dbPath().c_str(), &db);
    execOrDie(db, "BEGIN");
    // OU i has parent (i-1)/4: a tree of depth ~5 with fan-out 4.
    for (int i = 1; i <= 1000; i++) {
        execOrDie(db, "INSERT INTO ou(id, name, parent_id) VALUES(" + std::to_string(i) + ", 'ou " +
                          std::to_string(i) + "', " + std::to_string((i - 1) / 4) + ")");
    }
    for (int i = 1; i <= 5000; i++) {
        execOrDie(db, "INSERT INTO peer(id, sn, parent_id) VALUES(" + std::to_string(i) + ", 'SN" +
                          std::to_string(i) + "', " + std::to_string(1 + i % 1000) + ")");
    }
    // Delegated on 20 OUs spread over the lower levels.
    for (int i = 0; i < 20; i++) {
        execOrDie(db, "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES(8, " +
                          std::to_string(kUser) + ", 2, " + std::to_string(300 + i * 30) + ")");
    }
    execOrDie(db, "COMMIT");
    sqlite3_close(db);
}

void BM_ListTreeByUid(benchmark::State& state) {
    treeMake();
    for (auto _ : state) {
        VURO_TARN_OU* ous = nullptr;
        VURO_TARN_PEER* peers = nullptr;
        VUROTARNListTreeByUid(kUser, &ous, &peers, nullptr);
        benchmark::DoNotOptimize(peers);
        VUROTARNOuListFree(&ous);
        VUROTARNPeerListFree(&peers);
    }
}
BENCHMARK(BM_ListTreeByUid)->Unit(benchmark::kMillisecond);

void BM_GetPeerIDFilter(benchmark::State& state) {
    treeMake();
    for (auto _ : state) {
        std::string filter;
        int n = VUROTARNGetPeerIDFilter("dora", filter);
        if (n <= 0) state.SkipWithError("no peers allowed");
        benchmark::DoNotOptimize(filter.data());
    }
}
BENCHMARK(BM_GetPeerIDFilter)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv, {{"BM_GetPeerIDFilter", "BM_ListTreeByUid", 3.0}});
}
