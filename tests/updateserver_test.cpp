/* updateserver_test.cpp - this server's connection info and its sending:
 * entries from each source (interfaces, assignment, configuration keys,
 * dynamic DNS, relay), the collection's failures, the API runner's bad
 * handlers, each road of the sending read back from the simulator, the
 * self update through the local handler, and the two CLI verbs. */
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vuroapirunner.h"
#include "vurojson.h"
#include "vurotarn.h"
#include "vurow3.h"

using namespace tarntest;

namespace {

const char kInfoConf[] = "/etc/vuroinfo.conf";

std::vector<std::string> hostsOf(const Json::Value& conn) {
    std::vector<std::string> out;
    for (const Json::Value& e : conn) out.push_back(e["host"].asString());
    return out;
}

}  // namespace

class UpdateServerTest : public RemoteTest {
protected:
    void network(const std::string& json) { writeFile(sys("/etc/vuro/network.json"), json); }
    void conf(const std::string& key, const std::string& value, const char* file = kInfoConf) {
        ASSERT_OK(QLIBCFileSetKeyValue(file, key.c_str(), value.c_str(), 0));
    }
    void ddns(const std::string& records) {
        writeFile(sys("/etc/vuro/ddns.json"), "{\"records\":" + records + "}");
        conf("supportddns", "yes", "/etc.defaults/vuroinfo.conf");
    }
    void relay(const std::string& services, const std::string& settings) {
        writeFile(sys("/etc/vuro/relay.json"),
                  "{\"permission\":{\"services\":" + services + "},\"settings\":" + settings + "}");
    }
    /* Puts a shell script where the API runner looks for its handler. */
    void handlerReplace(const std::string& body) {
        std::string path = sys(VUROWEBAPI_TOOL_PATH);
        unlink(path.c_str());
        writeFile(path, "#!/bin/sh\n" + body, 0755);
    }
    Json::Value collect(const Json::Value& assign = Json::Value()) {
        Json::Value server;
        EXPECT_TRUE(VUROTARNPeerCollectConnectInfo(server, assign)) << logDump();
        return server;
    }
    // One interface at a fixed address: the smallest network with a host.
    void oneInterface() {
        network(R"({"interfaces":[{"name":"eth0","active":true,"manual":true,
                    "ip":"192.0.2.10"}]})");
    }
};

TEST_F(UpdateServerTest, InterfacesGiveTheirAddressesInScanOrder) {
    network(R"({"interfaces":[
        {"name":"eth0","active":true,"manual":true,"ip":"192.0.2.10","dhcp_ip":"192.0.2.99",
         "ipv6":["2001:db8::10","2001:db8::11"]},
        {"name":"eth1","active":true,"manual":false,"ip":"192.0.2.98","dhcp_ip":"192.0.2.20"},
        {"name":"eth2","active":false,"manual":true,"ip":"192.0.2.30"},
        {"name":"eth3","active":true,"manual":true,"ip":"192.0.2.40","unreadable":true},
        {"name":"eth4","active":true,"manual":true,"ip":"192.0.2.10","ipv6":["2001:db8::10"]}],
      "tun":"2001:db8::99","pppoe":{"up":true,"ip":"192.0.2.77"}})");
    Json::Value conn = collect();
    EXPECT_EQ((std::vector<std::string>{"192.0.2.10", "2001:db8::10", "2001:db8::11", "192.0.2.20",
                                        "2001:db8::10", "2001:db8::99", "192.0.2.77"}),
              hostsOf(conn));
    for (const Json::Value& e : conn) {
        EXPECT_EQ(5000, e["http_port"].asInt()) << e;
        EXPECT_EQ(5001, e["https_port"].asInt()) << e;
        EXPECT_FALSE(e.isMember("relay_path_direct"));
    }
    EXPECT_TRUE(logHas("VURONetIFGetInfo failed(eth3)(")) << logDump();
    EXPECT_TRUE(logHas("VUROTARNPeerCollectConnectInfo, jsServer=[{")) << logDump();

    // High availability publishes its related address per interface, no
    // IPv6 of the node; an interface it names nothing for gives nothing.
    network(R"({"interfaces":[
        {"name":"eth0","active":true,"manual":true,"ip":"192.0.2.10","ipv6":["2001:db8::10"]},
        {"name":"eth1","active":true,"manual":true,"ip":"192.0.2.11"},
        {"name":"eth2","active":false,"manual":true,"ip":"192.0.2.12"}],
      "ha":{"running":true,"related":{"eth0":"192.0.2.50","eth2":"192.0.2.52"}},
      "pppoe":{"up":false,"ip":"192.0.2.77"}})");
    EXPECT_EQ((std::vector<std::string>{"192.0.2.50"}), hostsOf(collect()));
}

