/* api_test.cpp - the commands as the web API runs them, in process: the
 * JSON body against each command's options, the answers and statuses, the
 * rights of a delegated user, the acting user in the event log, and the
 * refusal of an edit made on a stale copy. */
#include <vurojson.h>

#include "api.h"
#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;
using tarncli::Actor;
using tarncli::apiCall;

namespace {

const Actor kAdmin{"carol", 2003, true};
const Actor kAlice{"alice", 2001, false};  // delegated on OU 2 and what is below it

struct Answer {
    int status;
    Json::Value j;
};

Answer call(const std::string& command, const Json::Value& body, const Actor& actor = kAdmin) {
    Answer a;
    a.status = apiCall(command, body, actor, &a.j);
    return a;
}

Json::Value args(std::initializer_list<Json::Value> words) {
    Json::Value j;
    j["args"] = Json::Value(Json::arrayValue);
    for (const Json::Value& w : words) j["args"].append(w);
    return j;
}

}  // namespace

/*   0 - 1 - 2 - 4     peer 1 under 1, peer 2 under 4; policy 1 on OU 2, policy 2 on OU 1
 *         \ 3 */
class ApiTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        writeFile(sys("/etc/passwd"),
                  "root:x:0:0::/root:/bin/sh\nalice:x:2001:100::/:/bin/sh\n"
                  "carol:x:2003:100::/:/bin/sh\n");
        writeFile(sys("/etc/group"), "users:x:100:\nadministrators:x:101:carol\n");
        sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'A',0),(2,'B',1),(3,'C',1),(4,'D',2);"
            "INSERT INTO peer(id, sn, parent_id) VALUES (1,'SN1',1),(2,'SN2',4);"
            "INSERT INTO gpo(id, name, parent_id, parent_type) VALUES (1,'on B',2,2),"
            "(2,'on A',1,2);"
            "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (8,2001,2,2);");
    }
    std::string ouName(long id) {
        return sqlValue("SELECT name FROM ou WHERE id=" + std::to_string(id));
    }
};

TEST_F(ApiTest, BodiesAreTheCommandLinesOptionsAndAnswersItsJson) {
    Json::Value body;
    body["name"] = "Lab";
    body["parent"] = 1;
    body["extra"]["room"] = "12";  // a JSON option may come as JSON
    Answer created = call("ou/create", body);
    ASSERT_EQ(200, created.status) << created.j;
    long id = (long)created.j["id"].asLargestInt();
    EXPECT_EQ("Lab", ouName(id));
    Answer got = call("ou/get", args({(Json::Int64)id}));
    EXPECT_EQ(200, got.status);
    EXPECT_EQ(created.j, got.j);
    EXPECT_EQ("{\"room\":\"12\"}",
              sqlValue("SELECT extra_info FROM ou WHERE id=" + std::to_string(id)));

    // The policy text of "evaluate" is JSON; the log's human form is text.
    Json::Value node;
    node["peer"] = 2;
    Answer policy = call("evaluate", node);
    EXPECT_EQ(200, policy.status);
    EXPECT_TRUE(policy.j.isObject() && !policy.j.isMember("text")) << policy.j;
    Json::Value human;
    human["human"] = true;
    Answer lines = call("log/list", human);
    EXPECT_NE(std::string::npos, lines.j["text"].asString().find("carol")) << lines.j;

    // Bad input: the command line's texts, and nothing written.
    int ous = std::stoi(sqlValue("SELECT count(*) FROM ou"));
    Json::Value bad;
    bad["name"] = "X";
    bad["colour"] = "red";
    Answer unknown = call("ou/create", bad);
    EXPECT_EQ(400, unknown.status);
    EXPECT_EQ("unknown option --colour for 'ou create'", unknown.j["error"].asString());
    bad.removeMember("colour");
    bad["parent"] = "one";
    EXPECT_EQ(400, call("ou/create", bad).status);
    bad["parent"] = true;  // an option is no flag
    EXPECT_EQ(400, call("ou/create", bad).status);
    bad["parent"] = Json::Value(Json::arrayValue);
    bad["name"] = Json::Value(Json::objectValue);
    EXPECT_EQ(400, call("ou/create", bad).status);
    EXPECT_EQ(400, call("ou/create", Json::Value("name=X")).status);
    Json::Value rooted;
    rooted["name"] = "X";
    rooted["root"] = "/tmp";  // the service's root is not the request's
    EXPECT_EQ(400, call("ou/create", rooted).status);
    Json::Value dashed = args({"--name=X"});  // positionals never turn into options
    EXPECT_EQ(400, call("ou/create", dashed).status);
    EXPECT_EQ(ous, std::stoi(sqlValue("SELECT count(*) FROM ou")));

    for (const char* path : {"ou/fly", "init", "passwd", "peer/import", "join", "serve", "ou",
                             "../ou/get", "ou//get", "OU/get", "ou get", ""}) {
        Answer a = call(path, Json::Value(Json::objectValue));
        EXPECT_EQ(404, a.status) << path;
        EXPECT_TRUE(a.j["error"].isString());
    }
    EXPECT_EQ(404, call("ou/get", args({999})).status);
    EXPECT_EQ(404, call("gpo/get", args({999})).status);
    EXPECT_EQ(404, call("delete-tree",
                        [] {
                            Json::Value j;
                            j["peer"] = 77;
                            return j;
                        }())
                       .status);
}

