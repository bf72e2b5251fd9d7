/* netguard.cpp - the loopback guard every network stand-in calls before a
 * packet leaves: with VURO_NET_LOOPBACK_ONLY=1 (tests, bench, demo) only
 * 127.0.0.0/8 and ::1 are reachable. */
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <syslog.h>

#include "vurocore.h"

namespace {

bool loopbackOnly() {
    const char* env = getenv("VURO_NET_LOOPBACK_ONLY");
    return env != NULL && strcmp(env, "1") == 0;
}

bool isLoopback(const struct sockaddr* addr, socklen_t len) {
    if (addr->sa_family == AF_INET && len >= (socklen_t)sizeof(struct sockaddr_in)) {
        const struct sockaddr_in* in4 = (const struct sockaddr_in*)addr;
        return (ntohl(in4->sin_addr.s_addr) >> 24) == 127;
    }
    if (addr->sa_family == AF_INET6 && len >= (socklen_t)sizeof(struct sockaddr_in6)) {
        const struct in6_addr* a = &((const struct sockaddr_in6*)addr)->sin6_addr;
        if (IN6_IS_ADDR_LOOPBACK(a)) {
            return true;
        }
        // An IPv4 address in IPv6 clothing is judged as the IPv4 one.
        return IN6_IS_ADDR_V4MAPPED(a) && a->s6_addr[12] == 127;
    }
    return false;
}

}  // namespace

int VURONetDestinationCheck(const struct sockaddr* addr, socklen_t len) {
    if (addr == NULL) {
        errno = EINVAL;
        return -1;
    }
    // Local sockets are no network destination.
    if (addr->sa_family == AF_UNIX || !loopbackOnly() || isLoopback(addr, len)) {
        return 0;
    }
    char text[INET6_ADDRSTRLEN] = "?";
    if (addr->sa_family == AF_INET) {
        inet_ntop(AF_INET, &((const struct sockaddr_in*)addr)->sin_addr, text, sizeof(text));
    } else if (addr->sa_family == AF_INET6) {
        inet_ntop(AF_INET6, &((const struct sockaddr_in6*)addr)->sin6_addr, text, sizeof(text));
    }
    syslog(LOG_WARNING, "destination refused: %s (loopback only)", text);
    QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
    errno = EACCES;
    return -1;
}

int VURONetDestinationCheckHost(const char* szHost) {
    if (szHost == NULL) {
        errno = EINVAL;
        return -1;
    }
    struct sockaddr_in in4;
    struct sockaddr_in6 in6;
    memset(&in4, 0, sizeof(in4));
    memset(&in6, 0, sizeof(in6));
    if (inet_pton(AF_INET, szHost, &in4.sin_addr) == 1) {
        in4.sin_family = AF_INET;
        return VURONetDestinationCheck((const struct sockaddr*)&in4, sizeof(in4));
    }
    if (inet_pton(AF_INET6, szHost, &in6.sin6_addr) == 1) {
        in6.sin6_family = AF_INET6;
        return VURONetDestinationCheck((const struct sockaddr*)&in6, sizeof(in6));
    }
    // A name is judged by the address it resolves to, at connect time.
    return 0;
}
