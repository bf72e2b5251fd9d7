/* webapi_test.cpp - remote calls to managed servers: each way through a
 * call to a stored peer read from the simulator's record, the answers a
 * caller gets, the request builders, destinations from records and JSON,
 * the temporary ids, the relay refresh and the "tarn peer" verbs. */
#include <unistd.h>

#include <memory>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurojson.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

struct CredFree {
    void operator()(VURO_CRED* p) const { VUROCredFree(p); }
    void operator()(VURO_CRED_SESS* p) const { VUROCredSessFree(p); }
};
using Cred = std::unique_ptr<VURO_CRED, CredFree>;
using Sess = std::unique_ptr<VURO_CRED_SESS, CredFree>;

std::string credText(const VURO_CRED* p, int (*get)(const VURO_CRED*, char*, size_t)) {
    char sz[256] = "";
    return get(p, sz, sizeof(sz)) == 0 ? sz : "<unset>";
}
long credNumber(const VURO_CRED* p, int (*get)(const VURO_CRED*, long*)) {
    long v = 0;
    return get(p, &v) == 0 ? v : -99999;
}
std::string sessText(const VURO_CRED_SESS* p, int (*get)(const VURO_CRED_SESS*, char*, size_t)) {
    char sz[256] = "";
    return get(p, sz, sizeof(sz)) == 0 ? sz : "<unset>";
}

}  // namespace

class WebapiTest : public RemoteTest {
protected:
    struct PeerWays {
        std::string host = "127.0.0.1";
        long http = 0;
        long https = 0;
        std::string sid = "token-of-the-peer";
        std::string csrf;
        std::string relay;
    };
    long peerStore(const std::string& sn, const PeerWays& w) {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, sn.c_str());
        VUROTARNPeerItemSetHostName(&peer, ("nas-" + sn).c_str());
        peer.str_host = w.host;
        peer.http_port = w.http;
        peer.https_port = w.https;
        peer.str_sid = w.sid;
        peer.str_vuro_token = w.csrf;
        peer.str_relaypath = w.relay;
        EXPECT_OK(VUROTARNPeerCreate(&peer));
        return peer.id;
    }
    /* Event-log rows of edits of the peer, and the text of the last. */
    std::string editRows(long id) {
        return logValue("SELECT count(*) FROM log WHERE obj_id='peer_" + std::to_string(id) +
                        "' AND enu LIKE 'Edited server%'");
    }
    std::string lastEdit(long id) {
        return logValue("SELECT enu FROM log WHERE obj_id='peer_" + std::to_string(id) +
                        "' ORDER BY id DESC LIMIT 1");
    }
    std::string row(long id) {
        return sqlValue("SELECT host||' '||http_port||' '||https_port FROM peer WHERE id=" +
                        std::to_string(id));
    }
};

TEST_F(WebapiTest, CredentialFromRecordTakesHttpsFirstAndFallsThroughToHttp) {
    PeerWays both;
    both.http = 5000;
    both.https = 5001;
    both.csrf = "csrf-1";
    long idBoth = peerStore("S-BOTH", both);
    Cred cred(VUROCredAlloc());
    Sess sess(VUROCredSessAlloc());
    ASSERT_OK(VUROTARNPeerGetCredential(idBoth, cred.get(), sess.get()));
    EXPECT_EQ("https", credText(cred.get(), VUROCredItemGetProtocol));
    EXPECT_EQ(5001, credNumber(cred.get(), VUROCredItemGetPort));
    EXPECT_EQ("127.0.0.1", credText(cred.get(), VUROCredItemGetHost));
    EXPECT_EQ(-1, credNumber(cred.get(), VUROCredItemGetID));
    EXPECT_EQ("token-of-the-peer", sessText(sess.get(), VUROCredSessItemGetAccessToken));
    EXPECT_EQ("csrf-1", sessText(sess.get(), VUROCredSessItemGetCsrfToken));

    // No usable port: -1, with what was set before the failure left behind.
    PeerWays none;
    none.https = 70000;
    long idNone = peerStore("S-NONE", none);
    Cred cred3(VUROCredAlloc());
    Sess sess3(VUROCredSessAlloc());
    EXPECT_EQ(-1, VUROTARNPeerGetCredential(idNone, cred3.get(), sess3.get()));
    EXPECT_EQ(-1, credNumber(cred3.get(), VUROCredItemGetID));
    EXPECT_EQ(-1, VUROTARNPeerGetCredential(999, cred3.get(), sess3.get()));
}

