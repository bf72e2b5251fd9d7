/* netinfo.cpp - the addresses this server publishes: each interface's
 * records, its IPv6 addresses and the tunnel's, high availability and
 * PPPoE. All of it comes from the one network reader of netconfig.cpp. */
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "vuronetsdk.h"

namespace {

void textCopy(char* dst, size_t cb, const std::string& src) {
    snprintf(dst, cb, "%s", src.c_str());
}

/* Copies text into a caller's buffer; -1 when it is empty or does not fit. */
int bufferFill(char* szBuf, int cbBuf, const std::string& text) {
    if (text.empty() || text.size() >= static_cast<size_t>(cbBuf)) return -1;
    memcpy(szBuf, text.c_str(), text.size() + 1);
    return 0;
}

}  // namespace

int QLIBNetGetInterfaceInfo(PQLIB_NETIF pList, int cMax, int flag) {
    if (flag != NIC_LOGICAL) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        return -1;
    }
    // Every interface here is a logical one: the plain list is the answer.
    return QLIBNetInterfaceEnum(pList, cMax, 0);
}

int VURONetIFGetInfo(const char* szName, PQLIB_NETIF pIf, PNETINFO pInfo) {
    if (szName == NULL || pIf == NULL || pInfo == NULL) {
        errno = EINVAL;
        return -1;
    }
    VURONetConfig cfg;
    if (!VURONetConfigRead(cfg)) {
        errno = EIO;
        return -1;
    }
    for (const VURONetInterface& nif : cfg.interfaces) {
        if (nif.name != szName) continue;
        if (nif.unreadable) {
            errno = EIO;
            return -1;
        }
        memset(pIf, 0, sizeof(*pIf));
        memset(pInfo, 0, sizeof(*pInfo));
        textCopy(pIf->szName, sizeof(pIf->szName), nif.name);
        textCopy(pIf->szDes, sizeof(pIf->szDes), nif.dhcpIp);
        textCopy(pIf->szMac, sizeof(pIf->szMac), nif.mac);
        pIf->blActive = nif.active ? 1 : 0;
        textCopy(pInfo->szIp, sizeof(pInfo->szIp), nif.ip);
        pInfo->blActive = nif.active ? 1 : 0;
        pInfo->blManual = nif.manual ? 1 : 0;
        return 0;
    }
    errno = ENODEV;
    return -1;
}

int VUROLnxV6IPGet(const char* szName, PVURO_V6IP pList, int cMax) {
    if (szName == NULL || pList == NULL || cMax <= 0) return -1;
    VURONetConfig cfg;
    if (!VURONetConfigRead(cfg)) return 0;
    std::vector<std::string> found;
    if (strcmp(szName, "tun") == 0) {
        if (!cfg.tun.empty()) found.push_back(cfg.tun);
    } else {
        for (const VURONetInterface& nif : cfg.interfaces) {
            if (nif.name == szName) found = nif.ipv6;
        }
    }
    int n = 0;
    for (const std::string& addr : found) {
        if (n == cMax) break;
        memset(&pList[n], 0, sizeof(pList[n]));
        textCopy(pList[n].ipv6Addr, sizeof(pList[n].ipv6Addr), addr);
        n++;
    }
    return n;
}

BOOL VUROHAIsRunning(void) {
    VURONetConfig cfg;
    return VURONetConfigRead(cfg) && cfg.haRunning ? TRUE : FALSE;
}

int VUROHAGetRelatedIFInfo(const char* szName, char* szBuf, int cbBuf, void* pReserved, int flags) {
    if (szName == NULL || szBuf == NULL || cbBuf <= 0 || pReserved != NULL || flags != 0) {
        return -1;
    }
    VURONetConfig cfg;
    if (!VURONetConfigRead(cfg) || !cfg.haRunning) return -1;
    auto it = cfg.haRelated.find(szName);
    return it == cfg.haRelated.end() ? -1 : bufferFill(szBuf, cbBuf, it->second);
}

int VUROPPPoECheckStatus(int flag) {
    if (flag != 1) return 0;
    VURONetConfig cfg;
    return VURONetConfigRead(cfg) && cfg.pppoeUp ? 1 : 0;
}

int VUROPPPoeNetInfoGet(char* szBuf, int cbBuf, void* pReserved, int flags) {
    if (szBuf == NULL || cbBuf <= 0 || pReserved != NULL || flags != 0) return -1;
    VURONetConfig cfg;
    if (!VURONetConfigRead(cfg) || !cfg.pppoeUp) return -1;
    return bufferFill(szBuf, cbBuf, cfg.pppoeIp);
}
