/* tarnpeer_json.cpp - a peer as JSON and back, from its field table. The
 * session keys and the address are always given: a caller needs them to
 * reach the server. */
#include "tarnpeer/vurotarnpeer_int.h"

void VurotarnPeerTraits::jsonOut(const Rec& rec, const char*, const Json::Value& jAdditional,
                                 Json::Value& jRet) {
    // The tree view names a server by its host name.
    if (vurotarnJsonWanted(jAdditional, "hostname")) {
        jRet["name"] = rec.str_hostname;
    }
}

int VUROTARNPeerStructToJson(const VURO_TARN_PEER* pPeer, const Json::Value& jAdditional,
                             Json::Value& jRet) {
    return VurotarnPeer::toJson(pPeer, NULL, jAdditional, jRet);
}

int VUROTARNPeerJsonToStruct(Json::Value& jVal, VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::fromJson(jVal, pPeer);
}
