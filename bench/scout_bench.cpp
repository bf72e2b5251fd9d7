/* scout_bench.cpp - discovery against 200 simulated servers on loopback: a
 * whole scan beside its own listening window, the handling of answers
 * (parse, accept, slot and MAC look-ups) beside a bare receive-and-parse
 * loop over the same datagrams, and the status update of 200 peers beside
 * the bare scan, reads and writes it must make. */
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <map>

#include "bench_support.h"
#include "peer_sim.h"
#include "vurotarn.h"

namespace {

const int kServers = 200;

tarntest::PeerSim& sim() {
    static tarntest::PeerSim s;
    return s;
}

std::vector<long> gIds;

long long nowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

void windowSet(int ms) {
    QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "listen_ms", std::to_string(ms).c_str(), 0);
}

/* A UDP socket on 127.0.0.1 and its address. */
int udpLoopback(struct sockaddr_in* pAddr) {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    memset(pAddr, 0, sizeof(*pAddr));
    pAddr->sin_family = AF_INET;
    pAddr->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(*pAddr);
    int big = 8 << 20;
    setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &big, sizeof(big));
    if (bind(fd, (struct sockaddr*)pAddr, sizeof(*pAddr)) != 0 ||
        getsockname(fd, (struct sockaddr*)pAddr, &len) != 0) {
        fprintf(stderr, "bench setup: udp socket\n");
        exit(1);
    }
    return fd;
}

// ---- a whole scan: 200 answers, a window of one second ----

void BM_Scan200_Library(benchmark::State& state) {
    windowSet(1000);
    size_t fewest = kServers;
    for (auto _ : state) {
        std::vector<std::string> all;
        std::vector<NASINFO> found;
        if (VUROTARNPeerGetScoutInfoBySN(all, found) != 0) {
            state.SkipWithError("scan failed");
            break;
        }
        fewest = std::min(fewest, found.size());
    }
    state.counters["fewest_accepted"] = (double)fewest;
    if (fewest != (size_t)kServers) state.SkipWithError("a scan missed answers");
}
BENCHMARK(BM_Scan200_Library)->Iterations(20)->UseRealTime()->Unit(benchmark::kMillisecond);

// The window itself: what a scan cannot be shorter than.
void BM_Scan200_Window(benchmark::State& state) {
    struct sockaddr_in a;
    int fd = udpLoopback(&a);
    for (auto _ : state) {
        long long end = nowMs() + 1000;
        for (long long left = 1000; left > 0; left = end - nowMs()) {
            struct pollfd p = {fd, POLLIN, 0};
            poll(&p, 1, (int)left);
        }
    }
    close(fd);
}
BENCHMARK(BM_Scan200_Window)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

// ---- one answer's handling, 200 datagrams a round ----

struct Datagrams {
    std::vector<std::string> packets;
    std::vector<std::string> serials;
};

const Datagrams& datagrams() {
    static Datagrams d = [] {
        Datagrams out;
        for (int i = 0; i < kServers; i++) {
            SCOUTPACKET pkt;
            memset(&pkt, 0, sizeof(pkt));
            NASINFO& n = pkt.info;
            snprintf(n.szMac, sizeof(n.szMac), "02:42:00:00:%02X:%02X", i >> 8, i & 0xFF);
            snprintf(n.szNewSerial, sizeof(n.szNewSerial), "BENCH%05d", i);
            snprintf(n.szServerName, sizeof(n.szServerName), "bench-%d", i);
            snprintf(n.szModel, sizeof(n.szModel), "SIM-4BAY");
            snprintf(n.szIP, sizeof(n.szIP), "127.0.0.1");
            n.ulPacketType = SCOUT_PKT_ANSWER;
            n.ulConfigured = SCOUT_STATE_READY;
            n.ulScoutVersion = 0x1020000;
            unsigned char buf[SCOUT_MAX_DATAGRAM];
            int len = SCOUTPacketBuild(&pkt, buf, sizeof(buf));
            out.packets.emplace_back((const char*)buf, (size_t)len);
            out.serials.push_back(n.szNewSerial);
        }
        return out;
    }();
    return d;
}

