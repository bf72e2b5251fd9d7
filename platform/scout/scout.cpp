/* scout.cpp - one discovery scan over a real UDP socket: bind the receiving
 * side, send the request through the loopback guard, then offer each
 * datagram of the window to the caller's callbacks. The log routes of a
 * scan live here too. */
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "scout.h"

namespace {

// Room for a burst of a few hundred answers while the callbacks run.
const int kReceiveBuffer = 8 << 20;

long long nowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

bool loopbackOnly() {
    const char* env = getenv("VURO_NET_LOOPBACK_ONLY");
    return env != NULL && strcmp(env, "1") == 0;
}

/* A value of scout.conf, or "" when the file or the key is missing. */
std::string confValue(const char* szKey) {
    char buf[128] = "";
    return QLIBCFileGetKeyValue(SCOUT_CONF_PATH, szKey, buf, sizeof(buf), 0) > 0 ? buf : "";
}

/* A number of scout.conf within lo..hi into *pValue; untouched otherwise. */
void confNumber(const char* szKey, long lo, long hi, long* pValue) {
    std::string text = confValue(szKey);
    if (text.empty()) return;
    char* end = NULL;
    errno = 0;
    long v = strtol(text.c_str(), &end, 10);
    if (errno == 0 && *end == '\0' && v >= lo && v <= hi) *pValue = v;
}

struct Side {
    std::string ip;
    long port;
    long windowMs;
};

Side sideOf(const SCOUTCONN* pConn, const char* szIpKey, const char* szPortKey,
            const char* szWindowKey) {
    Side s;
    s.ip = confValue(szIpKey);
    if (s.ip.empty()) s.ip = pConn->szDestIP;
    s.port = pConn->iPort;
    confNumber(szPortKey, 0, 65535, &s.port);
    s.windowMs = (long)pConn->iTimeoutSec * 1000 + pConn->iTimeoutMSec;
    confNumber(szWindowKey, 0, 3600 * 1000, &s.windowMs);
    return s;
}

bool addressMake(const std::string& ip, long port, struct sockaddr_in* pAddr) {
    memset(pAddr, 0, sizeof(*pAddr));
    pAddr->sin_family = AF_INET;
    pAddr->sin_port = htons((uint16_t)port);
    return inet_pton(AF_INET, ip.c_str(), &pAddr->sin_addr) == 1;
}

struct Socket {
    int fd = -1;
    ~Socket() {
        if (fd >= 0) close(fd);
    }
};

/* Offers one datagram to the callbacks; true when it was added. */
bool answerOffer(const unsigned char* buf, size_t len, const SCOUTRECV* pRecv) {
    SCOUTPACKET pkt;
    if (SCOUTPacketParse(buf, len, &pkt) != 0) return false;
    if (pRecv->pfuncLocker) pRecv->pfuncLocker(1);
    bool added = pRecv->pfuncIsAccept != NULL && pRecv->pfuncIsAccept(&pkt.info) == 1 &&
                 pRecv->pfuncAdd != NULL && pRecv->pfuncAdd(&pkt.info) == 0;
    if (pRecv->pfuncLocker) pRecv->pfuncLocker(0);
    return added;
}

}  // namespace

int SCOUTLogFuncSet(SCOUTLOG* pLog, int iPriority, SCOUT_LOG_FUNC func) {
    if (pLog == NULL || iPriority < 0 || iPriority > 7) return -1;
    pLog->rgFunc[iPriority] = func;
    return 0;
}

void SCOUTLogDefConsole(const char* szText) {
    if (szText != NULL) fprintf(stderr, "%s\n", szText);
}

void SCOUTLog(const SCOUTLOG* pLog, int iPriority, const char* szFmt, ...) {
    if (pLog == NULL || szFmt == NULL || iPriority < 0 || iPriority > 7 ||
        pLog->rgFunc[iPriority] == NULL) {
        return;
    }
    char text[1024];
    va_list ap;
    va_start(ap, szFmt);
    vsnprintf(text, sizeof(text), szFmt, ap);
    va_end(ap);
    pLog->rgFunc[iPriority](text);
}

int SCOUTSendPktIDAdd(SCOUTLOG* pLog, SCOUTSEND* pSend, u_int32_t first, u_int32_t last,
                      u_int32_t step, int flag) {
    if (pSend == NULL || step == 0 || first > last || flag != 0 || pSend->cPktID < 0 ||
        pSend->cPktID > SCOUT_MAX_PKTID) {
        SCOUTLog(pLog, 1, "scout: bad packet ids %u..%u step %u", first, last, step);
        return -1;
    }
    unsigned long long count = (unsigned long long)(last - first) / step + 1;
    if (count > (unsigned long long)(SCOUT_MAX_PKTID - pSend->cPktID)) {
        SCOUTLog(pLog, 1, "scout: more than %d packet ids", SCOUT_MAX_PKTID);
        return -1;
    }
    for (unsigned i = 0; i < count; i++) pSend->rgPktID[pSend->cPktID++] = first + i * step;
    return 0;
}

