/* gpo_delegate_test.cpp - the delegates set a peer receives with its policy:
 * holders on the peer and on OUs above it, grouped by account kind. */
#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class GpoDelegateTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        writeFile(sys("/etc/passwd"),
                  "root:x:0:0::/:/bin/sh\nalice:x:1026:100::/:/bin/sh\n"
                  "bob@example.com:x:300001:100::/:/bin/sh\n");
        writeFile(sys("/etc/group"), "users:x:100:\nCORP\\staff:x:700:\n");
        sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'A',0),(2,'B',1),(3,'Other',0);"
            "INSERT INTO peer(id, sn, parent_id) VALUES (7,'SN7',2);"
            "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES"
            " (8,1026,2,1), (9,700,2,2), (8,300001,1,7), (8,1026,2,2), (8,4242,2,3);");
    }
};

TEST_F(GpoDelegateTest, HoldersAboveThePeerGroupedByKind) {
    Json::Value jSet;
    jSet["Delegate"] = 1;
    Json::Value jGpo(Json::objectValue);
    jGpo["gpo_content"]["Delegate"]["stale"] = true;
    ASSERT_OK(VUROTARNGpoGetPolicyDelegate(7, jGpo, jSet));
    const Json::Value& d = jGpo["gpo_content"]["Delegate"];
    EXPECT_FALSE(d.isMember("stale"));  // replaced whole
    EXPECT_EQ(1, d["vuro_set_version"].asInt());
    ASSERT_EQ(1u, d["local"].size());  // alice once, though delegated twice
    EXPECT_EQ("alice", d["local"][0]["userNameCache"].asString());
    EXPECT_EQ(1026u, d["local"][0]["id"].asUInt());
    EXPECT_TRUE(d["local"][0]["is_user"].asBool());
    ASSERT_EQ(1u, d["domain"]["CORP"].size());
    EXPECT_FALSE(d["domain"]["CORP"][0]["is_user"].asBool());
    EXPECT_EQ("bob@example.com", d["ldap"]["example.com"][0]["userNameCache"].asString());
    // The caches were filled and stored on the way.
    EXPECT_NE("", sqlValue("SELECT extra_info FROM delegate WHERE ugid=700"));
    // 4242 on another branch is not a holder for this peer.
    EXPECT_EQ(3u, d.size() - 1);

    Json::Value jNoSet(Json::objectValue);
    Json::Value jUntouched(Json::objectValue);
    ASSERT_OK(VUROTARNGpoGetPolicyDelegate(7, jUntouched, jNoSet));
    EXPECT_TRUE(jUntouched.empty());
    EXPECT_EQ(-1, VUROTARNGpoGetPolicyDelegate(-1, jUntouched, jSet));
    EXPECT_EQ(-1, VUROTARNGpoGetPolicyDelegate(99, jUntouched, jSet));  // no such peer
}
