/* tarnou_json.cpp - an OU as JSON and back, from its field table; the link
 * list and extra data are JSON kept as text in the row. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuStructToJson(const VURO_TARN_OU* pOu, const Json::Value& jAdditional,
                           Json::Value& jRet) {
    return VurotarnOu::toJson(pOu, NULL, jAdditional, jRet);
}

int VUROTARNOuJsonToStruct(Json::Value& jVal, VURO_TARN_OU* pOu) {
    return VurotarnOu::fromJson(jVal, pOu);
}
