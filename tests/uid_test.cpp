/* uid_test.cpp - what each user may see and manage: administrators, users
 * delegated directly and through groups, deleted nodes, many groups, and
 * the peer filter that must agree with the per-peer answer. */
#include <algorithm>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

template <class Rec>
std::vector<long> sortedIds(const Rec* p) {
    std::vector<long> out = ids(p);
    std::sort(out.begin(), out.end());
    return out;
}

const uid_t kAlice = 2001;  // delegated on OU 2 herself, on OU 4 through "ops"
const uid_t kBob = 2002;    // no delegates
const uid_t kCarol = 2003;  // member of administrators
const uid_t kMany = 2004;   // in 60 groups, delegated through the last one

}  // namespace

/*        0
 *        |
 *        1
 *      /   \
 *     2     3        peer 1 under 1, peer 2 under 4, peer 3 under 3
 *     |
 *     4
 */
class UidTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        std::string group = "users:x:100:\nops:x:300:alice\nadministrators:x:101:carol\n";
        for (int i = 0; i < 60; i++) {
            group += "g" + std::to_string(i) + ":x:" + std::to_string(5000 + i) + ":many\n";
        }
        writeFile(sys("/etc/passwd"),
                  "root:x:0:0::/root:/bin/sh\nalice:x:2001:100::/:/bin/sh\n"
                  "bob:x:2002:100::/:/bin/sh\ncarol:x:2003:100::/:/bin/sh\n"
                  "many:x:2004:100::/:/bin/sh\n");
        writeFile(sys("/etc/group"), group);
        sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'A',0),(2,'B',1),(3,'C',1),(4,'D',2);"
            "INSERT INTO peer(id, sn, parent_id) VALUES (1,'SN1',1),(2,'SN2',4),(3,'SN3',3);"
            "INSERT INTO gpo(id, name, parent_id, parent_type) VALUES (1,'on B',2,2),"
            "(2,'on peer 2',2,1);"
            "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES"
            " (8,2001,2,2), (9,300,2,4), (8,2001,2,99), (9,5059,1,3);");
    }
};

TEST_F(UidTest, Administrators) {
    EXPECT_TRUE(VUROTARNIsAdminGroup(0));
    EXPECT_TRUE(VUROTARNIsAdminGroup(1024));  // not even in the user files
    EXPECT_TRUE(VUROTARNIsAdminGroup(kCarol));
    EXPECT_FALSE(VUROTARNIsAdminGroup(kAlice));
    EXPECT_FALSE(VUROTARNIsAdminGroupByUidStr("12a"));
    EXPECT_FALSE(VUROTARNIsAdminGroupByUidStr(""));
    EXPECT_FALSE(VUROTARNIsAdminGroupByUidStr(nullptr));
    EXPECT_TRUE(VUROTARNIsAdminGroupByUidStr("2003"));

    VURO_TARN_OU* ous = nullptr;
    VURO_TARN_PEER* peers = nullptr;
    VURO_TARN_GPO* gpos = nullptr;
    ASSERT_OK(VUROTARNListTreeByUid(kCarol, &ous, &peers, &gpos));
    EXPECT_EQ((std::vector<long>{0, 1, 2, 3, 4}), sortedIds(ous));
    EXPECT_EQ((std::vector<long>{1, 2, 3}), sortedIds(peers));
    EXPECT_EQ((std::vector<long>{1, 2}), sortedIds(gpos));
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);
    EXPECT_TRUE(VUROTARNOuCanManagedByUid(0, 3));
}

