/* serve_api_test.cpp - the commands through the web API as the console
 * sends them: one of each family for an administrator, the part of the
 * tree a delegated user may see and change, and a slow command that holds
 * up no other request. */
#include <future>

#include "serve_fixture.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

long idOf(const Json::Value& record) { return (long)record["id"].asInt64(); }

/* The ids of the records of a list answer. */
std::set<long> idsOf(const Json::Value& list) {
    std::set<long> out;
    for (const Json::Value& r : list) out.insert(idOf(r));
    return out;
}

}  // namespace

class ServeApiTest : public ServeTest {
protected:
    /* Two OUs under the root, a peer in each, alice delegated on Sales. */
    void SetUp() override {
        ServeTest::SetUp();
        Json::Value j;
        ASSERT_EQ(0, tarn({"ou", "create", "--name", "Sales"}, &j));
        sales_ = idOf(j);
        ASSERT_EQ(0, tarn({"ou", "create", "--name", "Other"}, &j));
        other_ = idOf(j);
        ASSERT_EQ(
            0,
            tarn({"peer", "create", "--sn", "SN-SALES", "--parent", std::to_string(sales_)}, &j));
        salesPeer_ = idOf(j);
        ASSERT_EQ(
            0,
            tarn({"peer", "create", "--sn", "SN-OTHER", "--parent", std::to_string(other_)}, &j));
        otherPeer_ = idOf(j);
        ASSERT_EQ(0, tarn({"delegate", "create", "--user-type", "user", "--ugid", "1002",
                           "--target-type", "ou", "--target", std::to_string(sales_)}));
    }
    /* An API call that must succeed; its answer. {} stands for no options. */
    Json::Value ok(const ConsoleSession& s, const std::string& words, const Json::Value& body) {
        HttpReply r =
            apiPost(server_, s, words, body.isNull() ? Json::Value(Json::objectValue) : body);
        EXPECT_EQ(200, r.status) << words << " " << r.body;
        return r.json;
    }

    long sales_ = 0, other_ = 0, salesPeer_ = 0, otherPeer_ = 0;
};

TEST_F(ServeApiTest, AdministratorRunsEachFamily) {
    serveStart();
    ConsoleSession admin = consoleSignIn(server_, "admin", kAdminPassword);
    ASSERT_EQ(200, admin.reply.status);

    Json::Value ou =
        ok(admin, "ou/create", parse(R"({"name":"Ops","parent":)" + std::to_string(sales_) + "}"));
    long ops = idOf(ou);
    EXPECT_EQ("Ops", ou["name"].asString());
    EXPECT_EQ(sales_, ou["parent_id"].asInt64());
    EXPECT_EQ("Ops", sqlValue("SELECT name FROM ou WHERE id=" + std::to_string(ops)));
    Json::Value args;
    args["args"].append(std::to_string(ops));
    EXPECT_EQ(ou, ok(admin, "ou/get", args));

    EXPECT_EQ((std::set<long>{salesPeer_, otherPeer_}), idsOf(ok(admin, "peer/list", {})));
    Json::Value gpo =
        ok(admin, "gpo/create",
           parse(R"({"name":"Screens","parent-type":"ou","parent":)" + std::to_string(ops) + "}"));
    EXPECT_EQ("Screens", sqlValue("SELECT name FROM gpo WHERE id=" + std::to_string(idOf(gpo))));
    Json::Value delegates = ok(admin, "delegate/list", {});
    ASSERT_EQ(1u, delegates.size());
    EXPECT_EQ(1002, delegates[0]["ugid"].asInt());
    Json::Value tree = ok(admin, "tree", parse(R"({"ou":0})"));
    EXPECT_NE(std::string::npos, tree.toStyledString().find("\"Ops\""));

    // The event log names the signed-in user as the one who acted.
    Json::Value log = ok(admin, "log/list", parse(R"({"desc-order":true,"limit":10})"));
    bool seen = false;
    for (const Json::Value& row : log["items"]) {
        if (row["obj_id"].asString() == "ou_" + std::to_string(ops)) {
            seen = true;
            EXPECT_EQ("admin", row["username"].asString()) << row;
        }
    }
    EXPECT_TRUE(seen) << log;

    // Bad input: the CLI's own refusals, as 400 or 404, and nothing written.
    std::string ous = sqlValue("SELECT COUNT(*) FROM ou");
    struct Bad {
        const char* words;
        const char* body;
        int status;
    };
    const Bad kBad[] = {
        {"ou/create", R"({"nonsense":"x"})", 400},
        {"ou/create", R"({"name":"A","block":"maybe"})", 400},
        {"ou/create", R"({"name":"A","parent":"x"})", 400},
        {"ou/get", R"({"args":["abc"]})", 400},
        {"ou/get", R"({"args":["999999"]})", 404},
        {"ou/get", R"({})", 400},
    };
    for (const Bad& b : kBad) {
        HttpReply r = apiPost(server_, admin, b.words, parse(b.body));
        EXPECT_EQ(b.status, r.status) << b.words << " " << b.body << " " << r.body;
        EXPECT_TRUE(r.json["error"].isString()) << r.body;
    }
    EXPECT_EQ(ous, sqlValue("SELECT COUNT(*) FROM ou"));
    // The commands that are the operator's, not the console's.
    EXPECT_EQ(404, apiPost(server_, admin, "passwd", parse(R"({"args":["bob"]})")).status);
}

