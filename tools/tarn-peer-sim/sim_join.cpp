/* sim_join.cpp - what the fetch notice needs of the simulated servers beyond
 * the record: a count of the fetches each server answered, cheap to poll
 * while a notice fans out to hundreds of them. */
#include <httplib.h>

#include "sim.h"

namespace peersim {

namespace {

struct JoinState {
    std::mutex mu;
    std::map<int, long long> fetches;  // server index -> fetches answered with success
    long long fetchTotal = 0;
};

JoinState& joinState() {
    static JoinState state;
    return state;
}

/* GET /_sim/fetches: {"count": N, "servers": {"<serial>": n, ...}} */
void controlFetches(const httplib::Request&, httplib::Response& res) {
    JoinState& st = joinState();
    Json::Value data;
    std::lock_guard<std::mutex> lock(st.mu);
    data["count"] = (Json::Int64)st.fetchTotal;
    data["servers"] = Json::objectValue;
    for (const auto& f : st.fetches) {
        data["servers"][sim().servers[(size_t)f.first]->sn] = (Json::Int64)f.second;
    }
    controlAnswer(res, true, data);
}

}  // namespace

void controlAnswer(httplib::Response& res, bool ok, const Json::Value& dataOrWhy) {
    Json::Value v;
    v["success"] = ok;
    if (ok) {
        v["data"] = dataOrWhy;
    } else {
        v["error"]["code"] = 101;
        v["error"]["reason"] = dataOrWhy;
        res.status = 400;
    }
    res.set_content(jsonText(v), "application/json");
}

void joinControlInstall(httplib::Server& control) {
    control.Get("/_sim/fetches", controlFetches);
    control.Post("/_sim/fetches", controlFetches);
}

void joinFetchCount(const Server& sv, const std::string& api, const Json::Value& answer) {
    // A shaped answer may be anything: only a true success counts.
    if (api != "VURO.Core.TARN.Policy" || !answer.isObject() || !answer["success"].isBool() ||
        !answer["success"].asBool()) {
        return;
    }
    JoinState& st = joinState();
    std::lock_guard<std::mutex> lock(st.mu);
    st.fetches[sv.index]++;
    st.fetchTotal++;
}

void joinReset() {
    JoinState& st = joinState();
    std::lock_guard<std::mutex> lock(st.mu);
    st.fetches.clear();
    st.fetchTotal = 0;
}

}  // namespace peersim
