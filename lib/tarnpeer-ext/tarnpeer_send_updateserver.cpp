/* tarnpeer_send_updateserver.cpp - this server's connection info, collected
 * from the network stand-in, configuration keys and two local services
 * (dynamic DNS, relay) through the API runner, and its sending to managed
 * servers: all requests of one sending at once on one request manager, and
 * this server's own record updated locally when it manages itself. Nothing
 * here writes a row; only the relay refresh it falls back on does. */
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include <memory>
#include <string>

#include "tarnpeer-ext/tarnpeer_webapi_int.h"
#include "vuroapirunner.h"
#include "vurocore.h"
#include "vurojson.h"
#include "vuronetsdk.h"
#include "vurotarn_common.h"
#include "vurotarn_macro_util.h"
#include "vurotarnpeer_updateserver.h"
#include "vurow3.h"

namespace {

const char kInfoConf[] = "/etc/vuroinfo.conf";
const char kInfoDefaults[] = "/etc.defaults/vuroinfo.conf";
const char kServerInfoApi[] = "VURO.Core.TARN.ServerInfo";
const int kMaxInterfaces = 32;
const int kMaxV6PerInterface = 16;
const int kKeyBuf = 1024;
const int kResponseTimeoutS = 300;

/* The value of a configuration key; "" when it is not set. */
std::string confValue(const char* file, const char* key) {
    char buf[kKeyBuf];
    memset(buf, 0, sizeof(buf));
    if (QLIBCFileGetKeyValue(file, key, buf, sizeof(buf), 0) < 1 || buf[0] == '\0') return "";
    return buf;
}

bool answerSucceeded(const Json::Value& js) {
    return js.isObject() && js["success"].isBool() && js["success"].asBool();
}

/* The addresses of every active interface, the tunnel's and PPPoE's; < 1
 * when no interface is there at all. */
int GetIP(Json::Value& jsIP) {
    QLIB_NETIF list[kMaxInterfaces];
    memset(list, 0, sizeof(list));
    int count = QLIBNetGetInterfaceInfo(list, kMaxInterfaces, NIC_LOGICAL);
    bool ha = VUROHAIsRunning();
    jsIP = Json::Value(Json::arrayValue);
    if (count < 1) return count;
    for (int i = 0; i < count; i++) {
        const char* name = list[i].szName;
        QLIB_NETIF nif;
        NETINFO info;
        memset(&nif, 0, sizeof(nif));
        memset(&info, 0, sizeof(info));
        if (VURONetIFGetInfo(name, &nif, &info) < 0) {
            VUROTARN_LOG("VURONetIFGetInfo failed(%s)(%m)", name);
            continue;
        }
        if (!info.blActive) continue;
        if (ha) {
            // High availability publishes its own address for the interface,
            // and none of the node's IPv6 addresses.
            char related[kKeyBuf];
            memset(related, 0, sizeof(related));
            if (VUROHAGetRelatedIFInfo(name, related, sizeof(related), NULL, 0) == 0) {
                jsIP.append(related);
            }
            continue;
        }
        Json::Value v4 = info.blManual ? info.szIp : nif.szDes;
        // An interface without an IPv4 address gives no way in.
        if (!v4.asString().empty() &&
            vurojson::searchArrayIndex(jsIP, v4) == Json::Value::maxUInt) {
            jsIP.append(v4);
        }
        VURO_V6IP v6[kMaxV6PerInterface];
        int n6 = VUROLnxV6IPGet(name, v6, kMaxV6PerInterface);
        for (int k = 0; k < n6; k++) jsIP.append(v6[k].ipv6Addr);
    }
    VURO_V6IP tun;
    if (VUROLnxV6IPGet("tun", &tun, 1) == 1) jsIP.append(tun.ipv6Addr);
    if (VUROPPPoECheckStatus(1) == 1) {
        char ppp[kKeyBuf];
        memset(ppp, 0, sizeof(ppp));
        if (VUROPPPoeNetInfoGet(ppp, sizeof(ppp), NULL, 0) == 0 && ppp[0] != '\0') {
            jsIP.append(ppp);
        }
    }
    return count;
}

/* The host names of the dynamic DNS records; false (jsHost untouched) when
 * the platform has none or the service answered badly. */
bool GetDDNSRecord(Json::Value& jsHost) {
    if (!QLIBCFileCheckKeyValue(kInfoDefaults, "supportddns", "yes", 0)) return false;
    Json::Value jsResp;
    VURO::APIRunner::Exec(jsResp, "VURO.Core.DDNS.Record", 1, "list", Json::Value(), "admin");
    if (!answerSucceeded(jsResp)) return false;
    const Json::Value& records = jsResp["data"]["records"];
    if (!records.isArray()) return false;
    jsHost = Json::Value(Json::arrayValue);
    for (const Json::Value& rec : records) {
        if (rec.isObject() && rec.isMember("hostname") && !rec["hostname"].empty()) {
            jsHost.append(rec["hostname"]);
        }
    }
    return true;
}

/* alias.region.domain of the relay service; false when the portal is not
 * allowed or relaying is off. A permission answer that is itself broken
 * does not forbid: only a good answer without the portal does. */
bool GetRelayPathHost(Json::Value& jsHost) {
    Json::Value jsResp;
    VURO::APIRunner::Exec(jsResp, "VURO.Core.RelayPath.Permission", 1, "get", Json::Value(),
                          "admin");
    if (answerSucceeded(jsResp)) {
        const Json::Value& services = jsResp["data"]["services"];
        bool allowed = false;
        for (Json::ArrayIndex i = 0; services.isArray() && i < services.size() && !allowed; i++) {
            const Json::Value& s = services[i];
            allowed = s.isObject() && s["enabled"].isBool() && s["enabled"].asBool() &&
                      s["id"].isString() && s["id"].asString() == "kelp_portal";
        }
        if (!allowed) return false;
    }
    VURO::APIRunner::Exec(jsResp, "VURO.Core.RelayPath", 1, "get", Json::Value(), "admin");
    if (!answerSucceeded(jsResp)) return false;
    const Json::Value& data = jsResp["data"];
    if (!(data["enabled"].isBool() && data["enabled"].asBool()) ||
        !data["server_alias"].isString() || data["server_alias"].asString().empty()) {
        return false;
    }
    // A member of another kind reads as empty rather than ending the collection.
    auto text = [&](const char* key) {
        return data[key].isConvertibleTo(Json::stringValue) ? data[key].asString() : "";
    };
    jsHost = text("server_alias") + "." + text("region") + "." + text("domain");
    return true;
}

std::string GetSerialNumber() {
    char buf[40];
    memset(buf, 0, sizeof(buf));
    if (QLIBGetCustomSerialNumber(buf, 31) < 0 || buf[0] == '\0') {
        if (QLIBGetSerialNumber(buf, 36) < 0) {
            VUROTARN_LOG("Failed to get serial number from flash. " VUROTARN_ERRSTORE_FMT,
                         VUROTARN_ERRSTORE_ARGS);
        }
    }
    return buf;
}

/* The local update when this server manages itself; *id is its own record's
 * id then, else -1. */
bool UpdateTARNSelf(const Json::Value& jsParam, long* id) {
    *id = -1;
    if (!QLIBCFileCheckKeyValue(kInfoConf, "kelp_tarn_self_join", "yes", 0)) return true;
    std::string serial = GetSerialNumber();
    VURO_TARN_PEER self;
    if (VUROTARNPeerGetBySN(serial.c_str(), &self) < 0) return false;
    Json::Value jsResp;
    VURO::APIRunner::Exec(jsResp, kServerInfoApi, 1, "update", jsParam, "admin");
    if (!answerSucceeded(jsResp)) {
        VUROTARN_LOG("UpdateTARNSelf credential fail %s", vurojson::toString(jsResp).c_str());
        return false;
    }
    *id = self.id;
    return true;
}

/* An id of the caller's list; a member that is no integer names no peer,
 * and the request builder refuses it as it refuses any bad id. */
long long idOf(const Json::Value& v) { return v.isIntegral() ? v.asInt64() : -1; }

/* A request for one peer; one relay refresh when none can be built at
 * first (the peer may have moved). NULL leaves the peer out. */
VURO::CredRequest* peerRequestMake(long id, const Json::Value& jsParam) {
    VURO::CredRequest* req = VUROTARNPeerCreateWebapiByID(id, kServerInfoApi, 1, "update", jsParam);
    if (req != NULL) return req;
    if (VUROTARNPeerUpdateRelayPathByID(id) != 0) return NULL;
    return VUROTARNPeerCreateWebapiByID(id, kServerInfoApi, 1, "update", jsParam);
}

}  // namespace

