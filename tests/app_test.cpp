/* app_test.cpp - the applications of a peer: the upsert by (peer, app id)
 * that writes only what it compares, the refused all-ones Set, the JSON
 * form with its name fallbacks, the icon directory that goes with a row,
 * the hooks and the command line. */
#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class AppTest : public TarnTest {
protected:
    static VURO_TARN_APP makeApp(unsigned long long peer, const char* appId) {
        VURO_TARN_APP app;
        app.id = ~0ULL;
        VUROTARNAppItemSetPeerID(&app, (long)peer);
        VUROTARNAppItemSetAppID(&app, appId);
        app.str_name_enu = std::string("App ") + appId;
        VUROTARNAppItemSetPort(&app, 5000);
        VUROTARNAppItemSetUrl(&app, "/webman");
        return app;
    }
    std::string col(const std::string& column, unsigned long long id) {
        return sqlValue("SELECT " + column + " FROM app WHERE id=" + std::to_string(id));
    }
    std::string iconDir(unsigned long long id) {
        return sys("/var/packages/TARN/target/peerinfo/" + std::to_string(id) + "/apps");
    }
    void iconMake(unsigned long long id) {
        std::string dir = sys("/var/packages/TARN/target/peerinfo/" + std::to_string(id));
        mkdir(sys("/var/packages/TARN/target/peerinfo").c_str(), 0755);
        mkdir(dir.c_str(), 0755);
        mkdir((dir + "/apps").c_str(), 0755);
        writeFile(dir + "/apps/icon.png", "png");
    }
    static bool exists(const std::string& path) {
        struct stat st;
        return stat(path.c_str(), &st) == 0;
    }
};

TEST_F(AppTest, UpsertWritesOnlyWhatItCompares) {
    VURO_TARN_APP app = makeApp(1, "files");
    app.str_name_ger = "Dateien";
    ASSERT_OK(VUROTARNAppSave(&app));  // all ones: a create
    unsigned long long id = app.id;
    ASSERT_NE(~0ULL, id);
    EXPECT_EQ("Dateien", col("name_ger", id));
    EXPECT_EQ("5000", col("port", id));

    // Same values: no write, mtime stays (an old one, so a rewrite in the
    // same second could not hide).
    sql("UPDATE app SET mtime=1000 WHERE id=" + std::to_string(id));
    VURO_TARN_APP same = makeApp(1, "files");
    same.str_name_ger = "Dateien";
    execCountReset("INSERT OR REPLACE INTO app");
    ASSERT_OK(VUROTARNAppCreate(&same));
    EXPECT_EQ(id, same.id);
    EXPECT_EQ(0, execCount());
    EXPECT_EQ("1000", col("mtime", id));

    // Another language's name alone is not compared, so it is not stored.
    same.str_name_ger = "Akten";
    ASSERT_OK(VUROTARNAppSet(&same));
    EXPECT_EQ(0, execCount());
    EXPECT_EQ("Dateien", col("name_ger", id));

    // A compared column changes: the row keeps its id and takes everything.
    VUROTARNAppItemSetPort(&same, 0);
    ASSERT_OK(VUROTARNAppSet(&same));
    EXPECT_EQ(id, same.id);
    EXPECT_EQ("0", col("port", id));
    EXPECT_EQ("Akten", col("name_ger", id));
    EXPECT_NE("1000", col("mtime", id));

    // A negative number is compared as it is stored: the second Set of the
    // same record writes nothing.
    VUROTARNAppItemSetPort(&same, -1);
    ASSERT_OK(VUROTARNAppSet(&same));
    EXPECT_EQ("-1", col("port", id));
    execCountReset("INSERT OR REPLACE INTO app");
    ASSERT_OK(VUROTARNAppSet(&same));
    EXPECT_EQ(0, execCount());

    // The key is (peer, app id): another peer's "files" is a row of its own.
    VURO_TARN_APP other = makeApp(2, "files");
    ASSERT_OK(VUROTARNAppCreate(&other));
    EXPECT_NE(id, other.id);
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM app"));

    // Set refuses the new-record marker; a missing row is no failure of Get.
    VURO_TARN_APP fresh = makeApp(1, "notes");
    EXPECT_EQ(-1, VUROTARNAppSet(&fresh));
    EXPECT_EQ("2", sqlValue("SELECT count(*) FROM app"));
    VURO_TARN_APP none;
    EXPECT_OK(VUROTARNAppGet(9999, &none));
    EXPECT_FALSE(none.available);
    VURO_TARN_APP read;
    ASSERT_OK(VUROTARNAppGet(id, &read));
    EXPECT_TRUE(read.available);
    EXPECT_EQ("Akten", read.str_name_ger);

    // Clear gives all numbers 0, the id included.
    ASSERT_OK(VUROTARNAppClear(&read));
    EXPECT_EQ(0ULL, read.id);
    EXPECT_EQ(0, read.port);
    EXPECT_FALSE(read.available);
}

