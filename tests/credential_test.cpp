/* credential_test.cpp - the remote layer's platform stand-ins on their own:
 * the seal against an independent implementation, the destination setters,
 * the loopback guard, the credential-id registry, serials, the web server's
 * ports and the network file. Calls over the wire are in webapi_test. */
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tarn_test.h"
#include "vurocore.h"
#include "vurocredential.h"
#include "vurocredential_seal.h"
#include "vurofs.h"
#include "vurojson.h"
#include "vuronetsdk.h"
#include "vurotarn.h"
#include "vurow3.h"

using namespace tarntest;

namespace {

class Credential : public TarnTest {};

const char kToken[] = "tok-3f9a";
const char kPath[] = "/webapi/entry.cgi";

int guardV4(const char* text) {
    struct sockaddr_in a = {};
    a.sin_family = AF_INET;
    inet_pton(AF_INET, text, &a.sin_addr);
    return VURONetDestinationCheck((struct sockaddr*)&a, sizeof(a));
}

int guardV6(const char* text) {
    struct sockaddr_in6 a = {};
    a.sin6_family = AF_INET6;
    inet_pton(AF_INET6, text, &a.sin6_addr);
    return VURONetDestinationCheck((struct sockaddr*)&a, sizeof(a));
}

}  // namespace

TEST_F(Credential, SealMatchesTheWireAndRefusesAnyChange) {
    // Made once by an unrelated implementation of the wire format (HKDF of
    // the token, IV 00..0b, the path as additional data): both sides of a
    // call must agree byte for byte.
    Json::Value foreign;
    foreign["iv"] = "AAECAwQFBgcICQoL";
    foreign["data"] = "zXH1UeIMib2I/EgfzXL+sa1IWnnsfevy3Xrc4SdAqBbT7JiLjZQHU3X8X7gelYg=";
    std::string plain;
    ASSERT_TRUE(vurocred::Unseal(kToken, kPath, foreign, plain));
    EXPECT_EQ("{\"success\":true,\"data\":{\"n\":1}}", plain);
    EXPECT_EQ("9c25354452d96083b182ac26c7527f83", vurocred::SealKeyId(kToken));
    EXPECT_NE(vurocred::SealKeyId(kToken), vurocred::SealKeyId("tok-3f9b"));

    const std::string text =
        "{\"api\":\"VURO.Core.TARN\",\"params\":{\"name\":\"\xC3\xA9t\xC3\xA9\"}}";
    Json::Value sealed;
    ASSERT_TRUE(vurocred::Seal(kToken, kPath, text, sealed));
    ASSERT_TRUE(vurocred::Unseal(kToken, kPath, sealed, plain));
    EXPECT_EQ(text, plain);
    Json::Value again;
    ASSERT_TRUE(vurocred::Seal(kToken, kPath, text, again));
    EXPECT_NE(sealed["iv"], again["iv"]) << "every seal takes a fresh IV";

    std::string raw;
    ASSERT_TRUE(vurocred::Base64Decode(sealed["data"].asString(), raw));
    ASSERT_EQ(text.size() + 16, raw.size());
    EXPECT_EQ(std::string::npos, raw.find("VURO.Core"));
    // One changed bit anywhere, in the text or the tag, and nothing opens;
    // the caller's buffer keeps what it held.
    plain = "kept";
    for (size_t i = 0; i < raw.size(); i++) {
        std::string bad = raw;
        bad[i] ^= 0x01;
        Json::Value t = sealed;
        t["data"] = vurocred::Base64Encode(bad);
        EXPECT_FALSE(vurocred::Unseal(kToken, kPath, t, plain)) << "byte " << i;
    }
    std::string iv;
    ASSERT_TRUE(vurocred::Base64Decode(sealed["iv"].asString(), iv));
    iv[0] ^= 0x01;
    Json::Value badIv = sealed;
    badIv["iv"] = vurocred::Base64Encode(iv);
    EXPECT_FALSE(vurocred::Unseal(kToken, kPath, badIv, plain));
    EXPECT_FALSE(vurocred::Unseal("tok-3f9b", kPath, sealed, plain));
    EXPECT_FALSE(vurocred::Unseal(kToken, "/webapi/other.cgi", sealed, plain));
    Json::Value shapes[4];
    shapes[1]["iv"] = 5;
    shapes[2] = sealed;
    shapes[2]["data"] = "not base64!";
    shapes[3] = sealed;
    shapes[3]["data"] = vurocred::Base64Encode(raw.substr(0, 15));
    for (const Json::Value& s : shapes) {
        EXPECT_FALSE(vurocred::Unseal(kToken, kPath, s, plain)) << vurojson::toString(s);
    }
    EXPECT_EQ("kept", plain);
}

