/* transport.cpp - what every transfer of the credential stand-in gets:
 * credential.conf, http and https only, no redirect, no proxy, peer and host
 * verified against the root's CA file, time-outs, the answer size limit
 * enforced while it arrives, and the loopback guard before any connect. */
#include <arpa/inet.h>
#include <ctype.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>

#include "cred_int.h"
#include "vurocredential_seal.h"

namespace vurocred {

namespace {

// libcurl's global set-up is not thread-safe: once, when the library loads.
__attribute__((constructor)) void credGlobalInit() { curl_global_init(CURL_GLOBAL_DEFAULT); }

long confNumber(const char* szKey, long lDefault, long lMin) {
    char buf[64] = {0};
    if (QLIBCFileGetKeyValue(VUROCRED_CONF_PATH, szKey, buf, sizeof(buf), 0) <= 0) {
        return lDefault;
    }
    char* end = NULL;
    long v = strtol(buf, &end, 10);
    return (end == buf || *end != '\0' || v < lMin) ? lDefault : v;
}

size_t answerWrite(char* data, size_t size, size_t nmemb, void* user) {
    Transfer* t = (Transfer*)user;
    size_t n = size * nmemb;
    // An answer of unknown length is only stopped here.
    if (t->maxBytes > 0 && t->answer.size() + n > (size_t)t->maxBytes) {
        t->overflow = true;
        return 0;
    }
    try {
        t->answer.append(data, n);
    } catch (...) {
        return 0;
    }
    return n;
}

curl_socket_t socketOpen(void* user, curlsocktype, struct curl_sockaddr* addr) {
    Transfer* t = (Transfer*)user;
    if (VURONetDestinationCheck(&addr->addr, addr->addrlen) != 0) {
        t->refusedDest = true;
        return CURL_SOCKET_BAD;
    }
    return socket(addr->family, addr->socktype, addr->protocol);
}

}  // namespace

CredConf credConfGet() {
    // One file read per key is cheap beside a network exchange, but a run
    // of many requests reads it once per change.
    static std::mutex mu;
    static CredConf cached;
    static struct timespec mtime = {0, 0};
    static off_t size = -1;
    static ino_t ino = 0;
    static std::string cachedPath;
    std::string path = VUROSysPathStr(VUROCRED_CONF_PATH);
    struct stat st;
    bool exists = stat(path.c_str(), &st) == 0;
    std::lock_guard<std::mutex> lock(mu);
    if (exists && path == cachedPath && st.st_size == size && st.st_ino == ino &&
        st.st_mtim.tv_sec == mtime.tv_sec && st.st_mtim.tv_nsec == mtime.tv_nsec) {
        return cached;
    }
    CredConf conf;
    conf.caFile = CaFilePath();
    conf.connectTimeoutMs = confNumber("connect_timeout_ms", 5000, 1);
    conf.timeoutS = confNumber("timeout_s", 60, 1);
    conf.timeoutCapMs = confNumber("timeout_cap_ms", 0, 0);
    conf.maxResponseBytes = confNumber("max_response_bytes", 16L * 1024 * 1024, 1);
    char buf[1024] = {0};
    if (QLIBCFileGetKeyValue(VUROCRED_CONF_PATH, "relay_portal", buf, sizeof(buf), 0) > 0) {
        conf.relayPortal = buf;
    }
    if (exists) {
        cached = conf;
        cachedPath = path;
        size = st.st_size;
        ino = st.st_ino;
        mtime = st.st_mtim;
    } else {
        cachedPath.clear();
    }
    return conf;
}

long credTimeoutMs(const CredConf& conf, int iSeconds) {
    long ms = (iSeconds > 0 ? iSeconds : conf.timeoutS) * 1000L;
    if (conf.timeoutCapMs > 0 && ms > conf.timeoutCapMs) {
        ms = conf.timeoutCapMs;
    }
    return ms;
}

std::string urlBase(const std::string& protocol, const std::string& host, long port) {
    bool v6 = host.find(':') != std::string::npos && host[0] != '[';
    return protocol + "://" + (v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::string urlEscape(const std::string& text) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
            out += (char)c;
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 0xF];
        }
    }
    return out;
}

bool transferSetup(CURL* curl, Transfer& t, const CredConf& conf) {
    curl_easy_reset(curl);
    t.answer.clear();
    t.status = 0;
    t.overflow = false;
    t.refusedDest = false;
    t.errbuf[0] = '\0';
    t.maxBytes = conf.maxResponseBytes;
    long connectMs = conf.connectTimeoutMs;
    if (conf.timeoutCapMs > 0 && connectMs > conf.timeoutCapMs) {
        connectMs = conf.timeoutCapMs;
    }
    bool ok = curl_easy_setopt(curl, CURLOPT_URL, t.url.c_str()) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_PROXY, "") == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_NOPROXY, "*") == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_CAINFO, conf.caFile.c_str()) == CURLE_OK &&
              // Only the root's CA file vouches for a peer, not the system store.
              curl_easy_setopt(curl, CURLOPT_CAPATH, NULL) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, connectMs) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, t.timeoutMs) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE,
                               (curl_off_t)conf.maxResponseBytes) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, answerWrite) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_WRITEDATA, &t) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, socketOpen) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, &t) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, t.errbuf) == CURLE_OK &&
              curl_easy_setopt(curl, CURLOPT_HTTPHEADER, t.headers.get()) == CURLE_OK;
    if (ok && t.post) {
        ok = curl_easy_setopt(curl, CURLOPT_POST, 1L) == CURLE_OK &&
             curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, (curl_off_t)t.body.size()) ==
                 CURLE_OK &&
             curl_easy_setopt(curl, CURLOPT_POSTFIELDS, t.body.data()) == CURLE_OK;
    }
    return ok;
}

int transferResult(CURL* curl, CURLcode rc, Transfer& t) {
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &t.status);
    if (t.refusedDest) {
        return CRED_REQ_ERR_REFUSED_DEST;
    }
    if (t.overflow || rc == CURLE_FILESIZE_EXCEEDED) {
        return CRED_REQ_ERR_TOO_LARGE;
    }
    switch (rc) {
        case CURLE_OK:
            return t.status == 200 ? CRED_REQ_ERR_NONE : CRED_REQ_ERR_HTTP_STATUS;
        case CURLE_OPERATION_TIMEDOUT:
            return CRED_REQ_ERR_TIMEOUT;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_SSL_CRL_BADFILE:
        case CURLE_USE_SSL_FAILED:
            return CRED_REQ_ERR_TLS;
        case CURLE_OUT_OF_MEMORY:
        case CURLE_FAILED_INIT:
            return CRED_REQ_ERR_INTERNAL;
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_URL_MALFORMAT:
            return CRED_REQ_ERR_BAD_ARG;
        default:
            return CRED_REQ_ERR_CONNECT;
    }
}

}  // namespace vurocred
