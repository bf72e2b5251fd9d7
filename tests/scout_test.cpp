/* scout_test.cpp - servers on the LAN and waking them: scans answered by
 * the simulator over real UDP on loopback (slots by serial and by peer,
 * packet kinds, broken datagrams, a taken port, 200 servers), the statuses
 * a scan stores, the wake calls against a recording wake tool, the wake
 * tool itself, and the whole road through tarn discover and tarn wake. */
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurojson.h"
#include "vuronetsdk.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

std::vector<std::string> serialsOf(const std::vector<NASINFO>& v) {
    std::vector<std::string> out;
    for (const NASINFO& n : v) out.push_back(n.szNewSerial);
    return out;
}

/* Standard error of the work, read back from a file. */
std::string stderrOf(const std::function<void()>& work) {
    char path[] = "/tmp/scout-stderr-XXXXXX";
    int fd = mkstemp(path);
    fflush(stderr);
    int saved = dup(2);
    dup2(fd, 2);
    work();
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    close(fd);
    std::string text = readFile(path);
    unlink(path);
    return text;
}

/* A UDP socket on 127.0.0.1; its port in *pPort. */
int udpBound(int* pPort, int port = 0) {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in a = {};
    a.sin_family = AF_INET;
    a.sin_port = htons((uint16_t)port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    if (fd < 0 || bind(fd, (struct sockaddr*)&a, sizeof(a)) != 0 ||
        getsockname(fd, (struct sockaddr*)&a, &len) != 0) {
        return -1;
    }
    *pPort = ntohs(a.sin_port);
    return fd;
}

}  // namespace

class ScoutTest : public RemoteTest {
protected:
    /* The simulator with n servers answering scans and taking wake
     * packets; a scan listens for windowMs. */
    void simStart(int n, int windowMs = 400) {
        PeerSimOptions o;
        o.peers = n;
        o.scout = true;
        o.wol = true;
        RemoteTest::simStart(o);
        conf("listen_ms", std::to_string(windowMs));
    }
    void conf(const std::string& key, const std::string& value) {
        ASSERT_OK(QLIBCFileSetKeyValue(SCOUT_CONF_PATH, key.c_str(), value.c_str(), 0));
    }
    void scoutSet(const std::string& server, const Json::Value& set) {
        ASSERT_FALSE(sim_.scout(server, set).isNull()) << sim_.error();
    }
    int scansSeen() { return (int)sim_.entries(-1, "scout").size(); }
    long peerStore(const std::string& sn, long status = 0, long statusByServer = 0) {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, sn.c_str());
        peer.status = status;
        peer.status_by_server = statusByServer;
        EXPECT_OK(VUROTARNPeerCreate(&peer));
        return peer.id;
    }
    long status(long id) {
        return std::stol(sqlValue("SELECT status FROM peer WHERE id=" + std::to_string(id)));
    }
};

