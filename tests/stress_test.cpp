/* stress_test.cpp - many processes at once, as the web handlers and tools
 * call the library: eight writers through the OU, policy, peer and delegate
 * families (each write with its event log row) and one reader of views,
 * evaluations and the log. Afterwards the databases must hold exactly what
 * the writers were told they wrote. */
#include <signal.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tarn_test.h"
#include "vurojson.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

/* TARN_STRESS_WRITERS and TARN_STRESS_SECONDS make the long run (30 writers
 * for 60 s) from the same test; the suite runs eight for 20 s. */
int writerCount() {
    const char* s = getenv("TARN_STRESS_WRITERS");
    return s != nullptr && atoi(s) > 0 ? atoi(s) : 8;
}

/* What one writer believes the database holds for its own rows, built
 * from the results its calls returned. */
struct Expected {
    std::map<long, std::pair<std::string, long>> ous;          // name, block
    std::map<long, std::pair<std::string, std::string>> gpos;  // name, setting
    std::map<long, std::string> peers;                         // hostname
    std::map<long, bool> delegates;                            // present
    std::vector<long> deletedOus;
    long writes = 0;
    long failed = 0;
    long logged = 0;  // writes that leave an event log row
    long locked = 0;  // log lines that gave up on a locked database
};

Json::Value toJson(const Expected& e) {
    Json::Value j;
    for (auto& [id, v] : e.ous) {
        j["ous"][std::to_string(id)]["name"] = v.first;
        j["ous"][std::to_string(id)]["block"] = (Json::Int64)v.second;
    }
    for (auto& [id, v] : e.gpos) {
        j["gpos"][std::to_string(id)]["name"] = v.first;
        j["gpos"][std::to_string(id)]["setting"] = v.second;
    }
    for (auto& [id, v] : e.peers) j["peers"][std::to_string(id)] = v;
    for (auto& [id, v] : e.delegates) j["delegates"][std::to_string(id)] = v;
    for (long id : e.deletedOus) j["deleted_ous"].append((Json::Int64)id);
    j["writes"] = (Json::Int64)e.writes;
    j["failed"] = (Json::Int64)e.failed;
    j["logged"] = (Json::Int64)e.logged;
    j["locked"] = (Json::Int64)e.locked;
    return j;
}

/* One writer's loop: its own OUs, policies, peers and delegates, so that
 * it alone decides what each of its rows should hold. */
