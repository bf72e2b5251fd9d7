/* delegate_target_test.cpp - the delegates of a node edited as one list,
 * the name cache of local, domain and directory accounts, and removal of
 * nodes with what hangs on them. */
#include <signal.h>
#include <time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vurojson.h>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class DelegateTargetTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        writeFile(sys("/etc/passwd"),
                  "root:x:0:0::/:/bin/sh\ncarol:x:2001:100::/:/bin/sh\n"
                  "CORP\\alice:x:200001:200000::/:/bin/sh\n"
                  "bob@example.com:x:300001:100::/:/bin/sh\n");
        writeFile(sys("/etc/group"), "users:x:100:\nops:x:300:carol\n");
        sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'A',0),(2,'B',1),(3,'C',2);"
            "INSERT INTO peer(id, sn, parent_id) VALUES (1,'SN1',2);"
            "INSERT INTO gpo(id, name, parent_id, parent_type) VALUES (1,'on B',2,2),"
            "(2,'on peer',1,1);");
    }
    Json::Value wanted(std::vector<std::pair<int, std::string>> members) {
        Json::Value j;
        j["delegate"] = Json::Value(Json::arrayValue);
        for (auto& m : members) {
            Json::Value e;
            e["user_type"] = m.first;
            e["name"] = m.second;
            j["delegate"].append(e);
        }
        return j;
    }
    std::string ids(long node) {
        std::string out;
        VURO_TARN_DELEGATE* list = nullptr;
        size_t n = 0;
        VUROTARNDelegateListByTarget(node, VURO_TARN_TYPE_OU, &list, &n);
        for (auto p = list; p; p = p->pNext) out = std::to_string(p->id) + " " + out;
        VUROTARNDelegateListFree(&list);
        return out;
    }
};

TEST_F(DelegateTargetTest, NameCacheOfLocalDomainAndDirectoryAccounts) {
    struct Case {
        unsigned long ugid;
        long type;
        const char* name;
        const char* domain;
        const char* kind;
    };
    for (const Case& c : {Case{2001, 8, "carol", "local", "local"},
                          Case{200001, 8, "CORP\\alice", "CORP", "domain"},
                          Case{300001, 8, "bob@example.com", "example.com", "ldap"},
                          Case{300, 9, "ops", "local", "local"}}) {
        VURO_TARN_DELEGATE d;
        d.ugid = c.ugid;
        d.user_type = c.type;
        d.str_extra_info = "{\"keep\":1}";
        ASSERT_OK(VURODelegatePrepareExtraInfo(&d)) << c.name;
        Json::Value j;
        ASSERT_TRUE(vurojson::fromString(j, d.str_extra_info));
        EXPECT_EQ(c.name, j["userNameCache"].asString());
        EXPECT_EQ(c.domain, j["domainName"].asString());
        EXPECT_EQ(c.kind, j["domainType"].asString());
        EXPECT_EQ(1, j["keep"].asInt());  // other members survive
    }
    // A deleted account keeps its last known name.
    VURO_TARN_DELEGATE gone;
    gone.ugid = 4242;
    gone.user_type = 8;
    gone.str_extra_info = "{\"userNameCache\":\"dave\"}";
    EXPECT_EQ(-1, VURODelegatePrepareExtraInfo(&gone));
    EXPECT_EQ("{\"userNameCache\":\"dave\"}", gone.str_extra_info);
    // An id that now resolves into another domain keeps the cached identity.
    VURO_TARN_DELEGATE moved;
    moved.ugid = 200001;
    moved.user_type = 8;
    moved.str_extra_info =
        "{\"userNameCache\":\"OLD\\\\alice\",\"domainName\":\"OLD\",\"domainType\":\"domain\"}";
    std::string before = moved.str_extra_info;
    ASSERT_OK(VURODelegatePrepareExtraInfo(&moved));
    EXPECT_EQ(before, moved.str_extra_info);
}

