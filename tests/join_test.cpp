/* join_test.cpp - joining servers against a simulated fleet: what end_join
 * carries and how, the records of confirmed servers, a second join, each
 * failure with what survives it, and the session a joined server got
 * passing the incoming check until it is removed. */
#include <sys/stat.h>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurocgi.h"
#include "vurojson.h"
#include "vurotarn.h"
#include "vurow3.h"

using namespace tarntest;

class JoinTest : public RemoteTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        writeFile(sys("/etc/vuro/custom_serial"), "CUSTOM-77\n");
    }
    /* The fleet as a caller passes it: the simulator's entries without the
     * name the join learns from the answer. */
    Json::Value fleet() {
        Json::Value list(Json::arrayValue);
        for (Json::Value e : sim_.fleet()) {
            e.removeMember("hostname");
            list.append(e);
        }
        return list;
    }
    Json::Value joinCalls() {
        Json::Value out(Json::arrayValue);
        for (const Json::Value& e : sim_.entries(-1, "call")) {
            if (e["method"].asString() == "end_join") out.append(e);
        }
        return out;
    }
    std::string peerRow(const std::string& sn) {
        return sqlValue(
            "SELECT hostname||'|'||host||'|'||sid||'|'||http_port||'|'||https_port||'|'||status||"
            "'|'||status_by_server||'|'||model||'|'||version||'|'||buildnum||'|'||parent_id "
            "FROM peer WHERE sn='" +
            sn + "'");
    }
    int sessionCount() {
        std::string text = readFile(sys(VUROCGI_SESSION_FILE));
        return (int)std::count(text.begin(), text.end(), '\n');
    }
};

TEST_F(JoinTest, ConfirmedServersAreStoredAndEachHoldsItsOwnSession) {
    simStart(3);
    Json::Value list = fleet();
    Json::Value server;
    server["host"] = "192.0.2.10";
    ASSERT_OK(VUROTARNPeerSendCreateServer(list, server)) << logDump();

    vurow3::KELP kelp;
    Json::Value calls = joinCalls();
    ASSERT_EQ(3u, calls.size());
    std::set<std::string> tokens;
    for (const Json::Value& c : calls) {
        int i = c["server"].asInt();
        const Json::Value& p = c["params"];
        EXPECT_EQ("CUSTOM-77", p["sn"].asString()) << "the custom serial goes first";
        EXPECT_EQ("192.0.2.10", p["host"].asString());
        EXPECT_EQ(kelp.GetHttpPort(), p["http_port"].asInt());
        EXPECT_EQ(kelp.GetHttpsPort(), p["https_port"].asInt());
        EXPECT_EQ("https", c["protocol"].asString());
        EXPECT_TRUE(c["sealed"].asBool()) << "the token travels sealed even over HTTPS";
        // The token a server got is a session of this server, for that
        // server's serial alone.
        std::string serial;
        std::string token = p["access_token"].asString();
        EXPECT_TRUE(
            VUROTARNPeerCheckWebapiPriviege(token, "VURO.NotificationCenter.Send", &serial));
        EXPECT_EQ(sim_.sn(i), serial);
        tokens.insert(token);
    }
    EXPECT_EQ(3u, tokens.size());

    for (int i = 0; i < 3; i++) {
        const Json::Value& f = sim_.server(i);
        EXPECT_EQ(f["hostname"].asString() + "|127.0.0.1|" + sim_.token(i) + "|" +
                      std::to_string(sim_.httpPort(i)) + "|0|9|9|" + f["model"].asString() + "|" +
                      f["kelp_version"].asString() + "|" + f["build_number"].asString() + "|0",
                  peerRow(sim_.sn(i)));
    }
    EXPECT_EQ("3", logValue("SELECT count(*) FROM log WHERE enu LIKE 'Server % joined %'"));

    // The loop closes: removal of the sessions shuts the door again.
    std::string token0;
    for (const Json::Value& c : calls) {
        if (c["server"].asInt() == 0) token0 = c["params"]["access_token"].asString();
    }
    EXPECT_TRUE(VUROTARNPeerDeleteSessionBySn(sim_.sn(0)));
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege(token0, "VURO.NotificationCenter.Send", NULL));
    EXPECT_EQ(2, sessionCount());
}

