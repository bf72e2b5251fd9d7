/* tree_test.cpp - walks over a real tree: children, breadth-first subtrees
 * appended behind what the caller holds, paths to the root, and loops in
 * parent_id that must end a walk instead of hanging it. */
#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

/*        0
 *        |
 *        1 (gpo 1)
 *      /   \
 *     2     3        peer 1 under 1 (gpo 2 on it)
 *     |
 *     4              peer 2 under 4
 */
class TreeTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'A',0),(2,'B',1),(3,'C',1),(4,'D',2);"
            "INSERT INTO peer(id, sn, hostname, parent_id) VALUES (1,'SN1','p1',1),"
            "(2,'SN2','p2',4);"
            "INSERT INTO gpo(id, name, parent_id, parent_type) VALUES (1,'on A',1,2),"
            "(2,'on p1',1,1);");
    }
};

TEST_F(TreeTest, ChildrenOfOneNode) {
    VURO_TARN_OU* ous = nullptr;
    VURO_TARN_PEER* peers = nullptr;
    VURO_TARN_GPO* gpos = nullptr;
    ASSERT_OK(VUROTARNGetChildByID(1, VURO_TARN_TYPE_OU, &ous, &peers, &gpos));
    EXPECT_EQ((std::vector<long>{3, 2}), ids(ous));  // reverse row order
    EXPECT_EQ((std::vector<long>{1}), ids(peers));
    EXPECT_EQ((std::vector<long>{1}), ids(gpos));  // the OU's own, not the peer's
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);

    ASSERT_OK(VUROTARNGetChildByID(1, VURO_TARN_TYPE_PEER, nullptr, &peers, &gpos));
    EXPECT_EQ((std::vector<long>{2}), ids(gpos));
    EXPECT_EQ(nullptr, peers);  // a peer has no other children
    VUROTARNGpoListFree(&gpos);
    EXPECT_OK(VUROTARNGetChildByID(1, VURO_TARN_TYPE_PEER, &ous, &peers, nullptr));

    EXPECT_EQ(-1, VUROTARNGetChildByID(1, 3, &ous, nullptr, nullptr));
    EXPECT_TRUE(logHas("Bad idType=3")) << logDump();
    EXPECT_EQ(-1, VUROTARNGetChildByID(1, 2, nullptr, nullptr, nullptr));
    EXPECT_TRUE(
        logHas("Invaild Argument ((__null!=pListOu || __null!=pListPeer || "
               "__null!=pListGpo))"));
}

TEST_F(TreeTest, SubtreesBreadthFirstAndAppended) {
    VURO_TARN_OU* ous = nullptr;
    VURO_TARN_PEER* peers = nullptr;
    VURO_TARN_GPO* gpos = nullptr;
    ASSERT_OK(VUROTARNGetTreeByID(1, VURO_TARN_TYPE_OU, &ous, &peers, &gpos));
    EXPECT_EQ((std::vector<long>{1, 3, 2, 4}), ids(ous));
    EXPECT_EQ((std::vector<long>{1, 2}), ids(peers));
    EXPECT_EQ((std::vector<long>{1, 2}), ids(gpos));

    // Into the same pointers: behind the first answer.
    ASSERT_OK(VUROTARNGetTreeByID(2, VURO_TARN_TYPE_OU, &ous, &peers, nullptr));
    EXPECT_EQ((std::vector<long>{1, 3, 2, 4, 2, 4}), ids(ous));
    EXPECT_EQ((std::vector<long>{1, 2, 2}), ids(peers));

    // A missing start node fails and leaves the lists as they were.
    EXPECT_EQ(-1, VUROTARNGetTreeByID(99, VURO_TARN_TYPE_OU, &ous, &peers, &gpos));
    EXPECT_EQ(6u, ids(ous).size());
    EXPECT_TRUE(logHas("0 > VUROTARNOuGet(id, pOuListHead)")) << logDump();
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);

    // Peers only: the OU list is walked and dropped.
    ASSERT_OK(VUROTARNGetTreeByID(2, VURO_TARN_TYPE_OU, nullptr, &peers, nullptr));
    EXPECT_EQ((std::vector<long>{2}), ids(peers));
    VUROTARNPeerListFree(&peers);

    // A peer's tree: itself and its policies, never OUs.
    ASSERT_OK(VUROTARNGetTreeByID(1, VURO_TARN_TYPE_PEER, &ous, &peers, &gpos));
    EXPECT_EQ(nullptr, ous);
    EXPECT_EQ((std::vector<long>{1}), ids(peers));
    EXPECT_EQ((std::vector<long>{2}), ids(gpos));
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);
}

