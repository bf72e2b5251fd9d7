/* changelog_test.cpp - the event-log rows that writes of OUs, policies,
 * peers and delegates leave: which key, which parameters and which words
 * each language shows, what is left out, and that every key the library
 * can write exists in every language's string file. */
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

const char* const kLangs[] = {"chs", "cht", "csy", "dan", "enu", "fre", "ger", "hun", "ita", "jpn",
                              "krn", "nld", "nor", "plk", "ptb", "ptg", "rus", "spn", "sve", "trk"};

/* One language's strings as "section:key" -> value, read without the library. */
using Strings = std::map<std::string, std::string>;

Strings stringsRead(const std::string& lang) {
    Strings out;
    std::ifstream in(std::string(TARN_SOURCE_DIR "/data/ui/texts/") + lang + "/strings");
    std::string line, section;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.size() > 1 && line.front() == '[' && line.back() == ']') {
            section = line.substr(1, line.size() - 2);
        } else if (line.find('=') != std::string::npos) {
            std::string value = line.substr(line.find('=') + 1);
            if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
                value = value.substr(1, value.size() - 2);
            }
            out[section + ":" + line.substr(0, line.find('='))] = value;
        }
    }
    return out;
}

/* The message of log key `key` in one language with its parameters put in. */
std::string message(const Strings& s, const std::string& key,
                    const std::vector<std::string>& params) {
    std::string text = s.at("log:" + key);
    for (size_t i = 0; i < params.size(); i++) {
        std::string ph = "{" + std::to_string(i) + "}";
        for (size_t at = text.find(ph); at != std::string::npos; at = text.find(ph, at)) {
            text.replace(at, ph.size(), params[i]);
            at += params[i].size();
        }
    }
    return text;
}

}  // namespace

/*   0 ── 3 "Europe" ── 12 "Sales"
 *        └── peer 5 "nas5" (version 7.1, ready) */
class ChangelogTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        enu_ = stringsRead("enu");
        ger_ = stringsRead("ger");
        sql("INSERT INTO ou(id, name, parent_id) VALUES (3,'Europe',0),(12,'Sales',3);"
            "INSERT INTO peer(id, sn, hostname, parent_id, version, status)"
            " VALUES (5,'SN5','nas5',3,'7.1',2);");
    }
    void TearDown() override {
        unsetenv("VURO_WEBAPI_USERNAME");
        TarnTest::TearDown();
    }

    /* Rows of the log table, oldest first, read outside the library. */
    std::vector<Row> rows() { return logRows("SELECT * FROM log ORDER BY id"); }
    void rowsClear() { logSql("DELETE FROM log"); }

    /* The one row written since the last clear. */
    Row onlyRow() {
        std::vector<Row> all = rows();
        EXPECT_EQ(1u, all.size()) << logDump();
        return all.empty() ? Row() : all.back();
    }

    std::string enu(const std::string& ref) const { return enu_.at(ref); }
    std::string ger(const std::string& ref) const { return ger_.at(ref); }

    Strings enu_, ger_;
};

