/* gpo_link.cpp - the order of the policies that apply to a node, and the
 * upkeep of link texts. The first place a policy reaches in the order is the
 * place it keeps; enforced links ignore blocks, plain links stop at them. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vurojson.h>

#include "common/vurotarn_json_int.h"
#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_tree.h"
#include "vurotarn_uid.h"
#include "vurotarngpo_link.h"
#include "tarngpo-ext/gpo_ext_int.h"

namespace {

BOOL findNodeInJson(long id, Json::Value& jGpoLink) {
    VUROTARN_ARG_CHECK_TEXT(Json::arrayValue == jGpoLink.type(),
                            "Json::arrayValue == jGpoLink.type()", 0, return FALSE);
    VUROTARN_ARG_CHECK(0, <=, id, return FALSE);
    for (const Json::Value& j : jGpoLink) {
        if (j.isObject() && vurotarnJsonInt64(j["id"]) == id) return TRUE;
    }
    return FALSE;
}

enum LinkKind { kLinkPlain, kLinkEnforced, kLinkNeither };

/* The number 1 is an enforced link, 0 or no flag a plain one. Anything else
 * (2, "yes", {}, null, true) is neither: such a link takes no part in the
 * order rather than be guessed at. */
LinkKind linkKind(const Json::Value& jElem) {
    if (!jElem.isMember("override")) return kLinkPlain;
    const Json::Value& jFlag = jElem["override"];
    if (!jFlag.isNumeric()) return kLinkNeither;
    double d = jFlag.asDouble();
    return d == 1 ? kLinkEnforced : d == 0 ? kLinkPlain : kLinkNeither;
}

}  // namespace

/* Adds the links of one node's text of one kind (enforced or plain). */
int VUROTARNGpoJsonArrayAdd(GpoRowSource& rows, Json::Value& jGpoLink, const char* szJson,
                            BOOL blOverride, long id, int type) {
    VUROTARN_ARG_CHECK_TEXT(Json::arrayValue == jGpoLink.type(),
                            "Json::arrayValue == jGpoLink.type()", 0, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, szJson, return -1);
    if (szJson[0] == '\0') {
        return 0;
    }
    Json::Value jTmpLink;
    if (!vurojson::fromString(jTmpLink, szJson)) {
        // Worded as readers of the log have always seen it.
        VUROTARN_TRACE_LOCATED_COND(!jTmpLink.fromString(szJson));
        return -1;
    }
    if (!jTmpLink.isObject() || !jTmpLink.isMember("order")) {
        return 0;
    }
    if (Json::arrayValue != jTmpLink["order"].type()) {
        VUROTARN_TRACE_LOCATED_COND(Json::arrayValue != jTmpLink["order"].type());
        return -1;
    }
    for (Json::Value jElem : jTmpLink["order"]) {
        if (!jElem.isObject()) continue;
        // Link texts come from callers: a member of the wrong kind reads as
        // 0 (no such policy) rather than throwing through the API.
        long idGpo = (long)vurotarnJsonInt64(jElem["id"]);
        if (findNodeInJson(idGpo, jGpoLink)) {
            continue;  // the first place wins
        }
        if (linkKind(jElem) != (blOverride ? kLinkEnforced : kLinkPlain)) {
            continue;
        }
        VURO_TARN_GPO gpo;
        if (rows.gpoGet(idGpo, &gpo) != 0) {
            VUROTARN_TRACE("get gpo failed, id=%lld\n", (long long)idGpo);
            continue;  // a dangling link drops out
        }
        jElem["id"] = (Json::Int64)idGpo;  // as read: readers of the order take integers
        jElem["node_id"] = (Json::Int64)id;
        jElem["node_type"] = type;
        jElem["gpo_name"] = gpo.str_name;
        jElem["gpo_desc"] = gpo.str_desc;
        jGpoLink.append(jElem);
    }
    return 0;
}