TEST_F(JoinTest, SecondJoinKeepsPlaceAndLinksAndTakesTheNewWay) {
    simStart(1);
    Json::Value server;
    server["host"] = "192.0.2.10";
    Json::Value list = fleet();
    ASSERT_OK(VUROTARNPeerSendCreateServer(list, server));
    std::string id = sqlValue("SELECT id FROM peer WHERE sn='" + sim_.sn(0) + "'");
    sql("INSERT INTO ou(id, name, parent_id) VALUES (5,'Branch',0);"
        "UPDATE peer SET parent_id=5, linked_gpo='{\"order\":[{\"gpo_id\":3,\"override\":0}]}',"
        " sid='stale', https_port=1, status=2 WHERE id=" +
        id);

    // Reached by another name now; jsServer without a host.
    list = fleet();
    list[0]["host"] = "localhost";
    ASSERT_OK(VUROTARNPeerSendCreateServer(list, Json::Value(Json::objectValue))) << logDump();
    EXPECT_TRUE(joinCalls()[1]["params"]["host"].isNull());
    EXPECT_TRUE(joinCalls()[1]["params"].isMember("host"));
    EXPECT_EQ(id, sqlValue("SELECT id FROM peer"));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM peer"));
    EXPECT_EQ("5|{\"order\":[{\"gpo_id\":3,\"override\":0}]}|localhost|" + sim_.token(0) + "|" +
                  std::to_string(sim_.httpsPort(0)) + "|9|9",
              sqlValue("SELECT parent_id||'|'||linked_gpo||'|'||host||'|'||sid||'|'||https_port||"
                       "'|'||status||'|'||status_by_server FROM peer"));
    EXPECT_EQ("1", logValue("SELECT count(*) FROM log WHERE obj_id='peer_" + id +
                            "' AND enu LIKE 'Edited server%'"));
}

TEST_F(JoinTest, FailuresSayWhyAndKeepWhatWasDone) {
    simStart(6);
    Json::Value server;
    server["host"] = "192.0.2.10";

    // Nothing to do: nothing done.
    EXPECT_EQ(-1, VUROTARNPeerSendCreateServer(Json::Value(Json::arrayValue), server));
    EXPECT_TRUE(logHas("empty peer list"));
    EXPECT_EQ(0u, sim_.entries().size());

    // A refusal, a confirmation without a name, an answer that is no JSON
    // and an exchange cut short each pass the server over; the rest join.
    Json::Value m;
    m["fail_code"] = 117;
    ASSERT_TRUE(sim_.setMode(0, m));
    ASSERT_TRUE(sim_.setMode(1, parse(R"({"no_hostname":true})")));
    ASSERT_TRUE(sim_.setMode(2, parse(R"({"garbled":true})")));
    m = Json::Value();
    m["close_after_discovery"] = true;
    ASSERT_TRUE(sim_.setMode(3, m));
    logClear();
    Json::Value list = fleet();
    list.resize(5);
    ASSERT_OK(VUROTARNPeerSendCreateServer(list, server));
    EXPECT_EQ(2, logCount("create server fail[https://127.0.0.1:")) << logDump();
    EXPECT_EQ(1, logCount("parse response fail: ")) << logDump();
    EXPECT_EQ(1, logCount("Process fail[")) << logDump();
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM peer"));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM peer WHERE sn='" + sim_.sn(4) + "'"));
    EXPECT_EQ(5, sessionCount()) << "the sessions of servers passed over stay";

    // An entry without a token ends the walk: the one before is joined,
    // the one after is not called.
    sql("DELETE FROM peer");
    ASSERT_TRUE(sim_.reset());
    logClear();
    list = fleet();
    list[5].removeMember("access_token");
    Json::Value three(Json::arrayValue);
    three.append(list[4]);
    three.append(list[5]);
    three.append(list[0]);
    EXPECT_EQ(-1, VUROTARNPeerSendCreateServer(three, server));
    EXPECT_TRUE(logHas("FillCredAndSess failed"));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM peer WHERE sn='" + sim_.sn(4) + "'"));
    EXPECT_EQ(0u, sim_.entries(0).size());

    // HTTPS refused: end_join goes over HTTP, sealed, and the caller's
    // entry says so afterwards. Without an HTTP port there is no way.
    ASSERT_TRUE(sim_.reset());
    sql("DELETE FROM peer");
    m = Json::Value();
    m["refuse_https"] = true;
    ASSERT_TRUE(sim_.setMode(1, m));
    list = fleet();
    Json::Value one(Json::arrayValue);
    one.append(list[1]);
    ASSERT_OK(VUROTARNPeerSendCreateServer(one, server)) << logDump();
    EXPECT_EQ(0, one[0]["https_port"].asInt());
    ASSERT_EQ(1u, joinCalls().size());
    EXPECT_EQ("http", joinCalls()[0]["protocol"].asString());
    EXPECT_TRUE(joinCalls()[0]["sealed"].asBool());
    EXPECT_EQ("0|9", sqlValue("SELECT https_port||'|'||status FROM peer"));
    logClear();
    one[0] = list[1];
    one[0]["http_port"] = 0;
    EXPECT_EQ(-1, VUROTARNPeerSendCreateServer(one, server));
    EXPECT_TRUE(logHas("pReq is null")) << logDump();

    // A record that cannot be written: the server believes it joined.
    sql("DELETE FROM peer;"
        "CREATE TRIGGER no_new_peer BEFORE INSERT ON peer BEGIN SELECT RAISE(ABORT, 'no'); END;");
    logClear();
    one[0] = list[2];
    EXPECT_EQ(-1, VUROTARNPeerSendCreateServer(one, server));
    EXPECT_TRUE(logHas("VUROTARNPeerCreate PEER[" + sim_.sn(2) + "] Fail.")) << logDump();
}