TEST_F(AppTest, JsonNameFallbacksAndAdditionalKeys) {
    VURO_TARN_APP app = makeApp(3, "photo");
    app.str_name_ger = "Fotos";
    VUROTARNAppItemSetWindowParam(&app, "{\"width\":800}");
    VUROTARNAppItemSetIsPackage(&app, TRUE);
    VUROTARNAppItemSetPort(&app, 0);
    VUROTARNAppItemSetExtraInfo(&app, "{\"k\":1}");
    Json::Value none(Json::arrayValue), j;

    ASSERT_OK(VUROTARNAppStructToJson("ger", &app, none, j));
    EXPECT_EQ("Fotos", j["name"].asString());
    EXPECT_EQ((std::vector<std::string>{"app_id", "app_version", "id", "name", "peer_id"}),
              j.getMemberNames());
    EXPECT_EQ(~0ULL, j["id"].asUInt64());
    // No name in that language, an unknown code, no language: English.
    for (const char* lang : {"jpn", "xx", (const char*)nullptr}) {
        ASSERT_OK(VUROTARNAppStructToJson(lang, &app, none, j));
        EXPECT_EQ("App photo", j["name"].asString()) << (lang ? lang : "null");
    }
    // No name at all: the app id.
    app.str_name_enu.clear();
    ASSERT_OK(VUROTARNAppStructToJson("ger", &app, none, j));
    EXPECT_EQ("Fotos", j["name"].asString());
    ASSERT_OK(VUROTARNAppStructToJson("cht", &app, none, j));
    EXPECT_EQ("photo", j["name"].asString());

    // Named keys go under "additional"; the column's spelling isn't a key.
    Json::Value some(Json::arrayValue);
    some.append("window_param");
    some.append("windowparam");
    some.append("port");
    ASSERT_OK(VUROTARNAppStructToJson(nullptr, &app, some, j));
    EXPECT_EQ((std::vector<std::string>{"port", "window_param"}), j["additional"].getMemberNames());
    EXPECT_TRUE(j["additional"]["port"].isInt());
    EXPECT_EQ(0, j["additional"]["port"].asInt());
    // A null list wants all; is_package is an integer, extra_info parsed.
    ASSERT_OK(VUROTARNAppStructToJson(nullptr, &app, Json::Value(), j));
    EXPECT_EQ(7u, j["additional"].size());
    EXPECT_TRUE(j["additional"]["is_package"].isInt());
    EXPECT_FALSE(j["additional"]["is_package"].isBool());
    EXPECT_EQ(1, j["additional"]["is_package"].asInt());
    EXPECT_EQ(1, j["additional"]["extra_info"]["k"].asInt());
    EXPECT_FALSE(j.isMember("mtime"));

    Json::Value notArray("x");
    EXPECT_EQ(-1, VUROTARNAppStructToJson(nullptr, &app, notArray, j));
}