TEST_F(ScoutTest, ScanFillsSlotsBySerialFromRealAnswers) {
    simStart(4);
    Json::Value sleeping;
    sleeping["state"] = "sleeping";
    scoutSet("3", sleeping);

    // All servers: appended behind what the vector held, each with what the
    // request asked for (its three packet ids) and the fleet's MAC.
    NASINFO old;
    memset(&old, 0, sizeof(old));
    snprintf(old.szNewSerial, sizeof(old.szNewSerial), "OLD");
    std::vector<std::string> none;
    std::vector<NASINFO> found = {old};
    ASSERT_OK(VUROTARNPeerGetScoutInfoBySN(none, found));
    ASSERT_EQ(4u, found.size());
    EXPECT_STREQ("OLD", found[0].szNewSerial);
    std::vector<std::string> got = serialsOf(found);
    std::set<std::string> sns(got.begin() + 1, got.end());
    EXPECT_EQ((std::set<std::string>{sim_.sn(0), sim_.sn(1), sim_.sn(2)}), sns);
    for (size_t i = 1; i < found.size(); i++) {
        EXPECT_EQ(1u, found[i].ulConfigured);
        EXPECT_EQ(2u, found[i].ulPacketType);
        EXPECT_STRNE("", found[i].szServerName);
    }
    Json::Value scans = sim_.entries(-1, "scout");
    ASSERT_EQ(1u, scans.size());
    EXPECT_EQ("[164,165,166]", vurojson::toString(scans[0]["pkt_ids"]));
    EXPECT_EQ(0x1020000u, scans[0]["scout_version"].asUInt());
    EXPECT_EQ(120u, scans[0]["expire_time"].asUInt());

    // Two serials, one asleep: one slot filled, one zeroed; the second scan
    // of this process starts from empty tables, or nothing would be new.
    std::vector<std::string> two = {sim_.sn(3), sim_.sn(1)};
    std::vector<NASINFO> slots;
    ASSERT_OK(VUROTARNPeerGetScoutInfoBySN(two, slots));
    ASSERT_EQ(2u, slots.size());
    EXPECT_STREQ("", slots[0].szNewSerial);
    EXPECT_STREQ("", slots[0].szMac);
    EXPECT_STREQ(sim_.sn(1).c_str(), slots[1].szNewSerial);
    EXPECT_EQ(sim_.mac(1), slots[1].szMac);

    // A serial twice: refused before anything is sent, the vector untouched.
    int before = scansSeen();
    std::vector<std::string> twice = {sim_.sn(0), sim_.sn(1), sim_.sn(0)};
    EXPECT_EQ(-1, VUROTARNPeerGetScoutInfoBySN(twice, slots));
    EXPECT_EQ(2u, slots.size());
    EXPECT_EQ(before, scansSeen());

    // Kinds 2 and 6 are accepted, 3 is not; a serial not asked for leaves the
    // slots alone; a datagram that does not parse harms nothing; a server on
    // two interfaces writes its slot twice, the later answer standing.
    Json::Value s0, s1, s2;
    s0["packet_type"] = 6;
    s0["garbage"] = true;
    s1["packet_type"] = 3;
    s2["interfaces"] = 2;
    scoutSet("0", s0);
    scoutSet("1", s1);
    Json::Value twoIf = sim_.scout("2", s2);
    std::vector<std::string> three = {sim_.sn(0), sim_.sn(1), sim_.sn(2)};
    ASSERT_OK(VUROTARNPeerGetScoutInfoBySN(three, slots));
    EXPECT_EQ((std::vector<std::string>{sim_.sn(0), "", sim_.sn(2)}), serialsOf(slots));
    EXPECT_EQ(6u, slots[0].ulPacketType);
    EXPECT_EQ(twoIf["2"]["macs"][1].asString(), slots[2].szMac);
    // With no serials the second interface is a record of its own.
    std::vector<NASINFO> all;
    ASSERT_OK(VUROTARNPeerGetScoutInfoBySN(none, all));
    EXPECT_EQ(3u, all.size());

    Json::Value stranger;
    stranger["serial"] = "NOT-ASKED";
    scoutSet("0", stranger);
    ASSERT_OK(VUROTARNPeerGetScoutInfoBySN(three, slots));
    EXPECT_EQ((std::vector<std::string>{"", "", sim_.sn(2)}), serialsOf(slots));
}

TEST_F(ScoutTest, AnswerOfAnUnaskedSerialStillTakesItsMac) {
    // The tables outside a scan, so that one MAC can answer twice.
    std::vector<std::string> asked = {"A", "B"};
    std::vector<NASINFO> slots;
    ASSERT_OK(VUROTARNPeerScoutBegin(asked, slots));
    NASINFO n;
    memset(&n, 0, sizeof(n));
    n.ulPacketType = 2;
    snprintf(n.szMac, sizeof(n.szMac), "02:00:00:00:00:01");
    snprintf(n.szNewSerial, sizeof(n.szNewSerial), "ELSE");
    EXPECT_EQ(1, VUROTARNPeerScoutAnswer(&n));
    snprintf(n.szNewSerial, sizeof(n.szNewSerial), "B");
    EXPECT_EQ(1, VUROTARNPeerScoutAnswer(&n));
    VUROTARNPeerScoutEnd();
    EXPECT_EQ((std::vector<std::string>{"", ""}), serialsOf(slots));

    // A scan begun again forgets the MACs: the same answer now fills B.
    ASSERT_OK(VUROTARNPeerScoutBegin(asked, slots));
    EXPECT_EQ(1, VUROTARNPeerScoutAnswer(&n));
    VUROTARNPeerScoutEnd();
    EXPECT_EQ((std::vector<std::string>{"", "B"}), serialsOf(slots));
}