TEST_F(UpdateServerTest, AssignedHostsAndPortsReplaceTheScan) {
    // An unreadable interface would log if it were scanned.
    network(R"({"interfaces":[{"name":"eth0","active":true,"unreadable":true}]})");
    conf("external_host_ip", "192.0.2.201");
    Json::Value assign;
    assign["host"].append("a.example");
    assign["host"].append("b.example");
    Json::Value conn = collect(assign);
    EXPECT_EQ((std::vector<std::string>{"a.example", "b.example", "192.0.2.201"}), hostsOf(conn));
    EXPECT_EQ(5000, conn[0]["http_port"].asInt());
    EXPECT_EQ(5001, conn[1]["https_port"].asInt());
    EXPECT_FALSE(logHas("VURONetIFGetInfo failed")) << logDump();

    assign["host"] = "c.example";
    assign["http_port"] = 8080;
    assign["https_port"] = "8443";  // not a number: the local port stays
    conn = collect(assign);
    EXPECT_EQ((std::vector<std::string>{"c.example", "192.0.2.201"}), hostsOf(conn));
    EXPECT_EQ(8080, conn[0]["http_port"].asInt());
    EXPECT_EQ(5001, conn[0]["https_port"].asInt());
    // Without external ports the external entry carries the (assigned) local ones.
    EXPECT_EQ(8080, conn[1]["http_port"].asInt());

    assign["host"] = 5;
    conn = collect(assign);
    EXPECT_EQ((std::vector<std::string>{"192.0.2.201"}), hostsOf(conn));
}

TEST_F(UpdateServerTest, ConfigurationKeysAndDynamicDns) {
    oneInterface();
    conf("external_port_kelp_http", "8000");
    conf("external_port_kelp_https", "8001");
    ddns(R"([{"hostname":"one.example.net"},{"name":"no-hostname"},"text",
             {"hostname":"two.example.net"}])");
    Json::Value conn = collect();
    // No external address: its ports still reach the dynamic DNS entries.
    ASSERT_EQ((std::vector<std::string>{"192.0.2.10", "one.example.net", "two.example.net"}),
              hostsOf(conn));
    EXPECT_EQ(5000, conn[0]["http_port"].asInt());
    EXPECT_EQ(8000, conn[1]["http_port"].asInt());
    EXPECT_EQ(8001, conn[2]["https_port"].asInt());

    conf("external_host_ip", "192.0.2.207");
    EXPECT_EQ((std::vector<std::string>{"192.0.2.10", "192.0.2.207", "one.example.net",
                                        "two.example.net"}),
              hostsOf(collect()));

    // Without dynamic DNS on the platform its service is not even asked.
    conf("supportddns", "no", "/etc.defaults/vuroinfo.conf");
    std::string calls = sys("/calls.txt");
    handlerReplace("echo \"$1\" >> " + calls + "\necho '{\"success\":false}'\n");
    EXPECT_EQ((std::vector<std::string>{"192.0.2.10", "192.0.2.207"}), hostsOf(collect()));
    EXPECT_EQ("VURO.Core.RelayPath.Permission\nVURO.Core.RelayPath\n", readFile(calls));
}

TEST_F(UpdateServerTest, RelayEntryNeedsThePortalAndAnAlias) {
    oneInterface();
    const std::string alias =
        R"({"enabled":true,"server_alias":"myserver","region":"eu","domain":"relay.example"})";
    relay(R"([{"id":"kelp_portal","enabled":true}])", alias);
    Json::Value conn = collect();
    ASSERT_EQ(2u, conn.size()) << conn;
    EXPECT_EQ("myserver.eu.relay.example", conn[1]["host"].asString());
    EXPECT_EQ(0, conn[1]["http_port"].asInt());
    EXPECT_EQ(443, conn[1]["https_port"].asInt());
    EXPECT_TRUE(conn[1]["relay_path_direct"].asBool());

    // A good permission answer without the enabled portal hides it.
    relay(R"([{"id":"kelp_portal","enabled":false},{"id":"other","enabled":true}])", alias);
    EXPECT_EQ(1u, collect().size());
    // Relaying off: nothing.
    relay(R"([{"id":"kelp_portal","enabled":true}])",
          R"({"enabled":false,"server_alias":"myserver","region":"eu","domain":"d"})");
    EXPECT_EQ(1u, collect().size());

    // A permission call that fails does not hide the entry.
    handlerReplace(
        "[ \"$1\" = VURO.Core.RelayPath.Permission ] && exit 3\n"
        "echo '{\"success\":true,\"data\":{\"enabled\":true,\"server_alias\":\"x\","
        "\"region\":\"r\",\"domain\":\"d\"}}'\n");
    conn = collect();
    ASSERT_EQ(2u, conn.size()) << conn;
    EXPECT_EQ("x.r.d", conn[1]["host"].asString());
}

