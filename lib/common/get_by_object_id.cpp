/* get_by_object_id.cpp - walks over the tree of parent references: children,
 * breadth-first subtrees, paths to the root. Each step is a List or Get of a
 * family; a node met twice (a loop in parent_id) ends the walk with -1.
 * The frame calling up into the OU, peer and policy families: a walk
 * crosses all three, so no one family can own it, and the policy engine,
 * the delegates, the user views and the tool all walk. */
#include <stdio.h>

#include <set>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_tree.h"

int VUROTARNGetChildByID(long id, int idType, VURO_TARN_OU** pListOu, VURO_TARN_PEER** pListPeer,
                         VURO_TARN_GPO** pListGpo) {
    VUROTARN_ARG_CHECK_TEXT(NULL != pListOu || NULL != pListPeer || NULL != pListGpo,
                            "(__null!=pListOu || __null!=pListPeer || __null!=pListGpo)", 0,
                            return -1);
    VurotarnHash hash(512);
    if (!hash) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    // Named as the traces name it: each failed step is traced as written.
    PQLIBSZHASH& pHash = hash.get();
    char szId[64];
    char szType[64];
    snprintf(szId, sizeof(szId), "%ld", id);
    snprintf(szType, sizeof(szType), "%d", idType);
    if (idType == VURO_TARN_TYPE_PEER) {
        if (pListGpo == NULL) {
            return 0;
        }
        if (VUROTARN_STEP_FAILED(QLIBCSzHashSetValue(&pHash, "parent_id", szId)) ||
            VUROTARN_STEP_FAILED(QLIBCSzHashSetValue(&pHash, "parent_type", szType)) ||
            VUROTARN_STEP_FAILED(VUROTARNGpoList(pHash, pListGpo, NULL))) {
            return -1;
        }
        return 0;
    }
    if (idType != VURO_TARN_TYPE_OU) {
        VUROTARN_TRACE_LOCATED("Bad idType=%d", idType);
        return -1;
    }
    if (pListGpo != NULL &&
        (VUROTARN_STEP_FAILED(QLIBCSzHashSetValue(&pHash, "parent_id", szId)) ||
         VUROTARN_STEP_FAILED(QLIBCSzHashSetValue(&pHash, "parent_type", szType)) ||
         VUROTARN_STEP_FAILED(VUROTARNGpoList(pHash, pListGpo, NULL)))) {
        return -1;
    }
    if (pListPeer != NULL &&
        (VUROTARN_STEP_FAILED(QLIBCHashRemoveAll(pHash)) ||
         VUROTARN_STEP_FAILED(QLIBCSzHashSetValue(&pHash, "parent_id", szId)) ||
         VUROTARN_STEP_FAILED(VUROTARNPeerList(pHash, pListPeer, NULL)))) {
        return -1;
    }
    if (pListOu != NULL && (VUROTARN_STEP_FAILED(QLIBCHashRemoveAll(pHash)) ||
                            VUROTARN_STEP_FAILED(QLIBCSzHashSetValue(&pHash, "parent_id", szId)) ||
                            VUROTARN_STEP_FAILED(VUROTARNOuList(pHash, pListOu, NULL)))) {
        return -1;
    }
    return 0;
}

