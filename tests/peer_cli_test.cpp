/* peer_cli_test.cpp - "tarn peer" as an administrator runs it: every
 * option stored, status changes through the stamping setters, lists in the
 * order asked for, and bad input refused before anything is written. */
#include <json/json.h>

#include "tarn_test.h"

using namespace tarntest;

class PeerCliTest : public TarnTest {
protected:
    static std::vector<std::string> serials(const Json::Value& list) {
        std::vector<std::string> out;
        for (const Json::Value& j : list) out.push_back(j["sn"].asString());
        return out;
    }
};

TEST_F(PeerCliTest, StoreChangeListAndDelete) {
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Lab"}, &j));
    std::string lab = std::to_string(j["id"].asInt64());

    ASSERT_EQ(0, tarn({"peer",         "create",
                       "--sn",         "S1",
                       "--hostname",   "nas1",
                       "--host",       "10.0.0.1",
                       "--model",      "M-4",
                       "--version",    "7.2",
                       "--parent",     lab,
                       "--http-port",  "5000",
                       "--https-port", "5001",
                       "--desc",       "rack 3",
                       "--extra",      "{\"rack\":3}",
                       "--linked-gpo", "{\"order\":[{\"id\":1}]}"},
                      &j));
    long s1 = j["id"].asInt64();
    EXPECT_EQ("nas1", j["name"].asString());
    EXPECT_EQ("M-4", j["model"].asString());
    EXPECT_EQ(5001, j["https_port"].asInt());
    EXPECT_EQ(lab, std::to_string(j["parent_id"].asInt64()));
    EXPECT_EQ(3, j["extra_info"]["rack"].asInt());
    EXPECT_EQ(1, j["linked_gpo"]["order"][0]["id"].asInt());

    ASSERT_EQ(0, tarn({"peer", "create", "--sn", "S2"}, &j));
    long s2 = j["id"].asInt64();

    // Status goes through the setters, which stamp their times.
    ASSERT_EQ(
        0,
        tarn({"peer", "set", std::to_string(s1), "--status", "9", "--status-by-server", "10"}, &j));
    EXPECT_EQ(9, j["status"].asInt());
    EXPECT_EQ(10, j["status_by_server"].asInt());
    EXPECT_GT(j["uptime_mtime"].asInt64(), 0);
    EXPECT_GT(j["status_by_server_mtime"].asInt64(), 0);
    EXPECT_EQ("9", sqlValue("SELECT status FROM peer WHERE sn='S1'"));

    using V = std::vector<std::string>;
    ASSERT_EQ(0, tarn({"peer", "list"}, &j));
    EXPECT_EQ((V{"S1", "S2"}), serials(j));
    ASSERT_EQ(0, tarn({"peer", "list", "--desc-order"}, &j));
    EXPECT_EQ((V{"S2", "S1"}), serials(j));
    ASSERT_EQ(0, tarn({"peer", "list", "--parent", lab}, &j));
    EXPECT_EQ((V{"S1"}), serials(j));
    ASSERT_EQ(0, tarn({"peer", "list", "--sn", "S2"}, &j));
    EXPECT_EQ((V{"S2"}), serials(j));

    // Refused input writes nothing; unknown rows are failures.
    EXPECT_EQ(2, tarn({"peer", "create", "--hostname", "no-serial"}));
    EXPECT_EQ(2, tarn({"peer", "create", "--sn", "S3", "--http-port", "web"}));
    EXPECT_EQ(2, tarn({"peer", "create", "--sn", "S3", "--extra", "{broken"}));
    EXPECT_EQ(2, tarn({"peer", "get-by-sn"}));
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM peer"));
    EXPECT_EQ(1, tarn({"peer", "get-by-sn", "S3"}));
    EXPECT_EQ(1, tarn({"peer", "set", "4242", "--desc", "x"}));

    ASSERT_EQ(0, tarn({"peer", "delete", std::to_string(s2)}, &j));
    EXPECT_EQ(s2, j["deleted"].asInt64());
    EXPECT_EQ(1, tarn({"peer", "get", std::to_string(s2)}));
}
