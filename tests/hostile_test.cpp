/* hostile_test.cpp - user input passed through by the web handlers: texts
 * that look like SQL, format strings, references of the string files or
 * broken UTF-8, huge settings, long id lists and ids at their limits. Each
 * must come back as it went in and never change what a statement means. */
#include <limits.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "tarn_test.h"
#include "vurojson.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

const std::vector<std::string>& hostileTexts() {
    static const std::vector<std::string> texts = {
        "O'Brien \"quoted\" ''", "x' OR '1'='1",
        "100%_done %s %n %d %%", "back\\slash\\ \\' \\\"",
        "{server:status_ready}", "VURO.VDK.TARN._T('log','name')",
        "; DROP TABLE ou; --",   "\xff\xfe broken \xc3( utf-8 \xe2\x82",
        "line\nbreak\ttab\r",    std::string(5000, 'q') + "'",
    };
    return texts;
}

/* Sort keys, filters and languages that end their quote and run a second
 * statement on either database, beside the texts of the first round. */
std::vector<std::string> hostileNames() {
    std::vector<std::string> names = hostileTexts();
    for (const char* table : {"ou", "peer", "gpo", "delegate", "package", "app", "info", "log"}) {
        std::string t = table;
        names.push_back("id\"; DELETE FROM " + t + " WHERE id>0; --");
        names.push_back("id'; DELETE FROM " + t + "; --");
        names.push_back("id\" DESC; UPDATE " + t + " SET id=id+1000; --");
    }
    names.push_back("enu\") OR 1=1 OR (\"");
    names.push_back("name\"=name OR \"");
    names.push_back("name; INSERT INTO ou(name, parent_id) VALUES ('pwned', 0)");
    names.push_back("package.id, (SELECT 1)");
    names.push_back("1=1; DELETE FROM ou; SELECT 1 WHERE 1");
    names.push_back("'x')); DELETE FROM log; SELECT ((1");
    names.push_back("enu\" LIKE 'x'); DELETE FROM log; SELECT (\"");
    names.push_back("\"");
    return names;
}

}  // namespace

class HostileTest : public TarnTest {};

TEST_F(HostileTest, TextsRoundTripThroughEveryFamily) {
    int i = 0;
    for (const std::string& text : hostileTexts()) {
        SCOPED_TRACE("text #" + std::to_string(i));
        std::string unique = text + "#" + std::to_string(i++);

        VURO_TARN_OU ou;
        ou.str_name = unique;
        ou.str_desc = text;
        ASSERT_OK(VUROTARNOuCreate(&ou));
        VURO_TARN_OU back;
        ASSERT_OK(VUROTARNOuGet(ou.id, &back));
        EXPECT_EQ(unique, back.str_name);
        EXPECT_EQ(text, back.str_desc);
        // A filter on the text finds this row and no other.
        VURO_TARN_OU_LIST list = nullptr;
        VurotarnHash byName;
        byName.set("name", unique);
        size_t total = 0;
        if (unique.size() < 3000) {
            ASSERT_OK(VUROTARNOuList(byName.get(), &list, &total));
            ASSERT_EQ(1u, total);
            EXPECT_EQ(ou.id, list->id);
            VUROTARNOuListFree(&list);
        } else {
            // Too long for a condition: refused, never run cut short.
            EXPECT_EQ(-1, VUROTARNOuList(byName.get(), &list, &total));
            EXPECT_EQ(nullptr, list);
        }

        VURO_TARN_PEER peer;
        peer.str_sn = unique;
        peer.str_hostname = text;
        peer.parent_id = ou.id;
        ASSERT_OK(VUROTARNPeerCreate(&peer));
        VURO_TARN_PEER peerBack;
        ASSERT_OK(VUROTARNPeerGetBySN(unique.c_str(), &peerBack));
        EXPECT_EQ(peer.id, peerBack.id);
        EXPECT_EQ(text, peerBack.str_hostname);
        // One quote fewer at the end: another serial, not found.
        VURO_TARN_PEER none;
        EXPECT_EQ(-1, VUROTARNPeerGetBySN((unique + "'").c_str(), &none));

        VURO_TARN_GPO gpo;
        gpo.str_name = text;
        gpo.parent_type = VURO_TARN_TYPE_PEER;
        gpo.parent_id = peer.id;
        Json::Value setting;
        setting["gpo_content"]["Samba"]["vuro_set_version"] = 1;
        setting["gpo_content"]["Samba"]["comment"] =
            text.find('\xff') == std::string::npos ? text : std::string("valid only");
        gpo.str_setting = vurojson::toString(setting);
        ASSERT_OK(VUROTARNGpoCreate(&gpo));
        VURO_TARN_GPO gpoBack;
        ASSERT_OK(VUROTARNGpoGet(gpo.id, &gpoBack));
        EXPECT_EQ(text, gpoBack.str_name);
        EXPECT_EQ(gpo.str_setting, gpoBack.str_setting);

        // The event log rows keep the texts as stored; names shaped like a
        // reference are read as one, which is how the log is worded.
        EXPECT_EQ("1", logValue("SELECT COUNT(*) FROM log WHERE obj_id='gpo_" +
                                std::to_string(gpo.id) + "'"));
    }
    EXPECT_EQ("ok", sqlValue("PRAGMA integrity_check"));
    // Every OU is still there: no text was run as SQL.
    EXPECT_EQ(std::to_string(hostileTexts().size() + 1), sqlValue("SELECT COUNT(*) FROM ou"));
}