namespace {

/* Reads one OU of the path: its block flag and its link text, cut at 1023
 * bytes as the walk has always seen it. */
int orderOuRead(GpoRowSource& rows, const char* szItem, long* pId, long* pBlock, char* szLink,
                size_t cbLink) {
    *pId = strtol(szItem, NULL, 10);
    if (*pId < 0) {
        VUROTARN_TRACE_LOCATED_COND(0 > *pId);
        return -1;
    }
    VURO_TARN_OU ou;
    memset(szLink, 0, cbLink);
    if (VUROTARN_STEP_FAILED(rows.ouGet(*pId, &ou)) ||
        VUROTARN_STEP_FAILED(VUROTARNOuItemGetBlockInheritance(pBlock, &ou)) ||
        VUROTARN_STEP_FAILED(VUROTARNOuItemGetLinkedGPO(szLink, cbLink, &ou))) {
        return -1;
    }
    return 0;
}

/* Adds one node's links of one kind. When pPassedOver is given (the
 * explanation of an evaluation) a text that does not parse is noted there
 * and the walk goes on; otherwise it fails the walk. */
int orderAdd(GpoRowSource& rows, Json::Value& jGpoLink, const char* szLink, BOOL blOverride,
             long id, int type, Json::Value* pPassedOver) {
    if (pPassedOver == NULL) {
        if (VUROTARN_STEP_FAILED(
                VUROTARNGpoJsonArrayAdd(rows, jGpoLink, szLink, blOverride, id, type))) {
            return -1;
        }
        return 0;
    }
    if (VUROTARNGpoJsonArrayAdd(rows, jGpoLink, szLink, blOverride, id, type) < 0) {
        Json::Value jNote;
        jNote["node_id"] = (Json::Int64)id;
        jNote["node_type"] = type;
        jNote["reason"] = "link text unreadable";
        // Both passes read the text: note the node once.
        for (const Json::Value& j : *pPassedOver) {
            if (j == jNote) return 0;
        }
        pPassedOver->append(jNote);
    }
    return 0;
}

/* Notes the plain links of a node that a block keeps out of the order. */
void orderNoteBlocked(GpoRowSource& rows, Json::Value* pPassedOver, const Json::Value& jGpoLink,
                      const char* szLink, long id, int type, const std::string& reason) {
    Json::Value jCut(Json::arrayValue);
    if (orderAdd(rows, jCut, szLink, FALSE, id, type, pPassedOver) < 0) return;
    for (Json::Value jElem : jCut) {
        if (findNodeInJson((long)vurotarnJsonInt64(jElem["id"]),
                           const_cast<Json::Value&>(jGpoLink))) {
            continue;  // the policy stands in the order through another link
        }
        jElem["reason"] = reason;
        pPassedOver->append(jElem);
    }
}

int orderWalk(GpoRowSource& rows, long idInput, long type, Json::Value& jGpoLink,
              PQLIBSZLIST pOuPath, Json::Value* pPassedOver) {
    if (type != VURO_TARN_TYPE_PEER && type != VURO_TARN_TYPE_OU) {
        VUROTARN_TRACE_LOCATED("bad node type=%ld", type);
        return -1;
    }
    if (VUROTARN_STEP_FAILED(rows.pathGet(idInput, type, pOuPath))) return -1;
    char szLink[1024];
    long id = 0;
    long block = 0;
    // Enforced links, from the root down; blocks do not stop them.
    for (int i = pOuPath->nItem - 1; i >= 0; i--) {
        if (orderOuRead(rows, pOuPath->pszItem[i], &id, &block, szLink, sizeof(szLink)) < 0 ||
            orderAdd(rows, jGpoLink, szLink, TRUE, id, VURO_TARN_TYPE_OU, pPassedOver) < 0) {
            return -1;
        }
    }
    long peerBlock = 0;
    if (type == VURO_TARN_TYPE_PEER) {
        VURO_TARN_PEER peer;
        memset(szLink, 0, sizeof(szLink));
        if (VUROTARN_STEP_FAILED(rows.peerGet(idInput, &peer)) ||
            VUROTARN_STEP_FAILED(VUROTARNPeerItemGetBlockInheritance(&peerBlock, &peer)) ||
            VUROTARN_STEP_FAILED(VUROTARNPeerItemGetLinkedGPO(szLink, sizeof(szLink), &peer)) ||
            orderAdd(rows, jGpoLink, szLink, TRUE, idInput, VURO_TARN_TYPE_PEER, pPassedOver) < 0 ||
            orderAdd(rows, jGpoLink, szLink, FALSE, idInput, VURO_TARN_TYPE_PEER, pPassedOver) <
                0) {
            return -1;
        }
    }
    // Plain links, from the nearest OU up, to the first OU that blocks.
    std::string strBlockedBy =
        peerBlock != 0 ? "cut off by the block of peer " + std::to_string(idInput) : "";
    for (int i = 0; i < pOuPath->nItem; i++) {
        if (!strBlockedBy.empty() && pPassedOver == NULL) {
            break;
        }
        if (orderOuRead(rows, pOuPath->pszItem[i], &id, &block, szLink, sizeof(szLink)) < 0) {
            return -1;
        }
        if (!strBlockedBy.empty()) {
            orderNoteBlocked(rows, pPassedOver, jGpoLink, szLink, id, VURO_TARN_TYPE_OU,
                             strBlockedBy);
            continue;
        }
        if (orderAdd(rows, jGpoLink, szLink, FALSE, id, VURO_TARN_TYPE_OU, pPassedOver) < 0) {
            return -1;
        }
        if (block != 0) {
            strBlockedBy = "cut off by the block of ou " + std::to_string(id);
        }
    }
    return 0;
}

/* The database one row a call, as the form for one node has always read. */
class GpoRowsStored : public GpoRowSource {
public:
    int pathGet(long id, long type, PQLIBSZLIST pOuPath) override {
        return type == VURO_TARN_TYPE_PEER ? VUROTARNPeerListTreePath(id, pOuPath)
                                           : VUROTARNOuListTreePath(id, pOuPath);
    }
    int ouGet(long id, VURO_TARN_OU* pOu) override { return VUROTARNOuGet(id, pOu); }
    int peerGet(long id, VURO_TARN_PEER* pPeer) override { return VUROTARNPeerGet(id, pPeer); }
    int gpoGet(long id, VURO_TARN_GPO* pGpo) override { return VUROTARNGpoGet(id, pGpo); }
};

}  // namespace

