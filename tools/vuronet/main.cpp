/* vuronet - the platform's wake tool: "vuronet --wake MAC IF" sends one
 * wake packet (six bytes 0xFF, then the MAC sixteen times) as a broadcast
 * to port 9 out of interface IF, or to dest=HOST:PORT of /etc/vuro/wol.conf
 * under the system root. The loopback guard judges the destination first.
 * Exit 0 sent, 1 not sent (the cause on stderr), 2 bad arguments. */
#include <arpa/inet.h>
#include <ctype.h>
#include <errno.h>
#include <net/if.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "vurocore.h"

namespace {

const char kWolConf[] = "/etc/vuro/wol.conf";
const char kUsage[] =
    "usage: vuronet --wake MAC IF\n"
    "  sends a wake packet for MAC (AA:BB:CC:DD:EE:FF or AA-BB-CC-DD-EE-FF) out of\n"
    "  interface IF: a broadcast to port 9, or to dest=HOST:PORT of etc/vuro/wol.conf\n";

int usage(const char* szWhy) {
    if (szWhy != nullptr) fprintf(stderr, "vuronet: %s\n", szWhy);
    fputs(kUsage, stderr);
    return 2;
}

int fail(const std::string& why) {
    fprintf(stderr, "vuronet: %s\n", why.c_str());
    return 1;
}

/* Exactly six groups of two hex digits, one separator kind throughout. */
bool macParse(const char* szText, unsigned char mac[6]) {
    if (strlen(szText) != 17) return false;
    char sep = szText[2];
    if (sep != ':' && sep != '-') return false;
    for (int i = 0; i < 6; i++) {
        const char* p = szText + i * 3;
        if (!isxdigit((unsigned char)p[0]) || !isxdigit((unsigned char)p[1])) return false;
        if (i < 5 && p[2] != sep) return false;
        char hex[3] = {p[0], p[1], '\0'};
        mac[i] = (unsigned char)strtoul(hex, nullptr, 16);
    }
    return true;
}

/* "HOST:PORT" with an IPv4 host; false for anything else. */
bool destParse(const std::string& text, struct sockaddr_in* pAddr) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos) return false;
    std::string host = text.substr(0, colon);
    char* end = nullptr;
    long port = strtol(text.c_str() + colon + 1, &end, 10);
    if (end == text.c_str() + colon + 1 || *end != '\0' || port < 1 || port > 65535) return false;
    memset(pAddr, 0, sizeof(*pAddr));
    pAddr->sin_family = AF_INET;
    pAddr->sin_port = htons((uint16_t)port);
    return inet_pton(AF_INET, host.c_str(), &pAddr->sin_addr) == 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
        fputs(kUsage, stdout);
        return 0;
    }
    if (argc != 4 || strcmp(argv[1], "--wake") != 0) return usage(nullptr);
    unsigned char mac[6];
    if (!macParse(argv[2], mac)) return usage("not a MAC address");
    const char* szIf = argv[3];
    if (szIf[0] == '\0' || strlen(szIf) >= IFNAMSIZ) return usage("not an interface name");
    if (if_nametoindex(szIf) == 0) return fail(std::string("no interface ") + szIf);

    struct sockaddr_in dest;
    char conf[128] = "";
    bool configured = QLIBCFileGetKeyValue(kWolConf, "dest", conf, sizeof(conf), 0) > 0;
    if (configured) {
        if (!destParse(conf, &dest)) {
            return fail(std::string("dest in ") + kWolConf + " is no IPv4 HOST:PORT: " + conf);
        }
    } else {
        memset(&dest, 0, sizeof(dest));
        dest.sin_family = AF_INET;
        dest.sin_port = htons(9);
        dest.sin_addr.s_addr = htonl(INADDR_BROADCAST);
    }
    char destText[INET_ADDRSTRLEN] = "?";
    inet_ntop(AF_INET, &dest.sin_addr, destText, sizeof(destText));
    std::string where = std::string(destText) + ":" + std::to_string(ntohs(dest.sin_port));
    if (VURONetDestinationCheck((struct sockaddr*)&dest, sizeof(dest)) != 0) {
        return fail("destination refused: " + where + " (loopback only)");
    }

    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return fail(std::string("socket: ") + strerror(errno));
    int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &one, sizeof(one));
    // The broadcast leaves by the interface named; a configured destination
    // is reached however the routes say.
    if (!configured &&
        setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, szIf, (socklen_t)strlen(szIf)) != 0) {
        int err = errno;
        close(fd);
        return fail(std::string("cannot send out of ") + szIf + ": " + strerror(err));
    }
    unsigned char packet[102];
    memset(packet, 0xFF, 6);
    for (int i = 0; i < 16; i++) memcpy(packet + 6 + i * 6, mac, 6);
    ssize_t n = sendto(fd, packet, sizeof(packet), 0, (struct sockaddr*)&dest, sizeof(dest));
    int err = errno;
    close(fd);
    if (n != (ssize_t)sizeof(packet)) {
        return fail("cannot send to " + where + ": " + (n < 0 ? strerror(err) : "cut short"));
    }
    return 0;
}