TEST_F(ChangelogTest, OuEditShowsTheChangesInEveryLanguage) {
    VURO_TARN_OU ou;
    ASSERT_OK(VUROTARNOuGet(12, &ou));
    ou.str_name = "Sales EU";
    ou.block_inheritance = 1;
    ASSERT_OK(VUROTARNOuSet(&ou));

    Row row = onlyRow();
    EXPECT_EQ("ou_12", row["obj_id"]);
    EXPECT_EQ("ou_3", row["parent_obj_id"]);
    EXPECT_EQ("6", row["level"]);
    EXPECT_EQ("", row["username"]);
    // Pieces in the sorted order of the changed keys: block_inheritance, name.
    EXPECT_EQ(message(enu_, "ou_edit",
                      {"Sales", "Europe",
                       "Block inheritance: Disabled -> Enabled, Name: Sales -> Sales EU"}),
              row["enu"]);
    EXPECT_EQ(message(ger_, "ou_edit",
                      {"Sales", "Europe",
                       ger("gpo_tree:chk_block_inheritance") + ": " + ger("log:disable") + " -> " +
                           ger("log:enable") + ", " + ger("log:name") + ": Sales -> Sales EU"}),
              row["ger"]);
    for (const char* lang : kLangs) {
        EXPECT_NE("", row[lang]) << lang;
        EXPECT_EQ(std::string::npos, row[lang].find("{log:")) << lang << ": " << row[lang];
        EXPECT_EQ(std::string::npos, row[lang].find("{gpo_tree:")) << lang << ": " << row[lang];
        EXPECT_EQ(std::string::npos, row[lang].find("{2}")) << lang << ": " << row[lang];
    }

    // Nothing a reader would see: no row, the write itself succeeds.
    rowsClear();
    ASSERT_OK(VUROTARNOuGet(12, &ou));
    ASSERT_OK(VUROTARNOuSet(&ou));  // only mtime moves
    ou.str_extra_info = "{\"by\":\"ops\"}";
    ASSERT_OK(VUROTARNOuSet(&ou));
    EXPECT_TRUE(rows().empty());

    // The acting user of the web API is recorded; a create names the parent.
    setenv("VURO_WEBAPI_USERNAME", "admin2", 1);
    VURO_TARN_OU created;
    created.str_name = "Lab";
    created.parent_id = 3;
    ASSERT_OK(VUROTARNOuCreate(&created));
    row = onlyRow();
    EXPECT_EQ("admin2", row["username"]);
    EXPECT_EQ("ou_" + std::to_string(created.id), row["obj_id"]);
    EXPECT_EQ(message(enu_, "ou_create", {"Lab", "Europe"}), row["enu"]);
}

TEST_F(ChangelogTest, RootOuHasOnlyEditRowsWithoutParent) {
    VURO_TARN_OU root;
    ASSERT_OK(VUROTARNOuGet(0, &root));
    logClear();
    EXPECT_EQ(-1, VUROTARNOuLog(0, 0, &root, nullptr));
    EXPECT_EQ(-1, VUROTARNOuLog(0, 2, &root, nullptr));
    EXPECT_TRUE(logHas("Can't create/delete ROOT. act=2")) << logDump();
    EXPECT_TRUE(rows().empty());

    VURO_TARN_OU edited = root;
    edited.str_desc = "top";
    ASSERT_OK(VUROTARNOuSet(&edited));
    Row row = onlyRow();
    EXPECT_EQ("ou_0", row["obj_id"]);
    EXPECT_EQ("", row["parent_obj_id"]);
    EXPECT_EQ("6", row["level"]);
    EXPECT_EQ(message(enu_, "ou_edit_simple", {enu("gpo_tree:root_ou"), "Description:  -> top"}),
              row["enu"]);

    rowsClear();
    edited.str_name = "Top";
    EXPECT_OK(VUROTARNOuLog(-1, 1, &root, &edited));
    row = onlyRow();
    EXPECT_EQ("3", row["level"]);
    EXPECT_EQ("", row["parent_obj_id"]);
    EXPECT_EQ(
        message(enu_, "ou_edit_failed_simple", {"Root OU", "Description:  -> top, Name:  -> Top"}),
        row["enu"]);
}

