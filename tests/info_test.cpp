/* info_test.cpp - what a peer reported about itself: one row per peer
 * through the view and its triggers, look-ups by peer and by serial, the
 * JSON form both ways, the hooks under the peer module and the command
 * line. */
#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class InfoTest : public TarnTest {
protected:
    static VURO_TARN_INFO makeInfo(unsigned long long peer, const char* network) {
        VURO_TARN_INFO info;
        VUROTARNInfoItemSetPeerID(&info, peer);
        VUROTARNInfoItemSetGeneral(&info, "{\"model\":\"M-4\"}");
        VUROTARNInfoItemSetNetwork(&info, network);
        return info;
    }
    std::string col(const std::string& column, unsigned long long id) {
        return sqlValue("SELECT " + column + " FROM info_data WHERE id=" + std::to_string(id));
    }
};

TEST_F(InfoTest, OneRowPerPeerAndOnlyChangesAreWritten) {
    VURO_TARN_INFO info = makeInfo(7, "{\"ip\":\"10.0.0.1\"}");
    EXPECT_EQ(~0ULL, info.id);
    ASSERT_OK(VUROTARNInfoSave(&info));
    unsigned long long id = info.id;
    ASSERT_NE(~0ULL, id);
    EXPECT_EQ("{\"ip\":\"10.0.0.1\"}", col("network", id));

    // The same report again: no write, mtime kept.
    sql("UPDATE info_data SET mtime=1000 WHERE id=" + std::to_string(id));
    VURO_TARN_INFO same = makeInfo(7, "{\"ip\":\"10.0.0.1\"}");
    execCountReset("INSERT OR REPLACE INTO info");
    ASSERT_OK(VUROTARNInfoSave(&same));
    EXPECT_EQ(id, same.id);
    EXPECT_EQ(0, execCount());
    EXPECT_EQ("1000", col("mtime", id));

    // One text changes: the row keeps its id and gets a new mtime.
    VURO_TARN_INFO moved = makeInfo(7, "{\"ip\":\"10.0.0.2\"}");
    ASSERT_OK(VUROTARNInfoCreate(&moved));
    EXPECT_EQ(id, moved.id);
    EXPECT_EQ(1, execCount());
    EXPECT_NE("1000", col("mtime", id));
    EXPECT_EQ("{\"ip\":\"10.0.0.2\"}", col("network", id));

    // The record's id plays no part: another id with the same peer, and an
    // all-ones id through Set, both land in the one row.
    VURO_TARN_INFO other = makeInfo(7, "{\"ip\":\"10.0.0.3\"}");
    other.id = id + 100;
    ASSERT_OK(VUROTARNInfoSet(&other));
    EXPECT_EQ(id, other.id);
    VURO_TARN_INFO marker = makeInfo(7, "{\"ip\":\"10.0.0.4\"}");
    ASSERT_OK(VUROTARNInfoSet(&marker));
    EXPECT_EQ(id, marker.id);
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM info_data"));
    EXPECT_EQ("{\"ip\":\"10.0.0.4\"}", col("network", id));

    // Another peer is another row; a delete through the view removes it.
    VURO_TARN_INFO second = makeInfo(8, "{}");
    ASSERT_OK(VUROTARNInfoCreate(&second));
    EXPECT_NE(id, second.id);
    ASSERT_OK(VUROTARNInfoDelete(second.id));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM info_data"));
    VURO_TARN_INFO gone;
    EXPECT_OK(VUROTARNInfoGet(second.id, &gone));  // no row is no failure
    EXPECT_FALSE(gone.available);

    // Clear puts the new-record marker back.
    ASSERT_OK(VUROTARNInfoClear(&moved));
    EXPECT_EQ(~0ULL, moved.id);
    EXPECT_EQ(0ULL, moved.peer_id);
}

