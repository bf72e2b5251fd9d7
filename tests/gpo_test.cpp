/* gpo_test.cpp - policies on a real database: owned by OUs and peers and
 * listed by owner, their JSON forms, the whole setting reaching a plug-in,
 * the refused and failed writes, and "tarn gpo". */
#include <json/json.h>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class GpoTest : public TarnTest {
protected:
    long createGpo(const char* name, long parentType, long parentId,
                   const char* setting = "{\"gpo_content\":{}}") {
        VURO_TARN_GPO gpo;
        VUROTARNGpoItemSetName(&gpo, name);
        VUROTARNGpoItemSetParentType(&gpo, parentType);
        VUROTARNGpoItemSetParentID(&gpo, parentId);
        VUROTARNGpoItemSetSetting(&gpo, setting);
        EXPECT_OK(VUROTARNGpoCreate(&gpo));
        return gpo.id;
    }

    std::vector<long> listIds(VurotarnHash& parms) {
        VurotarnList<VURO_TARN_GPO> list;
        EXPECT_OK(VUROTARNGpoList(parms.get(), &list.p, nullptr));
        return ids(list.p);
    }
};

TEST_F(GpoTest, OwnedByOusAndPeersAndListedByOwner) {
    VURO_TARN_OU ou;
    ou.str_name = "Eng";
    ASSERT_OK(VUROTARNOuCreate(&ou));
    VURO_TARN_PEER peer;
    peer.str_sn = "S1";
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    // The first OU below the root and the first peer share an id, so only
    // the owner's type tells their policies apart.
    ASSERT_EQ(ou.id, peer.id);

    long zulu = createGpo("Zulu", VURO_TARN_TYPE_OU, ou.id);
    long alpha = createGpo("Alpha", VURO_TARN_TYPE_OU, ou.id);
    long onPeer = createGpo("Only this server", VURO_TARN_TYPE_PEER, peer.id);
    EXPECT_EQ(std::to_string(getpid()),
              sqlValue("SELECT pid FROM gpo WHERE id=" + std::to_string(zulu)));

    VurotarnHash parms;
    parms.set("parent_id", std::to_string(ou.id)).set("parent_type", "2");
    parms.set("sort_by", "name").set("sort_direction", "ASC");
    EXPECT_EQ((std::vector<long>{zulu, alpha}), listIds(parms));  // reversed by the fill
    parms.set("parent_type", "1");
    EXPECT_EQ((std::vector<long>{onPeer}), listIds(parms));

    // A rewrite keeps a setting with quotes whole; the read-back compares it.
    VURO_TARN_GPO gpo;
    ASSERT_OK(VUROTARNGpoGet(alpha, &gpo));
    const std::string setting = "{\"gpo_content\":{\"motd\":\"it's 'quoted'\"}}";
    gpo.str_setting = setting;
    gpo.str_desc = "edited";
    ASSERT_OK(VUROTARNGpoSave(&gpo));
    VURO_TARN_GPO back;
    ASSERT_OK(VUROTARNGpoGet(alpha, &back));
    EXPECT_EQ(setting, back.str_setting);
    EXPECT_EQ("edited", back.str_desc);
    EXPECT_EQ(VURO_TARN_TYPE_OU, back.parent_type);
    char cut[8];
    ASSERT_OK(VUROTARNGpoItemGetSetting(cut, sizeof(cut), &back));
    EXPECT_STREQ("{\"gpo_c", cut);  // the getter cuts; str_setting holds it whole

    // Deleting a policy removes its row and nothing else: links to it stay.
    ou.str_linked_gpo = "[{\"id\":" + std::to_string(alpha) + ",\"enforce\":0}]";
    ASSERT_OK(VUROTARNOuSet(&ou));
    ASSERT_OK(VUROTARNGpoDelete(alpha));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM gpo WHERE id=" + std::to_string(alpha)));
    EXPECT_EQ(ou.str_linked_gpo,
              sqlValue("SELECT linked_gpo FROM ou WHERE id=" + std::to_string(ou.id)));
    ASSERT_OK(VUROTARNGpoClear(&back));
    EXPECT_EQ(-1, VUROTARNGpoGet(alpha, &back));
}

