/* serve_test.cpp - "tarn serve" as a browser and an operator meet it:
 * signing in and out, the slowed-down guesser, the certificate "init"
 * makes, start-up failures, workers that die or hang, and the stop. */
#include <dirent.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <netinet/in.h>

#include <fstream>
#include <future>
#include <set>

#include "serve_fixture.h"

using namespace tarntest;

namespace {

/* The children of a process, as /proc lists them. */
std::set<pid_t> childrenOf(pid_t pid) {
    std::set<pid_t> out;
    std::string dir = "/proc/" + std::to_string(pid) + "/task";
    DIR* d = opendir(dir.c_str());
    if (d == nullptr) return out;
    while (struct dirent* e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        std::ifstream in(dir + "/" + e->d_name + "/children");
        for (pid_t child; in >> child;) out.insert(child);
    }
    closedir(d);
    return out;
}

bool processGone(pid_t pid) { return kill(pid, 0) != 0 && errno == ESRCH; }

void securityHeadersExpect(const HttpReply& r, const std::string& what) {
    EXPECT_EQ("default-src 'self'; frame-ancestors 'none'", r.header("content-security-policy"))
        << what;
    EXPECT_EQ("nosniff", r.header("x-content-type-options")) << what;
    EXPECT_EQ("DENY", r.header("x-frame-options")) << what;
    EXPECT_EQ("no-store", r.header("cache-control")) << what;
}

}  // namespace

TEST_F(ServeTest, SignInSessionAndSignOut) {
    serveStart();
    // One text for a wrong password and an unknown account.
    ConsoleSession wrong = consoleSignIn(server_, "admin", "not-the-password");
    ConsoleSession nobody = consoleSignIn(server_, "mallory", "whatever-it-is");
    EXPECT_EQ(401, wrong.reply.status);
    EXPECT_EQ(401, nobody.reply.status);
    EXPECT_EQ(wrong.reply.body, nobody.reply.body);
    EXPECT_EQ("", wrong.reply.header("set-cookie"));

    ConsoleSession admin = consoleSignIn(server_, "admin", kAdminPassword);
    ASSERT_EQ(200, admin.reply.status) << admin.reply.body;
    securityHeadersExpect(admin.reply, "sign-in");
    std::string cookie = admin.reply.header("set-cookie");
    EXPECT_NE(std::string::npos, cookie.find("; HttpOnly; Secure; SameSite=Strict; Path=/"))
        << cookie;
    EXPECT_EQ(43u, admin.sid.size());
    EXPECT_EQ(64u, admin.csrf.size());
    EXPECT_EQ("admin", admin.reply.json["user"].asString());
    EXPECT_TRUE(admin.reply.json["admin"].asBool());
    Json::Int64 expires = admin.reply.json["expires"].asInt64();
    EXPECT_NEAR((double)time(nullptr) + 12 * 3600, (double)expires, 5);
    // Neither token is in the answer's body but the console's own CSRF.
    EXPECT_EQ(std::string::npos, admin.reply.body.find(admin.sid));

    // The store holds it under the console's app name, the CSRF with it.
    bool stored = false;
    for (const Json::Value& line : storeLines()) {
        if (line["id"].asString() != admin.sid) continue;
        stored = true;
        EXPECT_EQ("VURO.TARN.Console", line["app"].asString());
        EXPECT_EQ("admin", line["user"].asString());
        EXPECT_EQ(expires, line["expires"].asInt64());
        EXPECT_NE(std::string::npos, line["extra"].asString().find(admin.csrf));
    }
    EXPECT_TRUE(stored);

    ConsoleSession bob = consoleSignIn(server_, "bob", kBobPassword);
    ASSERT_EQ(200, bob.reply.status);
    EXPECT_FALSE(bob.reply.json["admin"].asBool());
    EXPECT_NE(admin.sid, bob.sid);
    EXPECT_NE(admin.csrf, bob.csrf);

    HttpReply session = server_.call("GET", "/api/session", {"Cookie: tarn_sid=" + admin.sid});
    EXPECT_EQ(200, session.status);
    EXPECT_EQ(admin.reply.json, session.json);
    // Among other cookies, too.
    session = server_.call("GET", "/api/session", {"Cookie: theme=dark; tarn_sid=" + bob.sid});
    EXPECT_EQ("bob", session.json["user"].asString());

    // Sign-out needs the session's own token: none, or bob's, is refused.
    std::vector<std::string> noToken = {"Cookie: tarn_sid=" + admin.sid};
    EXPECT_EQ(403, server_.call("POST", "/api/signout", noToken).status);
    std::vector<std::string> bobsToken = {"Cookie: tarn_sid=" + admin.sid,
                                          "X-CSRF-Token: " + bob.csrf};
    EXPECT_EQ(403, server_.call("POST", "/api/signout", bobsToken).status);
    EXPECT_EQ(200, server_.call("GET", "/api/session", noToken).status);

    HttpReply out = server_.call("POST", "/api/signout", admin.headers());
    EXPECT_EQ(200, out.status);
    EXPECT_TRUE(out.json["signed_out"].asBool());
    EXPECT_NE(std::string::npos, out.header("set-cookie").find("Max-Age=0"));
    EXPECT_EQ(401, server_.call("GET", "/api/session", noToken).status);
    EXPECT_EQ(401, server_.call("POST", "/api/signout", admin.headers()).status);
    for (const Json::Value& line : storeLines()) EXPECT_NE(admin.sid, line["id"].asString());
    // Bob's session is his own and stays.
    EXPECT_EQ(200, server_.call("GET", "/api/session", {"Cookie: tarn_sid=" + bob.sid}).status);
}

