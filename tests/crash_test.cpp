/* crash_test.cpp - writers killed at random moments. Forked processes
 * create, rename and delete OUs and peers, and cut whole subtrees, each in
 * a subtree of its own, while the test kills one of them with SIGKILL every
 * few dozen milliseconds and starts it again. Each writer notes what it is
 * about to do and, once the call returned, what was done, in a file of its
 * own, synced before it goes on. Afterwards both databases must pass their
 * integrity check, no OU or peer may hang on an OU that is gone, and every
 * write that was acknowledged must be there, unless a deletion that was
 * begun later may have taken it. TARN_CRASH_SECONDS sets the run time. */
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

const int kWriters = 3;

/* One line, appended and synced before the writer goes on. */
void notePut(int fd, const std::string& line) {
    std::string text = line + "\n";
    if (write(fd, text.data(), text.size()) != (ssize_t)text.size() || fsync(fd) != 0) _exit(3);
}

/* The OUs and peers of the subtree below top, as stored now. */
void subtreeRead(long top, std::vector<long>* pOus,
                 std::vector<std::pair<long, std::string>>* pPeers) {
    VURO_TARN_OU* ous = nullptr;
    VURO_TARN_PEER* peers = nullptr;
    if (VUROTARNGetTreeByID(top, VURO_TARN_TYPE_OU, &ous, &peers, nullptr) != 0) _exit(4);
    pOus->clear();
    pPeers->clear();
    for (VURO_TARN_OU* p = ous; p; p = p->pNext) pOus->push_back(p->id);
    for (VURO_TARN_PEER* p = peers; p; p = p->pNext) pPeers->emplace_back(p->id, p->str_sn);
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
}

/* A writer's life: random writes below its own top OU until it is killed.
 * "?" lines are intentions, the others acknowledgements. */
[[noreturn]] void writerRun(int writer, long top, const std::string& notes, unsigned seed) {
    int fd = open(notes.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0644);
    if (fd < 0) _exit(2);
    std::mt19937 rnd(seed);
    std::vector<long> ous;
    std::vector<std::pair<long, std::string>> peers;
    subtreeRead(top, &ous, &peers);
    std::string tag = "w" + std::to_string(writer) + "-" + std::to_string(getpid()) + "-";
    for (int n = 0;; n++) {
        int op = (int)(rnd() % 100);
        long ou = ous[rnd() % ous.size()];
        std::string name = tag + std::to_string(n);
        if (op < 35) {
            VURO_TARN_OU rec;
            VUROTARNOuItemSetName(&rec, name.c_str());
            VUROTARNOuItemSetParentID(&rec, ou);
            if (VUROTARNOuCreate(&rec) == 0) {
                notePut(fd, "ou " + std::to_string(rec.id) + " " + name);
                ous.push_back(rec.id);
            }
        } else if (op < 55) {
            VURO_TARN_PEER rec;
            VUROTARNPeerItemSetSN(&rec, name.c_str());
            VUROTARNPeerItemSetParentID(&rec, ou);
            if (VUROTARNPeerCreate(&rec) == 0) {
                notePut(fd, "peer " + name);
                peers.emplace_back(rec.id, name);
            }
        } else if (op < 70) {
            VURO_TARN_OU rec;
            if (VUROTARNOuGet(ou, &rec) != 0) continue;
            VUROTARNOuItemSetName(&rec, name.c_str());
            notePut(fd, "name? " + std::to_string(ou) + " " + name);
            if (VUROTARNOuSet(&rec) == 0) notePut(fd, "name " + std::to_string(ou) + " " + name);
        } else if (op < 88) {
            if (ou == top) continue;
            std::vector<long> gone;
            std::vector<std::pair<long, std::string>> moved;
            subtreeRead(ou, &gone, &moved);
            std::string line = "gone?";
            for (long id : gone) line += " " + std::to_string(id);
            notePut(fd, line);
            if (VUROTARNOuDeleteAllByID(ou) != 0) _exit(5);
            subtreeRead(top, &ous, &peers);
        } else if (!peers.empty()) {
            size_t i = rnd() % peers.size();
            notePut(fd, "peergone? " + peers[i].second);
            if (VUROTARNPeerDeleteAllByID(peers[i].first) != 0) _exit(6);
            peers.erase(peers.begin() + (long)i);
        }
    }
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
}

/* "a=b" lines of a group_concat into a map. */
std::map<std::string, std::string> pairs(const std::string& text) {
    std::map<std::string, std::string> out;
    for (const std::string& l : lines(text)) {
        size_t eq = l.find('=');
        if (eq != std::string::npos) out[l.substr(0, eq)] = l.substr(eq + 1);
    }
    return out;
}

}  // namespace

class CrashTest : public TarnTest {};