TEST_F(GpoTest, JsonForms) {
    VURO_TARN_GPO gpo;
    gpo.id = 12;
    gpo.str_name = "P";
    gpo.parent_type = VURO_TARN_TYPE_PEER;
    Json::Value j;
    ASSERT_OK(VUROTARNGpoStructToJson(&gpo, Json::Value(), j));
    EXPECT_TRUE(j["leaf"].asBool());
    EXPECT_EQ(12, j["node_id"].asInt());
    EXPECT_EQ(VURO_TARN_TYPE_GPO, j["node_type"].asInt());
    EXPECT_TRUE(j.isMember("setting"));
    EXPECT_TRUE(j["setting"].isNull());  // empty text: null, and no failure
    gpo.str_setting = "{not json";
    ASSERT_OK(VUROTARNGpoStructToJson(&gpo, Json::Value(), j));
    EXPECT_TRUE(j["setting"].isNull());

    Json::Value onlyMtime(Json::arrayValue);
    onlyMtime.append("mtime");
    gpo.str_setting = "{\"a\":1}";
    ASSERT_OK(VUROTARNGpoStructToJson(&gpo, onlyMtime, j));
    EXPECT_EQ((std::vector<std::string>{"id", "leaf", "mtime", "name", "node_id", "node_type",
                                        "parent_id", "parent_type", "setting"}),
              j.getMemberNames());
    EXPECT_EQ(1, j["setting"]["a"].asInt());  // parsed, and present even when not asked for

    // In: id as text or number; an empty setting keeps the stored one, an
    // empty extra_info replaces it; mtime is not taken.
    gpo.str_extra_info = "{\"old\":true}";
    Json::Value in;
    in["id"] = "34";
    in["setting"] = Json::Value(Json::objectValue);
    in["extra_info"] = Json::Value(Json::objectValue);
    in["mtime"] = 99;
    ASSERT_OK(VUROTARNGpoJsonToStruct(in, &gpo));
    EXPECT_EQ(34, gpo.id);
    EXPECT_EQ("{\"a\":1}", gpo.str_setting);
    EXPECT_EQ("{}", gpo.str_extra_info);
    EXPECT_EQ(0, gpo.mtime);
    in["setting"] = Json::Value(Json::arrayValue);
    ASSERT_OK(VUROTARNGpoJsonToStruct(in, &gpo));
    in["setting"] = Json::Value();
    ASSERT_OK(VUROTARNGpoJsonToStruct(in, &gpo));
    EXPECT_EQ("{\"a\":1}", gpo.str_setting);
    in["id"] = 56;
    in["setting"]["b"] = 2;
    in["parent_id"] = 7;
    ASSERT_OK(VUROTARNGpoJsonToStruct(in, &gpo));
    EXPECT_EQ(56, gpo.id);
    EXPECT_EQ(7, gpo.parent_id);
    EXPECT_EQ(VURO_TARN_TYPE_PEER, gpo.parent_type);  // absent: kept
    EXPECT_EQ("{\"b\":2}", gpo.str_setting);

    EXPECT_EQ(-1, VUROTARNGpoStructToJson(nullptr, Json::Value(), j));
}

TEST_F(GpoTest, PluginsReceiveTheWholeSettingAndTheNumbers) {
    const std::string record =
        "printf '%s' \"$New_Setting\" > \"$VURO_SYSROOT/new_setting.$1\"\n"
        "printf '%s' \"$Org_Setting\" > \"$VURO_SYSROOT/org_setting.$1\"\n"
        "echo \"$1 $RESULT $New_ID $New_ParentID $New_ParentType $Org_ID\" "
        ">> \"$VURO_SYSROOT/numbers.log\"\n";
    pluginInstall("tarngpo/tarngpo_create", record);
    pluginInstall("tarngpo/tarngpo_set", record);
    std::string setting = "{\"blob\":\"" + std::string(10000 - 11, 'x') + "\"}";
    ASSERT_EQ(10000u, setting.size());

    VURO_TARN_GPO gpo;
    gpo.str_name = "Big";
    gpo.parent_type = VURO_TARN_TYPE_OU;
    gpo.parent_id = 4;
    gpo.str_setting = setting;
    ASSERT_OK(VUROTARNGpoCreate(&gpo));
    EXPECT_EQ(setting.size(), readFile(sys("/new_setting.PRE")).size());
    EXPECT_EQ(setting, readFile(sys("/new_setting.POST")));

    setting.replace(9, 1, "y");
    gpo.str_setting = setting;
    ASSERT_OK(VUROTARNGpoSet(&gpo));
    EXPECT_EQ(setting, readFile(sys("/new_setting.POST")));
    EXPECT_EQ(10000u, readFile(sys("/org_setting.POST")).size());  // the stored row, whole
    EXPECT_EQ('x', readFile(sys("/org_setting.POST"))[9]);

    std::string id = std::to_string(gpo.id);
    EXPECT_EQ("PRE 0 -1 4 2 \nPOST 0 " + id +
                  " 4 2 \n"  // create: the id arrives at POST
                  "PRE 0 " +
                  id + " 4 2 " + id + "\nPOST 0 " + id + " 4 2 " + id + "\n",
              readFile(sys("/numbers.log")));
}

