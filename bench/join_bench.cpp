/* join_bench.cpp - the fetch notice to an OU of 200 simulated servers, the
 * cache push to 200 ready servers and the check of an incoming session in
 * a store of 10,000, each beside bare code doing the same work in the same
 * run: forks that read the row and make the same two exchanges, the
 * statements and exchanges per server, an open, line search and parse. */
#include <curl/curl.h>
#include <sqlite3.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "bench_remote.h"
#include "peer_sim.h"
#include "vurocgi.h"
#include "vurocredential_seal.h"
#include "vurojson.h"
#include "vurotarn.h"

using tarnbench::setupOrDie;

namespace {

const int kServers = 200;
const int kSessions = 10000;
const char kApi[] = "VURO.Core.TARN.Policy";

// On the heap and never destroyed by exit(): the notice's children end with
// exit(0) and must not take the simulator down with them.
tarntest::PeerSim* gSim = nullptr;
long gOu = -1;
std::vector<long> gPeerIds;
std::string gToken;  // the session looked for: the last of the store

/* ---- bare work (the row read and the exchange: bench_remote.h) ---- */

using tarnbench::BareRow;
using tarnbench::bareExchange;
using tarnbench::bareRowRead;

/* The view the notice asks for, for an administrator: every OU, then the
 * peers of the OU asked for. */
int bareViewQuery() {
    sqlite3* db = nullptr;
    sqlite3_open_v2(tarnbench::dbPath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    int n = 0;
    auto count = [](void* p, int, char**, char**) {
        ++*(int*)p;
        return 0;
    };
    sqlite3_exec(db, "SELECT * FROM ou", count, &n, nullptr);
    std::string q = "SELECT * FROM peer WHERE parent_id=" + std::to_string(gOu);
    sqlite3_exec(db, q.c_str(), count, &n, nullptr);
    sqlite3_close(db);
    return n;
}

/* ---- the fetch notice ---- */

long long fetchCount() { return gSim->fetches()["count"].asInt64(); }

/* Until the simulator has answered `want` more fetches than `base`, then
 * every child reaped. False when that took more than a minute. */
bool fetchesAwait(long long base, int want) {
    for (int i = 0; i < 60000 && fetchCount() < base + want; i++) usleep(1000);
    bool ok = fetchCount() >= base + want;
    for (int reaped = 0; reaped < want;) {
        if (waitpid(-1, nullptr, 0) < 0) break;
        reaped++;
    }
    return ok;
}

void stdioFlush() {
    // A child's exit(0) would write again whatever stdio still holds.
    std::cout.flush();
    fflush(stdout);
    fflush(stderr);
}

/* The bare notice: 200 forks, each reading its row and making the two
 * exchanges, then exit(0) as the library's children do. */
void bareForks() {
    Json::Value jParam;
    jParam["action"] = "apply";
    for (long id : gPeerIds) {
        pid_t pid = fork();
        if (pid == 0) {
            setsid();
            bareExchange(bareRowRead(id), kApi, "fetch", jParam);
            exit(0);
        }
    }
}

void BM_NotifyFetch_Ou200_UntilFetched(benchmark::State& state) {
    stdioFlush();
    for (auto _ : state) {
        long long base = fetchCount();
        if (VUROTARNGpoNotifyFetch(0, VURO_TARN_TYPE_OU, gOu) != 0 ||
            !fetchesAwait(base, kServers)) {
            state.SkipWithError("notice failed");
            break;
        }
    }
}

void BM_Bare_Forks200_UntilFetched(benchmark::State& state) {
    stdioFlush();
    for (auto _ : state) {
        long long base = fetchCount();
        bareViewQuery();
        bareForks();
        if (!fetchesAwait(base, kServers)) {
            state.SkipWithError("bare notice failed");
            break;
        }
    }
}

void BM_NotifyFetch_Ou200_Return(benchmark::State& state) {
    stdioFlush();
    for (auto _ : state) {
        long long base = fetchCount();
        int rc = VUROTARNGpoNotifyFetch(0, VURO_TARN_TYPE_OU, gOu);
        state.PauseTiming();
        bool ok = rc == 0 && fetchesAwait(base, kServers);
        state.ResumeTiming();
        if (!ok) {
            state.SkipWithError("notice failed");
            break;
        }
    }
}

void BM_Bare_ViewAndForks200_Return(benchmark::State& state) {
    stdioFlush();
    for (auto _ : state) {
        long long base = fetchCount();
        bareViewQuery();
        bareForks();
        state.PauseTiming();
        bool ok = fetchesAwait(base, kServers);
        state.ResumeTiming();
        if (!ok) {
            state.SkipWithError("bare notice failed");
            break;
        }
    }
}

/* ---- the cache push ---- */

void statusReady() {
    sqlite3* db = nullptr;
    sqlite3_open(tarnbench::dbPath().c_str(), &db);
    tarnbench::execOrDie(db, "UPDATE peer SET status=2, status_by_server=2");
    sqlite3_close(db);
}

void BM_UpdateCache_200(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        statusReady();
        VURO_TARN_PEER_LIST list = nullptr;
        VUROTARNPeerListAll(&list, nullptr, nullptr);
        state.ResumeTiming();
        Json::Value jData;
        bool ok = VUROTARNPeerUpdateCache(list, jData) && jData.size() == (unsigned)kServers;
        state.PauseTiming();
        VUROTARNPeerListFree(&list);
        state.ResumeTiming();
        if (!ok) {
            state.SkipWithError("push failed");
            break;
        }
    }
}

/* Per server: the status statement, the row read and the two exchanges. */
void BM_Bare_UpdateCache_200(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        statusReady();
        state.ResumeTiming();
        int answered = 0;
        for (long id : gPeerIds) {
            sqlite3* db = nullptr;
            sqlite3_open(tarnbench::dbPath().c_str(), &db);
            tarnbench::execOrDie(
                db, "UPDATE peer SET status=9, status_by_server=9 WHERE id=" + std::to_string(id));
            sqlite3_close(db);
            answered +=
                bareExchange(bareRowRead(id), "VURO.Core.TARN.Cache", "push", Json::Value());
        }
        if (answered != kServers) {
            state.SkipWithError("bare push failed");
            break;
        }
    }
}

