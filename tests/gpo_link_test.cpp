/* gpo_link_test.cpp - the order of the policies that apply to a node, on the
 * tree of the worked example, and the upkeep of link texts. */
#include <vurojson.h>

#include <algorithm>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

enum { A = 1, B = 2, D = 4, E = 5, F = 6, G = 7, H = 8 };

std::vector<long> orderIds(long id, long type, int* pRet = nullptr) {
    Json::Value j(Json::arrayValue);
    int r = VUROTARNGpoGetOrder(id, type, j);
    if (pRet) *pRet = r;
    std::vector<long> out;
    for (const Json::Value& e : j) out.push_back((long)e["id"].asInt64());
    return out;
}

}  // namespace

/* Root OU 0 - OU 1 - OU 2 - peer 7. OU 0 links A enforced and B plain; OU 1
 * links H plain and D enforced; OU 2 links E plain; peer 7 links F enforced
 * and G plain. */
class GpoLinkTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        sql("INSERT INTO gpo(id, name, desc, parent_type) VALUES (1,'A','a',2),(2,'B','',2),"
            "(4,'D','',2),(5,'E','',2),(6,'F','',1),(7,'G','',1),(8,'H','',2),(15,'O','',2),"
            "(55,'P','',2);"
            "UPDATE ou SET linked_gpo='{\"order\":[{\"id\":1,\"override\":1},"
            "{\"id\":2,\"override\":0}]}' WHERE id=0;"
            "INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES"
            " (1,'one',0,'{\"order\":[{\"id\":8},{\"id\":4,\"override\":1}]}'),"
            " (2,'two',1,'{\"order\":[{\"id\":5,\"override\":0}]}');"
            "INSERT INTO peer(id, sn, parent_id, linked_gpo) VALUES"
            " (7,'SN7',2,'{\"order\":[{\"id\":6,\"override\":1},{\"id\":7}]}');");
    }
    void block(const std::string& table, long id, int on) {
        sql("UPDATE " + table + " SET block_inheritance=" + std::to_string(on) +
            " WHERE id=" + std::to_string(id));
    }
};

TEST_F(GpoLinkTest, TheWorkedExample) {
    const long PEER = VURO_TARN_TYPE_PEER, OU = VURO_TARN_TYPE_OU;
    EXPECT_EQ((std::vector<long>{A, D, F, G, E, H, B}), orderIds(7, PEER));
    block("ou", 1, 1);
    EXPECT_EQ((std::vector<long>{A, D, F, G, E, H}), orderIds(7, PEER));
    block("ou", 1, 0);
    block("peer", 7, 1);
    EXPECT_EQ((std::vector<long>{A, D, F, G}), orderIds(7, PEER));
    block("peer", 7, 0);
    block("ou", 2, 1);
    EXPECT_EQ((std::vector<long>{A, D, F, G, E}), orderIds(7, PEER));
    EXPECT_EQ((std::vector<long>{A, D, E}), orderIds(2, OU));
    block("ou", 2, 0);
    EXPECT_EQ((std::vector<long>{A, D, E, H, B}), orderIds(2, OU));

    // OU 2 also links A plain: A keeps its first place.
    sql("UPDATE ou SET linked_gpo='{\"order\":[{\"id\":5},{\"id\":1}]}' WHERE id=2");
    EXPECT_EQ((std::vector<long>{A, D, F, G, E, H, B}), orderIds(7, PEER));

    // H deleted but still linked: dropped, no failure.
    sql("DELETE FROM gpo WHERE id=8");
    int r = -1;
    EXPECT_EQ((std::vector<long>{A, D, F, G, E, B}), orderIds(7, PEER, &r));
    EXPECT_EQ(0, r);

    // The elements carry where they come from.
    Json::Value j(Json::arrayValue);
    ASSERT_OK(VUROTARNGpoGetOrder(7, PEER, j));
    EXPECT_EQ(0, j[0]["node_id"].asInt());
    EXPECT_EQ(OU, j[0]["node_type"].asInt());
    EXPECT_EQ("A", j[0]["gpo_name"].asString());
    EXPECT_EQ("a", j[0]["gpo_desc"].asString());
    EXPECT_EQ(7, j[2]["node_id"].asInt());
    EXPECT_EQ(PEER, j[2]["node_type"].asInt());
    // A second call into the same array adds nothing that is there.
    ASSERT_OK(VUROTARNGpoGetOrder(2, OU, j));
    EXPECT_EQ(6u, j.size());
}