TEST_F(Credential, SettersRefuseWhatCannotBeCalledAndKeepTheOldValue) {
    VURO_CRED* cred = VUROCredAlloc();
    VURO_CRED_SESS* sess = VUROCredSessAlloc();
    ASSERT_TRUE(cred != NULL && sess != NULL);
    char buf[64];
    long v = 0;
    EXPECT_EQ(-1, VUROCredItemGetHost(cred, buf, sizeof(buf))) << "nothing set yet";
    EXPECT_EQ(-1, VUROCredItemGetID(cred, &v));

    ASSERT_OK(VUROCredItemSetHost(cred, "127.0.0.1"));
    for (const char* bad : {(const char*)NULL, "", "a/b", "user@host", "h h", "x?y"}) {
        EXPECT_EQ(-1, VUROCredItemSetHost(cred, bad)) << (bad ? bad : "NULL");
    }
    ASSERT_OK(VUROCredItemGetHost(cred, buf, sizeof(buf)));
    EXPECT_STREQ("127.0.0.1", buf);

    ASSERT_OK(VUROCredItemSetPort(cred, 1));
    ASSERT_OK(VUROCredItemSetPort(cred, 65535));
    for (long bad : {0L, 65536L}) {
        EXPECT_EQ(-1, VUROCredItemSetPort(cred, bad)) << bad;
    }
    ASSERT_OK(VUROCredItemGetPort(cred, &v));
    EXPECT_EQ(65535, v);

    ASSERT_OK(VUROCredItemSetProtocol(cred, "https"));
    for (const char* bad : {(const char*)NULL, "", "ftp", "HTTP", "https "}) {
        EXPECT_EQ(-1, VUROCredItemSetProtocol(cred, bad)) << (bad ? bad : "NULL");
    }
    EXPECT_EQ(-1, VUROCredItemGetProtocol(cred, buf, 5)) << "\"https\" needs 6 bytes";
    ASSERT_OK(VUROCredItemGetProtocol(cred, buf, 6));
    EXPECT_STREQ("https", buf);
    ASSERT_OK(VUROCredItemSetID(cred, -3));
    ASSERT_OK(VUROCredItemGetID(cred, &v));
    EXPECT_EQ(-3, v);

    EXPECT_EQ(-1, VUROCredSessItemSetAccessToken(sess, NULL));
    EXPECT_EQ(-1, VUROCredSessItemSetAccessToken(sess, "a\r\nX-Evil: 1"));
    ASSERT_OK(VUROCredSessItemSetAccessToken(sess, "sid-1"));
    ASSERT_OK(VUROCredSessItemGetAccessToken(sess, buf, sizeof(buf)));
    EXPECT_STREQ("sid-1", buf);
    EXPECT_EQ(-1, VUROCredSessItemGetCsrfToken(sess, buf, sizeof(buf)));
    ASSERT_OK(VUROCredSessItemSetAccessToken(sess, ""));
    EXPECT_EQ(-1, VUROCredSessItemGetAccessToken(sess, buf, sizeof(buf))) << "cleared";

    // A destination without a port is not built: no request, no packet.
    VURO_CRED* partial = VUROCredAlloc();
    ASSERT_OK(VUROCredItemSetHost(partial, "127.0.0.1"));
    ASSERT_OK(VUROCredItemSetProtocol(partial, "http"));
    EXPECT_TRUE(VURO::CredRequest::CreateWebAPIRequest(partial, sess, "VURO.Core.TARN", 1,
                                                       "end_join", Json::Value()) == NULL);
    EXPECT_TRUE(VURO::CredRequest::CreateWebAPIRequest(cred, NULL, "VURO.Core.TARN", 1, "end_join",
                                                       Json::Value()) == NULL);
    VUROCredFree(partial);
    VUROCredFree(cred);
    VUROCredSessFree(sess);
}