bool VUROTARNPeerCollectConnectInfo(Json::Value& jsServer, const Json::Value& jsAssign) {
    jsServer = Json::Value();
    try {
        vurow3::KELP kelp(new vurow3::Engine());
        Json::Value jsHost;
        if (jsAssign.isObject() && jsAssign.isMember("host")) {
            const Json::Value& host = jsAssign["host"];
            if (host.isArray()) {
                jsHost = host;
            } else if (host.isString()) {
                jsHost.append(host);
            }
        } else if (GetIP(jsHost) < 1) {
            VUROTARN_LOG("GetIP failed, jsHost=%s", vurojson::toString(jsHost).c_str());
            return false;
        }
        int iHttp = 0, iHttps = 0;
        if (VUROTARNGetAdminPort(&iHttp, &iHttps) < 0) {
            VUROTARN_LOG("get admin port failed");
            return false;
        }
        Json::Value result(Json::arrayValue);
        Json::Value jsConn(Json::objectValue);
        auto assignedPort = [&](const char* key, int local) {
            return jsAssign.isObject() && jsAssign[key].isInt() ? jsAssign[key].asInt() : local;
        };
        int localHttp = assignedPort("http_port", kelp.GetHttpPort());
        int localHttps = assignedPort("https_port", kelp.GetHttpsPort());
        jsConn["http_port"] = localHttp;
        jsConn["https_port"] = localHttps;
        for (Json::ArrayIndex i = 0; jsHost.isArray() && i < jsHost.size(); i++) {
            if (jsHost[i].isString() && !jsHost[i].empty()) {
                jsConn["host"] = jsHost[i];
                result.append(jsConn);
            }
        }

        // From here on the ports are the ones seen from outside.
        std::string extHttp = confValue(kInfoConf, "external_port_kelp_http");
        std::string extHttps = confValue(kInfoConf, "external_port_kelp_https");
        jsConn["http_port"] = extHttp.empty() ? localHttp : (int)strtol(extHttp.c_str(), NULL, 10);
        jsConn["https_port"] =
            extHttps.empty() ? localHttps : (int)strtol(extHttps.c_str(), NULL, 10);
        std::string extHost = confValue(kInfoConf, "external_host_ip");
        if (!extHost.empty()) {
            jsConn["host"] = extHost;
            result.append(jsConn);
        }
        if (GetDDNSRecord(jsHost)) {
            for (const Json::Value& name : jsHost) {
                jsConn["host"] = name;
                result.append(jsConn);
            }
        }
        Json::Value relayHost;
        if (GetRelayPathHost(relayHost)) {
            jsConn["host"] = relayHost;
            jsConn["relay_path_direct"] = true;
            jsConn["http_port"] = 0;
            jsConn["https_port"] = 443;
            result.append(jsConn);
        }
        jsServer = result;
        VUROTARN_LOG("VUROTARNPeerCollectConnectInfo, jsServer=%s",
                     vurojson::toString(jsServer).c_str());
        return true;
    } catch (...) {
        jsServer = Json::Value();
        return false;
    }
}

