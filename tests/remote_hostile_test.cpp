/* remote_hostile_test.cpp - simulated servers that work against their
 * client, met by every caller of the remote layer: the fetch notice's
 * child, the sending of connection info, the join, the cache push and
 * "tarn peer call". Grouped by what the server does wrong. Each exchange
 * must end within its time-out, fail the way its caller reports failures,
 * leave the peer rows alone (the relay refresh and the push's status
 * aside), follow no redirect and keep no more of an answer than the size
 * limit; a long run of calls must leave no descriptor and no credential id
 * behind. */
#include <dirent.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurocredential.h"
#include "vurojson.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

const int kCapMs = 1000;
// Generous: a caller may try HTTPS and HTTP, each with discovery and call.
const long long kBoundMs = 4 * kCapMs + 6000;
const char kNotice[] =
    "Send webapi failed. VURO.Core.TARN.Policy[1][fetch] Param=[{\"action\":\"apply\"}]";

long long nowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

std::vector<std::string> dirEntries(const std::string& path) {
    std::vector<std::string> out;
    DIR* d = opendir(path.c_str());
    if (d == nullptr) return out;
    while (struct dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name != "." && name != "..") out.push_back(name);
    }
    closedir(d);
    return out;
}

// The descriptors this process holds, less the one that lists them.
int fdCount() { return (int)dirEntries("/proc/self/fd").size() - 1; }

/* What the callers must report for one hostile mode. */
struct Expect {
    bool exchangeFails = true;  // false: an answer of the wrong shape arrives
    int updateRc = -1;
    std::string updateLog;  // "" : the sending says nothing
    int joinRc = 0;
    std::string joinLog;
};

/* The server cannot be called at all: no request can be built. */
Expect unreachable() {
    Expect x;
    x.updateRc = 0;  // the peer is left out without a word
    x.joinRc = -1;
    x.joinLog = "pReq is null";
    return x;
}

/* Discovery works, the call fails with this error. */
Expect callFails(int err) {
    Expect x;
    x.updateLog = "response is invalid";
    x.joinLog = "Process fail[" + std::to_string(err) + "]";
    return x;
}

}  // namespace

class RemoteHostileTest : public RemoteTest {
protected:
    void simStart(int peers, bool relay = false) {
        // The sending collects this server's addresses first.
        writeFile(sys("/etc/vuro/network.json"),
                  R"({"interfaces":[{"name":"eth0","active":true,"manual":true,)"
                  R"("ip":"192.0.2.10"}]})");
        writeFile(sys("/etc/passwd"), "root:x:0:0::/root:/bin/sh\n");
        PeerSimOptions o;
        o.peers = peers;
        o.relay = relay;
        RemoteTest::simStart(o, kCapMs);
    }
    long peerOf(int i, const std::string& relayId = "") {
        VURO_TARN_PEER peer;
        peer.str_sn = sim_.sn(i);
        peer.str_hostname = "nas-" + peer.str_sn;
        peer.str_host = "127.0.0.1";
        peer.https_port = sim_.httpsPort(i);
        peer.http_port = sim_.httpPort(i);
        peer.str_sid = sim_.token(i);
        peer.str_relaypath = relayId;
        peer.status = peer.status_by_server = 2;
        EXPECT_OK(VUROTARNPeerCreate(&peer));
        return peer.id;
    }
    void mode(int server, const std::string& json) {
        ASSERT_TRUE(sim_.clearMode(std::to_string(server))) << sim_.error();
        ASSERT_TRUE(sim_.setMode(server, parse(json))) << sim_.error();
    }
    std::string rows() {
        return sqlValue(
            "SELECT group_concat(id||'|'||sn||'|'||hostname||'|'||host||'|'||sid||'|'||"
            "http_port||'|'||https_port||'|'||relaypath||'|'||parent_id||'|'||linked_gpo, ';') "
            "FROM peer");
    }
    std::string statusOf(long id) {
        return sqlValue("SELECT status||'|'||status_by_server FROM peer WHERE id=" +
                        std::to_string(id));
    }
    /* Runs "tarn peer call ID <push>"; its exit status, output and errors. */
    int cliCall(long id, std::string* pOut, std::string* pErr) {
        return runProgram({TARN_CLI_PATH, "--root", root_, "peer", "call", std::to_string(id),
                           "VURO.Core.TARN.Cache", "1", "push"},
                          pOut, pErr);
    }