TEST_F(ScoutTest, ScanThatCannotRunFailsAndSaysSo) {
    simStart(1);
    int port = 0;
    int taken = udpBound(&port);
    ASSERT_GE(taken, 0);
    conf("recv_port", std::to_string(port));
    std::vector<std::string> none;
    std::vector<NASINFO> found;
    int ret = 0;
    std::string err = stderrOf([&] { ret = VUROTARNPeerGetScoutInfoBySN(none, found); });
    close(taken);
    EXPECT_EQ(-1, ret);
    EXPECT_NE(std::string::npos, err.find("): Server run error!")) << err;
    EXPECT_EQ(0, scansSeen());

    // No scout.conf destination: the broadcast is refused by the guard.
    conf("recv_port", "0");
    conf("send_ip", "255.255.255.255");
    err = stderrOf([&] { ret = VUROTARNPeerGetScoutInfoBySN(none, found); });
    EXPECT_EQ(-1, ret);
    EXPECT_NE(std::string::npos, err.find("destination refused")) << err;
    EXPECT_TRUE(logHas("destination refused: 255.255.255.255")) << logDump();
}

TEST_F(ScoutTest, TwoHundredServersAllAnswerEveryScan) {
    simStart(200, 1000);
    for (int run = 0; run < 3; run++) {
        std::vector<std::string> none;
        std::vector<NASINFO> found;
        ASSERT_OK(VUROTARNPeerGetScoutInfoBySN(none, found));
        std::vector<std::string> got = serialsOf(found);
        std::set<std::string> sns(got.begin(), got.end());
        EXPECT_EQ(200u, found.size()) << "run " << run;
        EXPECT_EQ(200u, sns.size()) << "run " << run;
    }
}

TEST_F(ScoutTest, ScanByIdKeepsTheOrderOfIds) {
    simStart(3);
    // No peers stored: all servers are scanned for.
    std::vector<long> ids;
    std::vector<NASINFO> found;
    ASSERT_OK(VUROTARNPeerGetScoutInfoByID(ids, found));
    EXPECT_TRUE(ids.empty());
    EXPECT_EQ(3u, found.size());

    long a = peerStore(sim_.sn(2));
    long b = peerStore(sim_.sn(0));
    long c = peerStore("ABSENT");
    ids = {c, a, b};
    found.clear();
    ASSERT_OK(VUROTARNPeerGetScoutInfoByID(ids, found));
    EXPECT_EQ((std::vector<std::string>{"", sim_.sn(2), sim_.sn(0)}), serialsOf(found));

    // An empty list becomes every stored peer, slots in that order.
    ids.clear();
    ASSERT_OK(VUROTARNPeerGetScoutInfoByID(ids, found));
    ASSERT_EQ(3u, ids.size());
    EXPECT_EQ((std::set<long>{a, b, c}), std::set<long>(ids.begin(), ids.end()));
    for (size_t i = 0; i < ids.size(); i++) {
        EXPECT_EQ(ids[i] == c   ? ""
                  : ids[i] == a ? sim_.sn(2)
                                : sim_.sn(0),
                  std::string(found[i].szNewSerial));
    }

    // An id without a row: -1 before any packet.
    int before = scansSeen();
    ids = {a, 999};
    EXPECT_EQ(-1, VUROTARNPeerGetScoutInfoByID(ids, found));
    EXPECT_EQ(before, scansSeen());
}