TEST_F(WebapiTest, CredentialFromJoinJson) {
    Cred cred(VUROCredAlloc());
    Sess sess(VUROCredSessAlloc());
    Json::Value js;
    js["access_token"] = "tok";
    js["host"] = "127.0.0.9";
    js["http_port"] = 5000;
    js["https_port"] = 5001;
    ASSERT_TRUE(FillCredAndSess(cred.get(), sess.get(), js));
    EXPECT_EQ("https", credText(cred.get(), VUROCredItemGetProtocol));
    EXPECT_EQ(5001, credNumber(cred.get(), VUROCredItemGetPort));
    EXPECT_EQ("127.0.0.9", credText(cred.get(), VUROCredItemGetHost));
    EXPECT_EQ("tok", sessText(sess.get(), VUROCredSessItemGetAccessToken));
    // No id and no CSRF token come from the join.
    EXPECT_EQ(-99999, credNumber(cred.get(), VUROCredItemGetID));

    js["https_port"] = 0;
    Cred cred2(VUROCredAlloc());
    ASSERT_TRUE(FillCredAndSess(cred2.get(), sess.get(), js));
    EXPECT_EQ("http", credText(cred2.get(), VUROCredItemGetProtocol));
    EXPECT_EQ(5000, credNumber(cred2.get(), VUROCredItemGetPort));

    js["http_port"] = -4;
    EXPECT_FALSE(FillCredAndSess(cred2.get(), sess.get(), js));
    EXPECT_TRUE(logHas("port is invalid[0, -4]")) << logDump();

    Json::Value lacking = js;
    lacking.removeMember("host");
    EXPECT_FALSE(FillCredAndSess(cred2.get(), sess.get(), lacking));
    EXPECT_FALSE(FillCredAndSess(cred2.get(), sess.get(), Json::Value("text")));
    // Kinds a joining server should not send are refused, not thrown on.
    Json::Value odd = js;
    odd["https_port"] = "5001";
    odd["http_port"] = Json::Value(Json::arrayValue);
    EXPECT_FALSE(FillCredAndSess(cred2.get(), sess.get(), odd));
}

/* ---- against the simulator ---- */

namespace {

const char kApi[] = "VURO.Core.TARN.Policy";
const char kMethod[] = "fetch";

/* Entries of a kind, in order. */
std::vector<Json::Value> kindOf(const Json::Value& entries, const std::string& kind) {
    std::vector<Json::Value> out;
    for (const Json::Value& e : entries) {
        if (e["kind"].asString() == kind) out.push_back(e);
    }
    return out;
}

/* "https sealed=0 server=1" per call, to compare a whole road at once. */
std::string callsText(const Json::Value& entries) {
    std::string text;
    for (const Json::Value& e : kindOf(entries, "call")) {
        if (!text.empty()) text += "; ";
        text += e["protocol"].asString() + " sealed=" + (e["sealed"].asBool() ? "1" : "0") +
                " server=" + std::to_string(e["server"].asInt());
    }
    return text;
}

}  // namespace

class WebapiSimTest : public WebapiTest {
protected:
    void simStart(int peers, bool relay = true) {
        PeerSimOptions o;
        o.peers = peers;
        o.relay = relay;
        RemoteTest::simStart(o);
    }
    /* The peer record of simulated server i, with the ways asked for. */
    long simPeer(int i, bool http, bool https, const std::string& relay = "",
                 const std::string& tag = "") {
        PeerWays w;
        w.http = http ? sim_.httpPort(i) : 0;
        w.https = https ? sim_.httpsPort(i) : 0;
        w.sid = sim_.token(i);
        w.relay = relay;
        return peerStore(sim_.sn(i) + tag, w);
    }
    int call(long id, Json::Value& jResp) {
        Json::Value jParam(Json::objectValue);
        jParam["probe"] = 1;
        return VUROTARNPeerSendWebapiByID(id, jResp, kApi, 1, kMethod, jParam);
    }
};

