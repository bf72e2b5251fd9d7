/* relay.cpp - the relay lookup: asks the relay service of credential.conf
 * how a server known by its relay id is reached now. Same transfer rules as
 * every request: verified TLS, no redirect, the loopback guard. */
#include <syslog.h>

#include "answer_int.h"
#include "cred_int.h"
#include "vurocredential_seal.h"
#include "vurojson.h"

namespace VURO {

bool CredRequestRelayPath::GetConnInfoPortal(const std::string& strId, Json::Value& js,
                                             void* pReserved) {
    if (pReserved != NULL || strId.empty()) {
        return vurocred::RelayFail(js, "bad argument");
    }
    vurocred::CredConf conf = vurocred::credConfGet();
    if (conf.relayPortal.empty()) {
        syslog(LOG_DEBUG, "vurocred: relay lookup of %s: no relay service", strId.c_str());
        return vurocred::RelayFail(js, "no relay service");
    }
    std::string portal = conf.relayPortal;
    while (!portal.empty() && portal.back() == '/') {
        portal.pop_back();
    }
    vurocred::CurlEasy curl(curl_easy_init());
    if (!curl) {
        return vurocred::RelayFail(js, "out of memory");
    }
    vurocred::Transfer t;
    t.url = portal + VUROCRED_RELAY_PATH "?id=" + vurocred::urlEscape(strId);
    t.timeoutMs = vurocred::credTimeoutMs(conf, 0);
    if (!vurocred::transferSetup(curl.get(), t, conf)) {
        return vurocred::RelayFail(js, "transfer set-up refused");
    }
    CURLcode rc = curl_easy_perform(curl.get());
    int e = vurocred::transferResult(curl.get(), rc, t);
    syslog(LOG_DEBUG, "vurocred: relay lookup %s: %s", t.url.c_str(),
           e == CRED_REQ_ERR_NONE ? t.answer.c_str() : VUROCredErrorText(e));
    return vurocred::RelayAnswerRead(e, t.answer, js);
}

}  // namespace VURO
