/* notify_test.cpp - the cache push and the fetch notice against simulated
 * servers: the status written around each push, the answers kept, and the
 * notice's children (one per peer, reaped here with a deadline), what they
 * send and log, who is told under an OU, and a fork that fails. */
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurojson.h"
#include "vurotarn.h"

using namespace tarntest;

class NotifyTest : public RemoteTest {
protected:
    /* A stored peer for simulated server i, under OU parent, over HTTPS. */
    long peerOf(int i, long status, long parent = 0, const std::string& tag = "") {
        VURO_TARN_PEER peer;
        peer.str_sn = sim_.sn(i) + tag;
        peer.str_hostname = "nas-" + peer.str_sn;
        peer.str_host = "127.0.0.1";
        peer.https_port = sim_.httpsPort(i);
        peer.http_port = sim_.httpPort(i);
        peer.str_sid = sim_.token(i);
        peer.status = peer.status_by_server = status;
        peer.parent_id = parent;
        EXPECT_OK(VUROTARNPeerCreate(&peer));
        return peer.id;
    }
    std::string statusOf(long id) {
        return sqlValue("SELECT status||'|'||status_by_server FROM peer WHERE id=" +
                        std::to_string(id));
    }
    int fetchCalls(int server) {
        int n = 0;
        for (const Json::Value& e : sim_.entries(server, "call")) n += e["method"] == "fetch";
        return n;
    }
    void usersWrite() {
        writeFile(sys("/etc/passwd"), "root:x:0:0::/root:/bin/sh\nalice:x:2001:100::/:/bin/sh\n");
        writeFile(sys("/etc/group"), "users:x:100:\nadministrators:x:101:\n");
    }
};

TEST_F(NotifyTest, CachePushMarksPeersAroundTheCallAndKeepsAnswersWithSuccess) {
    simStart(4);
    long ok = peerOf(0, 2);
    long noSuccess = peerOf(1, 16);
    long refusing = peerOf(2, 2);
    long gone = peerOf(3, 2);
    long idle = peerOf(0, 1, 0, "-idle");
    ASSERT_TRUE(sim_.setMode(1, parse(R"({"no_success":true})")));
    Json::Value m;
    m["fail_code"] = 105;
    ASSERT_TRUE(sim_.setMode(2, m));
    m = Json::Value();
    m["refuse_https"] = true;
    m["refuse_http"] = true;
    ASSERT_TRUE(sim_.setMode(3, m));
    m = Json::Value();
    m["delay_ms"] = 400;
    ASSERT_TRUE(sim_.setMode(0, m));

    VURO_TARN_PEER_LIST list = nullptr;
    ASSERT_OK(VUROTARNPeerListAll(&list, nullptr, nullptr));
    std::string logRowsBefore = logValue("SELECT count(*) FROM log");

    // While server 0 takes its time, its row already says "updating".
    std::atomic<bool> done{false};
    std::string seenDuring;
    std::thread watcher([&] {
        while (!done && seenDuring.empty()) {
            for (const Json::Value& e : sim_.entries(0, "call")) {
                if (e["outcome"] == "answering") seenDuring = statusOf(ok);
            }
            usleep(20000);
        }
    });
    Json::Value jData = "untouched";
    EXPECT_TRUE(VUROTARNPeerUpdateCache(list, jData));
    done = true;
    watcher.join();
    EXPECT_EQ("9|9", seenDuring);

    // The answers with "success", in list order (the list runs against the
    // rows): the refusal is kept, the answer without "success" is not.
    ASSERT_TRUE(jData.isArray());
    ASSERT_EQ(2u, jData.size()) << jData.toStyledString();
    EXPECT_FALSE(jData[0]["success"].asBool());
    EXPECT_TRUE(jData[1]["success"].asBool());
    EXPECT_EQ(sim_.sn(0), jData[1]["data"]["sn"].asString());
    EXPECT_TRUE(logHas("Resp of(VURO.Core.TARN.Cache:1:push) from peer=" +
                       std::to_string(noSuccess) + " contains no \"success\" key."));
    EXPECT_TRUE(
        logHas("Fail to send (VURO.Core.TARN.Cache:1:push) to peer=" + std::to_string(gone)));
    EXPECT_EQ("9|9", statusOf(ok));
    EXPECT_EQ("9|9", statusOf(noSuccess));
    EXPECT_EQ("9|9", statusOf(refusing));
    EXPECT_EQ("10|10", statusOf(gone));
    EXPECT_EQ("1|1", statusOf(idle));
    // One push for server 0: the idle peer on the same server was not asked.
    int pushes0 = 0;
    for (const Json::Value& e : sim_.entries(0, "call")) pushes0 += e["method"] == "push";
    EXPECT_EQ(1, pushes0);
    EXPECT_EQ(logRowsBefore, logValue("SELECT count(*) FROM log"))
        << "status writes are no news for the event log";

    VUROTARNPeerListFree(&list);
}

