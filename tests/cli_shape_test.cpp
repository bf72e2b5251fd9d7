/* cli_shape_test.cpp - the tool keeps the identity and the shape of what it
 * stores: a server's serial does not move, what was not named does not
 * change, the tree stays a tree, references name what exists, numbers fit
 * their columns, link texts have the one shape their readers know, and a
 * request for something that is not there fails. */
#include <json/json.h>

#include "tarn_test.h"

using namespace tarntest;

class CliShapeTest : public TarnTest {
protected:
    /* The tool's exit status with its stderr. */
    int tarnErr(std::vector<std::string> args, std::string* pErr) {
        args.insert(args.begin(), {TARN_CLI_PATH, "--root", root_});
        std::string out;
        return runProgram(args, &out, pErr);
    }
    std::string create(const std::vector<std::string>& args) {
        Json::Value j;
        EXPECT_EQ(0, tarn(args, &j));
        return std::to_string(j["id"].asInt64());
    }
    /* Every table of the main database, as text: a refusal changes nothing. */
    std::string dump() {
        std::string all;
        for (const char* table : {"ou", "peer", "gpo", "delegate", "package", "app", "info"}) {
            all += sqlValue(std::string("SELECT group_concat(t, '|') FROM (SELECT quote(") + table +
                            ".id) || '" + table + "' AS t FROM " + table + ")") +
                   sqlValue(std::string("SELECT sum(mtime) FROM ") + table) + "\n";
        }
        return all + sqlValue("SELECT group_concat(linked_gpo || parent_id, ';') FROM ou") +
               sqlValue("SELECT group_concat(sn || host || model || http_port, ';') FROM peer");
    }
};

TEST_F(CliShapeTest, ServerSerialIsItsIdentity) {
    Json::Value j;
    std::string s1 = create({"peer", "create", "--sn", "S1", "--hostname", "nas1", "--model", "M-4",
                             "--http-port", "5000", "--desc", "rack 3"});
    std::string s2 = create({"peer", "create", "--sn", "S2", "--hostname", "nas2"});
    std::string before = dump();

    // A new serial would store a second server; another's would overwrite it.
    std::string err;
    EXPECT_EQ(2, tarnErr({"peer", "set", s1, "--sn", "NEW"}, &err));
    EXPECT_NE(std::string::npos, err.find("cannot be changed")) << err;
    EXPECT_EQ(2, tarn({"peer", "set", s1, "--sn", "S2", "--hostname", "taken"}));
    EXPECT_EQ(before, dump());
    ASSERT_EQ(0, tarn({"peer", "set", s1, "--sn", "S1", "--desc", "rack 4"}, &j));
    EXPECT_EQ("rack 4", j["desc"].asString());
    EXPECT_EQ("nas2", sqlValue("SELECT hostname FROM peer WHERE sn='S2'"));

    // A known serial is the same server: only what is named changes.
    ASSERT_EQ(0, tarn({"peer", "create", "--sn", "S1", "--host", "10.0.0.9"}, &j));
    EXPECT_EQ(s1, std::to_string(j["id"].asInt64()));
    EXPECT_EQ("10.0.0.9", j["host"].asString());
    EXPECT_EQ("M-4", j["model"].asString());
    EXPECT_EQ("nas1", j["name"].asString());
    EXPECT_EQ(5000, j["http_port"].asInt());
    EXPECT_EQ("rack 4", j["desc"].asString());
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM peer"));
}

TEST_F(CliShapeTest, ApplicationSetChangesOnlyWhatIsNamed) {
    Json::Value j;
    std::string peer = create({"peer", "create", "--sn", "S1"});
    ASSERT_EQ(0,
              tarn({"app", "set", "--peer", peer, "--app-id", "photos", "--name-enu", "Photos",
                    "--port", "5001", "--url", "/photo", "--version", "1.0", "--is-package", "1"},
                   &j));
    std::string id = std::to_string(j["id"].asUInt64());
    ASSERT_EQ(0,
              tarn({"app", "set", "--peer", peer, "--app-id", "photos", "--version", "2.0"}, &j));
    EXPECT_EQ(id, std::to_string(j["id"].asUInt64()));
    EXPECT_EQ("2.0", sqlValue("SELECT app_version FROM app WHERE id=" + id));
    EXPECT_EQ("5001|/photo|Photos|1",
              sqlValue("SELECT port || '|' || url || '|' || name_enu || '|' || is_package "
                       "FROM app WHERE id=" +
                       id));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM app"));
}

/*   0
 *   |
 *   A (a policy on it)
 *   |
 *   B
 */