TEST_F(ChangelogTest, FailedWritesAreLoggedAsErrors) {
    // The row does not read back as written: the create fails, and its row
    // says so at level 3.
    sql("CREATE TRIGGER mangle AFTER INSERT ON ou BEGIN "
        "UPDATE ou SET name = name || '!' WHERE id = NEW.id; END;");
    VURO_TARN_OU ou;
    ou.str_name = "Mangled";
    ou.parent_id = 3;
    EXPECT_EQ(-1, VUROTARNOuCreate(&ou));
    Row row = onlyRow();
    EXPECT_EQ("3", row["level"]);
    EXPECT_EQ(message(enu_, "ou_create_failed", {"Mangled", "Europe"}), row["enu"]);

    // A failed edit still shows what was tried.
    rowsClear();
    sql("DROP TRIGGER mangle; CREATE TRIGGER mangle AFTER UPDATE ON ou BEGIN "
        "UPDATE ou SET name = name || '!' WHERE id = NEW.id; END;");
    ASSERT_OK(VUROTARNOuGet(12, &ou));
    ou.str_name = "Sales EU";
    EXPECT_EQ(-1, VUROTARNOuSet(&ou));
    row = onlyRow();
    EXPECT_EQ("3", row["level"]);
    EXPECT_EQ("ou_12", row["obj_id"]);
    EXPECT_EQ(message(enu_, "ou_edit_failed", {"Sales", "Europe", "Name: Sales -> Sales EU"}),
              row["enu"]);

    // A failed edit with nothing reportable writes nothing, and is no failure
    // of the writer.
    rowsClear();
    VURO_TARN_OU before, after;
    ASSERT_OK(VUROTARNOuGet(12, &before));
    after = before;
    after.mtime += 60;
    after.str_extra_info = "{\"x\":1}";
    EXPECT_OK(VUROTARNOuLog(-1, 1, &before, &after));
    EXPECT_TRUE(rows().empty());
}

TEST_F(ChangelogTest, PolicyRows) {
    sql("INSERT INTO gpo(id, name, parent_id, parent_type, setting) VALUES"
        " (7,'Base',3,2,'{\"gpo_content\":{\"a\":1}}'), (8,'Orphan',99,2,'');");
    VURO_TARN_GPO gpo;
    ASSERT_OK(VUROTARNGpoGet(7, &gpo));
    gpo.str_name = "Base 2";
    gpo.parent_type = VURO_TARN_TYPE_PEER;
    gpo.parent_id = 5;
    gpo.str_setting = "{\"gpo_content\":{\"a\":2}}";
    ASSERT_OK(VUROTARNGpoSet(&gpo));
    Row row = onlyRow();
    EXPECT_EQ("gpo_7", row["obj_id"]);
    EXPECT_EQ("ou_3", row["parent_obj_id"]);  // where it stood
    // Two parent fields changed, one location piece, behind the setting
    // (which sorts after them) and without the setting's values.
    EXPECT_EQ(
        message(enu_, "gpo_edit_under_ou",
                {"Base", "Europe", "Name: Base -> Base 2, Settings, Location: Europe -> nas5"}),
        row["enu"]);

    // Now under the peer: the peer's keys, and a move back to an OU.
    rowsClear();
    ASSERT_OK(VUROTARNGpoGet(7, &gpo));
    gpo.parent_type = VURO_TARN_TYPE_OU;
    gpo.parent_id = 12;
    ASSERT_OK(VUROTARNGpoSet(&gpo));
    row = onlyRow();
    EXPECT_EQ("peer_5", row["parent_obj_id"]);
    EXPECT_EQ(message(enu_, "gpo_edit_under_peer", {"Base 2", "nas5", "Location: nas5 -> Sales"}),
              row["enu"]);

    // A policy under an OU that cannot be read still leaves its row.
    rowsClear();
    logClear();
    ASSERT_OK(VUROTARNGpoDelete(8));
    row = onlyRow();
    EXPECT_EQ("ou_99", row["parent_obj_id"]);
    EXPECT_EQ(message(enu_, "gpo_delete_under_ou", {"Orphan", ""}), row["enu"]);
    EXPECT_TRUE(logHas("Failed to get parent OU id=[99],")) << logDump();

    // A failed write of a policy under a peer: the peer's failure key.
    rowsClear();
    ASSERT_OK(VUROTARNGpoGet(7, &gpo));
    gpo.parent_type = VURO_TARN_TYPE_PEER;
    gpo.parent_id = 5;
    EXPECT_OK(VUROTARNGpoLog(-1, 0, &gpo, nullptr));
    row = onlyRow();
    EXPECT_EQ("3", row["level"]);
    EXPECT_EQ(message(enu_, "gpo_create_under_peer_failed", {"Base 2", "nas5"}), row["enu"]);
}

