/* remote_stress_test.cpp - many handler processes at once against one
 * simulated fleet of 200 servers: joins of the same servers racing each
 * other, cache pushes, fetch notices to OUs of 50 (a child per server),
 * connection info, scans and session checks. Afterwards the rows, the
 * session store, the log and the process table must hold exactly what the
 * callers were told. */
#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurocgi.h"
#include "vurojson.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

const int kProcesses = 8;
const int kServers = 200;
const int kStored = 150;  // servers 0..149 are stored in three OUs of 50
const int kOuSize = 50;
const int kSlice = 10;  // servers per join, connection info send and scan
// Each exchange's time-out; a notice's child makes two, so it must end
// within this from the notice on.
const int kCredTimeoutMs = 5000;

/* What one process did and was told. */
struct Tally {
    long joins = 0, pushes = 0, pushed = 0, notices = 0, sends = 0, scans = 0, checks = 0;
    long joinSessions = 0;                   // sessions the joins made, one per entry
    long created = 0, deleted = 0;           // sessions of the checks
    std::set<std::string> joined;            // serials a join stored
    double slowest[6] = {0, 0, 0, 0, 0, 0};  // seconds, by operation
    std::vector<std::string> failures;
};

}  // namespace

class RemoteStressTest : public RemoteTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        writeFile(sys("/etc/vuro/custom_serial"), "CUSTOM-77\n");
        writeFile(sys("/etc/vuro/network.json"),
                  R"({"interfaces":[{"name":"eth0","active":true,"manual":true,)"
                  R"("ip":"192.0.2.10"}]})");
        PeerSimOptions o;
        o.peers = kServers;
        o.scout = true;
        simStart(o, kCredTimeoutMs);
        // A short listening window: a scan is a few hundred ms, not seconds.
        ASSERT_OK(QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "listen_ms", "300", 0));
        for (int k = 0; k < kStored / kOuSize; k++) {
            VURO_TARN_OU ou;
            ou.str_name = "fleet " + std::to_string(k);
            ASSERT_OK(VUROTARNOuCreate(&ou));
            ous_.push_back(ou.id);
        }
        for (int i = 0; i < kStored; i++) {
            VURO_TARN_PEER peer;
            peer.str_sn = sim_.sn(i);
            peer.str_hostname = sim_.server(i)["hostname"].asString();
            peer.str_host = "127.0.0.1";
            peer.http_port = sim_.httpPort(i);
            peer.str_sid = sim_.token(i);
            peer.status = peer.status_by_server = 2;
            peer.parent_id = ous_[i / kOuSize];
            ASSERT_OK(VUROTARNPeerCreate(&peer));
            ids_.push_back(peer.id);
        }
    }

    /* The fleet entries of servers from..from+kSlice-1 as a caller of the
     * join passes them. */
    Json::Value joinList(int from) {
        Json::Value list(Json::arrayValue);
        for (int i = from; i < from + kSlice; i++) {
            Json::Value e = sim_.server(i);
            e.removeMember("hostname");
            e.removeMember("macs");
            list.append(e);
        }
        return list;
    }

    void fail(Tally& t, const std::string& what) { t.failures.push_back(what + "\n" + logDump()); }

    /* One process's loop. Every process runs the same sequence of joins,
     * the new servers 150..199 first, so that joins of one serial meet. */
    void run(int p, double deadline, Tally& t) {
        Json::Value server;
        server["host"] = "192.0.2.10";
        for (long n = 0; now() < deadline; n++) {
            logClear();
            // Every process starts with the same join: they race for the
            // new serials.
            int op = n == 0 ? 0 : (int)((n + p) % 6);
            double started = now();
            if (op == 0) {
                int from = (int)((kStored + t.joins * kSlice) % kServers);
                Json::Value list = joinList(from);
                t.joins++;
                t.joinSessions += kSlice;
                if (VUROTARNPeerSendCreateServer(list, server) != 0) {
                    fail(t, "join from " + std::to_string(from));
                } else if (logCount("create server fail") + logCount("Process fail") != 0) {
                    fail(t, "a server of the join from " + std::to_string(from) + " failed");
                } else {
                    for (const Json::Value& e : list) t.joined.insert(e["sn"].asString());
                }
            } else if (op == 1) {
                // A slice of the fleet, the joined servers included.
                std::set<std::string> slice;
                int from = (int)((n * 11 + p * kSlice) % kServers);
                for (int i = 0; i < kSlice; i++) slice.insert(sim_.sn((from + i) % kServers));
                auto inSlice = [](VURO_TARN_PEER* pPeer, void* pData) -> BOOL {
                    return static_cast<std::set<std::string>*>(pData)->count(pPeer->str_sn) != 0;
                };
                VURO_TARN_PEER_LIST list = nullptr;
                Json::Value jData;
                t.pushes++;
                if (VUROTARNPeerListAll(&list, inSlice, &slice) != 0 ||
                    !VUROTARNPeerUpdateCache(list, jData)) {
                    fail(t, "push");
                }
                t.pushed += jData.size();
                for (const Json::Value& a : jData) {
                    if (!a["success"].asBool()) fail(t, "push answer " + vurojson::toString(a));
                }
                VUROTARNPeerListFree(&list);
            } else if (op == 2) {
                // Whatever stdio holds would be written again by each child.
                fflush(stdout);
                fflush(stderr);
                long ou = ous_[(size_t)(n + p) % ous_.size()];
                t.notices++;
                if (VUROTARNGpoNotifyFetch(0, VURO_TARN_TYPE_OU, ou) != 0) {
                    fail(t, "notice to OU " + std::to_string(ou));
                }
                Reaped r = reapChildren(kOuSize, kCredTimeoutMs, -1);
                if (r.count != kOuSize || r.exited0 != kOuSize) {
                    fail(t, "notice children: " + std::to_string(r.count) + " reaped, " +
                                std::to_string(r.exited0) + " ended in time with 0");
                }
            } else if (op == 3) {
                Json::Value ids(Json::arrayValue);
                int from = (int)((n * 7 + p * kSlice) % kStored);
                for (int i = 0; i < kSlice; i++) {
                    ids.append((Json::Int64)ids_[(size_t)(from + i) % kStored]);
                }
                t.sends++;
                if (VUROTARNPeerSendUpdateServer(ids, Json::Value()) != 0) fail(t, "send info");
            } else if (op == 4) {
                std::vector<long> vID;
                std::vector<std::string> vSerials;
                int from = (int)((n * 13 + p * kSlice) % kStored);
                for (int i = 0; i < kSlice; i++) {
                    vID.push_back(ids_[(size_t)(from + i) % kStored]);
                    vSerials.push_back(sim_.sn((from + i + kSlice) % kStored));
                }
                t.scans++;
                std::vector<NASINFO> info;
                if (VUROTARNPeerUpdateScoutStatusByID(vID) != 0 ||
                    VUROTARNPeerGetScoutInfoBySN(vSerials, info) != 0) {
                    fail(t, "scan");
                } else if (info.size() != vSerials.size()) {
                    fail(t, "scan slots");
                } else {
                    // A slot holds the serial asked for, or nothing when that
                    // server's answer missed the window (a loaded machine).
                    for (size_t i = 0; i < info.size(); i++) {
                        if (info[i].szNewSerial[0] != '\0' && vSerials[i] != info[i].szNewSerial) {
                            fail(t, "scan slot of " + vSerials[i] + ": " + info[i].szNewSerial);
                        }
                    }
                }
            } else {
                std::string serial = "CHK-" + std::to_string(p) + "-" + std::to_string(n);
                std::string token, got;
                t.checks++;
                if (!VUROTARNPeerCreateSessionBySn(serial, token)) {
                    fail(t, "session of " + serial);
                    continue;
                }
                t.created++;
                if (!VUROTARNPeerCheckWebapiPriviege(token, "VURO.NotificationCenter.Send", &got) ||
                    got != serial ||
                    VUROTARNPeerCheckWebapiPriviege(token, "VURO.Core.Storage", nullptr)) {
                    fail(t, "check of " + serial + " (" + got + ")");
                }
                // Every other one goes again, and then lets nobody in.
                if (n % 12 < 6) {
                    if (!VUROTARNPeerDeleteSessionBySn(serial)) {
                        fail(t, "removal of " + serial);
                    } else {
                        t.deleted++;
                        if (VUROTARNPeerCheckWebapiPriviege(token, "VURO.NotificationCenter.Send",
                                                            nullptr)) {
                            fail(t, "removed session of " + serial + " still passes");
                        }
                    }
                }
            }
            t.slowest[op] = std::max(t.slowest[op], now() - started);
        }
        if (!childrenNow().empty()) fail(t, "children left behind");
    }

    Json::Value toJson(const Tally& t) {
        Json::Value j;
        j["joins"] = (Json::Int64)t.joins;
        j["pushes"] = (Json::Int64)t.pushes;
        j["pushed"] = (Json::Int64)t.pushed;
        j["notices"] = (Json::Int64)t.notices;
        j["sends"] = (Json::Int64)t.sends;
        j["scans"] = (Json::Int64)t.scans;
        j["checks"] = (Json::Int64)t.checks;
        j["join_sessions"] = (Json::Int64)t.joinSessions;
        j["created"] = (Json::Int64)t.created;
        j["deleted"] = (Json::Int64)t.deleted;
        j["joined"] = Json::arrayValue;
        for (const std::string& sn : t.joined) j["joined"].append(sn);
        for (double d : t.slowest) j["slowest"].append(d);
        j["failures"] = Json::arrayValue;
        for (const std::string& f : t.failures) j["failures"].append(f);
        return j;
    }

    std::vector<long> ous_;
    std::vector<long> ids_;
};