TEST_F(DelegateTargetTest, SetListChangesOnlyWhatDiffers) {
    Json::Value j = wanted({{8, "carol"}, {9, "ops"}, {8, "nobody-here"}});
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ(2u, j["delegate"].size());  // the unknown name dropped
    std::string first = ids(2);
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM delegate WHERE target_id=2"));

    // The same list again: the rows keep their ids.
    j = wanted({{9, "ops"}, {8, "carol"}});
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ(first, ids(2));

    // One fewer: only that row goes; an unknown type fails the call.
    j = wanted({{9, "ops"}});
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM delegate WHERE target_id=2 AND user_type=9"));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM delegate WHERE target_id=2 AND user_type=8"));
    j = wanted({{7, "ops"}});
    EXPECT_EQ(-1, VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    Json::Value noList(Json::objectValue);
    EXPECT_EQ(-1, VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, noList));

    // Override gives every delegate a new id; an empty list removes all.
    std::string kept = ids(2);
    j = wanted({{9, "ops"}});
    ASSERT_OK(VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_NE(kept, ids(2));
    j = wanted({});
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ("", ids(2));
}

TEST_F(DelegateTargetTest, WhoHoldsADelegation) {
    EXPECT_TRUE(VUROTARNDelegateIsDelegateUser(0));  // administrator, no delegates
    EXPECT_FALSE(VUROTARNDelegateIsDelegateUser(2001));
    sql("INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (9,300,2,77)");
    EXPECT_FALSE(VUROTARNDelegateIsDelegateUser(2001));  // only a deleted node
    sql("INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (9,300,2,3)");
    EXPECT_TRUE(VUROTARNDelegateIsDelegateUser(2001));  // through his group
}

TEST_F(DelegateTargetTest, NodesGoWithWhatHangsOnThem) {
    sql("INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES"
        " (8,2001,2,2), (8,2001,2,1), (8,2001,1,1), (8,2001,2,0);");
    EXPECT_EQ(-1, VUROTARNOuDeleteAllByID(0));

    ASSERT_OK(VUROTARNOuDeleteAllByID(2));  // B and C, with B's delegate
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM ou WHERE id IN (2,3)"));
    EXPECT_EQ("0", sqlValue("SELECT parent_id FROM peer WHERE id=1"));  // moved to the root
    EXPECT_EQ("0", sqlValue("SELECT parent_id FROM gpo WHERE id=1"));
    EXPECT_EQ("2", sqlValue("SELECT parent_type FROM gpo WHERE id=1"));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM delegate WHERE target_type=2 AND target_id=2"));
    EXPECT_EQ("3", sqlValue("SELECT count(*) FROM delegate"));
    // The peer's own policy was in the subtree too, and moved with the rest.
    EXPECT_EQ("0|1", sqlValue("SELECT parent_id || '|' || parent_type FROM gpo WHERE id=2"));

    sql("INSERT INTO gpo(id, name, parent_id, parent_type) VALUES (3,'on peer again',1,1)");
    ASSERT_OK(VUROTARNPeerDeleteAllBySN("SN1"));  // its policy and delegate too
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM peer"));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM gpo WHERE id=3"));
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM delegate"));
    EXPECT_OK(VUROTARNPeerDeleteAllBySN("NO-SUCH-SERIAL"));
}