TEST_F(InfoTest, LookUpsByPeerAndBySerial) {
    VURO_TARN_PEER peer;
    VUROTARNPeerItemSetSN(&peer, "SN-INFO");
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    VURO_TARN_INFO info = makeInfo((unsigned long long)peer.id, "{}");
    ASSERT_OK(VUROTARNInfoCreate(&info));
    VURO_TARN_INFO stray = makeInfo(999, "{}");  // a peer that isn't stored
    ASSERT_OK(VUROTARNInfoCreate(&stray));

    VURO_TARN_INFO byPeer;
    ASSERT_OK(VUROTARNInfoGetByPEER((unsigned long long)peer.id, &byPeer));
    EXPECT_TRUE(byPeer.available);
    EXPECT_EQ(info.id, byPeer.id);
    EXPECT_EQ("{\"model\":\"M-4\"}", byPeer.str_general);
    VURO_TARN_INFO none;
    EXPECT_OK(VUROTARNInfoGetByPEER(12345, &none));
    EXPECT_FALSE(none.available);
    EXPECT_EQ(-1, VUROTARNInfoGetByPEER(0, &none));
    EXPECT_EQ(-1, VUROTARNInfoGetByPEER(1, nullptr));

    VURO_TARN_INFO_LIST list = nullptr;
    ASSERT_OK(VUROTARNInfoListBySn("SN-INFO", &list));
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(info.id, list->id);
    EXPECT_EQ(nullptr, VUROTARNInfoNext(list));
    VUROTARNInfoListFree(&list);
    ASSERT_OK(VUROTARNInfoListBySn("SN-NONE", &list));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(-1, VUROTARNInfoListBySn(nullptr, &list));
}

TEST_F(InfoTest, JsonBothWays) {
    VURO_TARN_INFO info = makeInfo(3, "{\"ip\":\"10.0.0.1\"}");
    VUROTARNInfoItemSetExtraInfo(&info, "{\"old\":true}");

    // In: only what is present; "storage_info" replaces extra_info whole,
    // an "extra_info" member is not read.
    Json::Value in;
    in["network"]["ip"] = "10.0.0.9";
    ASSERT_OK(VUROTARNInfoJsonToStruct(in, &info));
    EXPECT_EQ("{\"ip\":\"10.0.0.9\"}", info.str_network);
    EXPECT_EQ("{\"model\":\"M-4\"}", info.str_general);
    EXPECT_EQ("{\"old\":true}", info.str_extra_info);
    EXPECT_EQ(3ULL, info.peer_id);
    in.clear();
    in["storage_info"][0]["pool"] = 1;
    in["extra_info"]["ignored"] = 1;
    in["peer_id"] = 4;
    ASSERT_OK(VUROTARNInfoJsonToStruct(in, &info));
    EXPECT_EQ("{\"storage_info\":[{\"pool\":1}]}", info.str_extra_info);
    EXPECT_EQ(4ULL, info.peer_id);

    // Out: id and peer_id on top, the rest under "additional" when wanted.
    Json::Value j;
    ASSERT_OK(VUROTARNInfoStructToJson(&info, Json::Value(Json::arrayValue), j));
    EXPECT_EQ((std::vector<std::string>{"id", "peer_id"}), j.getMemberNames());
    EXPECT_EQ(~0ULL, j["id"].asUInt64());
    Json::Value wanted(Json::arrayValue);
    wanted.append("extra_info");
    ASSERT_OK(VUROTARNInfoStructToJson(&info, wanted, j));
    EXPECT_EQ((std::vector<std::string>{"extra_info"}), j["additional"].getMemberNames());
    EXPECT_EQ(1, j["additional"]["extra_info"]["storage_info"][0]["pool"].asInt());
    ASSERT_OK(VUROTARNInfoStructToJson(&info, Json::Value(), j));
    EXPECT_EQ(8u, j["additional"].size());
    EXPECT_EQ("10.0.0.9", j["additional"]["network"]["ip"].asString());
}

