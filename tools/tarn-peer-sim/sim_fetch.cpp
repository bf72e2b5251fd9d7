/* sim_fetch.cpp - the fetch-back mode: a simulated server that got a fetch
 * notice comes back to its managing server for its policy, as a managed
 * server does, with the session its join handed it and the set versions it
 * understands, and keeps what it received in the record ("fetch_back"
 * entries). Loopback only: the managing server's address comes from the
 * join or from --central, and anything else is refused before a packet. */
#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>

#include "sim.h"
#include "sim_fetch.h"
#include "vurocore.h"

namespace peersim {

namespace {

const char kEntryPath[] = "/webapi/entry.cgi";
const size_t kFetchWorkers = 8;

/* What a server of this release understands when nobody says otherwise:
 * the sets of the current tables, and the delegates set. */
Json::Value defaultSetVersions() {
    Json::Value v;
    v["Samba"] = 3;
    v["TimeServer"] = 2;
    v["Quota"] = 1;
    v["Delegate"] = 1;
    return v;
}

struct FetchBackServer {
    bool on = false;
    Json::Value setVersions = defaultSetVersions();
    std::string central;  // "host:port"; empty: where the join came from
    // What the join told this server: its session and the managing server.
    std::string sid;
    std::string joinHost;
    int joinPort = 0;
    long long received = 0;  // policies received with success
};

struct FetchBackState {
    std::mutex mu;
    FetchBackServer defaults;
    std::map<int, FetchBackServer> servers;  // by index; absent: the defaults
    TaskPool pool{kFetchWorkers};

    FetchBackServer& of(int index) {
        auto it = servers.find(index);
        if (it == servers.end()) it = servers.emplace(index, defaults).first;
        return it->second;
    }
};

FetchBackState& state() {
    static FetchBackState st;
    return st;
}

bool isSuccess(const Json::Value& answer) {
    return answer.isObject() && answer["success"].isBool() && answer["success"].asBool();
}

/* "host:port" or "[v6]:port" into its parts; false when it is not that. */
bool hostPortSplit(const std::string& text, std::string* pHost, int* pPort) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return false;
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    char* end = nullptr;
    long port = strtol(text.c_str() + colon + 1, &end, 10);
    if (*end != '\0' || port < 1 || port > 65535) return false;
    *pHost = host;
    *pPort = (int)port;
    return true;
}

/* Only a loopback address, written as one: a name could resolve anywhere.
 * The platform's guard has the last word. */
bool loopbackOnly(const std::string& host, std::string* pWhy) {
    struct sockaddr_in v4 = {};
    struct sockaddr_in6 v6 = {};
    int r = -1;
    if (inet_pton(AF_INET, host.c_str(), &v4.sin_addr) == 1 &&
        (ntohl(v4.sin_addr.s_addr) >> 24) == 127) {
        v4.sin_family = AF_INET;
        r = VURONetDestinationCheck((struct sockaddr*)&v4, sizeof(v4));
    } else if (inet_pton(AF_INET6, host.c_str(), &v6.sin6_addr) == 1 &&
               IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr)) {
        v6.sin6_family = AF_INET6;
        r = VURONetDestinationCheck((struct sockaddr*)&v6, sizeof(v6));
    }
    if (r != 0) *pWhy = "destination refused: " + (host.empty() ? "none" : host);
    return r == 0;
}

/* One trip back to the managing server; the outcome goes to the record. */
void fetchBack(int index, const FetchBackServer fb) {
    Server& sv = *sim().servers[(size_t)index];
    Json::Value e;
    e["kind"] = "fetch_back";
    e["server"] = index;
    e["sn"] = sv.sn;
    e["asked"] = fb.setVersions;
    std::string host, why;
    int port = 0;
    if (fb.sid.empty()) {
        e["outcome"] = "not_joined";
        sim().record.add(e);
        return;
    }
    if (!fb.central.empty()) {
        hostPortSplit(fb.central, &host, &port);
    } else {
        host = fb.joinHost;
        port = fb.joinPort;
    }
    if (port < 1 || !loopbackOnly(host, &why)) {
        e["outcome"] = "refused";
        e["reason"] = why.empty() ? "no port of the managing server" : why;
        sim().record.add(e);
        return;
    }
    e["central"] = host + ":" + std::to_string(port);

    httplib::SSLClient client(host, port);
    // Its certificate is its own, signed by nobody we know; redirects are
    // never followed, so the session goes nowhere else.
    client.enable_server_certificate_verification(false);
    client.set_follow_location(false);
    client.set_connection_timeout(5, 0);
    client.set_read_timeout(20, 0);
    httplib::Params form{{"api", "VURO.TARN.Policy"},
                         {"version", "1"},
                         {"method", "get"},
                         {"_sid", fb.sid},
                         {"set_versions", jsonText(fb.setVersions)}};
    httplib::Result res = client.Post(kEntryPath, form);
    if (!res) {
        e["outcome"] = "failed";
        e["reason"] = httplib::to_string(res.error());
        sim().record.add(e);
        return;
    }
    e["status"] = res->status;
    Json::Value answer;
    if (!jsonParse(res->body, &answer) || !answer.isObject()) {
        e["outcome"] = "not_json";
        sim().record.add(e);
        return;
    }
    if (isSuccess(answer)) {
        e["outcome"] = "ok";
        e["policy"] = answer["data"]["policy"];
        FetchBackState& st = state();
        std::lock_guard<std::mutex> lock(st.mu);
        st.of(index).received++;
    } else {
        e["outcome"] = "refused";
        e["answer"] = answer;
    }
    sim().record.add(e);
}

