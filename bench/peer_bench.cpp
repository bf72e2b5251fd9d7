/* peer_bench.cpp - the peer upsert, changed and unchanged, beside the bare
 * statements it must issue: open, pragma and full-match query, then (when
 * something changed) INSERT OR REPLACE with the key query and the read-back,
 * close. */
#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

namespace {

int fillId(void* p, int, char** v, char**) {
    if (v[0]) *(long*)p = strtol(v[0], nullptr, 10);
    return 0;
}

VURO_TARN_PEER benchPeer(long n) {
    VURO_TARN_PEER peer;
    peer.str_sn = "SN-BENCH";
    peer.str_hostname = "nas-bench";
    peer.str_host = "127.0.0.1";
    peer.http_port = 5000;
    peer.up_time = n;  // changes every run when asked to
    return peer;
}

void BM_PeerUpsertChanged(benchmark::State& state) {
    long n = 0;
    for (auto _ : state) {
        VURO_TARN_PEER peer = benchPeer(++n);
        if (VUROTARNPeerCreate(&peer) != 0) state.SkipWithError("create failed");
    }
}
BENCHMARK(BM_PeerUpsertChanged)->Unit(benchmark::kMicrosecond);

void BM_PeerUpsertUnchanged(benchmark::State& state) {
    VURO_TARN_PEER first = benchPeer(-1);
    VUROTARNPeerCreate(&first);
    for (auto _ : state) {
        VURO_TARN_PEER peer = benchPeer(-1);
        if (VUROTARNPeerCreate(&peer) != 0) state.SkipWithError("create failed");
    }
}
BENCHMARK(BM_PeerUpsertUnchanged)->Unit(benchmark::kMicrosecond);

char* fullMatch(const VURO_TARN_PEER& r) {
    return sqlite3_mprintf(
        "PRAGMA foreign_keys=ON;SELECT id FROM peer WHERE desc='%q' AND sn='%q' AND model='%q' AND "
        "version='%q' AND buildnum=%ld AND smallfixnum=%ld AND hostname='%q' AND host='%q' AND "
        "sid='%q' AND vuro_token='%q' AND status=%ld AND status_by_server=%ld AND "
        "status_by_server_mtime=%ld AND wol=%ld AND up_time=%ld AND uptime_mtime=%ld AND "
        "http_port=%ld AND https_port=%ld AND parent_id=%ld AND block_inheritance=%ld AND "
        "linked_gpo='%q' AND relaypath='%q' AND gluster_role=%ld AND extra_info='%q';",
        "", r.str_sn.c_str(), "", "", 0L, 0L, r.str_hostname.c_str(), r.str_host.c_str(), "", "",
        0L, 0L, 0L, 0L, r.up_time, 0L, r.http_port, 0L, 0L, 0L, "", "", 0L, "");
}

void bareUpsert(benchmark::State& state, bool changed) {
    long n = 0;
    for (auto _ : state) {
        VURO_TARN_PEER r = benchPeer(changed ? ++n : -2);
        sqlite3* db = nullptr;
        sqlite3_open(dbPath().c_str(), &db);
        char* match = fullMatch(r);
        long id = -1;
        sqlite3_exec(db, match, fillId, &id, nullptr);
        if (id < 0) {
            char* ins = sqlite3_mprintf(
                "PRAGMA foreign_keys=ON;INSERT OR REPLACE INTO peer ( id, mtime, sn, hostname, "
                "host, up_time, http_port) VALUES ( (SELECT id FROM peer WHERE sn='%q'), %ld, "
                "'%q', '%q', '%q', %ld, %ld);",
                r.str_sn.c_str(), (long)time(nullptr), r.str_sn.c_str(), r.str_hostname.c_str(),
                r.str_host.c_str(), r.up_time, r.http_port);
            sqlite3_exec(db, ins, nullptr, nullptr, nullptr);
            sqlite3_exec(db, match, fillId, &id, nullptr);
            sqlite3_free(ins);
        }
        sqlite3_free(match);
        sqlite3_close(db);
        benchmark::DoNotOptimize(id);
    }
}

void BM_BareUpsertChanged(benchmark::State& state) { bareUpsert(state, true); }
BENCHMARK(BM_BareUpsertChanged)->Unit(benchmark::kMicrosecond);

void BM_BareUpsertUnchanged(benchmark::State& state) {
    VURO_TARN_PEER first = benchPeer(-2);
    VUROTARNPeerCreate(&first);
    bareUpsert(state, false);
}
BENCHMARK(BM_BareUpsertUnchanged)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv,
                         {{"BM_PeerUpsertChanged", "BM_BareUpsertChanged", 1.3},
                          {"BM_PeerUpsertUnchanged", "BM_BareUpsertUnchanged", 1.5}});
}
