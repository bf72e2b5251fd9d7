/* scale_bench.cpp - growth curves: trees of 1,000, 10,000 and 100,000
 * peers (ten a leaf OU, OUs grouped four to a parent up to the root, so
 * depth 5 to 8), bulk-loaded with bare SQL in one transaction, and for each
 * size the time of a user's peer filter and peer view (the user delegated
 * on a tenth of the tree), the effective policy of the whole tree, a
 * word-filtered log page (a log of one row a peer) and one logged OU write
 * into that full log. Printed: milliseconds per size and the growth
 * exponent between sizes (the slope on log-log axes): at most 1.15 for what
 * is linear in the tree, at most 0.2 for the log write.
 *
 * Not a Google Benchmark: each size is its own sysroot, laid out once, and
 * the largest runs only a few repetitions. TARN_SCALE_MAX (peers) stops
 * earlier. */
#include <math.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>

#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

/* The one-pass evaluation of a subtree; weak, so that the bench also runs
 * on a library that does not have it yet. */
VUROTARN_API int VUROTARNGpoGetEvaluateSubtree(long idOu, Json::Value& jPeers)
    __attribute__((weak));

namespace {

const uid_t kUser = 3001;
/* True when the policy column is the per-peer sample. */
bool gPolicySampled = false;
const char kUserName[] = "dora";
const int kPeersPerLeaf = 10;
const int kFanOut = 4;
/* The log filter's word: in one row of eight. */
const char kWord[] = "Harbour";

struct Tree {
    long peers = 0;
    std::vector<std::vector<long>> levels;  // OU ids, leaves first
    long leafOu = 0;                        // the OU the logged write renames
};

/* The tree, its policies (three on the root, one on every OU above the
 * leaves), the user's delegations on every tenth OU two levels above the
 * leaves, all in one transaction. */
Tree treeLoad(long peers) {
    Tree t;
    t.peers = peers;
    std::string etc = sysroot() + "/etc";
    mkdir(etc.c_str(), 0755);
    std::ofstream(etc + "/passwd") << "root:x:0:0::/:/bin/sh\ndora:x:3001:100::/:/bin/sh\n";
    std::ofstream(etc + "/group") << "users:x:100:\nadministrators:x:101:\n";

    long leaves = peers / kPeersPerLeaf;
    long nextId = 1;
    for (long n = leaves; n > 0; n = n <= kFanOut ? 0 : (n + kFanOut - 1) / kFanOut) {
        std::vector<long> level;
        for (long i = 0; i < n; i++) level.push_back(nextId++);
        t.levels.push_back(level);
    }
    sqlite3* db = setupBegin(dbPath());
    sqlite3_stmt* ou = nullptr;
    sqlite3_stmt* gpo = nullptr;
    sqlite3_stmt* peer = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES(?,?,?,?)", -1,
                       &ou, nullptr);
    sqlite3_prepare_v2(db,
                       "INSERT INTO gpo(id, name, parent_id, parent_type, setting) "
                       "VALUES(?,?,?,2,?)",
                       -1, &gpo, nullptr);
    sqlite3_prepare_v2(db, "INSERT INTO peer(id, sn, hostname, parent_id) VALUES(?,?,?,?)", -1,
                       &peer, nullptr);
    long gpoId = 1;
    auto step = [&](sqlite3_stmt* st) { setupStep(db, st); };
    // n policies on an owner; the link text of the owner.
    auto policies = [&](long owner, int n) {
        std::string order = "{\"order\":[";
        for (int k = 0; k < n; k++, gpoId++) {
            std::string setting = "{\"gpo_content\":{\"Set" + std::to_string(gpoId % 7) +
                                  "\":{\"vuro_set_version\":1,\"v\":" + std::to_string(gpoId) +
                                  "}}}";
            sqlite3_bind_int64(gpo, 1, gpoId);
            sqlite3_bind_text(gpo, 2, ("g" + std::to_string(gpoId)).c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int64(gpo, 3, owner);
            sqlite3_bind_text(gpo, 4, setting.c_str(), -1, SQLITE_TRANSIENT);
            step(gpo);
            order += std::string(k ? "," : "") + "{\"id\":" + std::to_string(gpoId) +
                     ",\"override\":" + (gpoId % 5 == 0 ? "1" : "0") + "}";
        }
        return order + "]}";
    };
    execOrDie(db, "UPDATE ou SET linked_gpo='" + policies(0, 3) + "' WHERE id=0");
    for (size_t lv = 0; lv < t.levels.size(); lv++) {
        const bool top = lv + 1 == t.levels.size();
        for (size_t i = 0; i < t.levels[lv].size(); i++) {
            long id = t.levels[lv][i];
            long parent = top ? 0 : t.levels[lv + 1][i / kFanOut];
            std::string links = lv > 0 ? policies(id, 1) : "";
            sqlite3_bind_int64(ou, 1, id);
            sqlite3_bind_text(ou, 2, ("ou " + std::to_string(id)).c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int64(ou, 3, parent);
            sqlite3_bind_text(ou, 4, links.c_str(), -1, SQLITE_TRANSIENT);
            step(ou);
        }
    }
    long peerId = 1;
    for (long leaf : t.levels[0]) {
        for (int k = 0; k < kPeersPerLeaf; k++, peerId++) {
            sqlite3_bind_int64(peer, 1, peerId);
            sqlite3_bind_text(peer, 2, ("SN" + std::to_string(peerId)).c_str(), -1,
                              SQLITE_TRANSIENT);
            sqlite3_bind_text(peer, 3, ("nas-" + std::to_string(peerId)).c_str(), -1,
                              SQLITE_TRANSIENT);
            sqlite3_bind_int64(peer, 4, leaf);
            step(peer);
        }
    }
    const std::vector<long>& delegated = t.levels[std::min<size_t>(2, t.levels.size() - 1)];
    for (size_t i = 0; i < delegated.size(); i += 10) {
        execOrDie(db, "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES(8, " +
                          std::to_string(kUser) + ", 2, " + std::to_string(delegated[i]) + ")");
    }
    sqlite3_finalize(ou);
    sqlite3_finalize(gpo);
    sqlite3_finalize(peer);
    setupEnd(db);
    t.leafOu = t.levels[0][t.levels[0].size() / 2];
    return t;
}

/* One row a peer in the log, full at log_limit, every language filled. */
void logLoad(long rows) {
    if (VUROTARNSetConf("log_limit", std::to_string(rows).c_str()) != 0) {
        fprintf(stderr, "bench setup: cannot write log_limit\n");
        exit(1);
    }
    VURO_TARNLOG none;
    if (VUROTARNLogGetByID(1, &none) != 0) {  // the library lays the file out
        fprintf(stderr, "bench setup: cannot lay out the log database\n");
        exit(1);
    }
    sqlite3* db = setupBegin(sysroot() + VUROTARNLOG_DB_PATH);
    sqlite3_stmt* st = nullptr;
    std::string sql =
        "INSERT INTO log (happen_time, level, user_id, obj_id, parent_obj_id, username, chs, cht, "
        "csy, dan, enu, fre, ger, hun, ita, jpn, krn, nld, nor, plk, ptb, ptg, rus, spn, sve, "
        "trk, extra_info, pid) VALUES (?, ?, 1024, ?, ?, 'admin'";
    for (int l = 0; l < VUROTARNLOG_LANG_COUNT; l++) sql += ", ?";
    sql += ", '', 1000)";
    sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr);
    long start = time(nullptr) - rows;
    for (long i = 0; i < rows; i++) {
        std::string obj = "peer_" + std::to_string(1 + i);
        std::string text = std::string("Server nas-") + std::to_string(1 + i) + " joined OU " +
                           (i % 8 == 0 ? kWord : "Field") + " of the fleet";
        sqlite3_bind_int64(st, 1, start + i);
        sqlite3_bind_int(st, 2, i % 20 == 0 ? LOG_ERR : LOG_INFO);
        sqlite3_bind_text(st, 3, obj.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(st, 4, "ou_0", -1, SQLITE_STATIC);
        for (int l = 0; l < VUROTARNLOG_LANG_COUNT; l++) {
            sqlite3_bind_text(st, 5 + l, text.c_str(), -1, SQLITE_TRANSIENT);
        }
        setupStep(db, st);
    }
    setupEnd(db, st);
}

using Clock = std::chrono::steady_clock;

double cpuNowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

/* Milliseconds of one operation: the median of some runs, as wall time and
 * as this process's CPU time (on a busy machine the waits for the disk make
 * the wall time vary more than the size does). */
struct Ms {
    double wall = -1, cpu = -1;
    Ms scaled(double k) const { return {wall * k, cpu * k}; }
};

Ms timeMs(int reps, const std::function<bool()>& fn, const char* what) {
    std::vector<double> walls, cpus;
    for (int r = 0; r < reps; r++) {
        Clock::time_point t0 = Clock::now();
        double c0 = cpuNowMs();
        if (!fn()) {
            fprintf(stderr, "%s failed\n", what);
            return {};
        }
        cpus.push_back(cpuNowMs() - c0);
        walls.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
    }
    std::sort(walls.begin(), walls.end());
    std::sort(cpus.begin(), cpus.end());
    return {walls[walls.size() / 2], cpus[cpus.size() / 2]};
}

struct Row {
    long peers;
    std::vector<Ms> ms;
};

const char* const kColumns[] = {"peer filter", "peer view", "tree policy", "log page", "OU write"};
/* Linear in the tree, or (the write) not growing with it. */
const double kTargets[] = {1.15, 1.15, 1.15, 1.15, 0.2};

Row measure(long peers) {
    sysrootMake(tarnroot::kRootDatabase | tarnroot::kRootDefaults);
    Tree t = treeLoad(peers);
    logLoad(peers);
    setenv("VURO_WEBAPI_USERNAME", "admin", 1);
    const int reps = peers >= 100000 ? 3 : peers >= 10000 ? 5 : 9;
    Row row{peers, {}};

    row.ms.push_back(timeMs(
        reps,
        [&] {
            std::string filter;
            return VUROTARNGetPeerIDFilter(kUserName, filter) > 0;
        },
        "VUROTARNGetPeerIDFilter"));
    long viewed = 0;
    row.ms.push_back(timeMs(
        reps,
        [&] {
            VURO_TARN_PEER* list = nullptr;
            int rc = VUROTARNPeerListTreeByUid(kUser, &list);
            viewed = 0;
            for (VURO_TARN_PEER* p = list; p != nullptr; p = p->pNext) viewed++;
            VUROTARNPeerListFree(&list);
            return rc == 0 && viewed > 0;
        },
        "VUROTARNPeerListTreeByUid"));

    // ---- SLOT: the subtree evaluation from the root --------------------
    // The one-pass evaluation (VUROTARNGpoGetEvaluateSubtree) is declared
    // weak below: in a library without it, this column is the per-peer
    // evaluation of a fixed sample of 200 peers, scaled to the whole tree,
    // and is marked so.
    if (VUROTARNGpoGetEvaluateSubtree != nullptr) {
        row.ms.push_back(timeMs(
            reps,
            [&] {
                Json::Value all(Json::arrayValue);
                return VUROTARNGpoGetEvaluateSubtree(0, all) == 0 &&
                       all.size() == (Json::ArrayIndex)peers;
            },
            "VUROTARNGpoGetEvaluateSubtree"));
    } else {
        gPolicySampled = true;
        const long kSample = 200;
        row.ms.push_back(
            timeMs(
                reps > 3 ? 3 : 1,
                [&] {
                    for (long k = 0; k < kSample; k++) {
                        long id = 1 + k * (peers / kSample);
                        Json::Value j(Json::objectValue);
                        if (VUROTARNGpoGetEvaluate(id, VURO_TARN_TYPE_PEER, j, nullptr) != 0) {
                            return false;
                        }
                    }
                    return true;
                },
                "VUROTARNGpoGetEvaluate")
                .scaled((double)peers / (double)kSample));
    }
    // ---- end of SLOT ----------------------------------------------------

    PQLIBSZHASH parms = QLIBCSzHashAlloc(16);
    const char* kv[][2] = {{"filter_word", kWord}, {"filter_field", "all"},    {"lang", "enu"},
                           {"sort_by", "id"},      {"sort_direction", "desc"}, {"limit", "50"}};
    for (auto& p : kv) QLIBCSzHashSetValue(&parms, p[0], p[1]);
    row.ms.push_back(timeMs(
        reps,
        [&] {
            VURO_TARNLOG_LIST list = nullptr;
            size_t total = 0;
            int n = VUROTARNLogList(parms, &list, &total, nullptr, nullptr, nullptr);
            VUROTARNLogListFree(&list);
            return n == 50 && total == (size_t)(peers + 7) / 8;
        },
        "VUROTARNLogList"));
    QLIBCSzHashFree(parms);

    int flip = 0;
    row.ms.push_back(timeMs(
        reps * 3,
        [&] {
            VURO_TARN_OU ou;
            if (VUROTARNOuGet(t.leafOu, &ou) != 0) return false;
            ou.str_name = flip++ % 2 ? "Harbour east" : "Harbour west";
            return VUROTARNOuSet(&ou) == 0;
        },
        "VUROTARNOuSet"));

    printf("%8ld peers, %zu OU levels, %ld in the user's view: done\n", peers, t.levels.size() + 1,
           viewed);
    for (size_t c = 0; c < row.ms.size(); c++) {
        printf("    %-12s %10.1f ms wall %10.1f ms cpu\n", kColumns[c], row.ms[c].wall,
               row.ms[c].cpu);
    }
    fflush(stdout);
    sysrootRemove();
    return row;
}

}  // namespace

int main() {
    long maxPeers = getenv("TARN_SCALE_MAX") ? atol(getenv("TARN_SCALE_MAX")) : 100000;
    std::vector<Row> rows;
    for (long peers : {1000L, 10000L, 100000L}) {
        if (peers <= maxPeers) rows.push_back(measure(peers));
    }
    for (int cpu = 0; cpu < 2; cpu++) {
        auto pick = [&](const Ms& m) { return cpu ? m.cpu : m.wall; };
        printf("\n%-10s", cpu ? "cpu ms" : "wall ms");
        for (const char* c : kColumns) printf(" %14s", c);
        printf("\n");
        for (const Row& r : rows) {
            printf("%-10ld", r.peers);
            for (const Ms& m : r.ms) printf(" %11.1f ms", pick(m));
            printf("\n");
        }
        printf("growth exponent (log-log slope)\n");
        for (size_t i = 1; i < rows.size(); i++) {
            char span[48];
            snprintf(span, sizeof(span), "%ldk-%ldk", rows[i - 1].peers / 1000,
                     rows[i].peers / 1000);
            printf("%-10s", span);
            for (size_t c = 0; c < rows[i].ms.size(); c++) {
                double slope = log(pick(rows[i].ms[c]) / pick(rows[i - 1].ms[c])) /
                               log((double)rows[i].peers / (double)rows[i - 1].peers);
                printf(" %9.2f %-4s", slope, slope <= kTargets[c] ? "ok" : "OVER");
            }
            printf("\n");
        }
        printf("%-10s", "target");
        for (double t : kTargets) printf(" %9.2f     ", t);
        printf("\n");
    }
    if (gPolicySampled) {
        printf(
            "tree policy: this library has no one-pass subtree evaluation; the column is\n"
            "VUROTARNGpoGetEvaluate per peer on a sample of 200, scaled to the tree.\n");
    }
    return 0;
}
