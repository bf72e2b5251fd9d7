/* serve_hostile_test.cpp - requests a browser never sends: sessions that
 * are not the caller's or not the console's, missing and foreign CSRF
 * tokens, bodies too large or not JSON, unknown commands, and static paths
 * that try to leave the console's folder. Each is a clear 4xx, and nothing
 * is written. */
#include <sys/stat.h>
#include <unistd.h>

#include <vurocgi.h>
#include <vurojson.h>

#include "serve_fixture.h"

using namespace tarntest;

namespace {

/* A session of the store made outside the console, as the join makes
 * them for managed servers or another application for a user. */
std::string foreignSessionMake(const std::string& app, const std::string& user,
                               const std::string& extra) {
    VuroCgi cgi;
    EXPECT_TRUE(VuroCgiInit("", &cgi));
    VuroCgiSetOption(&cgi, CGI_OPT_APP, app.c_str());
    VuroCgiSetOption(&cgi, CGI_OPT_EXTRA, extra.c_str());
    CGI_LOGIN_PARAMS params = {user.c_str(), nullptr, nullptr, 0, FALSE};
    char sid[64] = {0};
    EXPECT_EQ(LOGIN_SUCCESS, VuroCgiLoginNoAuth(&cgi, sid, sizeof(sid), &params));
    VuroCgiFree(&cgi);
    secretNote(sid);
    return sid;
}

}  // namespace

TEST_F(ServeTest, ApiRefusesWhatIsNotASignedInConsoleWithItsToken) {
    serveStart();
    ConsoleSession admin = consoleSignIn(server_, "admin", kAdminPassword);
    ConsoleSession bob = consoleSignIn(server_, "bob", kBobPassword);
    ASSERT_EQ(200, admin.reply.status);
    ASSERT_EQ(200, bob.reply.status);
    std::string ous = sqlValue("SELECT COUNT(*) FROM ou");
    std::string events = logValue("SELECT COUNT(*) FROM log");
    const std::string create = "{\"name\":\"should-not-be\"}";
    auto post = [&](const std::vector<std::string>& headers, const std::string& body = "{}",
                    const std::string& words = "ou/create") {
        return server_.call("POST", "/api/" + words, headers, body);
    };

    // Who is asking: no cookie, an id of no session, a made-up one of the
    // right shape, a managed server's session from the join, another
    // application's session of the same user.
    std::string serverSid = foreignSessionMake("VURO.TARN", "", "{\"VURO.TARN\":\"SN0001\"}");
    std::string otherApp =
        foreignSessionMake("VURO.Other", "admin", "{\"csrf\":\"" + admin.csrf + "\"}");
    const std::vector<std::string> unknownSids = {
        "",        "x",     "\"" + admin.sid + "\"", std::string(43, 'A'), admin.sid + "A",
        serverSid, otherApp};
    for (const std::string& sid : unknownSids) {
        HttpReply r = post({"Cookie: tarn_sid=" + sid, "X-CSRF-Token: " + admin.csrf}, create);
        EXPECT_EQ(401, r.status) << sid << " " << r.body;
        EXPECT_EQ("not signed in (or the session has ended)", r.json["error"].asString());
        EXPECT_EQ(401, server_.call("GET", "/api/session", {"Cookie: tarn_sid=" + sid}).status)
            << sid;
    }
    EXPECT_EQ(401, post({"X-CSRF-Token: " + admin.csrf}, create).status);

    // The token: none, empty, bob's with admin's cookie, admin's in a
    // cookie instead of the header, a prefix of the right one.
    const std::string cookie = "Cookie: tarn_sid=" + admin.sid;
    for (const std::vector<std::string>& headers : std::vector<std::vector<std::string>>{
             {cookie},
             {cookie, "X-CSRF-Token: "},
             {cookie, "X-CSRF-Token: " + bob.csrf},
             {cookie + "; X-CSRF-Token=" + admin.csrf},
             {cookie, "X-CSRF-Token: " + admin.csrf.substr(0, 63)}}) {
        HttpReply r = post(headers, create);
        EXPECT_EQ(403, r.status) << headers.back() << " " << r.body;
        EXPECT_EQ("missing or wrong CSRF token", r.json["error"].asString());
    }

    // An expired session is refused and leaves the store.
    std::string store = readFile(sys(VUROCGI_SESSION_FILE));
    std::string before = "\"id\":\"" + bob.sid + "\"";
    size_t at = store.find(before);
    ASSERT_NE(std::string::npos, at);
    size_t exp = store.find("\"expires\":", at) + 10;
    store.replace(exp, store.find(',', exp) - exp, std::to_string(time(nullptr) - 1));
    writeFile(sys(VUROCGI_SESSION_FILE), store, 0600);
    EXPECT_EQ(401, post(bob.headers(), create).status);
    EXPECT_EQ(std::string::npos, readFile(sys(VUROCGI_SESSION_FILE)).find(bob.sid));

    // A session whose account was removed since is no sign-in either.
    ConsoleSession alice = consoleSignIn(server_, "alice", kAlicePassword);
    ASSERT_EQ(200, alice.reply.status);
    writeFile(sys("/etc/passwd"),
              "root:x:0:0::/:/bin/sh\nadmin:x:1001:100::/:/bin/sh\nbob:x:1003:100::/:/bin/sh\n");
    EXPECT_EQ(401, post(alice.headers(), create).status);

    // The body: over 1 MiB (refused before it is read), not JSON, not an
    // object, JSON with rubbish after it.
    HttpReply big = post(admin.headers(), "{\"name\":\"" + std::string(1 << 20, 'x') + "\"}");
    EXPECT_EQ(413, big.status);
    EXPECT_EQ("the body is larger than 1 MiB", big.json["error"].asString());
    for (std::string body : {"{\"name\":", "[\"name\"]", "\"name\"", "17", "{} {}", "nul"}) {
        HttpReply r = post(admin.headers(), body);
        EXPECT_EQ(400, r.status) << body << " " << r.body;
        EXPECT_TRUE(r.json["error"].isString()) << body;
    }

    // Commands that are none, or that the API does not run.
    for (std::string words : {"nope", "ou", "ou/nope", "ou/get/more", "OU/get", "ou%20get", "serve",
                              "serve-worker", "ou/../ou/get", "..", "ou/get%00"}) {
        HttpReply r = post(admin.headers(), "{}", words);
        EXPECT_EQ(404, r.status) << words << " " << r.body;
        EXPECT_TRUE(r.json["error"].isString()) << words;
    }
    // The API takes POST only; GET finds no file there either.
    EXPECT_EQ(405, server_.call("GET", "/api/ou/get", admin.headers()).status);
    EXPECT_EQ(405, server_.call("PUT", "/api/ou/create", admin.headers(), create).status);
    EXPECT_EQ(405, server_.call("DELETE", "/api/session", admin.headers()).status);

    // Sign-in: no JSON, no password, wrong types; the right account sent
    // as another site's form would send it.
    for (std::string body : {"", "{\"user\":\"admin\"}", "{\"user\":1,\"password\":\"x\"}",
                             "{\"user\":\"admin\",\"password\":\"\"}", "[]"}) {
        HttpReply r = server_.call("POST", "/api/signin", {"Content-Type: application/json"}, body);
        EXPECT_EQ(400, r.status) << body;
        EXPECT_EQ("", r.header("set-cookie"));
    }
    std::string right = "{\"user\":\"admin\",\"password\":\"" + std::string(kAdminPassword) + "\"}";
    for (const char* type : {"text/plain", "application/x-www-form-urlencoded"}) {
        HttpReply r =
            server_.call("POST", "/api/signin", {std::string("Content-Type: ") + type}, right);
        EXPECT_EQ(415, r.status) << type;
        EXPECT_EQ("", r.header("set-cookie"));
    }

    EXPECT_EQ(ous, sqlValue("SELECT COUNT(*) FROM ou"));
    EXPECT_EQ(events, logValue("SELECT COUNT(*) FROM log"));
    // No token or password in what the server wrote (the leak check reads it
    // at the end), and no stack trace or worker noise either.
    EXPECT_EQ(0, server_.stop()) << server_.errText();
    EXPECT_EQ(std::string::npos, server_.errText().find("serve-worker:")) << server_.errText();
}

