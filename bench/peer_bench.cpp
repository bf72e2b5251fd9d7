/* peer_bench.cpp - the peer's keyed upsert beside the bare statements it must
 * issue. Unchanged values: open, pragma and full-match query, close. Changed
 * values: the same, then INSERT OR REPLACE with the serial's key query in the
 * id place and the full-match query again as read-back, then close. */
#include <string.h>
#include <time.h>

#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

namespace {

struct Found {
    bool available = false;
    long id = -1;
};

/* What FillOne takes from the full-match query: the first row's id. */
int fillId(void* p, int n, char** v, char** c) {
    Found* f = (Found*)p;
    if (f->available || !v || !c) return 0;
    f->available = true;
    for (int i = 0; i < n; i++) {
        if (v[i] && c[i] && !strcmp(c[i], "id")) f->id = strtol(v[i], nullptr, 10);
    }
    return 0;
}

VURO_TARN_PEER benchPeer(const char* sn) {
    VURO_TARN_PEER peer;
    peer.str_sn = sn;
    peer.str_hostname = std::string("nas-") + sn;
    peer.str_host = "10.0.0.1";
    peer.str_model = "M-4";
    peer.str_version = "7.2-64570";
    peer.buildnum = 64570;
    peer.str_sid = "0123456789abcdef0123456789abcdef";
    peer.http_port = 5000;
    peer.https_port = 5001;
    peer.str_linked_gpo = "[{\"id\":1,\"enforce\":0}]";
    peer.str_extra_info = "{\"rack\":3}";
    return peer;
}

char* fullMatchText(const VURO_TARN_PEER& r) {
    return sqlite3_mprintf(
        "PRAGMA foreign_keys=ON;SELECT id FROM peer WHERE desc='%q' AND sn='%q' AND model='%q' "
        "AND version='%q' AND buildnum=%ld AND smallfixnum=%ld AND hostname='%q' AND host='%q' "
        "AND sid='%q' AND vuro_token='%q' AND status=%ld AND status_by_server=%ld AND "
        "status_by_server_mtime=%ld AND wol=%ld AND up_time=%ld AND uptime_mtime=%ld AND "
        "http_port=%ld AND https_port=%ld AND parent_id=%ld AND block_inheritance=%ld AND "
        "linked_gpo='%q' AND relaypath='%q' AND gluster_role=%ld AND extra_info='%q';",
        r.str_desc.c_str(), r.str_sn.c_str(), r.str_model.c_str(), r.str_version.c_str(),
        r.buildnum, r.smallfixnum, r.str_hostname.c_str(), r.str_host.c_str(), r.str_sid.c_str(),
        r.str_vuro_token.c_str(), r.status, r.status_by_server, (long)r.status_by_server_mtime,
        r.wol, r.up_time, (long)r.uptime_mtime, r.http_port, r.https_port, r.parent_id,
        r.block_inheritance, r.str_linked_gpo.c_str(), r.str_relaypath.c_str(), r.gluster_role,
        r.str_extra_info.c_str());
}

char* upsertText(const VURO_TARN_PEER& r, const char* szKey) {
    return sqlite3_mprintf(
        "PRAGMA foreign_keys=ON;INSERT OR REPLACE INTO peer ( id, mtime, desc, sn, model, "
        "version, buildnum, smallfixnum, hostname, host, sid, vuro_token, status, "
        "status_by_server, status_by_server_mtime, wol, up_time, uptime_mtime, http_port, "
        "https_port, parent_id, block_inheritance, linked_gpo, relaypath, gluster_role, "
        "extra_info) VALUES ( (%s), %ld, '%q', '%q', '%q', '%q', %ld, %ld, '%q', '%q', '%q', "
        "'%q', %ld, %ld, %ld, %ld, %ld, %ld, %ld, %ld, %ld, %ld, '%q', '%q', %ld, '%q');",
        szKey, (long)r.mtime, r.str_desc.c_str(), r.str_sn.c_str(), r.str_model.c_str(),
        r.str_version.c_str(), r.buildnum, r.smallfixnum, r.str_hostname.c_str(),
        r.str_host.c_str(), r.str_sid.c_str(), r.str_vuro_token.c_str(), r.status,
        r.status_by_server, (long)r.status_by_server_mtime, r.wol, r.up_time, (long)r.uptime_mtime,
        r.http_port, r.https_port, r.parent_id, r.block_inheritance, r.str_linked_gpo.c_str(),
        r.str_relaypath.c_str(), r.gluster_role, r.str_extra_info.c_str());
}

/* The statements of one upsert, by hand; the row's id, or -1. */
long bareUpsert(VURO_TARN_PEER& r) {
    sqlite3* db = nullptr;
    sqlite3_open(dbPath().c_str(), &db);
    char* match = fullMatchText(r);
    Found found;
    sqlite3_exec(db, match, fillId, &found, nullptr);
    if (!found.available) {
        char* key = sqlite3_mprintf("SELECT id FROM peer WHERE sn='%q'", r.str_sn.c_str());
        r.mtime = time(nullptr);
        char* upsert = upsertText(r, key);
        sqlite3_exec(db, upsert, nullptr, nullptr, nullptr);
        sqlite3_exec(db, match, fillId, &found, nullptr);
        sqlite3_free(upsert);
        sqlite3_free(key);
    }
    sqlite3_free(match);
    sqlite3_close(db);
    return found.id;
}

void BM_PeerUpsertChanged(benchmark::State& state) {
    VURO_TARN_PEER peer = benchPeer("BENCH-LIB-CHANGED");
    for (auto _ : state) {
        peer.up_time++;  // one changed column: the row is rewritten
        if (VUROTARNPeerCreate(&peer) != 0) state.SkipWithError("upsert failed");
    }
}
BENCHMARK(BM_PeerUpsertChanged)->Unit(benchmark::kMicrosecond);

void BM_BareUpsertChanged(benchmark::State& state) {
    VURO_TARN_PEER peer = benchPeer("BENCH-BARE-CHANGED");
    for (auto _ : state) {
        peer.up_time++;
        if (bareUpsert(peer) < 0) state.SkipWithError("upsert failed");
    }
}
BENCHMARK(BM_BareUpsertChanged)->Unit(benchmark::kMicrosecond);

void BM_PeerUpsertUnchanged(benchmark::State& state) {
    VURO_TARN_PEER peer = benchPeer("BENCH-LIB-SAME");
    VUROTARNPeerCreate(&peer);
    for (auto _ : state) {
        if (VUROTARNPeerCreate(&peer) != 0) state.SkipWithError("upsert failed");
    }
}
BENCHMARK(BM_PeerUpsertUnchanged)->Unit(benchmark::kMicrosecond);

void BM_BareUpsertUnchanged(benchmark::State& state) {
    VURO_TARN_PEER peer = benchPeer("BENCH-BARE-SAME");
    bareUpsert(peer);
    for (auto _ : state) {
        if (bareUpsert(peer) < 0) state.SkipWithError("upsert failed");
    }
}
BENCHMARK(BM_BareUpsertUnchanged)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv,
                         {{"BM_PeerUpsertChanged", "BM_BareUpsertChanged", 1.3},
                          {"BM_PeerUpsertUnchanged", "BM_BareUpsertUnchanged", 1.5}});
}
