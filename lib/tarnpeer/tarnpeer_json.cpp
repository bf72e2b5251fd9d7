/* tarnpeer_json.cpp - a peer as JSON and back. The session keys and the
 * address are always given: a caller needs them to reach the server. */
#include <vurojson.h>

#include "common/vurotarn_json_int.h"

#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerStructToJson(const VURO_TARN_PEER* pPeer, const Json::Value& jAdditional,
                             Json::Value& jRet) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, return -1);
    auto wanted = [&](const char* szKey) { return vurotarnJsonWanted(jAdditional, szKey); };
    jRet = Json::Value(Json::objectValue);
    jRet["id"] = (Json::Int64)pPeer->id;
    jRet["node_id"] = (Json::Int64)pPeer->id;
    jRet["node_type"] = VURO_TARN_TYPE_PEER;
    if (wanted("mtime")) jRet["mtime"] = (Json::Int64)pPeer->mtime;
    if (wanted("desc")) jRet["desc"] = pPeer->str_desc;
    jRet["sn"] = pPeer->str_sn;
    if (wanted("model")) jRet["model"] = pPeer->str_model;
    if (wanted("version")) jRet["version"] = pPeer->str_version;
    if (wanted("buildnum")) jRet["buildnum"] = (Json::Int64)pPeer->buildnum;
    if (wanted("smallfixnum")) jRet["smallfixnum"] = (Json::Int64)pPeer->smallfixnum;
    if (wanted("hostname")) {
        jRet["hostname"] = pPeer->str_hostname;
        jRet["name"] = pPeer->str_hostname;
    }
    jRet["host"] = pPeer->str_host;
    jRet["sid"] = pPeer->str_sid;
    jRet["vuro_token"] = pPeer->str_vuro_token;
    if (wanted("status")) jRet["status"] = (Json::Int64)pPeer->status;
    if (wanted("status_by_server")) {
        jRet["status_by_server"] = (Json::Int64)pPeer->status_by_server;
    }
    if (wanted("status_by_server_mtime")) {
        jRet["status_by_server_mtime"] = (Json::Int64)pPeer->status_by_server_mtime;
    }
    if (wanted("wol")) jRet["wol"] = (Json::Int64)pPeer->wol;
    if (wanted("up_time")) jRet["up_time"] = (Json::Int64)pPeer->up_time;
    if (wanted("uptime_mtime")) jRet["uptime_mtime"] = (Json::Int64)pPeer->uptime_mtime;
    jRet["http_port"] = (Json::Int64)pPeer->http_port;
    if (wanted("https_port")) jRet["https_port"] = (Json::Int64)pPeer->https_port;
    jRet["parent_id"] = (Json::Int64)pPeer->parent_id;
    if (wanted("block_inheritance")) {
        jRet["block_inheritance"] = (Json::Int64)pPeer->block_inheritance;
    }
    if (wanted("linked_gpo")) jRet["linked_gpo"] = vurotarnJsonParsed(pPeer->str_linked_gpo);
    if (wanted("relaypath")) jRet["relaypath"] = pPeer->str_relaypath;
    if (wanted("gluster_role")) jRet["gluster_role"] = (Json::Int64)pPeer->gluster_role;
    if (wanted("extra_info")) jRet["extra_info"] = vurotarnJsonParsed(pPeer->str_extra_info);
    return 0;
}

int VUROTARNPeerJsonToStruct(Json::Value& jVal, VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    if (!jVal.isObject()) {
        return 0;
    }
    struct NumberKey {
        const char* szKey;
        long VURO_TARN_PEER::*member;
    };
    static const NumberKey kNumbers[] = {
        {"id", &VURO_TARN_PEER::id},
        {"buildnum", &VURO_TARN_PEER::buildnum},
        {"smallfixnum", &VURO_TARN_PEER::smallfixnum},
        {"status", &VURO_TARN_PEER::status},
        {"status_by_server", &VURO_TARN_PEER::status_by_server},
        {"wol", &VURO_TARN_PEER::wol},
        {"up_time", &VURO_TARN_PEER::up_time},
        {"http_port", &VURO_TARN_PEER::http_port},
        {"https_port", &VURO_TARN_PEER::https_port},
        {"parent_id", &VURO_TARN_PEER::parent_id},
        {"block_inheritance", &VURO_TARN_PEER::block_inheritance},
        {"gluster_role", &VURO_TARN_PEER::gluster_role},
    };
    struct TimeKey {
        const char* szKey;
        time_t VURO_TARN_PEER::*member;
    };
    static const TimeKey kTimes[] = {
        {"mtime", &VURO_TARN_PEER::mtime},
        {"status_by_server_mtime", &VURO_TARN_PEER::status_by_server_mtime},
        {"uptime_mtime", &VURO_TARN_PEER::uptime_mtime},
    };
    struct TextKey {
        const char* szKey;
        std::string VURO_TARN_PEER::*member;
    };
    static const TextKey kTexts[] = {
        {"desc", &VURO_TARN_PEER::str_desc},
        {"sn", &VURO_TARN_PEER::str_sn},
        {"model", &VURO_TARN_PEER::str_model},
        {"version", &VURO_TARN_PEER::str_version},
        {"hostname", &VURO_TARN_PEER::str_hostname},
        {"host", &VURO_TARN_PEER::str_host},
        {"sid", &VURO_TARN_PEER::str_sid},
        {"vuro_token", &VURO_TARN_PEER::str_vuro_token},
        {"relaypath", &VURO_TARN_PEER::str_relaypath},
    };
    for (const NumberKey& k : kNumbers) {
        if (jVal.isMember(k.szKey)) pPeer->*k.member = (long)vurotarnJsonInt64(jVal[k.szKey]);
    }
    for (const TimeKey& k : kTimes) {
        if (jVal.isMember(k.szKey)) pPeer->*k.member = (time_t)vurotarnJsonInt64(jVal[k.szKey]);
    }
    for (const TextKey& k : kTexts) {
        if (jVal.isMember(k.szKey)) pPeer->*k.member = vurotarnJsonString(jVal[k.szKey]);
    }
    // JSON members kept as text.
    if (jVal.isMember("linked_gpo")) {
        pPeer->str_linked_gpo = vurojson::toString(jVal["linked_gpo"]);
    }
    if (jVal.isMember("extra_info")) {
        pPeer->str_extra_info = vurojson::toString(jVal["extra_info"]);
    }
    return 0;
}