TEST_F(ApiTest, AnEditOnAStaleCopyIsRefusedWithTheStoredRecord) {
    Json::Value copy = call("ou/get", args({3})).j;
    Json::Value first = args({3});
    first["desc"] = "first";
    first["expect"] = copy;
    ASSERT_EQ(200, call("ou/set", first).status);

    Json::Value second = args({3});
    second["desc"] = "second";
    second["expect"] = copy;  // read before the first edit
    Answer stale = call("ou/set", second);
    EXPECT_EQ(409, stale.status);
    EXPECT_EQ("first", stale.j["current"].get("desc", "").asString()) << stale.j;
    EXPECT_EQ("first", sqlValue("SELECT desc FROM ou WHERE id=3"));

    second["expect"] = stale.j["current"];
    EXPECT_EQ(200, call("ou/set", second).status);
    EXPECT_EQ("second", sqlValue("SELECT desc FROM ou WHERE id=3"));

    // The same for a link, against the node's record, and on the command line.
    Json::Value node = call("ou/get", args({2})).j;
    Json::Value link;
    link["ou"] = 2;
    link["links"] = parse(R"({"order":[{"gpo_id":1,"override":1}]})");
    link["expect"] = copy;  // another record entirely
    EXPECT_EQ(409, call("link", link).status);
    link["expect"] = node;
    EXPECT_EQ(200, call("link", link).status);
    Json::Value out;
    EXPECT_EQ(1, tarn({"link", "--ou", "2", "--links", R"({"order":[]})", "--expect",
                       vurojson::toString(node)},
                      &out));
    EXPECT_EQ(call("ou/get", args({2})).j, out);  // the stored record, linked still
    EXPECT_EQ(1, out["linked_gpo"]["order"][0]["id"].asInt()) << out;
}

/* The lists, the tree and plain edits of a delegated user are tested through
 * the service (serve_api_test); these are the rules behind them. */
TEST_F(ApiTest, ADelegatedUsersRightsFollowTheNodeEachCommandTouches) {
    EXPECT_EQ(200, call("ou/get", args({4}), kAlice).status);
    EXPECT_EQ(403, call("ou/get", args({3}), kAlice).status);
    EXPECT_EQ(403, call("peer/get", args({1}), kAlice).status);
    EXPECT_EQ(200, call("gpo/get", args({1}), kAlice).status);  // through the node it hangs on
    EXPECT_EQ(403, call("gpo/get", args({2}), kAlice).status);

    Json::Value move = args({4});
    move["parent"] = 3;  // moving a node out of the part is a write on OU 3 too
    EXPECT_EQ(403, call("ou/set", move, kAlice).status);
    EXPECT_EQ("2", sqlValue("SELECT parent_id FROM ou WHERE id=4"));
    Json::Value link;
    link["ou"] = 1;
    link["links"] = parse(R"({"order":[]})");
    Answer refused = call("link", link, kAlice);
    EXPECT_EQ(403, refused.status);
    EXPECT_EQ("you may not manage OU 1", refused.j["error"].asString());
    Json::Value gpo;
    gpo["name"] = "mine";
    gpo["parent-type"] = "ou";
    gpo["parent"] = 3;
    EXPECT_EQ(403, call("gpo/create", gpo, kAlice).status);
    gpo["parent"] = 4;
    EXPECT_EQ(200, call("gpo/create", gpo, kAlice).status);
    EXPECT_EQ(403, call("gpo/delete", args({2}), kAlice).status);
    for (const char* adminOnly :
         {"log/clear", "delegate/list", "session/list", "peer/create", "cache-push", "discover"}) {
        EXPECT_EQ(403, call(adminOnly, Json::Value(Json::objectValue), kAlice).status) << adminOnly;
    }

    // Questions about a user are about the signed-in one.
    Json::Value someoneElse;
    someoneElse["uid"] = 2003;
    EXPECT_EQ(403, call("view", someoneElse, kAlice).status);
    EXPECT_EQ(2001, call("view", Json::Value(Json::objectValue), kAlice).j["uid"].asInt());
    Json::Value foreignLog;
    foreignLog["for-user"] = "carol";
    EXPECT_EQ(403, call("log/list", foreignLog, kAlice).status);
    EXPECT_EQ("alice", logValue("SELECT username FROM log WHERE obj_id='gpo_3'"));
}
