/* tarnpeer_list.cpp - peer lists by condition hash or through a filter. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerList(const PQLIBSZHASH pParms, VURO_TARN_PEER_LIST* pPeerList,
                     size_t* pTotalCount) {
    return VurotarnPeer::list(pParms, pPeerList, pTotalCount);
}

int VUROTARNPeerListAll(VURO_TARN_PEER_LIST* pPeerList, BOOL (*isKeep)(VURO_TARN_PEER*, void*),
                        void* private_data) {
    return VurotarnPeer::listAll(pPeerList, isKeep, private_data);
}