TEST_F(Credential, LoopbackGuardRefusesEveryOtherDestinationBeforeAPacket) {
    ASSERT_OK(setenv("VURO_NET_LOOPBACK_ONLY", "1", 1));
    EXPECT_OK(guardV4("127.0.0.1"));
    EXPECT_OK(guardV4("127.255.3.9"));
    EXPECT_OK(guardV6("::1"));
    EXPECT_OK(guardV6("::ffff:127.0.0.1"));
    EXPECT_EQ(0, logCount("destination refused"));

    errno = 0;
    EXPECT_EQ(-1, guardV4("192.0.2.1"));
    EXPECT_EQ(EACCES, errno);
    EXPECT_TRUE(logHas("destination refused: 192.0.2.1")) << logDump();
    EXPECT_EQ(-1, guardV4("128.0.0.1"));
    EXPECT_EQ(-1, guardV6("2001:db8::1"));
    EXPECT_EQ(-1, guardV6("::ffff:192.0.2.1")) << "IPv4 in IPv6 clothing";
    EXPECT_EQ(-1, VURONetDestinationCheck(NULL, 0));
    EXPECT_EQ(-1, VURONetDestinationCheckHost("2001:db8::7"));
    EXPECT_OK(VURONetDestinationCheckHost("127.0.0.2"));
    struct sockaddr_un local = {};
    local.sun_family = AF_UNIX;
    EXPECT_OK(VURONetDestinationCheck((struct sockaddr*)&local, sizeof(local)));

    // The guard sits in the credential library's socket opening: a request
    // to an outside address fails at once, with no connection attempted
    // (one would wait for the time-out cap below).
    ASSERT_OK(QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "timeout_cap_ms", "1500", 0));
    VURO_CRED* cred = VUROCredAlloc();
    VURO_CRED_SESS* sess = VUROCredSessAlloc();
    ASSERT_OK(VUROCredItemSetHost(cred, "192.0.2.1"));
    ASSERT_OK(VUROCredItemSetPort(cred, 5000));
    ASSERT_OK(VUROCredItemSetProtocol(cred, "http"));
    ASSERT_OK(VUROCredSessItemSetAccessToken(sess, "sid-secret-1"));
    logClear();
    auto t0 = std::chrono::steady_clock::now();
    VURO::CredRequest* req = VURO::CredRequest::CreateWebAPIRequest(cred, sess, "VURO.Core.TARN", 1,
                                                                    "end_join", Json::Value());
    auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0)
            .count();
    EXPECT_TRUE(req == NULL);
    EXPECT_LT(ms, 1000);
    EXPECT_TRUE(logHas("destination refused: 192.0.2.1")) << logDump();
    EXPECT_EQ(0, logCount("sid-secret-1")) << "no token in the stand-in's lines";
    delete req;

    // Without the variable the guard lets everything through.
    ASSERT_OK(unsetenv("VURO_NET_LOOPBACK_ONLY"));
    EXPECT_OK(guardV4("192.0.2.1"));
    ASSERT_OK(setenv("VURO_NET_LOOPBACK_ONLY", "1", 1));
    VUROCredFree(cred);
    VUROCredSessFree(sess);
}

TEST_F(Credential, RegistryCountsLiveHoldersOnly) {
    const std::string dir = sys("/var/cache/vurocred");
    ASSERT_OK(VUROFSMkdirP(dir.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0755));
    EXPECT_FALSE(VURO::CredRequestUtil::IsCredIdCached(-7));

    // A live holder in another process keeps the id.
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        pause();
        _exit(0);
    }
    writeFile(dir + "/-7", std::to_string(child) + "\n");
    EXPECT_TRUE(VURO::CredRequestUtil::IsCredIdCached(-7));
    EXPECT_FALSE(VURO::CredRequestUtil::IsCredIdCached(-8)) << "other ids stay free";

    // Killed without cleaning up: its entry no longer counts, and goes.
    ASSERT_OK(kill(child, SIGKILL));
    ASSERT_EQ(child, waitpid(child, NULL, 0));
    EXPECT_FALSE(VURO::CredRequestUtil::IsCredIdCached(-7));
    EXPECT_NE(0, access((dir + "/-7").c_str(), F_OK));

    writeFile(dir + "/-9", "not a pid\n");
    EXPECT_FALSE(VURO::CredRequestUtil::IsCredIdCached(-9));
    EXPECT_NE(0, access((dir + "/-9").c_str(), F_OK));
}

