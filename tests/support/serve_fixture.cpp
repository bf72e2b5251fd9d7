/* serve_fixture.cpp - the service tests' root: accounts, passwords and
 * console files, and the server stopped and reaped after each test. */
#include <sys/stat.h>

#include <sstream>

#include <vurocgi.h>
#include <vurocore.h>
#include <vurojson.h>

#include "serve_fixture.h"

namespace tarntest {

void ServeTest::SetUp() {
    RemoteTest::SetUp();
    writeFile(sys("/etc/passwd"),
              "root:x:0:0::/:/bin/sh\nadmin:x:1001:100::/:/bin/sh\n"
              "alice:x:1002:100::/:/bin/sh\nbob:x:1003:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\nadministrators:x:101:admin\n");
    ASSERT_OK(VUROUserPasswordSet("admin", kAdminPassword));
    ASSERT_OK(VUROUserPasswordSet("alice", kAlicePassword));
    ASSERT_OK(VUROUserPasswordSet("bob", kBobPassword));
    for (const char* pw : {kAdminPassword, kAlicePassword, kBobPassword}) secretNote(pw);
    std::string www = dataDir() + "/www";
    ASSERT_OK(mkdir(dataDir().c_str(), 0755));
    ASSERT_OK(mkdir(www.c_str(), 0755));
    ASSERT_OK(mkdir((www + "/sub").c_str(), 0755));
    writeFile(www + "/index.html", "<!doctype html><title>console</title>\n");
    writeFile(www + "/app.js", "export const console = 1;\n");
    writeFile(www + "/sub/index.html", "<p>sub</p>\n");
}

void ServeTest::TearDown() {
    if (server_.pid() > 0) {
        std::string err = server_.errText();
        EXPECT_EQ(0, server_.stop()) << err;
    }
    RemoteTest::TearDown();
}

void ServeTest::serveStart(const std::vector<std::string>& options) {
    std::vector<std::string> all = {"--data", dataDir()};
    all.insert(all.end(), options.begin(), options.end());
    std::string err;
    ASSERT_TRUE(server_.start(root_, all, &err)) << err;
}

std::vector<Json::Value> ServeTest::storeLines() {
    std::vector<Json::Value> out;
    std::istringstream in(readFile(sys(VUROCGI_SESSION_FILE)));
    for (std::string line; std::getline(in, line);) {
        Json::Value j;
        if (vurojson::fromString(j, line)) out.push_back(j);
    }
    return out;
}

}  // namespace tarntest