TEST_F(DelegateTargetTest, ListsOfTheWrongKindAreRefusedBeforeAnyWrite) {
    Json::Value j = wanted({{8, "carol"}, {9, "ops"}});
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    // A damaged cache on a row: the set path would refresh or sweep it, so
    // it shows whether anything was written.
    sql("INSERT INTO delegate(user_type, ugid, target_type, target_id, extra_info) "
        "VALUES (8,2001,2,2,'{\"domainType\":{}}')");
    std::string rows = sqlValue("SELECT group_concat(id || extra_info, '|') FROM delegate");

    std::vector<std::string> bad = {
        "{\"delegate\":[{\"user_type\":8,\"name\":{}}]}",
        "{\"delegate\":[{\"user_type\":\"user\",\"name\":\"carol\"}]}",
        "{\"delegate\":[{\"user_type\":8,\"name\":\"carol\"},{\"user_type\":9,\"name\":[1]}]}",
        "{\"delegate\":{\"user_type\":8,\"name\":\"carol\"}}",
        "[{\"user_type\":8,\"name\":\"carol\"}]",
    };
    for (const std::string& text : bad) {
        for (bool blOverride : {false, true}) {
            Json::Value jBad;
            ASSERT_TRUE(vurojson::fromString(jBad, text));
            int r = -2;
            EXPECT_NO_THROW(
                r = blOverride ? VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, jBad)
                               : VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, jBad))
                << text;
            EXPECT_EQ(-1, r) << text << " override=" << blOverride;
            EXPECT_EQ(rows, sqlValue("SELECT group_concat(id || extra_info, '|') FROM delegate"))
                << text << " override=" << blOverride;
        }
    }
    // A kind given as decimal text is still a kind, as elsewhere in the records.
    Json::Value jText;
    ASSERT_TRUE(
        vurojson::fromString(jText, "{\"delegate\":[{\"user_type\":\"9\",\"name\":\"ops\"}]}"));
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, jText));
    EXPECT_EQ("9:300", sqlValue("SELECT group_concat(user_type || ':' || ugid) FROM delegate "
                                "WHERE target_id=2"));
}

TEST_F(DelegateTargetTest, AnOverrideThatFailsMidwayKeepsTheOldDelegates) {
    Json::Value j = wanted({{8, "carol"}, {9, "ops"}});
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    const std::string kRows =
        "SELECT group_concat(id || ':' || ugid || ':' || extra_info, '|') FROM delegate "
        "WHERE target_type=2 AND target_id=2";
    std::string before = sqlValue(kRows);
    ASSERT_NE("", before);

    // The second new row cannot be written.
    sql("CREATE TRIGGER second_fails BEFORE INSERT ON delegate WHEN (SELECT count(*) FROM "
        "delegate WHERE target_type=2 AND target_id=2) >= 1 BEGIN SELECT RAISE(ABORT, "
        "'injected'); END;");
    j = wanted({{8, "CORP\\alice"}, {8, "bob@example.com"}, {9, "users"}});
    EXPECT_EQ(-1, VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ(before, sqlValue(kRows));
    // The same with a failure that ends the whole transaction at once.
    sql("DROP TRIGGER second_fails;"
        "CREATE TRIGGER second_rolls_back BEFORE INSERT ON delegate WHEN (SELECT count(*) FROM "
        "delegate WHERE target_type=2 AND target_id=2) >= 1 BEGIN SELECT RAISE(ROLLBACK, "
        "'injected'); END;");
    EXPECT_EQ(-1, VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ(before, sqlValue(kRows));

    // Nothing was left open or locked: the next override goes through, with
    // a create hook and an event row per new delegate.
    sql("DROP TRIGGER second_rolls_back;");
    pluginInstall("tarndelegate/tarndelegate_create",
                  "if [ \"$1\" = POST ]; then echo \"$1 $New_UGID $RESULT\"; "
                  "else echo \"$1 $New_UGID\"; fi >> \"$VURO_SYSROOT/create.log\"\n");
    std::string events = logValue("SELECT count(*) FROM log");
    j = wanted({{8, "CORP\\alice"}, {8, "bob@example.com"}});
    ASSERT_OK(VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, j));
    EXPECT_EQ("200001,300001", sqlValue("SELECT group_concat(ugid) FROM (SELECT ugid FROM "
                                        "delegate WHERE target_id=2 ORDER BY ugid)"));
    EXPECT_EQ("PRE 200001\nPRE 300001\nPOST 200001 0\nPOST 300001 0\n",
              readFile(sys("/create.log")));
    EXPECT_EQ(std::to_string(std::stol(events) + 2), logValue("SELECT count(*) FROM log"));
    // Each event names the row it created.
    std::string lastId = sqlValue("SELECT max(id) FROM delegate");
    EXPECT_EQ("1", logValue("SELECT count(*) FROM log WHERE obj_id='delegate_" + lastId + "'"));
}

TEST_F(DelegateTargetTest, AnOverrideKilledMidwayKeepsTheOldDelegates) {
    Json::Value j = wanted({{8, "carol"}, {9, "ops"}});
    ASSERT_OK(VUROTARNDelegateSetListByTarget(2, VURO_TARN_TYPE_OU, j));
    const std::string kRows =
        "SELECT group_concat(id || ':' || ugid, '|') FROM delegate "
        "WHERE target_type=2 AND target_id=2";
    std::string before = sqlValue(kRows);
    // A create hook that stays until it is killed with the writer.
    pluginInstall("tarndelegate/tarndelegate_create",
                  "exec >/dev/null 2>&1\n"
                  "[ \"$1\" = PRE ] && touch \"$VURO_SYSROOT/in-hook\" && sleep 3\n");
    pid_t pid = fork();
    ASSERT_LE(0, pid);
    if (pid == 0) {
        Json::Value jNew = wanted({{8, "CORP\\alice"}, {9, "users"}});
        _exit(VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, jNew) == 0 ? 0 : 1);
    }
    for (int i = 0; i < 1000 && access(sys("/in-hook").c_str(), F_OK) != 0; i++) usleep(10000);
    ASSERT_EQ(0, access(sys("/in-hook").c_str(), F_OK));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(before, sqlValue(kRows));
}