TEST_F(ScoutTest, StatusUpdateStoresWhatAnswersSay) {
    simStart(4);
    long ready = peerStore(sim_.sn(0), 11, 4);
    long booting = peerStore(sim_.sn(1), 11, 4);
    long asleep = peerStore(sim_.sn(2), 11, 4);
    long odd = peerStore(sim_.sn(3), 11, 4);
    Json::Value boot, sleep, nine;
    boot["state"] = "booting";
    sleep["state"] = "sleeping";
    nine["configured"] = 9;
    scoutSet("1", boot);
    scoutSet("2", sleep);
    scoutSet("3", nine);
    std::vector<long> ids;  // all peers
    ASSERT_OK(VUROTARNPeerUpdateScoutStatusByID(ids));
    EXPECT_EQ(4u, ids.size());
    EXPECT_EQ(2, status(ready));
    EXPECT_EQ(6, status(booting));
    EXPECT_EQ(11, status(asleep));  // no answer: no change
    EXPECT_EQ(11, status(odd));     // a state outside the table stores nothing
    EXPECT_EQ("4", sqlValue("SELECT group_concat(DISTINCT status_by_server) FROM peer"));
    EXPECT_NE("0", sqlValue("SELECT uptime_mtime FROM peer WHERE id=" + std::to_string(ready)));
    EXPECT_EQ("0", sqlValue("SELECT uptime_mtime FROM peer WHERE id=" + std::to_string(asleep)));

    // A write that fails: -1, and the peers before it keep their new status.
    Json::Value readyAll;
    readyAll["state"] = "ready";
    readyAll["configured"] = 3;
    scoutSet("all", readyAll);
    for (const char* op : {"INSERT", "UPDATE"}) {
        sql(std::string("CREATE TRIGGER no_") + op + " BEFORE " + op + " ON peer WHEN NEW.sn='" +
            sim_.sn(2) + "' BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    }
    ids = {ready, booting, asleep, odd};
    EXPECT_EQ(-1, VUROTARNPeerUpdateScoutStatusByID(ids));
    EXPECT_EQ(4, status(ready));
    EXPECT_EQ(4, status(booting));
    EXPECT_EQ(11, status(asleep));
    EXPECT_EQ(11, status(odd));
}

class WakeTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        // A wake tool that writes down its arguments and effective uid
        // (bash -p keeps the effective uid it is given; dash would reset it
        // to the real one).
        std::string tool = sys(VUROTARN_WAKE_TOOL);
        unlink(tool.c_str());
        writeFile(tool,
                  "#!/bin/bash -p\necho \"$(id -u) $*\" >> \"$VURO_SYSROOT/wake.log\"\nexit 1\n",
                  0755);
        interfaces("[{\"name\":\"eth0\"},{\"name\":\"eth1\"},{\"name\":\"bond0\"}]");
    }
    void interfaces(const std::string& list) {
        writeFile(sys(VURONET_CONF_PATH), "{\"interfaces\":" + list + "}");
    }
    std::string calls() {
        std::string text = readFile(sys("/wake.log"));
        unlink(sys("/wake.log").c_str());
        return text;
    }
};

TEST_F(WakeTest, EitherFormReachesTheToolOncePerInterface) {
    const std::string once =
        "0 --wake AA:BB:CC:0D:EE:0F eth0\n0 --wake AA:BB:CC:0D:EE:0F eth1\n"
        "0 --wake AA:BB:CC:0D:EE:0F bond0\n";
    // The tool's exit 1 is no failure of the call.
    EXPECT_OK(VUROTARNPeerWakeOnLan("aa-bb-cc-0d-ee-0f"));
    EXPECT_EQ(once, calls());
    EXPECT_OK(VUROTARNPeerWakeOnLan("Aa:bB:CC:0d:ee:0F"));
    EXPECT_EQ(once, calls());
    EXPECT_FALSE(logHas("wake on lan failed")) << logDump();

    EXPECT_EQ(-1, VUROTARNPeerWakeOnLan("aa:bb:cc"));
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLan("aa-bb-cc"));
    // A signed group reads as a number far past a byte (found by fuzzing):
    // it would reach the tool as "FFFFFFFF:FFFFFFFF".
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLan("-1:-1:-1:-1:-1:-1"));
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLan("aa-bb-cc--1-ee-0f"));
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLan(NULL));
    EXPECT_EQ("", calls());

    interfaces("[]");
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLan("aa-bb-cc-0d-ee-0f"));
    EXPECT_TRUE(logHas("Failed to enum interface")) << logDump();
    EXPECT_EQ("", calls());

    // A tool that does not run to its end (killed: the runner gives -1, as
    // for one that cannot start): said for each interface, every one tried.
    interfaces("[{\"name\":\"eth0\"},{\"name\":\"eth1\"}]");
    writeFile(sys(VUROTARN_WAKE_TOOL), "#!/bin/sh\nkill -KILL $$\n", 0755);
    logClear();
    EXPECT_OK(VUROTARNPeerWakeOnLan("aa-bb-cc-0d-ee-0f"));
    EXPECT_TRUE(logHas("wake on lan failed, mac=AA:BB:CC:0D:EE:0F, if=eth0")) << logDump();
    EXPECT_TRUE(logHas("wake on lan failed, mac=AA:BB:CC:0D:EE:0F, if=eth1")) << logDump();
}

