/* gpo_subtree.cpp - the effective policy of every peer under an OU. The OUs
 * of the subtree and of its path to the root, its peers and the policies
 * they link are read in bulk, each once; then each peer goes through the same
 * order walk and evaluation as one node, over those rows. A plan changes the
 * rows in memory first and writes nothing. Reads the families' own record
 * readers, so a row read in bulk is the row a Get gives. */
#include <map>
#include <set>

#include <vurojson.h>

#include "common/vurotarn_json_int.h"
#include "tarngpo-ext/gpo_ext_int.h"
#include "tarngpo/vurotarngpo_int.h"
#include "tarnou/vurotarnou_int.h"
#include "tarnpeer/vurotarnpeer_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarngpo_evaluate.h"
#include "vurotarngpo_link.h"

namespace {

/* "SELECT * FROM <table> <condition>" into a map by id. A row held
 * already stays as it is: a plan may have changed it. */
template <class T>
int rowsRead(const std::string& condition, std::map<long, typename T::Rec>& into) {
    using Record = VurotarnRecord<T>;
    typename T::Rec* pHead = NULL;
    std::string sql = Record::selectFrom() + " " + condition + ";";
    VurotarnConnection db;
    int r = db.exec(sql.c_str(), Record::fillList, &pHead);
    for (typename T::Rec* p = pHead; r == 0 && p != NULL; p = p->pNext) {
        if (into.count((long)p->id)) continue;
        typename T::Rec& rec = into[(long)p->id];
        rec = *p;
        rec.pNext = NULL;
    }
    Record::listFree(&pHead);
    return r == 0 ? 0 : -1;
}

/* The ids of an OU's subtree, itself included, as a subquery. */
std::string subtreeIds(long idOu) {
    return "WITH RECURSIVE down(id) AS (SELECT " + std::to_string(idOu) +
           " UNION SELECT ou.id FROM ou JOIN down ON ou.parent_id = down.id) SELECT id FROM down";
}

/* The policy ids a link text names, readable or not as the walk sees it. */
void linkIdsCollect(const std::string& text, std::set<long>& ids) {
    Json::Value j;
    if (text.empty() || !vurojson::fromString(j, text) || !j.isObject() || !j["order"].isArray()) {
        return;
    }
    for (const Json::Value& e : j["order"]) {
        if (e.isObject()) ids.insert((long)vurotarnJsonInt64(e["id"]));
    }
}

/* Rows held in memory. A row not read in bulk (a node a plan names, the path
 * of a new parent) is read from the database once, when first asked for. */
class GpoRowsInMemory : public GpoRowSource {
public:
    std::map<long, VURO_TARN_OU> ous;
    std::map<long, VURO_TARN_PEER> peers;
    std::map<long, VURO_TARN_GPO> gpos;

    int pathGet(long id, long type, PQLIBSZLIST pOuPath) override {
        // The path to the root as the tree walk gives it: the node's own OU
        // first, the root (0) last; an OU met twice is a loop.
        long idOu = id;
        if (type == VURO_TARN_TYPE_PEER) {
            const VURO_TARN_PEER* pPeer = peer(id);
            if (pPeer == NULL) return -1;
            idOu = pPeer->parent_id;
        }
        if (idOu < 0) return 0;
        std::set<long> visited;
        int count = 0;
        for (;;) {
            if (!visited.insert(idOu).second) {
                VUROTARN_TRACE_LOCATED("Loop in the tree: OU id=%ld is met twice", idOu);
                return -1;
            }
            if (QLIBCSzListPush(&pOuPath, std::to_string(idOu).c_str()) < 0) return -1;
            if (idOu == 0) break;
            const VURO_TARN_OU* pOu = ou(idOu);
            if (pOu == NULL) return -1;
            idOu = pOu->parent_id;
            count++;
            if (idOu < 0) break;
        }
        return count;
    }
    int ouGet(long id, VURO_TARN_OU* pOu) override { return copyOut(ou(id), pOu); }
    int peerGet(long id, VURO_TARN_PEER* pPeer) override { return copyOut(peer(id), pPeer); }
    int gpoGet(long id, VURO_TARN_GPO* pGpo) override { return copyOut(gpo(id), pGpo); }