GpoRowSource& gpoRowsStored() {
    static GpoRowsStored rows;
    return rows;
}

int gpoOrderWalk(GpoRowSource& rows, long id, long type, Json::Value& jGpoLink,
                 Json::Value* pPassedOver) {
    VurotarnSzList ouPath(512);
    if (!ouPath) {
        VUROTARN_TRACE_LOCATED("malloc list failed");
        return -1;
    }
    return orderWalk(rows, id, type, jGpoLink, ouPath.get(), pPassedOver);
}

int VUROTARNGpoGetOrder(long idInput, long type, Json::Value& jGpoLink) {
    VUROTARN_ARG_CHECK(0, <=, idInput, return -1);
    VUROTARN_ARG_CHECK(0, <=, type, return -1);
    VUROTARN_ARG_CHECK_TEXT(Json::arrayValue == jGpoLink.type(),
                            "Json::arrayValue == jGpoLink.type()", 0, return -1);
    return gpoOrderWalk(gpoRowsStored(), idInput, type, jGpoLink, NULL);
}

int VUROTARNGpoGetOrderStr(long id, long type, std::string& szJsonGpoLink) {
    VUROTARN_ARG_CHECK(0, <=, id, return -1);
    VUROTARN_ARG_CHECK(0, <=, type, return -1);
    Json::Value jGpoLink(Json::arrayValue);
    if (VUROTARNGpoGetOrder(id, type, jGpoLink) < 0) {
        return -1;
    }
    szJsonGpoLink = vurojson::toString(jGpoLink);
    return 0;
}

