/* tarnpeer_get.cpp - reading one peer by id, or the first of several ids. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerGet(long id, VURO_TARN_PEER* pPeer) { return VurotarnPeer::get(id, pPeer); }

int VUROTARNPeerGetMultiple(long* ids, size_t cID, VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::getMultiple(ids, cID, pPeer);
}
