/* tarnpeer_send_webapi.cpp - one remote call to a destination or to a stored
 * peer (HTTPS first, then HTTP), and the relay refresh that a call falls
 * back on when a peer's address went stale. Only the refresh writes a row. */
#include <syslog.h>

#include "tarnpeer-ext/tarnpeer_webapi_int.h"
#include "vurojson.h"
#include "vurotarn_macro_util.h"

namespace {

/* The answer of a processed request into jResp when it is JSON; jResp is
 * left alone otherwise. */
int peerAnswerTake(VURO::CredRequest* pReq, Json::Value& jResp) {
    Json::Value jAnswer;
    if (!vurojson::fromString(jAnswer, pReq->GetResponse())) return -1;
    jResp = jAnswer;
    return 0;
}

}  // namespace

int VUROTARNPeerSendWebapi(VURO_CRED* pCred, VURO_CRED_SESS* pCredSess, Json::Value& jResp,
                           const std::string& strAPI, int iVersion, const std::string& strMethod,
                           const Json::Value& jsParam) {
    VUROTARN_ARG_CHECK(NULL, !=, pCred, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pCredSess, return -1);
    VurotarnRequestHolder req(VURO::CredRequest::CreateWebAPIRequest(pCred, pCredSess, strAPI,
                                                                     iVersion, strMethod, jsParam));
    if (!req) return -1;
    if (!vurotarnPeerRequestSealIfJson(req.get())) return -1;
    if (!req->Process(true, 0)) {
        VUROTARN_LOG("Send WebAPI Fail[%d]", (int)req->GetError());
        return -1;
    }
    return peerAnswerTake(req.get(), jResp);
}

int VUROTARNPeerSendWebapiByID(long id, Json::Value& jResp, const std::string& strAPI, int iVersion,
                               const std::string& strMethod, const Json::Value& jsParam) {
    VurotarnCredHolder cred(VUROCredAlloc());
    VurotarnCredSessHolder sess(VUROCredSessAlloc());
    if (!cred || !sess) return -1;
    VURO_TARN_PEER peer;
    if (VUROTARNPeerGet(id, &peer) != 0) return -1;
    // No address or no token: this peer cannot be called, which is no error.
    if (peer.str_host.empty() || peer.str_sid.empty()) return -1;
    long idCred = vurotarnPeerCredIdFree();

    VurotarnRequestHolder req;
    if (peer.https_port > 0 &&
        vurotarnPeerCredFill(peer, VurotarnPeerWay::Https, idCred, cred.get(), sess.get())) {
        req.reset(VURO::CredRequest::CreateWebAPIRequest(cred.get(), sess.get(), strAPI, iVersion,
                                                         strMethod, jsParam));
        if (!req) {
            // Discovery failed: the server may have moved. The refreshed
            // record is what the HTTP way below uses.
            VUROTARNPeerUpdateRelayPathByPEER(&peer);
        } else if (req->Process(true, 0)) {
            return peerAnswerTake(req.get(), jResp);
        }
        // A server that answered discovery is where we think it is: HTTP
        // without asking the relay.
    }

    if (peer.http_port <= 0) return -1;
    if (!vurotarnPeerCredFill(peer, VurotarnPeerWay::Http, idCred, cred.get(), sess.get())) {
        return -1;
    }
    // The HTTPS request goes before the next one takes the same id.
    req.reset();
    req.reset(VURO::CredRequest::CreateWebAPIRequest(cred.get(), sess.get(), strAPI, iVersion,
                                                     strMethod, jsParam));
    if (!req) {
        // No third attempt, yet the next call finds the new address.
        VUROTARNPeerUpdateRelayPathByPEER(&peer);
        return -1;
    }
    if (!vurotarnPeerRequestSealIfJson(req.get())) return -1;
    if (!req->Process(true, 0)) return -1;
    return peerAnswerTake(req.get(), jResp);
}

int VUROTARNPeerUpdateRelayPathByPEER(VURO_TARN_PEER* pPeer) {
    if (pPeer == NULL) {
        VUROTARN_TRACE_LOCATED_COND(!pPeer);
        return -1;
    }
    if (pPeer->str_relaypath.empty()) {
        VUROTARN_TRACE_LOCATED_COND(pPeer->str_relaypath.empty());
        return -1;
    }
    Json::Value jConn;
    if (!VURO::CredRequestRelayPath::GetConnInfoPortal(pPeer->str_relaypath, jConn, NULL)) {
        VUROTARN_LOG("GetConnInfoPortal: [%s]%s", pPeer->str_relaypath.c_str(),
                     vurojson::toString(jConn).c_str());
        return -1;
    }
    const Json::Value jNull;
    auto member = [&](const char* key) -> const Json::Value& {
        return jConn.isObject() && jConn.isMember(key) ? jConn[key] : jNull;
    };
    auto textOf = [](const Json::Value& v) -> std::string {
        if (v.isNull()) return "";
        return v.isString() ? v.asString() : vurojson::toString(v);
    };
    auto portOf = [](const Json::Value& v) -> long {
        if (v.isIntegral() && v.isConvertibleTo(Json::intValue)) return v.asInt();
        return 0;
    };
    pPeer->str_host = textOf(member("host"));
    std::string protocol = textOf(member("protocol"));
    if (protocol == "http") {
        pPeer->https_port = 0;
        pPeer->http_port = portOf(member("port"));
    } else if (protocol == "https") {
        pPeer->http_port = 0;
        pPeer->https_port = portOf(member("port"));
    } else {
        // The new host stays in the caller's record only; the row keeps
        // the way it had.
        VUROTARN_LOG("Relay Path Format Invalid[%s]: %s", pPeer->str_relaypath.c_str(),
                     vurojson::toString(jConn).c_str());
        return -1;
    }
    if (VUROTARNPeerSet(pPeer) != 0) {
        VUROTARN_LOG("Update relaypath failed[%s]: %s", pPeer->str_relaypath.c_str(),
                     vurojson::toString(jConn).c_str());
        return -1;
    }
    return 0;
}

int VUROTARNPeerUpdateRelayPathByID(long id) {
    VURO_TARN_PEER peer;
    if (VUROTARNPeerGet(id, &peer) != 0) return -1;
    return VUROTARNPeerUpdateRelayPathByPEER(&peer);
}