TEST_F(AppTest, DeleteTakesOnlyItsOwnIconsAndRunsTheHooks) {
    pluginInstall("tarnapp/tarnapp_delete",
                  "echo \"$1 $RESULT $Org_ID $Org_PeerID $Org_Name $New_ID\" >> "
                  "\"$VURO_SYSROOT/hooks.log\"\n");
    VURO_TARN_APP a = makeApp(1, "files"), b = makeApp(1, "notes"), c = makeApp(2, "files");
    ASSERT_OK(VUROTARNAppCreate(&a));
    ASSERT_OK(VUROTARNAppCreate(&b));
    ASSERT_OK(VUROTARNAppCreate(&c));
    for (unsigned long long id : {a.id, b.id, c.id}) iconMake(id);

    ASSERT_OK(VUROTARNAppDelete(a.id));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM app WHERE id=" + std::to_string(a.id)));
    EXPECT_FALSE(exists(iconDir(a.id)));
    // The same peer's other application and another peer's stay.
    EXPECT_TRUE(exists(iconDir(b.id) + "/icon.png"));
    EXPECT_TRUE(exists(iconDir(c.id) + "/icon.png"));
    // The hooks saw the row as it stood; the POST hook comes after removal.
    std::string ids = std::to_string(a.id);
    EXPECT_EQ("PRE 0 " + ids + " 1 App files \nPOST 0 " + ids + " 1 App files \n",
              readFile(sys("/hooks.log")));

    // No row is no failure: the delete goes on and returns 0.
    EXPECT_OK(VUROTARNAppDelete(a.id));
    unsigned long long ids2[] = {b.id, c.id};
    ASSERT_OK(VUROTARNAppDeleteMultiple(ids2, 2));
    EXPECT_FALSE(exists(iconDir(c.id)));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM app"));
}

/* A peerinfo entry that is a link out of the root: the delete goes on, the
 * icons it leads to stay. */
TEST_F(AppTest, DeleteNeverFollowsAPeerinfoLinkOutOfTheRoot) {
    VURO_TARN_APP a = makeApp(1, "files");
    ASSERT_OK(VUROTARNAppCreate(&a));
    const std::string canary = root_ + "-canary";
    ASSERT_OK(mkdir(canary.c_str(), 0755));
    std::unique_ptr<const std::string, void (*)(const std::string*)> canaryGone(
        &canary, [](const std::string* p) { std::filesystem::remove_all(*p); });
    ASSERT_OK(mkdir((canary + "/apps").c_str(), 0755));
    writeFile(canary + "/apps/icon.png", "png");
    mkdir(sys("/var/packages/TARN/target/peerinfo").c_str(), 0755);
    std::string entry = sys("/var/packages/TARN/target/peerinfo/" + std::to_string(a.id));
    ASSERT_OK(symlink(canary.c_str(), entry.c_str()));

    ASSERT_OK(VUROTARNAppDelete(a.id));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM app"));
    EXPECT_EQ("png", readFile(canary + "/apps/icon.png"));
}

TEST_F(AppTest, CommandLine) {
    sql("INSERT INTO peer(id, sn) VALUES (4, 'SN4'), (5, 'SN5');");  // applications of known peers
    Json::Value j;
    ASSERT_EQ(0, tarn({"app", "set", "--peer", "4", "--app-id", "files", "--name-enu", "Files",
                       "--name-ger", "Dateien", "--is-package", "1", "--extra", "{\"a\":1}"},
                      &j));
    long long id = j["id"].asInt64();
    EXPECT_EQ("Files", j["name"].asString());
    EXPECT_EQ(1, j["additional"]["is_package"].asInt());
    ASSERT_EQ(0, tarn({"app", "set", "--peer", "4", "--app-id", "files", "--name-enu", "Files",
                       "--name-ger", "Dateien", "--port", "80"},
                      &j));
    EXPECT_EQ(id, j["id"].asInt64());
    ASSERT_EQ(0, tarn({"app", "set", "--peer", "5", "--app-id", "mail"}, &j));
    ASSERT_EQ(0, tarn({"app", "list", "--peer", "4", "--lang", "ger"}, &j));
    ASSERT_EQ(1u, j.size());
    EXPECT_EQ("Dateien", j[0]["name"].asString());
    EXPECT_EQ(80, j[0]["additional"]["port"].asInt());
    ASSERT_EQ(0, tarn({"app", "list"}, &j));
    ASSERT_EQ(2u, j.size());
    EXPECT_EQ("mail", j[1]["name"].asString());
    EXPECT_EQ(2, tarn({"app", "set", "--peer", "4", "--app-id", "x", "--is-package", "yes"}));
    EXPECT_EQ(0, tarn({"app", "delete", std::to_string(id)}));
    EXPECT_EQ(1, tarn({"app", "get", std::to_string(id)}));
}
