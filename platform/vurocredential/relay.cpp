/* relay.cpp - the relay lookup: asks the relay service of credential.conf
 * how a server known by its relay id is reached now. Same transfer rules as
 * every request: verified TLS, no redirect, the loopback guard. */
#include <syslog.h>

#include "cred_int.h"
#include "vurocredential_seal.h"
#include "vurojson.h"

namespace VURO {

namespace {

bool relayFail(Json::Value& js, const std::string& strWhy) {
    Json::Value err(Json::objectValue);
    err["error"] = strWhy;
    js = err;
    return false;
}

}  // namespace

bool CredRequestRelayPath::GetConnInfoPortal(const std::string& strId, Json::Value& js,
                                             void* pReserved) {
    if (pReserved != NULL || strId.empty()) {
        return relayFail(js, "bad argument");
    }
    vurocred::CredConf conf = vurocred::credConfGet();
    if (conf.relayPortal.empty()) {
        syslog(LOG_DEBUG, "vurocred: relay lookup of %s: no relay service", strId.c_str());
        return relayFail(js, "no relay service");
    }
    std::string portal = conf.relayPortal;
    while (!portal.empty() && portal.back() == '/') {
        portal.pop_back();
    }
    vurocred::CurlEasy curl(curl_easy_init());
    if (!curl) {
        return relayFail(js, "out of memory");
    }
    vurocred::Transfer t;
    t.url = portal + VUROCRED_RELAY_PATH "?id=" + vurocred::urlEscape(strId);
    t.timeoutMs = vurocred::credTimeoutMs(conf, 0);
    if (!vurocred::transferSetup(curl.get(), t, conf)) {
        return relayFail(js, "transfer set-up refused");
    }
    CURLcode rc = curl_easy_perform(curl.get());
    int e = vurocred::transferResult(curl.get(), rc, t);
    Json::Value answer;
    bool parsed = vurojson::fromString(answer, t.answer) && answer.isObject();
    syslog(LOG_DEBUG, "vurocred: relay lookup %s: %s", t.url.c_str(),
           e == CRED_REQ_ERR_NONE ? t.answer.c_str() : VUROCredErrorText(e));
    if (e != CRED_REQ_ERR_NONE) {
        if (parsed) {
            js = answer;
            return false;
        }
        return relayFail(js, VUROCredErrorText(e));
    }
    if (!parsed) {
        return relayFail(js, "answer is no JSON object");
    }
    // Either the usual {"success","data"} envelope or the bare object.
    Json::Value info = answer;
    if (answer.isMember("success")) {
        if (!answer["success"].isBool() || !answer["success"].asBool() ||
            !answer["data"].isObject()) {
            js = answer;
            return false;
        }
        info = answer["data"];
    }
    if (!info["host"].isString() || info["host"].asString().empty()) {
        js = answer;
        return false;
    }
    js = info;
    return true;
}

}  // namespace VURO