TEST_F(DelegateTargetTest, OverridesKilledAtRandomMomentsLeaveOldOrNewNeverPart) {
    // Two lists of 40 users each; a writer switches OU 2 between them until
    // it is killed, at a different moment each round.
    std::string passwd = readFile(sys("/etc/passwd"));
    for (int i = 0; i < 80; i++) {
        passwd += "u" + std::to_string(i) + ":x:" + std::to_string(5000 + i) + ":100::/:/bin/sh\n";
    }
    writeFile(sys("/etc/passwd"), passwd);
    auto list = [&](int first) {
        std::vector<std::pair<int, std::string>> members;
        for (int i = first; i < first + 40; i++) members.push_back({8, "u" + std::to_string(i)});
        return wanted(members);
    };
    auto ugids = [&](int first) {
        std::string out;
        for (int i = first; i < first + 40; i++)
            out += (out.empty() ? "" : ",") + std::to_string(5000 + i);
        return out;
    };
    const std::string kHeld =
        "SELECT ifnull(group_concat(ugid), '') FROM (SELECT ugid FROM delegate WHERE "
        "target_type=2 AND target_id=2 ORDER BY ugid)";
    Json::Value j = list(0);
    ASSERT_OK(VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, j));
    ASSERT_EQ(ugids(0), sqlValue(kHeld));

    // Each override the writer finishes flips the list held; the kills come
    // between 0 and about three overrides' time into its run.
    struct timespec t0, t1;
    clock_gettime(CLOCK_MONOTONIC, &t0);
    j = list(40);
    ASSERT_OK(VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, j));
    clock_gettime(CLOCK_MONOTONIC, &t1);
    long usOne = (t1.tv_sec - t0.tv_sec) * 1000000L + (t1.tv_nsec - t0.tv_nsec) / 1000;
    srand(13);
    int flips = 0;
    std::string held = ugids(40);
    for (int round = 0; round < 10; round++) {
        int next = held == ugids(0) ? 40 : 0;
        pid_t pid = fork();
        ASSERT_LE(0, pid);
        if (pid == 0) {
            for (int k = 0;; k++) {
                Json::Value jNew = list(k % 2 == 0 ? next : 40 - next);
                VUROTARNDelegateOverrideListByTarget(2, VURO_TARN_TYPE_OU, jNew);
            }
        }
        usleep((useconds_t)(rand() % (3 * usOne + 1)));
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        std::string was = held;
        held = sqlValue(kHeld);
        EXPECT_TRUE(held == ugids(0) || held == ugids(40)) << "round " << round << ": " << held;
        flips += held != was;
    }
    EXPECT_LT(0, flips);  // the writer did get through, so kills also came late
    EXPECT_EQ("ok", sqlValue("PRAGMA integrity_check"));
}