TEST_F(GpoLinkTest, OddLinkTexts) {
    // override 2 is neither kind; {} and "" add nothing.
    sql("UPDATE ou SET linked_gpo='{\"order\":[{\"id\":5,\"override\":2}]}' WHERE id=2;"
        "UPDATE ou SET linked_gpo='{}' WHERE id=1; UPDATE ou SET linked_gpo='' WHERE id=0;");
    EXPECT_EQ((std::vector<long>{F, G}), orderIds(7, VURO_TARN_TYPE_PEER));
    // A link text the 1024-byte buffer cuts fails that node and all below.
    std::string big = "{\"order\":[";
    for (int i = 0; big.size() < 1100; i++) big += std::string(i ? "," : "") + "{\"id\":5}";
    big += "]}";
    sql("UPDATE ou SET linked_gpo='" + big + "' WHERE id=1");
    int r = 0;
    orderIds(7, VURO_TARN_TYPE_PEER, &r);
    EXPECT_EQ(-1, r);
    orderIds(1, VURO_TARN_TYPE_OU, &r);
    EXPECT_EQ(-1, r);
    orderIds(0, VURO_TARN_TYPE_OU, &r);
    EXPECT_EQ(0, r);
    Json::Value notArray;
    EXPECT_EQ(-1, VUROTARNGpoGetOrder(2, VURO_TARN_TYPE_OU, notArray));
    Json::Value arr(Json::arrayValue);
    EXPECT_EQ(-1, VUROTARNGpoGetOrder(2, 3, arr));
    std::string text;
    ASSERT_OK(VUROTARNGpoGetOrderStr(0, VURO_TARN_TYPE_OU, text));
    EXPECT_EQ("[]", text);
}

TEST_F(GpoLinkTest, LinkTargetsAndRemoval) {
    sql("UPDATE ou SET linked_gpo='{\"order\":[{\"id\":15},{\"id\":55,\"override\":1}]}' "
        "WHERE id=1; UPDATE ou SET linked_gpo='{\"order\":[{\"id\":5,\"override\":2}]}' "
        "WHERE id=0;");
    VURO_TARN_OU* ous = nullptr;
    VURO_TARN_PEER* peers = nullptr;
    ASSERT_OK(VUROTARNGpoGetLinkTarget(E, &ous, &peers));
    ASSERT_NE(nullptr, ous);  // OU 2 ({"id":5,...}) and OU 0 (override 2 still links)
    std::vector<long> ids;
    for (auto p = ous; p; p = p->pNext) ids.push_back(p->id);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ((std::vector<long>{0, 2}), ids);
    EXPECT_EQ(nullptr, peers);
    VUROTARNOuListFree(&ous);

    ASSERT_OK(VUROTARNGpoDeleteAllByID(E));
    EXPECT_EQ("{\"order\":[]}", sqlValue("SELECT linked_gpo FROM ou WHERE id=2"));
    EXPECT_EQ("{\"order\":[{\"id\":15},{\"id\":55,\"override\":1}]}",
              sqlValue("SELECT linked_gpo FROM ou WHERE id=1"));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM gpo WHERE id=5"));
    EXPECT_EQ(-1, VUROTARNGpoDeleteAllByID(B + 100));  // no links, no row: Delete fails
    char out[64];
    EXPECT_EQ(-1, VUROTARNGpoDeleteGpoLinkById(1, "{}", out, sizeof(out)));
    EXPECT_OK(VUROTARNGpoDeleteGpoLinkById(1, "{\"order\":[{\"id\":1},{\"id\":2}],\"x\":1}", out,
                                           sizeof(out)));
    EXPECT_STREQ("{\"order\":[{\"id\":2}],\"x\":1}", out);

    Json::Value req, data;
    req["order"][0]["gpo_id"] = 9;
    req["order"][0]["gpo_name"] = "n";
    req["order"][0]["override"] = 1;
    VUROTARNHttpReqToJsonForLinkedGpo(req, data);
    EXPECT_EQ("{\"order\":[{\"id\":9,\"override\":1}]}", vurojson::toString(data["linked_gpo"]));
    Json::Value plain(5);
    VUROTARNHttpReqToJsonForLinkedGpo(plain, data);
    EXPECT_EQ(5, data["linked_gpo"].asInt());
    // Request data that is no object is left as it is, not thrown through.
    for (Json::Value odd : {Json::Value(Json::arrayValue), Json::Value("x"), Json::Value(7)}) {
        Json::Value before = odd;
        EXPECT_NO_THROW(VUROTARNHttpReqToJsonForLinkedGpo(req, odd));
        EXPECT_EQ(before, odd);
    }
}