/* Receives the round's datagrams and hands each, parsed, to handle; the
 * sending and prepare run outside the timing. */
template <class Prepare, class Handle>
void answersRun(benchmark::State& state, Prepare prepare, Handle handle) {
    struct sockaddr_in a;
    int fd = udpLoopback(&a);
    unsigned char buf[SCOUT_MAX_DATAGRAM];
    for (auto _ : state) {
        state.PauseTiming();
        prepare();
        for (const std::string& p : datagrams().packets) {
            sendto(fd, p.data(), p.size(), 0, (const struct sockaddr*)&a, sizeof(a));
        }
        state.ResumeTiming();
        for (int got = 0; got < kServers;) {
            ssize_t n = recv(fd, buf, sizeof(buf), 0);
            if (n <= 0) continue;
            SCOUTPACKET pkt;
            if (SCOUTPacketParse(buf, (size_t)n, &pkt) != 0) {
                state.SkipWithError("a datagram did not parse");
                break;
            }
            handle(pkt);
            got++;
        }
    }
    close(fd);
    state.SetItemsProcessed(state.iterations() * kServers);
}

void BM_Answers_Library(benchmark::State& state) {
    std::vector<std::string> serials = datagrams().serials;
    std::vector<NASINFO> slots;
    // A new scan's tables each round, so that no MAC is known already.
    answersRun(
        state, [&] { VUROTARNPeerScoutBegin(serials, slots); },
        [&](const SCOUTPACKET& pkt) { VUROTARNPeerScoutAnswer(&pkt.info); });
    VUROTARNPeerScoutEnd();
    for (const NASINFO& n : slots) {
        if (n.szNewSerial[0] == '\0') state.SkipWithError("a slot stayed empty");
    }
}
BENCHMARK(BM_Answers_Library)->UseRealTime();

void BM_Answers_Bare(benchmark::State& state) {
    size_t seen = 0;
    answersRun(
        state, [] {}, [&](const SCOUTPACKET& pkt) { seen += pkt.info.ulPacketType; });
    benchmark::DoNotOptimize(seen);
}
BENCHMARK(BM_Answers_Bare)->UseRealTime();

// ---- the status update of 200 peers whose status changes ----

const int kStatusWindowMs = 200;
int gRound = 0;

/* Every server answers with the next state, so every status changes. */
void nextState(benchmark::State& state) {
    state.PauseTiming();
    Json::Value set;
    set["configured"] = 3 + (gRound++ % 2);
    if (sim().scout("all", set).isNull()) state.SkipWithError("simulator refused");
    state.ResumeTiming();
}

void BM_StatusUpdate_Library(benchmark::State& state) {
    windowSet(kStatusWindowMs);
    for (auto _ : state) {
        nextState(state);
        std::vector<long> ids = gIds;
        if (VUROTARNPeerUpdateScoutStatusByID(ids) != 0) {
            state.SkipWithError("update failed");
            break;
        }
    }
}
BENCHMARK(BM_StatusUpdate_Library)->Iterations(6)->UseRealTime()->Unit(benchmark::kMillisecond);

struct Db {
    sqlite3* db = nullptr;
    Db() {
        if (sqlite3_open(tarnbench::dbPath().c_str(), &db) != SQLITE_OK) exit(1);
    }
    ~Db() { sqlite3_close(db); }
};

std::string textOf(const std::string& sql) {
    Db d;
    std::string out;
    sqlite3_exec(
        d.db, sql.c_str(),
        [](void* p, int n, char** v, char**) {
            if (n > 0 && v[0]) *(std::string*)p = v[0];
            return 0;
        },
        &out, nullptr);
    return out;
}

