/* gpo_evaluate_test.cpp - the effective policy: whole sets from the first
 * policy in the order that has them, tagged with that policy. */
#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

/* OU 1 under the root links A (enforced), then D and E (plain). */
class EvaluateTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        sql("INSERT INTO gpo(id, name, parent_type, setting) VALUES"
            " (1,'A',2,'{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3,"
            "\"smb_max_protocol\":2,\"gpo_id\":99}}}'),"
            " (4,'D',2,'{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":1,"
            "\"smb_encrypt_transport\":1},\"X\":{\"x\":1}},\"other\":true}'),"
            " (5,'E',2,'{\"gpo_content\":{\"X\":{\"x\":2},\"Y\":{\"y\":3}}}'),"
            " (6,'Empty',2,''), (7,'Braces',2,'{}'), (8,'NoSets',2,'{\"gpo_content\":{}}'),"
            " (9,'Broken',2,'{not json');"
            "INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES (1,'one',0,"
            "'{\"order\":[{\"id\":5},{\"id\":4},{\"id\":1,\"override\":1},{\"id\":6},"
            "{\"id\":7},{\"id\":8}]}'),(2,'bare',0,'');");
    }
};

TEST_F(EvaluateTest, FirstPolicyWithASetWinsIt) {
    Json::Value j(Json::objectValue);
    ASSERT_OK(VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, j, nullptr));
    const Json::Value& c = j["gpo_content"];
    EXPECT_EQ((std::vector<std::string>{"Samba", "X", "Y"}), c.getMemberNames());
    EXPECT_EQ(1, c["Samba"]["gpo_id"].asInt());  // A's, its stored gpo_id replaced
    EXPECT_EQ("A", c["Samba"]["gpo_name"].asString());
    EXPECT_FALSE(c["Samba"].isMember("smb_encrypt_transport"));  // D's attribute stays out
    EXPECT_EQ(3, c["Samba"]["vuro_set_version"].asInt());
    EXPECT_EQ(2, c["X"]["x"].asInt());  // E before D among plain links
    EXPECT_EQ("E", c["X"]["gpo_name"].asString());
    EXPECT_EQ(5, c["Y"]["gpo_id"].asInt());
    EXPECT_FALSE(j.isMember("other"));

    // The caller's order replaces the computed one: D, A, E.
    char order[] = "[{\"id\":4},{\"id\":1},{\"id\":5}]";
    Json::Value k(Json::objectValue);
    ASSERT_OK(VUROTARNGpoGetEvaluate(2, VURO_TARN_TYPE_OU, k, order));
    EXPECT_EQ("D", k["gpo_content"]["Samba"]["gpo_name"].asString());
    EXPECT_EQ(1, k["gpo_content"]["Samba"]["smb_encrypt_transport"].asInt());
    EXPECT_EQ("D", k["gpo_content"]["X"]["gpo_name"].asString());

    // A set the caller brought in stays.
    Json::Value pre(Json::objectValue);
    pre["gpo_content"]["Samba"]["mine"] = true;
    ASSERT_OK(VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, pre, nullptr));
    EXPECT_TRUE(pre["gpo_content"]["Samba"]["mine"].asBool());
    EXPECT_FALSE(pre["gpo_content"]["Samba"].isMember("gpo_id"));
}

TEST_F(EvaluateTest, EmptyCasesAndAllOrNothingFailures) {
    std::string text;
    ASSERT_OK(VUROTARNGpoGetEvaluateStr(2, VURO_TARN_TYPE_OU, text, FALSE, nullptr));
    EXPECT_EQ("{}", text);
    char empty[] = "[]";
    ASSERT_OK(VUROTARNGpoGetEvaluateStr(1, VURO_TARN_TYPE_OU, text, FALSE, empty));
    EXPECT_EQ("{}", text);
    char sets[] = "[{\"id\":6},{\"id\":7},{\"id\":8}]";
    ASSERT_OK(VUROTARNGpoGetEvaluateStr(1, VURO_TARN_TYPE_OU, text, TRUE, sets));
    EXPECT_EQ("{}\n", text);

    Json::Value j(Json::objectValue);
    char broken[] = "[{\"id\":4},{\"id\":9}]";
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, j, broken));
    EXPECT_TRUE(j["gpo_content"].isMember("Samba"));  // what was merged stays
    EXPECT_TRUE(logHas("!jGpoSetting.fromString((gpo.str_setting))")) << logDump();
    char gone[] = "[{\"id\":404}]";
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, j, gone));
    EXPECT_TRUE(logHas("0 > VUROTARNGpoGet(id, &gpo)"));
    char noId[] = "[{\"gpo\":1}]";
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, j, noId));
    char notJson[] = "[{";
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, j, notJson));
    char notArray[] = "{}";
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, j, notArray));
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(-1, VURO_TARN_TYPE_OU, j, empty));
    Json::Value null;
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, null, nullptr));
    // A broken policy linked anywhere above fails the node.
    sql("UPDATE ou SET linked_gpo='{\"order\":[{\"id\":9}]}' WHERE id=0");
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluateStr(2, VURO_TARN_TYPE_OU, text, FALSE, nullptr));
}

