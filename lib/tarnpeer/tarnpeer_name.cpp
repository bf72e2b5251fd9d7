/* tarnpeer_name.cpp - how a peer and its OU are named in the change log. */
#include "tarnlog/vurotarnlog_change_int.h"
#include "tarnpeer/vurotarnpeer_int.h"

std::string VUROTARNPeerGetName(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    return vurotarnLogNameOrId(pPeer->str_hostname, pPeer->id);
}

std::string VUROTARNPeerGetParentName(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    return vurotarnLogOuName(pPeer->parent_id, "%s:%d Failed to get parent OU id=[%ld],");
}

std::string VUROTARNPeerGetObjID(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    return "peer_" + std::to_string(pPeer->id);
}

std::string VUROTARNPeerGetParentObjID(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    return "ou_" + std::to_string(pPeer->parent_id);
}
