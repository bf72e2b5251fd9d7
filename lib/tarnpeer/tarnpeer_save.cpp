/* tarnpeer_save.cpp - create or set, decided by the record's id alone. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerSave(VURO_TARN_PEER* pPeer) { return VurotarnPeer::save(pPeer); }
