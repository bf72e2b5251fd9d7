/* tarngpo_json.cpp - a policy as JSON and back, from its field table. A
 * policy is a leaf of the tree view; its setting is JSON kept as text, and
 * an empty one ({} or []) keeps the stored setting. */
#include <stdlib.h>

#include "tarngpo/vurotarngpo_int.h"

void VurotarnGpoTraits::jsonOut(const Rec&, const char*, const Json::Value&, Json::Value& jRet) {
    jRet["leaf"] = true;
}

void VurotarnGpoTraits::jsonIn(const Json::Value& jVal, Rec& rec) {
    // A number and a decimal text both name the policy.
    if (jVal.isMember("id")) {
        rec.id = strtol(vurotarnJsonString(jVal["id"]).c_str(), NULL, 10);
    }
}

int VUROTARNGpoStructToJson(const VURO_TARN_GPO* pGpo, const Json::Value& jAdditional,
                            Json::Value& jRet) {
    return VurotarnGpo::toJson(pGpo, NULL, jAdditional, jRet);
}

int VUROTARNGpoJsonToStruct(Json::Value& jVal, VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::fromJson(jVal, pGpo);
}
