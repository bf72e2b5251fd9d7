/* fetch_test.cpp - managed servers fetching their policy: the web API entry
 * in process (the session names the server, the versions it sends shape
 * the answer, every other caller is refused without a bit of policy), and
 * the whole loop through "tarn serve" with simulated servers that come back
 * after a fetch notice. */
#include <unistd.h>

#include "peer_sim.h"
#include "serve_client.h"
#include "serve_fetch.h"
#include "tarn_test.h"
#include "vurocgi.h"
#include "vurojson.h"
#include "vurotarn.h"
#include "vurow3.h"

using namespace tarntest;

namespace {

using Fields = std::map<std::string, std::string>;

/* The refusal and nothing else: no data, no policy. */
void expectRefusal(int code, const Json::Value& answer, const std::string& why) {
    EXPECT_FALSE(answer["success"].asBool()) << why;
    EXPECT_EQ(code, answer["error"]["code"].asInt()) << why;
    EXPECT_EQ(2u, answer.getMemberNames().size()) << why << ": " << vurojson::toString(answer);
    EXPECT_EQ(std::string::npos, vurojson::toString(answer).find("gpo_content")) << why;
}

}  // namespace

class FetchTest : public RemoteTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        writeFile(sys("/etc/passwd"), "root:x:0:0::/:/bin/sh\nalice:x:1026:100::/:/bin/sh\n");
        writeFile(sys("/etc/group"), "users:x:100:\nCORP\\staff:x:700:\n");
    }
    void TearDown() override {
        if (serve_.pid() > 0) {
            EXPECT_EQ(0, serve_.stop()) << "tarn serve stops cleanly on SIGTERM";
        }
        RemoteTest::TearDown();
    }

    Json::Value entry(const Fields& fields) {
        Json::Value answer;
        EXPECT_EQ(200, tarncli::webapiEntry(fields, &answer));
        return answer;
    }
    Fields ask(const std::string& sid, const std::string& setVersions) {
        return {{"api", "VURO.TARN.Policy"},
                {"version", "1"},
                {"method", "get"},
                {"_sid", sid},
                {"set_versions", setVersions}};
    }
    std::string sessionOf(const std::string& sn) {
        std::string sid;
        EXPECT_TRUE(VUROTARNPeerCreateSessionBySn(sn, sid));
        secretNote(sid);
        return sid;
    }

    /* The fetch_back entries of the record, once n of them are there. */
    Json::Value fetchedBack(size_t n, long long since) {
        Json::Value list;
        for (int i = 0; i < 300; i++) {
            list = sim_.entries(-1, "fetch_back", since);
            if (list.size() >= n) break;
            usleep(50000);
        }
        return list;
    }
    long peerIdOf(const std::string& sn) {
        return atol(sqlValue("SELECT id FROM peer WHERE sn='" + sn + "'").c_str());
    }

    ServeProcess serve_;
};