TEST_F(GpoTest, RefusedAndFailedWrites) {
    pluginInstall("tarngpo/tarngpo_set", "echo \"$1 $RESULT\" >> \"$VURO_SYSROOT/set.log\"\n");

    VURO_TARN_GPO ghost;
    ghost.id = 777;
    EXPECT_EQ(-1, VUROTARNGpoSet(&ghost));  // no row: no hook
    ghost.id = -2;
    EXPECT_EQ(-1, VUROTARNGpoSave(&ghost));
    EXPECT_EQ("", readFile(sys("/set.log")));
    EXPECT_EQ(-1, VUROTARNGpoDelete(777));

    // The read-back compares the setting too: a row whose setting is not
    // what was written is a failed write, and POST sees it.
    long id = createGpo("P", VURO_TARN_TYPE_OU, 0);
    sql("CREATE TRIGGER mangle AFTER UPDATE ON gpo BEGIN "
        "UPDATE gpo SET setting = setting || ' ' WHERE id = NEW.id AND setting NOT LIKE '% '; "
        "END;");
    VURO_TARN_GPO gpo;
    ASSERT_OK(VUROTARNGpoGet(id, &gpo));
    gpo.str_setting = "{\"gpo_content\":{\"x\":1}}";
    EXPECT_EQ(-1, VUROTARNGpoSet(&gpo));
    EXPECT_EQ(ERR_WRITE_FAILED, QLIBCErrGet());
    EXPECT_EQ("PRE 0\nPOST -1\n", readFile(sys("/set.log")));
}

TEST_F(GpoTest, CommandLine) {
    sql("INSERT INTO peer(id, sn) VALUES (7, 'SN7');");  // policies need an owner that exists
    Json::Value j;
    ASSERT_EQ(0, tarn({"gpo", "create", "--name", "Base", "--parent-type", "ou", "--parent", "0",
                       "--setting", "{\"gpo_content\":{\"a\":1}}", "--extra", "{\"by\":\"ops\"}"},
                      &j));
    long base = j["id"].asInt64();
    EXPECT_EQ(1, j["setting"]["gpo_content"]["a"].asInt());
    EXPECT_EQ(VURO_TARN_TYPE_OU, j["parent_type"].asInt());
    ASSERT_EQ(
        0, tarn({"gpo", "create", "--name", "Lab", "--parent-type", "peer", "--parent", "7"}, &j));
    long lab = j["id"].asInt64();
    EXPECT_TRUE(j["setting"].isNull());

    ASSERT_EQ(0, tarn({"gpo", "set", std::to_string(base), "--desc", "renamed"}, &j));
    EXPECT_EQ("renamed", j["desc"].asString());
    EXPECT_EQ(1, j["setting"]["gpo_content"]["a"].asInt());  // what was not given stays
    ASSERT_EQ(0, tarn({"gpo", "list"}, &j));
    ASSERT_EQ(2u, j.size());
    EXPECT_EQ(base, j[0]["id"].asInt64());  // ascending by default
    ASSERT_EQ(0, tarn({"gpo", "list", "--parent-type", "peer", "--parent", "7"}, &j));
    ASSERT_EQ(1u, j.size());
    EXPECT_EQ(lab, j[0]["id"].asInt64());

    EXPECT_EQ(2, tarn({"gpo", "create", "--name", "X", "--parent-type", "shelf", "--parent", "0"}));
    EXPECT_EQ(2, tarn({"gpo", "create", "--name", "X", "--parent-type", "ou"}));
    EXPECT_EQ(2, tarn({"gpo", "create", "--name", "X", "--parent-type", "ou", "--parent", "0",
                       "--setting", "{broken"}));
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM gpo"));
    ASSERT_EQ(0, tarn({"gpo", "delete", std::to_string(lab)}, &j));
    EXPECT_EQ(1, tarn({"gpo", "get", std::to_string(lab)}));
}

