/* tarninfo_json.cpp - server information as JSON and back, from its field
 * table. The texts are the peers' own JSON: they pass through parsed, never
 * looked into. */
#include "tarninfo/vurotarninfo_int.h"

void VurotarnInfoTraits::jsonIn(const Json::Value& jVal, Rec& rec) {
    // A peer reports its storage apart; it is kept in extra_info, which
    // itself is never taken from the input.
    if (jVal.isMember("storage_info")) {
        Json::Value jExtra(Json::objectValue);
        jExtra["storage_info"] = jVal["storage_info"];
        rec.str_extra_info = vurojson::toString(jExtra);
    }
}

int VUROTARNInfoStructToJson(const VURO_TARN_INFO* pInfo, const Json::Value& jAdditional,
                             Json::Value& jRet) {
    return VurotarnInfo::toJson(pInfo, NULL, jAdditional, jRet);
}

int VUROTARNInfoJsonToStruct(Json::Value& jVal, VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::fromJson(jVal, pInfo);
}
