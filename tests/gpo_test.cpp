/* gpo_test.cpp - policies under OUs and peers: their JSON forms, the whole
 * setting reaching a plug-in, and the messages that differ from OUs. */
#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class GpoTest : public TarnTest {};

TEST_F(GpoTest, StoredUnderOusAndPeersAndListedByParent) {
    VURO_TARN_GPO onOu, onPeer;
    VUROTARNGpoItemSetName(&onOu, "Baseline");
    VUROTARNGpoItemSetParentID(&onOu, 0);
    VUROTARNGpoItemSetParentType(&onOu, VURO_TARN_TYPE_OU);
    VUROTARNGpoItemSetSetting(&onOu, "{\"gpo_content\":{}}");
    ASSERT_OK(VUROTARNGpoSave(&onOu));
    VUROTARNGpoItemSetName(&onPeer, "Only this server");
    VUROTARNGpoItemSetParentID(&onPeer, 0);
    VUROTARNGpoItemSetParentType(&onPeer, VURO_TARN_TYPE_PEER);
    ASSERT_OK(VUROTARNGpoCreate(&onPeer));

    PQLIBSZHASH h = QLIBCSzHashAlloc(8);
    QLIBCSzHashSetValue(&h, "parent_id", "0");
    QLIBCSzHashSetValue(&h, "parent_type", "2");
    VURO_TARN_GPO_LIST list = nullptr;
    size_t total = 0;
    ASSERT_OK(VUROTARNGpoList(h, &list, &total));
    ASSERT_EQ(1u, total);
    EXPECT_EQ(onOu.id, list->id);
    VUROTARNGpoListFree(&list);
    QLIBCSzHashFree(h);

    onOu.str_desc = "edited";
    ASSERT_OK(VUROTARNGpoSet(&onOu));
    VURO_TARN_GPO back;
    ASSERT_OK(VUROTARNGpoGet(onOu.id, &back));
    EXPECT_EQ("edited", back.str_desc);
    EXPECT_EQ("{\"gpo_content\":{}}", back.str_setting);
    ASSERT_OK(VUROTARNGpoDelete(onOu.id));
    ASSERT_OK(VUROTARNGpoClear(&back));
    EXPECT_EQ(-1, VUROTARNGpoGet(onOu.id, &back));
    EXPECT_TRUE(logHas("Failed to get VURO_TARN_GPO, id = [" + std::to_string(onOu.id) + "]"));
}

TEST_F(GpoTest, JsonForms) {
    VURO_TARN_GPO gpo;
    gpo.id = 12;
    gpo.str_name = "P";
    Json::Value j;
    ASSERT_OK(VUROTARNGpoStructToJson(&gpo, Json::Value(), j));
    EXPECT_TRUE(j["leaf"].asBool());
    EXPECT_EQ(VURO_TARN_TYPE_GPO, j["node_type"].asInt());
    EXPECT_TRUE(j.isMember("setting"));
    EXPECT_TRUE(j["setting"].isNull());  // empty text: null, and no failure
    Json::Value onlyMtime(Json::arrayValue);
    onlyMtime.append("mtime");
    ASSERT_OK(VUROTARNGpoStructToJson(&gpo, onlyMtime, j));
    EXPECT_TRUE(j.isMember("mtime"));
    EXPECT_FALSE(j.isMember("desc"));
    EXPECT_FALSE(j.isMember("extra_info"));

    gpo.str_setting = "{\"a\":1}";
    gpo.str_extra_info = "{\"old\":true}";
    Json::Value in;
    in["id"] = "34";
    in["setting"] = Json::Value(Json::objectValue);
    in["extra_info"] = Json::Value(Json::objectValue);
    in["mtime"] = 99;
    ASSERT_OK(VUROTARNGpoJsonToStruct(in, &gpo));
    EXPECT_EQ(34, gpo.id);
    EXPECT_EQ("{\"a\":1}", gpo.str_setting);  // {} keeps the setting
    EXPECT_EQ("{}", gpo.str_extra_info);       // but replaces extra_info
    EXPECT_EQ(0, gpo.mtime);                   // not read from JSON
    in["id"] = 56;
    in["setting"]["b"] = 2;
    ASSERT_OK(VUROTARNGpoJsonToStruct(in, &gpo));
    EXPECT_EQ(56, gpo.id);
    EXPECT_EQ("{\"b\":2}", gpo.str_setting);
}

TEST_F(GpoTest, PluginsReceiveTheWholeSetting) {
    pluginInstall("tarngpo/tarngpo_create",
                  "printf '%s' \"$New_Setting\" > \"$VURO_SYSROOT/setting.out\"\n"
                  "printf '%s' \"$New_ParentType\" > \"$VURO_SYSROOT/type.out\"\n");
    std::string setting = "{\"blob\":\"" + std::string(10000 - 11, 'x') + "\"}";
    ASSERT_EQ(10000u, setting.size());
    VURO_TARN_GPO gpo;
    gpo.str_name = "Big";
    gpo.parent_type = VURO_TARN_TYPE_OU;
    gpo.str_setting = setting;
    ASSERT_OK(VUROTARNGpoCreate(&gpo));
    EXPECT_EQ(setting, readFile(sys("/setting.out")));
    EXPECT_EQ("2", readFile(sys("/type.out")));
}
