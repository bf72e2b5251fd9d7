/* tarnou_json.cpp - an OU as JSON and back; the link list and extra data are
 * JSON kept as text in the row. */
#include <vurojson.h>

#include "common/vurotarn_json_int.h"

#include "tarnou/vurotarnou_int.h"

int VUROTARNOuStructToJson(const VURO_TARN_OU* pOu, const Json::Value& jAdditional,
                           Json::Value& jRet) {
    VUROTARN_ARG_CHECK(NULL, !=, pOu, return -1);
    VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, return -1);
    jRet = Json::Value(Json::objectValue);
    jRet["id"] = (Json::Int64)pOu->id;
    jRet["node_id"] = (Json::Int64)pOu->id;
    jRet["node_type"] = VURO_TARN_TYPE_OU;
    if (vurotarnJsonWanted(jAdditional, "mtime")) {
        jRet["mtime"] = (Json::Int64)pOu->mtime;
    }
    jRet["name"] = pOu->str_name;
    if (vurotarnJsonWanted(jAdditional, "desc")) {
        jRet["desc"] = pOu->str_desc;
    }
    jRet["parent_id"] = (Json::Int64)pOu->parent_id;
    if (vurotarnJsonWanted(jAdditional, "block_inheritance")) {
        jRet["block_inheritance"] = (Json::Int64)pOu->block_inheritance;
    }
    if (vurotarnJsonWanted(jAdditional, "linked_gpo")) {
        jRet["linked_gpo"] = vurotarnJsonParsed(pOu->str_linked_gpo);
    }
    if (vurotarnJsonWanted(jAdditional, "extra_info")) {
        jRet["extra_info"] = vurotarnJsonParsed(pOu->str_extra_info);
    }
    return 0;
}

int VUROTARNOuJsonToStruct(Json::Value& jVal, VURO_TARN_OU* pOu) {
    VUROTARN_ARG_CHECK(NULL, !=, pOu, return -1);
    if (!jVal.isObject()) {
        return 0;  // nothing present, nothing copied
    }
    if (jVal.isMember("id")) {
        pOu->id = (long)vurotarnJsonInt64(jVal["id"]);
    }
    if (jVal.isMember("mtime")) {
        pOu->mtime = (time_t)vurotarnJsonInt64(jVal["mtime"]);
    }
    if (jVal.isMember("parent_id")) {
        pOu->parent_id = (long)vurotarnJsonInt64(jVal["parent_id"]);
    }
    if (jVal.isMember("block_inheritance")) {
        pOu->block_inheritance = (long)vurotarnJsonInt64(jVal["block_inheritance"]);
    }
    if (jVal.isMember("name")) {
        pOu->str_name = vurotarnJsonString(jVal["name"]);
    }
    if (jVal.isMember("desc")) {
        pOu->str_desc = vurotarnJsonString(jVal["desc"]);
    }
    if (jVal.isMember("linked_gpo")) {
        pOu->str_linked_gpo = vurojson::toString(jVal["linked_gpo"]);
    }
    if (jVal.isMember("extra_info")) {
        pOu->str_extra_info = vurojson::toString(jVal["extra_info"]);
    }
    return 0;
}