TEST_F(HostileTest, MegabyteSettingsAndIdsAtTheirLimits) {
    VURO_TARN_GPO gpo;
    gpo.str_name = "big";
    gpo.parent_type = VURO_TARN_TYPE_OU;
    gpo.parent_id = 0;
    Json::Value setting;
    setting["gpo_content"]["Big"]["vuro_set_version"] = 1;
    setting["gpo_content"]["Big"]["blob"] = std::string(1 << 20, 'z') + "'\"%";
    gpo.str_setting = vurojson::toString(setting);
    ASSERT_OK(VUROTARNGpoCreate(&gpo));
    gpo.str_name = "big edited";
    ASSERT_OK(VUROTARNGpoSet(&gpo));
    VURO_TARN_GPO back;
    ASSERT_OK(VUROTARNGpoGet(gpo.id, &back));
    EXPECT_EQ(gpo.str_setting.size(), back.str_setting.size());
    EXPECT_EQ(gpo.str_setting, back.str_setting);
    Json::Value j(Json::objectValue);
    ASSERT_OK(VUROTARNGpoGetEvaluate(0, VURO_TARN_TYPE_OU, j, nullptr));

    for (long id : {-1L, -2L, LONG_MIN, LONG_MAX, 4242L}) {
        SCOPED_TRACE(id);
        VURO_TARN_OU ou;
        EXPECT_EQ(-1, VUROTARNOuGet(id, &ou));
        EXPECT_EQ(-1, VUROTARNOuDelete(id));
        VURO_TARN_PEER peer;
        EXPECT_EQ(-1, VUROTARNPeerGet(id, &peer));
        Json::Value jGpo(Json::objectValue);
        EXPECT_EQ(-1, VUROTARNGpoGetEvaluate(id, VURO_TARN_TYPE_OU, jGpo, nullptr));
        VURO_TARNLOG log;
        EXPECT_OK(VUROTARNLogGetByID(id, &log));
        EXPECT_FALSE(log.available);
    }
    // The root can be read and not removed.
    VURO_TARN_OU root;
    ASSERT_OK(VUROTARNOuGet(0, &root));
    EXPECT_EQ("1", sqlValue("SELECT COUNT(*) FROM ou WHERE id=0"));
}

TEST_F(HostileTest, LongIdListsAreReadWholeOrNotAtAll) {
    sql("INSERT INTO ou(id, name, parent_id) VALUES (7, 'seven', 0), (123456, 'big', 0);");
    // Thousands of ids: the statement cannot hold them all, and a list cut
    // short at a digit must not read another row.
    std::vector<long> ids(3000, 999999999);
    ids[0] = 123456;
    ids.push_back(7);
    VURO_TARN_OU ou;
    int rc = VUROTARNOuGetMultiple(ids.data(), ids.size(), &ou);
    if (rc == 0) {
        EXPECT_TRUE(ou.id == 123456 || ou.id == 7) << ou.id;
    }
    ids.assign(1000, 1234567);  // cut after "id=1" would read OU 1
    sql("INSERT INTO ou(id, name, parent_id) VALUES (1, 'one', 0), (12, 'twelve', 0);");
    VURO_TARN_OU other;
    rc = VUROTARNOuGetMultiple(ids.data(), ids.size(), &other);
    EXPECT_FALSE(rc == 0 && other.available) << "read OU " << other.id;

    // A user in very many groups: every delegated group counts, or the view
    // fails; it never quietly drops groups.
    std::string group = "users:x:100:\n";
    for (int g = 0; g < 900; g++) {
        group += "group" + std::to_string(g) + ":x:" + std::to_string(100000 + g) + ":many\n";
    }
    writeFile(sys("/etc/passwd"), "root:x:0:0::/root:/bin/sh\nmany:x:3000:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), group);
    sql("INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (9, 100899, 2, 12);");
    VURO_TARN_OU* ous = nullptr;
    VURO_TARN_PEER* peers = nullptr;
    VURO_TARN_GPO* gpos = nullptr;
    rc = VUROTARNListTreeByUid(3000, &ous, &peers, &gpos);
    if (rc == 0) {
        bool seen = false;
        for (VURO_TARN_OU* p = ous; p != nullptr; p = p->pNext) seen = seen || p->id == 12;
        EXPECT_TRUE(seen) << "the last group's delegation was dropped";
    }
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);
}

