/* log_test.cpp - the event log: records and levels, the store with its
 * rotation and filtered lists, and the expansion of a message into every
 * language's text. */
#include <sqlite3.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class LogTest : public TarnTest {
protected:
    void TearDown() override {
        unsetenv("VURO_WEBAPI_USERNAME");
        TarnTest::TearDown();
    }

    int rows_ = 0;

    std::string logDb() const { return sys(VUROTARNLOG_DB_PATH); }

    long addRow(int level, const char* obj, const char* parent, const char* user, const char* enu,
                const char* ger = "") {
        VURO_TARNLOG log;
        log.level = level;
        // Distinct times, so that sorting by time has an order.
        log.happen_time = 1000 + rows_++;
        log.str_obj_id = obj;
        log.str_parent_obj_id = parent;
        log.str_username = user;
        log.str_enu = enu;
        log.str_ger = ger;
        EXPECT_OK(VUROTARNLogCreate(&log));
        return log.id;
    }

    /* The ids of a list, in list order. */
    std::vector<long> listIds(VurotarnHash& parms, size_t* total = nullptr) {
        VURO_TARNLOG_LIST list = nullptr;
        int n = VUROTARNLogList(parms.get(), &list, total, nullptr, nullptr, nullptr);
        std::vector<long> out = ids(list);
        EXPECT_EQ((int)out.size(), n);
        VUROTARNLogListFree(&list);
        return out;
    }

    /* Adds a section of the test's own to the English and German files. */
    void testStrings(const std::string& enu, const std::string& ger) {
        for (auto& [lang, text] : {std::pair<std::string, std::string>{"enu", enu}, {"ger", ger}}) {
            std::string path = sys("/var/packages/TARN/target/ui/texts/" + lang + "/strings");
            writeFile(path, readFile(path) + "\n[t]\n" + text);
        }
    }
};

TEST_F(LogTest, RecordsAndJson) {
    VURO_TARNLOG* p = VUROTARNLogAlloc();
    ASSERT_NE(nullptr, p);
    // Only the field of that index changes; index 20 is refused.
    EXPECT_OK(VUROTARNLogItemSetLog(p, 19, "trk text"));
    EXPECT_OK(VUROTARNLogItemSetLog(p, 4, "enu text"));
    EXPECT_EQ(-1, VUROTARNLogItemSetLog(p, 20, "nowhere"));
    Json::Value j = VUROTARNLogStructToJson(p);
    EXPECT_EQ("trk text", j["trk"].asString());
    EXPECT_EQ("enu text", j["enu"].asString());

    // The user id keeps the low 32 bits and reads back unsigned.
    time_t uid = 0;
    EXPECT_OK(VUROTARNLogItemSetUserId(p, (time_t)0x100000007LL));
    EXPECT_OK(VUROTARNLogItemGetUserId(&uid, p));
    EXPECT_EQ(7, uid);
    EXPECT_OK(VUROTARNLogItemSetUserId(p, (time_t)-1));
    EXPECT_OK(VUROTARNLogItemGetUserId(&uid, p));
    EXPECT_EQ(4294967295LL, (long long)uid);

    // Strings are cut to the buffer; bad arguments set ERR_BAD_PARAMETERS.
    char buf[4];
    EXPECT_OK(VUROTARNLogItemSetObjId(p, "ou_12345"));
    EXPECT_OK(VUROTARNLogItemGetObjId(buf, sizeof(buf), p));
    EXPECT_STREQ("ou_", buf);
    QLIBCErrSetEx(0, nullptr, 0);
    EXPECT_EQ(-1, VUROTARNLogItemGetObjId(buf, 0, p));
    EXPECT_EQ(ERR_BAD_PARAMETERS, QLIBCErrGet());
    EXPECT_EQ(-1, VUROTARNLogItemSetUsername(p, nullptr));


    // Clear releases the chain behind the record (LeakSanitizer would see
    // a leak) and keeps the level.
    p->level = 3;
    p->pNext = VUROTARNLogAlloc();
    p->pNext->pNext = VUROTARNLogAlloc();
    p->id = 9;
    EXPECT_OK(VUROTARNLogClear(p));
    EXPECT_EQ(nullptr, p->pNext);
    EXPECT_EQ(3, p->level);
    EXPECT_EQ(-1, p->id);
    EXPECT_EQ("", p->str_trk);
    EXPECT_EQ(-1, VUROTARNLogClear(nullptr));
    VUROTARNLogFree(p);
}