TEST_F(EvaluateTest, ExplainNamesWinnersAndWhyTheOthersLost) {
    Json::Value j;
    ASSERT_OK(VUROTARNGpoGetEvaluateExplain(1, VURO_TARN_TYPE_OU, j));
    const Json::Value& samba = j["sets"]["Samba"];
    EXPECT_EQ(1, samba["winner"]["gpo_id"].asInt());
    EXPECT_EQ(1, samba["winner"]["override"].asInt());
    EXPECT_EQ(1, samba["winner"]["node_id"].asInt());
    ASSERT_EQ(1u, samba["losers"].size());
    EXPECT_EQ(4, samba["losers"][0]["gpo_id"].asInt());
    EXPECT_EQ("later in the order", samba["losers"][0]["reason"].asString());
    EXPECT_EQ(5, j["sets"]["X"]["winner"]["gpo_id"].asInt());
    // The explanation agrees with the evaluation itself.
    Json::Value effective(Json::objectValue);
    ASSERT_OK(VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, effective, nullptr));
    EXPECT_EQ(effective, j["effective"]);
    for (const std::string& set : effective["gpo_content"].getMemberNames()) {
        EXPECT_EQ(effective["gpo_content"][set]["gpo_id"], j["sets"][set]["winner"]["gpo_id"]);
    }

    // Below a blocking OU the plain links above are cut off, and say so.
    sql("INSERT INTO ou(id, name, parent_id, block_inheritance) VALUES (10,'blocks',1,1),"
        "(11,'broken',1,0); UPDATE ou SET linked_gpo='{bad' WHERE id=11;");
    ASSERT_OK(VUROTARNGpoGetEvaluateExplain(10, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ(1, j["sets"]["Samba"]["winner"]["gpo_id"].asInt());
    EXPECT_FALSE(j["sets"]["X"].isMember("winner"));
    ASSERT_EQ(2u, j["sets"]["X"]["losers"].size());
    EXPECT_EQ("cut off by the block of ou 10", j["sets"]["X"]["losers"][0]["reason"].asString());
    // An unreadable link text fails the evaluation; the explanation names it.
    std::string text;
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluateStr(11, VURO_TARN_TYPE_OU, text, FALSE, nullptr));
    ASSERT_OK(VUROTARNGpoGetEvaluateExplain(11, VURO_TARN_TYPE_OU, j));
    ASSERT_EQ(1u, j["unreadable_links"].size());
    EXPECT_EQ(11, j["unreadable_links"][0]["node_id"].asInt());
}

TEST_F(EvaluateTest, OrderTextMembersOfTheWrongKind) {
    // A caller's order text: decimal text is an id, anything else is id 0,
    // which no policy has; neither throws.
    Json::Value j(Json::objectValue);
    char text[] = "[{\"id\":\"5\"}]";
    ASSERT_OK(VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, j, text));
    EXPECT_EQ(5, j["gpo_content"]["X"]["gpo_id"].asInt());
    for (std::string odd : {"[{\"id\":[4]}]", "[{\"id\":{}}]", "[{\"id\":1e300}]"}) {
        Json::Value k(Json::objectValue);
        EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, k, &odd[0])) << odd;
    }
    // The same in a stored link text, through the explanation; a link whose
    // flag is no number takes no part, one with the number 0 is plain.
    sql("UPDATE ou SET linked_gpo='{\"order\":[{\"id\":{}},{\"id\":5,\"override\":\"x\"}]}' "
        "WHERE id=1");
    Json::Value jExplain;
    ASSERT_OK(VUROTARNGpoGetEvaluateExplain(1, VURO_TARN_TYPE_OU, jExplain));
    EXPECT_TRUE(jExplain["sets"]["X"]["winner"].isNull());
    sql("UPDATE ou SET linked_gpo='{\"order\":[{\"id\":{}},{\"id\":5,\"override\":0}]}' "
        "WHERE id=1");
    ASSERT_OK(VUROTARNGpoGetEvaluateExplain(1, VURO_TARN_TYPE_OU, jExplain));
    EXPECT_EQ(5, jExplain["sets"]["X"]["winner"]["gpo_id"].asInt());
}