int VUROTARNPeerSendUpdateServer(const Json::Value& jsId, const Json::Value& jsServer) {
    try {
        Json::Value ids(Json::arrayValue);
        // Only a signed integer names one id: jsoncpp types a number past
        // the signed range, or written unsigned, as uintValue.
        if (jsId.type() == Json::intValue) {
            ids.append(jsId);
        } else if (jsId.type() == Json::arrayValue) {
            ids = jsId;
        } else {
            VUROTARN_LOG("id is invalid %s", vurojson::toString(jsId).c_str());
            return -1;
        }
        if (ids.empty()) {
            VUROTARN_LOG("no id is assigned");
            return -1;
        }
        Json::Value jsParam(Json::objectValue);
        if (!VUROTARNPeerCollectConnectInfo(jsParam["conn_info"], jsServer)) {
            VUROTARN_LOG("VUROTARNPeerCollectConnectInfo fail[%s]",
                         vurojson::toString(jsParam).c_str());
            return -1;
        }
        long selfId = -1;
        UpdateTARNSelf(jsParam, &selfId);

        VURO::CredRequestMgr mgr;
        int added = 0;
        for (const Json::Value& v : ids) {
            long long id = idOf(v);
            if (id == selfId) continue;
            std::unique_ptr<VURO::CredRequest> req(peerRequestMake((long)id, jsParam));
            if (!req) continue;
            req->SetResponseTimeout(kResponseTimeoutS);
            if (!mgr.AddCredRequest(req.get())) continue;
            req.release();
            added++;
        }
        if (added > 0) {
            VUROTARN_LOG("send new TARN server credentail to %d client", added);
        }
        if (!mgr.Run()) {
            VUROTARN_LOG("Request send fail [%d]", mgr.GetError());
            return -1;
        }
        int result = 0;
        for (size_t i = 0; i < mgr.Size(); i++) {
            std::string text = mgr.GetResponse(i);
            Json::Value answer;
            if (!vurojson::fromString(answer, text) || !answerSucceeded(answer)) {
                // Named by the answer's position in the caller's list, which
                // is where operators look it up.
                VUROTARN_LOG("Client %lld response is invalid %s", idOf(ids[(Json::ArrayIndex)i]),
                             text.c_str());
                result = -1;
            }
        }
        return result;
    } catch (...) {
        return -1;
    }
}