TEST_F(ServeApiTest, DelegatedUserSeesAndChangesOnlyTheirPart) {
    serveStart();
    ConsoleSession alice = consoleSignIn(server_, "alice", kAlicePassword);
    ASSERT_EQ(200, alice.reply.status);
    EXPECT_FALSE(alice.reply.json["admin"].asBool());

    EXPECT_EQ(std::set<long>{sales_}, idsOf(ok(alice, "ou/list", {})));
    EXPECT_EQ(std::set<long>{salesPeer_}, idsOf(ok(alice, "peer/list", {})));
    ok(alice, "tree", parse("{\"ou\":" + std::to_string(sales_) + "}"));
    HttpReply otherTree =
        apiPost(server_, alice, "tree", parse("{\"ou\":" + std::to_string(other_) + "}"));
    EXPECT_EQ(403, otherTree.status) << otherTree.body;
    EXPECT_EQ(std::string::npos, otherTree.body.find("SN-OTHER"));

    // A write outside her part: refused, nothing written, nothing logged.
    std::string events = logValue("SELECT COUNT(*) FROM log");
    Json::Value rename;
    rename["args"].append(std::to_string(other_));
    rename["name"] = "Taken";
    EXPECT_EQ(403, apiPost(server_, alice, "ou/set", rename).status);
    EXPECT_EQ(403, apiPost(server_, alice, "ou/create", parse(R"({"name":"Mine"})")).status);
    Json::Value drop;
    drop["args"].append(std::to_string(otherPeer_));
    EXPECT_EQ(403, apiPost(server_, alice, "peer/delete", drop).status);
    EXPECT_EQ("Other", sqlValue("SELECT name FROM ou WHERE id=" + std::to_string(other_)));
    EXPECT_EQ("0", sqlValue("SELECT COUNT(*) FROM ou WHERE name='Mine'"));
    EXPECT_EQ("1", sqlValue("SELECT COUNT(*) FROM peer WHERE id=" + std::to_string(otherPeer_)));
    EXPECT_EQ(events, logValue("SELECT COUNT(*) FROM log"));

    // Inside it: done, under her name; her log shows her part only.
    rename["args"][0] = std::to_string(sales_);
    rename["name"] = "Sales EU";
    ok(alice, "ou/set", rename);
    EXPECT_EQ("Sales EU", sqlValue("SELECT name FROM ou WHERE id=" + std::to_string(sales_)));
    ASSERT_EQ(0, tarn({"--user", "admin", "ou", "set", std::to_string(other_), "--desc", "x"}));
    Json::Value log = ok(alice, "log/list", {});
    bool hers = false;
    for (const Json::Value& row : log["items"]) {
        EXPECT_NE("ou_" + std::to_string(other_), row["obj_id"].asString()) << row;
        if (row["obj_id"].asString() == "ou_" + std::to_string(sales_)) {
            hers = row["username"].asString() == "alice";
        }
    }
    EXPECT_TRUE(hers) << log;

    // Bob manages nothing: he sees nothing and may create nothing.
    ConsoleSession bob = consoleSignIn(server_, "bob", kBobPassword);
    EXPECT_EQ(0u, ok(bob, "ou/list", {}).size());
    EXPECT_EQ(403, apiPost(server_, bob, "ou/create", parse(R"({"name":"Bobs"})")).status);
}

TEST_F(ServeApiTest, SlowCommandHoldsUpNoOtherRequest) {
    PeerSimOptions o;
    o.peers = 1;
    simStart(o, 5000);
    VURO_TARN_PEER peer;
    peer.str_sn = sim_.sn(0);
    peer.str_hostname = "nas-slow";
    peer.str_host = "127.0.0.1";
    peer.https_port = sim_.httpsPort(0);
    peer.http_port = sim_.httpPort(0);
    peer.str_sid = sim_.token(0);
    peer.status = peer.status_by_server = 2;
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    Json::Value m;
    m["delay_ms"] = 2500;
    ASSERT_TRUE(sim_.setMode(0, m));
    serveStart();
    ConsoleSession admin = consoleSignIn(server_, "admin", kAdminPassword);
    ASSERT_EQ(200, admin.reply.status);

    double t0 = now();
    auto slow = std::async(std::launch::async, [&] {
        Json::Value body;
        body["ids"] = std::to_string(peer.id);
        return apiPost(server_, admin, "cache-push", body);
    });
    usleep(300 * 1000);
    int quick = 0;
    while (now() - t0 < 2.0) {
        double t = now();
        EXPECT_EQ(200, apiPost(server_, admin, "ou/get", parse(R"({"args":["0"]})")).status);
        EXPECT_LT(now() - t, 1.0);
        quick++;
    }
    HttpReply pushed = slow.get();
    EXPECT_EQ(200, pushed.status) << pushed.body;
    EXPECT_GE(now() - t0, 2.4);
    EXPECT_GE(quick, 3);
}
