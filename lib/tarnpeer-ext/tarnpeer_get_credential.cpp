/* tarnpeer_get_credential.cpp - a destination from a peer record or from a
 * joining server's JSON, and the temporary ids those destinations carry. The
 * credential library caches destinations by id; positive ids are not ours. */
#include <syslog.h>

#include "tarnpeer-ext/tarnpeer_webapi_int.h"
#include "vurotarn_macro_util.h"

long vurotarnPeerCredIdFree() {
    long id = -1;
    while (VURO::CredRequestUtil::IsCredIdCached(id)) id--;
    return id;
}

bool vurotarnPeerCredFill(const VURO_TARN_PEER& peer, VurotarnPeerWay way, long idCred,
                          VURO_CRED* pCred, VURO_CRED_SESS* pCredSess) {
    bool https = way == VurotarnPeerWay::Https;
    long port = https ? peer.https_port : peer.http_port;
    if (port <= 0) return false;
    if (VUROCredItemSetID(pCred, idCred) != 0) return false;
    if (VUROCredItemSetPort(pCred, port) != 0) return false;
    if (VUROCredItemSetHost(pCred, peer.str_host.c_str()) != 0) return false;
    if (VUROCredItemSetProtocol(pCred, https ? "https" : "http") != 0) return false;
    if (VUROCredSessItemSetAccessToken(pCredSess, peer.str_sid.c_str()) != 0) return false;
    if (!peer.str_vuro_token.empty() &&
        VUROCredSessItemSetCsrfToken(pCredSess, peer.str_vuro_token.c_str()) != 0) {
        return false;
    }
    return true;
}

bool vurotarnPeerRequestSealIfJson(VURO::CredRequest* pReq) {
    if (pReq->GetRequestFormat() != "JSON") return true;
    return pReq->SetEncryptMode(CRED_REQ_CRYPTO_AES);
}

int VUROTARNPeerGetCredential(long id, VURO_CRED* pCred, VURO_CRED_SESS* pCredSess) {
    VUROTARN_ARG_CHECK(NULL, !=, pCred, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pCredSess, return -1);
    VURO_TARN_PEER peer;
    if (VUROTARNPeerGet(id, &peer) != 0) return -1;
    long idCred = vurotarnPeerCredIdFree();
    // A refused HTTPS setter is no reason to give up: HTTP may still do.
    if (peer.https_port > 0 &&
        vurotarnPeerCredFill(peer, VurotarnPeerWay::Https, idCred, pCred, pCredSess)) {
        return 0;
    }
    return vurotarnPeerCredFill(peer, VurotarnPeerWay::Http, idCred, pCred, pCredSess) ? 0 : -1;
}

bool FillCredAndSess(VURO_CRED* pCred, VURO_CRED_SESS* pSess, const Json::Value& jsInfo) {
    if (pCred == NULL || pSess == NULL) return false;
    if (jsInfo.empty() || !jsInfo.isObject()) return false;
    for (const char* key : {"access_token", "host", "http_port", "https_port"}) {
        if (!jsInfo.isMember(key)) return false;
    }
    // A joining server's JSON is not to be trusted: a port of a wrong kind
    // counts as 0 rather than throwing.
    auto portOf = [&](const char* key) -> int {
        const Json::Value& v = jsInfo[key];
        return v.isIntegral() && v.isConvertibleTo(Json::intValue) ? v.asInt() : 0;
    };
    auto textOf = [&](const char* key) -> std::string {
        const Json::Value& v = jsInfo[key];
        return v.isString() ? v.asString() : std::string();
    };
    int httpsPort = portOf("https_port");
    int httpPort = portOf("http_port");
    const char* szProtocol;
    int port;
    if (httpsPort >= 1) {
        szProtocol = "https";
        port = httpsPort;
    } else if (httpPort >= 1) {
        szProtocol = "http";
        port = httpPort;
    } else {
        VUROTARN_LOG("port is invalid[%d, %d]", httpsPort, httpPort);
        return false;
    }
    if (VUROCredItemSetProtocol(pCred, szProtocol) != 0) return false;
    if (VUROCredItemSetHost(pCred, textOf("host").c_str()) != 0) return false;
    if (VUROCredItemSetPort(pCred, port) != 0) return false;
    return VUROCredSessItemSetAccessToken(pSess, textOf("access_token").c_str()) == 0;
}