namespace {

/* The lists a subtree walk collects before handing them over. */
struct TreeWalk {
    VurotarnList<VURO_TARN_OU> ou;
    VurotarnList<VURO_TARN_PEER> peer;
    VurotarnList<VURO_TARN_GPO> gpo;
};

int treeOfPeer(long id, VURO_TARN_PEER** pListPeer, VURO_TARN_GPO** pListGpo, TreeWalk& walk) {
    VURO_TARN_GPO*& pGpoListHead = walk.gpo.p;  // as the trace names it
    if (VUROTARN_STEP_FAILED(
            VUROTARNGetChildByID(id, VURO_TARN_TYPE_PEER, NULL, NULL, &pGpoListHead))) {
        return -1;
    }
    if (pListPeer != nullptr) {
        VURO_TARN_PEER* pPeerListHead = VUROTARNPeerAlloc();
        walk.peer.p = pPeerListHead;
        if (pPeerListHead == nullptr) {
            VUROTARN_TRACE_LOCATED_COND(NULL != pPeerListHead);
            return -1;
        }
        if (VUROTARN_STEP_FAILED(VUROTARNPeerGet(id, pPeerListHead))) {
            return -1;
        }
    }
    (void)pListGpo;
    return 0;
}

int treeOfOu(long id, bool blPeers, bool blGpos, TreeWalk& walk) {
    VURO_TARN_OU* pOuListHead = VUROTARNOuAlloc();
    walk.ou.p = pOuListHead;
    if (pOuListHead == nullptr) {
        VUROTARN_TRACE_LOCATED_COND(NULL != pOuListHead);
        return -1;
    }
    if (VUROTARN_STEP_FAILED(VUROTARNOuGet(id, pOuListHead))) {
        return -1;
    }
    std::set<long> visited{walk.ou.p->id};
    VURO_TARN_OU** ppTail = &walk.ou.p->pNext;
    for (VURO_TARN_OU* pOuCur = walk.ou.p; pOuCur != nullptr; pOuCur = pOuCur->pNext) {
        VURO_TARN_OU* pOuListTmp = nullptr;
        VURO_TARN_PEER* pPeerListTmp = nullptr;
        VURO_TARN_GPO* pGpoListTmp = nullptr;
        int r = VUROTARNGetChildByID(pOuCur->id, VURO_TARN_TYPE_OU, &pOuListTmp,
                                     blPeers ? &pPeerListTmp : NULL, blGpos ? &pGpoListTmp : NULL);
        // Found lists go to the walk first, so a failure frees them with it.
        *ppTail = pOuListTmp;
        vurotarnListAppend(&walk.peer.p, pPeerListTmp);
        vurotarnListAppend(&walk.gpo.p, pGpoListTmp);
        if (r < 0) {
            VUROTARNTraceLocatedCond(__FILE__, __LINE__,
                                     "0 > VUROTARNGetChildByID(pOuCur->id, 2, &pOuListTmp, "
                                     "&pPeerListTmp, &pGpoListTmp)");
            return -1;
        }
        for (VURO_TARN_OU* p = pOuListTmp; p != nullptr; p = p->pNext) {
            if (!visited.insert(p->id).second) {
                VUROTARN_TRACE_LOCATED("Loop in the tree: OU id=%ld is met twice", p->id);
                return -1;
            }
        }
        ppTail = vurotarnListTail(ppTail);
    }
    if (blGpos) {
        for (VURO_TARN_PEER* pPeerCur = walk.peer.p; pPeerCur != nullptr;
             pPeerCur = pPeerCur->pNext) {
            VURO_TARN_GPO* pGpoListTmp = nullptr;
            int r =
                VUROTARNGetChildByID(pPeerCur->id, VURO_TARN_TYPE_PEER, NULL, NULL, &pGpoListTmp);
            vurotarnListAppend(&walk.gpo.p, pGpoListTmp);
            if (r < 0) {
                VUROTARNTraceLocatedCond(
                    __FILE__, __LINE__,
                    "0 > VUROTARNGetChildByID(pPeerCur->id, 1, NULL, NULL, &pGpoListTmp)");
                return -1;
            }
        }
    }
    return 0;
}

}  // namespace