TEST_F(TreeTest, PathsToTheRoot) {
    PQLIBSZLIST list = QLIBCSzListAlloc(8);
    EXPECT_EQ(3, VUROTARNOuListTreePath(4, list));
    EXPECT_EQ((std::vector<std::string>{"4", "2", "1", "0"}), items(list));
    QLIBCSzListRemoveAll(list);
    EXPECT_EQ(0, VUROTARNOuListTreePath(0, list));
    EXPECT_EQ((std::vector<std::string>{"0"}), items(list));
    QLIBCSzListRemoveAll(list);
    EXPECT_EQ(0, VUROTARNOuListTreePath(-5, list));
    EXPECT_EQ(0, list->nItem);
    EXPECT_EQ(3, VUROTARNPeerListTreePath(2, list));
    EXPECT_EQ((std::vector<std::string>{"4", "2", "1", "0"}), items(list));
    QLIBCSzListRemoveAll(list);
    EXPECT_EQ(-1, VUROTARNOuListTreePath(77, list));
    EXPECT_TRUE(logHas("0 > VUROTARNOuGet(id, &Ou)")) << logDump();
    EXPECT_EQ((std::vector<std::string>{"77"}), items(list));  // what was pushed stays
    QLIBCSzListFree(list);
}

TEST_F(TreeTest, LoopsInParentIdEndTheWalk) {
    sql("UPDATE ou SET parent_id=4 WHERE id=1;");  // 1 -> 2 -> 4 -> 1
    VURO_TARN_OU* ous = nullptr;
    EXPECT_EQ(-1, VUROTARNGetTreeByID(1, VURO_TARN_TYPE_OU, &ous, nullptr, nullptr));
    EXPECT_EQ(nullptr, ous);
    EXPECT_TRUE(logHas("Loop in the tree: OU id=1 is met twice")) << logDump();
    PQLIBSZLIST list = QLIBCSzListAlloc(8);
    logClear();
    EXPECT_EQ(-1, VUROTARNOuListTreePath(4, list));
    EXPECT_TRUE(logHas("Loop in the tree: OU id=4 is met twice")) << logDump();
    QLIBCSzListFree(list);
}

TEST_F(TreeTest, CutShortSubtreeDeletionLeavesNoOrphans) {
    // C cannot go: the deletion stops there. Whatever went before it, every
    // OU and peer left must still hang on a stored OU.
    sql("CREATE TRIGGER keep_c BEFORE DELETE ON ou WHEN old.id=3 BEGIN "
        "SELECT RAISE(ABORT, 'kept'); END;");
    EXPECT_EQ(-1, VUROTARNOuDeleteAllByID(1));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM ou WHERE id<>0 AND parent_id NOT IN "
                            "(SELECT id FROM ou)"));
    EXPECT_EQ("0",
              sqlValue("SELECT count(*) FROM peer WHERE parent_id NOT IN (SELECT id FROM ou)"));
    // Children before parents: D and B went, C and A are still there.
    EXPECT_EQ("1,3", sqlValue("SELECT group_concat(id) FROM (SELECT id FROM ou WHERE id<>0 "
                              "ORDER BY id)"));

    sql("DROP TRIGGER keep_c;");
    ASSERT_OK(VUROTARNOuDeleteAllByID(1));
    EXPECT_EQ("0", sqlValue("SELECT group_concat(id) FROM ou"));
}