TEST_F(Credential, SerialsFromTheirFiles) {
    char buf[40] = {0};
    int n = QLIBGetSerialNumber(buf, 36);
    ASSERT_GT(n, 0) << "tarn init writes one";
    EXPECT_EQ(readFile(sys(VURO_SERIAL_PATH)), std::string(buf) + "\n");
    EXPECT_EQ((int)strlen(buf), n);
    EXPECT_EQ(0, QLIBGetCustomSerialNumber(buf, 31)) << "none: no failure";
    EXPECT_STREQ("", buf);

    writeFile(sys(VURO_CUSTOM_SERIAL_PATH), "  CUST-0042 \nsecond line\n");
    EXPECT_EQ(9, QLIBGetCustomSerialNumber(buf, 31));
    EXPECT_STREQ("CUST-0042", buf);
    EXPECT_EQ(-1, QLIBGetCustomSerialNumber(buf, 9)) << "a cut serial would name another device";

    ASSERT_OK(unlink(sys(VURO_SERIAL_PATH).c_str()));
    EXPECT_EQ(-1, QLIBGetSerialNumber(buf, 36));
    EXPECT_EQ(ERR_OPEN_FAILED, QLIBCErrGet());
}

TEST_F(Credential, WebServerPortsAgreeWithTheAdminPortCall) {
    // The default file of tarn init.
    {
        vurow3::KELP kelp(new vurow3::Engine());
        EXPECT_EQ(5000, kelp.GetHttpPort());
        EXPECT_EQ(5001, kelp.GetHttpsPort());
    }
    struct Case {
        const char* text;
        int http;
        int https;
    } cases[] = {
        {"{\"port\":80,\"ssl\":{\"port\":443}}", 80, 443},
        {"{\"port\":80,\"ssl\":{\"port\":\"443\"}}", 80, 0},
        {"{\"ssl\":{\"port\":8443}}", 0, 8443},
        {"{\"port\":\"80\",\"ssl\":5}", 0, 0},
        {"not json", 0, 0},
    };
    for (const Case& c : cases) {
        writeFile(sys(VUROW3_KELP_CONF_PATH), c.text);
        vurow3::KELP kelp;
        EXPECT_EQ(c.http, kelp.GetHttpPort()) << c.text;
        EXPECT_EQ(c.https, kelp.GetHttpsPort()) << c.text;
        // The library's own call reads the same file the same way.
        int http = 0, https = 0;
        int rc = VUROTARNGetAdminPort(&http, &https);
        EXPECT_EQ(c.http == 0 && c.https == 0 ? -1 : 0, rc) << c.text;
        EXPECT_EQ(c.http, http) << c.text;
        EXPECT_EQ(c.https, https) << c.text;
    }
}

TEST_F(Credential, NetworkFileIsTheWholeNetwork) {
    writeFile(sys(VURONET_CONF_PATH), R"({"interfaces":[
        {"name":"eth0","active":true,"manual":true,"ip":"192.0.2.10","dhcp_ip":"192.0.2.99",
         "ipv6":["2001:db8::10","2001:db8::11"],"mac":"00:11:32:AA:BB:01"},
        {"name":"eth1","active":false,"dhcp_ip":"192.0.2.20"},
        {"name":"bond0","unreadable":true},
        {"active":true}]})");
    QLIB_NETIF recs[32];
    ASSERT_EQ(3, QLIBNetInterfaceEnum(recs, 32, 0)) << "an interface without a name is none";
    EXPECT_STREQ("eth0", recs[0].szName);
    EXPECT_STREQ("192.0.2.99", recs[0].szDes);
    EXPECT_STREQ("00:11:32:AA:BB:01", recs[0].szMac);
    EXPECT_EQ(1, recs[0].blActive);
    EXPECT_STREQ("eth1", recs[1].szName);
    EXPECT_EQ(0, recs[1].blActive);
    EXPECT_EQ(1, QLIBNetInterfaceEnum(recs, 1, 0)) << "never more than asked";
    EXPECT_EQ(-1, QLIBNetInterfaceEnum(recs, 32, 1));

    writeFile(sys(VURONET_CONF_PATH), "{\"interfaces\": [");
    EXPECT_EQ(-1, QLIBNetInterfaceEnum(recs, 32, 0)) << "a broken file is no empty network";

    // Without the file: the live interfaces, loopback never among them.
    ASSERT_OK(unlink(sys(VURONET_CONF_PATH).c_str()));
    VURONetConfig cfg;
    ASSERT_TRUE(VURONetConfigRead(cfg));
    EXPECT_FALSE(cfg.fromFile);
    for (const VURONetInterface& nif : cfg.interfaces) {
        EXPECT_NE("lo", nif.name);
    }
}