TEST_F(ChangelogTest, PeerRowsLeaveOutStatusButNotVersion) {
    VURO_TARN_PEER peer;
    ASSERT_OK(VUROTARNPeerGet(5, &peer));
    peer.status = 1;
    peer.status_by_server = 3;
    peer.status_by_server_mtime = 1700000000;
    peer.up_time = 3600;
    peer.uptime_mtime = 1700000000;
    peer.wol = 1;
    peer.buildnum = 42;
    peer.str_sid = "sid";
    peer.str_vuro_token = "token";
    // A write that reports nothing does not read the OU's name either: the
    // cache push and the join write statuses of whole fleets.
    execCountReset("FROM ou");
    ASSERT_OK(VUROTARNPeerSet(&peer));
    EXPECT_TRUE(rows().empty()) << rows()[0]["enu"];
    EXPECT_EQ(0, execCount());

    peer.str_version = "7.2";
    ASSERT_OK(VUROTARNPeerSet(&peer));
    EXPECT_EQ(1, execCount());
    Row row = onlyRow();
    EXPECT_EQ("peer_5", row["obj_id"]);
    EXPECT_EQ("ou_3", row["parent_obj_id"]);
    EXPECT_EQ(message(enu_, "peer_edit", {"nas5", "Europe", "Version: 7.1 -> 7.2"}), row["enu"]);

    // A peer whose OU is gone still leaves when deleted, with an empty {1}.
    sql("INSERT INTO peer(id, sn, hostname, parent_id) VALUES (6,'SN6','nas6',99);");
    rowsClear();
    ASSERT_OK(VUROTARNPeerDelete(6));
    row = onlyRow();
    EXPECT_EQ("6", row["level"]);
    EXPECT_EQ("ou_99", row["parent_obj_id"]);
    EXPECT_EQ(message(enu_, "peer_disjoin", {"nas6", ""}), row["enu"]);
}

TEST_F(ChangelogTest, DelegateRowsNameUserOrGroupAndTarget) {
    writeFile(sys("/etc/passwd"), "root:x:0:0::/root:/bin/sh\nalice:x:2001:100::/:/bin/sh\n");
    writeFile(sys("/etc/group"), "users:x:100:\nops:x:300:alice\n");

    VURO_TARN_DELEGATE user;
    user.user_type = VURO_TARN_TYPE_USER;
    user.ugid = 2001;
    user.target_type = VURO_TARN_TYPE_OU;
    user.target_id = 3;
    ASSERT_OK(VUROTARNDelegateCreate(&user));
    Row row = onlyRow();
    EXPECT_EQ("delegate_" + std::to_string(user.id), row["obj_id"]);
    EXPECT_EQ("ou_3", row["parent_obj_id"]);
    EXPECT_EQ(message(enu_, "delegate_create_by_user_under_ou", {"alice", "Europe"}), row["enu"]);

    rowsClear();
    VURO_TARN_DELEGATE group;
    group.user_type = VURO_TARN_TYPE_GROUP;
    group.ugid = 300;
    group.target_type = VURO_TARN_TYPE_PEER;
    group.target_id = 5;
    ASSERT_OK(VUROTARNDelegateCreate(&group));
    ASSERT_OK(VUROTARNDelegateDelete(group.id));
    std::vector<Row> all = rows();
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ("peer_5", all[1]["parent_obj_id"]);
    EXPECT_EQ(message(enu_, "delegate_create_by_group_under_peer", {"ops", "nas5"}), all[0]["enu"]);
    EXPECT_EQ(message(enu_, "delegate_delete_by_group_under_peer", {"ops", "nas5"}), all[1]["enu"]);

    // A user no longer in the system is named from the cache kept with the
    // delegate, or by number without one.
    rowsClear();
    sql("INSERT INTO delegate(id, user_type, ugid, target_type, target_id, extra_info) VALUES"
        " (40, 8, 2999, 2, 0, '{\"userNameCache\":\"zoe\",\"domainName\":\"\"}');");
    ASSERT_OK(VUROTARNDelegateDelete(40));
    row = onlyRow();
    EXPECT_EQ("ou_0", row["parent_obj_id"]);
    EXPECT_EQ(message(enu_, "delegate_delete_by_user_under_ou", {"zoe", enu("gpo_tree:root_ou")}),
              row["enu"]);

    // Failures, by the writer's own keys.
    rowsClear();
    VURO_TARN_DELEGATE lost = user;
    lost.ugid = 2998;
    lost.str_extra_info = "";
    EXPECT_OK(VUROTARNDelegateLog(-1, 0, &lost, nullptr));
    EXPECT_OK(VUROTARNDelegateLog(-1, 2, &group, nullptr));
    all = rows();
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ("3", all[0]["level"]);
    EXPECT_EQ(message(enu_, "delegate_create_by_user_under_ou_faield", {"uid:2998", "Europe"}),
              all[0]["enu"]);
    EXPECT_EQ(message(enu_, "delegate_delete_by_group_under_peer_faield", {"ops", "nas5"}),
              all[1]["enu"]);
}

