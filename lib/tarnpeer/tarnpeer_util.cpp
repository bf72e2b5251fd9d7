/* tarnpeer_util.cpp - the cache push: each ready or hibernating peer of a
 * list is marked as updating, asked to push its cache, and marked offline
 * when it cannot be reached. Calls up into the remote layer
 * (tarnpeer-ext) for the call itself. */
#include <syslog.h>

#include "vurotarn_macro_util.h"
#include "vurotarnpeer.h"
#include "vurotarnpeer_webapi.h"

namespace {

const long kStatusReady = 2;
const long kStatusUpdating = 9;
const long kStatusOffline = 10;
const long kStatusHibernation = 16;

/* Both status fields, written; false when the row could not be. */
bool peerStatusStore(VURO_TARN_PEER* pPeer, long status) {
    VUROTARNPeerItemSetStatus(pPeer, status);
    VUROTARNPeerItemSetStatusByServer(pPeer, status);
    if (VUROTARNPeerSet(pPeer) != 0) {
        VUROTARN_LOG("Failed to set PEER[%ld]", pPeer->id);
        return false;
    }
    return true;
}

}  // namespace

bool VUROTARNPeerUpdateCache(const VURO_TARN_PEER_LIST peerList, Json::Value& jData) {
    if (peerList == NULL) return false;
    jData = Json::Value(Json::arrayValue);
    for (VURO_TARN_PEER* pPeer = peerList; pPeer != NULL; pPeer = pPeer->pNext) {
        if (pPeer->status != kStatusReady && pPeer->status != kStatusHibernation) continue;
        // Shown as updating while the push runs; the next status update
        // brings it back.
        if (!peerStatusStore(pPeer, kStatusUpdating)) continue;
        Json::Value jResp;
        if (VUROTARNPeerSendWebapiByID(pPeer->id, jResp, "VURO.Core.TARN.Cache", 1, "push",
                                       Json::Value()) < 0) {
            VUROTARN_LOG("Fail to send (VURO.Core.TARN.Cache:1:push) to peer=%ld", pPeer->id);
            peerStatusStore(pPeer, kStatusOffline);
            continue;
        }
        if (jResp.isObject() && jResp.isMember("success")) {
            jData.append(jResp);
        } else {
            VUROTARN_LOG(
                "Resp of(VURO.Core.TARN.Cache:1:push) from peer=%ld contains no \"success\" key.",
                pPeer->id);
        }
    }
    return true;
}