TEST_F(JoinTest, NoSessionNoCallAndNoBorrowedToken) {
    simStart(2);
    // The store cannot be written: its directory is a plain file.
    mkdir(sys("/var/run").c_str(), 0755);
    writeFile(sys(VUROCGI_SESSION_DIR), "not a directory");
    Json::Value server;
    server["host"] = "192.0.2.10";
    Json::Value list = fleet();
    ASSERT_OK(VUROTARNPeerSendCreateServer(list, server));
    EXPECT_EQ(1, logCount("Create client session fail[" + sim_.sn(0) + "]")) << logDump();
    EXPECT_EQ(1, logCount("Create client session fail[" + sim_.sn(1) + "]")) << logDump();
    EXPECT_EQ(0u, joinCalls().size());
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM peer"));

    // The store comes back for the second server only: the first is not
    // called, and the second gets a token of its own.
    unlink(sys(VUROCGI_SESSION_DIR).c_str());
    std::string token;
    ASSERT_TRUE(VUROTARNPeerCreateSessionBySn(sim_.sn(1), token));
    ASSERT_TRUE(VUROTARNPeerDeleteSessionBySn(sim_.sn(1)));
    chmod(sys(VUROCGI_SESSION_DIR).c_str(), 0700);
    ASSERT_OK(VUROTARNPeerSendCreateServer(list, server));
    ASSERT_EQ(2u, joinCalls().size());
    EXPECT_NE(joinCalls()[0]["params"]["access_token"], joinCalls()[1]["params"]["access_token"]);
}

TEST_F(JoinTest, CliJoinsChecksPushesAndNotifies) {
    simStart(3);
    ASSERT_TRUE(sim_.setMode(2, parse(R"({"no_hostname":true})")));
    std::string fleetFile = root_ + "/fleet.json";

    // Bad lines are refused with the usage before anything happens.
    EXPECT_EQ(2, tarn({"join", fleetFile}));
    EXPECT_EQ(2, tarn({"cache-push", "--all", "--ids", "1"}));
    EXPECT_EQ(2, tarn({"notify-fetch", "--uid", "0", "--peer", "1", "--ou", "0"}));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM peer"));

    Json::Value out;
    ASSERT_EQ(0, tarn({"join", fleetFile, "--server-host", "192.0.2.10"}, &out));
    ASSERT_EQ(2u, out["joined"].size()) << out.toStyledString();
    EXPECT_EQ(sim_.sn(2), out["left_out"][0].asString());
    std::string printed = vurojson::toString(out);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(std::string::npos, printed.find(sim_.token(i))) << "tokens are shortened";
    }

    ASSERT_EQ(0, tarn({"session", "list"}, &out));
    ASSERT_EQ(3u, out.size());
    std::string token1 = joinCalls()[1]["params"]["access_token"].asString();
    EXPECT_EQ(std::string::npos, vurojson::toString(out).find(token1));
    ASSERT_EQ(0, tarn({"session", "check", token1, "VURO.NotificationCenter.Send"}, &out));
    EXPECT_TRUE(out["allowed"].asBool());
    EXPECT_EQ(joinCalls()[1]["sn"].asString(), out["serial"].asString());
    ASSERT_EQ(0, tarn({"session", "delete", out["serial"].asString()}));
    ASSERT_EQ(0, tarn({"session", "check", token1, "VURO.NotificationCenter.Send"}, &out));
    EXPECT_FALSE(out["allowed"].asBool());
    EXPECT_EQ(1, tarn({"session", "delete", "NO-SUCH-SERIAL"}));

    // Ready again, then pushed: the answers and the status afterwards.
    sql("UPDATE peer SET status=2, status_by_server=2");
    ASSERT_EQ(0, tarn({"cache-push", "--ids", "2,1"}, &out));
    EXPECT_EQ(2u, out["answers"].size());
    EXPECT_EQ(2, out["peers"][0]["id"].asInt());
    EXPECT_EQ(9, out["peers"][1]["status"].asInt());
    EXPECT_EQ(1, tarn({"cache-push", "--ids", "77"}));

    EXPECT_EQ(1, tarn({"notify-fetch", "--uid", "2001", "--peer", "1"})) << "no right on it";
}