TEST_F(WebapiSimTest, HttpsIsPlainAndHttpSealedForJsonAndPlainForForm) {
    simStart(1, false);
    long id = simPeer(0, true, true);
    Json::Value jResp;
    ASSERT_OK(call(id, jResp));
    EXPECT_TRUE(jResp["success"].asBool()) << jResp;
    Json::Value entries = sim_.entries();
    EXPECT_EQ("https sealed=0 server=0", callsText(entries));
    ASSERT_EQ(1u, kindOf(entries, "call").size());
    EXPECT_EQ(kMethod, kindOf(entries, "call")[0]["method"].asString());
    EXPECT_EQ(1, kindOf(entries, "call")[0]["params"]["probe"].asInt());
    EXPECT_TRUE(kindOf(entries, "relay").empty());

    // HTTP alone: sealed for JSON, plain for a form API.
    ASSERT_TRUE(sim_.reset());
    id = simPeer(0, true, false, "", "-h");
    ASSERT_OK(call(id, jResp));
    EXPECT_TRUE(jResp["success"].asBool()) << jResp;
    EXPECT_EQ("http sealed=1 server=0", callsText(sim_.entries()));

    ASSERT_TRUE(sim_.reset());
    Json::Value modes;
    modes["form_api"].append(kApi);
    ASSERT_TRUE(sim_.setMode(0, modes)) << sim_.error();
    ASSERT_OK(call(id, jResp));
    EXPECT_EQ("http sealed=0 server=0", callsText(sim_.entries()));
}

TEST_F(WebapiSimTest, HttpsRefusedAtDiscoveryAsksTheRelayAndFollowsIt) {
    simStart(2);
    // Server 0 refuses HTTPS; the relay says it is now at server 1's HTTP port.
    long id = simPeer(0, true, true, "relay-0");
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "http", sim_.httpPort(1)));
    Json::Value modes;
    modes["refuse_https"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    Json::Value jResp;
    ASSERT_OK(call(id, jResp));
    Json::Value entries = sim_.entries();
    EXPECT_EQ(1u, kindOf(entries, "relay").size());
    EXPECT_EQ("http sealed=1 server=1", callsText(entries));
    EXPECT_EQ("127.0.0.1 " + std::to_string(sim_.httpPort(1)) + " 0", row(id));
    EXPECT_EQ("1", editRows(id));

    // Without a relay id the HTTP way is still taken, at the stored port.
    ASSERT_TRUE(sim_.reset());
    long idNoRelay = simPeer(0, true, true, "", "-n");
    ASSERT_TRUE(sim_.setMode(0, modes));
    ASSERT_OK(call(idNoRelay, jResp));
    EXPECT_TRUE(logHas("pPeer->str_relaypath.empty()")) << logDump();
    EXPECT_EQ("http sealed=1 server=0", callsText(sim_.entries()));

    // A certificate the root's CA did not sign is the same road.
    ASSERT_TRUE(sim_.reset());
    long id2 = simPeer(1, true, true, "relay-1");
    modes.clear();
    modes["foreign_cert"] = true;
    ASSERT_TRUE(sim_.setMode(1, modes));
    ASSERT_TRUE(sim_.setRelay("relay-1", "127.0.0.1", "http", sim_.httpPort(0)));
    ASSERT_OK(call(id2, jResp));
    entries = sim_.entries();
    EXPECT_EQ(1u, kindOf(entries, "relay").size());
    EXPECT_EQ("http sealed=1 server=0", callsText(entries));
}

