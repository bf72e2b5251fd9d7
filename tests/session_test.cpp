/* session_test.cpp - sessions of this server for managed servers and the
 * check of an incoming session: the lines the store holds, removal by
 * serial, writers racing, each shape of an API list, lookalike ids, and a
 * reader that cannot raise its privileges. */
#include <sys/stat.h>
#include <syslog.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <set>
#include <sstream>

#include "tarn_test.h"
#include "vurocgi.h"
#include "vurojson.h"
#include "vurotarn.h"

using namespace tarntest;

class SessionTest : public TarnTest {
protected:
    std::string storePath() { return sys(VUROCGI_SESSION_FILE); }
    std::vector<Json::Value> storeLines() {
        std::vector<Json::Value> out;
        std::istringstream in(readFile(storePath()));
        std::string line;
        while (std::getline(in, line)) {
            Json::Value js;
            EXPECT_TRUE(vurojson::fromString(js, line)) << line;
            out.push_back(js);
        }
        return out;
    }
    /* Lines written by hand beside whatever the library made. */
    void storeAppend(const std::string& lines) {
        std::string dir = sys(VUROCGI_SESSION_DIR);
        mkdir(dir.c_str(), 0700);
        writeFile(storePath(), readFile(storePath()) + lines, 0600);
    }
};

TEST_F(SessionTest, SessionsAreLinesOfARootOnlyFileFoundAgainBySerial) {
    std::string token1, token2, tokenB;
    ASSERT_TRUE(VUROTARNPeerCreateSessionBySn("SN-A", token1));
    struct stat st;
    ASSERT_EQ(0, stat(storePath().c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777);
    EXPECT_EQ(0u, st.st_uid);
    ASSERT_EQ(0, stat(sys(VUROCGI_SESSION_DIR).c_str(), &st));
    EXPECT_EQ(0700u, st.st_mode & 0777);

    std::vector<Json::Value> lines = storeLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(token1, lines[0]["id"].asString());
    EXPECT_EQ("{\"VURO.TARN\":\"SN-A\"}", lines[0]["extra"].asString());
    // The id stands first on its line, where the search meets it.
    EXPECT_EQ(0u, readFile(storePath()).find("{\"id\":\"" + token1 + "\""));

    // The JSON form: a string token on success, the value untouched else.
    Json::Value jsToken = "untouched";
    ASSERT_TRUE(VUROTARNPeerCreateSessionBySn("SN-A", jsToken));
    ASSERT_TRUE(jsToken.isString());
    token2 = jsToken.asString();
    EXPECT_NE(token1, token2);
    ASSERT_TRUE(VUROTARNPeerCreateSessionBySn("SN-B", tokenB));
    ASSERT_EQ(3u, storeLines().size());

    std::string before = readFile(storePath());
    Json::Value jsKept = "kept";
    std::string strKept = "kept";
    EXPECT_FALSE(VUROTARNPeerCreateSessionBySn("", jsKept));
    EXPECT_FALSE(VUROTARNPeerCreateSessionBySn("", strKept));
    EXPECT_EQ("kept", jsKept.asString());
    EXPECT_EQ("kept", strKept);
    EXPECT_FALSE(VUROTARNPeerDeleteSessionBySn(""));
    EXPECT_EQ(before, readFile(storePath()));

    // One removal takes both sessions of the serial and nothing else; a
    // serial that merely begins like another is another serial.
    EXPECT_FALSE(VUROTARNPeerDeleteSessionBySn("SN-"));
    EXPECT_TRUE(VUROTARNPeerDeleteSessionBySn("SN-A"));
    lines = storeLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(tokenB, lines[0]["id"].asString());
    EXPECT_FALSE(VUROTARNPeerDeleteSessionBySn("SN-A"));

    // A store that cannot be written: its directory replaced by a file
    // (permission bits stop nothing for root).
    std::string dir = sys(VUROCGI_SESSION_DIR);
    ASSERT_EQ(0, system(("rm -rf '" + dir + "'").c_str()));
    writeFile(dir, "not a directory");
    EXPECT_FALSE(VUROTARNPeerCreateSessionBySn("SN-C", jsKept));
    EXPECT_EQ("kept", jsKept.asString());
}

TEST_F(SessionTest, WritersAtOnceLoseNoSession) {
    const int kChildren = 4, kEach = 50;
    std::vector<pid_t> pids;
    for (int c = 0; c < kChildren; c++) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int failed = 0;
            for (int i = 0; i < kEach; i++) {
                std::string token;
                failed += !VUROTARNPeerCreateSessionBySn("SN-" + std::to_string(c), token);
            }
            _exit(failed == 0 ? 0 : 1);
        }
        pids.push_back(pid);
    }
    for (pid_t pid : pids) EXPECT_EQ(0, reapWithin(pid, 60000));
    std::set<std::string> ids;
    for (const Json::Value& js : storeLines()) {
        std::string id = js["id"].asString();
        ids.insert(id);
        // Ids are handed to command lines: none may start like an option
        // (among 200 base64url ids, about six would).
        EXPECT_TRUE(!id.empty() && isalnum((unsigned char)id[0])) << id;
    }
    EXPECT_EQ((size_t)(kChildren * kEach), ids.size());
    EXPECT_EQ((size_t)(kChildren * kEach), storeLines().size());
}