Json::Value describe(const Server& sv, const FetchBackServer& fb) {
    Json::Value v;
    v["sn"] = sv.sn;
    v["on"] = fb.on;
    v["set_versions"] = fb.setVersions;
    v["central"] = fb.central;
    v["joined"] = !fb.sid.empty();
    v["received"] = (Json::Int64)fb.received;
    return v;
}

/* Checks one setting of the control route or the command line; the
 * server's settings change only when all of them are sound. */
bool settingsApply(const Json::Value& set, FetchBackServer* pFb, std::string* pWhy) {
    FetchBackServer next = *pFb;
    for (const std::string& key : set.getMemberNames()) {
        const Json::Value& v = set[key];
        if (key == "on" && v.isBool()) {
            next.on = v.asBool();
        } else if (key == "set_versions" && v.isObject()) {
            for (const std::string& name : v.getMemberNames()) {
                if (!v[name].isIntegral() || v[name].asInt64() < 1) {
                    *pWhy = "set_versions wants positive versions";
                    return false;
                }
            }
            next.setVersions = v;
        } else if (key == "central" && v.isString()) {
            std::string host;
            int port = 0;
            if (!v.asString().empty() &&
                (!hostPortSplit(v.asString(), &host, &port) || !loopbackOnly(host, pWhy))) {
                if (pWhy->empty()) *pWhy = "central wants 127.0.0.1:PORT";
                return false;
            }
            next.central = v.asString();
        } else if (key != "server") {
            *pWhy = "unknown fetch_back setting " + key;
            return false;
        }
    }
    *pFb = next;
    return true;
}

/* GET: every server's settings and count. POST {"server": I|SN|"all",
 * "on", "set_versions", "central"}: changes them, then the same. */
void controlFetchBack(const httplib::Request& req, httplib::Response& res) {
    Sim& s = sim();
    FetchBackState& st = state();
    Json::Value body(Json::objectValue);
    if (req.method == "POST" && !req.body.empty() &&
        (!jsonParse(req.body, &body) || !body.isObject())) {
        return controlAnswer(res, false, "body is no JSON object");
    }
    std::lock_guard<std::mutex> lock(st.mu);
    if (req.method == "POST" && body.isMember("server")) {
        std::string key = body["server"].isIntegral() ? std::to_string(body["server"].asInt())
                                                      : body["server"].asString();
        std::vector<int> targets;
        if (key == "all") {
            for (const auto& sv : s.servers) targets.push_back(sv->index);
        } else if (Server* sv = s.find(key)) {
            targets.push_back(sv->index);
        } else {
            return controlAnswer(res, false, "no such server: " + key);
        }
        std::string why;
        FetchBackServer probe;
        if (!settingsApply(body, &probe, &why)) return controlAnswer(res, false, why);
        for (int i : targets) settingsApply(body, &st.of(i), &why);
    }
    Json::Value data(Json::objectValue);
    for (const auto& sv : s.servers) data[sv->sn] = describe(*sv, st.of(sv->index));
    controlAnswer(res, true, data);
}

}  // namespace

bool fetchBackDefaults(const Json::Value& set, std::string* pWhy) {
    FetchBackState& st = state();
    std::lock_guard<std::mutex> lock(st.mu);
    return settingsApply(set, &st.defaults, pWhy);
}

void fetchBackControlInstall(httplib::Server& control) {
    control.Get("/_sim/fetch_back", controlFetchBack);
    control.Post("/_sim/fetch_back", controlFetchBack);
}

void fetchBackOnCall(const Server& sv, const std::string& api, const std::string& method,
                     const Json::Value& params, const Json::Value& answer) {
    if (!isSuccess(answer)) return;
    FetchBackState& st = state();
    if (api == "VURO.Core.TARN" && method == "end_join" && params.isObject()) {
        // The session and the way back, as a joined server keeps them.
        std::lock_guard<std::mutex> lock(st.mu);
        FetchBackServer& fb = st.of(sv.index);
        fb.sid = params["access_token"].isString() ? params["access_token"].asString() : "";
        fb.joinHost = params["host"].isString() ? params["host"].asString() : "";
        fb.joinPort = params["https_port"].isIntegral() ? params["https_port"].asInt() : 0;
        return;
    }
    if (api != "VURO.Core.TARN.Policy" || method != "fetch") return;
    FetchBackServer fb;
    {
        std::lock_guard<std::mutex> lock(st.mu);
        fb = st.of(sv.index);
    }
    if (!fb.on) return;
    // The notice is answered first; the trip back runs beside it, as a
    // server's own fetch would.
    int index = sv.index;
    st.pool.enqueue([index, fb] { fetchBack(index, fb); });
}

}  // namespace peersim
