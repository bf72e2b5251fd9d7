/* sim_update.cpp - the handler of a ServerInfo update shared by the
 * simulator and the local handler tool: the connection info is checked
 * entry by entry and kept only when all of it is sound. */
#include "sim_update.h"

namespace peersim {

namespace {

const int kCodeBadRequest = 101;

bool portOk(const Json::Value& v) {
    return v.isIntegral() && v.asInt64() >= 0 && v.asInt64() <= 65535;
}

bool entryOk(const Json::Value& e) {
    if (!e.isObject() || !e["host"].isString() || e["host"].asString().empty()) return false;
    if (!portOk(e["http_port"]) || !portOk(e["https_port"])) return false;
    return !e.isMember("relay_path_direct") || e["relay_path_direct"].isBool();
}

}  // namespace

Json::Value success(const Json::Value& data) {
    Json::Value v;
    v["success"] = true;
    v["data"] = data;
    return v;
}

Json::Value failure(int code) {
    Json::Value v;
    v["success"] = false;
    v["error"]["code"] = code;
    return v;
}

Json::Value serverInfoUpdate(const Json::Value& params, Json::Value* pKept) {
    const Json::Value& conn =
        params.isObject() ? params["conn_info"] : Json::Value::nullSingleton();
    bool ok = conn.isArray();
    for (Json::ArrayIndex i = 0; ok && i < conn.size(); i++) ok = entryOk(conn[i]);
    if (!ok) return failure(kCodeBadRequest);
    *pKept = conn;
    Json::Value data;
    data["conn_info_count"] = conn.size();
    return success(data);
}

}  // namespace peersim
