/* cmd_tree.cpp - "tarn tree", "tarn view" and "tarn can-manage": a node with
 * everything below it, a user's view of the tree, and the right check. */
#include <map>
#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

/* Nests the flat lists of a walk: each OU with its "ous", "peers" and
 * "gpos"; each peer with its "gpos". */
Json::Value treeNest(long rootId, int rootType, const VURO_TARN_OU* ous,
                     const VURO_TARN_PEER* peers, const VURO_TARN_GPO* gpos) {
    std::map<long, Json::Value> ouJson, peerJson;
    for (const VURO_TARN_PEER* p = peers; p; p = p->pNext) {
        peerJson[p->id] = recordJson(p);
        peerJson[p->id]["gpos"] = Json::Value(Json::arrayValue);
    }
    for (const VURO_TARN_OU* p = ous; p; p = p->pNext) {
        ouJson[p->id] = recordJson(p);
        for (const char* key : {"ous", "peers", "gpos"}) {
            ouJson[p->id][key] = Json::Value(Json::arrayValue);
        }
    }
    for (const VURO_TARN_GPO* g = gpos; g; g = g->pNext) {
        auto& owners = g->parent_type == VURO_TARN_TYPE_PEER ? peerJson : ouJson;
        if (owners.count(g->parent_id)) owners[g->parent_id]["gpos"].append(recordJson(g));
    }
    if (rootType == VURO_TARN_TYPE_PEER) {
        return peerJson[rootId];
    }
    // Peers into their OUs, then OUs into their parents, deepest first: a
    // walk lists parents before children, so go through it backwards.
    for (const VURO_TARN_PEER* p = peers; p; p = p->pNext) {
        if (ouJson.count(p->parent_id)) ouJson[p->parent_id]["peers"].append(peerJson[p->id]);
    }
    std::vector<const VURO_TARN_OU*> order;
    for (const VURO_TARN_OU* p = ous; p; p = p->pNext) order.push_back(p);
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        const VURO_TARN_OU* p = *it;
        if (p->id != rootId && ouJson.count(p->parent_id)) {
            ouJson[p->parent_id]["ous"].append(ouJson[p->id]);
        }
    }
    return ouJson[rootId];
}

}  // namespace

int cmdTree(const Args& args) {
    if (args.has("ou") == args.has("peer")) {
        throw UsageError{"tree needs --ou ID or --peer ID"};
    }
    int type = args.has("ou") ? VURO_TARN_TYPE_OU : VURO_TARN_TYPE_PEER;
    long id = parseLong(args.get(type == VURO_TARN_TYPE_OU ? "ou" : "peer"), "id");
    VURO_TARN_OU* ous = NULL;
    VURO_TARN_PEER* peers = NULL;
    VURO_TARN_GPO* gpos = NULL;
    if (VUROTARNGetTreeByID(id, type, &ous, &peers, &gpos) != 0) {
        fail("cannot walk the tree below " + std::to_string(id));
    }
    printJson(treeNest(id, type, ous, peers, gpos));
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);
    return 0;
}

int cmdView(const Args& args) {
    if (!args.has("uid")) throw UsageError{"view needs --uid N"};
    uid_t uid = (uid_t)parseULongLong(args.get("uid"), "--uid");
    VURO_TARN_OU* ous = NULL;
    VURO_TARN_PEER* peers = NULL;
    VURO_TARN_GPO* gpos = NULL;
    if (VUROTARNListTreeByUid(uid, &ous, &peers, &gpos) != 0) {
        fail("cannot compute the view of uid " + std::to_string(uid));
    }
    Json::Value j;
    j["uid"] = (Json::UInt64)uid;
    j["admin"] = VUROTARNIsAdminGroup(uid) ? true : false;
    j["ous"] = listJson(ous);
    j["peers"] = listJson(peers);
    j["gpos"] = listJson(gpos);
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);
    printJson(j);
    return 0;
}

int cmdCanManage(const Args& args) {
    if (!args.has("uid") || args.has("ou") == args.has("peer")) {
        throw UsageError{"can-manage needs --uid N and --ou ID or --peer ID"};
    }
    uid_t uid = (uid_t)parseULongLong(args.get("uid"), "--uid");
    Json::Value j;
    j["uid"] = (Json::UInt64)uid;
    if (args.has("ou")) {
        long id = parseLong(args.get("ou"), "--ou");
        j["ou"] = (Json::Int64)id;
        j["can_manage"] = VUROTARNOuCanManagedByUid(uid, id) ? true : false;
    } else {
        long id = parseLong(args.get("peer"), "--peer");
        j["peer"] = (Json::Int64)id;
        j["can_manage"] = VUROTARNPeerIDCanManagedByUid(uid, id) ? true : false;
    }
    printJson(j);
    return 0;
}

}  // namespace tarncli