TEST_F(WakeTest, ToolRunsWithRaisedPrivileges) {
    // The interface list is read outside the bracket: the root must be
    // readable to the unprivileged caller.
    chmod(root_.c_str(), 0755);
    // Only the effective uid drops: real and saved stay root, so the
    // bracket can raise.
    int rc = runInChild(
        [] {
            if (setresuid((uid_t)-1, 65534, (uid_t)-1) != 0 || geteuid() != 65534) return 1;
            if (VUROTARNPeerWakeOnLan("02-00-00-00-00-09") != 0) return 2;
            return geteuid() == 65534 ? 0 : 3;
        },
        30000);
    EXPECT_EQ(0, rc);
    // The tool saw root; a missing bracket would show uid 65534.
    std::string text = calls();
    EXPECT_EQ(3, (int)std::count(text.begin(), text.end(), '\n')) << text;
    EXPECT_EQ(0u, text.find("0 --wake 02:00:00:00:00:09 eth0")) << text;
}

TEST_F(WakeTest, ByPeerWakesEachMacOfItsNetworkInformation) {
    interfaces("[{\"name\":\"eth0\"}]");
    VURO_TARN_PEER peer;
    VUROTARNPeerItemSetSN(&peer, "NAS-1");
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    auto network = [&](const std::string& text) {
        VURO_TARN_INFO info;
        info.peer_id = (unsigned long long)peer.id;
        info.str_network = text;
        ASSERT_OK(VUROTARNInfoSave(&info));
    };

    // No information row: no read failure, but nothing to parse.
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLanByID(peer.id));
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLanByID(0));

    network("{\"nif\":{\"mac\":\"02-00-00-00-00-01\"}}");
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLanByID(peer.id));
    network("{\"general\":1}");
    EXPECT_EQ(-1, VUROTARNPeerWakeOnLanByID(peer.id));
    EXPECT_EQ("", calls());

    network(
        "{\"nif\":[{\"mac\":\"02-00-00-00-00-01\"},{\"name\":\"eth1\"},"
        "{\"mac\":\"02:00:00:00:00:0a\"},{\"mac\":\"broken\"}]}");
    logClear();
    EXPECT_OK(VUROTARNPeerWakeOnLanByID(peer.id));
    EXPECT_EQ("0 --wake 02:00:00:00:00:01 eth0\n0 --wake 02:00:00:00:00:0A eth0\n", calls());
    EXPECT_TRUE(logHas("Failed to parse mac address [broken]")) << logDump();
}

