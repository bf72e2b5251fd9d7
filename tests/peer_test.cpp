/* peer_test.cpp - managed servers stored by serial: the keyed upsert that
 * writes only what changed, status stamps, rows that hang on a peer, look-ups
 * by serial, the change-log texts and the JSON form. */
#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class PeerTest : public TarnTest {
protected:
    VURO_TARN_PEER makePeer(const char* sn, const char* host = "10.0.0.1") {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, sn);
        VUROTARNPeerItemSetHostName(&peer, (std::string("nas-") + sn).c_str());
        VUROTARNPeerItemSetHost(&peer, host);
        VUROTARNPeerItemSetHttpPort(&peer, 5000);
        return peer;
    }
    std::string col(const std::string& column, long id) {
        return sqlValue("SELECT " + column + " FROM peer WHERE id=" + std::to_string(id));
    }
    /* A plain trace: the message behind the euid and pid of the writer. */
    static bool traceHas(const std::string& message) {
        for (const LogLine& l : logLines()) {
            if (l.text.find("(euid=") != std::string::npos &&
                l.text.find(message) != std::string::npos) {
                return true;
            }
        }
        return false;
    }
};

TEST_F(PeerTest, OneRowPerSerialAndOnlyRealChangesAreWritten) {
    VURO_TARN_PEER peer = makePeer("SN-A");
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    long id = peer.id;
    ASSERT_GT(id, 0);
    VURO_TARN_PEER byId, bySn;
    ASSERT_OK(VUROTARNPeerGet(id, &byId));
    ASSERT_OK(VUROTARNPeerGetBySN("SN-A", &bySn));
    EXPECT_EQ("nas-SN-A", byId.str_hostname);
    EXPECT_EQ(id, bySn.id);

    // Unchanged values: nothing is written, mtime stays (set an old one so a
    // rewrite within the same second could not hide).
    sql("UPDATE peer SET mtime=1000 WHERE id=" + std::to_string(id));
    VURO_TARN_PEER again = makePeer("SN-A");
    again.mtime = 0;
    execCountReset("INSERT OR REPLACE INTO peer");
    ASSERT_OK(VUROTARNPeerCreate(&again));
    EXPECT_EQ(id, again.id);
    EXPECT_EQ(0, execCount());
    EXPECT_EQ("1000", col("mtime", id));
    EXPECT_EQ(0, again.mtime);
    // The same through Set, from the row as it was read.
    VURO_TARN_PEER read;
    ASSERT_OK(VUROTARNPeerGet(id, &read));
    ASSERT_OK(VUROTARNPeerSet(&read));
    EXPECT_EQ(0, execCount());
    EXPECT_EQ(1000, read.mtime);

    // A known serial with a new address keeps its row and id.
    VURO_TARN_PEER moved = makePeer("SN-A", "10.0.0.99");
    ASSERT_OK(VUROTARNPeerCreate(&moved));
    EXPECT_EQ(id, moved.id);
    EXPECT_EQ("10.0.0.99", col("host", id));
    EXPECT_NE("1000", col("mtime", id));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM peer WHERE sn='SN-A'"));

    // Status setters stamp their times, so a Set with the same status writes.
    sql("UPDATE peer SET mtime=1000, uptime_mtime=5 WHERE id=" + std::to_string(id));
    VURO_TARN_PEER stored;
    ASSERT_OK(VUROTARNPeerGet(id, &stored));
    ASSERT_OK(VUROTARNPeerItemSetStatus(&stored, stored.status));
    EXPECT_GT(stored.uptime_mtime, 5);
    ASSERT_OK(VUROTARNPeerItemSetStatusByServer(&stored, 2));
    EXPECT_GT(stored.status_by_server_mtime, 0);
    ASSERT_OK(VUROTARNPeerSet(&stored));
    EXPECT_NE("1000", col("mtime", id));
    EXPECT_EQ(std::to_string(stored.uptime_mtime), col("uptime_mtime", id));
    EXPECT_EQ("2", col("status_by_server", id));
}

TEST_F(PeerTest, SetFollowsTheSerialNotTheId) {
    VURO_TARN_PEER a = makePeer("SN-A");
    VURO_TARN_PEER b = makePeer("SN-B");
    ASSERT_OK(VUROTARNPeerCreate(&a));
    ASSERT_OK(VUROTARNPeerCreate(&b));
    // Row a, given b's serial: b's row is rewritten, a's stays as it was.
    VURO_TARN_PEER edit;
    ASSERT_OK(VUROTARNPeerGet(a.id, &edit));
    VUROTARNPeerItemSetSN(&edit, "SN-B");
    VUROTARNPeerItemSetDescription(&edit, "now B");
    ASSERT_OK(VUROTARNPeerSet(&edit));
    EXPECT_EQ(b.id, edit.id);
    EXPECT_EQ("now B", col("desc", b.id));
    EXPECT_EQ("SN-A", col("sn", a.id));
    EXPECT_EQ("", col("desc", a.id));
    // A new serial through Set makes a new row and leaves the old one.
    VUROTARNPeerItemSetSN(&edit, "SN-C");
    ASSERT_OK(VUROTARNPeerSet(&edit));
    EXPECT_NE(b.id, edit.id);
    EXPECT_EQ("3", sqlValue("SELECT count(*) FROM peer"));

    // The Set of the family reports as traces, with euid and pid.
    logClear();
    edit.id = 4242;
    EXPECT_EQ(-1, VUROTARNPeerSet(&edit));
    EXPECT_TRUE(traceHas("get VURO_TARN_PEER failed. id:[4242] [0x")) << logDump();
    edit.id = -5;
    EXPECT_EQ(-1, VUROTARNPeerSet(&edit));
    EXPECT_TRUE(traceHas("Invalid id: [-5]")) << logDump();
    // With no plug-in installed the hooks fail; a Set says so as traces too.
    logClear();
    ASSERT_OK(VUROTARNPeerClear(&edit));
    ASSERT_OK(VUROTARNPeerGet(b.id, &edit));
    VUROTARNPeerItemSetDescription(&edit, "B again");
    ASSERT_OK(VUROTARNPeerSet(&edit));
    EXPECT_TRUE(traceHas("Fail to init tarnpeer/tarnpeer_set plugin (PRE)")) << logDump();
    EXPECT_TRUE(traceHas("Fail to execute tarnpeer/tarnpeer_set plugin (POST)"));
}

