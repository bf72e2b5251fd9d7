/* gpo_bench.cpp - the effective policy of a peer at depth 8 in a tree of
 * 1,000 OUs, with three policies linked on every level, beside the bare
 * reads it must issue: the path up (one OU read per level), the peer, each
 * OU's links on both passes, each linked policy for the order, and each
 * policy again for its setting. Then a fleet: 5,000 peers under 1,000 OUs
 * with three policies each, evaluated in one pass, beside the bare reads of
 * those rows once each and beside the loop over its peers one at a time. */
#include <string.h>

#include <chrono>

#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

namespace {

const int kDepth = 8;
long gPeer = 0;
std::vector<long> gPath;  // OU ids from the peer's OU up to the root

/* Three policies owned by an OU, each with a set of its own; the first
 * linked enforced. Gives the link text; *pGpoId is the next free id. */
std::string threePoliciesInsert(sqlite3* db, long owner, long* pGpoId,
                                std::vector<long>* pIds = nullptr) {
    std::string order = "{\"order\":[";
    for (int k = 0; k < 3; k++, (*pGpoId)++) {
        long gpoId = *pGpoId;
        execOrDie(db, "INSERT INTO gpo(id, name, parent_id, parent_type, setting) VALUES(" +
                          std::to_string(gpoId) + ", 'g" + std::to_string(gpoId) + "', " +
                          std::to_string(owner) + ", 2, '{\"gpo_content\":{\"Set" +
                          std::to_string(gpoId % 7) +
                          "\":{\"vuro_set_version\":1,\"v\":" + std::to_string(gpoId) + "}}}')");
        order += std::string(k ? "," : "") + "{\"id\":" + std::to_string(gpoId) +
                 ",\"override\":" + (k == 0 ? "1" : "0") + "}";
        if (pIds != nullptr) pIds->push_back(gpoId);
    }
    return order + "]}";
}

void treeMake() {
    static bool done = false;
    if (done) return;
    done = true;
    sqlite3* db = setupBegin(dbPath());
    // A chain of kDepth OUs under the root, the rest spread beside it.
    long gpoId = 1;
    auto links = [&](long owner) { return threePoliciesInsert(db, owner, &gpoId); };
    execOrDie(db, "UPDATE ou SET linked_gpo='" + links(0) + "' WHERE id=0");
    for (long id = 1; id <= 1000; id++) {
        long parent = id <= kDepth ? id - 1 : 1 + id % kDepth;
        execOrDie(db, "INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES(" +
                          std::to_string(id) + ", 'ou', " + std::to_string(parent) + ", '" +
                          (id <= kDepth ? links(id) : std::string()) + "')");
    }
    execOrDie(
        db, "INSERT INTO peer(id, sn, parent_id) VALUES(1, 'SN', " + std::to_string(kDepth) + ")");
    setupEnd(db);
    gPeer = 1;
    for (long id = kDepth; id >= 0; id--) gPath.push_back(id);
}

void BM_EvaluatePeer(benchmark::State& state) {
    treeMake();
    for (auto _ : state) {
        Json::Value j(Json::objectValue);
        if (VUROTARNGpoGetEvaluate(gPeer, VURO_TARN_TYPE_PEER, j, nullptr) != 0) {
            state.SkipWithError("evaluate failed");
        }
        benchmark::DoNotOptimize(j);
    }
}
BENCHMARK(BM_EvaluatePeer)->Unit(benchmark::kMillisecond);

int keepText(void* p, int n, char** v, char** c) {
    for (int i = 0; i < n; i++) {
        if (v[i] && (!strcmp(c[i], "linked_gpo") || !strcmp(c[i], "setting"))) {
            *(std::string*)p = v[i];
        }
    }
    return 0;
}

/* One open, pragma + SELECT, close: what every read of the library costs. */
std::string bareRead(const char* table, long id) {
    sqlite3* db = nullptr;
    sqlite3_open(dbPath().c_str(), &db);
    char sql[256];
    snprintf(sql, sizeof(sql), "PRAGMA foreign_keys=ON;SELECT * FROM %s WHERE id=%ld ;", table, id);
    std::string text;
    sqlite3_exec(db, sql, keepText, &text, nullptr);
    sqlite3_close(db);
    return text;
}

void BM_BareReads(benchmark::State& state) {
    treeMake();
    for (auto _ : state) {
        // The path to the root, then two passes over its links.
        for (long id : gPath) bareRead("ou", id);
        bareRead("peer", gPeer);
        std::vector<long> order;
        for (int pass = 0; pass < 2; pass++) {
            for (long id : gPath) {
                std::string links = bareRead("ou", id);
                Json::Value j;
                Json::Reader().parse(links, j);
                for (const Json::Value& e : j["order"]) {
                    if ((e["override"].asInt() == 1) == (pass == 0)) {
                        bareRead("gpo", (long)e["id"].asInt64());
                        order.push_back((long)e["id"].asInt64());
                    }
                }
            }
        }
        for (long id : order) bareRead("gpo", id);
        benchmark::DoNotOptimize(order.data());
    }
}
BENCHMARK(BM_BareReads)->Unit(benchmark::kMillisecond);

/* The fleet: OUs 2001..3000 under OU 2001 (itself under the root), depth
 * up to 8, three policies on each (the first enforced, one block in ten),
 * five peers on each. */
const long kFleetTop = 2001;
std::vector<long> gFleetOus;    // the subtree and its path to the root
std::vector<long> gFleetPeers;  // every peer under kFleetTop
std::vector<long> gFleetGpos;

void fleetMake() {
    static bool done = false;
    if (done) return;
    done = true;
    sqlite3* db = setupBegin(dbPath());
    std::map<long, int> depth{{kFleetTop, 1}};
    long gpoId = 10001;
    long peerId = 10001;
    for (long id = kFleetTop; id < kFleetTop + 1000; id++) {
        long parent = 0;
        if (id != kFleetTop) {
            parent = kFleetTop + (id * 7919) % (id - kFleetTop);
            while (depth[parent] >= 8) parent = kFleetTop + (parent - kFleetTop) / 2;
            depth[id] = depth[parent] + 1;
        }
        std::string order = threePoliciesInsert(db, id, &gpoId, &gFleetGpos);
        execOrDie(db, "INSERT INTO ou(id, name, parent_id, block_inheritance, linked_gpo) VALUES(" +
                          std::to_string(id) + ", 'fleet', " + std::to_string(parent) + ", " +
                          (id % 10 == 3 ? "1" : "0") + ", '" + order + "')");
        gFleetOus.push_back(id);
        for (int k = 0; k < 5; k++, peerId++) {
            execOrDie(db, "INSERT INTO peer(id, sn, parent_id) VALUES(" + std::to_string(peerId) +
                              ", 'F" + std::to_string(peerId) + "', " + std::to_string(id) + ")");
            gFleetPeers.push_back(peerId);
        }
    }
    setupEnd(db);
    gFleetOus.push_back(0);
}

void BM_EvaluateSubtree(benchmark::State& state) {
    fleetMake();
    for (auto _ : state) {
        Json::Value j;
        if (VUROTARNGpoGetEvaluateSubtree(kFleetTop, j) != 0 || j.size() != gFleetPeers.size()) {
            state.SkipWithError("subtree evaluation failed");
        }
        benchmark::DoNotOptimize(j);
    }
}
BENCHMARK(BM_EvaluateSubtree)->Unit(benchmark::kMillisecond);

void BM_SubtreeBareReads(benchmark::State& state) {
    fleetMake();
    for (auto _ : state) {
        for (long id : gFleetOus) bareRead("ou", id);
        for (long id : gFleetPeers) bareRead("peer", id);
        for (long id : gFleetGpos) bareRead("gpo", id);
    }
}
BENCHMARK(BM_SubtreeBareReads)->Unit(benchmark::kMillisecond);

/* The same peers one at a time. A whole loop takes minutes, so one peer in
 * fifty is timed; "all_5000_s" is that time scaled to every peer. */
void BM_EvaluatePerPeerLoop(benchmark::State& state) {
    fleetMake();
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        for (size_t i = 0; i < gFleetPeers.size(); i += 50) {
            Json::Value j(Json::objectValue);
            VUROTARNGpoGetEvaluate(gFleetPeers[i], VURO_TARN_TYPE_PEER, j, nullptr);
            benchmark::DoNotOptimize(j);
        }
    }
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.counters["all_5000_s"] = 50.0 * took.count() / (double)state.iterations();
}
BENCHMARK(BM_EvaluatePerPeerLoop)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv,
                         {{"BM_EvaluatePeer", "BM_BareReads", 1.5},
                          {"BM_EvaluateSubtree", "BM_SubtreeBareReads", 2.0}});
}
