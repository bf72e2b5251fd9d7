/* delegate_test.cpp - delegate rows: 64-bit ids whole, Set without a
 * change-log step, removal by target without hooks. */
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
};

TEST_F(DelegateTest, WideIdsAreKeptWhole) {
    const unsigned long big = 4294967296UL + 7;  // above any 32-bit id
    long id = addDelegate(VURO_TARN_TYPE_USER, big, VURO_TARN_TYPE_OU, 3);
    VURO_TARN_DELEGATE d;
    ASSERT_OK(VUROTARNDelegateGet(id, &d));
    EXPECT_EQ(big, d.ugid);
    unsigned long ugid = 0;
    ASSERT_OK(VUROTARNDelegateItemGetUGID(&ugid, &d));
    EXPECT_EQ(big, ugid);
    Json::Value j;
    ASSERT_OK(VUROTARNDelegateStructToJson(&d, Json::Value(), j));
    EXPECT_EQ(big, j["ugid"].asUInt64());
    EXPECT_FALSE(j.isMember("node_id"));
    EXPECT_EQ("someone", j["extra_info"]["userNameCache"].asString());
    VURO_TARN_DELEGATE fromJson;
    ASSERT_OK(VUROTARNDelegateJsonToStruct(j, &fromJson));
    EXPECT_EQ(big, fromJson.ugid);
    EXPECT_EQ(3, fromJson.target_id);
}

TEST_F(DelegateTest, SetWritesTheRowAndHooksRun) {
    pluginInstall("tarndelegate/tarndelegate_set",
                  "echo \"$Org_UGID>$New_UGID $New_ExtraInfo\" >> \"$VURO_SYSROOT/set.log\"\n");
    long id = addDelegate(VURO_TARN_TYPE_GROUP, 300, VURO_TARN_TYPE_PEER, 5);
    VURO_TARN_DELEGATE d;
    ASSERT_OK(VUROTARNDelegateGet(id, &d));
    d.ugid = 301;
    d.str_extra_info = "{\"userNameCache\":\"a-rather-long-group-name-for-the-cut\"}";
    ASSERT_OK(VUROTARNDelegateSet(&d));
    EXPECT_EQ("301", sqlValue("SELECT ugid FROM delegate WHERE id=" + std::to_string(id)));
    std::string line = "300>301 " + d.str_extra_info.substr(0, 31) + "\n";
    EXPECT_EQ(line + line, readFile(sys("/set.log")));  // PRE and POST, cut to 31 bytes
    d.id = -3;
    EXPECT_EQ(-1, VUROTARNDelegateSet(&d));
    EXPECT_TRUE(logHas("Invalid id: [-3]")) << logDump();
}

TEST_F(DelegateTest, DeleteByTargetRemovesOnlyThatNodeWithoutHooks) {
    pluginInstall("tarndelegate/tarndelegate_delete", "echo ran >> \"$VURO_SYSROOT/del.log\"\n");
    addDelegate(VURO_TARN_TYPE_USER, 1001, VURO_TARN_TYPE_OU, 4);
    addDelegate(VURO_TARN_TYPE_GROUP, 100, VURO_TARN_TYPE_OU, 4);
    long peerSame = addDelegate(VURO_TARN_TYPE_USER, 1001, VURO_TARN_TYPE_PEER, 4);
    long other = addDelegate(VURO_TARN_TYPE_USER, 1001, VURO_TARN_TYPE_OU, 5);
    ASSERT_OK(VUROTARNDelegateDeleteByTarget(4, VURO_TARN_TYPE_OU));
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM delegate"));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM delegate WHERE id IN (" +
                            std::to_string(peerSame) + ")"));
    EXPECT_EQ("", readFile(sys("/del.log")));
    EXPECT_OK(VUROTARNDelegateDeleteByTarget(77, VURO_TARN_TYPE_OU));  // nothing there: fine
    ASSERT_OK(VUROTARNDelegateDelete(other));
    EXPECT_EQ("ran\nran\n", readFile(sys("/del.log")));  // PRE and POST
}
