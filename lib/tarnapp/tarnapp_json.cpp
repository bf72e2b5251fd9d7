/* tarnapp_json.cpp - an application as JSON, for one language, from its
 * field table and its name in that language. There is no way back:
 * applications come from the peers' reports, not from JSON. */
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

void VurotarnAppTraits::jsonOut(const Rec& rec, const char* szLang, const Json::Value&,
                                Json::Value& jRet) {
    jRet["name"] = appDisplayName(szLang, rec);
}

int VUROTARNAppStructToJson(const char* szLang, const VURO_TARN_APP* pApp,
                            const Json::Value& jAdditional, Json::Value& jRet) {
    return VurotarnApp::toJson(pApp, szLang, jAdditional, jRet);
}