TEST_F(CrashTest, KilledWritersLoseNothingAcknowledgedAndLeaveNoOrphans) {
    int seconds = getenv("TARN_CRASH_SECONDS") ? atoi(getenv("TARN_CRASH_SECONDS")) : 10;
    std::vector<long> tops;
    for (int w = 0; w < kWriters; w++) {
        VURO_TARN_OU top;
        VUROTARNOuItemSetName(&top, ("top" + std::to_string(w)).c_str());
        ASSERT_OK(VUROTARNOuCreate(&top));
        tops.push_back(top.id);
    }
    auto notes = [&](int w) { return sys("/notes-" + std::to_string(w)); };
    unsigned seed = (unsigned)time(nullptr);
    std::mt19937 rnd(seed);
    auto spawn = [&](int w) {
        unsigned childSeed = (unsigned)rnd();
        pid_t pid = fork();
        if (pid == 0) writerRun(w, tops[w], notes(w), childSeed);
        return pid;
    };
    std::vector<pid_t> pids;
    for (int w = 0; w < kWriters; w++) pids.push_back(spawn(w));

    int kills = 0;
    std::string ended;
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (ended.empty() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + rnd() % 180));
        int w = (int)(rnd() % kWriters);
        kill(pids[w], SIGKILL);
        int status = 0;
        waitpid(pids[w], &status, 0);
        // A writer that ended by itself met a failed call: that is a finding.
        if (!WIFSIGNALED(status)) {
            ended = "writer " + std::to_string(w) + " exited with " +
                    std::to_string(WEXITSTATUS(status));
        }
        kills++;
        pids[w] = spawn(w);
    }
    for (pid_t pid : pids) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    EXPECT_EQ("", ended) << "seed " << seed;

    EXPECT_EQ("ok", sqlValue("PRAGMA integrity_check"));
    EXPECT_EQ("ok", logValue("PRAGMA integrity_check"));
    EXPECT_EQ("NULL", sqlValue("SELECT group_concat(id) FROM ou WHERE id<>0 AND parent_id NOT IN "
                               "(SELECT id FROM ou)"))
        << "seed " << seed;
    EXPECT_EQ(
        "NULL",
        sqlValue("SELECT group_concat(id) FROM peer WHERE parent_id NOT IN (SELECT id FROM ou)"))
        << "seed " << seed;

    // Replay the notes: what each writer was told was written.
    std::map<std::string, std::string> storedOus =
        pairs(sqlValue("SELECT group_concat(id || '=' || name, char(10)) FROM ou"));
    std::set<std::string> storedPeers;
    for (const std::string& sn : lines(sqlValue("SELECT group_concat(sn, char(10)) FROM peer"))) {
        storedPeers.insert(sn);
    }
    size_t acknowledged = 0;
    for (int w = 0; w < kWriters; w++) {
        std::set<std::string> mayBeGone, peersAcked, peersMayBeGone;
        // Acknowledged OUs and the names each may hold: the last one it was
        // told, or one of a rename under way since.
        std::map<std::string, std::set<std::string>> namesAllowed;
        namesAllowed[std::to_string(tops[w])] = {"top" + std::to_string(w)};
        for (const std::string& l : lines(readFile(notes(w)))) {
            std::istringstream in(l);
            std::string kind, id, value;
            in >> kind >> id >> value;
            if (kind == "ou") {
                namesAllowed[id] = {value};
            } else if (kind == "name?") {
                if (namesAllowed.count(id)) namesAllowed[id].insert(value);
            } else if (kind == "name") {
                namesAllowed[id] = {value};
            } else if (kind == "gone?") {
                std::istringstream ids(l.substr(5));
                for (std::string g; ids >> g;) mayBeGone.insert(g);
            } else if (kind == "peer") {
                peersAcked.insert(id);
            } else if (kind == "peergone?") {
                peersMayBeGone.insert(id);
            }
        }
        for (const auto& ou : namesAllowed) {
            if (mayBeGone.count(ou.first)) continue;
            acknowledged++;
            ASSERT_TRUE(storedOus.count(ou.first)) << "acknowledged OU " << ou.first << " is gone";
            EXPECT_TRUE(ou.second.count(storedOus[ou.first]))
                << "OU " << ou.first << " holds " << storedOus[ou.first];
        }
        for (const std::string& sn : peersAcked) {
            if (peersMayBeGone.count(sn)) continue;
            acknowledged++;
            EXPECT_TRUE(storedPeers.count(sn)) << "acknowledged peer " << sn << " is gone";
        }
    }
    // The run must have done enough to mean something.
    EXPECT_GE(kills, 2 * seconds);
    EXPECT_GE(acknowledged, 2u * (size_t)seconds);
    RecordProperty("kills", kills);
}
