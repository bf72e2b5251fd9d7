/* tarnpeer_name.cpp - how a peer and its OU are named in the change log. */
#include "tarnpeer/vurotarnpeer_int.h"
#include "vurotarnou.h"

static std::string idPlaceholder(long id) { return "<id=" + std::to_string(id) + ">"; }

std::string VUROTARNPeerGetName(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    return pPeer->str_hostname.empty() ? idPlaceholder(pPeer->id) : pPeer->str_hostname;
}

std::string VUROTARNPeerGetParentName(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    if (pPeer->parent_id == 0) {
        return "{gpo_tree:root_ou}";
    }
    VURO_TARN_OU ou;
    if (VUROTARNOuGet(pPeer->parent_id, &ou) != 0) {
        VUROTARN_LOG("Failed to get parent OU id=[%ld],", pPeer->parent_id);
        return "";
    }
    return ou.str_name.empty() ? idPlaceholder(ou.id) : ou.str_name;
}

std::string VUROTARNPeerGetObjID(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    return "peer_" + std::to_string(pPeer->id);
}

std::string VUROTARNPeerGetParentObjID(VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return "");
    return "ou_" + std::to_string(pPeer->parent_id);
}