TEST_F(UpdateServerTest, CollectionFailures) {
    network(R"({"interfaces":[]})");
    Json::Value server = "stale";
    EXPECT_FALSE(VUROTARNPeerCollectConnectInfo(server, Json::Value()));
    EXPECT_TRUE(server.isNull());
    EXPECT_TRUE(logHas("GetIP failed, jsHost=[]")) << logDump();
    EXPECT_EQ(-1, VUROTARNPeerSendUpdateServer(1, Json::Value()));
    EXPECT_TRUE(logHas("VUROTARNPeerCollectConnectInfo fail[{\"conn_info\":null}]")) << logDump();

    oneInterface();
    ASSERT_OK(unlink(sys(VUROW3_KELP_CONF_PATH).c_str()));
    logClear();
    EXPECT_FALSE(VUROTARNPeerCollectConnectInfo(server, Json::Value()));
    EXPECT_TRUE(server.isNull());
    EXPECT_TRUE(logHas("get admin port failed")) << logDump();
}

TEST_F(UpdateServerTest, RunnerTurnsEveryBadHandlerIntoAFailureAnswer) {
    ddns(R"([{"hostname":"one.example.net"}])");
    Json::Value resp;
    ASSERT_TRUE(
        VURO::APIRunner::Exec(resp, "VURO.Core.DDNS.Record", 1, "list", Json::Value(), "admin"));
    EXPECT_EQ("one.example.net", resp["data"]["records"][0]["hostname"].asString()) << resp;

    struct Case {
        const char* what;
        std::string body;  // empty: no handler at all
    };
    setenv("VURO_APIRUNNER_TIMEOUT", "1", 1);
    const Case cases[] = {
        {"missing", ""},
        {"crash", "kill -SEGV $$\n"},
        {"time limit", "sleep 20\n"},
        {"no object", "echo '[1,2]'\n"},
    };
    for (const Case& c : cases) {
        if (c.body.empty()) {
            unlink(sys(VUROWEBAPI_TOOL_PATH).c_str());
        } else {
            handlerReplace(c.body);
        }
        time_t start = time(NULL);
        resp = "untouched";
        EXPECT_FALSE(
            VURO::APIRunner::Exec(resp, "VURO.Core.DDNS.Record", 1, "list", Json::Value(), "admin"))
            << c.what;
        EXPECT_TRUE(resp.isObject() && resp["success"].isBool() && !resp["success"].asBool() &&
                    resp["error"]["code"].isInt())
            << c.what << ": " << resp;
        EXPECT_LT(time(NULL) - start, 10) << c.what;
    }
    unsetenv("VURO_APIRUNNER_TIMEOUT");
}

class UpdateServerSimTest : public UpdateServerTest {
protected:
    void simStart(int peers, bool relay = false) {
        PeerSimOptions o;
        o.peers = peers;
        o.relay = relay;
        RemoteTest::simStart(o);
        oneInterface();
    }
    long peerStore(const std::string& sn, const std::string& host, long http, long https,
                   const std::string& sid) {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, sn.c_str());
        VUROTARNPeerItemSetHostName(&peer, ("nas-" + sn).c_str());
        peer.str_host = host;
        peer.http_port = http;
        peer.https_port = https;
        peer.str_sid = sid;
        EXPECT_OK(VUROTARNPeerCreate(&peer));
        return peer.id;
    }
    long simPeer(int i, const std::string& sn = "") {
        return peerStore(sn.empty() ? sim_.sn(i) : sn, "127.0.0.1", sim_.httpPort(i),
                         sim_.httpsPort(i), sim_.token(i));
    }
    /* The connection info each server received, by server index. */
    std::map<int, Json::Value> received() {
        std::map<int, Json::Value> out;
        for (const Json::Value& e : sim_.entries(-1, "call")) {
            if (e["api"].asString() == "VURO.Core.TARN.ServerInfo") {
                out[e["server"].asInt()] = e["params"]["conn_info"];
            }
        }
        return out;
    }
    std::string rows() {
        return sqlValue(
            "SELECT group_concat(id||' '||host||' '||http_port||' '||https_port) "
            "FROM peer");
    }
};