TEST_F(PeerTest, RowsOfAPeerSurviveItsReStore) {
    VURO_TARN_PEER peer = makePeer("SN-KEEP");
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    std::string id = std::to_string(peer.id);
    sql("INSERT INTO package(peer_id, pkg_id) VALUES(" + id + ", 'web')");
    sql("INSERT INTO app(peer_id, app_id) VALUES(" + id + ", 'files')");
    sql("INSERT INTO info(id, mtime, peer_id, general) VALUES(NULL, 1, " + id + ", '{}')");
    VURO_TARN_PEER changed = makePeer("SN-KEEP", "10.1.1.1");
    ASSERT_OK(VUROTARNPeerCreate(&changed));  // INSERT OR REPLACE of the row
    EXPECT_EQ(peer.id, changed.id);
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM package WHERE peer_id=" + id));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM app WHERE peer_id=" + id));
    // Server information is read by serial through the view.
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM (SELECT * FROM info WHERE sn='SN-KEEP')"));
    EXPECT_EQ(id, sqlValue("SELECT peer_id FROM info WHERE sn='SN-KEEP'"));
}

TEST_F(PeerTest, LookUpsBySerial) {
    VURO_TARN_PEER peer = makePeer("SN-1");
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    QLIBCErrSetEx(0x77, "caller.cpp", 3);
    logClear();
    VURO_TARN_PEER none;
    EXPECT_EQ(-1, VUROTARNPeerGetBySN("SN-UNKNOWN", &none));
    EXPECT_EQ(0x77, QLIBCErrGet());  // no code, no message
    EXPECT_TRUE(logLines().empty()) << logDump();

    VURO_TARN_PEER_LIST list = nullptr;
    ASSERT_OK(VUROTARNPeerListBySn("SN-UNKNOWN", &list));
    EXPECT_EQ(nullptr, list);
    ASSERT_OK(VUROTARNPeerListBySn("SN-1", &list));
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(peer.id, list->id);
    VUROTARNPeerListFree(&list);
    EXPECT_EQ(-1, VUROTARNPeerListBySn(nullptr, &list));
}

TEST_F(PeerTest, ChangeLogTextsAndJson) {
    VURO_TARN_PEER peer;
    peer.id = 7;
    EXPECT_EQ("<id=7>", VUROTARNPeerGetName(&peer));
    EXPECT_EQ("{gpo_tree:root_ou}", VUROTARNPeerGetParentName(&peer));
    EXPECT_EQ("peer_7", VUROTARNPeerGetObjID(&peer));
    EXPECT_EQ("ou_0", VUROTARNPeerGetParentObjID(&peer));
    VURO_TARN_OU ou;
    ou.str_name = "Branch";
    ASSERT_OK(VUROTARNOuCreate(&ou));
    peer.parent_id = ou.id;
    EXPECT_EQ("Branch", VUROTARNPeerGetParentName(&peer));
    peer.parent_id = 999;
    EXPECT_EQ("", VUROTARNPeerGetParentName(&peer));

    peer.str_hostname = "nas-1";
    peer.str_sid = "secret";
    Json::Value j;
    ASSERT_OK(VUROTARNPeerStructToJson(&peer, Json::Value(Json::arrayValue), j));
    EXPECT_EQ((std::vector<std::string>{"host", "http_port", "id", "node_id", "node_type",
                                        "parent_id", "sid", "sn", "vuro_token"}),
              j.getMemberNames());
    Json::Value wanted(Json::arrayValue);
    wanted.append("hostname");
    ASSERT_OK(VUROTARNPeerStructToJson(&peer, wanted, j));
    EXPECT_EQ("nas-1", j["name"].asString());
    EXPECT_EQ("nas-1", j["hostname"].asString());

    Json::Value in;
    in["relaypath"] = "relay-42";
    in["status"] = 9;
    in["name"] = "ignored";
    in["linked_gpo"] = Json::Value(Json::arrayValue);
    ASSERT_OK(VUROTARNPeerJsonToStruct(in, &peer));
    EXPECT_EQ("relay-42", peer.str_relaypath);
    EXPECT_EQ(9, peer.status);
    EXPECT_EQ(0, peer.uptime_mtime);  // stored as it comes, no stamp
    EXPECT_EQ("nas-1", peer.str_hostname);
    EXPECT_EQ("[]", peer.str_linked_gpo);
}

TEST_F(PeerTest, HooksGetTheFieldsCutTo31Bytes) {
    pluginInstall("tarnpeer/tarnpeer_create",
                  "echo \"$New_SID|$New_SN|$New_HttpPort|$New_RelayPath\" > "
                  "\"$VURO_SYSROOT/hook.out\"\n");
    VURO_TARN_PEER peer = makePeer("SN-H");
    std::string sid(64, 's');
    VUROTARNPeerItemSetSID(&peer, sid.c_str());
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    EXPECT_EQ(sid.substr(0, 31) + "|SN-H|5000|\n", readFile(sys("/hook.out")));
    EXPECT_EQ(sid, col("sid", peer.id));
}