TEST_F(UidTest, DelegatedUserSeesHisNodesOnceThroughGroupsToo) {
    VURO_TARN_OU* ous = nullptr;
    VURO_TARN_PEER* peers = nullptr;
    VURO_TARN_GPO* gpos = nullptr;
    ASSERT_OK(VUROTARNListTreeByUid(kAlice, &ous, &peers, &gpos));
    // OU 2 directly, OU 4 under it and through "ops"; the delegate on the
    // deleted OU 99 adds nothing.
    EXPECT_EQ((std::vector<long>{2, 4}), sortedIds(ous));
    EXPECT_EQ((std::vector<long>{2}), sortedIds(peers));
    EXPECT_EQ((std::vector<long>{1, 2}), sortedIds(gpos));
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);

    ASSERT_OK(VUROTARNOuListOneLevelByUid(kAlice, &ous));
    EXPECT_EQ((std::vector<long>{2, 4}), sortedIds(ous));
    VUROTARNOuListFree(&ous);

    EXPECT_TRUE(VUROTARNOuCanManagedByUid(kAlice, 4));
    EXPECT_FALSE(VUROTARNOuCanManagedByUid(kAlice, 3));
    EXPECT_TRUE(VUROTARNPeerIDCanManagedByUid(kAlice, 2));
    EXPECT_FALSE(VUROTARNPeerIDCanManagedByUid(kAlice, 1));
    EXPECT_TRUE(VUROTARNPeerCanManagedByUid(kAlice, "SN2"));
    EXPECT_FALSE(VUROTARNPeerCanManagedByUid(kAlice, "SN3"));
    EXPECT_FALSE(VUROTARNPeerCanManagedByUid(kAlice, nullptr));

    PQLIBSZLIST list = QLIBCSzListAlloc(8);
    ASSERT_OK(VUROTARNContainerObjIDListByUid(kAlice, &list));
    EXPECT_EQ((std::vector<std::string>{"ou_2", "ou_4", "peer_2"}), items(list));
    ASSERT_OK(VUROTARNPeerSNListByUid(kAlice, &list));
    EXPECT_EQ(1, list->nItem);
    EXPECT_STREQ("SN2", list->pszItem[0]);
    QLIBCSzListFree(list);

    // Nothing delegated: empty, and no failure.
    ASSERT_OK(VUROTARNListTreeByUid(kBob, &ous, &peers, &gpos));
    EXPECT_EQ(nullptr, ous);
    EXPECT_EQ(nullptr, peers);
    EXPECT_FALSE(VUROTARNOuCanManagedByUid(kBob, 1));

    // Group hashes are made inside: a group's own hash is refused.
    PQLIBSZHASH h = QLIBCSzHashAlloc(8);
    QLIBCSzHashSetValue(&h, "ugid", "300");
    QLIBCSzHashSetValue(&h, "user_type", "9");
    EXPECT_EQ(-1, VUROTARNListOneLevelByUidHash(h, &ous, nullptr, nullptr));
    QLIBCSzHashFree(h);
    VUROTARNOuListFree(&ous);
}

TEST_F(UidTest, SixtyGroupsAreAllSeen) {
    PQLIBSZLIST list = QLIBCSzListAlloc(8);
    ASSERT_OK(VUROTARNGetGroupListByUid(kMany, &list, TRUE));
    EXPECT_EQ(61, list->nItem);
    QLIBCSzListRemoveAll(list);
    ASSERT_OK(VUROTARNGetGroupListByUid(kMany, &list, FALSE));
    EXPECT_STREQ("users", list->pszItem[0]);
    EXPECT_STREQ("g59", list->pszItem[60]);
    QLIBCSzListFree(list);
    // The delegate of the 60th group reaches him.
    EXPECT_TRUE(VUROTARNPeerIDCanManagedByUid(kMany, 3));
}

TEST_F(UidTest, PeersUnderAnOuOfTheView) {
    VURO_TARN_PEER* peers = nullptr;
    ASSERT_OK(VUROTARNPeerListUnderOU(kAlice, 2, &peers));
    EXPECT_EQ((std::vector<long>{2}), sortedIds(peers));
    VUROTARNPeerListFree(&peers);
    ASSERT_OK(VUROTARNPeerListUnderOU(kAlice, 3, &peers));  // outside her view
    EXPECT_EQ(nullptr, peers);
    ASSERT_OK(VUROTARNPeerListUnderOU(0, 1, &peers));
    EXPECT_EQ((std::vector<long>{1, 2, 3}), sortedIds(peers));
    VUROTARNPeerListFree(&peers);
}

TEST_F(UidTest, PeerFilterAgreesWithThePerPeerAnswer) {
    std::string filter;
    EXPECT_EQ(1, VUROTARNGetPeerIDFilter("alice", filter));
    EXPECT_EQ(" where peer_id=2 ", filter);
    filter = " where status=2";
    EXPECT_EQ(1, VUROTARNGetPeerIDFilter("many", filter));
    EXPECT_EQ(" where status=2 and ( peer_id=3) ", filter);
    filter.clear();
    EXPECT_EQ(3, VUROTARNGetPeerIDFilter("carol", filter));  // all: no filter
    EXPECT_EQ("", filter);
    EXPECT_EQ(0, VUROTARNGetPeerIDFilter("bob", filter));  // none: no filter either
    EXPECT_EQ("", filter);
    EXPECT_EQ(-1, VUROTARNGetPeerIDFilter("nobody", filter));

    for (const char* user : {"alice", "bob", "carol", "many"}) {
        uid_t uid = 0;
        ASSERT_EQ(0, VUROUserGetUGID(user, &uid, nullptr));
        std::string f;
        int n = VUROTARNGetPeerIDFilter(user, f);
        int expected = 0;
        for (long id = 1; id <= 3; id++) expected += VUROTARNPeerIDCanManagedByUid(uid, id);
        EXPECT_EQ(expected, n) << user;
    }
}