TEST_F(UpdateServerSimTest, EveryServerGetsTheCollectedInfoAllAtOnce) {
    simStart(4);
    Json::Value ids(Json::arrayValue);
    for (int i = 0; i < 4; i++) ids.append((Json::Int64)simPeer(i));
    Json::Value modes;
    modes["delay_ms"] = 300;
    ASSERT_TRUE(sim_.setMode("all", modes)) << sim_.error();
    Json::Value assign;
    assign["https_port"] = 6001;
    std::string before = rows();

    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids, assign)) << logDump();
    Json::Value expected;
    ASSERT_TRUE(VUROTARNPeerCollectConnectInfo(expected, assign));
    std::map<int, Json::Value> got = received();
    ASSERT_EQ(4u, got.size());
    for (const auto& kv : got) EXPECT_EQ(expected, kv.second) << kv.first;
    EXPECT_EQ(6001, expected[0]["https_port"].asInt());
    EXPECT_EQ(4, sim_.record()["max_in_flight"].asInt());
    EXPECT_TRUE(logHas("send new TARN server credentail to 4 client")) << logDump();
    EXPECT_EQ(before, rows());

    // One id, alone or in an array, is the same call.
    ASSERT_TRUE(sim_.reset());
    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids[2], Json::Value()));
    Json::Value one;
    one.append(ids[2]);
    ASSERT_OK(VUROTARNPeerSendUpdateServer(one, Json::Value()));
    Json::Value calls = sim_.entries(-1, "call");
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(calls[0]["params"], calls[1]["params"]);
    EXPECT_EQ(2, calls[1]["server"].asInt());
}

TEST_F(UpdateServerSimTest, BadAnswersAreJudgedEachAndMissingServersLeftOut) {
    simStart(5, true);
    Json::Value ids(Json::arrayValue);
    for (int i = 0; i < 5; i++) ids.append((Json::Int64)simPeer(i));
    ASSERT_TRUE(sim_.setMode(0, parse(R"({"not_json":true})")));
    ASSERT_TRUE(sim_.setMode(1, parse(R"({"no_success":true})")));
    ASSERT_TRUE(sim_.setMode(2, parse(R"({"fail_code":117})")));
    ASSERT_TRUE(sim_.setMode(3, parse(R"({"hang":true})")));
    time_t start = time(NULL);
    EXPECT_EQ(-1, VUROTARNPeerSendUpdateServer(ids, Json::Value()));
    // Cut at the capped time-out of the root, not at 300 s.
    EXPECT_LT(time(NULL) - start, 30);
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(1, logCount("Client " + ids[i].asString() + " response is invalid"))
            << i << logDump();
    }
    EXPECT_EQ(0, logCount("Client " + ids[4].asString() + " response"));
    EXPECT_EQ(5u, received().size());
    ASSERT_TRUE(sim_.clearMode("all"));

    // Servers that cannot get a request drop out quietly: an unreachable
    // address with no relay to ask, and a peer without a token.
    long gone = peerStore("S-GONE", "127.0.0.1", 1, 0, "t");
    long noSid = peerStore("S-NOSID", "127.0.0.1", sim_.httpPort(0), 0, "");
    Json::Value mixed;
    mixed.append((Json::Int64)gone);
    mixed.append((Json::Int64)noSid);
    mixed.append(ids[4]);
    ASSERT_TRUE(sim_.reset());
    logClear();
    EXPECT_OK(VUROTARNPeerSendUpdateServer(mixed, Json::Value())) << logDump();
    EXPECT_TRUE(logHas("send new TARN server credentail to 1 client")) << logDump();
    EXPECT_EQ((std::vector<int>{4}), [&] {
        std::vector<int> v;
        for (const auto& kv : received()) v.push_back(kv.first);
        return v;
    }());

    // A server that moved is found through the relay: the one row written.
    long moved = peerStore("S-MOVED", "127.0.0.1", 1, 0, sim_.token(3));
    sql("UPDATE peer SET relaypath='relay-m' WHERE id=" + std::to_string(moved));
    ASSERT_TRUE(sim_.setRelay("relay-m", "127.0.0.1", "http", sim_.httpPort(3)));
    ASSERT_TRUE(sim_.reset(true, false));
    Json::Value one;
    one.append((Json::Int64)moved);
    EXPECT_OK(VUROTARNPeerSendUpdateServer(one, Json::Value())) << logDump();
    EXPECT_EQ(1u, received().count(3));
    EXPECT_EQ("127.0.0.1 " + std::to_string(sim_.httpPort(3)) + " 0",
              sqlValue("SELECT host||' '||http_port||' '||https_port FROM peer WHERE id=" +
                       std::to_string(moved)));

    // None of them reachable: an empty run, which is a good one.
    mixed.resize(2);
    logClear();
    EXPECT_OK(VUROTARNPeerSendUpdateServer(mixed, Json::Value()));
    EXPECT_FALSE(logHas("send new TARN server credentail")) << logDump();
}