int VUROTARNGpoDeleteGpoLinkById(long idGpo, const char* szGpoLinkOld, char* szGpoLinkNew,
                                 size_t nGpoLinkNew) {
    VUROTARN_ARG_CHECK(NULL, !=, szGpoLinkOld, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, szGpoLinkNew, return -1);
    VUROTARN_ARG_CHECK(0, <, nGpoLinkNew, return -1);
    Json::Value jGpoLink;
    if (!vurojson::fromString(jGpoLink, szGpoLinkOld)) {
        VUROTARN_TRACE_COND(!jGpoLink.fromString(szGpoLinkOld));
        return -1;
    }
    if (!jGpoLink.isObject() || false == jGpoLink.isMember("order")) {
        VUROTARN_TRACE_COND(false == jGpoLink.isMember("order"));
        return -1;
    }
    if (Json::arrayValue != jGpoLink["order"].type()) {
        VUROTARN_TRACE_COND(Json::arrayValue != jGpoLink["order"].type());
        return -1;
    }
    Json::Value jKept(Json::arrayValue);
    for (Json::ArrayIndex i = 0; i < jGpoLink["order"].size(); i++) {
        const Json::Value& jElem = jGpoLink["order"][i];
        if (!jElem.isObject() || false == jElem.isMember("id")) {
            VUROTARN_TRACE_COND(false == jGpoLink["order"][i].isMember("id"));
            return -1;
        }
        if (vurotarnJsonInt64(jElem["id"]) != idGpo) jKept.append(jElem);
    }
    jGpoLink["order"] = jKept;
    snprintf(szGpoLinkNew, nGpoLinkNew, "%s", vurojson::toString(jGpoLink).c_str());
    return 0;
}

void VUROTARNHttpReqToJsonForLinkedGpo(const Json::Value& jLinkedGpo, Json::Value& data) {
    // Request data of another shape has no member to set; it stays as it is.
    if (!data.isNull() && !data.isObject()) {
        VUROTARN_TRACE_LOCATED_COND(!data.isObject());
        return;
    }
    data["linked_gpo"] = jLinkedGpo;
    Json::Value& jOrder = data["linked_gpo"];
    if (!jOrder.isObject() || !jOrder.isMember("order") || !jOrder["order"].isArray()) {
        return;
    }
    for (Json::Value& jElem : jOrder["order"]) {
        if (!jElem.isObject()) continue;
        jElem["id"] = jElem["gpo_id"];
        jElem.removeMember("gpo_id");
        jElem.removeMember("gpo_desc");
        jElem.removeMember("gpo_name");
    }
}

int VUROTARNGpoGetLinkTarget(long id, VURO_TARN_OU** pListOu, VURO_TARN_PEER** pListPeer) {
    VUROTARN_ARG_CHECK_TEXT(NULL != pListOu && NULL != pListPeer,
                            "(__null!=pListOu && __null!=pListPeer)", 0, return -1);
    VurotarnHash hash(512);
    if (!hash) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    // "id":5 with its quotes, closed by "," or "}": never 15 or 55.
    Json::Value jId;
    jId["id"] = (Json::Int64)id;
    char szTerm[256];
    snprintf(szTerm, sizeof(szTerm), "%s", vurojson::toString(jId).c_str());
    size_t len = strlen(szTerm);
    if (len >= 2) {
        szTerm[len - 1] = '\0';
        memmove(szTerm, szTerm + 1, len - 1);
    }
    char szCond[1024];
    snprintf(szCond, sizeof(szCond), " (linked_gpo like '%%%s,%%' OR linked_gpo like '%%%s}%%') ",
             szTerm, szTerm);
    // Named as the traces name them.
    PQLIBSZHASH& pHash = hash.get();
    VurotarnList<VURO_TARN_OU> ous;
    VurotarnList<VURO_TARN_PEER> peers;
    VURO_TARN_OU*& pOuHead = ous.p;
    VURO_TARN_PEER*& pPeerHead = peers.p;
    size_t count = 0;
    if (!hash.set("sqlWhere", szCond) ||
        !VUROTARN_CHECK(0 <= VUROTARNPeerList(pHash, &pPeerHead, &count)) ||
        !VUROTARN_CHECK(0 <= VUROTARNOuList(pHash, &pOuHead, &count))) {
        return -1;
    }
    *pListOu = pOuHead;
    *pListPeer = pPeerHead;
    pOuHead = NULL;
    pPeerHead = NULL;
    return 0;
}

