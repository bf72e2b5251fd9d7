/* tarnpeer_wakeup.cpp - wake on LAN: a MAC address in either usual form
 * handed to the platform's wake tool once per interface, and the MACs of a
 * peer taken from the network information it last reported. */
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

#include <memory>

#include <vuronetsdk.h>

#include "tarnpeer-ext/tarnpeer_wakeup_int.h"

#include "vurojson.h"
#include "vurotarn_macro_util.h"
#include "vurotarninfo.h"
#include "vurotarnpeer_scout.h"

namespace {

const int kMaxInterfaces = 32;

struct FreeDeleter {
    void operator()(void* p) const { free(p); }
};

/* The groups read before the first that is no byte: %X takes a sign, and
 * "-1" reads as 0xFFFFFFFF, which would format to more than the 17
 * characters the wake tool takes. */
int groupsFitting(const unsigned int mac[6], int n) {
    for (int i = 0; i < n; i++) {
        if (mac[i] > 0xFF) return i;
    }
    return n;
}

}  // namespace

int VUROTARNPeerMacParse(unsigned int mac[6], const char* szMac) {
    int n = groupsFitting(mac, sscanf(szMac, "%2X-%2X-%2X-%2X-%2X-%2X", &mac[0], &mac[1], &mac[2],
                                      &mac[3], &mac[4], &mac[5]));
    if (n == 6) return 6;
    if (groupsFitting(mac, sscanf(szMac, "%2x:%2x:%2x:%2x:%2x:%2x", &mac[0], &mac[1], &mac[2],
                                  &mac[3], &mac[4], &mac[5])) == 6) {
        return 6;
    }
    return n;
}

int VUROTARNPeerWakeOnLan(const char* szMac) {
    if (szMac == NULL) {
        VUROTARN_TRACE_LOCATED_COND(NULL == szMac);
        VUROTARN_LOG("Failed to parse mac address [%s]", "(null)");
        return -1;
    }
    unsigned int mac[6] = {0};
    int n = VUROTARNPeerMacParse(mac, szMac);
    if (n != 6) {
        VUROTARN_LOG("size= %d", n);
        VUROTARN_LOG("Failed to parse mac address [%s]", szMac);
        return -1;
    }
    std::unique_ptr<QLIB_NETIF, FreeDeleter> records(
        (PQLIB_NETIF)calloc(kMaxInterfaces, sizeof(QLIB_NETIF)));
    if (!records) {
        VUROTARN_LOG("malloc fail");
        return -1;
    }
    int cIf = QLIBNetInterfaceEnum(records.get(), kMaxInterfaces, 0);
    if (cIf < 1) {
        VUROTARN_LOG("Failed to enum interface");
        return -1;
    }
    char szText[18];
    snprintf(szText, sizeof(szText), "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2],
             mac[3], mac[4], mac[5]);
    for (int i = 0; i < cIf; i++) {
        char* szName = records.get()[i].szName;
        int ret;
        {
            VUROTARN_PRIV_SCOPE();
            // A link the installer put there: run, never written through.
            std::string tool = VUROSysPathStr(VUROTARN_WAKE_TOOL, VURO_SYSPATH_NOFOLLOW);
            char* const argv[] = {(char*)tool.c_str(), (char*)"--wake", szText, szName, NULL};
            ret = QLIBCExec(tool.c_str(), argv);
        }
        // One interface that could not send is no reason to skip the next.
        if (ret < 0) VUROTARN_LOG("wake on lan failed, mac=%s, if=%s", szText, szName);
    }
    return 0;
}

int VUROTARNPeerWakeOnLanByID(long id) {
    VURO_TARN_INFO info;
    if (VUROTARNInfoGetByPEER((unsigned long long)id, &info) != 0) {
        VUROTARN_LOG("Failed to get info for peer=[%ld]", id);
        return -1;
    }
    Json::Value jNetwork;
    if (!vurojson::fromString(jNetwork, info.str_network)) {
        VUROTARN_LOG("Failed to parse network info.");
        return -1;
    }
    if (!jNetwork.isObject() || !jNetwork.isMember("nif") || !jNetwork["nif"].isArray()) {
        VUROTARN_LOG("No nif in network info.");
        return -1;
    }
    for (const Json::Value& nif : jNetwork["nif"]) {
        if (!nif.isObject() || !nif.isMember("mac")) continue;
        const Json::Value& mac = nif["mac"];
        // A MAC that is no text is what a broken report leaves: its text
        // form fails the parse and is logged there.
        VUROTARNPeerWakeOnLan(mac.isString() ? mac.asString().c_str()
                                             : vurojson::toString(mac).c_str());
    }
    return 0;
}
