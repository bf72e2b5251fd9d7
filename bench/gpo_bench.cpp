/* gpo_bench.cpp - the effective policy of a peer at depth 8 in a tree of
 * 1,000 OUs, with three policies linked on every level, beside the bare
 * reads it must issue: the path up (one OU read per level), the peer, each
 * OU's links on both passes, each linked policy for the order, and each
 * policy again for its setting. */
#include <string.h>

#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

namespace {

const int kDepth = 8;
long gPeer = 0;
std::vector<long> gPath;  // OU ids from the peer's OU up to the root

void treeMake() {
    static bool done = false;
    if (done) return;
    done = true;
    sqlite3* db = nullptr;
    sqlite3_open(dbPath().c_str(), &db);
    execOrDie(db, "BEGIN");
    // A chain of kDepth OUs under the root, the rest spread beside it.
    long gpoId = 1;
    auto links = [&](long owner) {
        std::string order = "{\"order\":[";
        for (int k = 0; k < 3; k++, gpoId++) {
            execOrDie(db, "INSERT INTO gpo(id, name, parent_id, parent_type, setting) VALUES(" +
                              std::to_string(gpoId) + ", 'g" + std::to_string(gpoId) + "', " +
                              std::to_string(owner) + ", 2, '{\"gpo_content\":{\"Set" +
                              std::to_string(gpoId % 7) + "\":{\"vuro_set_version\":1,\"v\":" +
                              std::to_string(gpoId) + "}}}')");
            order += std::string(k ? "," : "") + "{\"id\":" + std::to_string(gpoId) +
                     ",\"override\":" + (k == 0 ? "1" : "0") + "}";
        }
        return order + "]}";
    };
    execOrDie(db, "UPDATE ou SET linked_gpo='" + links(0) + "' WHERE id=0");
    for (long id = 1; id <= 1000; id++) {
        long parent = id <= kDepth ? id - 1 : 1 + id % kDepth;
        execOrDie(db, "INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES(" +
                          std::to_string(id) + ", 'ou', " + std::to_string(parent) + ", '" +
                          (id <= kDepth ? links(id) : std::string()) + "')");
    }
    execOrDie(
        db, "INSERT INTO peer(id, sn, parent_id) VALUES(1, 'SN', " + std::to_string(kDepth) + ")");
    execOrDie(db, "COMMIT");
    sqlite3_close(db);
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

}  // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv, {{"BM_EvaluatePeer", "BM_BareReads", 1.5}});
}