void writerRun(int w, double deadline, Expected& e) {
    std::string me = "w" + std::to_string(w);
    std::vector<long> myOus;
    std::vector<long> myGpos;
    std::vector<long> myPeers;
    std::vector<long> myDelegates;
    for (long n = 0; now() < deadline; n++) {
        std::string tag = me + "-" + std::to_string(n);
        int op = (int)(n % 7);
        if (myOus.empty()) op = 0;
        int rc = 0;
        e.writes++;
        e.logged++;  // every write below leaves one row, failed or not
        if (op == 0) {
            VURO_TARN_OU ou;
            ou.str_name = "ou " + tag;
            ou.parent_id = 0;
            rc = VUROTARNOuCreate(&ou);
            if (rc == 0) {
                e.ous[ou.id] = {ou.str_name, 0};
                myOus.push_back(ou.id);
            }
        } else if (op == 1) {
            long id = myOus[n % myOus.size()];
            VURO_TARN_OU ou;
            if (VUROTARNOuGet(id, &ou) != 0) {
                rc = -1;
                e.logged--;  // nothing was written, so nothing logged
            } else {
                ou.str_name = "renamed " + tag;
                ou.block_inheritance = !ou.block_inheritance;
                rc = VUROTARNOuSet(&ou);
                if (rc == 0) e.ous[id] = {ou.str_name, ou.block_inheritance};
            }
        } else if (op == 2) {
            VURO_TARN_GPO gpo;
            gpo.str_name = "gpo " + tag;
            gpo.parent_type = VURO_TARN_TYPE_OU;
            gpo.parent_id = myOus[n % myOus.size()];
            gpo.str_setting =
                "{\"gpo_content\":{\"Time\":{\"vuro_set_version\":1,\"n\":" + std::to_string(n) +
                "}}}";
            rc = VUROTARNGpoCreate(&gpo);
            if (rc == 0) {
                e.gpos[gpo.id] = {gpo.str_name, gpo.str_setting};
                myGpos.push_back(gpo.id);
            }
        } else if (op == 3 && !myGpos.empty()) {
            long id = myGpos[n % myGpos.size()];
            VURO_TARN_GPO gpo;
            if (VUROTARNGpoGet(id, &gpo) != 0) {
                rc = -1;
                e.logged--;
            } else {
                gpo.str_name = "gpo edited " + tag;
                gpo.str_setting = "{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":2,\"m\":" +
                                  std::to_string(n) + "}}}";
                rc = VUROTARNGpoSet(&gpo);
                if (rc == 0) e.gpos[id] = {gpo.str_name, gpo.str_setting};
            }
        } else if (op == 4) {
            VURO_TARN_PEER peer;
            peer.str_sn = "SN-" + tag;
            peer.str_hostname = "nas-" + tag;
            peer.parent_id = myOus[n % myOus.size()];
            rc = VUROTARNPeerCreate(&peer);
            if (rc == 0) {
                e.peers[peer.id] = peer.str_hostname;
                myPeers.push_back(peer.id);
            }
        } else if (op == 5) {
            if (myDelegates.size() > 3) {
                long id = myDelegates.front();
                rc = VUROTARNDelegateDelete(id);
                if (rc == 0) {
                    e.delegates[id] = false;
                    myDelegates.erase(myDelegates.begin());
                }
            } else {
                VURO_TARN_DELEGATE d;
                d.user_type = VURO_TARN_TYPE_USER;
                // Rows equal in every field would share one id on read-back.
                d.ugid = 100000 + (unsigned long)w * 100000 + (unsigned long)n;
                d.target_type = VURO_TARN_TYPE_OU;
                d.target_id = myOus[n % myOus.size()];
                rc = VUROTARNDelegateCreate(&d);
                if (rc == 0) {
                    e.delegates[d.id] = true;
                    myDelegates.push_back(d.id);
                }
            }
        } else {
            // A short-lived OU: made and removed again.
            VURO_TARN_OU ou;
            ou.str_name = "temp " + tag;
            rc = VUROTARNOuCreate(&ou);
            if (rc == 0) {
                e.writes++;
                e.logged++;
                rc = VUROTARNOuDelete(ou.id);
                if (rc == 0) {
                    e.deletedOus.push_back(ou.id);
                } else {
                    e.ous[ou.id] = {ou.str_name, 0};
                }
            }
        }
        if (rc != 0) {
            e.failed++;
            fprintf(stderr, "writer %d op %d failed:\n%s\n", w, op, logDump().c_str());
        }
        logClear();
    }
    for (const LogLine& l : logLines()) {
        if (l.text.find("database is locked") != std::string::npos) e.locked++;
    }
}

/* The reader: views, evaluations and log pages while the writers run. */
long readerRun(double deadline) {
    long failures = 0;
    while (now() < deadline) {
        VURO_TARN_OU* ous = nullptr;
        VURO_TARN_PEER* peers = nullptr;
        VURO_TARN_GPO* gpos = nullptr;
        if (VUROTARNListTreeByUid(0, &ous, &peers, &gpos) != 0) failures++;
        if (peers != nullptr) {
            Json::Value jGpo(Json::objectValue);
            if (VUROTARNGpoGetEvaluate(peers->id, VURO_TARN_TYPE_PEER, jGpo, nullptr) != 0) {
                failures++;
            }
        }
        VUROTARNOuListFree(&ous);
        VUROTARNPeerListFree(&peers);
        VUROTARNGpoListFree(&gpos);
        PQLIBSZHASH h = QLIBCSzHashAlloc(8);
        QLIBCSzHashSetValue(&h, "filter_word", "renamed");
        QLIBCSzHashSetValue(&h, "filter_field", "all");
        QLIBCSzHashSetValue(&h, "lang", "enu");
        QLIBCSzHashSetValue(&h, "limit", "20");
        VURO_TARNLOG_LIST list = nullptr;
        size_t total = 0;
        if (VUROTARNLogList(h, &list, &total, nullptr, nullptr, nullptr) < 0) failures++;
        VUROTARNLogListFree(&list);
        QLIBCSzHashFree(h);
        if (failures != 0) {
            fprintf(stderr, "reader failed:\n%s\n", logDump().c_str());
            break;
        }
        logClear();
    }
    return failures;
}

}  // namespace