TEST_F(GpoTest, JsonOfAnyShapeNeverThrowsThroughTheLibrary) {
    // Every entry that takes a caller's JSON, fed values of every kind; each
    // answers (a failure is fine), none throws.
    sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'one',0);"
        "INSERT INTO peer(id, sn, parent_id) VALUES (7,'SN7',1);");
    std::vector<Json::Value> shapes = {Json::Value(),
                                       Json::Value(Json::arrayValue),
                                       Json::Value(Json::objectValue),
                                       Json::Value("text"),
                                       Json::Value((Json::UInt64)18446744073709551615ULL),
                                       Json::Value(-1e300),
                                       Json::Value(true)};
    Json::Value withMembers(Json::objectValue);
    for (const char* key : {"gpo_content", "Delegate", "delegate", "id", "name", "user_type",
                            "ugid", "order", "linked_gpo", "setting", "extra_info", "Samba"}) {
        withMembers[key] = Json::Value(Json::arrayValue);
        withMembers[key].append(1);
    }
    shapes.push_back(withMembers);
    Json::Value nested(Json::objectValue);
    nested["gpo_content"]["Samba"] = "x";
    nested["gpo_content"]["Delegate"] = 3;
    nested["order"] = Json::Value(Json::arrayValue);
    nested["order"].append("x");
    nested["delegate"] = Json::Value(Json::arrayValue);
    nested["delegate"].append(Json::Value(Json::arrayValue));
    shapes.push_back(nested);

    for (const Json::Value& a : shapes) {
        for (const Json::Value& b : shapes) {
            std::string what = a.toStyledString() + " / " + b.toStyledString();
            Json::Value x = a, y = b, out;
            EXPECT_NO_THROW(VUROTARNGpoGetPolicyDelegate(7, x, y)) << what;
            x = a, y = b;
            EXPECT_NO_THROW(VUROTARNGpoGetWithVersionConvert(x, y)) << what;
            x = a, y = b;
            EXPECT_NO_THROW(VUROTARNGpoGetWithVersionConvertForFetch(x, y)) << what;
            x = b;
            EXPECT_NO_THROW(VUROTARNHttpReqToJsonForLinkedGpo(a, x)) << what;
            x = a;
            EXPECT_NO_THROW(VUROTARNJsonDiff(a, b, x)) << what;
        }
        std::string what = a.toStyledString();
        Json::Value x = a;
        EXPECT_NO_THROW(VUROTARNGpoGetEvaluate(7, VURO_TARN_TYPE_PEER, x, nullptr)) << what;
        x = a;
        EXPECT_NO_THROW(VUROTARNGpoGetEvaluateExplain(7, VURO_TARN_TYPE_PEER, x)) << what;
        x = a;
        EXPECT_NO_THROW(VUROTARNGpoGetOrder(7, VURO_TARN_TYPE_PEER, x)) << what;
        EXPECT_NO_THROW(VUROTARNLogFormat_LinkedGPOValue(a)) << what;
        x = a;
        EXPECT_NO_THROW(VUROTARNDelegateSetListByTarget(1, VURO_TARN_TYPE_OU, x)) << what;
        x = a;
        EXPECT_NO_THROW(VUROTARNDelegateOverrideListByTarget(1, VURO_TARN_TYPE_OU, x)) << what;
        x = a;
        EXPECT_NO_THROW(VUROTARNDelegateCreateByTarget(1, VURO_TARN_TYPE_OU, x)) << what;

        // The records' JSON forms, both ways.
        Json::Value in = a;
        VURO_TARN_OU ou;
        VURO_TARN_PEER peer;
        VURO_TARN_GPO gpo;
        VURO_TARN_DELEGATE delegate;
        VURO_TARN_INFO info;
        EXPECT_NO_THROW(VUROTARNOuJsonToStruct(in, &ou)) << what;
        EXPECT_NO_THROW(VUROTARNPeerJsonToStruct(in, &peer)) << what;
        EXPECT_NO_THROW(VUROTARNGpoJsonToStruct(in, &gpo)) << what;
        EXPECT_NO_THROW(VUROTARNDelegateJsonToStruct(in, &delegate)) << what;
        EXPECT_NO_THROW(VUROTARNInfoJsonToStruct(in, &info)) << what;
        for (const Json::Value& b : shapes) {
            Json::Value ret = b;
            EXPECT_NO_THROW(VUROTARNOuStructToJson(&ou, a, ret)) << what;
            ret = b;
            EXPECT_NO_THROW(VUROTARNPeerStructToJson(&peer, a, ret)) << what;
            ret = b;
            EXPECT_NO_THROW(VUROTARNGpoStructToJson(&gpo, a, ret)) << what;
            ret = b;
            EXPECT_NO_THROW(VUROTARNDelegateStructToJson(&delegate, a, ret)) << what;
            ret = b;
            EXPECT_NO_THROW(VUROTARNInfoStructToJson(&info, a, ret)) << what;
        }
    }
}