    VURO_TARN_OU* ou(long id) { return row(ous, ouMissing_, id, VUROTARNOuGet); }
    VURO_TARN_PEER* peer(long id) { return row(peers, peerMissing_, id, VUROTARNPeerGet); }
    VURO_TARN_GPO* gpo(long id) { return row(gpos, gpoMissing_, id, VUROTARNGpoGet); }

    /* The OUs and peers of an OU's subtree, in two statements. */
    int subtreeRead(long idOu) {
        std::string ids = subtreeIds(idOu);
        return rowsRead<VurotarnOuTraits>("WHERE id IN (" + ids + ")", ous) == 0 &&
                       rowsRead<VurotarnPeerTraits>("WHERE parent_id IN (" + ids + ")", peers) == 0
                   ? 0
                   : -1;
    }

    /* The OUs above idOu up to the root, in one statement. */
    int pathRead(long idOu) {
        return rowsRead<VurotarnOuTraits>(
            "WHERE id IN (WITH RECURSIVE up(id) AS (SELECT parent_id FROM ou WHERE id = " +
                std::to_string(idOu) +
                " AND id != 0 UNION SELECT ou.parent_id FROM ou JOIN up ON ou.id = up.id"
                " WHERE up.id != 0)"
                " SELECT id FROM up)",
            ous);
    }

    /* Every policy the link texts held name, not read yet, a few hundred
     * ids a statement; those not found are known to be missing. */
    int linkedPoliciesRead() {
        std::set<long> ids;
        for (const auto& o : ous) linkIdsCollect(o.second.str_linked_gpo, ids);
        for (const auto& p : peers) linkIdsCollect(p.second.str_linked_gpo, ids);
        std::vector<long> wanted;
        for (long id : ids) {
            if (!gpos.count(id) && !gpoMissing_.count(id)) wanted.push_back(id);
        }
        for (size_t i = 0; i < wanted.size(); i += 500) {
            std::string list;
            for (size_t k = i; k < wanted.size() && k < i + 500; k++) {
                list += (list.empty() ? "" : ",") + std::to_string(wanted[k]);
            }
            if (rowsRead<VurotarnGpoTraits>("WHERE id IN (" + list + ")", gpos) < 0) return -1;
        }
        for (long id : wanted) {
            if (!gpos.count(id)) gpoMissing_.insert(id);
        }
        return 0;
    }

private:
    std::set<long> ouMissing_;
    std::set<long> peerMissing_;
    std::set<long> gpoMissing_;

    template <class Rec>
    static int copyOut(const Rec* pFound, Rec* pOut) {
        if (pFound == NULL) return -1;
        *pOut = *pFound;
        return 0;
    }