    /* Every caller against stored peer id (simulated server `server`),
     * which behaves as its modes say; checks what all of them share and
     * what x expects. shape: the answer that arrives when x says the
     * exchange works. */
    void driveAll(int server, long id, const Expect& x, const Json::Value& shape = Json::Value()) {
        std::string sid = std::to_string(id);
        std::string before = rows();
        logClear();
        bool successTrue =
            shape.isObject() && shape["success"].isBool() && shape["success"].asBool();

        // The notice: its child ends, and says why, within the bound.
        int notices = logFileCount(kNotice);
        int withResp = logFileCount(std::string(kNotice) + " Resp=[");
        long long t = nowMs();
        ASSERT_OK(VUROTARNGpoNotifyFetch(0, VURO_TARN_TYPE_PEER, id));
        Reaped r = reapChildren(1, (int)kBoundMs, sim_.pid());
        EXPECT_EQ(1, r.exited0) << "the notice's child must end by itself";
        EXPECT_LT(nowMs() - t, kBoundMs) << "notice";
        if (x.exchangeFails) {
            EXPECT_EQ(notices + 1, logFileCount(kNotice));
            EXPECT_EQ(withResp, logFileCount(std::string(kNotice) + " Resp=["));
        } else {
            EXPECT_EQ(withResp + (successTrue ? 0 : 1),
                      logFileCount(std::string(kNotice) + " Resp=["));
        }

        // The sending of connection info.
        t = nowMs();
        EXPECT_EQ(x.updateRc,
                  VUROTARNPeerSendUpdateServer(Json::Value((Json::Int)id), Json::Value()));
        EXPECT_LT(nowMs() - t, kBoundMs) << "sending";
        if (!x.updateLog.empty()) {
            EXPECT_TRUE(logHas("Client " + sid + " " + x.updateLog)) << logDump();
        } else {
            EXPECT_FALSE(logHas("response is invalid")) << logDump();
        }

        // The join of the same server: no row is written for it.
        Json::Value entry = sim_.server(server);
        entry.removeMember("hostname");
        Json::Value list(Json::arrayValue);
        list.append(entry);
        Json::Value self;
        self["host"] = "192.0.2.10";
        t = nowMs();
        EXPECT_EQ(x.joinRc, VUROTARNPeerSendCreateServer(list, self));
        EXPECT_LT(nowMs() - t, kBoundMs) << "join";
        EXPECT_TRUE(logHas(x.joinLog)) << logDump();

        // The CLI: exit 1 with the cause, or the answer as it came.
        std::string out, err;
        t = nowMs();
        int rc = cliCall(id, &out, &err);
        EXPECT_LT(nowMs() - t, kBoundMs) << "CLI";
        if (x.exchangeFails) {
            EXPECT_EQ(1, rc) << out;
            EXPECT_NE(std::string::npos,
                      err.find("the call VURO.Core.TARN.Cache push to peer " + sid + " failed"))
                << err;
        } else {
            EXPECT_EQ(0, rc) << err;
            Json::Value printed;
            EXPECT_TRUE(vurojson::fromString(printed, out)) << out;
            EXPECT_EQ(shape, printed);
        }
        EXPECT_EQ(before, rows()) << "only the push may write a row";

        // The cache push, last: it marks the row it pushes.
        VURO_TARN_PEER peer;
        ASSERT_OK(VUROTARNPeerGet(id, &peer));
        peer.pNext = nullptr;
        Json::Value data;
        t = nowMs();
        EXPECT_TRUE(VUROTARNPeerUpdateCache(&peer, data));
        EXPECT_LT(nowMs() - t, kBoundMs) << "push";
        if (x.exchangeFails) {
            EXPECT_TRUE(logHas("Fail to send (VURO.Core.TARN.Cache:1:push) to peer=" + sid));
            EXPECT_EQ("10|10", statusOf(id));
            EXPECT_EQ(0u, data.size());
        } else {
            bool kept = shape.isObject() && shape.isMember("success");
            EXPECT_EQ("9|9", statusOf(id));
            EXPECT_EQ(kept ? 1u : 0u, data.size()) << data;
            EXPECT_EQ(!kept, logHas("contains no \"success\" key."));
        }
        EXPECT_EQ(before, rows());
        sql("UPDATE peer SET status=2, status_by_server=2 WHERE id=" + sid);

        EXPECT_EQ(0u, sim_.entries(-1, "trap").size()) << "nobody follows a redirect";
    }