// Two branches, each with its own policy and holders; SN7 sits in Branch.
TEST_F(FetchTest, SessionNamesTheServerAndItsVersionsShapeTheAnswer) {
    sql("INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES"
        " (1,'Branch',0,'{\"order\":[{\"id\":3,\"override\":0},{\"id\":4,\"override\":0}]}'),"
        " (2,'Other',0,'{\"order\":[{\"id\":5,\"override\":0}]}');"
        "INSERT INTO peer(id, sn, parent_id) VALUES (7,'SN7',1),(8,'SN8',2);"
        "INSERT INTO gpo(id, name, parent_id, parent_type, setting) VALUES"
        " (3,'Shares',1,2,'{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3,"
        "\"smb_max_protocol\":2,\"smb_encrypt_transport\":true},"
        "\"Quota\":{\"vuro_set_version\":1,\"quota_enable\":true}}}'),"
        " (4,'Clock',1,2,'{\"gpo_content\":{\"TimeServer\":{\"vuro_set_version\":1,"
        "\"ntp_server\":\"192.0.2.1\"}}}'),"
        " (5,'Elsewhere',2,2,'{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3,"
        "\"smb_max_protocol\":0}}}');"
        "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES"
        " (8,1026,2,1), (9,700,2,2);");
    std::string sid7 = sessionOf("SN7");
    sessionOf("SN8");

    // An older server: Samba comes down to 2, the set it does not know
    // (Quota) stays away, TimeServer passes at its own lower version, and
    // the holders above SN7 alone come along.
    Json::Value a = entry(ask(sid7, R"({"Samba":2,"TimeServer":2,"Delegate":1})"));
    ASSERT_TRUE(a["success"].asBool()) << vurojson::toString(a);
    const Json::Value& content = a["data"]["policy"]["gpo_content"];
    EXPECT_EQ((std::vector<std::string>{"Delegate", "Samba", "TimeServer"}),
              content.getMemberNames());
    EXPECT_EQ(2, content["Samba"]["vuro_set_version"].asInt());
    EXPECT_TRUE(content["Samba"]["smb2_and_large_mtu_enable"].asBool());
    EXPECT_FALSE(content["Samba"].isMember("smb_max_protocol"));
    EXPECT_FALSE(content["Samba"].isMember("smb_encrypt_transport"));
    EXPECT_EQ("Shares", content["Samba"]["gpo_name"].asString());
    EXPECT_EQ(1, content["TimeServer"]["vuro_set_version"].asInt()) << "a fetch never raises";
    const Json::Value& holders = content["Delegate"];
    ASSERT_EQ(1u, holders["local"].size()) << vurojson::toString(holders);
    EXPECT_EQ("alice", holders["local"][0]["userNameCache"].asString());
    EXPECT_FALSE(holders.isMember("domain")) << "CORP\\staff holds the other branch";

    // A server of the current release, without the delegates set: its
    // sets as stored, and no holders.
    a = entry(ask(sid7, R"({"Samba":3,"Quota":1})"));
    ASSERT_TRUE(a["success"].asBool());
    EXPECT_EQ((std::vector<std::string>{"Quota", "Samba"}),
              a["data"]["policy"]["gpo_content"].getMemberNames());
    EXPECT_EQ(2, a["data"]["policy"]["gpo_content"]["Samba"]["smb_max_protocol"].asInt());

    // What the server cannot take is a failure of the fetch, said without
    // its session: a broken GPO on its road.
    logClear();
    sql("UPDATE gpo SET setting='{broken' WHERE id=4");
    expectRefusal(100, entry(ask(sid7, R"({"Samba":3})")), "a broken GPO");
    EXPECT_TRUE(logHas("policy fetch of server SN7 failed at its evaluation")) << logDump();
    EXPECT_TRUE(secretLeaks().empty()) << secretLeaks()[0];
}

