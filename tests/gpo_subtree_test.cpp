/* gpo_subtree_test.cpp - the effective policy of a whole subtree against the
 * form for one peer, on generated trees; and planning mode against the same
 * changes made for real. */
#include <random>
#include <set>

#include <vurojson.h>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

/* A generated tree, as laid out in the database. */
struct Tree {
    int nOu = 0;   // OUs 1..nOu under the root 0
    int nGpo = 0;  // policies 1..nGpo; links also name ids above (dangling)
    int maxDepth = 0;
    std::map<long, long> ouParent;
    std::map<long, long> peerParent;
};

/* Seeded random trees: depth up to 10, enforced and plain links, blocks on
 * OUs and peers, dangling links, links of an unknown kind, unreadable link
 * texts (broken, or past the 1023 bytes the walk reads), a policy whose
 * setting is not JSON. */
class TreeMaker {
public:
    explicit TreeMaker(unsigned seed) : rng_(seed) {}

    int pick(int n) { return (int)(rng_() % (unsigned)n); }

    std::string linkText(const Tree& t, bool blReadable = false) {
        int roll = blReadable ? 2 + pick(18) : pick(20);
        if (roll == 0) return "{\"order\":[{\"id\":1";  // unreadable
        if (roll == 1) {
            return "{\"order\":[{\"id\":1}],\"note\":\"" + std::string(1100, 'x') + "\"}";
        }
        if (roll < 6) return "";
        std::string text = "{\"order\":[";
        int n = 1 + pick(4);
        for (int i = 0; i < n; i++) {
            int flag = pick(12);
            text += std::string(i ? "," : "") + "{\"id\":" + std::to_string(1 + pick(t.nGpo + 3)) +
                    (flag < 4    ? ",\"override\":1"
                     : flag == 4 ? ",\"override\":2"
                                 : "") +
                    "}";
        }
        return text + "]}";
    }

    std::string setting(long id) {
        if (id == 7) return "{broken";
        std::string text = "{\"gpo_content\":{";
        int n = 0;
        for (int s = 0; s < 5; s++) {
            if (pick(3) != 0) continue;
            text += std::string(n++ ? "," : "") + "\"S" + std::to_string(s) +
                    "\":{\"vuro_set_version\":1,\"v\":" + std::to_string(id * 10 + s) + "}";
        }
        return text + "}}";
    }

    /* The tree, and in *pSql the text that lays it out. */
    Tree make(int nOu, int nPeer, int nGpo, std::string* pSql) {
        Tree t;
        t.nOu = nOu;
        t.nGpo = nGpo;
        std::map<long, int> depth{{0, 0}};
        std::string text = "BEGIN;";
        for (long id = 1; id <= nGpo; id++) {
            text += "INSERT INTO gpo(id, name, parent_type, setting) VALUES(" + std::to_string(id) +
                    ",'g" + std::to_string(id) + "',2,'" + setting(id) + "');";
        }
        for (long id = 1; id <= nOu; id++) {
            // A chain of ten first, then anywhere above depth 10.
            long parent = id - 1;
            while (id > 10 && (parent = pick((int)id), depth[parent] >= 10)) {
            }
            depth[id] = depth[parent] + 1;
            t.maxDepth = std::max(t.maxDepth, depth[id]);
            t.ouParent[id] = parent;
            text += "INSERT INTO ou(id, name, parent_id, block_inheritance, linked_gpo) VALUES(" +
                    std::to_string(id) + ",'ou" + std::to_string(id) + "'," +
                    std::to_string(parent) + "," + (pick(6) == 0 ? "1" : "0") + ",'" + linkText(t) +
                    "');";
        }
        // Unreadable links on the root would leave no peer to compare.
        text += "UPDATE ou SET linked_gpo='" + linkText(t, true) + "' WHERE id=0;";
        for (long id = 1; id <= nPeer; id++) {
            long parent = pick(nOu + 1);
            t.peerParent[id] = parent;
            text += "INSERT INTO peer(id, sn, parent_id, block_inheritance, linked_gpo) VALUES(" +
                    std::to_string(id) + ",'SN" + std::to_string(id) + "'," +
                    std::to_string(parent) + "," + (pick(8) == 0 ? "1" : "0") + ",'" +
                    (pick(3) == 0 ? linkText(t) : "") + "');";
        }
        *pSql = text + "COMMIT;";
        return t;
    }

private:
    std::mt19937 rng_;
};