TEST_F(CliShapeTest, TheTreeStaysATree) {
    std::string a = create({"ou", "create", "--name", "A"});
    std::string b = create({"ou", "create", "--name", "B", "--parent", a});
    create({"gpo", "create", "--name", "P", "--parent-type", "ou", "--parent", a});
    std::string before = dump();
    std::string err;

    EXPECT_EQ(2, tarnErr({"ou", "delete", "0"}, &err));
    EXPECT_NE(std::string::npos, err.find("root")) << err;
    EXPECT_EQ(2, tarnErr({"ou", "delete", a}, &err));  // B would lose its parent
    EXPECT_NE(std::string::npos, err.find("delete-tree --ou " + a)) << err;
    EXPECT_EQ(2, tarn({"ou", "set", a, "--parent", a}));
    EXPECT_EQ(2, tarn({"ou", "set", a, "--parent", b, "--name", "loop"}));
    EXPECT_EQ(2, tarn({"ou", "set", "0", "--parent", a}));
    EXPECT_EQ(before, dump());

    // B moves to the root; then A still has its policy, B is empty.
    ASSERT_EQ(0, tarn({"ou", "set", b, "--parent", "0"}));
    EXPECT_EQ(2, tarn({"ou", "delete", a}));
    ASSERT_EQ(0, tarn({"ou", "delete", b}));
    EXPECT_EQ(1, tarn({"ou", "delete", b}));  // nothing there any more
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM ou WHERE parent_id NOT IN (SELECT id FROM ou) "
                            "AND id<>0"));
}

TEST_F(CliShapeTest, ReferencesNameWhatExists) {
    std::string ou = create({"ou", "create", "--name", "A"});
    create({"peer", "create", "--sn", "S0"});
    std::string peer =
        create({"peer", "create", "--sn", "S1", "--parent", ou});  // no OU has its id
    std::string gpo =
        create({"gpo", "create", "--name", "P", "--parent-type", "peer", "--parent", peer});
    writeFile(sys("/etc/passwd"), "root:x:0:0::/:/bin/sh\nalice:x:2001:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\nops:x:300:alice\n");
    std::string before = dump();
    std::string err;

    EXPECT_EQ(2, tarnErr({"ou", "create", "--name", "X", "--parent", "999"}, &err));
    EXPECT_NE(std::string::npos, err.find("no OU with id 999 for --parent")) << err;
    EXPECT_EQ(2, tarn({"ou", "set", ou, "--parent", "999"}));
    EXPECT_EQ(2, tarn({"peer", "create", "--sn", "S2", "--parent", "999"}));
    EXPECT_EQ(2, tarn({"peer", "set", peer, "--parent", peer + "9"}));
    EXPECT_EQ(2, tarn({"gpo", "create", "--name", "X", "--parent-type", "ou", "--parent", "999"}));
    EXPECT_EQ(2, tarnErr({"gpo", "set", gpo, "--parent-type", "ou"}, &err));  // no OU of that id
    EXPECT_NE(std::string::npos, err.find("no OU with id " + peer)) << err;
    EXPECT_EQ(2, tarn({"delegate", "create", "--user-type", "user", "--ugid", "2001",
                       "--target-type", "peer", "--target", "999"}));
    EXPECT_EQ(2, tarnErr({"app", "set", "--peer", "999", "--app-id", "x"}, &err));
    EXPECT_NE(std::string::npos, err.find("no peer with id 999")) << err;
    EXPECT_EQ(2, tarn({"info", "set", "--peer", "999", "--general", "{}"}));
    EXPECT_EQ(2, tarn({"pkg", "set", "--peer", "999", "--pkg-id", "x"}));
    EXPECT_EQ(2, tarn({"delegates", "set", "--ou", "999", "--users", "alice"}));
    EXPECT_EQ(before, dump());

    // A name that resolves to nobody stops the whole list before any write:
    // the library would drop it, and with it the delegate that was meant.
    ASSERT_EQ(0, tarn({"delegates", "set", "--ou", ou, "--users", "alice", "--groups", "ops"}));
    before = dump();
    EXPECT_EQ(2, tarnErr({"delegates", "set", "--ou", ou, "--users", "alcie"}, &err));
    EXPECT_NE(std::string::npos, err.find("user alcie")) << err;
    EXPECT_EQ(2,
              tarn({"delegates", "override", "--ou", ou, "--users", "alice", "--groups", "opz"}));
    EXPECT_EQ(before, dump());
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM delegate WHERE target_id=" + ou));
}