TEST_F(WebapiSimTest, HttpsClosedAfterDiscoveryTriesHttpOnceWithoutRelay) {
    simStart(1);
    long id = simPeer(0, true, true, "relay-0");
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "http", 1));
    std::string before = row(id);
    Json::Value modes;
    modes["close_after_discovery"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    Json::Value jResp;
    ASSERT_OK(call(id, jResp));
    Json::Value entries = sim_.entries();
    EXPECT_TRUE(kindOf(entries, "relay").empty());
    // The dropped HTTPS call may or may not reach the record; the HTTP one
    // is the only one answered, and the last.
    std::vector<Json::Value> calls = kindOf(entries, "call");
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ("http", calls.back()["protocol"].asString());
    EXPECT_LE(calls.size(), 2u);
    EXPECT_EQ(before, row(id));
}

TEST_F(WebapiSimTest, HttpsOnlyAndFailingGivesUpAfterOneAttempt) {
    simStart(1);
    long id = simPeer(0, false, true, "relay-0");
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "http", sim_.httpPort(0)));
    Json::Value modes;
    modes["close_after_discovery"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    Json::Value jResp = "untouched";
    EXPECT_EQ(-1, call(id, jResp));
    Json::Value entries = sim_.entries();
    EXPECT_EQ(1u, kindOf(entries, "discover").size());
    EXPECT_TRUE(kindOf(entries, "relay").empty());
    for (const Json::Value& c : kindOf(entries, "call")) {
        EXPECT_EQ("https", c["protocol"].asString());
    }
    EXPECT_EQ("untouched", jResp.asString());
}

TEST_F(WebapiSimTest, RelayAnsweringHttpsEndsTheHttpWay) {
    simStart(1);
    long id = simPeer(0, true, true, "relay-0");
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "https", sim_.httpsPort(0)));
    Json::Value modes;
    modes["refuse_https"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    Json::Value jResp;
    EXPECT_EQ(-1, call(id, jResp));
    EXPECT_EQ("127.0.0.1 0 " + std::to_string(sim_.httpsPort(0)), row(id));
    EXPECT_EQ("", callsText(sim_.entries()));
}

TEST_F(WebapiSimTest, PortTheSetterRefusesGivesThatWayUp) {
    simStart(1);
    // A stored HTTPS port out of range: straight to HTTP, no discovery over HTTPS.
    PeerWays w;
    w.http = sim_.httpPort(0);
    w.https = 70000;
    w.sid = sim_.token(0);
    long id = peerStore(sim_.sn(0), w);
    Json::Value jResp;
    ASSERT_OK(call(id, jResp));
    EXPECT_EQ("http sealed=1 server=0", callsText(sim_.entries()));

    // A relay that hands out such a port: the HTTP way ends with -1.
    ASSERT_TRUE(sim_.reset());
    long id2 = simPeer(0, true, true, "relay-0", "-2");
    EXPECT_NE(id, id2);
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "http", 70000));
    Json::Value modes;
    modes["refuse_https"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    EXPECT_EQ(-1, call(id2, jResp));
    EXPECT_EQ("", callsText(sim_.entries()));
}

TEST_F(WebapiSimTest, NoAddressOrNoTokenSendsNothing) {
    simStart(1);
    PeerWays w;
    w.http = sim_.httpPort(0);
    w.https = sim_.httpsPort(0);
    w.host = "";
    long idNoHost = peerStore("S-NOHOST", w);
    w.host = "127.0.0.1";
    w.sid = "";
    long idNoSid = peerStore("S-NOSID", w);
    logClear();
    Json::Value jResp = "untouched";
    EXPECT_EQ(-1, call(idNoHost, jResp));
    EXPECT_EQ(-1, call(idNoSid, jResp));
    EXPECT_EQ(-1, call(4242, jResp));
    EXPECT_EQ("untouched", jResp.asString());
    EXPECT_EQ(0u, sim_.entries().size());
    EXPECT_FALSE(logHas("Send WebAPI")) << logDump();
}

