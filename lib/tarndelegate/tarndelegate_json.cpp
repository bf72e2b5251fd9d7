/* tarndelegate_json.cpp - a delegate as JSON and back; its extra data is
 * the name cache of the user or group. */
#include <vurojson.h>

#include "common/vurotarn_json_int.h"

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
        pDelegate->id = (long)vurotarnJsonInt64(jVal["id"]);
    }
    if (jVal.isMember("mtime")) {
        pDelegate->mtime = (time_t)vurotarnJsonInt64(jVal["mtime"]);
    }
    if (jVal.isMember("user_type")) {
        pDelegate->user_type = (long)vurotarnJsonInt64(jVal["user_type"]);
    }
    // A uid or gid may lie above any signed 32-bit number.
    if (jVal.isMember("ugid")) {
        pDelegate->ugid = (unsigned long)vurotarnJsonUInt64(jVal["ugid"]);
    }
    if (jVal.isMember("target_type")) {
        pDelegate->target_type = (long)vurotarnJsonInt64(jVal["target_type"]);
    }
    if (jVal.isMember("target_id")) {
        pDelegate->target_id = (long)vurotarnJsonInt64(jVal["target_id"]);
    }
    if (jVal.isMember("extra_info")) {
        pDelegate->str_extra_info = vurojson::toString(jVal["extra_info"]);
    }
    return 0;
}
