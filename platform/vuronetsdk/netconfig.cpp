/* netconfig.cpp - the one reader of this server's network: network.json
 * under the system root when present, else the live interfaces minus
 * loopback; and the interface list built on it. */
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "vurojson.h"
#include "vuronetsdk.h"

namespace {

std::string textMember(const Json::Value& js, const char* key) {
    const Json::Value& v = js[key];
    return v.isString() ? v.asString() : std::string();
}

bool boolMember(const Json::Value& js, const char* key) {
    const Json::Value& v = js[key];
    return v.isBool() && v.asBool();
}

bool configFromJson(const Json::Value& js, VURONetConfig& cfg) {
    if (!js.isObject()) {
        return false;
    }
    cfg.fromFile = true;
    const Json::Value& ifs = js["interfaces"];
    for (Json::ArrayIndex i = 0; ifs.isArray() && i < ifs.size(); i++) {
        const Json::Value& j = ifs[i];
        if (!j.isObject() || textMember(j, "name").empty()) {
            continue;
        }
        VURONetInterface nif;
        nif.name = textMember(j, "name");
        nif.active = boolMember(j, "active");
        nif.manual = boolMember(j, "manual");
        nif.ip = textMember(j, "ip");
        nif.dhcpIp = textMember(j, "dhcp_ip");
        nif.mac = textMember(j, "mac");
        nif.unreadable = boolMember(j, "unreadable");
        const Json::Value& v6 = j["ipv6"];
        for (Json::ArrayIndex k = 0; v6.isArray() && k < v6.size(); k++) {
            if (v6[k].isString()) {
                nif.ipv6.push_back(v6[k].asString());
            }
        }
        cfg.interfaces.push_back(nif);
    }
    cfg.tun = textMember(js, "tun");
    const Json::Value& ha = js["ha"];
    if (ha.isObject()) {
        cfg.haRunning = boolMember(ha, "running");
        const Json::Value& rel = ha["related"];
        if (rel.isObject()) {
            for (const std::string& name : rel.getMemberNames()) {
                if (rel[name].isString()) {
                    cfg.haRelated[name] = rel[name].asString();
                }
            }
        }
    }
    const Json::Value& ppp = js["pppoe"];
    if (ppp.isObject()) {
        cfg.pppoeUp = boolMember(ppp, "up");
        cfg.pppoeIp = textMember(ppp, "ip");
    }
    return true;
}

struct IfaddrsFree {
    void operator()(struct ifaddrs* p) const { freeifaddrs(p); }
};

VURONetInterface& interfaceByName(VURONetConfig& cfg, const std::string& name) {
    for (VURONetInterface& nif : cfg.interfaces) {
        if (nif.name == name) {
            return nif;
        }
    }
    cfg.interfaces.push_back(VURONetInterface());
    cfg.interfaces.back().name = name;
    return cfg.interfaces.back();
}

bool configFromSystem(VURONetConfig& cfg) {
    struct ifaddrs* raw = NULL;
    if (getifaddrs(&raw) != 0) {
        return false;
    }
    std::unique_ptr<struct ifaddrs, IfaddrsFree> list(raw);
    for (struct ifaddrs* a = raw; a != NULL; a = a->ifa_next) {
        if (a->ifa_name == NULL || (a->ifa_flags & IFF_LOOPBACK)) {
            continue;
        }
        VURONetInterface& nif = interfaceByName(cfg, a->ifa_name);
        nif.active = (a->ifa_flags & IFF_UP) && (a->ifa_flags & IFF_RUNNING);
        if (a->ifa_addr == NULL) {
            continue;
        }
        char text[INET6_ADDRSTRLEN] = {0};
        if (a->ifa_addr->sa_family == AF_INET && nif.dhcpIp.empty()) {
            inet_ntop(AF_INET, &((struct sockaddr_in*)a->ifa_addr)->sin_addr, text, sizeof(text));
            nif.dhcpIp = text;
        } else if (a->ifa_addr->sa_family == AF_INET6) {
            inet_ntop(AF_INET6, &((struct sockaddr_in6*)a->ifa_addr)->sin6_addr, text,
                      sizeof(text));
            nif.ipv6.push_back(text);
        } else if (a->ifa_addr->sa_family == AF_PACKET) {
            const struct sockaddr_ll* ll = (const struct sockaddr_ll*)a->ifa_addr;
            if (ll->sll_halen == 6) {
                snprintf(text, sizeof(text), "%02X:%02X:%02X:%02X:%02X:%02X", ll->sll_addr[0],
                         ll->sll_addr[1], ll->sll_addr[2], ll->sll_addr[3], ll->sll_addr[4],
                         ll->sll_addr[5]);
                nif.mac = text;
            }
        }
    }
    return true;
}

void textCopy(char* dst, size_t cb, const std::string& src) {
    snprintf(dst, cb, "%s", src.c_str());
}

}  // namespace

bool VURONetConfigRead(VURONetConfig& cfg) {
    cfg = VURONetConfig();
    try {
        std::string path = VUROSysPathStr(VURONET_CONF_PATH);
        struct stat st;
        if (stat(path.c_str(), &st) == 0) {
            Json::Value js;
            if (!vurojson::fromFile(js, VURONET_CONF_PATH) || !configFromJson(js, cfg)) {
                cfg = VURONetConfig();
                return false;
            }
            return true;
        }
        if (!configFromSystem(cfg)) {
            cfg = VURONetConfig();
            return false;
        }
        return true;
    } catch (...) {
        cfg = VURONetConfig();
        return false;
    }
}

int QLIBNetInterfaceEnum(PQLIB_NETIF pList, int cMax, int flag) {
    if (pList == NULL || cMax <= 0 || flag != 0) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        return -1;
    }
    VURONetConfig cfg;
    if (!VURONetConfigRead(cfg)) {
        QLIBCErrSetEx(ERR_OPEN_FAILED, __FILE__, __LINE__);
        return -1;
    }
    int n = 0;
    for (const VURONetInterface& nif : cfg.interfaces) {
        if (n == cMax) {
            break;
        }
        PQLIB_NETIF rec = &pList[n++];
        memset(rec, 0, sizeof(*rec));
        textCopy(rec->szName, sizeof(rec->szName), nif.name);
        textCopy(rec->szDes, sizeof(rec->szDes), nif.dhcpIp);
        textCopy(rec->szMac, sizeof(rec->szMac), nif.mac);
        rec->blActive = nif.active ? 1 : 0;
    }
    return n;
}
