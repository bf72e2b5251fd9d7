/* gpo_delegate_test.cpp - the delegates set a peer receives with its policy:
 * holders on the peer and on OUs above it, grouped by account kind. */
#include <vurojson.h>

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
    EXPECT_TRUE(jUntouched.empty());
}

TEST_F(GpoDelegateTest, DamagedCachesAreSkippedNotThrown) {
    // Stored caches of the wrong kinds. A cache that is not empty is not
    // refreshed here, so these delegates leave the set; the call answers 0.
    sql("UPDATE delegate SET extra_info='{\"userNameCache\":\"x\",\"domainType\":[1]}' "
        "WHERE ugid=1026 AND target_id=1;"
        "UPDATE delegate SET extra_info='{\"userNameCache\":\"s\",\"domainType\":\"domain\","
        "\"domainName\":{}}' WHERE ugid=700;"
        "UPDATE delegate SET extra_info='[1,2]' WHERE ugid=300001;");
    Json::Value jSet;
    jSet["Delegate"] = 1;
    Json::Value jGpo(Json::objectValue);
    int r = -2;
    EXPECT_NO_THROW(r = VUROTARNGpoGetPolicyDelegate(7, jGpo, jSet));
    EXPECT_EQ(0, r);
    const Json::Value& d = jGpo["gpo_content"]["Delegate"];
    EXPECT_EQ(1, d["vuro_set_version"].asInt());
    EXPECT_FALSE(d.isMember("domain"));
    EXPECT_FALSE(d.isMember("ldap"));
    for (const Json::Value& u : d["local"]) EXPECT_TRUE(u["domainType"].isString());

    // The name cache itself: a damaged cache is written anew from the name.
    for (const char* damaged : {"{\"domainType\":{},\"domainName\":\"local\",\"userNameCache\":1}",
                                "{\"domainType\":\"local\",\"domainName\":[],"
                                "\"userNameCache\":\"alice\"}",
                                "[\"userNameCache\"]", "7"}) {
        VURO_TARN_DELEGATE del;
        del.ugid = 1026;
        del.user_type = VURO_TARN_TYPE_USER;
        del.str_extra_info = damaged;
        r = -2;
        EXPECT_NO_THROW(r = VURODelegatePrepareExtraInfo(&del)) << damaged;
        EXPECT_EQ(0, r) << damaged;
        Json::Value j;
        ASSERT_TRUE(vurojson::fromString(j, del.str_extra_info));
        EXPECT_EQ("alice", j["userNameCache"].asString()) << damaged;
        EXPECT_EQ("local", j["domainType"].asString()) << damaged;
    }

    // A caller's policy with no room for the set is refused and left alone.
    for (Json::Value bad :
         {Json::Value(Json::arrayValue), Json::Value("text"), Json::Value(Json::objectValue)}) {
        if (bad.isObject()) bad["gpo_content"] = 5;
        Json::Value before = bad;
        r = -2;
        EXPECT_NO_THROW(r = VUROTARNGpoGetPolicyDelegate(7, bad, jSet));
        EXPECT_EQ(-1, r);
        EXPECT_EQ(before, bad);
    }
}