bool ouUnder(const Tree& t, long id, long idAncestor) {
    for (;;) {
        if (id == idAncestor) return true;
        if (id == 0) return false;
        id = t.ouParent.at(id);
    }
}

/* Each peer's entry equals the form for one peer: the same policy, or both
 * unable to compute it. */
void expectEachPeerAsAlone(const Json::Value& jPeers, const char* what) {
    for (const Json::Value& p : jPeers) {
        long id = (long)p["peer_id"].asInt64();
        Json::Value jAlone(Json::objectValue);
        int r = VUROTARNGpoGetEvaluate(id, VURO_TARN_TYPE_PEER, jAlone, nullptr);
        EXPECT_EQ(r == 0, p.isMember("effective")) << what << " peer " << id;
        if (r == 0) {
            EXPECT_EQ(jAlone, p["effective"]) << what << " peer " << id;
        }
    }
}

std::set<long> peerIds(const Json::Value& jPeers) {
    std::set<long> ids;
    for (const Json::Value& p : jPeers) ids.insert((long)p["peer_id"].asInt64());
    return ids;
}

}  // namespace

class SubtreeTest : public TarnTest {};

TEST_F(SubtreeTest, EveryPeerAsTheFormForOnePeerGivesIt) {
    for (unsigned seed : {1u, 2u, 3u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        sql("DELETE FROM peer; DELETE FROM gpo; DELETE FROM ou WHERE id != 0;");
        TreeMaker maker(seed);
        std::string layout;
        Tree t = maker.make(60, 100, 14, &layout);
        sql(layout);
        int nComputed = 0;
        int nFailed = 0;
        for (long top : {0L, (long)(1 + maker.pick(t.nOu))}) {
            Json::Value jPeers;
            // Each statement of the library opens with this pragma.
            execCountReset("PRAGMA foreign_keys");
            ASSERT_OK(VUROTARNGpoGetEvaluateSubtree(top, jPeers));
            // One pass: a few statements whatever the size, not one per row.
            EXPECT_LE(execCount(), 4) << "from ou " << top;
            std::set<long> want;
            for (const auto& p : t.peerParent) {
                if (ouUnder(t, p.second, top)) want.insert(p.first);
            }
            EXPECT_EQ(want, peerIds(jPeers)) << "from ou " << top;
            expectEachPeerAsAlone(jPeers, "subtree");
            for (const Json::Value& p : jPeers) (p.isMember("effective") ? nComputed : nFailed)++;
        }
        // The generated cases reach both outcomes, and the full depth.
        EXPECT_GT(nComputed, 20);
        EXPECT_GT(nFailed, 0);
        EXPECT_EQ(10, t.maxDepth);

        // The explanations a plan's diff reads are the form for one peer's too.
        Json::Value jPeers;
        std::string cause;
        ASSERT_OK(VUROTARNGpoGetEvaluateSubtreeWhatIf(0, Json::Value(Json::arrayValue), TRUE,
                                                      jPeers, cause));
        for (const Json::Value& p : jPeers) {
            Json::Value jAlone;
            int r = VUROTARNGpoGetEvaluateExplain((long)p["peer_id"].asInt64(), VURO_TARN_TYPE_PEER,
                                                  jAlone);
            EXPECT_EQ(r == 0, p.isMember("explain"));
            if (r == 0) {
                EXPECT_EQ(jAlone, p["explain"]) << "peer " << p["peer_id"];
            }
        }
    }
    Json::Value j;
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluateSubtree(404, j));
    EXPECT_EQ(-1, VUROTARNGpoGetEvaluateSubtree(-1, j));
}