/* The bare scan: the request, then every answer of the window, parsed. */
std::map<std::string, u_int32_t> bareScan() {
    struct sockaddr_in a, to;
    int fd = udpLoopback(&a);
    memset(&to, 0, sizeof(to));
    to.sin_family = AF_INET;
    to.sin_port = htons((uint16_t)sim().scoutPort());
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    SCOUTPACKET req;
    memset(&req, 0, sizeof(req));
    req.info.ulPacketType = SCOUT_PKT_REQUEST;
    req.info.ulScoutVersion = 0x1020000;
    req.info.ulExpireTime = 120;
    req.cPktID = 3;
    req.rgPktID[0] = 164;
    req.rgPktID[1] = 165;
    req.rgPktID[2] = 166;
    unsigned char buf[SCOUT_MAX_DATAGRAM];
    int len = SCOUTPacketBuild(&req, buf, sizeof(buf));
    sendto(fd, buf, (size_t)len, 0, (struct sockaddr*)&to, sizeof(to));
    std::map<std::string, u_int32_t> states;
    long long end = nowMs() + kStatusWindowMs;
    for (long long left = kStatusWindowMs; left > 0; left = end - nowMs()) {
        struct pollfd p = {fd, POLLIN, 0};
        if (poll(&p, 1, (int)left) <= 0) continue;
        ssize_t n;
        while ((n = recv(fd, buf, sizeof(buf), MSG_DONTWAIT)) > 0) {
            SCOUTPACKET pkt;
            if (SCOUTPacketParse(buf, (size_t)n, &pkt) == 0) {
                states.emplace(pkt.info.szNewSerial, pkt.info.ulConfigured);
            }
        }
    }
    close(fd);
    return states;
}

void BM_StatusUpdate_Bare(benchmark::State& state) {
    for (auto _ : state) {
        nextState(state);
        std::vector<std::string> serials;
        for (long id : gIds) {
            serials.push_back(textOf("SELECT sn FROM peer WHERE id=" + std::to_string(id)));
        }
        std::map<std::string, u_int32_t> states = bareScan();
        for (size_t i = 0; i < gIds.size(); i++) {
            auto it = states.find(serials[i]);
            if (it == states.end()) continue;
            std::string id = std::to_string(gIds[i]);
            textOf("SELECT * FROM peer WHERE id=" + id);
            Db d;
            char* sql = sqlite3_mprintf(
                "UPDATE peer SET status=%d, uptime_mtime=%ld, mtime=%ld WHERE id=%ld;",
                VUROTARNPeerStatusFromScout(it->second), (long)time(NULL), (long)time(NULL),
                gIds[i]);
            sqlite3_exec(d.db, sql, nullptr, nullptr, nullptr);
            sqlite3_free(sql);
        }
    }
}
BENCHMARK(BM_StatusUpdate_Bare)->Iterations(6)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
    // Directories and defaults: the simulator writes scout.conf and its CA.
    tarnbench::sysrootMake(tarnroot::kRootDirs | tarnroot::kRootDatabase | tarnroot::kRootDefaults);
    tarntest::PeerSimOptions o;
    o.root = tarnbench::sysroot();
    o.peers = kServers;
    o.scout = true;
    if (!sim().start(o)) {
        fprintf(stderr, "bench setup: simulator: %s\n", sim().error().c_str());
        return 1;
    }
    for (int i = 0; i < kServers; i++) {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, sim().sn(i).c_str());
        if (VUROTARNPeerCreate(&peer) != 0) return 1;
        gIds.push_back(peer.id);
    }
    benchmark::Initialize(&argc, argv);
    tarnbench::RatioReporter reporter({
        {"BM_Scan200_Library/iterations:20/real_time", "BM_Scan200_Window/iterations:3/real_time",
         1.1},
        {"BM_Answers_Library/real_time", "BM_Answers_Bare/real_time", 1.5},
        {"BM_StatusUpdate_Library/iterations:6/real_time",
         "BM_StatusUpdate_Bare/iterations:6/real_time", 1.3},
    });
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    sim().finish();
    tarnbench::sysrootRemove();
    return 0;
}
