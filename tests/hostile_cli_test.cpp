/* hostile_cli_test.cpp - the tarn tool against a careless or hostile command
 * line and a broken root: options it does not know, options in odd places,
 * --help on destructive commands, two writers of one record at once, and
 * databases that cannot be read. Nothing may run half-understood, lose a
 * change or pass a failure off as an empty answer. */
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sqlite3.h>

#include "tarn_test.h"

using namespace tarntest;

class HostileCliTest : public TarnTest {
protected:
    /* The tool on this root; its exit status, stdout and stderr. */
    int tarnErr(std::vector<std::string> args, std::string* pOut, std::string* pErr) {
        args.insert(args.begin(), {TARN_CLI_PATH, "--root", root_});
        return runProgram(args, pOut, pErr);
    }
    std::string mainDb() const { return sys("/var/packages/TARN/target/db/tarn_db.sqlite"); }
    std::string logDb() const { return sys("/var/packages/TARN/target/db/tarnlog_db.sqlite"); }
    static bool has(const std::string& text, const std::string& piece) {
        return text.find(piece) != std::string::npos;
    }
};

TEST_F(HostileCliTest, OptionsAreCheckedBeforeAnythingRuns) {
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Keep"}, &j));
    std::string keep = std::to_string(j["id"].asInt64());
    std::string out, err;

    // A typo names the option, shows the usage and writes nothing.
    EXPECT_EQ(2, tarnErr({"ou", "create", "--nmae", "X"}, &out, &err));
    EXPECT_TRUE(has(err, "unknown option --nmae")) << err;
    EXPECT_TRUE(has(err, "usage: tarn")) << err;
    EXPECT_EQ("", out);
    // An option without its value, a flag with one, one given twice, a word
    // too many.
    EXPECT_EQ(2, tarnErr({"ou", "create", "--name"}, &out, &err));
    EXPECT_TRUE(has(err, "--name needs a value")) << err;
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "--desc", "D"}));
    EXPECT_EQ(2, tarnErr({"ou", "list", "--desc-order", "yes"}, &out, &err));
    EXPECT_TRUE(has(err, "--desc-order takes no value")) << err;
    EXPECT_EQ(2, tarn({"ou", "list", "--desc-order=1"}));
    EXPECT_EQ(2, tarn({"ou", "create", "--name", "A", "--name", "B"}));
    EXPECT_EQ(2, tarn({"ou", "set", keep, keep, "--name", "B"}));
    EXPECT_EQ(2, tarn({"ou", "get", keep, "-x"}));
    EXPECT_EQ(2, tarn({"--name", "A", "ou", "create"}));
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM ou"));
    EXPECT_EQ("Keep", sqlValue("SELECT name FROM ou WHERE id=" + keep));

    // Destructive commands with a word they do not know do nothing.
    std::string rows = logValue("SELECT count(*) FROM log");
    EXPECT_EQ(2, tarn({"log", "clear", "--al"}));
    EXPECT_EQ(2, tarn({"ou", "delete", keep, "--force"}));
    EXPECT_EQ(2, tarn({"delete-tree", "--ou", keep, "--dry-run"}));
    EXPECT_EQ(2, tarn({"delete-tree", "--ou", keep, "--sn"}));
    EXPECT_EQ(rows, logValue("SELECT count(*) FROM log"));
    EXPECT_EQ("Keep", sqlValue("SELECT name FROM ou WHERE id=" + keep));

    // A word alone searches every field; a field without a word, or one
    // that does not exist, would quietly drop the filter.
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Other"}));
    ASSERT_EQ(0, tarn({"log", "list", "--word", "Keep"}, &j));
    EXPECT_EQ(1u, j["items"].size()) << j;
    EXPECT_EQ(2, tarn({"log", "list", "--field", "all"}));
    EXPECT_EQ(2, tarn({"log", "list", "--word", "Keep", "--field", "name"}));

    // A value that starts with "--" is given inline.
    ASSERT_EQ(0, tarn({"ou", "set", keep, "--desc=--draft--"}, &j));
    EXPECT_EQ("--draft--", j["desc"].asString());
}