TEST_F(ServeTest, FailedSignInsSlowTheAccountDown) {
    serveStart();
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(
            401, consoleSignIn(server_, "admin", "guess-number-" + std::to_string(i)).reply.status);
    }
    // Shut now, even to the right password, and only for this account.
    ConsoleSession held = consoleSignIn(server_, "admin", kAdminPassword);
    EXPECT_EQ(429, held.reply.status);
    EXPECT_EQ(1, held.reply.json["retry_after"].asInt()) << held.reply.body;
    EXPECT_EQ("1", held.reply.header("retry-after"));
    EXPECT_EQ("", held.sid);
    EXPECT_EQ(200, consoleSignIn(server_, "bob", kBobPassword).reply.status);

    // Each further failure doubles the wait.
    usleep(1100 * 1000);
    EXPECT_EQ(401, consoleSignIn(server_, "admin", "guess-number-3").reply.status);
    EXPECT_EQ(2, consoleSignIn(server_, "admin", kAdminPassword).reply.json["retry_after"].asInt());
    usleep(2100 * 1000);
    EXPECT_EQ(200, consoleSignIn(server_, "admin", kAdminPassword).reply.status);
    // A success forgets the failures.
    EXPECT_EQ(401, consoleSignIn(server_, "admin", "guess-number-4").reply.status);
    EXPECT_EQ(200, consoleSignIn(server_, "admin", kAdminPassword).reply.status);
}