namespace {

/* The changes of a plan, made for real through the families. */
void changesMake(const Json::Value& jChanges) {
    for (const Json::Value& c : jChanges) {
        std::string op = c["op"].asString();
        if (op == "setting") {
            VURO_TARN_GPO gpo;
            ASSERT_OK(VUROTARNGpoGet((long)c["gpo"].asInt64(), &gpo));
            gpo.str_setting = vurojson::toString(c["setting"]);
            ASSERT_OK(VUROTARNGpoSet(&gpo));
            continue;
        }
        std::string text;
        if (op == "link") {
            Json::Value data;
            VUROTARNHttpReqToJsonForLinkedGpo(c["links"], data);
            text = vurojson::toString(data["linked_gpo"]);
        }
        auto change = [&](auto& rec) {
            if (op == "link") rec.str_linked_gpo = text;
            if (op == "block") rec.block_inheritance = (long)c["value"].asInt64();
            if (op == "move") rec.parent_id = (long)c["parent"].asInt64();
        };
        if (c.isMember("ou")) {
            VURO_TARN_OU ou;
            ASSERT_OK(VUROTARNOuGet((long)c["ou"].asInt64(), &ou));
            change(ou);
            ASSERT_OK(VUROTARNOuSet(&ou));
        } else {
            VURO_TARN_PEER peer;
            ASSERT_OK(VUROTARNPeerGet((long)c["peer"].asInt64(), &peer));
            change(peer);
            ASSERT_OK(VUROTARNPeerSet(&peer));
        }
    }
}

/* A peer's effective policy as the form for one peer gives it, or "error". */
Json::Value alone(long id) {
    Json::Value j(Json::objectValue);
    return VUROTARNGpoGetEvaluate(id, VURO_TARN_TYPE_PEER, j, nullptr) == 0 ? j
                                                                            : Json::Value("error");
}

}  // namespace

TEST_F(SubtreeTest, PlannedAnswerIsTheAnswerAfterTheChangesAndWritesNothing) {
    TreeMaker maker(11);
    std::string layout;
    Tree t = maker.make(40, 100, 10, &layout);
    sql(layout);
    // An OU to move, and a new parent outside its subtree; a peer from
    // outside the subtree asked about moves in.
    long top = 1;
    long movedOu = 0;
    for (long id = 2; id <= t.nOu && movedOu == 0; id++) {
        if (ouUnder(t, id, top) && t.ouParent[id] != top) movedOu = id;
    }
    long outsider = 0;
    for (const auto& p : t.peerParent) {
        if (!ouUnder(t, p.second, top)) outsider = p.first;
    }
    ASSERT_NE(0, movedOu);
    ASSERT_NE(0, outsider);
    Json::Value jChanges;
    ASSERT_TRUE(vurojson::fromString(
        jChanges,
        "[{\"op\":\"link\",\"ou\":" + std::to_string(top) +
            ",\"links\":{\"order\":[{\"gpo_id\":3,\"override\":1},{\"gpo_id\":5},{\"gpo_id\":2}]}},"
            "{\"op\":\"link\",\"peer\":" +
            std::to_string(outsider) +
            ",\"links\":{\"order\":[{\"gpo_id\":4}]}},"
            "{\"op\":\"block\",\"ou\":" +
            std::to_string(movedOu) +
            ",\"value\":1},"
            "{\"op\":\"block\",\"ou\":0,\"value\":0},"
            "{\"op\":\"move\",\"ou\":" +
            std::to_string(movedOu) + ",\"parent\":" + std::to_string(top) +
            "},"
            "{\"op\":\"move\",\"peer\":" +
            std::to_string(outsider) + ",\"parent\":" + std::to_string(movedOu) +
            "},"
            "{\"op\":\"move\",\"peer\":" +
            std::to_string(t.peerParent.begin()->first) +
            ",\"parent\":0},"
            "{\"op\":\"setting\",\"gpo\":2,\"setting\":{\"gpo_content\":{\"S9\":{\"v\":1}}}}]"));

    std::string dbBefore = readFile(sys(VUROTARN_SQLITE_DB_PATH));
    ASSERT_FALSE(dbBefore.empty());
    Json::Value jPlanned;
    std::string cause;
    ASSERT_OK(VUROTARNGpoGetEvaluateSubtreeWhatIf(top, jChanges, FALSE, jPlanned, cause)) << cause;
    EXPECT_EQ(dbBefore, readFile(sys(VUROTARN_SQLITE_DB_PATH)));
    EXPECT_TRUE(peerIds(jPlanned).count(outsider));

    // The same by the tool, as a diff: kept to compare with the real change.
    std::map<long, Json::Value> before;
    for (const auto& p : t.peerParent) before[p.first] = alone(p.first);
    Json::Value jDiff;
    ASSERT_EQ(0, tarn({"evaluate", "--ou", std::to_string(top), "--all-peers", "--what-if",
                       vurojson::toString(jChanges), "--diff"},
                      &jDiff));

    changesMake(jChanges);
    Json::Value jReal;
    ASSERT_OK(VUROTARNGpoGetEvaluateSubtree(top, jReal));
    std::set<long> planned = peerIds(jPlanned);
    for (const Json::Value& p : jPlanned) {
        if (!p["moved_out"].asBool()) continue;
        planned.erase((long)p["peer_id"].asInt64());
    }
    EXPECT_EQ(peerIds(jReal), planned);
    std::set<long> changed;
    for (const Json::Value& p : jPlanned) {
        long id = (long)p["peer_id"].asInt64();
        Json::Value real = alone(id);
        EXPECT_EQ(real, p.isMember("effective") ? p["effective"] : Json::Value("error"))
            << "peer " << id;
        if (real != before[id]) changed.insert(id);
    }
    // The diff lists exactly the peers whose policy changed, each set with
    // its winner before and after and a reason.
    std::set<long> listed = peerIds(jDiff);
    EXPECT_EQ(changed, listed);
    EXPECT_FALSE(listed.empty());
    for (const Json::Value& p : jDiff) {
        for (const Json::Value& s : p["sets"]) {
            EXPECT_NE(s["before"], s["after"]) << vurojson::toString(s);
            EXPECT_FALSE(s["reason"].asString().empty());
        }
    }
}

