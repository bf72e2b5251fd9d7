/* webapi_bench.cpp - one remote call to a stored peer beside a bare libcurl
 * client doing the same work: the row read, then discovery and the call on
 * one handle, with the same certificate check and the same sealing. Both
 * talk to one simulated server started for the run. */
#include <curl/curl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bench_remote.h"
#include "peer_sim.h"
#include "vurocredential_seal.h"
#include "vurojson.h"
#include "vurotarn.h"

using tarnbench::bareRowRead;
using tarnbench::BareRow;
using tarnbench::bodyAppend;

namespace {

const char kApi[] = "VURO.Core.TARN.Policy";
const char kMethod[] = "fetch";

tarntest::PeerSim& sim() {
    static tarntest::PeerSim s;
    return s;
}
long gIdHttp = -1, gIdHttps = -1, gIdRefused = -1;


/* Discovery and one call on one handle, as the credential library makes
 * them: verified TLS or a sealed body. False when either exchange failed. */
bool bareExchange(const BareRow& row, bool https) {
    CURL* h = curl_easy_init();
    if (h == nullptr) return false;
    std::string base =
        std::string(https ? "https://" : "http://") + row.host + ":" + std::to_string(row.port);
    std::string body;
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, bodyAppend);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(h, CURLOPT_CAINFO, vurocred::CaFilePath().c_str());
    curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(h, CURLOPT_URL, (base + VUROCRED_DISCOVER_PATH "?names=" + kApi).c_str());
    bool ok = curl_easy_perform(h) == CURLE_OK;
    Json::Value jDisc;
    ok = ok && vurojson::fromString(jDisc, body);
    std::string path = jDisc["data"][kApi]["path"].asString();
    ok = ok && !path.empty();

    Json::Value jReq;
    jReq["api"] = kApi;
    jReq["version"] = 1;
    jReq["method"] = kMethod;
    jReq["params"] = Json::Value(Json::objectValue);
    struct curl_slist* headers = nullptr;
    std::string text;
    if (https) {
        headers = curl_slist_append(
            headers, (std::string(VUROCRED_HDR_ACCESS_TOKEN) + ": " + row.sid).c_str());
        text = vurojson::toString(jReq);
    } else {
        jReq[VUROCRED_BODY_ACCESS_TOKEN] = row.sid;
        Json::Value jSealed;
        ok = ok && vurocred::Seal(row.sid, path, vurojson::toString(jReq), jSealed);
        Json::Value jBody;
        jBody[VUROCRED_SEALED_MEMBER] = jSealed;
        text = vurojson::toString(jBody);
        headers = curl_slist_append(
            headers,
            (std::string(VUROCRED_HDR_KEY_ID) + ": " + vurocred::SealKeyId(row.sid)).c_str());
    }
    headers = curl_slist_append(headers, "Content-Type: application/json");
    body.clear();
    curl_easy_setopt(h, CURLOPT_URL, (base + path).c_str());
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(h, CURLOPT_POSTFIELDS, text.c_str());
    ok = ok && curl_easy_perform(h) == CURLE_OK;
    std::string answer = body;
    if (ok && !https) {
        Json::Value jAnswer;
        ok = vurojson::fromString(jAnswer, body) &&
             vurocred::Unseal(row.sid, path, jAnswer[VUROCRED_SEALED_MEMBER], answer);
    }
    Json::Value jResp;
    ok = ok && vurojson::fromString(jResp, answer) && jResp["success"].asBool();
    curl_slist_free_all(headers);
    curl_easy_cleanup(h);
    return ok;
}

void libraryCall(benchmark::State& state, const long* pId) {
    Json::Value jParam(Json::objectValue);
    for (auto _ : state) {
        Json::Value jResp;
        if (VUROTARNPeerSendWebapiByID(*pId, jResp, kApi, 1, kMethod, jParam) != 0 ||
            !jResp["success"].asBool()) {
            state.SkipWithError("call failed");
            break;
        }
    }
}

void BM_SendWebapiByID_SealedHttp(benchmark::State& state) { libraryCall(state, &gIdHttp); }
void BM_SendWebapiByID_Https(benchmark::State& state) { libraryCall(state, &gIdHttps); }
/* Each call finds HTTPS refused, asks the relay and goes to HTTP; the row
 * is put back between calls, outside the timing. */
