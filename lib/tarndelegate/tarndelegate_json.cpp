/* tarndelegate_json.cpp - a delegate as JSON and back; its extra data is
 * the name cache of the user or group. */
#include <vurojson.h>

#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateStructToJson(const VURO_TARN_DELEGATE* pDelegate,
                                 const Json::Value& jAdditional, Json::Value& jRet) {
    VUROTARN_ARG_CHECK(NULL, !=, pDelegate, return -1);
    VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, return -1);
    jRet = Json::Value(Json::objectValue);
    jRet["id"] = (Json::Int64)pDelegate->id;
    if (vurotarnJsonWanted(jAdditional, "mtime")) {
        jRet["mtime"] = (Json::Int64)pDelegate->mtime;
    }
    jRet["user_type"] = (Json::Int64)pDelegate->user_type;
    jRet["ugid"] = (Json::UInt64)pDelegate->ugid;
    jRet["target_type"] = (Json::Int64)pDelegate->target_type;
    jRet["target_id"] = (Json::Int64)pDelegate->target_id;
    if (vurotarnJsonWanted(jAdditional, "extra_info")) {
        jRet["extra_info"] = vurotarnJsonParsed(pDelegate->str_extra_info);
    }
    return 0;
}

int VUROTARNDelegateJsonToStruct(Json::Value& jVal, VURO_TARN_DELEGATE* pDelegate) {
    VUROTARN_ARG_CHECK(NULL, !=, pDelegate, return -1);
    if (!jVal.isObject()) {
        return 0;  // nothing present, nothing copied
    }
    if (jVal.isMember("id")) {
        pDelegate->id = (long)jVal["id"].asInt64();
    }
    if (jVal.isMember("mtime")) {
        pDelegate->mtime = (time_t)jVal["mtime"].asInt64();
    }
    if (jVal.isMember("user_type")) {
        pDelegate->user_type = (long)jVal["user_type"].asInt64();
    }
    // A uid or gid may lie above any signed 32-bit number.
    if (jVal.isMember("ugid")) {
        pDelegate->ugid = (unsigned long)jVal["ugid"].asUInt64();
    }
    if (jVal.isMember("target_type")) {
        pDelegate->target_type = (long)jVal["target_type"].asInt64();
    }
    if (jVal.isMember("target_id")) {
        pDelegate->target_id = (long)jVal["target_id"].asInt64();
    }
    if (jVal.isMember("extra_info")) {
        pDelegate->str_extra_info = vurojson::toString(jVal["extra_info"]);
    }
    return 0;
}