/* Every key the library can write must exist in every language, and every
 * template must use the placeholders its writer fills, no others. */
TEST_F(ChangelogTest, EveryKeyExistsInEveryLanguage) {
    std::set<std::string> mapKeys, refs;
    const std::regex mapRow(R"re("log",\s*"(\w+)")re");
    const std::regex literal(R"re("((?:[^"\\\n]|\\.)*)")re");
    const std::regex reference(R"re(\{(\w+):(\w+)\})re");
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(TARN_SOURCE_DIR "/lib")) {
        std::string ext = entry.path().extension().string();
        if (ext != ".cpp" && ext != ".h") continue;
        std::string text = readFile(entry.path().string());
        for (std::sregex_iterator m(text.begin(), text.end(), mapRow), e; m != e; ++m) {
            mapKeys.insert((*m)[1]);
        }
        for (std::sregex_iterator l(text.begin(), text.end(), literal), e; l != e; ++l) {
            std::string lit = (*l)[1];
            for (std::sregex_iterator r(lit.begin(), lit.end(), reference); r != e; ++r) {
                refs.insert((*r)[1].str() + ":" + (*r)[2].str());
            }
        }
    }
    // 48 keys of the four maps and the root's two.
    ASSERT_GE(mapKeys.size(), 50u);
    EXPECT_TRUE(refs.count("gpo_tree:root_ou") && refs.count("server:status_ready"));
    // Field names become "{log:<field>}" at run time.
    for (const char* f :
         {"desc", "name", "sn", "model", "hostname", "host", "http_port", "https_port"}) {
        refs.insert(std::string("log:") + f);
    }

    const std::regex placeholder(R"re(\{(\d+)\})re");
    for (const char* lang : kLangs) {
        Strings s = stringsRead(lang);
        ASSERT_FALSE(s.empty()) << lang;
        for (const std::string& ref : refs) {
            EXPECT_TRUE(s.count(ref)) << lang << " lacks " << ref;
        }
        for (const std::string& key : mapKeys) {
            auto it = s.find("log:" + key);
            if (it == s.end()) {
                ADD_FAILURE() << lang << " lacks log:" << key;
                continue;
            }
            bool edit =
                key.find("edit") != std::string::npos && key.find("_simple") == std::string::npos;
            std::set<std::string> want = {"0", "1"}, got;
            if (edit) want.insert("2");
            const std::string& tpl = it->second;
            for (std::sregex_iterator p(tpl.begin(), tpl.end(), placeholder), e; p != e; ++p) {
                got.insert((*p)[1]);
            }
            EXPECT_EQ(want, got) << lang << " log:" << key << " = " << tpl;
        }
    }
}