TEST_F(Credential, InitWritesTheDefaultsAndKeepsChangedOnes) {
    EXPECT_EQ(sys(VUROCRED_DEFAULT_CA_FILE), vurocred::CaFilePath());
    // The helper tools found beside the tarn tool are linked into the root.
    std::string cli = TARN_CLI_PATH;
    std::string peerTool = cli.substr(0, cli.rfind('/')) + "/vurotarnpeer";
    char target[4096] = {0};
    ssize_t n = readlink(sys(VUROTARNLOG_PEER_TOOL).c_str(), target, sizeof(target) - 1);
    if (access(peerTool.c_str(), X_OK) == 0) {
        ASSERT_LT(0, n);
        EXPECT_EQ(peerTool, std::string(target, n));
    } else {
        EXPECT_EQ(-1, n) << "nothing to link in a partial build";
    }

    ASSERT_OK(QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "ca_file", "/etc/other/ca.pem", 0));
    EXPECT_EQ(sys("/etc/other/ca.pem"), vurocred::CaFilePath());
    writeFile(sys(VURO_SERIAL_PATH), "KEEP-ME\n");
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "--root", root_, "init", "--data",
                             std::string(TARN_SOURCE_DIR) + "/data"}));
    EXPECT_EQ("KEEP-ME\n", readFile(sys(VURO_SERIAL_PATH)));
    EXPECT_EQ(sys("/etc/other/ca.pem"), vurocred::CaFilePath());
    // A CA file outside the root is never trusted instead of the default.
    ASSERT_OK(QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "ca_file", "/etc/../../tmp/ca.pem", 0));
    EXPECT_EQ(sys(VUROCRED_DEFAULT_CA_FILE), vurocred::CaFilePath());

    // No relay service configured: the lookup fails without a packet.
    Json::Value js;
    EXPECT_FALSE(VURO::CredRequestRelayPath::GetConnInfoPortal("relay-1", js, NULL));
    EXPECT_EQ("no relay service", js["error"].asString());
}

