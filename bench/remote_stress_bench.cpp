/* remote_stress_bench.cpp - fetch notices, cache pushes and joins per
 * second with eight processes calling at once against one simulated fleet
 * of 200 (25 servers each), beside eight processes making the same
 * exchanges and statements bare: the cost of the library's remote layer
 * (per-call connections, the locked session store, the children) under
 * contention. */
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "bench_remote.h"
#include "bench_support.h"
#include "peer_sim.h"
#include "vurocgi.h"
#include "vurotarn.h"

using namespace tarnbench;

using tarnbench::setupOrDie;

namespace {

// TARN_BENCH_PROCESSES=1 shows the same work without contention.
const int kProcesses = getenv("TARN_BENCH_PROCESSES") != nullptr &&
                               atoi(getenv("TARN_BENCH_PROCESSES")) > 0 &&
                               atoi(getenv("TARN_BENCH_PROCESSES")) <= 8
                           ? atoi(getenv("TARN_BENCH_PROCESSES"))
                           : 8;
const int kEach = 3;      // operations per process in one iteration
const int kServers = 25;  // per process
const char kApi[] = "VURO.Core.TARN.Policy";

// On the heap and never destroyed by exit(): the notice's children end with
// exit(0) and must not take the simulator down with them.
tarntest::PeerSim* gSim = nullptr;
std::vector<long> gOus;                 // one a process
std::vector<std::vector<long>> gPeers;  // the peer ids of each process's OU
std::vector<Json::Value> gJoinLists;    // each process's servers as a join gets them

long long fetchCount() { return gSim->fetches()["count"].asInt64(); }

/* One iteration is every process's operations; its time is given per
 * operation, and the operations per second of all processes together as a
 * counter. */
void report(benchmark::State& state, double secs, double& totalSecs) {
    if (secs < 0) {
        state.SkipWithError("a process failed");
        return;
    }
    totalSecs += secs;
    state.SetIterationTime(secs / (kProcesses * kEach));
}

void perSecond(benchmark::State& state, double totalSecs, const char* name) {
    if (totalSecs > 0) {
        state.counters[name] = (double)state.iterations() * kProcesses * kEach / totalSecs;
    }
}

/* Reaps n children of this process; true when all ended with 0. */
bool childrenReap(int n) {
    bool ok = true;
    for (int i = 0; i < n; i++) {
        int status = 0;
        if (waitpid(-1, &status, 0) < 0) return false;
        ok = ok && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    return ok;
}

void stdioFlush() {
    // A child's exit(0) would write again whatever stdio still holds.
    std::cout.flush();
    fflush(stdout);
    fflush(stderr);
}

int statementRun(const std::string& db, const std::string& sql) {
    sqlite3* h = nullptr;
    if (sqlite3_open(db.c_str(), &h) != SQLITE_OK) return -1;
    sqlite3_busy_timeout(h, 60000);
    char* err = nullptr;
    int rc = sqlite3_exec(h, sql.c_str(), nullptr, nullptr, &err);
    if (rc != SQLITE_OK) fprintf(stderr, "bare statement: %s\n", err ? err : "?");
    sqlite3_free(err);
    sqlite3_close(h);
    return rc == SQLITE_OK ? 0 : -1;
}

/* ---- the fetch notice ---- */

void BM_NotifyFetch_Ou25(benchmark::State& state) {
    double total = 0;
    stdioFlush();
    for (auto _ : state) {
        long long base = fetchCount();
        double secs = processesRun(kProcesses, kEach, [](int w, int) {
            if (VUROTARNGpoNotifyFetch(0, VURO_TARN_TYPE_OU, gOus[w]) != 0) return -1;
            return childrenReap(kServers) ? 0 : -1;
        });
        if (fetchCount() != base + kProcesses * kEach * kServers) secs = -1;
        report(state, secs, total);
    }
    perSecond(state, total, "notices_per_s");
}

/* The view the notice reads, then a fork per server that reads its row and
 * makes the two exchanges. */
void BM_Bare_ViewAndForks25(benchmark::State& state) {
    double total = 0;
    stdioFlush();
    for (auto _ : state) {
        long long base = fetchCount();
        double secs = processesRun(kProcesses, kEach, [](int w, int) {
            sqlite3* db = nullptr;
            sqlite3_open_v2(dbPath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
            sqlite3_busy_timeout(db, 60000);
            sqlite3_exec(db, "SELECT * FROM ou", nullptr, nullptr, nullptr);
            std::string q = "SELECT * FROM peer WHERE parent_id=" + std::to_string(gOus[w]);
            sqlite3_exec(db, q.c_str(), nullptr, nullptr, nullptr);
            sqlite3_close(db);
            Json::Value jParam;
            jParam["action"] = "apply";
            for (long id : gPeers[w]) {
                pid_t pid = fork();
                if (pid == 0) {
                    setsid();
                    bareExchange(bareRowRead(id), kApi, "fetch", jParam);
                    exit(0);
                }
            }
            return childrenReap(kServers) ? 0 : -1;
        });
        if (fetchCount() != base + kProcesses * kEach * kServers) secs = -1;
        report(state, secs, total);
    }
    perSecond(state, total, "notices_per_s");
}

/* ---- the cache push ---- */

/* Both sides first set their servers back to "ready", or the push would
 * find nothing to do after its first round. */
std::string readyAgain(int w) {
    return "UPDATE peer SET status=2, status_by_server=2 WHERE parent_id=" +
           std::to_string(gOus[w]);
}

BOOL inOu(VURO_TARN_PEER* pPeer, void* pData) { return pPeer->parent_id == *(long*)pData; }

void BM_UpdateCache_25(benchmark::State& state) {
    double total = 0;
    for (auto _ : state) {
        double secs = processesRun(kProcesses, kEach, [](int w, int) {
            if (statementRun(dbPath(), readyAgain(w)) != 0) return -1;
            VURO_TARN_PEER_LIST list = nullptr;
            if (VUROTARNPeerListAll(&list, inOu, &gOus[w]) != 0) return -1;
            Json::Value jData;
            bool ok = VUROTARNPeerUpdateCache(list, jData) && jData.size() == (unsigned)kServers;
            VUROTARNPeerListFree(&list);
            return ok ? 0 : -1;
        });
        report(state, secs, total);
    }
    perSecond(state, total, "pushes_per_s");
}

/* The same list read, then per server the status statement, the row read
 * and the two exchanges. */
void BM_Bare_UpdateCache_25(benchmark::State& state) {
    double total = 0;
    for (auto _ : state) {
        double secs = processesRun(kProcesses, kEach, [](int w, int) {
            if (statementRun(dbPath(), readyAgain(w)) != 0) return -1;
            std::string q = "SELECT * FROM peer WHERE parent_id=" + std::to_string(gOus[w]);
            if (statementRun(dbPath(), q) != 0) return -1;
            for (long id : gPeers[w]) {
                // Both statuses with their times, as the status setters leave them.
                if (statementRun(dbPath(),
                                 "UPDATE peer SET mtime=strftime('%s','now'), status=9, "
                                 "uptime_mtime=strftime('%s','now'), status_by_server=9, "
                                 "status_by_server_mtime=strftime('%s','now') WHERE id=" +
                                     std::to_string(id)) != 0 ||
                    !bareExchange(bareRowRead(id), "VURO.Core.TARN.Cache", "push", Json::Value())) {
                    return -1;
                }
            }
            return 0;
        });
        report(state, secs, total);
    }
    perSecond(state, total, "pushes_per_s");
}

/* ---- the join ---- */

Json::Value joinServer() {
    Json::Value server;
    server["host"] = "192.0.2.10";
    return server;
}

void BM_SendCreateServer_25(benchmark::State& state) {
    double total = 0;
    for (auto _ : state) {
        double secs = processesRun(kProcesses, kEach, [](int w, int) {
            Json::Value list = gJoinLists[w];
            return VUROTARNPeerSendCreateServer(list, joinServer());
        });
        report(state, secs, total);
    }
    perSecond(state, total, "joins_per_s");
}

/* The columns of a peer row whose change the event log reports (none when
 * there is no row). */
std::vector<std::string> bareReported(const std::string& sn) {
    sqlite3* db = nullptr;
    std::vector<std::string> cols;
    sqlite3_open_v2(dbPath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_busy_timeout(db, 60000);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db,
                       "SELECT desc, model, version, hostname, host, http_port, https_port FROM "
                       "peer WHERE sn=?",
                       -1, &st, nullptr);
    sqlite3_bind_text(st, 1, sn.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(st) == SQLITE_ROW) {
        for (int i = 0; i < 7; i++) {
            const unsigned char* v = sqlite3_column_text(st, i);
            cols.push_back(v ? (const char*)v : "");
        }
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
    return cols;
}

/* Per server: a session line added to the store under its lock, the two
 * exchanges of end_join, the row read by serial, its upsert, and its event
 * row when the join changed what the log reports. */
int bareJoinOne(const Json::Value& e, int w, int n) {
    std::string store = sysroot() + VUROCGI_SESSION_FILE;
    int fd = open(store.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0 || flock(fd, LOCK_EX) != 0) return -1;
    char szId[64];
    snprintf(szId, sizeof(szId), "bare%08d%04d%04d", getpid(), w, n);
    std::string line =
        "{\"id\":\"" + std::string(szId) +
        "\",\"app\":\"VURO.TARN\",\"created\":1795000000,\"expires\":0,"
        "\"extra\":\"{\\\"VURO.TARN\\\":\\\"" +
        e["sn"].asString() +
        "\\\"}\",\"skip_check_ip\":true,\"user\":\"\",\"webapi\":\"[\\\"VURO.TARN\\\","
        "\\\"VURO.NotificationCenter\\\"]\"}\n";
    // As durable as the library's store: on disk before the server hears of it.
    bool written = write(fd, line.data(), line.size()) == (ssize_t)line.size() && fsync(fd) == 0;
    close(fd);
    if (!written) return -1;
    Json::Value jParam;
    jParam["sn"] = "CUSTOM-77";
    jParam["host"] = "192.0.2.10";
    jParam["http_port"] = 5000;
    jParam["https_port"] = 5001;
    jParam["access_token"] = szId;
    BareRow row;
    row.host = "127.0.0.1";
    row.sid = e["access_token"].asString();
    row.port = e["http_port"].asInt();
    if (!bareExchange(row, "VURO.Core.TARN", "end_join", jParam)) return -1;
    // The stored row first: whether the join changes what the event log
    // reports, as the library must know to write its row or not.
    std::vector<std::string> before = bareReported(e["sn"].asString());
    std::vector<std::string> after = before;
    if (!after.empty()) {
        after[1] = e["model"].asString();
        after[2] = e["kelp_version"].asString();
        after[3] = e["sn"].asString();
        after[4] = "127.0.0.1";
        after[5] = std::to_string(row.port);
    }
    char* sql = sqlite3_mprintf(
        "INSERT INTO peer (mtime, sn, model, version, hostname, host, sid, buildnum, http_port, "
        "status, uptime_mtime, status_by_server, status_by_server_mtime) VALUES "
        "(strftime('%%s','now'), '%q', '%q', '%q', '%q', '127.0.0.1', '%q', %lld, %d, 9, "
        "strftime('%%s','now'), 9, strftime('%%s','now')) "
        "ON CONFLICT(sn) DO UPDATE SET mtime=excluded.mtime, model=excluded.model, "
        "version=excluded.version, hostname=excluded.hostname, host=excluded.host, "
        "sid=excluded.sid, buildnum=excluded.buildnum, http_port=excluded.http_port, status=9, "
        "uptime_mtime=excluded.uptime_mtime, status_by_server=9, "
        "status_by_server_mtime=excluded.status_by_server_mtime;"
        "SELECT id FROM peer WHERE sn='%q';",
        e["sn"].asCString(), e["model"].asCString(), e["kelp_version"].asCString(),
        e["sn"].asCString(), row.sid.c_str(), (long long)e["build_number"].asInt64(), row.port,
        e["sn"].asCString());
    int rc = statementRun(dbPath(), sql);
    sqlite3_free(sql);
    if (rc != 0 || (!before.empty() && before == after)) return rc;
    sql = sqlite3_mprintf(
        "INSERT INTO log (happen_time, level, user_id, obj_id, parent_obj_id, username, enu, "
        "ger, extra_info, pid) VALUES (1, 6, 4294967295, 'peer_%q', 'ou_0', '', 'Edited server "
        "%q', 'Server %q bearbeitet', '', 1);SELECT n FROM log_count;",
        e["sn"].asCString(), e["sn"].asCString(), e["sn"].asCString());
    rc = statementRun(sysroot() + VUROTARNLOG_DB_PATH, sql);
    sqlite3_free(sql);
    return rc;
}

void BM_Bare_Join_25(benchmark::State& state) {
    double total = 0;
    for (auto _ : state) {
        double secs = processesRun(kProcesses, kEach, [](int w, int n) {
            for (const Json::Value& e : gJoinLists[w]) {
                if (bareJoinOne(e, w, n) != 0) return -1;
            }
            return 0;
        });
        report(state, secs, total);
    }
    perSecond(state, total, "joins_per_s");
}

BENCHMARK(BM_NotifyFetch_Ou25)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_ViewAndForks25)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateCache_25)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_UpdateCache_25)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SendCreateServer_25)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bare_Join_25)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
    sysrootMake(tarnroot::kRootDirs | tarnroot::kRootDatabase | tarnroot::kRootData |
                tarnroot::kRootDefaults);
    std::ofstream(sysroot() + "/etc/vuro/custom_serial") << "CUSTOM-77\n";
    gSim = new tarntest::PeerSim;
    tarntest::PeerSimOptions o;
    o.root = sysroot();
    o.peers = 8 * kServers;
    setupOrDie(gSim->start(o), "the simulator did not start");

    // Each process its OU of 25 servers, stored as joined: HTTP, sealed.
    gPeers.resize(kProcesses);
    gJoinLists.assign(kProcesses, Json::Value(Json::arrayValue));
    for (int w = 0; w < kProcesses; w++) {
        VURO_TARN_OU ou;
        VUROTARNOuItemSetName(&ou, ("Bench " + std::to_string(w)).c_str());
        setupOrDie(VUROTARNOuCreate(&ou) == 0, "cannot store an OU");
        gOus.push_back(ou.id);
        for (int k = 0; k < kServers; k++) {
            int i = w * kServers + k;
            VURO_TARN_PEER peer;
            peer.str_sn = gSim->sn(i);
            peer.str_hostname = gSim->server(i)["hostname"].asString();
            peer.str_host = "127.0.0.1";
            peer.http_port = gSim->httpPort(i);
            peer.str_sid = gSim->token(i);
            peer.parent_id = ou.id;
            setupOrDie(VUROTARNPeerCreate(&peer) == 0, "cannot store a peer");
            gPeers[w].push_back(peer.id);
            Json::Value e = gSim->server(i);
            e.removeMember("hostname");
            e.removeMember("macs");
            e["https_port"] = 0;  // the bare side speaks HTTP, so does the join
            gJoinLists[w].append(e);
        }
    }
    // The store exists, as it does once anything joined.
    std::string token;
    setupOrDie(VUROTARNPeerCreateSessionBySn("BENCH-SN", token), "cannot create a session");

    benchmark::Initialize(&argc, argv);
    RatioReporter reporter({
        {"BM_NotifyFetch_Ou25/iterations:3/manual_time",
         "BM_Bare_ViewAndForks25/iterations:3/manual_time", 1.5},
        {"BM_UpdateCache_25/iterations:3/manual_time",
         "BM_Bare_UpdateCache_25/iterations:3/manual_time", 1.5},
        {"BM_SendCreateServer_25/iterations:3/manual_time",
         "BM_Bare_Join_25/iterations:3/manual_time", 1.5},
    });
    stdioFlush();
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    gSim->finish();
    delete gSim;
    sysrootRemove();
    return 0;
}