TEST_F(WebapiSimTest, AnswersComeBackAsTheyAreOrNotAtAll) {
    simStart(1, false);
    long idHttps = simPeer(0, false, true, "", "-s");
    long idHttp = simPeer(0, true, false);
    Json::Value modes;

    // A refusal by the far side is still an answer: 0, the caller judges.
    modes["fail_code"] = 105;
    ASSERT_TRUE(sim_.setMode(0, modes));
    Json::Value jResp;
    ASSERT_OK(call(idHttp, jResp));
    EXPECT_FALSE(jResp["success"].asBool());
    EXPECT_EQ(105, jResp["error"]["code"].asInt()) << jResp;

    // Text that is no JSON: -1 and the caller's value untouched.
    ASSERT_TRUE(sim_.clearMode("0"));
    modes.clear();
    modes["not_json"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    jResp = "untouched";
    EXPECT_EQ(-1, call(idHttps, jResp));
    EXPECT_EQ("untouched", jResp.asString());
    // Over sealed HTTP an answer that is not sealed counts only as a refusal.
    ASSERT_OK(call(idHttp, jResp));
    EXPECT_EQ(119, jResp["error"]["code"].asInt()) << jResp;
    jResp = "untouched";

    // A sealed answer with one byte changed does not open.
    ASSERT_TRUE(sim_.clearMode("0"));
    modes.clear();
    modes["tamper"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    EXPECT_EQ(-1, call(idHttp, jResp));
    EXPECT_EQ("untouched", jResp.asString());
}

TEST_F(WebapiSimTest, BuildersSealAsTheirTableSays) {
    simStart(1, false);
    Json::Value jParam(Json::objectValue);
    auto destination = [&](const char* protocol, Cred* pCred, Sess* pSess) {
        pCred->reset(VUROCredAlloc());
        pSess->reset(VUROCredSessAlloc());
        bool https = std::string(protocol) == "https";
        VUROCredItemSetID(pCred->get(), -50);
        VUROCredItemSetHost(pCred->get(), "127.0.0.1");
        VUROCredItemSetPort(pCred->get(), https ? sim_.httpsPort(0) : sim_.httpPort(0));
        VUROCredItemSetProtocol(pCred->get(), protocol);
        VUROCredSessItemSetAccessToken(pSess->get(), sim_.token(0).c_str());
    };
    auto processed = [&](VURO::CredRequest* pReq) {
        std::unique_ptr<VURO::CredRequest> req(pReq);
        if (!req) return std::string("NULL");
        if (!req->Process(true, 0)) return std::string("failed");
        Json::Value j;
        Json::Reader().parse(req->GetResponse(), j);
        return std::string(j["success"].asBool() ? "ok" : "refused");
    };

    // The caller's destination: sealed over https only.
    Cred cred;
    Sess sess;
    destination("https", &cred, &sess);
    VURO::CredRequest* pReq =
        VUROTARNPeerCreateWebapi(cred.get(), sess.get(), kApi, 1, kMethod, jParam);
    // Built requests keep what they need: the objects may go first.
    cred.reset();
    sess.reset();
    EXPECT_EQ("ok", processed(pReq));
    destination("http", &cred, &sess);
    EXPECT_EQ("ok", processed(VUROTARNPeerCreateWebapi(cred.get(), sess.get(), kApi, 1, kMethod,
                                                       jParam)));
    EXPECT_EQ("https sealed=1 server=0; http sealed=0 server=0", callsText(sim_.entries()));
    EXPECT_EQ("NULL", processed(VUROTARNPeerCreateWebapi(cred.get(), sess.get(), "VURO.No.Such", 1,
                                                         kMethod, jParam)));

    // A request the seal is refused for (no access token) is not handed out.
    destination("https", &cred, &sess);
    VUROCredSessItemSetAccessToken(sess.get(), "");
    EXPECT_EQ(nullptr, VUROTARNPeerCreateWebapi(cred.get(), sess.get(), kApi, 1, kMethod, jParam));

    // From a record: https as it is, http sealed for JSON, plain for form.
    ASSERT_TRUE(sim_.reset());
    long idHttps = simPeer(0, true, true);
    EXPECT_EQ("ok", processed(VUROTARNPeerCreateWebapiByID(idHttps, kApi, 1, kMethod, jParam)));
    sql("UPDATE peer SET https_port=0 WHERE id=" + std::to_string(idHttps));
    EXPECT_EQ("ok", processed(VUROTARNPeerCreateWebapiByID(idHttps, kApi, 1, kMethod, jParam)));
    Json::Value modes;
    modes["form_api"].append(kApi);
    ASSERT_TRUE(sim_.setMode(0, modes));
    EXPECT_EQ("ok", processed(VUROTARNPeerCreateWebapiByID(idHttps, kApi, 1, kMethod, jParam)));
    EXPECT_EQ("https sealed=0 server=0; http sealed=1 server=0; http sealed=0 server=0",
              callsText(sim_.entries()));

    // HTTPS that cannot be built is not followed by HTTP; a missing peer
    // gives NULL.
    sql("UPDATE peer SET https_port=" + std::to_string(sim_.httpsPort(0)) +
        " WHERE id=" + std::to_string(idHttps));
    ASSERT_TRUE(sim_.clearMode("0"));
    modes.clear();
    modes["refuse_https"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    EXPECT_EQ("NULL", processed(VUROTARNPeerCreateWebapiByID(idHttps, kApi, 1, kMethod, jParam)));
    EXPECT_EQ("NULL", processed(VUROTARNPeerCreateWebapiByID(777, kApi, 1, kMethod, jParam)));
}

TEST_F(WebapiSimTest, SendToADestinationSealsJsonAndNamesTheFailure) {
    simStart(1, false);
    Cred cred(VUROCredAlloc());
    Sess sess(VUROCredSessAlloc());
    VUROCredItemSetID(cred.get(), -60);
    VUROCredItemSetHost(cred.get(), "127.0.0.1");
    VUROCredItemSetPort(cred.get(), sim_.httpsPort(0));
    VUROCredItemSetProtocol(cred.get(), "https");
    VUROCredSessItemSetAccessToken(sess.get(), sim_.token(0).c_str());
    Json::Value jResp;
    Json::Value jParam(Json::objectValue);
    ASSERT_OK(VUROTARNPeerSendWebapi(cred.get(), sess.get(), jResp, kApi, 1, kMethod, jParam));
    EXPECT_TRUE(jResp["success"].asBool());
    EXPECT_EQ("https sealed=1 server=0", callsText(sim_.entries()));

    Json::Value modes;
    modes["close_after_discovery"] = true;
    ASSERT_TRUE(sim_.setMode(0, modes));
    jResp = "untouched";
    EXPECT_EQ(-1, VUROTARNPeerSendWebapi(cred.get(), sess.get(), jResp, kApi, 1, kMethod, jParam));
    EXPECT_TRUE(logHas("Send WebAPI Fail[" + std::to_string(CRED_REQ_ERR_CONNECT) + "]"))
        << logDump();
    EXPECT_EQ("untouched", jResp.asString());
}

TEST_F(WebapiSimTest, TemporaryIdsSkipLiveRequestsOfAnyProcess) {
    simStart(1, false);
    long id = simPeer(0, true, false);
    Json::Value jParam(Json::objectValue);
    auto nextId = [&]() {
        Cred cred(VUROCredAlloc());
        Sess sess(VUROCredSessAlloc());
        EXPECT_OK(VUROTARNPeerGetCredential(id, cred.get(), sess.get()));
        return credNumber(cred.get(), VUROCredItemGetID);
    };
    EXPECT_EQ(-1, nextId());
    {
        std::unique_ptr<VURO::CredRequest> held(
            VUROTARNPeerCreateWebapiByID(id, kApi, 1, kMethod, jParam));
        ASSERT_TRUE(held);
        EXPECT_EQ(-2, nextId());
    }
    EXPECT_EQ(-1, nextId());
}

TEST_F(WebapiSimTest, RelayRefreshStoresOneWayAndLeavesOneEditRow) {
    simStart(1);
    long id = simPeer(0, true, true, "relay-0");
    std::string before = row(id);

    // A protocol the library does not speak: nothing stored.
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "ftp", 21));
    EXPECT_EQ(-1, VUROTARNPeerUpdateRelayPathByID(id));
    EXPECT_TRUE(logHas("Relay Path Format Invalid[relay-0]")) << logDump();
    EXPECT_EQ(before, row(id));
    // ... while the caller's record holds the new host.
    VURO_TARN_PEER peer;
    ASSERT_OK(VUROTARNPeerGet(id, &peer));
    peer.str_host = "127.0.0.2";
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "ftp", 21));
    EXPECT_EQ(-1, VUROTARNPeerUpdateRelayPathByPEER(&peer));
    EXPECT_EQ("127.0.0.1", peer.str_host);

    // An id the relay does not know.
    logClear();
    sql("UPDATE peer SET relaypath='relay-unknown' WHERE id=" + std::to_string(id));
    EXPECT_EQ(-1, VUROTARNPeerUpdateRelayPathByID(id));
    EXPECT_TRUE(logHas("GetConnInfoPortal: [relay-unknown]")) << logDump();
    sql("UPDATE peer SET relaypath='relay-0' WHERE id=" + std::to_string(id));

    // A move: one port left, one edit row naming old and new.
    std::string edits = editRows(id);
    ASSERT_TRUE(sim_.setRelay("relay-0", "localhost", "http", 6123));
    ASSERT_OK(VUROTARNPeerUpdateRelayPathByID(id));
    EXPECT_EQ("localhost 6123 0", row(id));
    EXPECT_EQ(std::to_string(std::stol(edits) + 1), editRows(id));
    EXPECT_NE(std::string::npos, lastEdit(id).find("6123")) << lastEdit(id);
    EXPECT_NE(std::string::npos, lastEdit(id).find("127.0.0.1 -> localhost")) << lastEdit(id);
    EXPECT_NE(std::string::npos, lastEdit(id).find(std::to_string(sim_.httpPort(0))))
        << lastEdit(id);

    // A store that fails: the message, the row as it was.
    sql("CREATE TRIGGER no_peer_write BEFORE INSERT ON peer BEGIN SELECT RAISE(ABORT, 'frozen'); "
        "END");
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "https", 6124));
    EXPECT_EQ(-1, VUROTARNPeerUpdateRelayPathByID(id));
    EXPECT_TRUE(logHas("Update relaypath failed[relay-0]")) << logDump();
    EXPECT_EQ("localhost 6123 0", row(id));
}

