/* tarngpo_json.cpp - a policy as JSON and back. A policy is a leaf of the
 * tree view; its setting is JSON kept as text. */
#include <stdlib.h>

#include <vurojson.h>

#include "common/vurotarn_json_int.h"

#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoStructToJson(const VURO_TARN_GPO* pGpo, const Json::Value& jAdditional,
                            Json::Value& jRet) {
    VUROTARN_ARG_CHECK(NULL, !=, pGpo, return -1);
    VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, return -1);
    jRet = Json::Value(Json::objectValue);
    jRet["leaf"] = true;
    jRet["id"] = (Json::Int64)pGpo->id;
    jRet["node_id"] = (Json::Int64)pGpo->id;
    jRet["node_type"] = VURO_TARN_TYPE_GPO;
    if (vurotarnJsonWanted(jAdditional, "mtime")) {
        jRet["mtime"] = (Json::Int64)pGpo->mtime;
    }
    jRet["name"] = pGpo->str_name;
    if (vurotarnJsonWanted(jAdditional, "desc")) {
        jRet["desc"] = pGpo->str_desc;
    }
    jRet["parent_id"] = (Json::Int64)pGpo->parent_id;
    jRet["parent_type"] = (Json::Int64)pGpo->parent_type;
    jRet["setting"] = vurotarnJsonParsed(pGpo->str_setting);
    if (vurotarnJsonWanted(jAdditional, "extra_info")) {
        jRet["extra_info"] = vurotarnJsonParsed(pGpo->str_extra_info);
    }
    return 0;
}

int VUROTARNGpoJsonToStruct(Json::Value& jVal, VURO_TARN_GPO* pGpo) {
    VUROTARN_ARG_CHECK(NULL, !=, pGpo, return -1);
    if (!jVal.isObject()) {
        return 0;
    }
    if (jVal.isMember("id")) {
        // A number and a decimal string both name the policy.
        pGpo->id = strtol(vurotarnJsonString(jVal["id"]).c_str(), NULL, 10);
    }
    if (jVal.isMember("name")) {
        pGpo->str_name = vurotarnJsonString(jVal["name"]);
    }
    if (jVal.isMember("desc")) {
        pGpo->str_desc = vurotarnJsonString(jVal["desc"]);
    }
    if (jVal.isMember("parent_id")) {
        pGpo->parent_id = (long)vurotarnJsonInt64(jVal["parent_id"]);
    }
    if (jVal.isMember("parent_type")) {
        pGpo->parent_type = (long)vurotarnJsonInt64(jVal["parent_type"]);
    }
    // An empty setting ({} or []) keeps the stored one.
    if (jVal.isMember("setting") && !jVal["setting"].empty()) {
        pGpo->str_setting = vurojson::toString(jVal["setting"]);
    }
    if (jVal.isMember("extra_info")) {
        pGpo->str_extra_info = vurojson::toString(jVal["extra_info"]);
    }
    return 0;
}