TEST_F(FetchTest, EveryOtherCallerGetsTheRefusalAlone) {
    sql("INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES"
        " (1,'Branch',0,'{\"order\":[{\"id\":3,\"override\":0}]}');"
        "INSERT INTO peer(id, sn, parent_id) VALUES (7,'SN7',1);"
        "INSERT INTO gpo(id, name, parent_id, parent_type, setting) VALUES"
        " (3,'Shares',1,2,'{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3}}}');");
    std::string sid = sessionOf("SN7");
    ASSERT_TRUE(entry(ask(sid, R"({"Samba":3})"))["success"].asBool());

    // A console session of this server: a person's, never a server's.
    char szConsole[100] = {0};
    {
        VuroCgi cgi;
        ASSERT_TRUE(VuroCgiInit("", &cgi));
        VuroCgiSetOption(&cgi, CGI_OPT_APP, "VURO.TARN.Console");
        VuroCgiSetOption(&cgi, CGI_OPT_DURATION, 3600);
        VuroCgiSetOption(&cgi, CGI_OPT_EXTRA, "{\"csrf\":\"c\"}");
        CGI_LOGIN_PARAMS params = {"admin", NULL, NULL, 0, FALSE};
        ASSERT_EQ(LOGIN_SUCCESS, VuroCgiLoginNoAuth(&cgi, szConsole, sizeof(szConsole), &params));
        VuroCgiFree(&cgi);
        secretNote(szConsole);
    }
    // A session that only quotes a server's mark is not that server's.
    expectRefusal(119, entry(ask(szConsole, R"({"Samba":3})")), "console session");
    expectRefusal(119, entry(ask("", R"({"Samba":3})")), "no session");
    expectRefusal(119, entry(ask("VURO.TARN", R"({"Samba":3})")), "an app name for an id");
    expectRefusal(119, entry(ask(sid + "x", R"({"Samba":3})")), "a longer id");

    Fields f = ask(sid, R"({"Samba":3})");
    f["api"] = "VURO.TARN.Policies";
    expectRefusal(102, entry(f), "unknown api");
    f = ask(sid, R"({"Samba":3})");
    f["method"] = "set";
    expectRefusal(103, entry(f), "unknown method");
    f.erase("method");
    expectRefusal(103, entry(f), "no method");
    f = ask(sid, R"({"Samba":3})");
    f["version"] = "2";
    expectRefusal(104, entry(f), "version");
    for (const char* bad : {"", "[3]", "{\"Samba\":0}", "{\"Samba\":\"3\"}", "{\"Samba\":3"}) {
        expectRefusal(101, entry(ask(sid, bad)), std::string("set_versions ") + bad);
    }
    // The server left the tree: its session, still in the store, fetches
    // nothing. Then the session goes too.
    sql("UPDATE peer SET sn='SN7-gone' WHERE id=7");
    expectRefusal(119, entry(ask(sid, R"({"Samba":3})")), "session without its server");
    sql("UPDATE peer SET sn='SN7' WHERE id=7");
    ASSERT_TRUE(VUROTARNPeerDeleteSessionBySn("SN7"));
    expectRefusal(119, entry(ask(sid, R"({"Samba":3})")), "deleted session");
    EXPECT_TRUE(secretLeaks().empty()) << secretLeaks()[0];
}