TEST_F(SubtreeTest, ToolPrintsTheSubtreeAndRefusesBadChanges) {
    sql("INSERT INTO gpo(id, name, parent_type, setting) VALUES"
        " (1,'A',2,'{\"gpo_content\":{\"Samba\":{\"v\":1}}}'),"
        " (2,'B',2,'{\"gpo_content\":{\"Samba\":{\"v\":2}}}');"
        "INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES"
        " (1,'one',0,'{\"order\":[{\"id\":1}]}'), (2,'two',1,'{\"order\":[{\"id\":2}]}');"
        "INSERT INTO peer(id, sn, parent_id) VALUES (1,'P1',1), (2,'P2',2);");
    Json::Value j;
    ASSERT_EQ(0, tarn({"evaluate", "--ou", "1", "--all-peers", "--json"}, &j));
    ASSERT_EQ(2u, j.size());
    EXPECT_EQ("A", j[0]["effective"]["gpo_content"]["Samba"]["gpo_name"].asString());
    EXPECT_EQ("B", j[1]["effective"]["gpo_content"]["Samba"]["gpo_name"].asString());

    // Blocking OU 2 changes nothing (its own link is nearer); linking B as
    // enforced on OU 1 turns peer 1 over to B, with the reason.
    std::string out;
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "--root", root_, "evaluate", "--ou", "1", "--all-peers",
                             "--diff", "--human", "--what-if",
                             "[{\"op\":\"block\",\"ou\":2,\"value\":1},"
                             "{\"op\":\"link\",\"ou\":1,\"links\":{\"order\":[{\"gpo_id\":2,"
                             "\"override\":1},{\"gpo_id\":1}]}}]"},
                            &out));
    EXPECT_NE(std::string::npos, out.find("1 of 2 peers would change")) << out;
    EXPECT_NE(std::string::npos, out.find("Samba: A (gpo 1, ou 1) -> B (gpo 2, ou 1, enforced)"))
        << out;
    EXPECT_NE(std::string::npos, out.find("because A (gpo 1) later in the order")) << out;
    EXPECT_EQ(std::string::npos, out.find("peer 2 ")) << out;

    for (const char* bad :
         {"not json", "{}", "[{\"op\":\"paint\",\"ou\":1}]",
          "[{\"op\":\"block\",\"ou\":9,\"value\":1}]", "[{\"op\":\"block\",\"ou\":1,\"value\":7}]",
          "[{\"op\":\"move\",\"ou\":1,\"parent\":2}]",
          "[{\"op\":\"link\",\"ou\":1,\"links\":{\"order\":[{\"id\":1}]}}]"}) {
        std::string err;
        EXPECT_EQ(2, runProgram({TARN_CLI_PATH, "--root", root_, "evaluate", "--ou", "1",
                                 "--all-peers", "--what-if", bad},
                                &out, &err))
            << bad;
        EXPECT_NE(std::string::npos, err.find("--what-if")) << bad << ": " << err;
    }
    EXPECT_EQ(2, tarn({"evaluate", "--peer", "1", "--all-peers"}));
    EXPECT_EQ(2, tarn({"evaluate", "--ou", "1", "--all-peers", "--diff"}));
    EXPECT_EQ(2, tarn({"evaluate", "--ou", "1", "--all-peers", "--explain"}));
    EXPECT_EQ(2, tarn({"evaluate", "--ou", "1", "--what-if", "[]"}));
}
