/* cli_test.cpp - the tarn tool as a user runs it: JSON out and exit codes
 * of each family, the tree and views, the policy engine and the event log. */
#include <json/json.h>

#include "tarn_test.h"

using namespace tarntest;

class CliTest : public TarnTest {};

TEST_F(CliTest, OuCommandsPrintJson) {
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Sales", "--desc", "Floor 2"}, &j));
    long sales = j["id"].asInt64();
    EXPECT_EQ("Floor 2", j["desc"].asString());
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Sales EU", "--parent", std::to_string(sales),
                       "--extra", "{\"region\":\"eu\"}"},
                      &j));
    long eu = j["id"].asInt64();
    EXPECT_EQ("eu", j["extra_info"]["region"].asString());

    ASSERT_EQ(0, tarn({"ou", "set", std::to_string(eu), "--block", "1"}, &j));
    EXPECT_EQ(1, j["block_inheritance"].asInt());
    EXPECT_EQ("Sales EU", j["name"].asString());

    ASSERT_EQ(0, tarn({"ou", "list", "--parent", std::to_string(sales)}, &j));
    ASSERT_EQ(1u, j.size());
    EXPECT_EQ(eu, j[0]["id"].asInt64());
    ASSERT_EQ(0, tarn({"ou", "list", "--sort-by", "name"}, &j));
    ASSERT_EQ(3u, j.size());  // root, Sales, Sales EU: ascending by name
    EXPECT_EQ("Sales EU", j[2]["name"].asString());
    // Pages are taken in the order asked for.
    ASSERT_EQ(0, tarn({"ou", "list", "--sort-by", "name", "--limit", "1", "--offset", "1"}, &j));
    ASSERT_EQ(1u, j.size());
    EXPECT_EQ("Sales", j[0]["name"].asString());
    ASSERT_EQ(0, tarn({"ou", "list", "--sort-by", "name", "--desc-order", "--limit", "1"}, &j));
    EXPECT_EQ("Sales EU", j[0]["name"].asString());

    ASSERT_EQ(0, tarn({"ou", "delete", std::to_string(eu)}));
    EXPECT_NE(0, tarn({"ou", "get", std::to_string(eu)}));
}

TEST_F(CliTest, BadInputIsRefusedWithoutWriting) {
    EXPECT_EQ(2, tarn({"ou", "create"}));  // no name
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "x", "--parent", "abc"}));
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "x", "--extra", "{broken"}));
    EXPECT_EQ(2, tarn({"ou", "frobnicate"}));
    EXPECT_EQ(2, tarn({"nothing", "here"}));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM ou"));
    EXPECT_EQ(1, tarn({"ou", "set", "4242", "--name", "y"}));
}

TEST_F(CliTest, FamiliesTreeAndViews) {
    writeFile(sys("/etc/passwd"), "root:x:0:0::/:/bin/sh\nalice:x:2001:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\nops:x:300:alice\n");
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Eng"}, &j));
    std::string eng = std::to_string(j["id"].asInt64());
    ASSERT_EQ(0, tarn({"peer", "create", "--sn", "S1", "--hostname", "nas1", "--parent", eng}, &j));
    long peer = j["id"].asInt64();
    ASSERT_EQ(0, tarn({"peer", "get-by-sn", "S1"}, &j));
    EXPECT_EQ("nas1", j["hostname"].asString());
    ASSERT_EQ(0, tarn({"gpo", "create", "--name", "G", "--parent-type", "peer", "--parent",
                       std::to_string(peer), "--setting", "{\"a\":1}"},
                      &j));
    EXPECT_EQ(1, j["setting"]["a"].asInt());
    EXPECT_EQ(2, tarn({"gpo", "create", "--name", "G", "--parent", "0", "--parent-type", "shelf"}));
    ASSERT_EQ(0, tarn({"delegate", "create", "--user-type", "group", "--ugid", "300",
                       "--target-type", "ou", "--target", eng},
                      &j));

    ASSERT_EQ(0, tarn({"tree", "--ou", "0"}, &j));
    ASSERT_EQ(1u, j["ous"].size());
    EXPECT_EQ("Eng", j["ous"][0]["name"].asString());
    EXPECT_EQ("S1", j["ous"][0]["peers"][0]["sn"].asString());
    EXPECT_EQ("G", j["ous"][0]["peers"][0]["gpos"][0]["name"].asString());

    ASSERT_EQ(0, tarn({"view", "--uid", "2001"}, &j));
    EXPECT_FALSE(j["admin"].asBool());
    ASSERT_EQ(1u, j["peers"].size());
    EXPECT_EQ("S1", j["peers"][0]["sn"].asString());
    ASSERT_EQ(0, tarn({"can-manage", "--uid", "2001", "--peer", std::to_string(peer)}, &j));
    EXPECT_TRUE(j["can_manage"].asBool());
    ASSERT_EQ(0, tarn({"can-manage", "--uid", "2001", "--ou", "0"}, &j));
    EXPECT_FALSE(j["can_manage"].asBool());
    EXPECT_EQ(2, tarn({"can-manage", "--uid", "2001"}));
}