namespace {

/* A server that answers in ways no well-behaved one does: one connection at
 * a time on loopback, each answered by the script and closed. What each
 * request looked like is kept for the checks. */
class RawServer {
public:
    using Script = std::function<std::string(const std::string& head, const std::string& body)>;
    explicit RawServer(Script script) : script_(std::move(script)) {
        fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_in a = {};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof(a);
        if (fd_ < 0 || bind(fd_, (struct sockaddr*)&a, sizeof(a)) != 0 || listen(fd_, 8) != 0 ||
            getsockname(fd_, (struct sockaddr*)&a, &len) != 0) {
            return;
        }
        port_ = ntohs(a.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~RawServer() {
        shutdown(fd_, SHUT_RDWR);
        if (thread_.joinable()) thread_.join();
        close(fd_);
    }
    int port() const { return port_; }
    std::vector<std::string> heads() {
        std::lock_guard<std::mutex> lock(mu_);
        return heads_;
    }

private:
    void serve() {
        for (;;) {
            int c = accept(fd_, NULL, NULL);
            if (c < 0) return;
            std::string in;
            char buf[4096];
            size_t end = std::string::npos;
            size_t want = 0;
            ssize_t n;
            while ((n = read(c, buf, sizeof(buf))) > 0) {
                in.append(buf, n);
                if (end == std::string::npos && (end = in.find("\r\n\r\n")) != std::string::npos) {
                    size_t at = in.find("Content-Length: ");
                    want = at != std::string::npos && at < end ? atoi(in.c_str() + at + 16) : 0;
                }
                if (end != std::string::npos && in.size() >= end + 4 + want) break;
            }
            std::string head = in.substr(0, end == std::string::npos ? in.size() : end);
            {
                std::lock_guard<std::mutex> lock(mu_);
                heads_.push_back(head);
            }
            std::string out = script_(head, end == std::string::npos ? "" : in.substr(end + 4));
            if (write(c, out.data(), out.size()) < 0) {
            }
            close(c);
        }
    }
    Script script_;
    int fd_ = -1;
    int port_ = 0;
    std::thread thread_;
    std::mutex mu_;
    std::vector<std::string> heads_;
};

std::string httpAnswer(const std::string& body, const std::string& extra = "") {
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n" + extra +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

const char kDiscovery[] =
    "{\"success\":true,\"data\":{\"VURO.Core.TARN\":{\"path\":\"/webapi/entry.cgi\","
    "\"minVersion\":1,\"maxVersion\":2,\"requestFormat\":\"JSON\"}}}";

VURO::CredRequest* rawRequest(int port, int version = 1) {
    VURO_CRED* cred = VUROCredAlloc();
    VURO_CRED_SESS* sess = VUROCredSessAlloc();
    VUROCredItemSetHost(cred, "127.0.0.1");
    VUROCredItemSetPort(cred, port);
    VUROCredItemSetProtocol(cred, "http");
    VUROCredSessItemSetAccessToken(sess, "raw-token-7");
    VUROCredSessItemSetCsrfToken(sess, "raw-csrf-7");
    VURO::CredRequest* req = VURO::CredRequest::CreateWebAPIRequest(
        cred, sess, "VURO.Core.TARN", version, "end_join", Json::Value(Json::objectValue));
    VUROCredFree(cred);
    VUROCredSessFree(sess);
    return req;
}

}  // namespace

TEST_F(Credential, MisbehavingServersGetNothingTheyShouldNot) {
    ASSERT_OK(QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "timeout_cap_ms", "2000", 0));
    // Discovery decides: an absent API or a version out of range builds nothing.
    {
        RawServer s([](const std::string&, const std::string&) { return httpAnswer(kDiscovery); });
        ASSERT_NE(0, s.port());
        EXPECT_TRUE(rawRequest(s.port(), 3) == NULL);
        std::unique_ptr<VURO::CredRequest> ok(rawRequest(s.port(), 2));
        EXPECT_TRUE(ok != NULL);
        ASSERT_FALSE(s.heads().empty());
        EXPECT_EQ(0u, s.heads()[0].find("GET /api/discover?names=VURO.Core.TARN HTTP/1.1"))
            << s.heads()[0];
    }
    // A plain success to a sealed call may be anyone's: it counts as a refusal.
    // Plain calls carry the tokens in headers; sealed ones only the key id.
    {
        RawServer s([](const std::string& head, const std::string&) {
            return httpAnswer(head.compare(0, 4, "GET ") == 0 ? kDiscovery
                                                              : "{\"success\":true,\"data\":{}}");
        });
        std::unique_ptr<VURO::CredRequest> req(rawRequest(s.port()));
        ASSERT_TRUE(req != NULL);
        ASSERT_TRUE(req->Process(true, 0)) << req->GetErrorText();
        EXPECT_EQ("{\"success\":true,\"data\":{}}", req->GetResponse());
        ASSERT_TRUE(req->SetEncryptMode(CRED_REQ_CRYPTO_AES));
        ASSERT_TRUE(req->Process(true, 0)) << req->GetErrorText();
        Json::Value js;
        ASSERT_TRUE(vurojson::fromString(js, req->GetResponse()));
        EXPECT_FALSE(js["success"].asBool()) << js;
        EXPECT_EQ(VUROCRED_CODE_BAD_TOKEN, js["error"]["code"].asInt());
        std::vector<std::string> heads = s.heads();
        ASSERT_EQ(3u, heads.size());
        EXPECT_NE(std::string::npos, heads[1].find("X-Vuro-Access-Token: raw-token-7"));
        EXPECT_NE(std::string::npos, heads[1].find("X-Vuro-Csrf-Token: raw-csrf-7"));
        EXPECT_EQ(std::string::npos, heads[2].find("raw-token-7")) << heads[2];
        EXPECT_EQ(std::string::npos, heads[2].find("raw-csrf-7")) << heads[2];
        EXPECT_NE(std::string::npos,
                  heads[2].find("X-Vuro-Key-Id: " + vurocred::SealKeyId("raw-token-7")));
        for (const std::string& h : heads) {
            EXPECT_EQ(std::string::npos, h.substr(0, h.find('\n')).find("raw-"))
                << "no token in a request line: " << h;
        }
    }
}
