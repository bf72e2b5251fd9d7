/* delete_all.cpp - removing a node with what hangs on it. An OU's subtree
 * goes with its delegates, while its peers and policies move to the root;
 * a peer goes with its policies and delegates. */
#include <vector>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_tree.h"
#include "vurotarndelegate_target.h"
#include "vurotarn_delete.h"

namespace {

/* Deletes the OUs of a walk's list from its tail: children before their
 * parents, so that a deletion cut short (a failure, a killed process) leaves
 * a smaller tree and never an OU whose parent is gone. */
int ouDeleteWithDelegates(VURO_TARN_OU* pOuHead) {
    std::vector<VURO_TARN_OU*> order;
    for (VURO_TARN_OU* pOu = pOuHead; pOu != NULL; pOu = pOu->pNext) order.push_back(pOu);
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        VURO_TARN_OU* pOu = *it;
        long idOu = 0;
        size_t count = 0;
        VurotarnList<VURO_TARN_DELEGATE> delegates;
        VURO_TARN_DELEGATE*& pDelegateHead = delegates.p;  // as the trace names it
        if (VUROTARN_STEP_FAILED(VUROTARNOuItemGetID(&idOu, pOu)) ||
            VUROTARN_STEP_FAILED(
                VUROTARNDelegateListByTarget(idOu, VURO_TARN_TYPE_OU, &pDelegateHead, &count))) {
            return -1;
        }
        for (VURO_TARN_DELEGATE* pDelegate = pDelegateHead; pDelegate;
             pDelegate = pDelegate->pNext) {
            long idDelegate = 0;
            if (VUROTARN_STEP_FAILED(VUROTARNDelegateItemGetID(&idDelegate, pDelegate)) ||
                VUROTARN_STEP_FAILED(VUROTARNDelegateDelete(idDelegate))) {
                return -1;
            }
        }
        if (VUROTARN_STEP_FAILED(VUROTARNOuDelete(idOu))) {
            return -1;
        }
    }
    return 0;
}

}  // namespace

int VUROTARNOuDeleteAllByID(long id) {
    if (id == 0) {
        VUROTARN_LOG("Deleting ROOT OU is not allowed.");
        return -1;
    }
    VurotarnList<VURO_TARN_OU> ous;
    VurotarnList<VURO_TARN_PEER> peers;
    VurotarnList<VURO_TARN_GPO> gpos;
    VURO_TARN_OU*& pOuHead = ous.p;  // named as the traces name them
    VURO_TARN_PEER*& pPeerHead = peers.p;
    VURO_TARN_GPO*& pGpoHead = gpos.p;
    if (VUROTARN_STEP_FAILED(
            VUROTARNGetTreeByID(id, VURO_TARN_TYPE_OU, &pOuHead, &pPeerHead, &pGpoHead))) {
        return -1;
    }
    // Policies and peers survive at the root; results are not examined.
    for (VURO_TARN_GPO* pGpo = pGpoHead; pGpo != NULL; pGpo = pGpo->pNext) {
        VUROTARNGpoItemSetParentID(pGpo, 0);
        VUROTARNGpoSet(pGpo);
    }
    for (VURO_TARN_PEER* pPeer = pPeerHead; pPeer != NULL; pPeer = pPeer->pNext) {
        VUROTARNPeerItemSetParentID(pPeer, 0);
        VUROTARNPeerSet(pPeer);
    }
    return ouDeleteWithDelegates(pOuHead);
}

int VUROTARNPeerDeleteAllByID(long idPeer) {
    VurotarnList<VURO_TARN_GPO> gpos;
    VurotarnList<VURO_TARN_DELEGATE> delegates;
    VURO_TARN_GPO*& pGpoHead = gpos.p;  // named as the traces name them
    VURO_TARN_DELEGATE*& pDelegateList = delegates.p;
    size_t count = 0;
    if (VUROTARN_STEP_FAILED(
            VUROTARNGetChildByID(idPeer, VURO_TARN_TYPE_PEER, NULL, NULL, &pGpoHead)) ||
        VUROTARN_STEP_FAILED(VUROTARNGpoDeleteList(pGpoHead)) ||
        VUROTARN_STEP_FAILED(
            VUROTARNDelegateListByTarget(idPeer, VURO_TARN_TYPE_PEER, &pDelegateList, &count)) ||
        VUROTARN_STEP_FAILED(VUROTARNDelegateDeleteList(pDelegateList)) ||
        VUROTARN_STEP_FAILED(VUROTARNPeerDelete(idPeer))) {
        return -1;
    }
    return 0;
}

int VUROTARNPeerDeleteAllBySN(const char* szSN) {
    VUROTARN_ARG_CHECK(NULL, !=, szSN, return -1);
    VurotarnHash hash(512);
    if (!hash) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    VurotarnList<VURO_TARN_PEER> list;
    if (!hash.set("sn", szSN) || VUROTARNPeerList(hash.get(), &list.p, NULL) < 0) {
        return -1;
    }
    for (VURO_TARN_PEER* p = list.p; p != NULL; p = p->pNext) {
        if (VUROTARNPeerDeleteAllByID(p->id) < 0) return -1;
    }
    return 0;
}