TEST_F(HostileTest, InventoryTextsAndUnsignedIdsAtTheirLimits) {
    const unsigned long long kAllOnes = ~0ULL;
    int i = 0;
    for (const std::string& text : hostileTexts()) {
        SCOPED_TRACE("text #" + std::to_string(i));
        std::string unique = text + "#" + std::to_string(i++);
        VURO_TARN_PEER peer;
        peer.str_sn = unique;
        peer.str_hostname = text;
        ASSERT_OK(VUROTARNPeerCreate(&peer));

        VURO_TARN_PKG pkg;
        pkg.id = kAllOnes;
        pkg.peer.id = peer.id;
        pkg.str_pkg_id = unique;
        pkg.str_pkg_name_enu = text;
        pkg.str_pkg_version = text;
        ASSERT_OK(VUROTARNPkgCreate(&pkg));
        VURO_TARN_PKG pkgBack;
        if (unique.size() < 3000) {
            ASSERT_OK(VUROTARNPkgGetBy((unsigned long long)peer.id, unique.c_str(), &pkgBack));
        } else {
            // Too long for a condition: refused rather than cut; by id it reads.
            EXPECT_EQ(-1, VUROTARNPkgGetBy((unsigned long long)peer.id, unique.c_str(), &pkgBack));
            ASSERT_OK(VUROTARNPkgGet(pkg.id, &pkgBack));
        }
        ASSERT_TRUE(pkgBack.available);
        EXPECT_EQ(pkg.id, pkgBack.id);
        EXPECT_EQ(text, pkgBack.str_pkg_name_enu);
        EXPECT_EQ(text, pkgBack.peer.str_hostname);
        Json::Value j;
        ASSERT_OK(VUROTARNPkgStructToJson("ger", &pkgBack, Json::Value(), j));
        EXPECT_EQ(text, j["pkg_name"].asString());

        VURO_TARN_APP app;
        app.id = kAllOnes;
        app.peer_id = (unsigned long long)peer.id;
        app.str_app_id = unique;
        app.str_url = text;
        app.str_windowparam = text;
        ASSERT_OK(VUROTARNAppCreate(&app));
        VURO_TARN_APP appBack;
        ASSERT_OK(VUROTARNAppGet(app.id, &appBack));
        EXPECT_EQ(unique, appBack.str_app_id);
        EXPECT_EQ(text, appBack.str_url);

        // The report texts are stored as they come, JSON or not.
        VURO_TARN_INFO info;
        info.peer_id = (unsigned long long)peer.id;
        info.str_general = text;
        ASSERT_OK(VUROTARNInfoCreate(&info));
        VURO_TARN_INFO_LIST infos = nullptr;
        if (unique.size() < 3000) {
            ASSERT_OK(VUROTARNInfoListBySn(unique.c_str(), &infos));
            ASSERT_NE(nullptr, infos);
            EXPECT_EQ(text, infos->str_general);
            EXPECT_EQ(nullptr, infos->pNext);
            VUROTARNInfoListFree(&infos);
        }
    }
    EXPECT_EQ(std::to_string(hostileTexts().size()), sqlValue("SELECT COUNT(*) FROM package"));

    // Unsigned ids at their ends: nothing found, nothing else touched.
    for (unsigned long long id : {0ULL, kAllOnes, kAllOnes - 1, 1ULL << 63}) {
        SCOPED_TRACE(id);
        VURO_TARN_PKG pkg;
        EXPECT_OK(VUROTARNPkgGet(id, &pkg));
        EXPECT_FALSE(pkg.available);
        VURO_TARN_APP app;
        EXPECT_OK(VUROTARNAppGet(id, &app));
        EXPECT_FALSE(app.available);
        VURO_TARN_INFO info;
        EXPECT_OK(VUROTARNInfoGet(id, &info));
        EXPECT_FALSE(info.available);
        VURO_TARN_PKG none;
        if (id != 0) {
            EXPECT_OK(VUROTARNPkgGetBy(id, "x", &none));
            EXPECT_FALSE(none.available);
        }
    }
    VURO_TARN_INFO info;
    EXPECT_EQ(-1, VUROTARNInfoGetByPEER(0, &info));
    VURO_TARN_PKG pkg;
    EXPECT_EQ(-1, VUROTARNPkgGetBy(0, "x", &pkg));
    VURO_TARN_APP app;
    app.id = kAllOnes;
    EXPECT_EQ(-1, VUROTARNAppSet(&app));
    EXPECT_EQ(std::to_string(hostileTexts().size()), sqlValue("SELECT COUNT(*) FROM app"));
    EXPECT_EQ(std::to_string(hostileTexts().size()), sqlValue("SELECT COUNT(*) FROM info"));
    EXPECT_EQ("ok", sqlValue("PRAGMA integrity_check"));
}