    /* Waits until every entry of the delivery has its sent_bytes. */
    Json::Value deliveries(const std::string& delivery, const std::string& kind = "call") {
        Json::Value out;
        for (int i = 0; i < 100; i++) {
            out = Json::arrayValue;
            bool all = true;
            for (const Json::Value& e : sim_.entries(-1, kind)) {
                if (e["delivery"] != delivery) continue;
                out.append(e);
                all = all && e.isMember("sent_bytes");
            }
            if (all) break;
            usleep(50000);
        }
        return out;
    }
};

TEST_F(RemoteHostileTest, AnAnswerThatDripsEndsAtTheTimeOut) {
    simStart(1);
    long id = peerOf(0);
    mode(0, R"({"drip_ms":1000})");
    driveAll(0, id, callFails(CRED_REQ_ERR_TIMEOUT));
    Json::Value dripped = deliveries("drip");
    ASSERT_GE(dripped.size(), 5u) << "every caller met the drip";
    for (const Json::Value& e : dripped) {
        // The client hung up after its second, not when the answer was done.
        EXPECT_LE(e["sent_bytes"].asInt(), 3) << e;
    }
}

TEST_F(RemoteHostileTest, AnAnswerThatNeverEndsStopsAtTheSizeLimit) {
    simStart(1);
    long id = peerOf(0);
    const int kLimit = 256 * 1024;
    writeFile(sys("/etc/vuro/credential.conf"), readFile(sys("/etc/vuro/credential.conf")) +
                                                    "max_response_bytes=" + std::to_string(kLimit) +
                                                    "\n");
    mode(0, R"({"endless":true})");
    driveAll(0, id, callFails(CRED_REQ_ERR_TOO_LARGE));
    // A chunked answer declares no length: only the count while it arrives
    // can have stopped it.
    EXPECT_TRUE(logHas("answer too large")) << logDump();
    for (const Json::Value& e : deliveries("endless")) {
        EXPECT_LT(e["sent_bytes"].asInt64(), 64LL << 20) << "the client went on reading: " << e;
    }

    // What the caller holds meanwhile stays near the limit.
    int rc = runInChild(
        [&] {
            struct rusage before, after;
            // One call first: a forked child maps the libraries' pages in as
            // it touches them, which is no growth of the answer's.
            Json::Value first;
            VUROTARNPeerSendWebapiByID(id, first, "VURO.Core.TARN.Cache", 1, "push", Json::Value());
            getrusage(RUSAGE_SELF, &before);
            for (int i = 0; i < 3; i++) {
                Json::Value resp;
                if (VUROTARNPeerSendWebapiByID(id, resp, "VURO.Core.TARN.Cache", 1, "push",
                                               Json::Value()) != -1) {
                    return 2;
                }
            }
            getrusage(RUSAGE_SELF, &after);
            // The growth in MiB as the exit status.
            return (int)std::min(100L, (after.ru_maxrss - before.ru_maxrss) / 1024);
        },
        (int)(3 * kBoundMs));
    EXPECT_GE(rc, 0);
#if defined(__SANITIZE_ADDRESS__)
    // AddressSanitizer keeps freed blocks in quarantine: each of the three
    // answers' buffers (16 MiB at most) still counts at the peak.
    const int kPeakMiB = 3 * 16 + 16;
#else
    const int kPeakMiB = 32;
#endif
    EXPECT_LT(rc, kPeakMiB) << "MiB more at the peak";
}