// The whole loop: join, a link changed, a notice to the OU, and each server
// under it comes back through "tarn serve" and holds the new policy at the
// versions it asked for; a server whose session went gets the refusal.
TEST_F(FetchTest, NoticeBringsEveryServerUnderTheOuBackForItsNewPolicy) {
    std::string err;
    ASSERT_TRUE(serve_.start(root_, {}, &err)) << err;
    // The join tells each server where this server's HTTPS port is.
    writeFile(sys(VUROW3_KELP_CONF_PATH),
              "{\"port\":5000,\"ssl\":{\"port\":" + std::to_string(serve_.port()) + "}}");
    PeerSimOptions o;
    o.peers = 3;
    o.extraArgs = {"--fetch-back"};
    simStart(o, 5000);
    Json::Value set;
    set["server"] = 0;
    set["set_versions"] = parse(R"({"Samba":2,"Delegate":1})");
    ASSERT_FALSE(sim_.fetchBack(set).isNull()) << sim_.error();
    set["server"] = 1;
    set["set_versions"] = parse(R"({"Samba":3,"Quota":1})");
    ASSERT_FALSE(sim_.fetchBack(set).isNull()) << sim_.error();
    // A managing server off this machine is refused before a packet leaves.
    Json::Value away;
    away["server"] = 0;
    away["central"] = "192.0.2.1:443";
    EXPECT_TRUE(sim_.fetchBack(away).isNull());
    EXPECT_NE(std::string::npos, sim_.error().find("destination refused")) << sim_.error();

    Json::Value out;
    ASSERT_EQ(0, tarn({"join", root_ + "/fleet.json", "--server-host", "127.0.0.1"}, &out));
    ASSERT_EQ(3u, out["joined"].size()) << vurojson::toString(out);
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Branch", "--parent", "0"}, &out));
    std::string branch = out["id"].asString();
    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(0,
                  tarn({"peer", "set", std::to_string(peerIdOf(sim_.sn(i))), "--parent", branch}));
    }
    ASSERT_EQ(0, tarn({"delegates", "set", "--ou", branch, "--users", "alice"}));
    std::string oldGpo, newGpo;
    ASSERT_EQ(0, tarn({"gpo", "create", "--name", "Old", "--parent", branch, "--parent-type", "ou",
                       "--setting",
                       R"({"gpo_content":{"Samba":{"vuro_set_version":3,"smb_max_protocol":0}}})"},
                      &out));
    oldGpo = out["id"].asString();
    ASSERT_EQ(0, tarn({"gpo", "create", "--name", "New", "--parent", branch, "--parent-type", "ou",
                       "--setting",
                       R"({"gpo_content":{"Samba":{"vuro_set_version":3,"smb_max_protocol":2},)"
                       R"("Quota":{"vuro_set_version":1,"quota_enable":true}}})"},
                      &out));
    newGpo = out["id"].asString();
    ASSERT_EQ(0, tarn({"link", "--ou", branch, "--links",
                       "{\"order\":[{\"gpo_id\":" + oldGpo + ",\"override\":0}]}"}));
    ASSERT_EQ(0, tarn({"link", "--ou", branch, "--links",
                       "{\"order\":[{\"gpo_id\":" + newGpo + ",\"override\":0}]}"}));

    long long since = sim_.record()["next_seq"].asInt64();
    ASSERT_EQ(0, tarn({"notify-fetch", "--uid", "0", "--ou", branch, "--wait", "10"}, &out));
    Json::Value back = fetchedBack(2, since);
    ASSERT_EQ(2u, back.size()) << vurojson::toString(sim_.entries(-1, "", since));
    for (const Json::Value& e : back) {
        ASSERT_EQ("ok", e["outcome"].asString()) << vurojson::toString(e);
        const Json::Value& content = e["policy"]["gpo_content"];
        EXPECT_EQ("New", content["Samba"]["gpo_name"].asString());
        if (e["server"].asInt() == 0) {
            EXPECT_EQ((std::vector<std::string>{"Delegate", "Samba"}), content.getMemberNames());
            EXPECT_EQ(2, content["Samba"]["vuro_set_version"].asInt());
            EXPECT_TRUE(content["Samba"]["smb2_and_large_mtu_enable"].asBool());
            EXPECT_EQ("alice", content["Delegate"]["local"][0]["userNameCache"].asString());
        } else {
            EXPECT_EQ(1, e["server"].asInt()) << "server 2 is not under the OU";
            EXPECT_EQ((std::vector<std::string>{"Quota", "Samba"}), content.getMemberNames());
            EXPECT_EQ(2, content["Samba"]["smb_max_protocol"].asInt());
        }
    }
    EXPECT_EQ(1, sim_.fetchBack()[sim_.sn(0)]["received"].asInt());

    // Server 0's session goes: its next trip back is refused, policy-less.
    ASSERT_EQ(0, tarn({"session", "delete", sim_.sn(0)}));
    since = sim_.record()["next_seq"].asInt64();
    ASSERT_EQ(0, tarn({"notify-fetch", "--uid", "0", "--peer", std::to_string(peerIdOf(sim_.sn(0))),
                       "--wait", "10"}));
    back = fetchedBack(1, since);
    ASSERT_EQ(1u, back.size());
    EXPECT_EQ("refused", back[0]["outcome"].asString());
    EXPECT_FALSE(back[0].isMember("policy"));
    expectRefusal(119, back[0]["answer"], "deleted session through the server");
    EXPECT_TRUE(secretLeaks().empty()) << secretLeaks()[0];
}