    template <class Rec>
    static Rec* row(std::map<long, Rec>& rows, std::set<long>& missing, long id,
                    int (*get)(long, Rec*)) {
        auto it = rows.find(id);
        if (it != rows.end()) return &it->second;
        if (missing.count(id)) return NULL;
        Rec rec;
        if (get(id, &rec) != 0) {
            missing.insert(id);
            return NULL;
        }
        return &(rows[id] = rec);
    }
};

/* ---- a plan: changes to the rows in memory ---- */

struct PlanError {
    std::string cause;
};

std::string changeName(Json::ArrayIndex i) { return "change " + std::to_string(i + 1); }

/* A whole number from lo up, or PlanError naming the member. */
long planNumber(const Json::Value& jChange, const char* key, long lo, const std::string& where) {
    const Json::Value& v = jChange[key];
    if (!v.isInt64() || v.asInt64() < lo) {
        throw PlanError{where + ": \"" + key + "\" must be a whole number from " +
                        std::to_string(lo)};
    }
    return (long)v.asInt64();
}

/* The node a change names: {"ou":N} or {"peer":N}, stored (or read now). */
long planNode(GpoRowsInMemory& rows, const Json::Value& jChange, long* pType,
              const std::string& where) {
    if (jChange.isMember("ou") == jChange.isMember("peer")) {
        throw PlanError{where + ": name one node, \"ou\":ID or \"peer\":ID"};
    }
    *pType = jChange.isMember("ou") ? VURO_TARN_TYPE_OU : VURO_TARN_TYPE_PEER;
    long id = planNumber(jChange, *pType == VURO_TARN_TYPE_OU ? "ou" : "peer", 0, where);
    if (*pType == VURO_TARN_TYPE_OU ? rows.ou(id) == NULL : rows.peer(id) == NULL) {
        throw PlanError{where + ": no " + (*pType == VURO_TARN_TYPE_OU ? "OU" : "peer") +
                        " with id " + std::to_string(id)};
    }
    return id;
}

/* The link list of a change in the form "tarn link" takes, stored as it
 * stores it. */
std::string planLinkText(const Json::Value& jLinks, const std::string& where) {
    if (!jLinks.isObject() || !jLinks["order"].isArray()) {
        throw PlanError{where +
                        ": \"links\" must be {\"order\":[{\"gpo_id\":N,\"override\":0|1}]}"};
    }
    for (const Json::Value& e : jLinks["order"]) {
        if (!e.isObject() || !e["gpo_id"].isIntegral() ||
            (e.isMember("override") &&
             !(e["override"].isInt64() &&
               (e["override"].asInt64() == 0 || e["override"].asInt64() == 1)))) {
            throw PlanError{where + ": each link is {\"gpo_id\":N} with \"override\" 0 or 1"};
        }
    }
    Json::Value data;
    VUROTARNHttpReqToJsonForLinkedGpo(jLinks, data);
    return vurojson::toString(data["linked_gpo"]);
}

/* True when OU idAncestor is on the path of OU id (id itself included). */
bool ouUnder(GpoRowsInMemory& rows, long id, long idAncestor) {
    std::set<long> visited;
    while (id >= 0 && visited.insert(id).second) {
        if (id == idAncestor) return true;
        if (id == 0) return false;
        const VURO_TARN_OU* pOu = rows.ou(id);
        if (pOu == NULL) return false;
        id = pOu->parent_id;
    }
    return false;
}

/* Applies the changes in their order; the nodes a move names are kept in
 * pMovedPeers and pMovedOus, so that what moved out of the subtree is still
 * answered for. */
void planApply(GpoRowsInMemory& rows, const Json::Value& jChanges, std::set<long>* pMovedPeers,
               std::set<long>* pMovedOus) {
    if (!jChanges.isArray()) throw PlanError{"the changes must be a JSON list"};
    for (Json::ArrayIndex i = 0; i < jChanges.size(); i++) {
        const Json::Value& c = jChanges[i];
        std::string where = changeName(i);
        if (!c.isObject() || !c["op"].isString()) {
            throw PlanError{where + ": each change is an object with \"op\""};
        }
        std::string op = c["op"].asString();
        long type = 0;
        if (op == "link") {
            long id = planNode(rows, c, &type, where);
            std::string text = planLinkText(c["links"], where);
            if (type == VURO_TARN_TYPE_OU) {
                rows.ou(id)->str_linked_gpo = text;
            } else {
                rows.peer(id)->str_linked_gpo = text;
            }
        } else if (op == "block") {
            long id = planNode(rows, c, &type, where);
            if (!c["value"].isInt64() || (c["value"].asInt64() != 0 && c["value"].asInt64() != 1)) {
                throw PlanError{where + ": \"value\" must be 0 (clear) or 1 (set)"};
            }
            long value = (long)c["value"].asInt64();
            if (type == VURO_TARN_TYPE_OU) {
                rows.ou(id)->block_inheritance = value;
            } else {
                rows.peer(id)->block_inheritance = value;
            }
        } else if (op == "move") {
            long id = planNode(rows, c, &type, where);
            long parent = planNumber(c, "parent", 0, where);
            if (rows.ou(parent) == NULL) {
                throw PlanError{where + ": no OU with id " + std::to_string(parent)};
            }
            if (type == VURO_TARN_TYPE_PEER) {
                rows.peer(id)->parent_id = parent;
                pMovedPeers->insert(id);
                continue;
            }
            if (id == 0) throw PlanError{where + ": the root OU cannot move"};
            if (ouUnder(rows, parent, id)) {
                throw PlanError{where + ": OU " + std::to_string(id) + " cannot move under " +
                                std::to_string(parent) + ", which is in its own subtree"};
            }
            // What moves with it may enter the subtree asked about.
            if (rows.subtreeRead(id) < 0) throw PlanError{where + ": cannot read the OU's subtree"};
            rows.ou(id)->parent_id = parent;
            pMovedOus->insert(id);
        } else if (op == "setting") {
            long id = planNumber(c, "gpo", 0, where);
            if (rows.gpo(id) == NULL) {
                throw PlanError{where + ": no policy with id " + std::to_string(id)};
            }
            if (!c["setting"].isObject()) {
                throw PlanError{where + ": \"setting\" must be a JSON object"};
            }
            rows.gpo(id)->str_setting = vurojson::toString(c["setting"]);
        } else {
            throw PlanError{where + ": unknown op \"" + op + "\" (link, block, move, setting)"};
        }
    }
}

/* The peers whose OU lies under idOu, found by walking up in memory. */
std::vector<long> peersUnder(GpoRowsInMemory& rows, long idOu) {
    std::map<long, bool> under;  // by OU, as found
    std::vector<long> ids;
    for (const auto& p : rows.peers) {
        long parent = p.second.parent_id;
        auto it = under.find(parent);
        if (it == under.end()) it = under.emplace(parent, ouUnder(rows, parent, idOu)).first;
        if (it->second) ids.push_back(p.first);
    }
    return ids;
}

int subtreeEvaluate(long idOu, const Json::Value* pChanges, BOOL blExplain, Json::Value& jPeers,
                    std::string& strCause) {
    GpoRowsInMemory rows;
    if (rows.subtreeRead(idOu) < 0 || rows.pathRead(idOu) < 0) {
        strCause = "cannot read the subtree of OU " + std::to_string(idOu);
        return -1;
    }
    if (rows.ou(idOu) == NULL) {
        strCause = "no OU with id " + std::to_string(idOu);
        return -1;
    }
    std::set<long> moved;
    std::set<long> movedOus;
    if (pChanges != NULL) {
        try {
            planApply(rows, *pChanges, &moved, &movedOus);
        } catch (const PlanError& e) {
            strCause = e.cause;
            return -2;
        }
    }
    if (rows.linkedPoliciesRead() < 0) {
        strCause = "cannot read the policies of the subtree of OU " + std::to_string(idOu);
        return -1;
    }
    std::vector<long> ids = peersUnder(rows, idOu);
    for (long idMoved : movedOus) {
        for (long id : peersUnder(rows, idMoved)) moved.insert(id);
    }
    std::set<long> inSubtree(ids.begin(), ids.end());
    for (long id : moved) {
        if (!inSubtree.count(id)) ids.push_back(id);
    }
    jPeers = Json::Value(Json::arrayValue);
    for (long id : ids) {
        const VURO_TARN_PEER& peer = *rows.peer(id);
        Json::Value jPeer;
        jPeer["peer_id"] = (Json::Int64)id;
        jPeer["sn"] = peer.str_sn;
        jPeer["parent_id"] = (Json::Int64)peer.parent_id;
        if (!inSubtree.count(id)) jPeer["moved_out"] = true;
        Json::Value jGpo(Json::objectValue);
        if (gpoEvaluate(rows, id, VURO_TARN_TYPE_PEER, jGpo) == 0) {
            jPeer["effective"] = jGpo;
        } else {
            jPeer["error"] = "the policy of this peer cannot be computed";
        }
        Json::Value jExplain;
        if (blExplain && gpoExplain(rows, id, VURO_TARN_TYPE_PEER, jExplain) == 0) {
            jPeer["explain"] = jExplain;
        }
        jPeers.append(jPeer);
    }
    return 0;
}

}  // namespace

int VUROTARNGpoGetEvaluateSubtree(long idOu, Json::Value& jPeers) {
    VUROTARN_ARG_CHECK(0, <=, idOu, return -1);
    std::string strCause;
    if (subtreeEvaluate(idOu, NULL, FALSE, jPeers, strCause) < 0) {
        VUROTARN_TRACE_LOCATED("%s", strCause.c_str());
        return -1;
    }
    return 0;
}

int VUROTARNGpoGetEvaluateSubtreeWhatIf(long idOu, const Json::Value& jChanges, BOOL blExplain,
                                        Json::Value& jPeers, std::string& strCause) {
    VUROTARN_ARG_CHECK(0, <=, idOu, return -1);
    strCause.clear();
    int r = subtreeEvaluate(idOu, &jChanges, blExplain, jPeers, strCause);
    if (r == -1) VUROTARN_TRACE_LOCATED("%s", strCause.c_str());
    return r;
}