TEST_F(HostileCliTest, RootUserAndVerboseGoAnywhere) {
    // A second root inside this test's own; the environment names the first.
    std::string other = root_ + "/other";
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "init", "--data",
                             std::string(TARN_SOURCE_DIR) + "/data", "--root", other}));
    ASSERT_STREQ(root_.c_str(), getenv("VURO_SYSROOT"));
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "ou", "create", "--name", "There", "--root", other}));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM ou"));  // the root OU alone
    std::string out, err;
    ASSERT_EQ(0, runProgram({TARN_CLI_PATH, "ou", "list", "--root", other}, &out));
    EXPECT_TRUE(has(out, "\"There\"")) << out;
    EXPECT_EQ(2, runProgram({TARN_CLI_PATH, "--root", root_, "ou", "list", "--root", other}));

    ASSERT_EQ(0, tarn({"ou", "create", "--user", "carol", "--name", "Here"}));
    EXPECT_EQ("carol", logValue("SELECT username FROM log ORDER BY id DESC LIMIT 1"));
    EXPECT_EQ(1, tarnErr({"ou", "get", "31337", "-v"}, &out, &err));
    EXPECT_TRUE(has(err, "Failed to get VURO_TARN_OU, id = [31337]")) << err;
    EXPECT_EQ(1, tarnErr({"ou", "get", "31337"}, &out, &err));
    EXPECT_FALSE(has(err, "Failed to get VURO_TARN_OU")) << err;
}

TEST_F(HostileCliTest, HelpDoesNothingAndInitNeedsARoot) {
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "Keep"}, &j));
    std::string keep = std::to_string(j["id"].asInt64());
    std::string out, err;
    EXPECT_EQ(0, tarnErr({"ou", "delete", keep, "--help"}, &out, &err));
    EXPECT_TRUE(has(out, "usage: tarn")) << out;
    EXPECT_EQ(0, tarn({"log", "clear", "-h"}));
    EXPECT_EQ(0, tarn({"delete-tree", "--ou", keep, "--help"}));
    EXPECT_EQ("Keep", sqlValue("SELECT name FROM ou WHERE id=" + keep));
    EXPECT_NE("0", logValue("SELECT count(*) FROM log"));

    // "init --help" lays out nothing, not even in the root it names.
    std::string empty = root_ + "/empty";
    ASSERT_EQ(0, mkdir(empty.c_str(), 0755));
    EXPECT_EQ(0, runProgram({TARN_CLI_PATH, "--root", empty, "init", "--help"}, &out));
    EXPECT_TRUE(has(out, "usage: tarn")) << out;
    DIR* d = opendir(empty.c_str());
    ASSERT_NE(nullptr, d);
    int entries = 0;
    while (readdir(d) != nullptr) entries++;
    closedir(d);
    EXPECT_EQ(2, entries);  // "." and ".."

    // Without --root or VURO_SYSROOT, init refuses rather than lay out this
    // system's own root. The data folder named has no schema, so that even
    // a tool that went ahead would stop before writing.
    unsetenv("VURO_SYSROOT");
    int rc = runProgram({TARN_CLI_PATH, "init", "--data", empty}, &out, &err);
    setenv("VURO_SYSROOT", root_.c_str(), 1);
    EXPECT_EQ(2, rc);
    EXPECT_TRUE(has(err, "--root")) << err;
}

TEST_F(HostileCliTest, ConcurrentSetsOfOneOuLoseNothing) {
    Json::Value j;
    ASSERT_EQ(0, tarn({"ou", "create", "--name", "N0"}, &j));
    std::string id = std::to_string(j["id"].asInt64());
    std::string tool = std::string(TARN_CLI_PATH) + " --root " + root_ + " ou set " + id;
    // Each pair: one renames, the other flips the block flag, at once.
    int lost = 0;
    for (int i = 1; i <= 20; i++) {
        std::string name = "N" + std::to_string(i);
        std::string block = std::to_string(i % 2);
        ASSERT_EQ(
            0, runProgram({"/bin/sh", "-c",
                           tool + " --name " + name + " >/dev/null & a=$!; " + tool + " --block " +
                               block + " >/dev/null & b=$!; " + "wait $a && wait $b"}));
        lost += sqlValue("SELECT name FROM ou WHERE id=" + id) != name;
        lost += sqlValue("SELECT block_inheritance FROM ou WHERE id=" + id) != block;
    }
    EXPECT_EQ(0, lost);

    // The lock file is not followed when it is a link: nothing is made
    // where it points, and the write does not run.
    std::string lock = sys("/var/packages/TARN/etc/tarn_ou.lock");
    unlink(lock.c_str());
    ASSERT_EQ(0, symlink(sys("/elsewhere").c_str(), lock.c_str()));
    std::string out, err;
    EXPECT_EQ(1, tarnErr({"ou", "create", "--name", "Linked"}, &out, &err));
    EXPECT_TRUE(has(err, "tarn_ou.lock")) << err;
    EXPECT_NE(0, access(sys("/elsewhere").c_str(), F_OK));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM ou WHERE name='Linked'"));
}

