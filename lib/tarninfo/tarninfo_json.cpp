/* tarninfo_json.cpp - server information as JSON and back. The texts are
 * the peers' own JSON: they pass through parsed, never looked into. */
#include <vurojson.h>

#include "common/vurotarn_json_int.h"

#include "tarninfo/vurotarninfo_int.h"

namespace {

struct InfoTextKey {
    const char* szKey;
    std::string VURO_TARN_INFO::*member;
};

// The report texts that travel under their own key both ways.
const InfoTextKey kInfoTexts[] = {
    {"general", &VURO_TARN_INFO::str_general},   {"network", &VURO_TARN_INFO::str_network},
    {"hdd_info", &VURO_TARN_INFO::str_hdd_info}, {"vol_info", &VURO_TARN_INFO::str_vol_info},
    {"session", &VURO_TARN_INFO::str_session},   {"define", &VURO_TARN_INFO::str_define},
};

}  // namespace

int VUROTARNInfoStructToJson(const VURO_TARN_INFO* pInfo, const Json::Value& jAdditional,
                             Json::Value& jRet) {
    VUROTARN_ARG_CHECK(NULL, !=, pInfo, return -1);
    VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, return -1);
    auto wanted = [&](const char* szKey) { return vurotarnJsonWanted(jAdditional, szKey); };
    jRet = Json::Value();
    jRet["id"] = (Json::UInt64)pInfo->id;
    jRet["peer_id"] = (Json::UInt64)pInfo->peer_id;
    // "additional" exists only when something goes under it.
    if (wanted("mtime")) jRet["additional"]["mtime"] = (Json::Int64)pInfo->mtime;
    for (const InfoTextKey& k : kInfoTexts) {
        if (wanted(k.szKey)) jRet["additional"][k.szKey] = vurotarnJsonParsed(pInfo->*k.member);
    }
    if (wanted("extra_info")) {
        jRet["additional"]["extra_info"] = vurotarnJsonParsed(pInfo->str_extra_info);
    }
    return 0;
}

int VUROTARNInfoJsonToStruct(Json::Value& jVal, VURO_TARN_INFO* pInfo) {
    VUROTARN_ARG_CHECK(NULL, !=, pInfo, return -1);
    if (!jVal.isObject()) {
        return 0;
    }
    if (jVal.isMember("id")) pInfo->id = (unsigned long long)vurotarnJsonInt64(jVal["id"]);
    if (jVal.isMember("mtime")) pInfo->mtime = (time_t)vurotarnJsonInt64(jVal["mtime"]);
    if (jVal.isMember("peer_id")) {
        pInfo->peer_id = (unsigned long long)vurotarnJsonInt64(jVal["peer_id"]);
    }
    for (const InfoTextKey& k : kInfoTexts) {
        if (jVal.isMember(k.szKey)) pInfo->*k.member = vurojson::toString(jVal[k.szKey]);
    }
    // A peer reports its storage apart; it is kept in extra_info, which
    // itself is never taken from the input.
    if (jVal.isMember("storage_info")) {
        Json::Value jExtra(Json::objectValue);
        jExtra["storage_info"] = jVal["storage_info"];
        pInfo->str_extra_info = vurojson::toString(jExtra);
    }
    return 0;
}