int SCOUTUDPServer(SCOUTCONN* pRecvConn, SCOUTRECV* pRecv, SCOUTCONN* pSendConn, SCOUTSEND* pSend) {
    if (pRecvConn == NULL || pRecv == NULL || pSendConn == NULL || pSend == NULL ||
        pSend->pnasInfo == NULL) {
        return -1;
    }
    const SCOUTLOG* pLog = pRecvConn->pfunLogOp;
    Side listenSide = sideOf(pRecvConn, "recv_ip", "recv_port", "listen_ms");
    Side sendSide = sideOf(pSendConn, "send_ip", "send_port", "send_ms");
    // Nothing listens beyond this machine while the guard is on.
    if (loopbackOnly()) listenSide.ip = "127.0.0.1";

    struct sockaddr_in local, dest;
    if (!addressMake(listenSide.ip, listenSide.port, &local) ||
        !addressMake(sendSide.ip, sendSide.port, &dest)) {
        SCOUTLog(pLog, 1, "scout: bad address %s:%ld or %s:%ld", listenSide.ip.c_str(),
                 listenSide.port, sendSide.ip.c_str(), sendSide.port);
        return -1;
    }
    Socket sock;
    sock.fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (sock.fd < 0) {
        SCOUTLog(pLog, 1, "scout: socket: %s", strerror(errno));
        return -1;
    }
    int one = 1;
    setsockopt(sock.fd, SOL_SOCKET, SO_BROADCAST, &one, sizeof(one));
    // Beyond rmem_max only with privilege; the plain call is the fallback.
    if (setsockopt(sock.fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof(int)) != 0) {
        setsockopt(sock.fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof(int));
    }
    struct timeval tv = {sendSide.windowMs / 1000, (sendSide.windowMs % 1000) * 1000};
    setsockopt(sock.fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof(tv));
    if (bind(sock.fd, (struct sockaddr*)&local, sizeof(local)) != 0) {
        SCOUTLog(pLog, 1, "scout: cannot listen on %s:%ld: %s", listenSide.ip.c_str(),
                 listenSide.port, strerror(errno));
        return -1;
    }
    if (VURONetDestinationCheck((struct sockaddr*)&dest, sizeof(dest)) != 0) {
        SCOUTLog(pLog, 1, "scout: destination refused: %s:%ld", sendSide.ip.c_str(), sendSide.port);
        return -1;
    }

    SCOUTPACKET request;
    memset(&request, 0, sizeof(request));
    request.info = *pSend->pnasInfo;
    request.cPktID = pSend->cPktID;
    memcpy(request.rgPktID, pSend->rgPktID, sizeof(request.rgPktID));
    unsigned char buf[SCOUT_MAX_DATAGRAM];
    int len = SCOUTPacketBuild(&request, buf, sizeof(buf));
    if (len < 0 ||
        sendto(sock.fd, buf, (size_t)len, 0, (struct sockaddr*)&dest, sizeof(dest)) != len) {
        SCOUTLog(pLog, 1, "scout: cannot send the request to %s:%ld: %s", sendSide.ip.c_str(),
                 sendSide.port, len < 0 ? "too large" : strerror(errno));
        return -1;
    }

    long long deadline = nowMs() + listenSide.windowMs;
    int cAdded = 0;
    for (;;) {
        if (pRecvConn->pfuncIsCancel != NULL && pRecvConn->pfuncIsCancel()) break;
        long long left = deadline - nowMs();
        if (left <= 0) break;
        struct pollfd p = {sock.fd, POLLIN, 0};
        int rc = poll(&p, 1, (int)left);
        if (rc < 0 && errno != EINTR) {
            SCOUTLog(pLog, 1, "scout: poll: %s", strerror(errno));
            return -1;
        }
        if (rc <= 0) continue;
        // Everything queued, then back to the clock.
        for (;;) {
            ssize_t n = recv(sock.fd, buf, sizeof(buf), MSG_DONTWAIT | MSG_TRUNC);
            if (n < 0) break;
            if ((size_t)n > sizeof(buf)) continue;  // cut: cannot be ours
            if (answerOffer(buf, (size_t)n, pRecv)) {
                cAdded++;
                if (pRecv->pfuncUpdateProgress) pRecv->pfuncUpdateProgress(cAdded);
            }
        }
    }
    return 0;
}
