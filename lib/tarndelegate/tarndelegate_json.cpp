/* tarndelegate_json.cpp - a delegate as JSON and back, from its field table;
 * its extra data is the name cache of the user or group, and a uid or gid
 * may lie above any signed 32-bit number. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateStructToJson(const VURO_TARN_DELEGATE* pDelegate,
                                 const Json::Value& jAdditional, Json::Value& jRet) {
    return VurotarnDelegate::toJson(pDelegate, NULL, jAdditional, jRet);
}

int VUROTARNDelegateJsonToStruct(Json::Value& jVal, VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::fromJson(jVal, pDelegate);
}