TEST_F(NotifyTest, NoticeToOnePeerRunsInAChildAndRefusesBadNodes) {
    simStart(1);
    usersWrite();
    long peer = peerOf(0, 2);

    EXPECT_EQ(-1, VUROTARNGpoNotifyFetch(0, 3, peer));
    EXPECT_TRUE(logHas("node_type [3] is bad"));
    EXPECT_EQ(-1, VUROTARNGpoNotifyFetch(0, 1, -4));
    EXPECT_TRUE(logHas("node_id [-4] is bad"));
    EXPECT_EQ(-1, VUROTARNGpoNotifyFetch(2001, 1, peer));
    EXPECT_TRUE(logHas("No Permission for uid=[2001] to Send webapi to PEER[" +
                       std::to_string(peer) + "] VURO.Core.TARN.Policy[1][fetch]"));
    EXPECT_EQ((std::set<pid_t>{sim_.pid()}), childrenNow()) << "no child for a refusal";

    EXPECT_OK(VUROTARNGpoNotifyFetch(0, 1, peer));
    Reaped r = reapChildren(1, 15000, sim_.pid());
    EXPECT_EQ(1, r.count);
    EXPECT_EQ(1, r.exited0);
    ASSERT_EQ(1, fetchCalls(0));
    Json::Value call = sim_.entries(0, "call")[0];
    EXPECT_EQ("VURO.Core.TARN.Policy", call["api"].asString());
    EXPECT_EQ("{\"action\":\"apply\"}", vurojson::toString(call["params"]));
    EXPECT_EQ(1, sim_.fetches()["count"].asInt());

}

TEST_F(NotifyTest, NoticeToAnOuTellsEveryPeerTheUserSeesAndNoOther) {
    const int kVisible = 50, kHidden = 5;
    simStart(kVisible + kHidden);
    usersWrite();
    // Alice sees OU 2 and what is below it; the peers of OU 1 are not hers.
    sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'A',0),(2,'B',1),(3,'Empty',2),(4,'D',2);"
        "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (8,2001,2,2);");
    for (int i = 0; i < kVisible; i++) peerOf(i, 2, i % 5 == 0 ? 4 : 2);
    for (int i = kVisible; i < kVisible + kHidden; i++) peerOf(i, 2, 1);

    EXPECT_OK(VUROTARNGpoNotifyFetch(2001, 2, 3));
    EXPECT_OK(VUROTARNGpoNotifyFetch(2001, 2, 1));
    EXPECT_EQ((std::set<pid_t>{sim_.pid()}), childrenNow())
        << "an OU without peers, or one the user does not see, forks nothing";

    EXPECT_OK(VUROTARNGpoNotifyFetch(2001, 2, 2));
    Reaped r = reapChildren(kVisible, 30000, sim_.pid());
    EXPECT_EQ(kVisible, r.count);
    EXPECT_EQ(kVisible, r.exited0);
    Json::Value fetches = sim_.fetches();
    EXPECT_EQ(kVisible, fetches["count"].asInt());
    for (int i = 0; i < kVisible + kHidden; i++) {
        EXPECT_EQ(i < kVisible ? 1 : 0, fetches["servers"].get(sim_.sn(i), 0).asInt()) << i;
    }
}

TEST_F(NotifyTest, FailedForkIsLoggedAndTheOthersAreStillTold) {
    simStart(3);
    for (int i = 0; i < 3; i++) peerOf(i, 2, 0);
    // Children that stay a while, so that the limit is met by the third.
    Json::Value m;
    m["delay_ms"] = 600;
    ASSERT_TRUE(sim_.setMode("all", m));
    // The unprivileged child must reach the root's files and the log file.
    chmod(root_.c_str(), 0755);
    writeFile(logFilePath(), "", 0666);

    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        // A user of its own with room for two more processes; saved uid 0
        // keeps the privilege bracket working. The leak check at exit needs
        // a thread of its own, which the limit refuses.
        leakCheckOff();
        struct rlimit lim = {3, 3};
        if (setresgid(54321, 54321, 0) != 0 || setresuid(54321, 54321, 0) != 0 ||
            setrlimit(RLIMIT_NPROC, &lim) != 0) {
            _exit(3);
        }
        int rc = VUROTARNGpoNotifyFetch(0, 2, 0);
        // Reap this child's own children, with a deadline.
        Reaped r = reapChildren(3, 15000, -1);
        _exit(rc == 0 && r.count == 2 && r.exited0 == 2 ? 0 : 1);
    }
    Reaped r = reapChildren(1, 30000, sim_.pid());
    EXPECT_EQ(1, r.exited0) << "the child saw a wrong result or wrong children";
    EXPECT_EQ(1, logFileCount("Failed to fork to notify fetch.")) << readFile(logFilePath());
    EXPECT_EQ(2, sim_.fetches()["count"].asInt());
}