TEST_F(ScoutTest, WakeToolSendsTheMagicPacketOnlyToLoopback) {
    const std::string tool = sys(VUROTARN_WAKE_TOOL);
    int port = 0;
    int fd = udpBound(&port);
    ASSERT_GE(fd, 0);
    writeFile(sys("/etc/vuro/wol.conf"), "dest=127.0.0.1:" + std::to_string(port) + "\n");
    std::string err;
    EXPECT_EQ(0, runProgram({tool, "--wake", "0a-1b-2c-3d-4e-5f", "lo"}, nullptr, &err)) << err;
    unsigned char buf[256];
    struct pollfd p = {fd, POLLIN, 0};
    ASSERT_EQ(1, poll(&p, 1, 5000));
    ssize_t n = recv(fd, buf, sizeof(buf), 0);
    close(fd);
    ASSERT_EQ(102, n);
    const unsigned char mac[6] = {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f};
    for (int i = 0; i < 6; i++) EXPECT_EQ(0xFF, buf[i]);
    for (int i = 0; i < 16; i++) EXPECT_EQ(0, memcmp(buf + 6 + i * 6, mac, 6)) << i;

    // No wol.conf: the broadcast is refused while the guard is on.
    unlink(sys("/etc/vuro/wol.conf").c_str());
    EXPECT_EQ(1, runProgram({tool, "--wake", "0A:1B:2C:3D:4E:5F", "lo"}, nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("destination refused: 255.255.255.255:9")) << err;
    EXPECT_EQ(1, runProgram({tool, "--wake", "0A:1B:2C:3D:4E:5F", "nosuchif9"}, nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("no interface nosuchif9")) << err;
    for (const std::vector<std::string>& bad :
         std::vector<std::vector<std::string>>{{tool},
                                               {tool, "--wake", "0A:1B:2C-3D:4E:5F", "lo"},
                                               {tool, "--sleep", "0A:1B:2C:3D:4E:5F", "lo"},
                                               {tool, "--wake", "0A:1B:2C:3D:4E:5F", "lo", "x"}}) {
        EXPECT_EQ(2, runProgram(bad, nullptr, &err)) << bad.size();
        EXPECT_NE(std::string::npos, err.find("usage: vuronet")) << err;
    }
}

TEST_F(ScoutTest, SleepingServerWokenThroughTheToolBootsThenIsReady) {
    simStart(2);
    // The real wake tool, one interface, the simulator's wake listener.
    writeFile(sys(VURONET_CONF_PATH), "{\"interfaces\":[{\"name\":\"lo\"}]}");
    Json::Value out;
    ASSERT_EQ(0, tarn({"peer", "import", sys("/fleet.json")}, &out));
    long awake = std::stol(sqlValue("SELECT id FROM peer WHERE sn='" + sim_.sn(0) + "'"));
    long asleep = std::stol(sqlValue("SELECT id FROM peer WHERE sn='" + sim_.sn(1) + "'"));
    std::string ids = std::to_string(awake) + "," + std::to_string(asleep);
    ASSERT_EQ(0, tarn({"info", "set", "--peer", std::to_string(asleep), "--network",
                       "{\"nif\":[{\"name\":\"eth0\",\"mac\":\"" + sim_.mac(1) + "\"}]}"}));
    Json::Value sleep;
    sleep["state"] = "sleeping";
    scoutSet("1", sleep);

    auto statuses = [&] {
        Json::Value j;
        EXPECT_EQ(0, tarn({"discover", "--ids", ids, "--update"}, &j));
        return std::to_string(j[0]["status"].asInt()) + " " +
               std::to_string(j[1]["status"].asInt());
    };
    EXPECT_EQ("2 0", statuses());
    ASSERT_EQ(0, tarn({"discover"}, &out));
    EXPECT_EQ(1u, out.size());

    ASSERT_EQ(0, tarn({"wake", "--peer", std::to_string(asleep)}, &out));
    // The packet is on its way when the tool ends; the listener takes it
    // in its own time.
    Json::Value wol;
    for (int i = 0; i < 200 && wol.empty(); i++) {
        wol = sim_.entries(-1, "wol");
        if (wol.empty()) usleep(10000);
    }
    ASSERT_EQ(1u, wol.size());
    EXPECT_TRUE(wol[0]["valid"].asBool());
    EXPECT_EQ(1, wol[0]["server"].asInt());
    EXPECT_EQ("sleeping", wol[0]["was"].asString());
    EXPECT_EQ("2 6", statuses());
    EXPECT_EQ("2 2", statuses());

    ASSERT_EQ(0, tarn({"discover", "--sn", sim_.sn(1) + ",NOPE"}, &out));
    ASSERT_EQ(2u, out.size());
    EXPECT_EQ(sim_.sn(1), out[0]["sn"].asString());
    EXPECT_FALSE(out[1]["found"].asBool());

    // Bad arguments exit 2, a failed operation 1.
    EXPECT_EQ(2, tarn({"discover", "--sn", "A", "--all"}));
    EXPECT_EQ(2, tarn({"discover", "--update"}));
    EXPECT_EQ(2, tarn({"discover", "--ids", "999"}));
    EXPECT_EQ(2, tarn({"wake"}));
    EXPECT_EQ(2, tarn({"wake", "--peer", "999"}));
    EXPECT_EQ(1, tarn({"discover", "--sn", "A,A"}));
    EXPECT_EQ(1, tarn({"wake", "--peer", std::to_string(awake)}));
}

TEST(ScoutPacketTest, ParserTakesItsOwnDatagramsAndNothingCutOrOversized) {
    SCOUTPACKET in;
    memset(&in, 0, sizeof(in));
    snprintf(in.info.szMac, sizeof(in.info.szMac), "02:53:49:00:00:01");
    snprintf(in.info.szNewSerial, sizeof(in.info.szNewSerial), "SN-1");
    in.info.ulPacketType = 2;
    in.info.ulConfigured = 5;
    in.cPktID = 2;
    in.rgPktID[0] = 164;
    in.rgPktID[1] = 166;
    unsigned char buf[SCOUT_MAX_DATAGRAM];
    int len = SCOUTPacketBuild(&in, buf, sizeof(buf));
    ASSERT_GT(len, SCOUT_HEADER_SIZE);
    SCOUTPACKET out;
    ASSERT_OK(SCOUTPacketParse(buf, (size_t)len, &out));
    EXPECT_EQ(0, memcmp(&in, &out, sizeof(in)));

    // Every cut, and one byte more, is refused and leaves a zeroed packet.
    for (int cut = 0; cut < len; cut++) {
        EXPECT_EQ(-1, SCOUTPacketParse(buf, (size_t)cut, &out)) << cut;
    }
    buf[len] = 0;
    EXPECT_EQ(-1, SCOUTPacketParse(buf, (size_t)len + 1, &out));
    EXPECT_STREQ("", out.info.szMac);

    // A field of a later format is skipped; a text that fills its member,
    // a number of the wrong size and a stray terminator are not taken.
    auto datagram = [](unsigned id, const std::string& value) {
        std::string d = std::string(SCOUT_MAGIC) + '\x01' + '\0' + '\0' + '\x01';
        d += (char)(id >> 8);
        d += (char)id;
        d += (char)(value.size() >> 8);
        d += (char)value.size();
        return d + value;
    };
    std::string later = datagram(900, "whatever");
    EXPECT_OK(SCOUTPacketParse(later.data(), later.size(), &out));
    std::string mac31 = datagram(SCOUT_FIELD_MAC, std::string(31, 'A'));
    EXPECT_OK(SCOUTPacketParse(mac31.data(), mac31.size(), &out));
    std::string mac32 = datagram(SCOUT_FIELD_MAC, std::string(32, 'A'));
    EXPECT_EQ(-1, SCOUTPacketParse(mac32.data(), mac32.size(), &out));
    std::string shortNumber = datagram(SCOUT_FIELD_PACKET_TYPE, "\x02");
    EXPECT_EQ(-1, SCOUTPacketParse(shortNumber.data(), shortNumber.size(), &out));
    std::string inner = datagram(SCOUT_FIELD_SERIAL, std::string("A\0B", 3));
    EXPECT_EQ(-1, SCOUTPacketParse(inner.data(), inner.size(), &out));
    std::string badMagic = later;
    badMagic[0] = 'X';
    EXPECT_EQ(-1, SCOUTPacketParse(badMagic.data(), badMagic.size(), &out));
    // More packet ids than a request holds.
    std::string many =
        std::string(SCOUT_MAGIC) + '\x01' + '\0' + '\0' + (char)(SCOUT_MAX_PKTID + 1);
    for (int i = 0; i <= SCOUT_MAX_PKTID; i++) many += std::string("\0\x04\0\x04\0\0\0\x01", 8);
    EXPECT_EQ(-1, SCOUTPacketParse(many.data(), many.size(), &out));
}