class HostileListTest : public HostileTest {
protected:
    /* Each table of both databases as count, id sum and mtime sum: a
     * second statement that deleted, added or changed rows shows here. */
    std::string snapshot() {
        std::string out;
        for (const char* table : {"ou", "peer", "gpo", "delegate", "package", "app", "info_data"}) {
            std::string part =
                sqlValue(std::string("SELECT COUNT(*) || ':' || IFNULL(SUM(id), 0) || ':' || "
                                     "IFNULL(SUM(mtime), 0) FROM ") +
                         table);
            EXPECT_NE("<none>", part) << table;
            out += part + "|";
        }
        return out + logValue("SELECT COUNT(*) || ':' || IFNULL(SUM(id), 0) FROM log");
    }
};

/* A list call of one family on a hash; the list is released. */
template <class Rec>
using ListFn = int (*)(const PQLIBSZHASH, Rec**, size_t*);
template <class Rec>
int listOnce(ListFn<Rec> list, void (*release)(Rec**), PQLIBSZHASH pHash) {
    Rec* pList = nullptr;
    size_t total = 0;
    int rc = list(pHash, &pList, &total);
    release(&pList);
    return rc;
}

TEST_F(HostileListTest, SortKeysFiltersAndLanguagesNeverRunASecondStatement) {
    VURO_TARN_OU ou;
    ou.str_name = "Sales";
    ASSERT_OK(VUROTARNOuCreate(&ou));
    VURO_TARN_PEER peer;
    peer.str_sn = "SN1";
    peer.parent_id = ou.id;
    ASSERT_OK(VUROTARNPeerCreate(&peer));
    sql("INSERT INTO gpo(name, parent_id, parent_type) VALUES ('g', 0, 2);"
        "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES (8, 2001, 2, 1);");
    sql("INSERT INTO package(peer_id, pkg_id) VALUES (" + std::to_string(peer.id) +
        ", 'p');"
        "INSERT INTO app(peer_id, app_id) VALUES (" +
        std::to_string(peer.id) +
        ", 'a');"
        "INSERT INTO info(peer_id) VALUES (" +
        std::to_string(peer.id) + ");");
    const std::string before = snapshot();
    ASSERT_NE("0", logValue("SELECT COUNT(*) FROM log"));

    using Call = std::function<int(PQLIBSZHASH)>;
    const std::vector<std::pair<const char*, Call>> families = {
        {"ou", [](PQLIBSZHASH h) { return listOnce(VUROTARNOuList, VUROTARNOuListFree, h); }},
        {"peer", [](PQLIBSZHASH h) { return listOnce(VUROTARNPeerList, VUROTARNPeerListFree, h); }},
        {"gpo", [](PQLIBSZHASH h) { return listOnce(VUROTARNGpoList, VUROTARNGpoListFree, h); }},
        {"delegate",
         [](PQLIBSZHASH h) { return listOnce(VUROTARNDelegateList, VUROTARNDelegateListFree, h); }},
        {"package",
         [](PQLIBSZHASH h) { return listOnce(VUROTARNPkgList, VUROTARNPkgListFree, h); }},
        {"app", [](PQLIBSZHASH h) { return listOnce(VUROTARNAppList, VUROTARNAppListFree, h); }},
        {"info", [](PQLIBSZHASH h) { return listOnce(VUROTARNInfoList, VUROTARNInfoListFree, h); }},
        {"log",
         [](PQLIBSZHASH h) {
             VURO_TARNLOG_LIST list = nullptr;
             size_t total = 0, e = 0, w = 0, i = 0;
             int rc = VUROTARNLogList(h, &list, &total, &e, &w, &i);
             VUROTARNLogListFree(&list);
             return rc;
         }},
    };
    // The keys a caller's text may reach, each beside a plain sort key and,
    // for the log, a word search in a language.
    const std::vector<std::string> kKeys = {"sort_by",
                                            "sort_by_no_escape",
                                            "sort_extra_no_escape",
                                            "sort_direction",
                                            "limit",
                                            "offset",
                                            "lang",
                                            "obj_id",
                                            "filter_word"};
    for (const std::string& name : hostileNames()) {
        for (const auto& family : families) {
            const bool blLog = family.first == std::string("log");
            const bool blJoin = family.first == std::string("package");
            for (const std::string& key : kKeys) {
                VurotarnHash h;
                h.set(blJoin ? "sort_by_no_escape" : "sort_by", blJoin ? "package.id" : "id");
                if (blLog) {
                    h.set("filter_field", "all").set("filter_word", "x").set("lang", "enu");
                }
                h.set(key.c_str(), name);
                family.second(h.get());
            }
            // The name as a filter column, with itself as the value.
            VurotarnHash column;
            column.set(name.c_str(), name);
            family.second(column.get());
            ASSERT_EQ(before, snapshot()) << family.first << ": " << name;
        }
    }
    EXPECT_EQ("ok", sqlValue("PRAGMA integrity_check"));

    // Plain names keep working, quoted or not.
    VurotarnHash plain;
    plain.set("sort_by", "name").set("sort_direction", "desc").set("name", "Sales");
    VURO_TARN_OU_LIST ous = nullptr;
    size_t total = 0;
    ASSERT_OK(VUROTARNOuList(plain.get(), &ous, &total));
    ASSERT_EQ(1u, total);
    EXPECT_EQ(ou.id, ous->id);
    VUROTARNOuListFree(&ous);
    VurotarnHash joined;
    joined.set("sort_by_no_escape", "package.id DESC").set("sort_extra_no_escape", "peer.sn");
    EXPECT_OK(families[4].second(joined.get()));
}