TEST_F(ServeTest, StaticFilesStayInTheirFolder) {
    // A link out of the folder and one within it: neither is followed.
    std::string www = dataDir() + "/www";
    ASSERT_OK(symlink(sys("/etc/passwd").c_str(), (www + "/passwd.txt").c_str()));
    ASSERT_OK(symlink((www + "/sub").c_str(), (www + "/linked").c_str()));
    writeFile(www + "/.hidden.html", "hidden\n");
    writeFile(www + "/page.css", "body{}\n");
    serveStart();

    struct Case {
        const char* target;
        int status;
        const char* type;
        const char* text;
    };
    const Case kCases[] = {
        {"/", 200, "text/html; charset=utf-8", "<title>console</title>"},
        {"/index.html", 200, "text/html; charset=utf-8", "<title>console</title>"},
        {"/app.js", 200, "text/javascript; charset=utf-8", "export const"},
        {"/page.css", 200, "text/css; charset=utf-8", "body{}"},
        {"/sub/", 200, "text/html; charset=utf-8", "<p>sub</p>"},
        {"/sub", 200, "text/html; charset=utf-8", "<p>sub</p>"},
        {"/sub/../app.js", 404, nullptr, nullptr},
        {"/../etc/passwd", 404, nullptr, nullptr},
        {"/%2e%2e/%2e%2e/etc/passwd", 404, nullptr, nullptr},
        {"/sub%2findex.html", 404, nullptr, nullptr},
        {"/sub%2Findex.html", 404, nullptr, nullptr},
        {"/..%2f..%2fetc%2fpasswd", 404, nullptr, nullptr},
        {"/sub%5c..%5capp.js", 404, nullptr, nullptr},
        {"/app.js%00.html", 404, nullptr, nullptr},
        {"/%zz", 404, nullptr, nullptr},
        {"/passwd.txt", 404, nullptr, nullptr},
        {"/linked/index.html", 404, nullptr, nullptr},
        {"/.hidden.html", 404, nullptr, nullptr},
        {"/missing.html", 404, nullptr, nullptr},
        {"/app.js/", 404, nullptr, nullptr},
    };
    std::string passwd = readFile(sys("/etc/passwd"));
    for (const Case& c : kCases) {
        HttpReply r = server_.call("GET", c.target);
        EXPECT_EQ(c.status, r.status) << c.target;
        EXPECT_EQ("nosniff", r.header("x-content-type-options")) << c.target;
        EXPECT_EQ("DENY", r.header("x-frame-options")) << c.target;
        EXPECT_EQ(0u, r.header("content-security-policy").find("default-src 'self'")) << c.target;
        EXPECT_EQ(std::string::npos, r.body.find("admin:x:1001")) << c.target;
        if (c.type != nullptr) {
            EXPECT_EQ(c.type, r.header("content-type")) << c.target;
            EXPECT_NE(std::string::npos, r.body.find(c.text)) << c.target;
        }
    }
    // The managed servers' entry takes POST only, and never a console session.
    EXPECT_EQ(405, server_.call("GET", "/webapi/entry.cgi").status);
}
