/* sim_handlers.cpp - what the simulated servers answer: discovery, the four
 * remote APIs (plain, form or sealed through libvurocredential's sealing),
 * the relay service, and the control API that sets modes and reads the
 * record. The frame of sim_net.cpp calls in through requestServe. */
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <httplib.h>

#include <sstream>
#include <thread>

#include "sim.h"
#include "sim_fetch.h"
#include "sim_update.h"
#include "vurocredential_seal.h"

namespace peersim {

namespace {

const char kApiPath[] = "/webapi/entry.cgi";

// Our own codes beside the wire's 119; only 119 has a fixed meaning.
const int kCodeBadRequest = 101;
const int kCodeNoApi = 102;
const int kCodeNoMethod = 103;
const int kCodeBadVersion = 104;
const int kCodeDiscoveryFailed = 105;
const int kCodeNoRelayId = 404;

struct ApiInfo {
    const char* name;
    const char* method;
};
// The remote APIs a managed server offers the managing one, all version 1.
const ApiInfo kApis[] = {
    {"VURO.Core.TARN", "end_join"},
    {"VURO.Core.TARN.ServerInfo", "update"},
    {"VURO.Core.TARN.Cache", "push"},
    {"VURO.Core.TARN.Policy", "fetch"},
};

const ApiInfo* apiFind(const std::string& name) {
    for (const ApiInfo& a : kApis) {
        if (name == a.name) return &a;
    }
    return nullptr;
}

class Router : public httplib::Server {
public:
    Router() {
        svr_sock_ = routerSocket();
        set_payload_max_length(16u << 20);
        set_keep_alive_max_count(kRequestsPerConnection);
        set_keep_alive_timeout(kKeepAliveSeconds);
    }
    bool serve(httplib::Stream& s, bool last, bool& closed) {
        return process_request(s, last, closed, nullptr);
    }
};

Router gPeer, gControl, gRelay;

void jsonAnswer(httplib::Response& res, const Json::Value& v) {
    res.set_content(jsonText(v), "application/json");
}

Json::Value entryFor(const Server& sv, const char* kind) {
    Json::Value e;
    e["kind"] = kind;
    e["server"] = sv.index;
    e["sn"] = sv.sn;
    e["protocol"] = currentConn()->ep->role == Role::Https ? "https" : "http";
    return e;
}

std::vector<std::string> split(const std::string& text, char sep) {
    std::vector<std::string> out;
    std::stringstream ss(text);
    std::string item;
    while (std::getline(ss, item, sep)) {
        if (!item.empty()) out.push_back(item);
    }
    return out;
}

void discover(const httplib::Request& req, httplib::Response& res) {
    Conn* c = currentConn();
    Server& sv = *c->ep->server;
    Modes m = sv.snapshot();
    Json::Value e = entryFor(sv, "discover");
    std::string names = req.get_param_value("names");
    e["names"] = names;
    if (m.failDiscovery) {
        e["outcome"] = "failed";
        sim().record.add(e);
        jsonAnswer(res, failure(kCodeDiscoveryFailed));
        return;
    }
    if (m.hasDiscoveryAnswer) {
        e["outcome"] = "shaped";
        sim().record.add(e);
        res.set_content(jsonText(m.discoveryAnswer), "application/json");
        return;
    }
    std::vector<std::string> wanted = split(names, ',');
    if (wanted.empty()) {
        for (const ApiInfo& a : kApis) wanted.push_back(a.name);
    }
    Json::Value data(Json::objectValue);
    for (const std::string& name : wanted) {
        if (apiFind(name) == nullptr || m.dropApi.count(name) != 0) continue;
        Json::Value& d = data[name];
        d["path"] = kApiPath;
        d["minVersion"] = 1;
        d["maxVersion"] = 1;
        d["requestFormat"] = m.formApi.count(name) != 0 ? "form" : "JSON";
    }
    if (c->ep->role == Role::Https && m.closeAfterDiscovery) {
        res.set_header("Connection", "close");
        c->closeAfter = true;
    }
    e["outcome"] = "ok";
    long long seq = sim().record.add(e);
    // The delivery modes reach discovery only when asked to.
    hostileDeliver(m.spoilDiscovery ? m : Modes(), seq, jsonText(success(data)),
                   "application/json", res);
}

// Counts a call in flight for as long as it is being answered.
struct InFlight {
    int count;
    InFlight() : count(sim().record.callBegin()) {}
    ~InFlight() { sim().record.callEnd(); }
};

// The request's fields, whatever its form; false with the refusal code.
struct CallText {
    std::string format, api, method, token, csrf;
    Json::Value version, params;
};

int callRead(const httplib::Request& req, const Server& sv, CallText* pCall) {
    std::string type = req.get_header_value("Content-Type");
    if (type.compare(0, 33, "application/x-www-form-urlencoded") == 0) {
        pCall->format = "form";
        pCall->api = req.get_param_value("api");
        pCall->method = req.get_param_value("method");
        std::string version = req.get_param_value("version");
        char* end = nullptr;
        long v = strtol(version.c_str(), &end, 10);
        pCall->version =
            (!version.empty() && *end == '\0') ? Json::Value((int)v) : Json::Value(version);
        std::string params = req.get_param_value("params");
        if (!jsonParse(params, &pCall->params)) pCall->params = params;
        pCall->token = req.get_header_value(VUROCRED_HDR_ACCESS_TOKEN);
        pCall->csrf = req.get_header_value(VUROCRED_HDR_CSRF_TOKEN);
        return 0;
    }
    Json::Value body;
    if (!jsonParse(req.body, &body) || !body.isObject()) return kCodeBadRequest;
    if (body.isMember(VUROCRED_SEALED_MEMBER)) {
        pCall->format = "sealed";
        if (req.get_header_value(VUROCRED_HDR_KEY_ID) != sv.keyId) {
            return VUROCRED_CODE_BAD_TOKEN;
        }
        std::string plain;
        if (!vurocred::Unseal(sv.token, req.path, body[VUROCRED_SEALED_MEMBER], plain) ||
            !jsonParse(plain, &body) || !body.isObject()) {
            return VUROCRED_CODE_BAD_TOKEN;
        }
        pCall->token = body[VUROCRED_BODY_ACCESS_TOKEN].isString()
                           ? body[VUROCRED_BODY_ACCESS_TOKEN].asString()
                           : std::string();
        pCall->csrf = body[VUROCRED_BODY_CSRF_TOKEN].isString()
                          ? body[VUROCRED_BODY_CSRF_TOKEN].asString()
                          : std::string();
    } else {
        pCall->format = "json";
        pCall->token = req.get_header_value(VUROCRED_HDR_ACCESS_TOKEN);
        pCall->csrf = req.get_header_value(VUROCRED_HDR_CSRF_TOKEN);
    }
    pCall->api = body["api"].isString() ? body["api"].asString() : "";
    pCall->method = body["method"].isString() ? body["method"].asString() : "";
    pCall->version = body["version"];
    pCall->params = body["params"];
    return 0;
}

// The answer to a call that passed the checks, unless a mode spoils it.
Json::Value callData(const Server& sv, const CallText& call) {
    Json::Value data;
    data["sn"] = sv.sn;
    data["hostname"] = sv.hostname;
    data["api"] = call.api;
    data["method"] = call.method;
    data["received"] = call.params;
    return data;
}

void call(const httplib::Request& req, httplib::Response& res) {
    Conn* c = currentConn();
    Server& sv = *c->ep->server;
    Modes m = sv.snapshot();
    InFlight flight;
    Record& record = sim().record;
    Json::Value e = entryFor(sv, "call");
    e["in_flight"] = flight.count;

    CallText call;
    int code = callRead(req, sv, &call);
    e["format"] = call.format;
    e["sealed"] = call.format == "sealed";
    e["api"] = call.api;
    e["version"] = call.version;
    e["method"] = call.method;
    e["params"] = call.params;
    e["csrf"] = !call.csrf.empty();
    if (hostileRedirect(m, req.path, e, res)) return;
    if (code == 0 && call.token != sv.token) code = VUROCRED_CODE_BAD_TOKEN;
    const ApiInfo* api = apiFind(call.api);
    if (code == 0 && (api == nullptr || m.dropApi.count(call.api) != 0)) code = kCodeNoApi;
    if (code == 0 && !(call.version.isIntegral() && call.version.asInt64() == 1)) {
        code = kCodeBadVersion;
    }
    if (code == 0 && call.method != api->method) code = kCodeNoMethod;
    // A server reads a request in the format it declared, no other.
    if (code == 0 && (m.formApi.count(call.api) != 0) != (call.format == "form")) {
        code = kCodeBadRequest;
    }
    if (code != 0) {
        // Refusals go out plain: the client cannot be trusted with a key.
        e["outcome"] = code == VUROCRED_CODE_BAD_TOKEN ? "bad_token" : "refused";
        e["code"] = code;
        record.add(e);
        jsonAnswer(res, failure(code));
        return;
    }

    // The dropped HTTPS call of "close after discovery" is seen, never answered.
    if (c->ep->role == Role::Https && m.closeAfterDiscovery) {
        e["outcome"] = "dropped";
        record.add(e);
        connDrop();
        return;
    }
    e["outcome"] = "answering";
    long long seq = record.add(e);
    Server* psv = &sv;
    bool stayed = true;
    if (m.hang) {
        stayed = connHold(-1, [psv] { return psv->snapshot().hang; });
    } else if (m.delayMs > 0) {
        stayed = connHold(m.delayMs, [] { return true; });
    }
    if (!stayed) {
        record.update(seq, "outcome", "client_gone");
        connDrop();
        return;
    }
    if (m.notJson) {
        record.update(seq, "outcome", "not_json");
        res.set_content("<html><body>simulated server trouble</body></html>", "text/html");
        return;
    }
    Json::Value answer = m.failCode != 0 ? failure(m.failCode) : success(callData(sv, call));
    // Sound connection info is kept in the record; other parameters are
    // only echoed, as for any call, so transport tests may send anything.
    Json::Value kept;
    if (m.failCode == 0 && call.api == "VURO.Core.TARN.ServerInfo" &&
        serverInfoUpdate(call.params, &kept)["success"].asBool()) {
        answer["data"]["conn_info_count"] = kept.size();
        record.update(seq, "conn_info", kept);
    }
    if (m.noSuccess) answer.removeMember("success");
    if (m.noHostname && call.api == "VURO.Core.TARN") answer["data"].removeMember("hostname");
    if (m.hasCallAnswer) answer = m.callAnswer;
    joinFetchCount(sv, call.api, answer);
    fetchBackOnCall(sv, call.api, call.method, call.params, answer);
    std::string text = m.garbled ? "<html>busy</html>" : jsonText(answer);
    if (call.format == "sealed") {
        Json::Value sealed;
        if (!vurocred::Seal(sv.token, req.path, text, sealed)) {
            record.update(seq, "outcome", "seal_failed");
            res.status = 500;
            return;
        }
        if (m.tamper) {
            std::string raw;
            vurocred::Base64Decode(sealed["data"].asString(), raw);
            if (!raw.empty()) raw[raw.size() / 2] ^= 0x01;
            sealed["data"] = vurocred::Base64Encode(raw);
        }
        Json::Value wrapped;
        wrapped[VUROCRED_SEALED_MEMBER] = sealed;
        text = jsonText(wrapped);
    }
    record.update(seq, "outcome",
                  m.tamper && call.format == "sealed" ? "tampered"
                  : m.hasCallAnswer                   ? "shaped"
                  : m.failCode != 0                   ? "fail"
                                                      : "ok");
    if (m.failCode != 0) record.update(seq, "code", m.failCode);
    hostileDeliver(m, seq, text, "application/json", res);
}

void relayLookup(const httplib::Request& req, httplib::Response& res) {
    Sim& s = sim();
    std::string id = req.get_param_value("id");
    Json::Value e;
    e["kind"] = "relay";
    e["id"] = id;
    Json::Value answer;
    bool raw = false;
    {
        std::lock_guard<std::mutex> lock(s.relayMu);
        raw = s.relayRaw.isMember(id);
        answer = raw                         ? s.relayRaw[id]
                 : s.relayTable.isMember(id) ? success(s.relayTable[id])
                                             : failure(kCodeNoRelayId);
    }
    e["outcome"] = raw ? "raw" : answer["success"].asBool() ? "ok" : "unknown";
    s.record.add(e);
    jsonAnswer(res, answer);
}

// ---- control ----

bool bodyRead(const httplib::Request& req, Json::Value* pBody) {
    if (req.body.empty()) {
        *pBody = Json::objectValue;
        return true;
    }
    return jsonParse(req.body, pBody) && pBody->isObject();
}

void controlAnswer(httplib::Response& res, bool ok, const Json::Value& dataOrWhy) {
    if (ok) {
        jsonAnswer(res, success(dataOrWhy));
        return;
    }
    Json::Value v = failure(kCodeBadRequest);
    v["error"]["reason"] = dataOrWhy;
    res.status = 400;
    jsonAnswer(res, v);
}

void controlRecord(const httplib::Request& req, httplib::Response& res) {
    Json::Value body;
    if (!bodyRead(req, &body)) return controlAnswer(res, false, "body is no JSON object");
    int server = -1;
    std::string kind;
    long long since = 0;
    if (req.has_param("server")) server = atoi(req.get_param_value("server").c_str());
    if (req.has_param("kind")) kind = req.get_param_value("kind");
    if (req.has_param("since")) since = atoll(req.get_param_value("since").c_str());
    if (body["server"].isIntegral()) server = body["server"].asInt();
    if (body["server"].isString()) {
        Server* sv = sim().find(body["server"].asString());
        if (sv == nullptr) return controlAnswer(res, false, "no such server");
        server = sv->index;
    }
    if (body["kind"].isString()) kind = body["kind"].asString();
    if (body["since"].isIntegral()) since = body["since"].asInt64();
    controlAnswer(res, true, sim().record.query(server, kind, since));
}

void controlMode(const httplib::Request& req, httplib::Response& res) {
    Json::Value body;
    if (!bodyRead(req, &body)) return controlAnswer(res, false, "body is no JSON object");
    Sim& s = sim();
    std::string key = body["server"].isIntegral() ? std::to_string(body["server"].asInt())
                                                  : body["server"].asString();
    std::vector<Server*> targets;
    if (key == "all") {
        for (auto& sv : s.servers) targets.push_back(sv.get());
    } else if (Server* sv = s.find(key)) {
        targets.push_back(sv);
    } else {
        return controlAnswer(res, false, "no such server: " + key);
    }
    const Json::Value& modes = body["modes"];
    if (!modes.isNull() && !modes.isObject())
        return controlAnswer(res, false, "modes is no object");
    // Checked on a copy first, so a typo changes no server at all.
    std::string why;
    Modes probe;
    if (modes.isObject() && !probe.merge(modes, &why)) return controlAnswer(res, false, why);
    Json::Value data;
    for (Server* sv : targets) {
        std::lock_guard<std::mutex> lock(sv->mu);
        if (body["clear"].asBool()) sv->modes = Modes();
        if (modes.isObject()) sv->modes.merge(modes, &why);
        data["modes"] = sv->modes.toJson();
    }
    controlAnswer(res, true, data);
}

void controlRelay(const httplib::Request& req, httplib::Response& res) {
    Json::Value body;
    if (!bodyRead(req, &body) || !body["id"].isString()) {
        return controlAnswer(res, false, "want {\"id\": text, ...}");
    }
    Sim& s = sim();
    std::string id = body["id"].asString();
    std::lock_guard<std::mutex> lock(s.relayMu);
    s.relayRaw.removeMember(id);
    if (body["remove"].asBool()) {
        s.relayTable.removeMember(id);
    } else if (body.isMember("raw")) {
        // The whole answer, envelope and all: arrays, numbers, null.
        s.relayRaw[id] = body["raw"];
    } else if (body.isMember("answer")) {
        // Taken as it is: tests set answers of any shape.
        s.relayTable[id] = body["answer"];
    } else {
        Json::Value a;
        a["host"] = body["host"];
        a["protocol"] = body["protocol"];
        a["port"] = body["port"];
        s.relayTable[id] = a;
    }
    controlAnswer(res, true, s.relayTable);
}

void controlReset(const httplib::Request& req, httplib::Response& res) {
    Json::Value body;
    if (!bodyRead(req, &body)) return controlAnswer(res, false, "body is no JSON object");
    Sim& s = sim();
    s.record.clear();
    joinReset();
    if (body.get("modes", true).asBool()) {
        for (auto& sv : s.servers) {
            std::lock_guard<std::mutex> lock(sv->mu);
            sv->modes = Modes();
        }
    }
    if (body.get("relay", true).asBool()) {
        std::lock_guard<std::mutex> lock(s.relayMu);
        s.relayTable = s.relayInitial;
        s.relayRaw = Json::objectValue;
    }
    controlAnswer(res, true, Json::objectValue);
}

void controlStop(const httplib::Request&, httplib::Response& res) {
    controlAnswer(res, true, Json::objectValue);
    // Leave once the answer is out.
    std::thread([] {
        usleep(100000);
        _exit(0);
    }).detach();
}

}  // namespace

void handlersInstall() {
    gPeer.Get(VUROCRED_DISCOVER_PATH, discover);
    gPeer.Post(kApiPath, call);
    gRelay.Get(VUROCRED_RELAY_PATH, relayLookup);
    gControl.Post("/_sim/record", controlRecord);
    gControl.Get("/_sim/record", controlRecord);
    gControl.Post("/_sim/mode", controlMode);
    gControl.Post("/_sim/relay", controlRelay);
    gControl.Post("/_sim/reset", controlReset);
    gControl.Post("/_sim/stop", controlStop);
    scoutControlInstall(gControl);
    joinControlInstall(gControl);
    fetchBackControlInstall(gControl);
}

bool requestServe(Role role, httplib::Stream& stream, bool last, bool& closed) {
    if (role == Role::Trap) return trapRequestServe(stream, last, closed);
    Router& r = role == Role::Control ? gControl : role == Role::Relay ? gRelay : gPeer;
    return r.serve(stream, last, closed);
}

}  // namespace peersim
