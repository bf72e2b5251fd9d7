/* tarnapp_json.cpp - an application as JSON, for one language, from its
 * field table and its name in that language. There is no way back:
 * applications come from the peers' reports, not from JSON. */
#include "tarnapp/vurotarnapp_int.h"

// The name to show: szLang's, else the English one, else the app id, so an
// application always shows something. An unknown code reads as no name.
void VurotarnAppTraits::jsonOut(const Rec& rec, const char* szLang, const Json::Value&,
                                Json::Value& jRet) {
    jRet["name"] = vurotarnNameInLang(rec, kVurotarnAppLangNames, 20, szLang,
                                      rec.str_name_enu.empty() ? rec.str_app_id : rec.str_name_enu);
}

int VUROTARNAppStructToJson(const char* szLang, const VURO_TARN_APP* pApp,
                            const Json::Value& jAdditional, Json::Value& jRet) {
    return VurotarnApp::toJson(pApp, szLang, jAdditional, jRet);
}