TEST_F(HostileCliTest, FailedReadsAndWritesNameTheirCause) {
    std::string out, err;
    // A log database that is not one: the write stands, with a warning.
    writeFile(logDb(), "not a database, only text", 0600);
    EXPECT_EQ(0, tarnErr({"ou", "create", "--name", "Unlogged"}, &out, &err));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM ou WHERE name='Unlogged'"));
    EXPECT_TRUE(has(err, "warning") && has(err, "file is not a database")) << err;
    EXPECT_EQ(1, tarnErr({"log", "list"}, &out, &err));
    EXPECT_TRUE(has(err, "cannot list the event log: file is not a database")) << err;
    unlink(logDb().c_str());

    // A truncated main database: the list fails, it is not empty.
    sql("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
        "INSERT INTO ou (name, desc, parent_id) SELECT 'ou' || i, hex(zeroblob(500)), 0 FROM n;");
    ASSERT_EQ(0, truncate(mainDb().c_str(), 40960));
    EXPECT_EQ(1, tarnErr({"ou", "list"}, &out, &err));
    EXPECT_TRUE(has(err, "cannot list OUs: database disk image is malformed")) << err;
    EXPECT_EQ("", out);

    // Garbage: every list and walk fails with SQLite's words, and so does a write.
    writeFile(mainDb(), "garbage, not a database", 0600);
    const std::vector<std::vector<std::string>> kReads = {
        {"ou", "list"},
        {"pkg", "list"},
        {"tree", "--ou", "0"},
        {"view", "--uid", "0"},
        {"delegates", "list", "--ou", "0"},
    };
    for (const auto& read : kReads) {
        EXPECT_EQ(1, tarnErr(read, &out, &err)) << read[0] << " " << read[1];
        EXPECT_TRUE(has(err, "file is not a database")) << err;
    }
    EXPECT_EQ(1, tarnErr({"ou", "create", "--name", "X"}, &out, &err));
    EXPECT_TRUE(has(err, "cannot create OU: file is not a database")) << err;

    // A missing one is no empty tree either.
    unlink(mainDb().c_str());
    EXPECT_EQ(1, tarnErr({"ou", "list"}, &out, &err));
    EXPECT_TRUE(has(err, "no such table: ou")) << err;
}

TEST_F(HostileCliTest, LockedDatabaseFailsAfterTheRetries) {
    // Another process holds the database for longer than the retries wait.
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(mainDb().c_str(), &db));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(db, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr));
    std::string tool = std::string(TARN_CLI_PATH) + " --root " + root_;
    std::string listErr = root_ + "/list.err", createErr = root_ + "/create.err";
    // Both at once: each waits out its retries.
    std::string codes;
    ASSERT_EQ(0, runProgram({"/bin/sh", "-c",
                             tool + " ou list >/dev/null 2>" + listErr + " & a=$!; " + tool +
                                 " ou create --name L >/dev/null 2>" + createErr + " & b=$!; " +
                                 "wait $a; ra=$?; wait $b; echo $ra $?"},
                            &codes));
    EXPECT_EQ("1 1\n", codes);
    sqlite3_exec(db, "ROLLBACK;", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    std::string list = readFile(listErr), create = readFile(createErr);
    EXPECT_TRUE(has(list, "cannot list OUs: database is locked (gave up after")) << list;
    EXPECT_TRUE(has(create, "cannot create OU: database is locked (gave up after")) << create;
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM ou WHERE name='L'"));
}