TEST_F(UpdateServerSimTest, SelfUpdateGoesThroughTheLocalHandler) {
    simStart(2);
    char serial[64] = "";
    ASSERT_LT(0, QLIBGetSerialNumber(serial, sizeof(serial)));
    // Its own record points at a simulated server, so a remote call shows.
    long self = simPeer(0, serial);
    long other = simPeer(1);
    Json::Value ids;
    ids.append((Json::Int64)self);
    ids.append((Json::Int64)other);

    // Without the self-join key the own record is called like any other.
    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids, Json::Value()));
    EXPECT_EQ(2u, received().size());
    EXPECT_NE(0, access(sys("/var/vuro/tarn/managed.json").c_str(), F_OK));

    conf("kelp_tarn_self_join", "yes");
    ASSERT_TRUE(sim_.reset());
    logClear();
    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids, Json::Value())) << logDump();
    std::map<int, Json::Value> got = received();
    ASSERT_EQ(1u, got.size());
    EXPECT_EQ(1u, got.count(1));
    EXPECT_TRUE(logHas("send new TARN server credentail to 1 client")) << logDump();
    Json::Value managed = parse(readFile(sys("/var/vuro/tarn/managed.json")));
    EXPECT_EQ(got[1], managed["conn_info"]);

    // A failing handler: logged, and the own record is called remotely.
    handlerReplace("echo '{\"success\":false,\"error\":{\"code\":9}}'\n");
    ASSERT_TRUE(sim_.reset());
    logClear();
    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids, Json::Value()));
    EXPECT_TRUE(logHas("UpdateTARNSelf credential fail {\"error\":{\"code\":9},\"success\":false}"))
        << logDump();
    EXPECT_EQ(2u, received().size());

    // A custom serial names this server instead of the device's one.
    writeFile(sys(VURO_CUSTOM_SERIAL_PATH), "CUSTOM-1\n");
    handlerReplace("echo '{\"success\":true}'\n");
    ASSERT_TRUE(sim_.reset());
    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids, Json::Value()));
    EXPECT_EQ(2u, received().size());
    long custom = simPeer(1, "CUSTOM-1");
    ids.append((Json::Int64)custom);
    ASSERT_TRUE(sim_.reset());
    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids, Json::Value()));
    EXPECT_EQ(2u, sim_.entries(-1, "call").size());

    // No serial at all: said, and no own record is found.
    unlink(sys(VURO_CUSTOM_SERIAL_PATH).c_str());
    unlink(sys(VURO_SERIAL_PATH).c_str());
    logClear();
    ASSERT_OK(VUROTARNPeerSendUpdateServer(ids, Json::Value()));
    EXPECT_TRUE(logHas("Failed to get serial number from flash. [0x")) << logDump();
}

TEST_F(UpdateServerSimTest, CliPrintsAndSendsTheConnectionInfo) {
    simStart(1);
    long id = simPeer(0);
    Json::Value out;
    ASSERT_EQ(0, tarn({"conninfo", "--assign", R"({"host":"nas.example","http_port":81})"}, &out));
    ASSERT_TRUE(out.isArray()) << out;
    EXPECT_EQ("nas.example", out[0]["host"].asString());
    EXPECT_EQ(81, out[0]["http_port"].asInt());

    ASSERT_EQ(0, tarn({"update-server", "[" + std::to_string(id) + "]"}, &out));
    EXPECT_EQ(1u, received().size());
    ASSERT_TRUE(sim_.setMode(0, parse(R"({"fail_code":5})")));
    EXPECT_EQ(1, tarn({"update-server", std::to_string(id)}));

    EXPECT_EQ(2, tarn({"update-server"}));
    EXPECT_EQ(2, tarn({"conninfo", "--bogus"}));
}