/* ---- the check of an incoming session ---- */

void BM_CheckWebapiPriviege_10000(benchmark::State& state) {
    for (auto _ : state) {
        std::string serial;
        if (!VUROTARNPeerCheckWebapiPriviege(gToken, "VURO.NotificationCenter.Send", &serial)) {
            state.SkipWithError("check failed");
            break;
        }
    }
}

void BM_Bare_SessionSearch_10000(benchmark::State& state) {
    std::string path = tarnbench::sysroot() + VUROCGI_SESSION_FILE;
    std::string key = "\"" + gToken + "\"";
    for (auto _ : state) {
        FILE* fp = fopen(path.c_str(), "r");
        char* line = nullptr;
        size_t cap = 0;
        bool found = false;
        while (getline(&line, &cap, fp) >= 0) {
            if (strstr(line, key.c_str()) == nullptr) continue;
            Json::Value js, jExtra, jWebapi;
            found = vurojson::fromString(js, line) &&
                    vurojson::fromString(jExtra, js["extra"].asString()) &&
                    vurojson::fromString(jWebapi, js["webapi"].asString());
            break;
        }
        free(line);
        fclose(fp);
        if (!found) {
            state.SkipWithError("bare search failed");
            break;
        }
    }
}

BENCHMARK(BM_CheckWebapiPriviege_10000)->UseRealTime();
BENCHMARK(BM_Bare_SessionSearch_10000)->UseRealTime();
BENCHMARK(BM_UpdateCache_200)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_UpdateCache_200)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NotifyFetch_Ou200_Return)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_ViewAndForks200_Return)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NotifyFetch_Ou200_UntilFetched)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_Forks200_UntilFetched)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
    tarnbench::sysrootMake(tarnroot::kRootDirs | tarnroot::kRootDatabase | tarnroot::kRootDefaults);
    gSim = new tarntest::PeerSim;
    tarntest::PeerSimOptions o;
    o.root = tarnbench::sysroot();
    o.peers = kServers;
    setupOrDie(gSim->start(o), "the simulator did not start");

    VURO_TARN_OU ou;
    VUROTARNOuItemSetName(&ou, "Bench");
    setupOrDie(VUROTARNOuCreate(&ou) == 0, "cannot store the OU");
    gOu = ou.id;
    // HTTP only: every call is one discovery and one sealed exchange.
    for (int i = 0; i < kServers; i++) {
        VURO_TARN_PEER peer;
        peer.str_sn = gSim->sn(i);
        peer.str_host = "127.0.0.1";
        peer.http_port = gSim->httpPort(i);
        peer.str_sid = gSim->token(i);
        peer.parent_id = gOu;
        setupOrDie(VUROTARNPeerCreate(&peer) == 0, "cannot store a peer");
        gPeerIds.push_back(peer.id);
    }

    // 10,000 sessions, the one looked for last. The first is made by the
    // library (directory, modes); the others are written at once in the
    // same shape: one creation each would rewrite the store 10,000 times.
    std::string first;
    setupOrDie(VUROTARNPeerCreateSessionBySn("FILL-0", first), "cannot create a session");
    {
        std::string path = tarnbench::sysroot() + VUROCGI_SESSION_FILE;
        std::ofstream out(path, std::ios::app);
        for (int i = 1; i < kSessions - 1; i++) {
            char szId[64];
            snprintf(szId, sizeof(szId), "fill%039d", i);
            out << "{\"id\":\"" << szId
                << "\",\"app\":\"VURO.TARN\",\"created\":1795000000,\"expires\":0,"
                   "\"extra\":\"{\\\"VURO.TARN\\\":\\\"FILL-"
                << i
                << "\\\"}\",\"skip_check_ip\":true,\"user\":\"\",\"webapi\":\"[\\\"VURO.TARN\\\","
                   "\\\"VURO.NotificationCenter\\\"]\"}\n";
        }
        setupOrDie((bool)out, "cannot write the session store");
    }
    setupOrDie(VUROTARNPeerCreateSessionBySn("BENCH-SN", gToken), "cannot create the session");

    benchmark::Initialize(&argc, argv);
    tarnbench::RatioReporter reporter({
        {"BM_NotifyFetch_Ou200_UntilFetched/real_time", "BM_Bare_Forks200_UntilFetched/real_time",
         1.5},
        {"BM_NotifyFetch_Ou200_Return/real_time", "BM_Bare_ViewAndForks200_Return/real_time", 1.5},
        {"BM_UpdateCache_200/real_time", "BM_Bare_UpdateCache_200/real_time", 1.3},
        {"BM_CheckWebapiPriviege_10000/real_time", "BM_Bare_SessionSearch_10000/real_time", 1.5},
    });
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    gSim->finish();
    delete gSim;
    tarnbench::sysrootRemove();
    return 0;
}
