/* updateserver_bench.cpp - the connection info sent to 200 simulated servers
 * that each answer after 50 ms, beside a bare libcurl program doing the same
 * network work: 200 discoveries one after the other, then the 200 calls in
 * one multi run. The manager's run is also set beside the bare multi run
 * alone. First checks that a bare multi run of delayed answers takes about
 * one delay, so a slow simulator is not taken for a slow library. */
#include <curl/curl.h>
#include <sqlite3.h>
#include <time.h>
#include <unistd.h>

#include <memory>

#include "bench_remote.h"
#include "peer_sim.h"
#include "vurocredential_seal.h"
#include "vurojson.h"
#include "vurotarn.h"

using tarnbench::bodyAppend;

namespace {

const char kApi[] = "VURO.Core.TARN.ServerInfo";
const int kServers = 200;
const int kDelayMs = 50;

tarntest::PeerSim& sim() {
    static tarntest::PeerSim s;
    return s;
}
Json::Value gIds(Json::arrayValue);
Json::Value gParam;

/* One server's handle with its discovery done, ready for the call. */
struct BareCall {
    CURL* h = nullptr;
    std::string body;
    std::string post;
    struct curl_slist* headers = nullptr;
    ~BareCall() {
        curl_slist_free_all(headers);
        if (h != nullptr) curl_easy_cleanup(h);
    }
};

/* The rows read and each server's discovery made, one after the other, as
 * the library builds its requests. */
bool bareDiscoverAll(std::vector<std::unique_ptr<BareCall>>& calls) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(tarnbench::dbPath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "SELECT host, sid, https_port FROM peer WHERE id=?", -1, &st, nullptr);
    bool ok = true;
    for (const Json::Value& id : gIds) {
        sqlite3_reset(st);
        sqlite3_bind_int64(st, 1, id.asInt64());
        if (sqlite3_step(st) != SQLITE_ROW) {
            ok = false;
            break;
        }
        std::string host = (const char*)sqlite3_column_text(st, 0);
        std::string sid = (const char*)sqlite3_column_text(st, 1);
        std::string base = "https://" + host + ":" + std::to_string(sqlite3_column_int64(st, 2));
        std::unique_ptr<BareCall> c(new BareCall);
        c->h = curl_easy_init();
        curl_easy_setopt(c->h, CURLOPT_WRITEFUNCTION, bodyAppend);
        curl_easy_setopt(c->h, CURLOPT_WRITEDATA, &c->body);
        curl_easy_setopt(c->h, CURLOPT_CAINFO, vurocred::CaFilePath().c_str());
        curl_easy_setopt(c->h, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(c->h, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(c->h, CURLOPT_URL,
                         (base + VUROCRED_DISCOVER_PATH "?names=" + kApi).c_str());
        Json::Value disc;
        if (curl_easy_perform(c->h) != CURLE_OK || !vurojson::fromString(disc, c->body)) {
            ok = false;
            break;
        }
        std::string path = disc["data"][kApi]["path"].asString();
        Json::Value req;
        req["api"] = kApi;
        req["version"] = 1;
        req["method"] = "update";
        req["params"] = gParam;
        c->post = vurojson::toString(req);
        c->headers = curl_slist_append(
            c->headers, (std::string(VUROCRED_HDR_ACCESS_TOKEN) + ": " + sid).c_str());
        c->headers = curl_slist_append(c->headers, "Content-Type: application/json");
        c->body.clear();
        curl_easy_setopt(c->h, CURLOPT_URL, (base + path).c_str());
        curl_easy_setopt(c->h, CURLOPT_HTTPHEADER, c->headers);
        curl_easy_setopt(c->h, CURLOPT_POSTFIELDS, c->post.c_str());
        calls.push_back(std::move(c));
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
    return ok;
}

/* All calls at once on one multi handle; true when every answer is good. */
bool bareMultiRun(std::vector<std::unique_ptr<BareCall>>& calls) {
    CURLM* m = curl_multi_init();
    for (auto& c : calls) curl_multi_add_handle(m, c->h);
    int still = 0;
    do {
        curl_multi_perform(m, &still);
        if (still > 0) curl_multi_poll(m, nullptr, 0, 1000, nullptr);
    } while (still > 0);
    bool ok = true;
    for (auto& c : calls) {
        curl_multi_remove_handle(m, c->h);
        Json::Value answer;
        ok = ok && vurojson::fromString(answer, c->body) && answer["success"].asBool();
    }
    curl_multi_cleanup(m);
    return ok;
}

void BM_SendUpdateServer(benchmark::State& state) {
    for (auto _ : state) {
        if (VUROTARNPeerSendUpdateServer(gIds, Json::Value()) != 0) {
            state.SkipWithError("sending failed");
            break;
        }
    }
}

void BM_Bare_Program(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<std::unique_ptr<BareCall>> calls;
        if (!bareDiscoverAll(calls) || !bareMultiRun(calls)) {
            state.SkipWithError("bare program failed");
            break;
        }
    }
}

/* Only the run: the requests are built (discovery included) untimed. */
void BM_ManagerRun(benchmark::State& state) {
    Json::Value param;
    param["conn_info"] = gParam["conn_info"];
    for (auto _ : state) {
        state.PauseTiming();
        VURO::CredRequestMgr mgr;
        for (const Json::Value& id : gIds) {
            VURO::CredRequest* req =
                VUROTARNPeerCreateWebapiByID((long)id.asInt64(), kApi, 1, "update", param);
            if (req == nullptr) continue;
            req->SetResponseTimeout(300);
            mgr.AddCredRequest(req);
        }
        state.ResumeTiming();
        bool ok = mgr.Size() == (size_t)kServers && mgr.Run();
        for (size_t i = 0; ok && i < mgr.Size(); i++) {
            Json::Value answer;
            ok = vurojson::fromString(answer, mgr.GetResponse(i)) && answer["success"].asBool();
        }
        if (!ok) {
            state.SkipWithError("manager run failed");
            break;
        }
    }
}

void BM_Bare_MultiRun(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<std::unique_ptr<BareCall>> calls;
        bool ok = bareDiscoverAll(calls);
        state.ResumeTiming();
        if (!ok || !bareMultiRun(calls)) {
            state.SkipWithError("bare multi run failed");
            break;
        }
    }
}

BENCHMARK(BM_SendUpdateServer)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_Program)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ManagerRun)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_MultiRun)->UseRealTime()->Unit(benchmark::kMillisecond);

double nowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000.0 + ts.tv_nsec / 1e6;
}

/* The directory this program lies in, where the build put the tools. */
std::string selfDir() {
    char buf[4096];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof(buf) - 1);
    if (n <= 0) return "";
    buf[n] = '\0';
    std::string path = buf;
    return path.substr(0, path.rfind('/'));
}

}  // namespace

int main(int argc, char** argv) {
    setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
    tarnbench::sysrootMake(tarnroot::kRootDirs | tarnroot::kRootDatabase | tarnroot::kRootDefaults);
    std::string err;
    // The handler tool the collection asks about dynamic DNS and the relay.
    if (!tarnroot::rootLayOut(std::string(TARN_SOURCE_DIR) + "/data", selfDir(), &err,
                              tarnroot::kRootTools)) {
        fprintf(stderr, "bench setup: %s\n", err.c_str());
        return 1;
    }
    std::string root = tarnbench::sysroot();
    FILE* net = fopen((root + "/etc/vuro/network.json").c_str(), "w");
    if (net == nullptr) return 1;
    fputs(
        "{\"interfaces\":[{\"name\":\"eth0\",\"active\":true,\"manual\":true,"
        "\"ip\":\"192.0.2.10\",\"ipv6\":[\"2001:db8::10\"]}]}\n",
        net);
    fclose(net);

    tarntest::PeerSimOptions o;
    o.root = root;
    o.peers = kServers;
    if (!sim().start(o)) {
        fprintf(stderr, "bench setup: simulator: %s\n", sim().error().c_str());
        return 1;
    }
    Json::Value modes;
    modes["delay_ms"] = kDelayMs;
    sim().setMode("all", modes);
    for (int i = 0; i < kServers; i++) {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, sim().sn(i).c_str());
        peer.str_host = "127.0.0.1";
        peer.https_port = sim().httpsPort(i);
        peer.str_sid = sim().token(i);
        if (VUROTARNPeerCreate(&peer) != 0) {
            fprintf(stderr, "bench setup: cannot store peer %d\n", i);
            return 1;
        }
        gIds.append((Json::Int64)peer.id);
    }
    if (!VUROTARNPeerCollectConnectInfo(gParam["conn_info"], Json::Value())) {
        fprintf(stderr, "bench setup: no connection info\n");
        return 1;
    }

    // The floor: 200 delayed answers at once should take about one delay.
    std::vector<std::unique_ptr<BareCall>> calls;
    if (!bareDiscoverAll(calls)) {
        fprintf(stderr, "bench setup: bare discovery failed\n");
        return 1;
    }
    double start = nowMs();
    bool ok = bareMultiRun(calls);
    double took = nowMs() - start;
    printf("bare multi run of %d answers delayed %d ms: %.0f ms%s\n", kServers, kDelayMs, took,
           ok ? "" : " (some answers bad)");
    if (took > 3.0 * kDelayMs) {
        printf(
            "the simulator is the bottleneck on this machine: %.1f delays instead of about "
            "one; the ratios below compare against that\n",
            took / kDelayMs);
    }

    benchmark::Initialize(&argc, argv);
    tarnbench::RatioReporter reporter({
        {"BM_ManagerRun/real_time", "BM_Bare_MultiRun/real_time", 1.2},
        {"BM_SendUpdateServer/real_time", "BM_Bare_Program/real_time", 1.3},
    });
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    sim().finish();
    tarnbench::sysrootRemove();
    return 0;
}