TEST_F(RemoteStressTest, ManyCallersAgainstOneFleet) {
    const double deadline = now() + stressSeconds();
    std::vector<pid_t> pids;
    fflush(stdout);
    fflush(stderr);
    for (int p = 0; p < kProcesses; p++) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            Tally t;
            run(p, deadline, t);
            std::ofstream out(root_ + "/caller" + std::to_string(p) + ".json");
            out << toJson(t);
            out.close();  // _exit flushes nothing
            _exit(out.good() ? 0 : 4);
        }
        pids.push_back(pid);
    }
    // The last operation may start at the deadline; a notice's children
    // then have their time-out.
    const int graceMs = (stressSeconds() + 30) * 1000;
    for (pid_t pid : pids) EXPECT_EQ(0, reapWithin(pid, graceMs)) << "caller " << pid;

    Json::Value total(Json::objectValue);
    std::set<std::string> joined;
    long sessions = 0;
    for (int p = 0; p < kProcesses; p++) {
        Json::Value t;
        std::string text = readFile(root_ + "/caller" + std::to_string(p) + ".json");
        ASSERT_TRUE(vurojson::fromString(t, text))
            << "caller " << p << ": " << text.substr(0, 2000);
        for (const Json::Value& f : t["failures"]) ADD_FAILURE() << "caller " << p << ": " << f;
        for (const char* k : {"joins", "pushes", "pushed", "notices", "sends", "scans", "checks"}) {
            total[k] = total.get(k, 0).asInt64() + t[k].asInt64();
        }
        for (const Json::Value& sn : t["joined"]) joined.insert(sn.asString());
        for (int op = 0; op < 6; op++) {
            total["slowest"][op] =
                std::max(total["slowest"][op].asDouble(), t["slowest"][op].asDouble());
        }
        sessions += t["join_sessions"].asInt64() + t["created"].asInt64() - t["deleted"].asInt64();
    }
    printf("in %d s by %d processes: %s\n", stressSeconds(), kProcesses,
           vurojson::toString(total).c_str());
    for (const char* k : {"joins", "pushes", "notices", "sends", "scans", "checks"}) {
        EXPECT_GT(total[k].asInt64(), 0) << k << ": the callers hardly ran";
    }

    // One row per serial: the stored servers and every new one a join
    // stored, each once, with no status but those the operations write.
    EXPECT_EQ("", sqlValue("SELECT ifnull(group_concat(sn), '') FROM (SELECT sn FROM peer "
                           "GROUP BY sn HAVING COUNT(*) > 1)"));
    std::set<std::string> expected(joined);
    for (int i = 0; i < kStored; i++) expected.insert(sim_.sn(i));
    std::set<std::string> stored;
    std::string all = sqlValue("SELECT group_concat(sn, ' ') FROM peer");
    for (size_t at = 0; at < all.size();) {
        size_t end = std::min(all.find(' ', at), all.size());
        stored.insert(all.substr(at, end - at));
        at = end + 1;
    }
    EXPECT_EQ(expected, stored);
    // The scan writes 2 (ready), the join and the push 9, a push that does
    // not reach a server 10; the scan leaves status_by_server alone.
    EXPECT_EQ("",
              sqlValue("SELECT ifnull(group_concat(sn||':'||status||'/'||status_by_server), '') "
                       "FROM peer "
                       "WHERE status NOT IN (2, 9, 10) OR status_by_server NOT IN (2, 9, 10)"));
    EXPECT_EQ("ok", sqlValue("PRAGMA integrity_check"));
    EXPECT_EQ("ok", logValue("PRAGMA integrity_check"));
    EXPECT_EQ(0, logFileCount("database is locked"));

    // The session store: every line whole, the joins' and the checks'
    // sessions, less those removed.
    std::string text = readFile(sys(VUROCGI_SESSION_FILE));
    long lines = 0;
    for (size_t at = 0; at < text.size(); lines++) {
        size_t end = text.find('\n', at);
        ASSERT_NE(std::string::npos, end) << "the last line is cut";
        Json::Value s;
        EXPECT_TRUE(vurojson::fromString(s, text.substr(at, end - at)) && s["id"].isString())
            << "line " << lines + 1 << ": " << text.substr(at, end - at);
        at = end + 1;
    }
    EXPECT_EQ(sessions, lines);

    // Nothing left running: the callers were reaped above, the notices'
    // children by their callers, and the simulator goes now.
    pid_t simPid = sim_.pid();
    EXPECT_EQ((std::set<pid_t>{simPid}), childrenNow());
    EXPECT_EQ(0, sim_.finish());
    EXPECT_TRUE(childrenNow().empty());
    EXPECT_TRUE(kill(simPid, 0) != 0 && errno == ESRCH);
}
