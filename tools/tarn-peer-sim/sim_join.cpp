/* sim_join.cpp - what the join, the cache push and the fetch notice need of
 * the simulated servers beyond plain answers: answers of a wrong shape on
 * purpose ("no_hostname": end_join confirmed without data.hostname,
 * "no_success": an answer without "success", "garbled": a text that is no
 * JSON, sealed when the call was, so it passes the seal), and a count of the fetches
 * each server was asked for, cheap to poll while a notice fans out. */
#include <httplib.h>

#include "sim.h"

namespace peersim {

namespace {

struct JoinState {
    std::mutex mu;
    std::map<int, std::string> shapes;  // server index -> shape
    std::map<int, long long> fetches;   // server index -> fetches answered with success
    long long fetchTotal = 0;
};

JoinState& joinState() {
    static JoinState state;
    return state;
}

const char* const kShapes[] = {"", "no_hostname", "no_success", "garbled"};

bool shapeKnown(const std::string& shape) {
    for (const char* s : kShapes) {
        if (shape == s) return true;
    }
    return false;
}

void answer(httplib::Response& res, bool ok, const Json::Value& dataOrWhy) {
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

/* POST /_sim/shape {"server": index|serial|"all", "shape": "..."} */
void controlShape(const httplib::Request& req, httplib::Response& res) {
    Json::Value body;
    if (!jsonParse(req.body, &body) || !body.isObject() || !body["shape"].isString()) {
        return answer(res, false, "want {\"server\": ..., \"shape\": text}");
    }
    std::string shape = body["shape"].asString();
    if (!shapeKnown(shape)) return answer(res, false, "unknown shape: " + shape);
    std::string key = body["server"].isIntegral() ? std::to_string(body["server"].asInt())
                                                  : body["server"].asString();
    std::vector<int> targets;
    if (key == "all") {
        for (auto& sv : sim().servers) targets.push_back(sv->index);
    } else if (Server* sv = sim().find(key)) {
        targets.push_back(sv->index);
    } else {
        return answer(res, false, "no such server: " + key);
    }
    JoinState& st = joinState();
    std::lock_guard<std::mutex> lock(st.mu);
    for (int i : targets) {
        if (shape.empty()) {
            st.shapes.erase(i);
        } else {
            st.shapes[i] = shape;
        }
    }
    answer(res, true, Json::objectValue);
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
    answer(res, true, data);
}

}  // namespace

void joinControlInstall(httplib::Server& control) {
    control.Post("/_sim/shape", controlShape);
    control.Get("/_sim/fetches", controlFetches);
    control.Post("/_sim/fetches", controlFetches);
}

void joinAnswerShape(const Server& sv, const std::string& api, Json::Value* pAnswer) {
    JoinState& st = joinState();
    std::lock_guard<std::mutex> lock(st.mu);
    auto it = st.shapes.find(sv.index);
    if (it != st.shapes.end()) {
        if (it->second == "no_hostname" && api == "VURO.Core.TARN") {
            (*pAnswer)["data"].removeMember("hostname");
        } else if (it->second == "no_success") {
            pAnswer->removeMember("success");
        }
    }
    if (api == "VURO.Core.TARN.Policy" && (*pAnswer)["success"].asBool()) {
        st.fetches[sv.index]++;
        st.fetchTotal++;
    }
}

void joinAnswerText(const Server& sv, std::string* pText) {
    JoinState& st = joinState();
    std::lock_guard<std::mutex> lock(st.mu);
    auto it = st.shapes.find(sv.index);
    if (it != st.shapes.end() && it->second == "garbled") *pText = "<html>busy</html>";
}

void joinReset(bool modes) {
    JoinState& st = joinState();
    std::lock_guard<std::mutex> lock(st.mu);
    st.fetches.clear();
    st.fetchTotal = 0;
    if (modes) st.shapes.clear();
}

}  // namespace peersim
