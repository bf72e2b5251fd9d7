/* peer_sim_test.cpp - the peer simulator as the other tests lean on it: it
 * starts in the test's root, says where it listens, answers and records
 * calls, takes its modes, and is gone when its owner is. Sealing, the
 * failure modes and the relay are met through the library in
 * webapi_test.cpp and credential_test.cpp. */
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <thread>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurocredential_seal.h"
#include "vurojson.h"

using namespace tarntest;

namespace {

class PeerSimTest : public TarnTest {
protected:
    // A plain call to server i over HTTP; the status, the answer in *pOut.
    int plainCall(PeerSim& s, int i, const std::string& api, const std::string& method,
                  const Json::Value& params, Json::Value* pOut, const std::string& token = "",
                  int timeoutMs = 10000) {
        Json::Value body;
        body["api"] = api;
        body["version"] = 1;
        body["method"] = method;
        body["params"] = params;
        std::string text;
        int status = loopbackHttp(
            s.httpPort(i), "POST", "/webapi/entry.cgi",
            {std::string(VUROCRED_HDR_ACCESS_TOKEN) + ": " + (token.empty() ? s.token(i) : token)},
            vurojson::toString(body), &text, timeoutMs);
        if (pOut && !vurojson::fromString(*pOut, text)) *pOut = Json::Value("<not json>");
        return status;
    }
    Json::Value discover(PeerSim& s, int i, const std::string& names) {
        std::string text;
        Json::Value v;
        loopbackHttp(s.httpPort(i), "GET", "/api/discover?names=" + names, {}, "", &text);
        if (!vurojson::fromString(v, text)) v = "<not json>";
        return v;
    }
};

// A process that is gone or only waits to be reaped by someone else.
bool processGone(pid_t pid) {
    if (kill(pid, 0) != 0) return true;
    std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    size_t paren = stat.rfind(')');
    return paren != std::string::npos && paren + 2 < stat.size() && stat[paren + 2] == 'Z';
}

bool waitGone(pid_t pid, int ms) {
    for (int waited = 0; waited < ms; waited += 20) {
        if (processGone(pid)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return processGone(pid);
}

}  // namespace

TEST_F(PeerSimTest, StartsInTheRootAndEndsWithItsOwner) {
    std::string caPem;
    pid_t pid = -1;
    {
        PeerSim s;
        PeerSimOptions o;
        o.peers = 3;
        o.relay = true;
        o.extraArgs = {"--relay-only", "2"};
        ASSERT_TRUE(s.start(o)) << s.error();
        pid = s.pid();
        ASSERT_EQ(3, s.size());
        EXPECT_EQ(s.ready()["fleet"].asString(), sys("/fleet.json"));
        std::set<int> ports = {s.port(), s.relayPort()};
        std::set<std::string> tokens, serials;
        for (int i = 0; i < 3; i++) {
            const Json::Value& e = s.server(i);
            EXPECT_EQ("127.0.0.1", e["host"].asString());
            ports.insert({s.httpPort(i), s.httpsPort(i)});  // 0 for the relay-only one
            tokens.insert(s.token(i));
            serials.insert(s.sn(i));
        }
        // Seven listeners on ports of their own, and the relay-only one's 0.
        EXPECT_EQ(8u, ports.size());
        EXPECT_EQ(3u, tokens.size());

        // The relay-only server: no HTTP port published, HTTPS refused, and
        // the relay tells the HTTP port that answers.
        EXPECT_EQ(0, s.httpPort(2));
        EXPECT_TRUE(s.server(2)["relay_only"].asBool());
        std::string text;
        EXPECT_EQ(-1, loopbackHttp(s.httpsPort(2), "GET", "/api/discover", {}, "", &text));
        ASSERT_EQ(200, loopbackHttp(s.relayPort(), "GET",
                                    "/relay/conninfo?id=" + s.server(2)["relay_id"].asString(), {},
                                    "", &text));
        Json::Value way;
        ASSERT_TRUE(vurojson::fromString(way, text));
        ASSERT_EQ(200, loopbackHttp(way["data"]["port"].asInt(), "GET",
                                    "/api/discover?names=VURO.Core.TARN", {}, "", &text))
            << text;
        EXPECT_EQ(1u, s.entries(2, "refused").size());
        EXPECT_EQ(1u, s.entries(2, "discover").size());
        EXPECT_EQ(3u, serials.size());
        // Tokens stay out of what it prints.
        EXPECT_EQ(std::string::npos, vurojson::toString(s.ready()).find(s.token(0)));
        EXPECT_EQ("http://127.0.0.1:" + std::to_string(s.relayPort()), [&] {
            char buf[256] = "";
            QLIBCFileGetKeyValue(VUROCRED_CONF_PATH, "relay_portal", buf, sizeof(buf), 0);
            return std::string(buf);
        }());
        caPem = readFile(sys("/etc/vuro/ssl/peer-sim/ca.pem"));
        ASSERT_NE(std::string::npos, caPem.find("BEGIN CERTIFICATE"));
        EXPECT_NE(std::string::npos, readFile(vurocred::CaFilePath()).find(caPem));
        EXPECT_EQ(0, s.finish());
        EXPECT_FALSE(s.running());
    }
    EXPECT_TRUE(waitGone(pid, 100));

    // A second one in the same root keeps the CA and adds it no second time;
    // it plays a fleet file again with the same serials and tokens.
    Json::Value before;
    ASSERT_TRUE(vurojson::fromFile(before, sys("/fleet.json")));
    PeerSim again;
    PeerSimOptions o;
    o.fleetFile = sys("/fleet.json");
    o.relay = true;  // its relay-only server wants it
    ASSERT_TRUE(again.start(o)) << again.error();
    EXPECT_EQ(caPem, readFile(sys("/etc/vuro/ssl/peer-sim/ca.pem")));
    std::string caFile = readFile(vurocred::CaFilePath());
    EXPECT_EQ(caFile.find(caPem), caFile.rfind(caPem));
    ASSERT_EQ(3, again.size());
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(before[i]["sn"], again.server(i)["sn"]);
        EXPECT_EQ(before[i]["access_token"], again.server(i)["access_token"]);
    }

    // An owner that dies without a word takes the simulator with it.
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    pid_t owner = fork();
    ASSERT_LE(0, owner);
    if (owner == 0) {
        close(fds[0]);
        PeerSim* leaked = new PeerSim();  // never destroyed: the crash
        PeerSimOptions lo;
        pid_t got = leaked->start(lo) ? leaked->pid() : -1;
        if (write(fds[1], &got, sizeof(got)) != sizeof(got)) _exit(2);
        _exit(1);
    }
    close(fds[1]);
    pid_t orphan = -1;
    ASSERT_EQ((ssize_t)sizeof(orphan), read(fds[0], &orphan, sizeof(orphan)));
    close(fds[0]);
    waitpid(owner, nullptr, 0);
    ASSERT_GT(orphan, 0);
    EXPECT_TRUE(waitGone(orphan, 3000));
}

TEST_F(PeerSimTest, AnswersRecordsAndTakesModes) {
    PeerSim s;
    PeerSimOptions o;
    o.peers = 2;
    o.relay = true;
    ASSERT_TRUE(s.start(o)) << s.error();

    // Discovery names each API asked for that it has, and only those.
    Json::Value d = discover(s, 0, "VURO.Core.TARN.Cache,VURO.Core.Nothing");
    ASSERT_TRUE(d["success"].asBool()) << d;
    EXPECT_EQ(1u, d["data"].size());
    EXPECT_EQ("JSON", d["data"]["VURO.Core.TARN.Cache"]["requestFormat"].asString());
    EXPECT_EQ("/webapi/entry.cgi", d["data"]["VURO.Core.TARN.Cache"]["path"].asString());

    // A plain call is answered with the server's identity and what it got,
    // and recorded; a wrong token is refused with 119.
    Json::Value params, answer;
    params["conn_info"][0]["host"] = "192.0.2.7";
    ASSERT_EQ(200, plainCall(s, 1, "VURO.Core.TARN", "end_join", params, &answer));
    ASSERT_TRUE(answer["success"].asBool()) << answer;
    EXPECT_EQ(s.server(1)["hostname"], answer["data"]["hostname"]);
    EXPECT_EQ(params, answer["data"]["received"]);
    ASSERT_EQ(200, plainCall(s, 1, "VURO.Core.TARN.Policy", "fetch", params, &answer, "stolen"));
    EXPECT_EQ(119, answer["error"]["code"].asInt()) << answer;
    Json::Value calls = s.entries(1, "call");
    ASSERT_EQ(2u, calls.size()) << calls;
    EXPECT_EQ("http", calls[0]["protocol"].asString());
    EXPECT_FALSE(calls[0]["sealed"].asBool());
    EXPECT_EQ("end_join", calls[0]["method"].asString());
    EXPECT_EQ(params, calls[0]["params"]);
    EXPECT_EQ("ok", calls[0]["outcome"].asString());
    EXPECT_EQ("bad_token", calls[1]["outcome"].asString());
    EXPECT_EQ(0u, s.entries(0, "call").size());

    // Modes: a dropped API leaves discovery, a form API says so; the other
    // modes show in the tests of the remote layer that use them.
    Json::Value m;
    m["drop_api"].append("VURO.Core.TARN.Cache");
    m["form_api"].append("VURO.Core.TARN.Policy");
    ASSERT_TRUE(s.setMode(s.sn(0), m)) << s.error();
    d = discover(s, 0, "VURO.Core.TARN.Cache,VURO.Core.TARN.Policy");
    EXPECT_FALSE(d["data"].isMember("VURO.Core.TARN.Cache")) << d;
    EXPECT_EQ("form", d["data"]["VURO.Core.TARN.Policy"]["requestFormat"].asString());
    EXPECT_EQ(
        "JSON",
        discover(s, 1, "VURO.Core.TARN.Policy")["data"]["VURO.Core.TARN.Policy"]["requestFormat"]
            .asString())
        << "modes are per server";

    // A reset forgets the record and the modes.
    ASSERT_TRUE(s.reset());
    EXPECT_EQ(0u, s.entries().size());
    EXPECT_EQ(0u, s.mode("0")["drop_api"].size());
}

TEST_F(PeerSimTest, CtlDrivesItFromTheShell) {
    PeerSim s;
    ASSERT_TRUE(s.start(PeerSimOptions())) << s.error();
    std::string port = std::to_string(s.port());
    std::string out, err;
    EXPECT_EQ(0, runProgram({TARN_PEER_SIM_PATH, "ctl", "--port", port, "mode", "0", "delay_ms=250",
                             "drop_api=[\"VURO.Core.TARN\"]"},
                            &out));
    EXPECT_EQ(250, s.mode("0")["delay_ms"].asInt()) << out;
    EXPECT_EQ(1, runProgram({TARN_PEER_SIM_PATH, "ctl", "--port", port, "mode", "0", "hnag=true"},
                            &out, &err));
    EXPECT_NE(std::string::npos, err.find("unknown mode hnag")) << err;
    EXPECT_EQ(2, runProgram({TARN_PEER_SIM_PATH, "ctl", "--port", port, "frobnicate"}, &out, &err));
    EXPECT_EQ(0, runProgram({TARN_PEER_SIM_PATH, "ctl", "--port", port, "record", "--kind", "call"},
                            &out));
    Json::Value rec;
    ASSERT_TRUE(vurojson::fromString(rec, out)) << out;
    EXPECT_TRUE(rec["record"].isArray());
    EXPECT_EQ(0, runProgram({TARN_PEER_SIM_PATH, "ctl", "--port", port, "stop"}, &out));
    EXPECT_EQ(0, s.finish());
}