TEST_F(ServeTest, CertificateAndStartFailures) {
    struct stat st;
    ASSERT_OK(stat(sys("/etc/tarn/serve.key").c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777);
    std::string cert = readFile(sys("/etc/tarn/serve.crt"));
    EXPECT_EQ(0u, cert.find("-----BEGIN CERTIFICATE-----"));
    // A second init keeps the certificate clients may have pinned.
    ASSERT_EQ(0, tarn({"init", "--data", std::string(TARN_SOURCE_DIR) + "/data"}));
    EXPECT_EQ(cert, readFile(sys("/etc/tarn/serve.crt")));

    // A taken port.
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(addr);
    ASSERT_OK(bind(fd, (struct sockaddr*)&addr, sizeof(addr)));
    ASSERT_OK(listen(fd, 1));
    ASSERT_OK(getsockname(fd, (struct sockaddr*)&addr, &len));
    std::string port = std::to_string(ntohs(addr.sin_port));
    std::string err;
    EXPECT_EQ(1,
              runProgram({TARN_CLI_PATH, "--root", root_, "serve", "--listen", "127.0.0.1:" + port},
                         nullptr, &err));
    EXPECT_NE(std::string::npos,
              err.find("cannot listen on 127.0.0.1:" + port + ": the port is taken"))
        << err;
    close(fd);

    // Bad words for the address: usage errors.
    for (const char* listen : {"localhost:80", "127.0.0.1", "127.0.0.1:65536", "127.0.0.1:x"}) {
        EXPECT_EQ(2, runProgram({TARN_CLI_PATH, "--root", root_, "serve", "--listen", listen},
                                nullptr, &err))
            << listen;
    }
    EXPECT_EQ(2,
              runProgram({TARN_CLI_PATH, "--root", root_, "serve", "--port", "1"}, nullptr, &err));
    // The worker is no command of its own.
    EXPECT_EQ(2, runProgram({TARN_CLI_PATH, "--root", root_, "serve-worker"}, nullptr, &err));

    // A certificate that cannot be read, then one that is no certificate.
    std::string listenAt = "127.0.0.1:" + std::to_string(loopbackPortFree());
    ASSERT_OK(rename(sys("/etc/tarn/serve.crt").c_str(), sys("/etc/tarn/moved.crt").c_str()));
    EXPECT_EQ(1, runProgram({TARN_CLI_PATH, "--root", root_, "serve", "--listen", listenAt},
                            nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("cannot read " + sys("/etc/tarn/serve.crt"))) << err;
    writeFile(sys("/etc/tarn/serve.crt"), "not a certificate\n");
    EXPECT_EQ(1, runProgram({TARN_CLI_PATH, "--root", root_, "serve", "--listen", listenAt},
                            nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("is not usable")) << err;
}

TEST_F(ServeTest, WorkersAreReplacedAndStoppedWithTheServer) {
    serveStart({"--workers", "2", "--timeout", "2"});
    std::set<pid_t> workers = childrenOf(server_.pid());
    ASSERT_EQ(2u, workers.size());
    // The lower pid is the first worker, the one an idle pool hands out first.
    pid_t first = *workers.begin();
    pid_t second = *workers.rbegin();
    ConsoleSession admin = consoleSignIn(server_, "admin", kAdminPassword);
    ASSERT_EQ(200, admin.reply.status);
    std::vector<std::string> cookie = {"Cookie: tarn_sid=" + admin.sid};

    // A hung worker holds up only its own request, which is cut off at the
    // time limit; the other worker answers meanwhile.
    ASSERT_OK(kill(first, SIGSTOP));
    double t0 = now();
    auto stuck =
        std::async(std::launch::async, [&] { return server_.call("GET", "/api/session", cookie); });
    usleep(200 * 1000);
    HttpReply quick = server_.call("GET", "/api/session", cookie);
    double quickAt = now() - t0;
    HttpReply slow = stuck.get();
    double slowAt = now() - t0;
    EXPECT_EQ(200, quick.status);
    EXPECT_LT(quickAt, 1.5);
    EXPECT_EQ(504, slow.status) << slow.body;
    EXPECT_GE(slowAt, 1.9);
    EXPECT_TRUE(processGone(first));
    workers = childrenOf(server_.pid());
    EXPECT_EQ(2u, workers.size());
    EXPECT_EQ(1u, workers.count(second));
    EXPECT_EQ(200, server_.call("GET", "/api/session", cookie).status);
    first = *workers.begin();

    // A worker that died between requests is reaped and replaced.
    ASSERT_OK(kill(first, SIGKILL));
    for (double until = now() + 5; now() < until; usleep(50 * 1000)) {
        workers = childrenOf(server_.pid());
        if (workers.size() == 2 && workers.count(first) == 0) break;
    }
    EXPECT_EQ(2u, workers.size());
    EXPECT_EQ(0u, workers.count(first));
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(200, server_.call("GET", "/api/session", cookie).status) << i;
    }

    // SIGTERM: the server ends with 0 and takes its workers along.
    EXPECT_EQ(0, server_.stop());
    for (pid_t w : workers) EXPECT_TRUE(processGone(w)) << w;
    EXPECT_NE(std::string::npos, server_.errText().find("GET /api/session 504"));
}

TEST_F(ServeTest, FullQueueIsRefusedWith503) {
    serveStart({"--workers", "1", "--timeout", "5"});
    std::set<pid_t> workers = childrenOf(server_.pid());
    ASSERT_EQ(1u, workers.size());
    ConsoleSession admin = consoleSignIn(server_, "admin", kAdminPassword);
    ASSERT_EQ(200, admin.reply.status);
    std::vector<std::string> cookie = {"Cookie: tarn_sid=" + admin.sid};

    // The one worker hangs: one request holds it, 64 wait, the rest are refused.
    ASSERT_OK(kill(*workers.begin(), SIGSTOP));
    std::vector<std::future<HttpReply>> calls;
    for (int i = 0; i < 66; i++) {
        calls.push_back(std::async(std::launch::async, [&] {
            return server_.call("GET", "/api/session", cookie, "", 20000);
        }));
    }
    std::map<int, int> statuses;
    for (auto& c : calls) statuses[c.get().status]++;
    EXPECT_EQ(1, statuses[503]);
    EXPECT_EQ(1, statuses[504]);
    EXPECT_EQ(64, statuses[200]);
}