TEST_F(SessionTest, CheckAdmitsManagedServersByTheirApiList) {
    std::string token;
    ASSERT_TRUE(VUROTARNPeerCreateSessionBySn("SN-M", token));
    // Sessions of other shapes, as the store could hold them.
    storeAppend(
        "{\"id\":\"USER1\",\"app\":\"web\",\"user\":\"alice\",\"extra\":\"{}\",\"webapi\":\"[]\"}\n"
        "{\"id\":\"USER2\",\"app\":\"web\",\"user\":\"bob\"}\n"
        "{\"id\":\"ONE\",\"extra\":\"{\\\"VURO.TARN\\\":\\\"SN-1\\\"}\","
        "\"webapi\":\"\\\"VURO.Foo\\\"\"}\n"
        "{\"id\":\"EMPTY\",\"extra\":\"{\\\"VURO.TARN\\\":\\\"SN-E\\\"}\",\"webapi\":\"[]\"}\n"
        "{\"id\":\"NONE\",\"extra\":\"{\\\"VURO.TARN\\\":\\\"SN-N\\\"}\"}\n"
        "{\"id\":\"NUMS\",\"extra\":\"{\\\"VURO.TARN\\\":\\\"SN-9\\\"}\","
        "\"webapi\":\"[1,2.5,\\\"VURO.X\\\"]\"}\n"
        "{\"id\":\"BROKEN\",\"extra\":\"{\\\"VURO.TARN\\\":\\\"SN-B\\\"}\",\"webapi\":\"[oops\"}\n"
        "{\"id\":\"OBJ\",\"extra\":\"{\\\"VURO.TARN\\\":\\\"SN-O\\\"}\",\"webapi\":\"{\\\"a\\\":1}"
        "\"}\n"
        "\"NOJSON\" is not a session line\n");
    std::string serial;

    // A plain user's session, with an empty list or none, is refused.
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("USER1", "VURO.TARN", &serial));
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("USER2", "VURO.TARN", &serial));
    EXPECT_EQ("", serial);

    EXPECT_TRUE(VUROTARNPeerCheckWebapiPriviege(token, "VURO.NotificationCenter.Push", &serial));
    EXPECT_EQ("SN-M", serial);
    serial.clear();
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege(token, "VURO.Core.Share", &serial));
    EXPECT_EQ("SN-M", serial) << "the serial is given also when the API is refused";
    EXPECT_TRUE(VUROTARNPeerCheckWebapiPriviege(token, "VURO.TARN", NULL));
    // An entry longer than the API does not match it.
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege(token, "VURO.Notification", NULL));

    EXPECT_TRUE(VUROTARNPeerCheckWebapiPriviege("ONE", "VURO.FooBar", &serial));
    EXPECT_EQ("SN-1", serial);
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("ONE", "VURO.Bar", NULL));
    EXPECT_TRUE(VUROTARNPeerCheckWebapiPriviege("EMPTY", "Anything.At.All", NULL));
    EXPECT_TRUE(VUROTARNPeerCheckWebapiPriviege("NONE", "Anything.At.All", NULL));
    EXPECT_TRUE(VUROTARNPeerCheckWebapiPriviege("NUMS", "VURO.X.Y", NULL));
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("NUMS", "1", NULL));
    serial.clear();
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("BROKEN", "VURO.TARN", &serial));
    EXPECT_EQ("SN-B", serial);
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("OBJ", "VURO.TARN", NULL));
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("NOJSON", "VURO.TARN", NULL));
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("no-such-session", "VURO.TARN", NULL));
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege("", "VURO.TARN", NULL));

    // Texts that stand in quotes on a managed server's line without being
    // its id: none of them is a token.
    for (const char* lookalike : {"VURO.TARN", "extra", "id", "app", "webapi", "SN-M"}) {
        serial = "none";
        EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege(lookalike, "VURO.TARN", &serial)) << lookalike;
        EXPECT_EQ("none", serial) << lookalike;
    }
    EXPECT_FALSE(logHas("Failed [")) << "an unknown id is no fault: " << logDump();

    EXPECT_TRUE(VUROTARNPeerDeleteSessionBySn("SN-M"));
    EXPECT_FALSE(VUROTARNPeerCheckWebapiPriviege(token, "VURO.TARN", NULL));
}