TEST_F(WebapiSimTest, FtpRelayAnswerSendsHttpToTheNewHostWithTheOldPort) {
    simStart(1);
    // Stored at an address where nothing listens; the relay's answer is
    // unusable, yet its host is what the HTTP way takes.
    PeerWays w;
    w.host = "127.0.0.2";
    w.http = sim_.httpPort(0);
    w.https = sim_.httpsPort(0);
    w.sid = sim_.token(0);
    w.relay = "relay-0";
    long id = peerStore(sim_.sn(0), w);
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "ftp", 21));
    Json::Value jResp;
    ASSERT_OK(call(id, jResp));
    EXPECT_EQ("http sealed=1 server=0", callsText(sim_.entries()));
    EXPECT_EQ(
        "127.0.0.2 " + std::to_string(sim_.httpPort(0)) + " " + std::to_string(sim_.httpsPort(0)),
        row(id));
}

TEST_F(WebapiSimTest, CliCallsShowsCredentialsRefreshesAndImports) {
    simStart(2);
    std::string fleet = root_ + "/fleet-copy.json";
    writeFile(fleet, vurojson::toString(sim_.fleet()));
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Sim"}, &j));
    std::string ou = std::to_string(j["id"].asInt64());

    // Bad input stores nothing.
    EXPECT_EQ(2, tarn({"peer", "import", fleet, "--parent", "999"}));
    writeFile(root_ + "/bad.json",
              "[{\"sn\":\"X\",\"host\":\"h\",\"access_token\":\"t\","
              "\"http_port\":99999}]");
    EXPECT_EQ(2, tarn({"peer", "import", root_ + "/bad.json"}));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM peer"));

    ASSERT_EQ(0, tarn({"peer", "import", fleet, "--parent", ou}, &j));
    ASSERT_EQ(2u, j.size());
    long id0 = j[0]["id"].asInt64();
    EXPECT_EQ(sim_.sn(0), j[0]["sn"].asString());
    EXPECT_EQ(ou, std::to_string(j[1]["parent_id"].asInt64()));
    EXPECT_EQ(sim_.token(1),
              sqlValue("SELECT sid FROM peer WHERE id=" + std::to_string(j[1]["id"].asInt64())));
    EXPECT_EQ(0u, sim_.entries().size()) << "import calls no server";
    std::string s0 = std::to_string(id0);
    EXPECT_EQ(sim_.server(0)["relay_id"].asString(),
              sqlValue("SELECT relaypath FROM peer WHERE id=" + s0));

    // The way a call would take; the tokens never whole in the output.
    std::string out;
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "--root", root_, "peer", "credential", s0}, &out));
    EXPECT_EQ(std::string::npos, out.find(sim_.token(0))) << out;
    ASSERT_TRUE(Json::Reader().parse(out, j));
    EXPECT_EQ("https", j["protocol"].asString());
    EXPECT_EQ(sim_.httpsPort(0), j["port"].asInt());
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "--root", root_, "peer", "get", s0}, &out));
    EXPECT_EQ(std::string::npos, out.find(sim_.token(0))) << out;

    ASSERT_EQ(0, tarn({"peer", "call", s0, kApi, "1", kMethod, "{\"probe\":2}"}, &j));
    EXPECT_TRUE(j["success"].asBool()) << j;
    EXPECT_EQ("https sealed=0 server=0", callsText(sim_.entries()));
    EXPECT_EQ(2, tarn({"peer", "call", s0, kApi, "1", kMethod, "[1]"}));
    // -v tells the way: the record's ways and each step of the exchange.
    std::string err;
    ASSERT_EQ(0, runProgram(
                     {TARN_CLI_PATH, "--root", root_, "-v", "peer", "call", s0, kApi, "1", kMethod},
                     &out, &err));
    EXPECT_NE(std::string::npos, err.find("https_port " + std::to_string(sim_.httpsPort(0))))
        << err;
    EXPECT_NE(std::string::npos, err.find("over https, plain")) << err;
    EXPECT_EQ(std::string::npos, err.find(sim_.token(0))) << err;
    EXPECT_EQ(
        1, runProgram({TARN_CLI_PATH, "--root", root_, "peer", "call", "999", kApi, "1", kMethod},
                      &out, &err));
    EXPECT_NE(std::string::npos, err.find("no peer with id 999")) << err;
    EXPECT_EQ(1, tarn({"peer", "call", s0, "VURO.No.Such", "1", kMethod}));

    // Options of create and set, the relay id among them.
    ASSERT_EQ(0, tarn({"peer", "set", s0, "--sid", "tok-new", "--vuro-token", "csrf-new",
                       "--relaypath", "relay-0"},
                      &j));
    EXPECT_EQ("tok-new|csrf-new|relay-0",
              sqlValue("SELECT sid||'|'||vuro_token||'|'||relaypath FROM peer WHERE id=" + s0));
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "http", sim_.httpPort(1)));
    ASSERT_EQ(0, tarn({"peer", "relay-refresh", s0}, &j));
    EXPECT_EQ(sim_.httpPort(1), j["http_port"].asInt());
    EXPECT_EQ(0, j["https_port"].asInt());
    ASSERT_TRUE(sim_.setRelay("relay-0", "127.0.0.1", "ftp", 1));
    EXPECT_EQ(1, tarn({"peer", "relay-refresh", s0}));
    EXPECT_EQ(std::to_string(sim_.httpPort(1)),
              sqlValue("SELECT http_port FROM peer WHERE id=" + s0));
}