TEST_F(CliShapeTest, NumbersFitTheirColumns) {
    std::string peer = create({"peer", "create", "--sn", "S1"});
    std::string before = dump();
    std::string err;
    for (const char* port : {"0", "65536", "4294967297", "-1"}) {
        EXPECT_EQ(2, tarn({"peer", "create", "--sn", "S2", "--http-port", port})) << port;
        EXPECT_EQ(2, tarn({"app", "set", "--peer", peer, "--app-id", "a", "--port", port})) << port;
    }
    EXPECT_EQ(2, tarnErr({"pkg", "set", "--peer", peer, "--pkg-id", "p", "--status", "4294967298"},
                         &err));
    EXPECT_NE(std::string::npos, err.find("--status is a number from 0 to 4294967295")) << err;
    EXPECT_EQ(2, tarn({"app", "set", "--peer", "18446744073709551615", "--app-id", "a"}));
    EXPECT_EQ(2, tarn({"pkg", "set", "--peer", "-1", "--pkg-id", "p"}));
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "X", "--block", "2"}));
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "X", "--parent", "9223372036854775808"}));
    EXPECT_EQ(before, dump());
    Json::Value j;
    ASSERT_EQ(0, tarn({"peer", "set", peer, "--https-port", "65535"}, &j));
    EXPECT_EQ(65535, j["https_port"].asInt());
}

TEST_F(CliShapeTest, LinkTextsHaveOneShape) {
    std::string ou = create({"ou", "create", "--name", "A"});
    std::string peer = create({"peer", "create", "--sn", "S1", "--parent", ou});
    std::string p1 =
        create({"gpo", "create", "--name", "P1", "--parent-type", "ou", "--parent", "0"});
    std::string p2 =
        create({"gpo", "create", "--name", "P2", "--parent-type", "ou", "--parent", "0"});
    std::string before = dump();
    for (const std::string& bad :
         {std::string("[1,2]"), std::string("{\"order\":{}}"), std::string("{\"order\":[1]}"),
          std::string("{\"order\":[{\"override\":1}]}"), std::string("{\"order\":[{\"id\":1}]}"),
          std::string("{\"order\":[{\"gpo_id\":\"1\"}]}"),
          std::string("{\"order\":[{\"gpo_id\":1,\"override\":\"yes\"}]}")}) {
        EXPECT_EQ(2, tarn({"link", "--ou", ou, "--links", bad})) << bad;
    }
    EXPECT_EQ(2, tarn({"ou", "set", ou, "--linked-gpo", "[{\"id\":1}]"}));
    EXPECT_EQ(2, tarn({"peer", "set", peer, "--linked-gpo", "{\"order\":[{}]}"}));
    EXPECT_EQ(before, dump());

    // Deleting a policy takes it out of every link text, nothing else.
    std::string links = "{\"order\":[{\"gpo_id\":" + p1 + ",\"override\":1},{\"gpo_id\":" + p2 +
                        ",\"override\":0}]}";
    ASSERT_EQ(0, tarn({"link", "--ou", ou, "--links", links}));
    ASSERT_EQ(0, tarn({"link", "--peer", peer, "--links", links}));
    ASSERT_EQ(0, tarn({"gpo", "delete", p1}));
    Json::Value j;
    for (const std::string& node : {std::string("--ou"), std::string("--peer")}) {
        ASSERT_EQ(0, tarn({"order", node, node == "--ou" ? ou : peer}, &j));
        ASSERT_EQ(1u, j.size()) << j;
        EXPECT_EQ(p2, std::to_string(j[0]["id"].asInt64()));
    }
    EXPECT_EQ("{\"order\":[{\"id\":" + p2 + ",\"override\":0}]}",
              sqlValue("SELECT linked_gpo FROM peer WHERE id=" + peer));
}

TEST_F(CliShapeTest, NothingThereIsAFailure) {
    std::string err;
    EXPECT_EQ(1, tarnErr({"delete-tree", "--sn", "NOSUCH"}, &err));
    EXPECT_NE(std::string::npos, err.find("no peer with serial NOSUCH")) << err;
    EXPECT_EQ(1, tarnErr({"pkg", "delete", "999"}, &err));
    EXPECT_NE(std::string::npos, err.find("no package with id 999")) << err;
    EXPECT_EQ(1, tarnErr({"delete-tree", "--ou", "999"}, &err));
    EXPECT_NE(std::string::npos, err.find("no OU with id 999")) << err;
    EXPECT_EQ(1, tarn({"delete-tree", "--peer", "999"}));
    EXPECT_EQ(1, tarn({"app", "delete", "999"}));
    EXPECT_EQ(1, tarn({"info", "delete", "999"}));
    EXPECT_EQ(1, tarn({"gpo", "delete", "999"}));
    EXPECT_EQ(1, tarn({"delegate", "delete", "999"}));
}