namespace {

/* Rewrites the link text of each node of a list without policy id. */
template <class Rec>
int linksRemove(long id, Rec* pList, int (*itemGet)(char*, size_t, const Rec*),
                int (*itemSet)(Rec*, const char*), int (*set)(Rec*)) {
    for (Rec* p = pList; p != NULL; p = p->pNext) {
        char szOld[4096] = {0};
        char szNew[4096] = {0};
        if (VUROTARN_STEP_FAILED(itemGet(szOld, sizeof(szOld), p)) || szOld[0] == '\0' ||
            VUROTARN_STEP_FAILED(VUROTARNGpoDeleteGpoLinkById(id, szOld, szNew, sizeof(szNew))) ||
            VUROTARN_STEP_FAILED(itemSet(p, szNew)) || VUROTARN_STEP_FAILED(set(p))) {
            return -1;
        }
    }
    return 0;
}

}  // namespace

int VUROTARNGpoDeleteAllByID(long id) {
    VurotarnList<VURO_TARN_OU> ous;
    VurotarnList<VURO_TARN_PEER> peers;
    VURO_TARN_OU*& pOuHead = ous.p;  // named as the traces name them
    VURO_TARN_PEER*& pPeerHead = peers.p;
    if (VUROTARN_STEP_FAILED(VUROTARNGpoGetLinkTarget(id, &pOuHead, &pPeerHead)) ||
        linksRemove(id, pPeerHead, VUROTARNPeerItemGetLinkedGPO, VUROTARNPeerItemSetLinkedGPO,
                    VUROTARNPeerSet) != 0 ||
        linksRemove(id, pOuHead, VUROTARNOuItemGetLinkedGPO, VUROTARNOuItemSetLinkedGPO,
                    VUROTARNOuSet) != 0 ||
        VUROTARN_STEP_FAILED(VUROTARNGpoDelete(id))) {
        return -1;
    }
    return 0;
}

BOOL VUROTARNGpoCanManagedByUid(uid_t uid, long gpo_id) {
    if (VUROTARNIsAdminGroup(uid)) {
        return TRUE;
    }
    VURO_TARN_GPO gpo;
    if (VUROTARNGpoGet(gpo_id, &gpo) != 0) {
        VUROTARN_LOG("Failed to get gpo id=[%ld]", gpo_id);
        return FALSE;
    }
    // Managed through the owning node; links play no part.
    if (gpo.parent_type == VURO_TARN_TYPE_PEER) {
        return VUROTARNPeerIDCanManagedByUid(uid, gpo.parent_id) ? TRUE : FALSE;
    }
    return VUROTARNOuCanManagedByUid(uid, gpo.parent_id) ? TRUE : FALSE;
}

int VUROTARNGpoListTreeByUid(uid_t uid, VURO_TARN_GPO** ppHead) {
    VUROTARN_ARG_CHECK(NULL, !=, ppHead, return -1);
    VUROTARNListTreeByUid(uid, NULL, NULL, ppHead);
    return 0;
}
