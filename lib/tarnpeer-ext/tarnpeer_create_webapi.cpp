/* tarnpeer_create_webapi.cpp - requests built for a destination or a peer
 * record and handed to the caller unsent. The request copies what it needs,
 * so the credential objects made here are gone before it is returned. */
#include <syslog.h>

#include "tarnpeer-ext/tarnpeer_webapi_int.h"
#include "vurotarn_macro_util.h"

VURO::CredRequest* VUROTARNPeerCreateWebapi(const VURO_CRED* pCred, const VURO_CRED_SESS* pCredSess,
                                            const std::string& strAPI, int iVersion,
                                            const std::string& strMethod,
                                            const Json::Value& jsParam) {
    VUROTARN_ARG_CHECK(NULL, !=, pCred, return NULL);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pCredSess, return NULL);
    VurotarnRequestHolder req(VURO::CredRequest::CreateWebAPIRequest(pCred, pCredSess, strAPI,
                                                                     iVersion, strMethod, jsParam));
    if (!req) return NULL;
    char szProtocol[16] = {0};
    if (VUROCredItemGetProtocol(pCred, szProtocol, sizeof(szProtocol)) != 0) return NULL;
    // Over https the channel is already private; the seal is asked for
    // there only, as callers of this function have always had it.
    if (std::string(szProtocol) == "https" && !vurotarnPeerRequestSealIfJson(req.get())) {
        return NULL;
    }
    return req.release();
}

VURO::CredRequest* VUROTARNPeerCreateWebapiByPEER(const VURO_TARN_PEER* pPeer,
                                                  const std::string& strAPI, int iVersion,
                                                  const std::string& strMethod,
                                                  const Json::Value& jsParam) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return NULL);
    VUROTARN_ARG_CHECK_TEXT(!strAPI.empty(), "!strAPI.empty()", 0, return NULL);
    VUROTARN_ARG_CHECK(0, <=, iVersion, return NULL);
    VUROTARN_ARG_CHECK_TEXT(!strMethod.empty(), "!strMethod.empty()", 0, return NULL);
    VurotarnCredHolder cred(VUROCredAlloc());
    VurotarnCredSessHolder sess(VUROCredSessAlloc());
    if (!cred || !sess) return NULL;
    if (pPeer->str_host.empty() || pPeer->str_sid.empty()) return NULL;
    long idCred = vurotarnPeerCredIdFree();
    if (pPeer->https_port > 0 &&
        vurotarnPeerCredFill(*pPeer, VurotarnPeerWay::Https, idCred, cred.get(), sess.get())) {
        // Tried once: whatever HTTPS gave stands, no fall back to HTTP.
        return VURO::CredRequest::CreateWebAPIRequest(cred.get(), sess.get(), strAPI, iVersion,
                                                      strMethod, jsParam);
    }
    if (pPeer->http_port > 0 &&
        vurotarnPeerCredFill(*pPeer, VurotarnPeerWay::Http, idCred, cred.get(), sess.get())) {
        VurotarnRequestHolder req(VURO::CredRequest::CreateWebAPIRequest(
            cred.get(), sess.get(), strAPI, iVersion, strMethod, jsParam));
        if (!req || !vurotarnPeerRequestSealIfJson(req.get())) return NULL;
        return req.release();
    }
    return NULL;
}

VURO::CredRequest* VUROTARNPeerCreateWebapiByID(long id, const std::string& strAPI, int iVersion,
                                                const std::string& strMethod,
                                                const Json::Value& jsParam) {
    VUROTARN_ARG_CHECK(0, <=, id, return NULL);
    VUROTARN_ARG_CHECK_TEXT(!strAPI.empty(), "!strAPI.empty()", 0, return NULL);
    VUROTARN_ARG_CHECK(0, <=, iVersion, return NULL);
    VUROTARN_ARG_CHECK_TEXT(!strMethod.empty(), "!strMethod.empty()", 0, return NULL);
    VURO_TARN_PEER peer;
    if (VUROTARNPeerGet(id, &peer) != 0) return NULL;
    return VUROTARNPeerCreateWebapiByPEER(&peer, strAPI, iVersion, strMethod, jsParam);
}
