/* tarnpeer_alloc.cpp - peer records in memory: allocation, release, reset, lists. */
#include "tarnpeer/vurotarnpeer_int.h"

VURO_TARN_PEER* VUROTARNPeerAlloc() { return VurotarnPeer::alloc(); }

int VUROTARNPeerFree(VURO_TARN_PEER* pPeer) { return VurotarnPeer::free(pPeer); }

int VUROTARNPeerClear(VURO_TARN_PEER* pPeer) { return VurotarnPeer::clear(pPeer); }

VURO_TARN_PEER* VUROTARNPeerNext(const VURO_TARN_PEER* pPeer) { return VurotarnPeer::next(pPeer); }

void VUROTARNPeerListFree(VURO_TARN_PEER_LIST* pPeerList) { VurotarnPeer::listFree(pPeerList); }