TEST_F(SessionTest, ReaderThatCannotRaiseMeetsTheRootOnlyFile) {
    std::string token;
    ASSERT_TRUE(VUROTARNPeerCreateSessionBySn("SN-P", token));
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        logClear();
        // Saved ids given up too: the bracket cannot raise.
        if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) _exit(3);
        std::string serial;
        if (VUROTARNPeerCheckWebapiPriviege(token, "VURO.TARN", &serial)) _exit(1);
        _exit(logHas("!!Failed [0 < QLIBCFileGetLine(") && serial.empty() ? 0 : 2);
    }
    EXPECT_EQ(0, reapWithin(pid, 30000)) << "1: admitted, 2: no trace, 3: no setresuid";
    // Root reads it as before.
    EXPECT_TRUE(VUROTARNPeerCheckWebapiPriviege(token, "VURO.TARN", NULL));
}

TEST_F(SessionTest, SessionIdInALineOrAnOutputIsCaughtAtTheTestsEnd) {
    std::string sid;
    ASSERT_TRUE(VUROTARNPeerCreateSessionBySn("SN-LEAK", sid));
    ASSERT_TRUE(secretLeaks().empty());
    // A child's line and a program's output each count; an answer printed
    // as it came does not.
    ASSERT_EQ(0, runInChild(
                     [&]() {
                         syslog(LOG_ERR, "handing out %s", sid.c_str());
                         syslog(LOG_ERR, "Client 3 response is invalid {\"sid\":\"%s\"}",
                                sid.c_str());
                         return 0;
                     },
                     5000));
    ASSERT_EQ(0, runProgram({"/bin/echo", "token=" + sid}));
    std::vector<std::string> leaks = secretLeaks();
    ASSERT_EQ(2u, leaks.size());
    EXPECT_EQ(0u, leaks[0].find("the log: ")) << leaks[0];
    EXPECT_NE(std::string::npos, leaks[0].find("handing out")) << leaks[0];
    EXPECT_EQ(0u, leaks[1].find("a program's output: token=")) << leaks[1];

    // A failed write of a peer traces its statement with the tokens cut.
    VURO_TARN_PEER peer;
    VUROTARNPeerItemSetSN(&peer, "SN-LEAK");
    peer.str_sid = sid;
    sql("CREATE TRIGGER frozen BEFORE INSERT ON peer BEGIN SELECT RAISE(ABORT, 'frozen'); END;");
    writeFile(logFilePath(), "");
    secretsReset();
    EXPECT_NE(0, VUROTARNPeerCreate(&peer));
    EXPECT_TRUE(logHas("Exec sql:[")) << logDump();
    EXPECT_TRUE(logHas(sid.substr(0, 4) + "...(" + std::to_string(sid.size()) + " chars)"))
        << logDump();
    EXPECT_TRUE(secretLeaks().empty());
}
