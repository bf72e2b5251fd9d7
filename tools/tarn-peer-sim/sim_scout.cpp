/* sim_scout.cpp - the simulated servers on the LAN: a discovery responder
 * (--scout) that answers a scan's request from each awake server, once per
 * interface, in the datagram format of libscout, and a wake listener
 * (--wol) that takes wake packets. A sleeping server does not answer; a
 * wake packet for one of its MACs makes it boot, and it answers as booting
 * once and as ready from then on. Both listen on 127.0.0.1 only, and the
 * root's scout.conf and wol.conf are pointed at them. */
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <httplib.h>

#include <chrono>
#include <thread>

#include "scout.h"
#include "sim.h"
#include "vurocore.h"
#include "vurofs.h"

namespace peersim {

namespace {

const char kWolConf[] = "/etc/vuro/wol.conf";
// Answers go out in small bursts, so a receiver draining its socket keeps
// up with a few hundred servers.
const int kBurst = 16;
const auto kBurstPause = std::chrono::microseconds(1500);

enum class Power { Sleeping, Booting, Ready };

struct ScoutState {
    Power power = Power::Ready;
    int interfaces = 1;
    long long configured = -1;  // -1: as the power state says
    u_int32_t packetType = SCOUT_PKT_ANSWER;
    std::string serial;    // "" : the server's own
    bool garbage = false;  // a datagram that does not parse goes first
};

std::mutex gMu;  // guards gStates
std::vector<ScoutState> gStates;
int gScoutFd = -1, gWolFd = -1;
int gScoutPort = 0, gWolPort = 0;

const char* powerName(Power p) {
    return p == Power::Sleeping ? "sleeping" : p == Power::Booting ? "booting" : "ready";
}

/* The MAC of a server's interface k: locally administered, unique. */
std::string macOf(int index, int k) {
    char text[18];
    snprintf(text, sizeof(text), "02:53:49:%02X:%02X:%02X", k & 0xFF, (index + 1) >> 8 & 0xFF,
             (index + 1) & 0xFF);
    return text;
}

int udpLoopback(int* pPort, std::string* pWhy) {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in a = {};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    if (fd < 0 || bind(fd, (struct sockaddr*)&a, sizeof(a)) != 0 ||
        getsockname(fd, (struct sockaddr*)&a, &len) != 0) {
        *pWhy = std::string("udp listener: ") + strerror(errno);
        if (fd >= 0) close(fd);
        return -1;
    }
    *pPort = ntohs(a.sin_port);
    return fd;
}

bool hasPktId(const SCOUTPACKET& req, u_int32_t id) {
    for (int i = 0; i < req.cPktID; i++) {
        if (req.rgPktID[i] == id) return true;
    }
    return false;
}

/* Answers one request from every awake server; the number sent. */
int scoutAnswer(const SCOUTPACKET& req, const struct sockaddr_in& to) {
    Sim& s = sim();
    std::vector<std::pair<SCOUTPACKET, bool>> out;  // answer, garbage first
    {
        std::lock_guard<std::mutex> lock(gMu);
        for (size_t i = 0; i < s.servers.size(); i++) {
            ScoutState& st = gStates[i];
            if (st.power == Power::Sleeping) continue;
            const Server& sv = *s.servers[i];
            u_int32_t configured = st.configured >= 0           ? (u_int32_t)st.configured
                                   : st.power == Power::Booting ? SCOUT_STATE_BOOTING
                                                                : SCOUT_STATE_READY;
            for (int k = 0; k < st.interfaces; k++) {
                SCOUTPACKET a;
                memset(&a, 0, sizeof(a));
                NASINFO& n = a.info;
                snprintf(n.szMac, sizeof(n.szMac), "%s", macOf((int)i, k).c_str());
                snprintf(n.szNewSerial, sizeof(n.szNewSerial), "%s",
                         st.serial.empty() ? sv.sn.c_str() : st.serial.c_str());
                snprintf(n.szIP, sizeof(n.szIP), "127.0.0.1");
                n.ulPacketType = st.packetType;
                n.ulScoutVersion = 0x1020000;
                // The optional fields only when the request asked for them.
                if (hasPktId(req, SCOUT_FIELD_CONFIGURED)) n.ulConfigured = configured;
                if (hasPktId(req, SCOUT_FIELD_SERVER_NAME)) {
                    snprintf(n.szServerName, sizeof(n.szServerName), "%s", sv.hostname.c_str());
                }
                if (hasPktId(req, SCOUT_FIELD_MODEL)) {
                    snprintf(n.szModel, sizeof(n.szModel), "%s", sv.model.c_str());
                }
                out.push_back({a, st.garbage && k == 0});
            }
            // Booting is what one scan sees; the next finds it ready.
            if (st.power == Power::Booting) st.power = Power::Ready;
        }
    }
    int sent = 0;
    unsigned char buf[SCOUT_MAX_DATAGRAM];
    for (size_t i = 0; i < out.size(); i++) {
        if (i > 0 && i % kBurst == 0) std::this_thread::sleep_for(kBurstPause);
        if (out[i].second) {
            static const char kJunk[] = "VSCT\x01\x00\x00\x05junk";
            sendto(gScoutFd, kJunk, sizeof(kJunk) - 1, 0, (const struct sockaddr*)&to, sizeof(to));
        }
        int len = SCOUTPacketBuild(&out[i].first, buf, sizeof(buf));
        if (len > 0 &&
            sendto(gScoutFd, buf, (size_t)len, 0, (const struct sockaddr*)&to, sizeof(to)) == len) {
            sent++;
        }
    }
    return sent;
}

void scoutLoop() {
    unsigned char buf[SCOUT_MAX_DATAGRAM + 1];
    for (;;) {
        struct sockaddr_in from = {};
        socklen_t len = sizeof(from);
        ssize_t n = recvfrom(gScoutFd, buf, sizeof(buf), 0, (struct sockaddr*)&from, &len);
        if (n < 0) {
            if (errno == EINTR) continue;
            return;
        }
        SCOUTPACKET req;
        Json::Value e;
        e["kind"] = "scout";
        e["from_port"] = ntohs(from.sin_port);
        bool ok = SCOUTPacketParse(buf, (size_t)n, &req) == 0 &&
                  req.info.ulPacketType == SCOUT_PKT_REQUEST;
        if (!ok) {
            e["outcome"] = "ignored";
            sim().record.add(e);
            continue;
        }
        Json::Value& ids = e["pkt_ids"] = Json::arrayValue;
        for (int i = 0; i < req.cPktID; i++) ids.append(req.rgPktID[i]);
        e["scout_version"] = req.info.ulScoutVersion;
        e["expire_time"] = req.info.ulExpireTime;
        long long seq = sim().record.add(e);
        // Answered beside the loop, so a second scan is heard meanwhile.
        std::thread([req, from, seq] {
            int sent = scoutAnswer(req, from);
            sim().record.update(seq, "answers", sent);
            sim().record.update(seq, "outcome", "answered");
        }).detach();
    }
}

void wolLoop() {
    unsigned char buf[512];
    for (;;) {
        ssize_t n = recv(gWolFd, buf, sizeof(buf), 0);
        if (n < 0) {
            if (errno == EINTR) continue;
            return;
        }
        Json::Value e;
        e["kind"] = "wol";
        e["bytes"] = (int)n;
        bool valid = n == 102;
        for (int i = 0; valid && i < 6; i++) valid = buf[i] == 0xFF;
        for (int i = 1; valid && i < 16; i++) valid = memcmp(buf + 6, buf + 6 + i * 6, 6) == 0;
        e["valid"] = valid;
        if (valid) {
            char mac[18];
            snprintf(mac, sizeof(mac), "%02X:%02X:%02X:%02X:%02X:%02X", buf[6], buf[7], buf[8],
                     buf[9], buf[10], buf[11]);
            e["mac"] = mac;
            e["server"] = -1;
            std::lock_guard<std::mutex> lock(gMu);
            for (size_t i = 0; i < gStates.size(); i++) {
                for (int k = 0; k < gStates[i].interfaces; k++) {
                    if (macOf((int)i, k) != mac) continue;
                    e["server"] = (int)i;
                    e["was"] = powerName(gStates[i].power);
                    if (gStates[i].power == Power::Sleeping) gStates[i].power = Power::Booting;
                }
            }
        }
        sim().record.add(e);
    }
}

Json::Value stateJson(size_t i) {
    const ScoutState& st = gStates[i];
    Json::Value v;
    v["state"] = powerName(st.power);
    v["interfaces"] = st.interfaces;
    v["configured"] = (Json::Int64)st.configured;
    v["packet_type"] = st.packetType;
    v["serial"] = st.serial;
    v["garbage"] = st.garbage;
    Json::Value& macs = v["macs"] = Json::arrayValue;
    for (int k = 0; k < st.interfaces; k++) macs.append(macOf((int)i, k));
    return v;
}

/* Applies the members of js to st; false with *pWhy (st untouched). */
bool stateMerge(const Json::Value& js, ScoutState* pState, std::string* pWhy) {
    ScoutState next = *pState;
    for (const std::string& key : js.getMemberNames()) {
        const Json::Value& v = js[key];
        if (key == "state" && v.isString() &&
            (v.asString() == "sleeping" || v.asString() == "booting" || v.asString() == "ready")) {
            next.power = v.asString() == "sleeping"  ? Power::Sleeping
                         : v.asString() == "booting" ? Power::Booting
                                                     : Power::Ready;
        } else if (key == "interfaces" && v.isIntegral() && v.asInt() >= 1 && v.asInt() <= 4) {
            next.interfaces = v.asInt();
        } else if (key == "configured" && v.isIntegral() && v.asInt64() >= -1 &&
                   v.asInt64() <= 0xFFFFFFFFLL) {
            next.configured = v.asInt64();
        } else if (key == "packet_type" && v.isIntegral() && v.asInt64() >= 0 &&
                   v.asInt64() <= 0xFFFFFFFFLL) {
            next.packetType = (u_int32_t)v.asInt64();
        } else if (key == "serial" && v.isString() && v.asString().size() < 64) {
            next.serial = v.asString();
        } else if (key == "garbage" && v.isBool()) {
            next.garbage = v.asBool();
        } else {
            *pWhy = "bad scout setting " + key;
            return false;
        }
    }
    *pState = next;
    return true;
}

void controlScout(const httplib::Request& req, httplib::Response& res) {
    Json::Value body, answer;
    std::string why;
    if (!jsonParse(req.body.empty() ? "{}" : req.body, &body) || !body.isObject()) {
        why = "body is no JSON object";
        body = Json::objectValue;
    }
    Sim& s = sim();
    std::string key = body["server"].isIntegral() ? std::to_string(body["server"].asInt())
                                                  : body["server"].asString();
    std::vector<size_t> targets;
    if (why.empty() && key == "all") {
        for (size_t i = 0; i < s.servers.size(); i++) targets.push_back(i);
    } else if (why.empty()) {
        Server* sv = s.find(key);
        if (sv == nullptr) why = "no such server: " + key;
        if (sv != nullptr) targets.push_back((size_t)sv->index);
    }
    const Json::Value& set = body["set"];
    if (why.empty() && !set.isNull() && !set.isObject()) why = "set is no object";
    if (why.empty()) {
        std::lock_guard<std::mutex> lock(gMu);
        // Checked on a copy first, so a typo changes no server at all.
        ScoutState probe;
        if (!set.isObject() || stateMerge(set, &probe, &why)) {
            answer["success"] = true;
            for (size_t i : targets) {
                if (set.isObject()) stateMerge(set, &gStates[i], &why);
                answer["data"][std::to_string(i)] = stateJson(i);
            }
        }
    }
    if (!why.empty()) {
        answer = Json::Value();
        answer["success"] = false;
        answer["error"]["code"] = 101;
        answer["error"]["reason"] = why;
        res.status = 400;
    }
    res.set_content(jsonText(answer), "application/json");
}

}  // namespace

bool scoutStart(bool scout, bool wol, std::string* pWhy) {
    Sim& s = sim();
    gStates.assign(s.servers.size(), ScoutState());
    if (!scout && !wol) return true;
    VUROFSMkdirP("/etc/vuro", nullptr, TRUE, UID_ERR, GID_ERR, 0755);
    if (scout) {
        gScoutFd = udpLoopback(&gScoutPort, pWhy);
        if (gScoutFd < 0) return false;
        char current[32] = "";
        bool portSet =
            QLIBCFileGetKeyValue(SCOUT_CONF_PATH, "recv_port", current, sizeof(current), 0) > 0;
        // The scan listens on loopback, on a free port unless told one.
        if (QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "send_ip", "127.0.0.1", 0) != 0 ||
            QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "send_port", std::to_string(gScoutPort).c_str(),
                                 0) != 0 ||
            QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "recv_ip", "127.0.0.1", 0) != 0 ||
            (!portSet && QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "recv_port", "0", 0) != 0)) {
            *pWhy = std::string("cannot write ") + SCOUT_CONF_PATH;
            return false;
        }
        std::thread(scoutLoop).detach();
    }
    if (wol) {
        gWolFd = udpLoopback(&gWolPort, pWhy);
        if (gWolFd < 0) return false;
        std::string dest = "127.0.0.1:" + std::to_string(gWolPort);
        if (QLIBCFileSetKeyValue(kWolConf, "dest", dest.c_str(), 0) != 0) {
            *pWhy = std::string("cannot write ") + kWolConf;
            return false;
        }
        std::thread(wolLoop).detach();
    }
    return true;
}

void scoutDescribe(Json::Value& ready) {
    ready["scout_port"] = gScoutPort;
    ready["wol_port"] = gWolPort;
}

void scoutFleetEntry(const Server& sv, Json::Value& e) {
    if (gScoutFd < 0 && gWolFd < 0) return;
    std::lock_guard<std::mutex> lock(gMu);
    e["macs"] = stateJson((size_t)sv.index)["macs"];
}

void scoutControlInstall(httplib::Server& control) { control.Post("/_sim/scout", controlScout); }

}  // namespace peersim