TEST_F(RemoteHostileTest, AConnectionCutInTheMiddleOfTheAnswer) {
    simStart(1);
    long id = peerOf(0);
    mode(0, R"({"cut_answer":true})");
    driveAll(0, id, callFails(CRED_REQ_ERR_CONNECT));
    EXPECT_GE(deliveries("cut").size(), 5u);
}

TEST_F(RemoteHostileTest, RedirectsAreNeverFollowed) {
    simStart(1);
    long id = peerOf(0);
    // The trap does see a request that reaches it, token and all.
    std::string body;
    ASSERT_EQ(200, loopbackHttp(sim_.trapPort(), "POST", "/webapi/entry.cgi",
                                {"X-Vuro-Access-Token: " + sim_.token(0)}, "{}", &body));
    Json::Value seen = sim_.entries(-1, "trap");
    ASSERT_EQ(1u, seen.size());
    EXPECT_TRUE(seen[0]["token_seen"].asBool());
    EXPECT_TRUE(sim_.reset());

    mode(0, R"({"redirect":true})");
    driveAll(0, id, callFails(CRED_REQ_ERR_HTTP_STATUS));
    int redirected = 0;
    for (const Json::Value& e : sim_.entries(0, "call")) redirected += e["outcome"] == "redirected";
    EXPECT_GE(redirected, 5) << "every caller was sent on";
}

TEST_F(RemoteHostileTest, HttpsWithAPeerThatCannotProveItself) {
    simStart(1);
    long id = peerOf(0);
    // HTTP closed too, so nothing but the TLS failure is left to see.
    for (const char* m : {R"({"foreign_cert":true,"refuse_http":true})",
                          R"({"wrong_name_cert":true,"refuse_http":true})",
                          R"({"plain_on_https":true,"refuse_http":true})"}) {
        SCOPED_TRACE(m);
        ASSERT_TRUE(sim_.reset());
        mode(0, m);
        driveAll(0, id, unreachable());
        // Not one request went over a channel the client could not trust.
        for (const char* kind : {"discover", "call"}) {
            for (const Json::Value& e : sim_.entries(0, kind)) {
                EXPECT_NE("https", e["protocol"].asString()) << e;
            }
        }
    }
    // With HTTP open the call goes there, sealed.
    mode(0, R"({"wrong_name_cert":true})");
    std::string out, err;
    EXPECT_EQ(0, cliCall(id, &out, &err)) << err;
    Json::Value calls = sim_.entries(0, "call");
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ("http", calls[calls.size() - 1]["protocol"].asString());
    EXPECT_TRUE(calls[calls.size() - 1]["sealed"].asBool());
}

TEST_F(RemoteHostileTest, DiscoveryAnswersOfTheWrongShape) {
    simStart(1);
    long id = peerOf(0);
    for (const char* shape : {
             "[]",
             "null",
             R"({"success":true,"data":[]})",
             R"({"success":true,"data":{"VURO.Core.TARN.Cache":[],"VURO.Core.TARN":7,
                "VURO.Core.TARN.ServerInfo":null,"VURO.Core.TARN.Policy":"x"}})",
             R"({"success":true,"data":{"VURO.Core.TARN.Cache":{"path":["/x"],"minVersion":"1",
                "maxVersion":null,"requestFormat":{}}}})",
         }) {
        SCOPED_TRACE(shape);
        Json::Value m;
        m["discovery_answer"] = parse(shape);
        ASSERT_TRUE(sim_.clearMode("0"));
        ASSERT_TRUE(sim_.setMode(0, m)) << sim_.error();
        driveAll(0, id, unreachable());
    }
    EXPECT_EQ(0u, sim_.entries(0, "call").size()) << "no call without a sound discovery";
}

