/* tarnpeer_session.cpp - sessions of this server for managed servers. A
 * managed server calls back with the token made here; the session is found
 * again by the exact text of its extra data, so creation and removal build
 * that text in one place. */
#include <vurojson.h>

#include "tarnpeer-ext/tarnpeer_session_int.h"

#include "vurotarn_macro_util.h"
#include "vurotarnpeer_join.h"

namespace {

const char kSessionApp[] = "VURO.TARN";

/* {"VURO.TARN":"<serial>"} as compact text: the session's mark. */
std::string sessionExtraText(const std::string& strSerial) {
    Json::Value jExtra(Json::objectValue);
    jExtra[kSessionApp] = strSerial;
    return vurojson::toString(jExtra);
}

}  // namespace

bool VUROTARNPeerCreateSessionBySn(const std::string& strSerial, std::string& strAccessToken) {
    if (strSerial.empty()) return false;
    VurotarnCgiHandle cgi;
    if (!cgi.ok()) return false;
    Json::Value jWebapi(Json::arrayValue);
    jWebapi.append("VURO.TARN");
    jWebapi.append("VURO.NotificationCenter");
    VuroCgiSetOption(cgi.get(), CGI_OPT_SKIP_CHECK_IP, 1);
    VuroCgiSetOption(cgi.get(), CGI_OPT_APP, kSessionApp);
    VuroCgiSetOption(cgi.get(), CGI_OPT_DURATION, -1);
    VuroCgiSetOption(cgi.get(), CGI_OPT_EXTRA, sessionExtraText(strSerial).c_str());
    VuroCgiSetOption(cgi.get(), CGI_OPT_WEBAPI, vurojson::toString(jWebapi).c_str());
    char szToken[100] = {0};
    CGI_LOGIN_PARAMS params = {"", NULL, NULL, 0, TRUE};
    int result;
    {
        // The store belongs to root, like every system file we write.
        VUROTARN_PRIV_SCOPE();
        result = VuroCgiLoginNoAuth(cgi.get(), szToken, sizeof(szToken), &params);
    }
    if (result != LOGIN_SUCCESS) return false;
    strAccessToken = szToken;
    return true;
}

bool VUROTARNPeerCreateSessionBySn(const std::string& strSerial, Json::Value& jsAccessToken) {
    std::string strToken;
    if (!VUROTARNPeerCreateSessionBySn(strSerial, strToken)) return false;
    jsAccessToken = strToken;
    return true;
}

bool VUROTARNPeerDeleteSessionBySn(const std::string& strSerial) {
    if (strSerial.empty()) return false;
    VurotarnCgiHandle cgi;
    if (!cgi.ok()) return false;
    VUROTARN_PRIV_SCOPE();
    return VuroCgiRemoveSessionByIndex(cgi.get(), INDEX_EXTRA,
                                       sessionExtraText(strSerial).c_str()) != FALSE;
}
