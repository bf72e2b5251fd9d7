/* tarnpeer_set.cpp - rewriting stored peer rows, with hooks. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerSet(VURO_TARN_PEER* pPeer) { return VurotarnPeer::set(pPeer); }

int VUROTARNPeerSetMultiple(VURO_TARN_PEER_LIST pPeerList) {
    return VurotarnPeer::setMultiple(pPeerList);
}