TEST_F(CliTest, PolicyEngineCommands) {
    writeFile(sys("/etc/passwd"), "root:x:0:0::/:/bin/sh\ncarol:x:2001:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\nops:x:300:\n");
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Branch"}, &j));
    std::string ou = std::to_string(j["id"].asInt64());
    ASSERT_EQ(0, tarn({"peer", "create", "--sn", "S1", "--parent", ou}, &j));
    std::string peer = std::to_string(j["id"].asInt64());
    ASSERT_EQ(0, tarn({"gpo", "create", "--name", "Base", "--parent-type", "ou", "--parent", "0",
                       "--setting", "{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3}}}"},
                      &j));
    std::string base = std::to_string(j["id"].asInt64());
    ASSERT_EQ(0, tarn({"gpo", "create", "--name", "Local", "--parent-type", "ou", "--parent", ou,
                       "--setting", "{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":1}}}"},
                      &j));
    std::string local = std::to_string(j["id"].asInt64());
    ASSERT_EQ(0, tarn({"link", "--ou", "0", "--links",
                       "{\"order\":[{\"gpo_id\":" + base + ",\"gpo_name\":\"x\",\"override\":1}]}"},
                      &j));
    ASSERT_EQ(0, tarn({"link", "--ou", ou, "--links",
                       "{\"order\":[{\"gpo_id\":" + local + ",\"override\":0}]}"}));
    ASSERT_EQ(0, tarn({"order", "--peer", peer}, &j));
    ASSERT_EQ(2u, j.size());
    EXPECT_EQ("Base", j[0]["gpo_name"].asString());  // enforced at the root comes first
    ASSERT_EQ(0, tarn({"evaluate", "--peer", peer}, &j));
    EXPECT_EQ("Base", j["gpo_content"]["Samba"]["gpo_name"].asString());
    ASSERT_EQ(0,
              tarn({"evaluate", "--peer", peer, "--link-order", "[{\"id\":" + local + "}]"}, &j));
    EXPECT_EQ("Local", j["gpo_content"]["Samba"]["gpo_name"].asString());
    ASSERT_EQ(0, tarn({"evaluate", "--peer", peer, "--explain", "--json"}, &j));
    EXPECT_EQ("Base", j["sets"]["Samba"]["winner"]["gpo_name"].asString());
    EXPECT_EQ("later in the order", j["sets"]["Samba"]["losers"][0]["reason"].asString());
    std::string text;
    ASSERT_EQ(0,
              runProgram({TARN_CLI_PATH, "--root", root_, "evaluate", "--peer", peer, "--explain"},
                         &text));
    EXPECT_NE(std::string::npos, text.find("won by   Base (gpo " + base + ")")) << text;

    EXPECT_EQ(2, tarn({"delegates", "set", "--ou", ou, "--users", "carol,ghost"}));  // unknown
    ASSERT_EQ(0, tarn({"delegates", "set", "--ou", ou, "--users", "carol", "--groups", "ops"}, &j));
    ASSERT_EQ(2u, j.size());
    ASSERT_EQ(0, tarn({"delegates", "list", "--ou", ou}, &j));
    EXPECT_EQ(2u, j.size());

    ASSERT_EQ(0, tarn({"delete-tree", "--ou", ou}));
    EXPECT_EQ("0", sqlValue("SELECT parent_id FROM peer WHERE sn='S1'"));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM delegate"));
    EXPECT_EQ(2, tarn({"delete-tree", "--ou", "0"}));
    ASSERT_EQ(0, tarn({"delete-tree", "--sn", "S1"}));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM peer"));
}