TEST_F(InfoTest, HooksRunUnderThePeerModuleWithIdsOnly) {
    // "tarninfo" has no row in the module table: a hook runs at all only
    // because the family initialises it as "tarnpeer".
    const std::string record =
        "{ echo \"== $1 ${0##*/}\"; env | grep -E '^(RESULT|Org_|New_)' | sort; } >> "
        "\"$VURO_SYSROOT/hooks.log\"\n";
    pluginInstall("tarninfo/tarninfo_create", record);
    pluginInstall("tarnpeer/tarnpeer_set", record);
    pluginInstall("tarninfo/tarninfo_delete", record);

    VURO_TARN_INFO info = makeInfo(5, "{}");
    ASSERT_OK(VUROTARNInfoCreate(&info));
    std::string id = std::to_string(info.id), mtime = std::to_string(info.mtime);
    std::string created = readFile(sys("/hooks.log"));
    EXPECT_EQ(
        "== PRE tarninfo_create\nNew_ID=18446744073709551615\nNew_ModifiedTime=0\n"
        "New_PeerID=5\nRESULT=0\n"
        "== POST tarninfo_create\nNew_ID=" +
            id + "\nNew_ModifiedTime=" + mtime + "\nNew_PeerID=5\nRESULT=0\n",
        created);

    writeFile(sys("/hooks.log"), "");
    VURO_TARN_INFO changed = makeInfo(5, "{\"ip\":1}");
    changed.id = info.id;
    ASSERT_OK(VUROTARNInfoSet(&changed));
    std::string set = readFile(sys("/hooks.log"));
    EXPECT_NE(std::string::npos, set.find("== PRE tarnpeer_set\nNew_ID=" + id + "\n")) << set;
    EXPECT_NE(std::string::npos,
              set.find("Org_ID=" + id + "\nOrg_ModifiedTime=" + mtime + "\nOrg_PeerID=5\n"))
        << set;
    EXPECT_NE(std::string::npos, set.find("== POST tarnpeer_set"));

    writeFile(sys("/hooks.log"), "");
    ASSERT_OK(VUROTARNInfoDelete(info.id));
    std::string deleted = readFile(sys("/hooks.log"));
    EXPECT_NE(std::string::npos, deleted.find("== PRE tarninfo_delete\nOrg_ID=" + id)) << deleted;
    EXPECT_EQ(std::string::npos, deleted.find("New_"));
}

TEST_F(InfoTest, CommandLine) {
    Json::Value j;
    ASSERT_EQ(0, tarn({"peer", "create", "--sn", "SN-CLI"}, &j));
    std::string peer = std::to_string(j["id"].asInt64());
    ASSERT_EQ(0, tarn({"info", "set", "--peer", peer, "--network", "{\"ip\":\"10.0.0.1\"}",
                       "--storage-info", "[1,2]"},
                      &j));
    long long id = j["id"].asInt64();
    EXPECT_EQ(2, j["additional"]["extra_info"]["storage_info"][1].asInt());
    // A report is the whole row: the next one, without storage, drops it.
    ASSERT_EQ(0, tarn({"info", "set", "--peer", peer, "--hdd-info", "[]"}, &j));
    EXPECT_EQ(id, j["id"].asInt64());
    ASSERT_EQ(0, tarn({"info", "get-by-peer", peer}, &j));
    EXPECT_TRUE(j["additional"]["hdd_info"].isArray());
    EXPECT_TRUE(j["additional"]["extra_info"].isNull());
    ASSERT_EQ(0, tarn({"info", "list", "--sn", "SN-CLI"}, &j));
    ASSERT_EQ(1u, j.size());
    EXPECT_EQ(id, j[0]["id"].asInt64());
    EXPECT_EQ(1, tarn({"info", "get-by-peer", "424242"}));
    EXPECT_EQ(2, tarn({"info", "set", "--peer", peer, "--network", "{not json"}));
    EXPECT_EQ(0, tarn({"info", "delete", std::to_string(id)}));
    ASSERT_EQ(0, tarn({"info", "list"}, &j));
    EXPECT_EQ(0u, j.size());
}