void BM_SendWebapiByID_HttpsRefused(benchmark::State& state) {
    Json::Value jParam(Json::objectValue);
    std::string reset = "UPDATE peer SET https_port=1 WHERE id=" + std::to_string(gIdRefused);
    for (auto _ : state) {
        state.PauseTiming();
        sqlite3* db = nullptr;
        sqlite3_open(tarnbench::dbPath().c_str(), &db);
        tarnbench::execOrDie(db, reset);
        sqlite3_close(db);
        state.ResumeTiming();
        Json::Value jResp;
        if (VUROTARNPeerSendWebapiByID(gIdRefused, jResp, kApi, 1, kMethod, jParam) != 0) {
            state.SkipWithError("call failed");
            break;
        }
    }
}

void bareCall(benchmark::State& state, bool https) {
    for (auto _ : state) {
        BareRow row = bareRowRead(https ? gIdHttps : gIdHttp, https ? "https_port" : "http_port");
        if (!bareExchange(row, https)) {
            state.SkipWithError("bare exchange failed");
            break;
        }
    }
}
void BM_Bare_SealedHttp(benchmark::State& state) { bareCall(state, false); }
void BM_Bare_Https(benchmark::State& state) { bareCall(state, true); }

void BM_Bare_PeerRowRead(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(bareRowRead(gIdHttp, "http_port"));
}

BENCHMARK(BM_SendWebapiByID_SealedHttp)->UseRealTime();
BENCHMARK(BM_Bare_SealedHttp)->UseRealTime();
BENCHMARK(BM_SendWebapiByID_Https)->UseRealTime();
BENCHMARK(BM_Bare_Https)->UseRealTime();
BENCHMARK(BM_Bare_PeerRowRead)->UseRealTime();
BENCHMARK(BM_SendWebapiByID_HttpsRefused)->UseRealTime();

long peerStore(const std::string& sn, long http, long https, const std::string& relay) {
    VURO_TARN_PEER peer;
    VUROTARNPeerItemSetSN(&peer, sn.c_str());
    peer.str_host = "127.0.0.1";
    peer.http_port = http;
    peer.https_port = https;
    peer.str_sid = sim().token(0);
    peer.str_relaypath = relay;
    if (VUROTARNPeerCreate(&peer) != 0) {
        fprintf(stderr, "bench setup: cannot store peer %s\n", sn.c_str());
        exit(1);
    }
    return peer.id;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
    // The directories and defaults hold credential.conf and the CA file the
    // simulator adds its CA to.
    tarnbench::sysrootMake(tarnroot::kRootDirs | tarnroot::kRootDatabase | tarnroot::kRootDefaults);
    std::string root = tarnbench::sysroot();
    tarntest::PeerSimOptions o;
    o.root = root;
    o.peers = 1;
    o.relay = true;
    if (!sim().start(o)) {
        fprintf(stderr, "bench setup: simulator: %s\n", sim().error().c_str());
        return 1;
    }
    gIdHttp = peerStore("BENCH-HTTP", sim().httpPort(0), 0, "");
    gIdHttps = peerStore("BENCH-HTTPS", 0, sim().httpsPort(0), "");
    // HTTPS that refuses: the relay sends the call to the HTTP port.
    gIdRefused = peerStore("BENCH-REFUSED", sim().httpPort(0), 1, "bench-relay");
    sim().setRelay("bench-relay", "127.0.0.1", "http", sim().httpPort(0));

    benchmark::Initialize(&argc, argv);
    tarnbench::RatioReporter reporter({
        {"BM_SendWebapiByID_SealedHttp/real_time", "BM_Bare_SealedHttp/real_time", 1.3},
        {"BM_SendWebapiByID_Https/real_time", "BM_Bare_Https/real_time", 1.3},
        {"BM_SendWebapiByID_HttpsRefused/real_time", "BM_Bare_SealedHttp/real_time", 0},
    });
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    sim().finish();
    tarnbench::sysrootRemove();
    return 0;
}