TEST_F(LogTest, StoreMadeOnFirstUseAndRowsKept) {
    struct stat st;
    ASSERT_NE(0, stat(logDb().c_str(), &st));
    long id = addRow(4, "ou_1", "ou_0", "alice", "hello", "hallo");
    ASSERT_EQ(0, stat(logDb().c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777);
    EXPECT_EQ(0u, st.st_uid);
    // A later write leaves a changed mode alone.
    chmod(logDb().c_str(), 0640);
    addRow(6, "ou_2", "ou_0", "bob", "again");
    stat(logDb().c_str(), &st);
    EXPECT_EQ(0640u, st.st_mode & 0777);
    EXPECT_EQ(std::to_string(getpid()), logValue("SELECT pid FROM log WHERE id=1"));
    EXPECT_EQ("4294967295", logValue("SELECT user_id FROM log WHERE id=1"));

    VURO_TARNLOG log;
    ASSERT_OK(VUROTARNLogGetByID(id, &log));
    EXPECT_TRUE(log.available);
    EXPECT_EQ(4, log.level);
    EXPECT_EQ("hallo", log.str_ger);
    EXPECT_EQ("alice", log.str_username);

    // A missing row is no failure, and the record stays as it was.
    VURO_TARNLOG missing;
    missing.str_obj_id = "kept";
    ASSERT_OK(VUROTARNLogGetByID(999, &missing));
    EXPECT_FALSE(missing.available);
    EXPECT_EQ("kept", missing.str_obj_id);

    // Set rewrites the plain fields, never the level or the texts.
    log.level = 1;
    log.str_ger = "changed";
    log.str_username = "carol";
    ASSERT_OK(VUROTARNLogSet(&log));
    VURO_TARNLOG back;
    ASSERT_OK(VUROTARNLogGetByID(id, &back));
    EXPECT_EQ("carol", back.str_username);
    EXPECT_EQ(4, back.level);
    EXPECT_EQ("hallo", back.str_ger);

    VURO_TARNLOG ghost;
    ghost.id = 999;
    QLIBCErrSetEx(0, nullptr, 0);
    EXPECT_EQ(-1, VUROTARNLogSet(&ghost));
    EXPECT_EQ(ERR_WRITE_FAILED, QLIBCErrGet());
    ghost.id = -5;
    EXPECT_EQ(-1, VUROTARNLogSet(&ghost));
    EXPECT_TRUE(logHas("Invalid id: [-5]"));

    EXPECT_OK(VUROTARNLogDeleteByID(999));
    EXPECT_OK(VUROTARNLogDeleteByID(id));
    EXPECT_EQ("1", logValue("SELECT COUNT(*) FROM log"));
    EXPECT_OK(VUROTARNLogDeleteByID(-1));
    EXPECT_EQ("0", logValue("SELECT COUNT(*) FROM log"));

    // An empty table lists nothing and leaves the caller's list alone.
    VURO_TARNLOG_LIST list = nullptr;
    EXPECT_EQ(0, VUROTARNLogListAll(&list, nullptr));
    EXPECT_EQ(nullptr, list);
}

TEST_F(LogTest, RotationKeepsLogLimitRows) {
    // A limit that is not a positive number never empties the table, and
    // one above 32 bits counts as the largest: never as its low half.
    int expected = 0;
    for (const char* limit : {"none", "0", "-5", "4294967297", "2x", "-4294967295"}) {
        SCOPED_TRACE(std::string("log_limit '") + limit + "'");
        ASSERT_OK(VUROTARNSetConf("log_limit", limit));
        addRow(6, "ou_1", "", "", "row");
        EXPECT_EQ(std::to_string(++expected), logValue("SELECT COUNT(*) FROM log"));
    }
    ASSERT_OK(VUROTARNSetConf("log_limit", "2"));
    addRow(6, "ou_1", "", "", "row");
    EXPECT_EQ("2", logValue("SELECT COUNT(*) FROM log"));
    long last = std::stol(logValue("SELECT MIN(id) FROM log"));

    // List all with a filter: kept rows only, released rest.
    static long keep;
    keep = last;
    VURO_TARNLOG_LIST list = nullptr;
    EXPECT_EQ(1, VUROTARNLogListAll(&list, [](VURO_TARNLOG* p) -> BOOL { return p->id == keep; }));
    EXPECT_EQ(std::vector<long>{last}, ids(list));
    VUROTARNLogListFree(&list);
}

TEST_F(LogTest, ListFiltersAndSorts) {
    addRow(3, "ou_1", "ou_0", "alice", "Deleted Sales", "Sales geloescht");        // 1
    addRow(6, "peer_2", "ou_1", "bob", "Server joined", "Server beigetreten");     // 2
    addRow(4, "gpo_3", "ou_5", "alice", "Policy moved", "Richtlinie verschoben");  // 3
    addRow(6, "ou_7", "ou_0", "carol", "Created Sales", "Sales erstellt");         // 4
    addRow(7, "ou_8", "ou_7", "salesbot", "Touched", "Beruehrt");                  // 5

    // Without sort the list runs against rowid order.
    VurotarnHash none;
    size_t total = 0;
    EXPECT_EQ((std::vector<long>{5, 4, 3, 2, 1}), listIds(none, &total));
    EXPECT_EQ(5u, total);

    VurotarnHash objs;
    objs.set("obj_id", "'ou_1','ou_7'");
    EXPECT_EQ((std::vector<long>{5, 4, 2, 1}), listIds(objs));

    // The word searches the user name, the language's text, or both.
    VurotarnHash user, action, all, message, wordOnly;
    user.set("filter_word", "sales").set("filter_field", "username").set("lang", "enu");
    EXPECT_EQ(std::vector<long>{5}, listIds(user));
    action.set("filter_word", "Sales").set("filter_field", "action").set("lang", "ger");
    EXPECT_EQ((std::vector<long>{4, 1}), listIds(action));
    all.set("filter_word", "sales").set("filter_field", "all").set("lang", "enu");
    EXPECT_EQ((std::vector<long>{5, 4, 1}), listIds(all));
    message.set("filter_word", "Sales").set("filter_field", "message").set("lang", "enu");
    EXPECT_TRUE(listIds(message).empty());
    wordOnly.set("filter_word", "nothing-like-this");
    EXPECT_EQ(5u, listIds(wordOnly).size());

    // With one group pointer missing there are no group counts at all.
    VURO_TARNLOG_LIST list = nullptr;
    size_t err = 9, warn = 9;
    EXPECT_EQ(5, VUROTARNLogList(none.get(), &list, &total, &err, &warn, nullptr));
    EXPECT_EQ(9u, err);
    EXPECT_EQ(9u, warn);
    VUROTARNLogListFree(&list);

    // Sorting by "action" sorts by the language's column; the list then
    // runs against that order.
    VurotarnHash byGer;
    byGer.set("sort_by", "action").set("lang", "ger").set("sort_direction", "desc");
    // ger descending: Server, Sales g, Sales e, Richtlinie, Beruehrt
    EXPECT_EQ((std::vector<long>{5, 3, 4, 1, 2}), listIds(byGer));

    // Print hands each row to the callback, with the address of the hash.
    struct Seen {
        std::vector<std::string> obj;
    };
    static Seen seen;
    static PQLIBSZHASH expected;
    expected = objs.get();
    seen.obj.clear();
    ASSERT_OK(VUROTARNLogPrint(objs.get(), &total, [](void* arg, int n, char** v, char** c) {
        EXPECT_EQ(expected, *static_cast<PQLIBSZHASH*>(arg));
        for (int i = 0; i < n; i++) {
            if (std::string(c[i]) == "obj_id") seen.obj.push_back(v[i]);
        }
        return 0;
    }));
    EXPECT_EQ(4u, total);
    EXPECT_EQ((std::vector<std::string>{"ou_1", "peer_2", "ou_7", "ou_8"}), seen.obj);
}

TEST_F(LogTest, MessagesExpandIntoEveryLanguage) {
    testStrings(
        "two=\"A {0} B {1}\"\nword=\"Ready\"\nother=\"Other\"\nonlyenu=\"English {0}\"\n"
        "loop=\"{t:loop}\"\n",
        "two=\"X {0} Y {1}\"\nword=\"Bereit\"\nother=\"Anderes\"\nloop=\"{t:loop}\"\n");
    VURO_TARNLOG log;

    // One parameter for two placeholders: {1} stays.
    VurotarnSzList one{"p0"};
    ASSERT_OK(ConvertLog("t", "two", one.get(), &log));
    EXPECT_EQ("A p0 B {1}", log.str_enu);
    EXPECT_EQ("X p0 Y {1}", log.str_ger);
    // Languages whose file lacks the key fall back to English.
    EXPECT_EQ("A p0 B {1}", log.str_jpn);
    ASSERT_OK(ConvertLog("t", "two", nullptr, &log));
    EXPECT_EQ("X {0} Y {1}", log.str_ger);

    // Substitution runs upward into the growing text; references resolve
    // in each language, both brace references of a parameter, only the
    // first text call, and a missing key leaves its bare name.
    VurotarnSzList refs{"<{1}>",
                        "{t:word}/{t:other} VURO.VDK.TARN._T( 't' , \"other\" ) "
                        "VURO.VDK.TARN._T(t,word) {t:nokey}"};
    ASSERT_OK(ConvertLog("t", "two", refs.get(), &log));
    EXPECT_EQ(
        "A <Ready/Other Other VURO.VDK.TARN._T(t,word) nokey> B "
        "Ready/Other Other VURO.VDK.TARN._T(t,word) nokey",
        log.str_enu);
    EXPECT_EQ(
        "X <Bereit/Anderes Anderes VURO.VDK.TARN._T(t,word) nokey> Y "
        "Bereit/Anderes Anderes VURO.VDK.TARN._T(t,word) nokey",
        log.str_ger);
    // Any text of the reference's shape is one: a name such as this reads
    // as section "1}-{t", which no file has, so the bare key stands.
    VurotarnSzList shaped{"{1}-{t:word}"};
    ASSERT_OK(ConvertLog("t", "two", shaped.get(), &log));
    EXPECT_EQ("A word B {1}", log.str_enu);

    // German lacks "onlyenu": its text and its references are English.
    VurotarnSzList ref{"{t:word}"};
    ASSERT_OK(ConvertLog("t", "onlyenu", ref.get(), &log));
    EXPECT_EQ("English Ready", log.str_ger);
    // A reference whose value refers to itself ends.
    VurotarnSzList loop{"{t:loop}"};
    ASSERT_OK(ConvertLog("t", "two", loop.get(), &log));
    EXPECT_EQ(-1, ConvertLog("t", "absent", nullptr, &log));

    char sec[64], key[64], tpl[64];
    EXPECT_EQ(-1, CheckSectionKey_tpl1("{no colon}", sec, key, 8));
    EXPECT_EQ(-1, CheckSectionKey_tpl1("{longsection:k}", sec, key, 8));
    EXPECT_EQ(0, CheckSectionKey_tpl1("a {s:k} b", sec, key, 8));
    EXPECT_STREQ("s", sec);
    EXPECT_EQ(-1, CheckSectionKey_tpl2("VURO.VDK.TARN._T( ,k)", sec, key, tpl, 64));

    EXPECT_EQ("Bereit", VUROTARNConverStr("t", "word", "ger"));
    EXPECT_EQ("English {0}", VUROTARNConverStr("t", "onlyenu", "ger"));
    EXPECT_EQ("", VUROTARNConverStr("t", "absent", "ger"));
}

TEST_F(LogTest, WritingARowStoresAndSendsIt) {
    testStrings("two=\"A {0} B {1}\"\n", "two=\"X {0} Y {1}\"\n");
    VurotarnSzList params{"{server:status_ready}", "plain"};
    logClear();
    // Level 0 is stored as 6 and still sent as an error.
    ASSERT_OK(VUROTARNLog(0, "ou_3", nullptr, "t", "two", params.get(), "{\"k\":1}"));
    VURO_TARNLOG log;
    ASSERT_OK(VUROTARNLogGetByID(1, &log));
    EXPECT_EQ(6, log.level);
    EXPECT_EQ("ou_3", log.str_obj_id);
    EXPECT_EQ("", log.str_parent_obj_id);
    EXPECT_EQ("", log.str_username);
    EXPECT_EQ("A Ready B plain", log.str_enu);
    EXPECT_EQ("X " + VUROTARNConverStr("server", "status_ready", "ger") + " Y plain", log.str_ger);
    EXPECT_EQ(1, VUROTARNLogStructToJson(&log)["extra_info"]["k"].asInt());
    ASSERT_FALSE(logLines().empty());
    bool sent = false;
    for (const LogLine& l : logLines()) {
        if (l.text.find("A Ready B plain") != std::string::npos) {
            sent = true;
            EXPECT_EQ(LOG_ERR, l.priority & 7);
        }
    }
    EXPECT_TRUE(sent) << logDump();

    setenv("VURO_WEBAPI_USERNAME", "alice", 1);
    ASSERT_OK(VUROTARNLog(6, "ou_3", "ou_0", "t", "two", params.get(), nullptr));
    // A filled record is not filled again: clear it before reuse.
    ASSERT_OK(VUROTARNLogGetByID(2, &log));
    EXPECT_EQ("", log.str_username);
    VUROTARNLogClear(&log);
    ASSERT_OK(VUROTARNLogGetByID(2, &log));
    EXPECT_EQ("alice", log.str_username);
    EXPECT_STREQ("alice", getenv("USERNAME"));

    // A key in no file: no row.
    EXPECT_EQ(-1, VUROTARNLog(6, "ou_3", "", "t", "absent", params.get(), nullptr));
    EXPECT_TRUE(logHas("conver t:absent string failed."));
    EXPECT_EQ("2", logValue("SELECT COUNT(*) FROM log"));
}

TEST_F(LogTest, ObjectsAUserMaySeeAndTheMailLanguage) {
    writeFile(
        sys("/etc/passwd"),
        "root:x:0:0::/root:/bin/sh\nalice:x:2001:100::/:/bin/sh\nbob:x:2002:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\nadministrators:x:101:\n");
    sql("INSERT INTO ou(id, name, parent_id) VALUES (1,'A',0),(2,'B',1);"
        "INSERT INTO peer(id, sn, parent_id) VALUES (5,'SN5',2);"
        "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (8,2001,2,2);");
    char buf[256] = "junk";
    ASSERT_OK(VUROMsgGetObjIdByUser("alice", buf, sizeof(buf)));
    EXPECT_STREQ("'ou_2','peer_5'", buf);
    ASSERT_OK(VUROMsgGetObjIdByUser("bob", buf, sizeof(buf)));
    EXPECT_STREQ("", buf);
    EXPECT_EQ(-1, VUROMsgGetObjIdByUser("nobody-here", buf, sizeof(buf)));
    // Too small: what fitted stays, and the call fails.
    char small[12];
    EXPECT_EQ(-1, VUROMsgGetObjIdByUser("alice", small, sizeof(small)));
    EXPECT_STREQ("'ou_2'", small);

    char lang[8];
    VUROMsgGetLocalLang(lang, sizeof(lang));
    EXPECT_STREQ("enu", lang);
    ASSERT_OK(QLIBCFileSetKeyValue("/etc/vuroinfo.conf", "maillang", "def", 0));
    VUROMsgGetLocalLang(lang, sizeof(lang));
    EXPECT_STREQ("enu", lang);
    ASSERT_OK(QLIBCFileSetKeyValue("/etc/vuroinfo.conf", "maillang", "ger", 0));
    VUROMsgGetLocalLang(lang, sizeof(lang));
    EXPECT_STREQ("ger", lang);
}

TEST_F(LogTest, TextCallThatExactlyFillsItsBuffer) {
    // 21 bytes of call: its terminator needs a 22nd, beyond a buffer of 21.
    const char* call = "VURO.VDK.TARN._T(s,k)";
    char sec[64], key[64], tpl[32];
    memset(tpl, 'Z', sizeof(tpl));
    logClear();
    EXPECT_EQ(-1, CheckSectionKey_tpl2(call, sec, key, tpl, 21));
    EXPECT_EQ('Z', tpl[21]);
    EXPECT_TRUE(logHas("Char string length not enough")) << logDump();
    ASSERT_OK(CheckSectionKey_tpl2(call, sec, key, tpl, 22));
    EXPECT_STREQ(call, tpl);
    EXPECT_STREQ("k", key);

    // The same edge inside a parameter: a 512-byte call is left as it is.
    testStrings("word=\"Ready\"\n", "word=\"Bereit\"\n");
    std::string param = "VURO.VDK.TARN._T(t,";
    param += std::string(512 - param.size() - 1, 'k') + ")";
    ASSERT_EQ(512u, param.size());
    VurotarnSzList params{param.c_str()};
    std::string file = "/var/packages/TARN/target/ui/texts/enu/strings";
    char val[4096];
    ParamGet(params.get(), 0, file.c_str(), val, sizeof(val));
    EXPECT_EQ(param, val);
    // One byte shorter fits: the unknown key stands for itself.
    param.erase(19, 1);
    VurotarnSzList shorter{param.c_str()};
    ParamGet(shorter.get(), 0, file.c_str(), val, sizeof(val));
    EXPECT_EQ(std::string(510 - 19, 'k'), val);
}

TEST_F(LogTest, WordFiltersTakeWildcardsAsThemselves) {
    long under = addRow(6, "ou_1", "", "a_b", "50% done", "zu 50% fertig");
    addRow(6, "ou_2", "", "axb", "500 done", "zu 500 fertig");
    long slash = addRow(6, "ou_3", "", "back\\slash", "it's done", "fertig");
    auto found = [&](const char* word, const char* field, const char* lang = "enu") {
        VurotarnHash p;
        p.set("filter_word", word).set("filter_field", field).set("lang", lang);
        return listIds(p);
    };
    EXPECT_EQ(std::vector<long>{under}, found("a_b", "username"));
    EXPECT_EQ(std::vector<long>{under}, found("50%", "action"));
    EXPECT_EQ(std::vector<long>{under}, found("% f", "action", "ger"));
    EXPECT_EQ(std::vector<long>{slash}, found("k\\s", "username"));
    EXPECT_EQ(std::vector<long>{slash}, found("it's", "all"));
    EXPECT_TRUE(found("a%b", "username").empty());
    // The search stays a search in any case, as before.
    EXPECT_EQ(std::vector<long>{under}, found("A_B", "username"));
    EXPECT_EQ(3u, found("", "all").size());
}

TEST_F(LogTest, LanguagesAndObjectListsAreReadNotPasted) {
    long mine = addRow(6, "ou_1", "ou_0", "alice", "mine");
    long child = addRow(6, "peer_2", "ou_1", "bob", "under mine");
    addRow(6, "ou_9", "ou_0", "carol", "not mine");

    // The language names a column: one of the twenty, or the list is
    // refused, also where it would only sort.
    for (const char* lang : {"enu\") OR 1=1 OR (\"", "ENU", "", "obj_id"}) {
        SCOPED_TRACE(std::string("lang '") + lang + "'");
        VurotarnHash search, sort;
        search.set("obj_id", "'ou_1'").set("filter_word", "m").set("filter_field", "action");
        search.set("lang", lang);
        sort.set("sort_by", "action").set("lang", lang);
        VURO_TARNLOG_LIST list = nullptr;
        size_t total = 7;
        EXPECT_EQ(-1, VUROTARNLogList(search.get(), &list, &total, nullptr, nullptr, nullptr));
        EXPECT_EQ(0u, total);
        EXPECT_EQ(nullptr, list);
        EXPECT_EQ(-1, VUROTARNLogList(sort.get(), &list, nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(nullptr, list);
    }
    VurotarnHash noLang;
    noLang.set("filter_word", "m").set("filter_field", "all");
    VURO_TARNLOG_LIST list = nullptr;
    EXPECT_EQ(-1, VUROTARNLogList(noLang.get(), &list, nullptr, nullptr, nullptr, nullptr));
    char langs[] = VUROTARNLOG_LANG_LIST;
    for (char* lang = strtok(langs, ","); lang != nullptr; lang = strtok(nullptr, ",")) {
        VurotarnHash p;
        p.set("filter_word", "mine").set("filter_field", "action").set("lang", lang);
        p.set("sort_by", "action");
        EXPECT_EQ(lang == std::string("enu") ? 3u : 0u, listIds(p).size()) << lang;
    }

    // The object list is read as ids and quoted anew: quoted as the user's
    // view gives it, or bare; anything else is refused.
    for (const char* ids : {"'ou_1'", " 'ou_1' , 'ou_77' ", "ou_1", "ou_1,'it''s'"}) {
        VurotarnHash p;
        p.set("obj_id", ids);
        EXPECT_EQ((std::vector<long>{child, mine}), listIds(p)) << ids;
    }
    VurotarnHash none;
    none.set("obj_id", "");
    EXPECT_TRUE(listIds(none).empty());
    for (const char* ids : {"'ou_1') OR 1=1 OR ('", "'ou_1'') OR 1=1 --", "'ou_1',", "ou-1",
                            "'x')); DELETE FROM log; SELECT ((1", ",'ou_1'", "'ou_1' 'ou_9'"}) {
        VurotarnHash p;
        p.set("obj_id", ids);
        EXPECT_EQ(-1, VUROTARNLogList(p.get(), &list, nullptr, nullptr, nullptr, nullptr)) << ids;
        EXPECT_EQ(nullptr, list);
    }
    EXPECT_EQ("3", logValue("SELECT COUNT(*) FROM log"));
}

TEST_F(LogTest, AUserWhoSeesTenThousandObjectsGetsTheirRows) {
    writeFile(sys("/etc/passwd"), "root:x:0:0::/root:/bin/sh\nalice:x:2001:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\n");
    // Ten thousand servers under one OU that alice administers.
    sql("INSERT INTO ou(id, name, parent_id) VALUES (1, 'Big', 0), (2, 'Other', 0);"
        "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (8, 2001, 2, 1);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) "
        "INSERT INTO peer(id, sn, parent_id) SELECT 100 + i, 'SN' || i, 1 FROM n;");
    long first = addRow(6, "peer_101", "ou_1", "", "first server");
    long last = addRow(6, "peer_10100", "ou_1", "", "last server");
    addRow(6, "ou_2", "ou_0", "", "not hers");
    long under = addRow(6, "gpo_5", "peer_5000", "", "under a server of hers");

    std::string ids;
    ASSERT_OK(VUROMsgGetObjIdListByUser("alice", &ids));
    EXPECT_EQ(10001, std::count(ids.begin(), ids.end(), ',') + 1);
    VurotarnHash p;
    p.set("obj_id", ids.c_str()).set("sort_by", "id");
    size_t total = 0;
    EXPECT_EQ((std::vector<long>{under, last, first}), listIds(p, &total));
    EXPECT_EQ(3u, total);
}