/* The first SQLite call of a process may be the condition builder with a
 * long text, or any other formatting of one, which SQLite does through its
 * allocator: each runs in a fresh process (this binary again) that has made
 * no SQLite call before. */
TEST(HostileFirstCall, LongTextsAsTheProcessFirstStatement) {
    const char* szChild = getenv("TARN_FIRST_CALL_CHILD");
    const std::string longText(100, 'a');
    if (szChild != nullptr && strcmp(szChild, "builder") == 0) {
        PQLIBSZHASH pHash = QLIBCSzHashAlloc(4);
        QLIBCSzHashSetValue(&pHash, "sort_by", longText.c_str());
        char szSQL[4096];
        EXPECT_OK(VUROTARNSQLConditionCreate(pHash, szSQL, sizeof(szSQL)));
        EXPECT_NE(nullptr, strstr(szSQL, longText.c_str()));
        QLIBCSzHashFree(pHash);
        return;
    }
    if (szChild != nullptr) {
        char szSQL[4096];
        sqlite3_snprintf(sizeof(szSQL), szSQL, "DELETE FROM ou WHERE name='%q';", longText.c_str());
        EXPECT_NE(nullptr, strstr(szSQL, longText.c_str()));
        return;
    }
    for (const char* child : {"builder", "format"}) {
        SCOPED_TRACE(child);
        pid_t pid = fork();
        ASSERT_LE(0, pid);
        if (pid == 0) {
            setenv("TARN_FIRST_CALL_CHILD", child, 1);
            execl("/proc/self/exe", "hostile_test",
                  "--gtest_filter=HostileFirstCall.LongTextsAsTheProcessFirstStatement",
                  (char*)nullptr);
            _exit(127);
        }
        int status = 0;
        ASSERT_EQ(pid, waitpid(pid, &status, 0));
        ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
        EXPECT_EQ(0, WEXITSTATUS(status));
    }
}