int VUROTARNGetTreeByID(long id, int idType, VURO_TARN_OU** pListOu, VURO_TARN_PEER** pListPeer,
                        VURO_TARN_GPO** pListGpo) {
    VUROTARN_ARG_CHECK_TEXT(NULL != pListOu || NULL != pListPeer || NULL != pListGpo,
                            "(__null!=pListOu || __null!=pListPeer || __null!=pListGpo)", 0,
                            return -1);
    TreeWalk walk;
    int r = idType == VURO_TARN_TYPE_PEER
                ? treeOfPeer(id, pListPeer, pListGpo, walk)
                : treeOfOu(id, pListGpo != NULL || pListPeer != NULL, pListGpo != NULL, walk);
    if (r < 0) {
        return -1;
    }
    walk.ou.handTo(idType == VURO_TARN_TYPE_PEER ? NULL : pListOu);
    walk.peer.handTo(pListPeer);
    walk.gpo.handTo(pListGpo);
    return 0;
}

int VUROTARNGetTreeByOuObj(VURO_TARN_OU* pOuRoot, VURO_TARN_OU** pListOu,
                           VURO_TARN_PEER** pListPeer, VURO_TARN_GPO** pListGpo) {
    VUROTARN_ARG_CHECK_RAW(__null, !=, pOuRoot, return -1);
    VUROTARN_ARG_CHECK_TEXT(NULL != pListOu || NULL != pListPeer || NULL != pListGpo,
                            "(__null!=pListOu || __null!=pListPeer || __null!=pListGpo)", 0,
                            return -1);
    return VUROTARNGetTreeByID(pOuRoot->id, VURO_TARN_TYPE_OU, pListOu, pListPeer, pListGpo);
}

int VUROTARNGetTreeByPeerObj(VURO_TARN_PEER* pPeerRoot, VURO_TARN_OU** pListOu,
                             VURO_TARN_PEER** pListPeer, VURO_TARN_GPO** pListGpo) {
    VUROTARN_ARG_CHECK_RAW(__null, !=, pPeerRoot, return -1);
    VUROTARN_ARG_CHECK_TEXT(NULL != pListOu || NULL != pListPeer || NULL != pListGpo,
                            "(__null!=pListOu || __null!=pListPeer || __null!=pListGpo)", 0,
                            return -1);
    return VUROTARNGetTreeByID(pPeerRoot->id, VURO_TARN_TYPE_PEER, pListOu, pListPeer, pListGpo);
}

int VUROTARNOuListTreePath(long idOu, PQLIBSZLIST pList) {
    VUROTARN_ARG_CHECK(NULL, !=, pList, return -1);
    long id = idOu;
    int count = 0;
    if (id < 0) {
        return 0;
    }
    std::set<long> visited;
    for (;;) {
        if (!visited.insert(id).second) {
            VUROTARN_TRACE_LOCATED("Loop in the tree: OU id=%ld is met twice", id);
            return -1;
        }
        char szId[16];
        snprintf(szId, sizeof(szId), "%ld", id);
        if (VUROTARN_STEP_FAILED(QLIBCSzListPush(&pList, szId))) {
            return -1;
        }
        if (id == 0) {
            break;
        }
        VURO_TARN_OU Ou;
        if (VUROTARN_STEP_FAILED(VUROTARNOuGet(id, &Ou)) ||
            VUROTARN_STEP_FAILED(VUROTARNOuItemGetParentID(&id, &Ou))) {
            return -1;
        }
        count++;
        if (id < 0) {
            break;
        }
    }
    return count;
}

int VUROTARNPeerListTreePath(long idPeer, PQLIBSZLIST pList) {
    VUROTARN_ARG_CHECK(NULL, !=, pList, return -1);
    VURO_TARN_PEER Peer;
    long idOu = 0;
    if (VUROTARN_STEP_FAILED(VUROTARNPeerGet(idPeer, &Peer)) ||
        VUROTARN_STEP_FAILED(VUROTARNPeerItemGetParentID(&idOu, &Peer))) {
        return -1;
    }
    return VUROTARNOuListTreePath(idOu, pList);
}

int VUROTARNOu_CreateOu(long idOu, long* pIdList, int* nIdList) {
    (void)idOu;
    (void)pIdList;
    (void)nIdList;
    return 0;
}
