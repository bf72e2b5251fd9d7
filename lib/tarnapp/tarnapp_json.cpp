/* tarnapp_json.cpp - an application as JSON, for one language. There is no
 * way back: applications come from the peers' reports, not from JSON. */
#include <string.h>

#include "tarnapp/vurotarnapp_int.h"

namespace {

/* The name to show: szLang's, else the English one, else the app id, so an
 * application always shows something. An unknown code reads as no name. */
const std::string& appDisplayName(const char* szLang, const VURO_TARN_APP& app) {
    if (szLang != NULL) {
        for (const VurotarnAppLangName& l : kVurotarnAppLangNames) {
            if (strcmp(l.szLang, szLang) == 0) {
                if (!(app.*l.member).empty()) {
                    return app.*l.member;
                }
                break;
            }
        }
    }
    return app.str_name_enu.empty() ? app.str_app_id : app.str_name_enu;
}

}  // namespace

int VUROTARNAppStructToJson(const char* szLang, const VURO_TARN_APP* pApp,
                            const Json::Value& jAdditional, Json::Value& jRet) {
    VUROTARN_ARG_CHECK(NULL, !=, pApp, return -1);
    VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, return -1);
    auto wanted = [&](const char* szKey) { return vurotarnJsonWanted(jAdditional, szKey); };
    jRet = Json::Value(Json::objectValue);
    jRet["id"] = (Json::UInt64)pApp->id;
    jRet["peer_id"] = (Json::UInt64)pApp->peer_id;
    jRet["app_id"] = pApp->str_app_id;
    jRet["name"] = appDisplayName(szLang, *pApp);
    jRet["app_version"] = pApp->str_app_version;
    // Named keys make an "additional" object even when none of them is
    // known; a null jAdditional wants every key.
    if (!jAdditional.empty()) {
        jRet["additional"] = Json::Value(Json::objectValue);
    }
    Json::Value& jMore = jRet["additional"];
    if (wanted("icon_mtime")) jMore["icon_mtime"] = (Json::Int64)pApp->icon_mtime;
    if (wanted("protocol")) jMore["protocol"] = pApp->str_protocol;
    if (wanted("port")) jMore["port"] = pApp->port;
    if (wanted("url")) jMore["url"] = pApp->str_url;
    if (wanted("window_param")) jMore["window_param"] = pApp->str_windowparam;
    if (wanted("is_package")) jMore["is_package"] = (int)pApp->is_package;
    if (wanted("extra_info")) jMore["extra_info"] = vurotarnJsonParsed(pApp->str_extra_info);
    if (jMore.isNull()) {
        jRet.removeMember("additional");
    }
    return 0;
}
