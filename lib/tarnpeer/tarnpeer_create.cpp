/* tarnpeer_create.cpp - storing new peer rows, with hooks and change log. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerCreate(VURO_TARN_PEER* pPeer) { return VurotarnPeer::create(pPeer); }

int VUROTARNPeerCreateMultiple(VURO_TARN_PEER_LIST pPeerList) {
    return VurotarnPeer::createMultiple(pPeerList);
}