TEST_F(GpoLinkTest, LinkTextsThatMustNotThrow) {
    // Ids that are no integers read as 0, no such policy; decimal text reads
    // as its number. A flag that is not the number 0 or 1 (a text, a huge
    // number, one not cut to the int 1, an object, null, a boolean) puts its
    // link in neither kind: it drops out. None of them throws.
    sql("UPDATE ou SET linked_gpo='{\"order\":[{\"id\":{}},{\"id\":1e300},{\"id\":\"8\"},"
        "{\"id\":4,\"override\":\"yes\"},{\"id\":[1]}]}' WHERE id=1;"
        "UPDATE ou SET linked_gpo='{\"order\":[{\"id\":1,\"override\":{}},"
        "{\"id\":2,\"override\":1.0}]}' WHERE id=0;"
        "UPDATE ou SET linked_gpo='{\"order\":[{\"id\":5,\"override\":null},"
        "{\"id\":15,\"override\":true}]}' WHERE id=2;"
        "UPDATE peer SET linked_gpo='{\"order\":[{\"id\":6,\"override\":1e300},"
        "{\"id\":7,\"override\":4294967297}]}' WHERE id=7;");
    // B's 1.0 is the number 1: enforced now.
    EXPECT_EQ((std::vector<long>{B, H}), orderIds(7, VURO_TARN_TYPE_PEER));
    Json::Value jExplain;
    ASSERT_OK(VUROTARNGpoGetEvaluateExplain(7, VURO_TARN_TYPE_PEER, jExplain));
    EXPECT_EQ(2u, jExplain["order"].size());

    char out[128];
    int r = 0;
    ASSERT_OK(VUROTARNGpoDeleteGpoLinkById(
        1, "{\"order\":[{\"id\":\"1\"},{\"id\":{}},{\"id\":\"x\"},{\"id\":2}]}", out, sizeof(out)));
    EXPECT_STREQ("{\"order\":[{\"id\":{}},{\"id\":\"x\"},{\"id\":2}]}", out);

    // The event row of a link edit names the linked policies: ids beyond 64
    // bits are no policy there either.
    VURO_TARN_OU ou;
    ASSERT_OK(VUROTARNOuGet(2, &ou));
    ou.str_linked_gpo = "{\"order\":[{\"id\":18446744073709551615},{\"id\":1e19},{\"id\":5}]}";
    r = -2;
    EXPECT_NO_THROW(r = VUROTARNOuSet(&ou));
    EXPECT_EQ(0, r);

    // Nested deeper than the JSON reader's limit: unreadable, like any
    // text that does not parse.
    std::string deep(1001, '[');
    sql("UPDATE ou SET linked_gpo='" + deep + "' WHERE id=1");
    r = 0;
    orderIds(7, VURO_TARN_TYPE_PEER, &r);
    EXPECT_EQ(-1, r);
    ASSERT_OK(VUROTARNGpoGetEvaluateExplain(7, VURO_TARN_TYPE_PEER, jExplain));
    EXPECT_EQ(1, jExplain["unreadable_links"][0]["node_id"].asInt());
    EXPECT_EQ(-1, VUROTARNGpoDeleteGpoLinkById(1, deep.c_str(), out, sizeof(out)));
}
