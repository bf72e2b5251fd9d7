/* tarnpeer_delete.cpp - removing peer rows by id, by list, or all of them. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerDelete(long id) { return VurotarnPeer::del(id); }

int VUROTARNPeerDeleteList(VURO_TARN_PEER_LIST pPeerList) {
    return VurotarnPeer::deleteList(pPeerList);
}

int VUROTARNPeerDeleteMultiple(long* ids, size_t cID) {
    return VurotarnPeer::deleteMultiple(ids, cID);
}

int VUROTARNPeerDeleteAll() { return VurotarnPeer::deleteAll(); }