TEST_F(CliTest, EventLogOfTheToolsOwnWrites) {
    writeFile(sys("/etc/passwd"), "root:x:0:0::/root:/bin/sh\nalice:x:2001:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\nadministrators:x:101:\n");
    Json::Value j;
    ASSERT_EQ(0, tarn({"--user", "alice", "ou", "create", "--name", "Sales"}, &j));
    std::string sales = std::to_string(j["id"].asInt64());
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Lab", "--user", "bob"}, &j));
    ASSERT_EQ(0, tarn({"ou", "set", sales, "--block", "1"}));
    ASSERT_EQ(0, tarn({"delegates", "set", "--ou", sales, "--users", "alice"}));
    EXPECT_EQ(1, tarn({"ou", "delete", "4242"}));  // a failed write leaves an error row

    // Newest first, in German, with the counts of the whole selection.
    ASSERT_EQ(0, tarn({"log", "list", "--lang", "ger", "--desc-order"}, &j));
    EXPECT_EQ(5u, j["total"].asUInt());
    EXPECT_EQ(1u, j["error"].asUInt());
    EXPECT_EQ(4u, j["information"].asUInt());
    ASSERT_EQ(5u, j["items"].size());
    EXPECT_EQ("err", j["items"][0]["level_name"].asString());
    EXPECT_NE(std::string::npos,
              j["items"][2]["message"].asString().find("Vererbung blockieren: Deaktiviert"))
        << j["items"][2];
    EXPECT_EQ("bob", j["items"][3]["username"].asString());
    EXPECT_EQ("alice", j["items"][4]["username"].asString());

    // Paging keeps the total; a word searches names and the language's text.
    ASSERT_EQ(0, tarn({"log", "list", "--limit", "2", "--offset", "1"}, &j));
    EXPECT_EQ(5u, j["total"].asUInt());
    ASSERT_EQ(2u, j["items"].size());
    ASSERT_EQ(0, tarn({"log", "list", "--word", "Lab", "--field", "all", "--lang", "enu"}, &j));
    ASSERT_EQ(1u, j["items"].size());
    EXPECT_EQ("Created OU Lab under Root OU.", j["items"][0]["message"].asString());

    // alice reads only the rows of what was delegated to her.
    ASSERT_EQ(0, tarn({"log", "list", "--for-user", "alice"}, &j));
    for (const Json::Value& row : j["items"]) {
        EXPECT_TRUE(row["obj_id"].asString() == "ou_" + sales ||
                    row["parent_obj_id"].asString() == "ou_" + sales)
            << row;
    }
    EXPECT_EQ(3u, j["items"].size());

    ASSERT_EQ(0, tarn({"log", "get", "1", "--all-langs"}, &j));
    EXPECT_EQ("alice", j["username"].asString());
    EXPECT_FALSE(j["jpn"].asString().empty());
    ASSERT_EQ(0, tarn({"log", "clear"}));
    ASSERT_EQ(0, tarn({"log", "list"}, &j));
    EXPECT_EQ(0u, j["total"].asUInt());
}

/* The password comes on standard input, never from the command line; what
 * went wrong is said, and the stored hash opens with that password only. */
TEST_F(CliTest, PasswdReadsStandardInputAndSaysWhyItFails) {
    writeFile(sys("/etc/passwd"), "root:x:0:0::/:/bin/sh\nalice:x:2001:100::/:/bin/sh\n");
    auto passwd = [&](const std::string& input, const std::string& name, std::string* pErr) {
        std::string out;
        std::string cmd = "printf '" + input + "' | " + TARN_CLI_PATH + " --root " + root_ +
                          " passwd '" + name + "'";
        return runProgram({"/bin/sh", "-c", cmd}, &out, pErr);
    };
    std::string err;
    EXPECT_EQ(0, passwd("s3cret pass\\n", "alice", &err)) << err;
    ASSERT_OK(setenv("VURO_SYSROOT", root_.c_str(), 1));
    EXPECT_EQ(1, VUROUserPasswordCheck("alice", "s3cret pass"));
    EXPECT_EQ(0, VUROUserPasswordCheck("alice", "s3cret pass\n"));

    EXPECT_EQ(1, passwd("x\\n", "mallory", &err));
    EXPECT_NE(std::string::npos, err.find("no user 'mallory'")) << err;
    EXPECT_EQ(2, passwd("", "alice", &err));
    EXPECT_NE(std::string::npos, err.find("empty password")) << err;
    EXPECT_EQ(2, runProgram({TARN_CLI_PATH, "--root", root_, "passwd"}, nullptr, &err));
    EXPECT_EQ(2, runProgram({TARN_CLI_PATH, "--root", root_, "passwd", "alice", "--password", "x"},
                            nullptr, &err))
        << "no option puts it on the command line";
    EXPECT_EQ(1, VUROUserPasswordCheck("alice", "s3cret pass")) << "failures changed nothing";
}