TEST_F(RemoteHostileTest, CallAnswersOfTheWrongShape) {
    simStart(1);
    long id = peerOf(0);
    for (const char* shape : {
             "[]",
             "\"text\"",
             R"({"success":"yes","data":{"hostname":"h"}})",
             R"({"success":true,"data":null})",
             R"({"data":{"hostname":"h"}})",
         }) {
        SCOPED_TRACE(shape);
        const Json::Value answer = parse(shape);  // const: a look must not add a member
        Json::Value m;
        m["call_answer"] = answer;
        ASSERT_TRUE(sim_.clearMode("0"));
        ASSERT_TRUE(sim_.setMode(0, m)) << sim_.error();
        Expect x;
        x.exchangeFails = false;
        bool successTrue =
            answer.isObject() && answer["success"].isBool() && answer["success"].asBool();
        x.updateRc = successTrue ? 0 : -1;
        x.updateLog = successTrue ? "" : "response is invalid";
        x.joinLog = "create server fail[";
        driveAll(0, id, x, answer);
    }
}

TEST_F(RemoteHostileTest, RelayAnswersOfTheWrongShape) {
    simStart(1, true);
    std::string relayId = sim_.server(0)["relay_id"].asString();
    long id = peerOf(0, relayId);
    // Discovery fails on both ways, so every caller asks the relay.
    mode(0, R"({"refuse_https":true,"refuse_http":true})");
    struct Case {
        const char* raw;
        const char* log;
    };
    const Case cases[] = {
        {"[]", "GetConnInfoPortal: ["},
        {R"({"success":"yes","data":{"host":"127.0.0.1","protocol":"http","port":1}})",
         "GetConnInfoPortal: ["},
        {R"({"success":true,"data":{"host":"127.0.0.1","protocol":["http"],"port":1}})",
         "Relay Path Format Invalid["},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.raw);
        ASSERT_TRUE(sim_.setRelayRaw(relayId, parse(c.raw))) << sim_.error();
        long long since = sim_.record()["next_seq"].asInt64();
        driveAll(0, id, unreachable());
        EXPECT_TRUE(logHas(std::string(c.log) + relayId + "]")) << logDump();
        EXPECT_FALSE(sim_.entries(-1, "relay", since).empty()) << "the relay was asked";
    }
}

TEST_F(RemoteHostileTest, AThousandCallsLeaveNoDescriptorOrCredentialIdBehind) {
    simStart(4);
    long ok = peerOf(0);
    const long failing[] = {peerOf(1), peerOf(2), peerOf(3)};
    mode(1, R"({"refuse_https":true,"refuse_http":true})");
    mode(2, R"({"cut_answer":true})");
    mode(3, R"({"redirect":true})");
    std::string registry = sys("/var/cache/vurocred");

    // A live request holds its id in both registries: the checks below
    // can fail.
    {
        std::unique_ptr<VURO::CredRequest> req(
            VUROTARNPeerCreateWebapiByID(ok, "VURO.Core.TARN.Cache", 1, "push", Json::Value()));
        ASSERT_TRUE(req != nullptr);
        EXPECT_TRUE(VURO::CredRequestUtil::IsCredIdCached(req->GetCredId()));
        EXPECT_EQ(1u, dirEntries(registry).size());
    }

    auto call = [&](int i) {
        Json::Value resp;
        long id = i % 2 == 0 ? ok : failing[(i / 2) % 3];
        return VUROTARNPeerSendWebapiByID(id, resp, "VURO.Core.TARN.Cache", 1, "push",
                                          Json::Value());
    };
    // libcurl and OpenSSL open what they keep at their first use.
    for (int i = 0; i < 6; i++) call(i);
    int fdsBefore = fdCount();
    int failed = 0;
    for (int i = 0; i < 1000; i++) failed += call(i) != 0;
    EXPECT_EQ(500, failed);
    EXPECT_EQ(fdsBefore, fdCount());
    EXPECT_EQ(0u, dirEntries(registry).size());
    for (long credId = -1; credId >= -4; credId--) {
        EXPECT_FALSE(VURO::CredRequestUtil::IsCredIdCached(credId)) << credId;
    }
}
