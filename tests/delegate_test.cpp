/* delegate_test.cpp - delegate rows on a real database: ugids above 32 bits
 * kept whole, Set with hooks but no change-log step, removal by target
 * without hooks, and "tarn delegate". */
#include <json/json.h>

#include <set>
#include <sstream>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class DelegateTest : public TarnTest {
protected:
    long addDelegate(long userType, unsigned long ugid, long targetType, long targetId) {
        VURO_TARN_DELEGATE d;
        VUROTARNDelegateItemSetUserType(&d, userType);
        VUROTARNDelegateItemSetUGID(&d, ugid);
        VUROTARNDelegateItemSetTargetType(&d, targetType);
        VUROTARNDelegateItemSetTargetID(&d, targetId);
        VUROTARNDelegateItemSetExtraInfo(&d, "{\"userNameCache\":\"someone\"}");
        EXPECT_OK(VUROTARNDelegateCreate(&d));
        return d.id;
    }

    std::set<long> storedIds() {
        VURO_TARN_DELEGATE_LIST list = nullptr;
        EXPECT_OK(VUROTARNDelegateListAll(&list, nullptr, nullptr));
        std::set<long> ids;
        for (VURO_TARN_DELEGATE* p = list; p; p = VUROTARNDelegateNext(p)) ids.insert(p->id);
        VUROTARNDelegateListFree(&list);
        return ids;
    }
};

TEST_F(DelegateTest, WideIdsAreKeptWhole) {
    pluginInstall("tarndelegate/tarndelegate_create",
                  "echo \"$1 $New_UGID\" >> \"$VURO_SYSROOT/create.log\"\n");
    const unsigned long big = 4294967296UL + 7;  // above any 32-bit id
    long id = addDelegate(VURO_TARN_TYPE_USER, big, VURO_TARN_TYPE_OU, 3);
    EXPECT_EQ("4294967303", sqlValue("SELECT ugid FROM delegate WHERE id=" + std::to_string(id)));
    EXPECT_EQ("PRE 4294967303\nPOST 4294967303\n", readFile(sys("/create.log")));

    VURO_TARN_DELEGATE d;
    ASSERT_OK(VUROTARNDelegateGet(id, &d));
    EXPECT_EQ(big, d.ugid);
    unsigned long ugid = 0;
    ASSERT_OK(VUROTARNDelegateItemGetUGID(&ugid, &d));
    EXPECT_EQ(big, ugid);

    VurotarnHash parms;
    parms.set("ugid", "4294967303");
    VurotarnList<VURO_TARN_DELEGATE> list;
    size_t total = 0;
    ASSERT_OK(VUROTARNDelegateList(parms.get(), &list.p, &total));
    EXPECT_EQ(1u, total);
    EXPECT_EQ(big, list.p->ugid);

    Json::Value j;
    ASSERT_OK(VUROTARNDelegateStructToJson(&d, Json::Value(), j));
    EXPECT_EQ(big, j["ugid"].asUInt64());
    EXPECT_FALSE(j.isMember("node_id"));
    EXPECT_FALSE(j.isMember("node_type"));
    EXPECT_EQ("someone", j["extra_info"]["userNameCache"].asString());
    VURO_TARN_DELEGATE fromJson;
    ASSERT_OK(VUROTARNDelegateJsonToStruct(j, &fromJson));
    EXPECT_EQ(big, fromJson.ugid);
    EXPECT_EQ(d.mtime, fromJson.mtime);  // unlike a policy, mtime is read back in
    EXPECT_EQ(3, fromJson.target_id);
    EXPECT_EQ("{\"userNameCache\":\"someone\"}", fromJson.str_extra_info);
}

TEST_F(DelegateTest, SetWritesTheRowAndRunsHooks) {
    pluginInstall("tarndelegate/tarndelegate_set",
                  "echo \"$1 $RESULT $Org_UGID>$New_UGID $New_ExtraInfo\" "
                  ">> \"$VURO_SYSROOT/set.log\"\n");
    long id = addDelegate(VURO_TARN_TYPE_GROUP, 300, VURO_TARN_TYPE_PEER, 5);
    VURO_TARN_DELEGATE d;
    ASSERT_OK(VUROTARNDelegateGet(id, &d));
    d.ugid = 301;
    d.str_extra_info = "{\"userNameCache\":\"a-rather-long-group-name-for-the-cut\"}";
    ASSERT_OK(VUROTARNDelegateSet(&d));
    EXPECT_EQ(
        "301|" + d.str_extra_info,
        sqlValue("SELECT ugid || '|' || extra_info FROM delegate WHERE id=" + std::to_string(id)));
    std::string cut = d.str_extra_info.substr(0, 31);  // stored whole, passed cut
    const std::string hooked = "PRE 0 300>301 " + cut + "\nPOST 0 300>301 " + cut + "\n";
    EXPECT_EQ(hooked, readFile(sys("/set.log")));

    // Refused: -1, and no hook.
    VURO_TARN_DELEGATE ghost;
    ghost.id = -3;
    EXPECT_EQ(-1, VUROTARNDelegateSet(&ghost));
    ghost.id = 4242;
    EXPECT_EQ(-1, VUROTARNDelegateSet(&ghost));
    EXPECT_EQ(hooked, readFile(sys("/set.log")));
}

