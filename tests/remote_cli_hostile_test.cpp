/* remote_cli_hostile_test.cpp - the tool's remote verbs given what a
 * careless script or a hostile caller passes: a JSON text near the
 * kernel's limit for one argument, ids at the ends of their type, a MAC far
 * too long, a serial with quotes. Each ends with a message and a failure
 * status, and no row and no session changes. */
#include <climits>

#include <sqlite3.h>

#include "tarn_test.h"
#include "vurotarnpeer.h"

using namespace tarntest;

namespace {

/* Every row of every table of a database file, as text. */
std::string databaseText(const std::string& file) {
    sqlite3* db = nullptr;
    std::string out;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        return "cannot open " + file;
    }
    std::vector<std::string> tables;
    auto keep = [](void* p, int n, char** v, char**) {
        std::string* text = static_cast<std::string*>(p);
        for (int i = 0; i < n; i++) *text += std::string(v[i] ? v[i] : "NULL") + "|";
        *text += "\n";
        return 0;
    };
    std::string names;
    sqlite3_exec(db, "SELECT name FROM sqlite_master WHERE type='table' ORDER BY name", keep,
                 &names, nullptr);
    size_t at = 0;
    while ((at = names.find("|\n")) != std::string::npos) {
        std::string table = names.substr(0, at);
        names.erase(0, at + 2);
        out += "== " + table + "\n";
        char* q = sqlite3_mprintf("SELECT * FROM \"%w\" ORDER BY rowid", table.c_str());
        sqlite3_exec(db, q, keep, &out, nullptr);
        sqlite3_free(q);
    }
    sqlite3_close(db);
    return out;
}

}  // namespace

class RemoteCliHostileTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        // One managed server where nothing listens, so that an argument
        // that got through would meet a refused connection, not a hang.
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, "SNKEEP01");
        peer.str_host = "127.0.0.1";
        peer.http_port = 1;
        peer.https_port = 1;
        peer.str_sid = "sid-hostile-cli-0001";
        ASSERT_OK(VUROTARNPeerCreate(&peer));
        remoteTimeoutCap(2000);
        ASSERT_OK(QLIBCFileSetKeyValue("/etc/vuro/scout.conf", "listen_ms", "100", 0));
    }
    /* Everything a verb could change: both databases and the session store. */
    std::string state() {
        return databaseText(sys("/var/packages/TARN/target/db/tarn_db.sqlite")) +
               databaseText(sys("/var/packages/TARN/target/db/tarnlog_db.sqlite")) +
               readFile(sys("/var/run/vurocgi/sessions"));
    }
    /* The verb fails with 1 or 2 and says why on stderr, and changes nothing. */
    void refused(const std::vector<std::string>& args) {
        std::string before = state();
        std::vector<std::string> argv = {TARN_CLI_PATH, "--root", root_};
        argv.insert(argv.end(), args.begin(), args.end());
        std::string out, err;
        int rc = runProgram(argv, &out, &err);
        std::string shown = args[0] + " " + (args.size() > 1 ? args[1].substr(0, 40) : "") +
                            (args.size() > 2 ? " " + args[2].substr(0, 40) : "");
        EXPECT_TRUE(rc == 1 || rc == 2) << shown << ": exit " << rc << "\n" << out.substr(0, 300);
        EXPECT_NE(std::string::npos, err.find("tarn")) << shown << ": no message: " << err;
        for (const std::string& a : args) {
            if (a.size() > 1000) {
                EXPECT_EQ(std::string::npos, err.find(a)) << shown << ": the argument came back";
            }
        }
        EXPECT_EQ(before, state()) << shown;
    }
};

TEST_F(RemoteCliHostileTest, IdsAtTheEndsOfTheirTypeAreRefusedEverywhere) {
    // 0 is the root OU and the root user, and waiting 0 s is no wait: it
    // is an end only where a peer is named.
    const std::vector<std::string> ends = {"-1", std::to_string(LONG_MAX),
                                           "18446744073709551616", "1e3"};
    for (const std::string& id : ends) {
        refused({"cache-push", "--ou", id});
        refused({"notify-fetch", "--uid", id, "--peer", "1"});
        refused({"notify-fetch", "--uid", "1024", "--peer", "1", "--wait", id});
        refused({"peer", "call", "1", "VURO.API.Info", id, "query"});
    }
    std::vector<std::string> peerIds = ends;
    peerIds.push_back("0");
    for (const std::string& id : peerIds) {
        refused({"peer", "call", id, "VURO.API.Info", "1", "query"});
        refused({"update-server", id});
        refused({"update-server", "[" + id + "]"});
        refused({"cache-push", "--ids", id});
        refused({"notify-fetch", "--uid", "1024", "--peer", id});
        refused({"discover", "--ids", id});
        refused({"wake", "--peer", id});
    }
}

TEST_F(RemoteCliHostileTest, HugeTextsLongMacsAndQuotedSerialsAreRefused) {
    // Near the 128 KiB that one argument may have: JSON that is no JSON,
    // and JSON of a shape that does not belong there.
    const std::string broken = "{\"host\":\"" + std::string(100 * 1024, 'a');
    const std::string wrong = "[" + std::string(100 * 1024 / 4, '1') + "," + "\"x\"]";
    for (const std::string& text : {broken, wrong}) {
        refused({"peer", "call", "1", "VURO.API.Info", "1", "query", text});
        refused({"conninfo", "--assign", text});
        refused({"update-server", "1", "--assign", text});
        refused({"update-server", text});
        refused({"discover", "--sn", text});
    }
    const std::string fleet = sys("/fleet.json");
    writeFile(fleet, broken);
    refused({"join", fleet, "--server-host", "127.0.0.1"});
    writeFile(fleet, wrong);
    refused({"join", fleet, "--server-host", "127.0.0.1"});

    std::string longMac;
    for (int i = 0; i < 33; i++) longMac += "AB:";
    longMac += "A";
    ASSERT_EQ(100u, longMac.size());
    refused({"wake", "--mac", longMac});
    refused({"wake", "--mac", "-1:-1:-1:-1:-1:-1"});

    // A session id of any size is looked up, never admitted.
    Json::Value out;
    ASSERT_EQ(0, tarn({"session", "check", broken, "VURO.API.Info"}, &out));
    EXPECT_FALSE(out["allowed"].asBool());

    // A serial that names no stored server gets no session, quoted or not.
    for (const std::string sn : {"SN\"1", "SN'1", "\"\"\"\"\"\"\"\"", "SN\",\"x\":\"1"}) {
        refused({"session", "create", sn});
        refused({"session", "delete", sn});
        refused({"join", fleet, "--server-host", sn});
    }
}
