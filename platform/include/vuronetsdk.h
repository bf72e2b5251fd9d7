/* vuronetsdk.h - the network stand-in: this server's interfaces. The whole
 * network comes from /etc/vuro/network.json under the system root when it
 * exists (tests and the demo publish documentation addresses only), else
 * from getifaddrs without loopback, with no HA and no PPPoE. */
#ifndef VURONETSDK_H
#define VURONETSDK_H

#include "vurocore.h"

#define VURONET_CONF_PATH "/etc/vuro/network.json"

#ifdef __cplusplus
extern "C" {
#endif

/* One interface of the system. */
typedef struct _tag_QLIB_NETIF {
    char szName[64]; /* interface name, such as "eth0" */
    char szDes[64];  /* its IPv4 address as the system sees it, "" for none */
    char szMac[32];  /* "AA:BB:CC:DD:EE:FF", "" when unknown */
    int blActive;    /* up and running */
} QLIB_NETIF, *PQLIB_NETIF;

/* Fills at most cMax records with the interfaces, loopback left out; their
 * number, or -1 (error store set) when the list cannot be read. flag must
 * be 0. */
VURO_EXPORT int QLIBNetInterfaceEnum(PQLIB_NETIF pList, int cMax, int flag);

/* ---- addresses of this server, for publishing how it is reached ---- */

/* The flag of QLIBNetGetInterfaceInfo: the logical interfaces (all there
 * are here). */
#define NIC_LOGICAL 1

/* What an interface is configured with. */
typedef struct _tag_NETINFO_ {
    char szIp[64]; /* the fixed address, "" when it takes one from DHCP */
    int blActive;  /* up and running */
    int blManual;  /* szIp counts; else the interface record's szDes */
} NETINFO, *PNETINFO;

/* One IPv6 address of an interface. */
typedef struct _tag_VURO_V6IP_ {
    char ipv6Addr[64];
} VURO_V6IP, *PVURO_V6IP;

/* As QLIBNetInterfaceEnum, inactive and unreadable interfaces included;
 * flag must be NIC_LOGICAL. */
VURO_EXPORT int QLIBNetGetInterfaceInfo(PQLIB_NETIF pList, int cMax, int flag);
/* Both records of the interface szName; -1 with errno (ENODEV: no such
 * interface, EIO: its details cannot be read) and nothing filled. */
VURO_EXPORT int VURONetIFGetInfo(const char* szName, PQLIB_NETIF pIf, PNETINFO pInfo);
/* At most cMax IPv6 addresses of szName ("tun": the tunnel); their number,
 * 0 for none or an unknown name, -1 for bad arguments. */
VURO_EXPORT int VUROLnxV6IPGet(const char* szName, PVURO_V6IP pList, int cMax);
/* Whether high availability runs on this server. */
VURO_EXPORT BOOL VUROHAIsRunning(void);
/* The address high availability publishes for interface szName into
 * szBuf; 0, or -1 when it names none. pReserved NULL, flags 0. */
VURO_EXPORT int VUROHAGetRelatedIFInfo(const char* szName, char* szBuf, int cbBuf, void* pReserved,
                                       int flags);
/* 1 when the PPPoE link is up, 0 when not. flag must be 1. */
VURO_EXPORT int VUROPPPoECheckStatus(int flag);
/* The PPPoE address into szBuf; 0, or -1 when the link has none.
 * pReserved NULL, flags 0. */
VURO_EXPORT int VUROPPPoeNetInfoGet(char* szBuf, int cbBuf, void* pReserved, int flags);

#ifdef __cplusplus
}

#include <map>
#include <string>
#include <vector>

/* The network as one value, for the network calls built on it. */
struct VURONetInterface {
    std::string name;
    bool active = false;
    bool manual = false; /* fixed address: ip counts, else dhcp_ip */
    std::string ip;      /* the configured address */
    std::string dhcpIp;  /* the address the system holds */
    std::string mac;
    std::vector<std::string> ipv6;
    bool unreadable = false; /* its details cannot be read (for failure tests) */
};

struct VURONetConfig {
    bool fromFile = false; /* network.json was there */
    std::vector<VURONetInterface> interfaces;
    std::string tun; /* the tunnel's IPv6 address, "" for none */
    bool haRunning = false;
    std::map<std::string, std::string> haRelated; /* interface -> address */
    bool pppoeUp = false;
    std::string pppoeIp;
};

/* Reads the network; false (and cfg empty) when network.json exists but is
 * no JSON object, or when getifaddrs fails. */
VURO_EXPORT bool VURONetConfigRead(VURONetConfig& cfg);
#endif

#endif