TEST_F(DelegateTest, DeleteByTargetRemovesOnlyThatNodeWithoutHooks) {
    pluginInstall("tarndelegate/tarndelegate_delete", "echo \"$1\" >> \"$VURO_SYSROOT/del.log\"\n");
    addDelegate(VURO_TARN_TYPE_USER, 1001, VURO_TARN_TYPE_OU, 4);
    addDelegate(VURO_TARN_TYPE_USER, 1001, VURO_TARN_TYPE_OU, 4);  // duplicates are allowed
    addDelegate(VURO_TARN_TYPE_GROUP, 100, VURO_TARN_TYPE_OU, 4);
    long peerSameId = addDelegate(VURO_TARN_TYPE_USER, 1001, VURO_TARN_TYPE_PEER, 4);
    long otherOu = addDelegate(VURO_TARN_TYPE_USER, 1001, VURO_TARN_TYPE_OU, 5);
    EXPECT_EQ("5", sqlValue("SELECT count(*) FROM delegate"));

    logClear();
    ASSERT_OK(VUROTARNDelegateDeleteByTarget(4, VURO_TARN_TYPE_OU));
    EXPECT_EQ((std::set<long>{peerSameId, otherOu}), storedIds());
    EXPECT_EQ("", readFile(sys("/del.log")));
    EXPECT_OK(VUROTARNDelegateDeleteByTarget(77, VURO_TARN_TYPE_OU));  // nothing there: fine
    EXPECT_TRUE(logLines().empty()) << logDump();

    ASSERT_OK(VUROTARNDelegateDelete(otherOu));
    EXPECT_EQ("PRE\nPOST\n", readFile(sys("/del.log")));
    EXPECT_EQ((std::set<long>{peerSameId}), storedIds());
}

TEST_F(DelegateTest, CommandLine) {
    sql("INSERT INTO ou(id, name) VALUES (3, 'C'); INSERT INTO peer(id, sn) VALUES (3, 'SN3');");
    Json::Value j;
    ASSERT_EQ(0, tarn({"delegate", "create", "--user-type", "user", "--ugid", "4294967303",
                       "--target-type", "ou", "--target", "3"},
                      &j));
    long id = j["id"].asInt64();
    EXPECT_EQ(4294967303u, j["ugid"].asUInt64());
    EXPECT_EQ(VURO_TARN_TYPE_USER, j["user_type"].asInt());
    ASSERT_EQ(0, tarn({"delegate", "create", "--user-type", "group", "--ugid", "300",
                       "--target-type", "peer", "--target", "3"},
                      &j));
    long onPeer = j["id"].asInt64();

    ASSERT_EQ(
        0, tarn({"delegate", "set", std::to_string(id), "--extra", "{\"userNameCache\":\"alice\"}"},
                &j));
    EXPECT_EQ("alice", j["extra_info"]["userNameCache"].asString());
    EXPECT_EQ(4294967303u, j["ugid"].asUInt64());  // what was not given stays
    ASSERT_EQ(0, tarn({"delegate", "list", "--target-type", "peer", "--target", "3"}, &j));
    ASSERT_EQ(1u, j.size());
    EXPECT_EQ(onPeer, j[0]["id"].asInt64());

    EXPECT_EQ(2, tarn({"delegate", "create", "--user-type", "robot", "--ugid", "1", "--target-type",
                       "ou", "--target", "3"}));
    EXPECT_EQ(2, tarn({"delegate", "create", "--user-type", "user", "--ugid", "-1", "--target-type",
                       "ou", "--target", "3"}));
    EXPECT_EQ(2, tarn({"delegate", "delete-by-target", "--target", "3"}));
    EXPECT_EQ(1, tarn({"delegate", "set", "4242", "--ugid", "1"}));
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM delegate"));

    ASSERT_EQ(0, tarn({"delegate", "delete-by-target", "--target-type", "ou", "--target", "3"}));
    ASSERT_EQ(0, tarn({"delegate", "list"}, &j));
    ASSERT_EQ(1u, j.size());
    EXPECT_EQ(onPeer, j[0]["id"].asInt64());
}

TEST_F(DelegateTest, EqualDelegatesCreatedInOneSecondEachGetTheirOwnRow) {
    std::string expected, expectedLog;
    for (int i = 0; i < 3; i++) {
        long id = addDelegate(VURO_TARN_TYPE_USER, 2001, VURO_TARN_TYPE_OU, 0);
        expected += (i ? "," : "") + std::to_string(id);
        expectedLog += (i ? ",delegate_" : "delegate_") + std::to_string(id);
    }
    EXPECT_EQ(expected,
              sqlValue("SELECT group_concat(id) FROM (SELECT id FROM delegate ORDER BY id)"));
    EXPECT_EQ(expectedLog, logValue("SELECT group_concat(obj_id) FROM "
                                    "(SELECT obj_id FROM log ORDER BY id)"));
}
