/* cli_test.cpp - the tarn tool as a user runs it: JSON out, exit codes, and
 * the library's log lines on stderr with -v. */
#include <json/json.h>

#include <sstream>

#include "tarn_test.h"

using namespace tarntest;

class CliTest : public TarnTest {
protected:
    int tarn(std::vector<std::string> args, Json::Value* pOut = nullptr) {
        args.insert(args.begin(), {TARN_CLI_PATH, "--root", root_});
        std::string out;
        int rc = runProgram(args, &out);
        if (pOut) {
            Json::CharReaderBuilder b;
            std::string errs;
            std::istringstream in(out);
            if (!Json::parseFromStream(b, in, pOut, &errs)) *pOut = Json::Value("<not json>");
        }
        return rc;
    }
};

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

    ASSERT_EQ(0, tarn({"ou", "delete", std::to_string(eu)}));
    EXPECT_NE(0, tarn({"ou", "get", std::to_string(eu)}));
}

TEST_F(CliTest, BadInputIsRefusedWithoutWriting) {
    EXPECT_EQ(2, tarn({"ou", "create"}));                            // no name
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "x", "--parent", "abc"}));
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "x", "--extra", "{broken"}));
    EXPECT_EQ(2, tarn({"ou", "frobnicate"}));
    EXPECT_EQ(2, tarn({"nothing", "here"}));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM ou"));
    EXPECT_EQ(1, tarn({"ou", "set", "4242", "--name", "y"}));
}

TEST_F(CliTest, VerboseShowsLibraryLogOnStderr) {
    std::string out, err;
    EXPECT_EQ(1, runProgram({TARN_CLI_PATH, "-v", "--root", root_, "ou", "get", "31337"}, &out,
                            &err));
    EXPECT_NE(std::string::npos, err.find("Failed to get VURO_TARN_OU, id = [31337]")) << err;
    EXPECT_EQ(1, runProgram({TARN_CLI_PATH, "--root", root_, "ou", "get", "31337"}, &out, &err));
    EXPECT_EQ(std::string::npos, err.find("Failed to get VURO_TARN_OU")) << err;
}