class StressTest : public TarnTest {};

TEST_F(StressTest, WritersAndAReader) {
    const int writers = writerCount();
    const double deadline = now() + stressSeconds();
    logClear();
    std::vector<pid_t> pids;
    for (int w = 0; w <= writers; w++) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            logClear();
            int code = 0;
            if (w == writers) {
                code = readerRun(deadline) == 0 ? 0 : 3;
            } else {
                setenv("VURO_WEBAPI_USERNAME", ("stress-w" + std::to_string(w)).c_str(), 1);
                Expected e;
                writerRun(w, deadline, e);
                std::ofstream out(root_ + "/writer" + std::to_string(w) + ".json");
                out << toJson(e);
                code = out.good() ? 0 : 4;
            }
            _exit(code);
        }
        pids.push_back(pid);
    }
    for (pid_t pid : pids) {
        int status = 0;
        ASSERT_EQ(pid, waitpid(pid, &status, 0));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "process " << pid << " ended with " << status;
    }

    long writes = 0;
    for (int w = 0; w < writers; w++) {
        Json::Value e;
        ASSERT_TRUE(
            vurojson::fromString(e, readFile(root_ + "/writer" + std::to_string(w) + ".json")));
        writes += e["writes"].asInt64();
        EXPECT_EQ(0, e["locked"].asInt64()) << "writer " << w << " gave up on a lock";
        EXPECT_EQ(0, e["failed"].asInt64()) << "writer " << w;
        for (const std::string& id : e["ous"].getMemberNames()) {
            EXPECT_EQ(e["ous"][id]["name"].asString(),
                      sqlValue("SELECT name FROM ou WHERE id=" + id));
            EXPECT_EQ(std::to_string(e["ous"][id]["block"].asInt64()),
                      sqlValue("SELECT block_inheritance FROM ou WHERE id=" + id));
        }
        for (const Json::Value& id : e["deleted_ous"]) {
            EXPECT_EQ("0", sqlValue("SELECT COUNT(*) FROM ou WHERE id=" + id.asString()));
        }
        for (const std::string& id : e["gpos"].getMemberNames()) {
            EXPECT_EQ(e["gpos"][id]["name"].asString(),
                      sqlValue("SELECT name FROM gpo WHERE id=" + id));
            EXPECT_EQ(e["gpos"][id]["setting"].asString(),
                      sqlValue("SELECT setting FROM gpo WHERE id=" + id));
        }
        for (const std::string& id : e["peers"].getMemberNames()) {
            EXPECT_EQ(e["peers"][id].asString(),
                      sqlValue("SELECT hostname FROM peer WHERE id=" + id));
        }
        for (const std::string& id : e["delegates"].getMemberNames()) {
            EXPECT_EQ(e["delegates"][id].asBool() ? "1" : "0",
                      sqlValue("SELECT COUNT(*) FROM delegate WHERE id=" + id));
        }
        // One row per logged write, all under this writer's name.
        EXPECT_EQ(std::to_string(e["logged"].asInt64()),
                  logValue("SELECT COUNT(*) FROM log WHERE username='stress-w" + std::to_string(w) +
                           "'"));
    }
    EXPECT_GT(writes, (long)writers * 10) << "the writers hardly ran";
    EXPECT_EQ("ok", sqlValue("PRAGMA integrity_check"));
    EXPECT_EQ("ok", logValue("PRAGMA integrity_check"));
    RecordProperty("writes", (int)writes);
    printf("%ld writes in %d s by %d processes: %.1f writes/s\n", writes, stressSeconds(), writers,
           (double)writes / stressSeconds());
}
