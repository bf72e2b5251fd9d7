/* tarnpeer_check_webapi_privilege.cpp - may an incoming session call an
 * API, and which managed server is it? Reads the session store directly,
 * one line found by the id in double quotes. */
#include <errno.h>
#include <syslog.h>

#include <vurojson.h>

#include "tarnpeer-ext/tarnpeer_session_int.h"

#include "vurotarn_macro_util.h"
#include "vurotarnpeer_join.h"

bool GetWebAPIBySID(const std::string& strSID, Json::Value& jsWebAPI, std::string* pstrSerial) {
    VurotarnCgiHandle handle;
    if (!handle.ok()) return false;
    VuroCgi& cgi = *handle.get();

    std::string strKey = "\"" + strSID + "\"";
    char szLine[4095] = {0};
    int n;
    int savedErrno;
    {
        VUROTARN_PRIV_SCOPE();
        n = QLIBCFileGetLine(cgi.szSessFile, strKey.c_str(), szLine, sizeof(szLine), 0);
        savedErrno = errno;
    }
    if (n <= 0) {
        errno = savedErrno;
        // Only a refused read is worth a trace: an unknown id is no fault.
        if (errno == EACCES) {
            VUROTARN_TRACE_COND(0 <
                                QLIBCFileGetLine(cgi.szSessFile, strKey.c_str(), szLine, 4095, 0));
        }
        return false;
    }
    Json::Value jSession;
    if (!vurojson::fromString(jSession, szLine) || !jSession.isObject()) return false;
    // The search finds any line that holds the text in quotes: a key, the
    // app name or another field. Only the session's own id counts, or a
    // caller without a token passes as the first managed server.
    if (!jSession["id"].isString() || jSession["id"].asString() != strSID) return false;
    if (!jSession.isMember("extra") || !jSession["extra"].isString()) return false;
    Json::Value jExtra;
    if (!vurojson::fromString(jExtra, jSession["extra"].asString()) || !jExtra.isObject() ||
        !jExtra.isMember("VURO.TARN")) {
        return false;
    }
    if (pstrSerial != NULL) {
        const Json::Value& jSerial = jExtra["VURO.TARN"];
        *pstrSerial = jSerial.isString() ? jSerial.asString() : vurojson::toString(jSerial);
    }
    jsWebAPI = Json::Value();
    if (!jSession.isMember("webapi")) return true;
    const Json::Value& jText = jSession["webapi"];
    return jText.isString() && vurojson::fromString(jsWebAPI, jText.asString());
}

bool VUROTARNPeerCheckWebapiPriviege(const std::string& strSID, const std::string& strAPI,
                                     std::string* pstrSerial) {
    if (strSID.empty()) return false;
    Json::Value jsWebAPI;
    if (!GetWebAPIBySID(strSID, jsWebAPI, pstrSerial)) return false;
    // No list at all, or an empty one: the session may call everything.
    if (jsWebAPI.empty()) return true;
    // A prefix match, as the session store's own check does it.
    auto admits = [&](const std::string& entry) {
        return strAPI.compare(0, entry.size(), entry) == 0;
    };
    if (jsWebAPI.isString()) return admits(jsWebAPI.asString());
    if (!jsWebAPI.isArray()) return false;
    for (const Json::Value& jEntry : jsWebAPI) {
        if (jEntry.isString() && admits(jEntry.asString())) return true;
    }
    return false;
}
