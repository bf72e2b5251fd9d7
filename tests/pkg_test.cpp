/* pkg_test.cpp - packages of managed servers: reads through the join with
 * the peer table, the keyed upsert that compares eleven columns, hook
 * arguments, the JSON form with its language and state texts, the event-log
 * row about a package, and the trimming of the package file store. */
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tarn_test.h"
#include "vurofs.h"
#include "vurotarn.h"

using namespace tarntest;

class PkgTest : public TarnTest {
protected:
    long makePeer(const char* sn, const char* model = "DS1", long build = 100) {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, sn);
        VUROTARNPeerItemSetHostName(&peer, (std::string("nas-") + sn).c_str());
        VUROTARNPeerItemSetModel(&peer, model);
        VUROTARNPeerItemSetBuildNum(&peer, build);
        EXPECT_OK(VUROTARNPeerCreate(&peer));
        return peer.id;
    }
    VURO_TARN_PKG makePkg(long peerId, const char* pkgId, const char* version = "1.0") {
        VURO_TARN_PKG pkg;
        VUROTARNPkgClear(&pkg);
        VUROTARNPkgItemSetPeerID(&pkg, peerId);
        VUROTARNPkgItemSetPkgID(&pkg, pkgId);
        VUROTARNPkgItemSetVersion(&pkg, version);
        pkg.str_pkg_name_enu = std::string(pkgId) + " Package";
        return pkg;
    }
    std::string col(const std::string& column, unsigned long long id) {
        return sqlValue("SELECT " + column + " FROM package WHERE id=" + std::to_string(id));
    }
};

TEST_F(PkgTest, ReadsGoThroughTheOwningServer) {
    long peerId = makePeer("SN-1");
    VURO_TARN_PKG pkg = makePkg(peerId, "Foo");
    ASSERT_OK(VUROTARNPkgCreate(&pkg));
    ASSERT_NE(~0ULL, pkg.id);

    VURO_TARN_PKG byId, byKey;
    ASSERT_OK(VUROTARNPkgGet(pkg.id, &byId));
    ASSERT_TRUE(byId.available);
    EXPECT_EQ(peerId, byId.peer.id);
    EXPECT_EQ("nas-SN-1", byId.peer.str_hostname);
    EXPECT_EQ("DS1", byId.peer.str_model);
    EXPECT_EQ("1.0", byId.str_pkg_version);
    ASSERT_OK(VUROTARNPkgGetBy(peerId, "Foo", &byKey));
    EXPECT_EQ(pkg.id, byKey.id);

    // A missing row is no failure: 0, with nothing read.
    VURO_TARN_PKG none;
    EXPECT_OK(VUROTARNPkgGet(pkg.id + 100, &none));
    EXPECT_FALSE(none.available);
    EXPECT_EQ(-1, VUROTARNPkgGetBy(0, "Foo", &none));

    // With its server gone the row is neither found nor listed.
    VURO_TARN_PKG other = makePkg(makePeer("SN-2"), "Bar");
    ASSERT_OK(VUROTARNPkgCreate(&other));
    sql("DELETE FROM peer WHERE id=" + std::to_string(peerId));
    VURO_TARN_PKG gone;
    EXPECT_OK(VUROTARNPkgGet(pkg.id, &gone));
    EXPECT_FALSE(gone.available);
    EXPECT_OK(VUROTARNPkgGetBy(peerId, "Foo", &gone));
    EXPECT_FALSE(gone.available);
    VURO_TARN_PKG_LIST list = NULL;
    ASSERT_OK(VUROTARNPkgListAll(&list, NULL, NULL));
    ASSERT_NE(nullptr, list);
    EXPECT_EQ("Bar", list->str_pkg_id);
    EXPECT_EQ(nullptr, list->pNext);
    VUROTARNPkgListFree(&list);
}

TEST_F(PkgTest, UpsertWritesOnlyWhenAComparedColumnChanges) {
    long peerId = makePeer("SN-1");
    VURO_TARN_PKG pkg = makePkg(peerId, "Foo");
    ASSERT_OK(VUROTARNPkgSave(&pkg));  // all ones: a create
    unsigned long long id = pkg.id;
    sql("UPDATE package SET mtime=1000 WHERE id=" + std::to_string(id));

    // beta and the other names are not compared: nothing is written.
    VURO_TARN_PKG same = makePkg(peerId, "Foo");
    same.beta = TRUE;
    same.str_pkg_name_ger = "Foo Paket";
    execCountReset("INSERT OR REPLACE INTO package");
    ASSERT_OK(VUROTARNPkgCreate(&same));
    EXPECT_EQ(id, same.id);
    EXPECT_EQ(0, execCount());
    EXPECT_EQ("1000", col("mtime", id));
    EXPECT_EQ("0", col("beta", id));

    // A new version keeps the row and its id, and stamps the time.
    VURO_TARN_PKG newer = makePkg(peerId, "Foo", "2.0");
    newer.id = id;
    ASSERT_OK(VUROTARNPkgSet(&newer));
    EXPECT_EQ(id, newer.id);
    EXPECT_EQ("2.0", col("pkg_version", id));
    EXPECT_NE("1000", col("mtime", id));
    EXPECT_EQ("1", sqlValue("SELECT count(*) FROM package"));

    // A record marked for creation cannot be Set.
    VURO_TARN_PKG fresh;
    EXPECT_EQ(0ULL, fresh.id);
    EXPECT_TRUE(fresh.startable);
    VUROTARNPkgClear(&fresh);
    EXPECT_FALSE(fresh.startable);
    EXPECT_EQ(-1, VUROTARNPkgSet(&fresh));
}

TEST_F(PkgTest, HooksSeeTheFamilyArguments) {
    pluginInstall("tarnpkg/tarnpkg_create",
                  "echo \"$1|$RESULT|$New_ID|$New_PeerID|$New_PkgID|$New_PkgName|$New_Version\" "
                  ">> \"$VURO_SYSROOT/create.out\"\n");
    pluginInstall("tarnpkg/tarnpkg_delete",
                  "echo \"$1|$RESULT|$Org_ID|$Org_PkgID|${New_ID-none}\" >> "
                  "\"$VURO_SYSROOT/delete.out\"\n");
    long peerId = makePeer("SN-1");
    std::string longName(40, 'n');
    VURO_TARN_PKG pkg = makePkg(peerId, "Foo");
    pkg.str_pkg_name_enu = longName;
    ASSERT_OK(VUROTARNPkgCreate(&pkg));
    std::string tail = "|" + std::to_string(peerId) + "|Foo|" + longName.substr(0, 31) + "|1.0\n";
    EXPECT_EQ("PRE|0|18446744073709551615" + tail + "POST|0|" + std::to_string(pkg.id) + tail,
              readFile(sys("/create.out")));
    EXPECT_EQ(longName, col("pkg_name_enu", pkg.id));

    // Deleting an id without a row still runs the hooks, with an empty record.
    ASSERT_OK(VUROTARNPkgDelete(pkg.id));
    ASSERT_OK(VUROTARNPkgDelete(pkg.id));
    EXPECT_EQ("PRE|0|" + std::to_string(pkg.id) + "|Foo|none\nPOST|0|" + std::to_string(pkg.id) +
                  "|Foo|none\nPRE|0|0||none\nPOST|0|0||none\n",
              readFile(sys("/delete.out")));
}

TEST_F(PkgTest, JsonNamesInTheLanguageAndTellsTheState) {
    long peerId = makePeer("SN-1");
    VURO_TARN_PKG pkg = makePkg(peerId, "Foo");
    pkg.str_pkg_name_ger = "Foo Paket";
    pkg.pkg_status = 2;
    ASSERT_OK(VUROTARNPkgCreate(&pkg));
    VURO_TARN_PKG read;
    ASSERT_OK(VUROTARNPkgGet(pkg.id, &read));

    Json::Value j;
    ASSERT_OK(VUROTARNPkgStructToJson("ger", &read, Json::Value(), j));
    EXPECT_EQ("Foo Paket", j["pkg_name"].asString());
    EXPECT_EQ("running", j["additional"]["pkg_status"].asString());
    EXPECT_EQ("nas-SN-1", j["additional"]["peer_hostname"].asString());
    EXPECT_FALSE(j["additional"]["startable"].asBool());  // made from a cleared record
    for (const char* lang : {"fre", "xyz"}) {
        ASSERT_OK(VUROTARNPkgStructToJson(lang, &read, Json::Value(), j));
        EXPECT_EQ("Foo Package", j["pkg_name"].asString()) << lang;
    }
    ASSERT_OK(VUROTARNPkgStructToJson(NULL, &read, Json::Value(), j));
    EXPECT_EQ("Foo Package", j["pkg_name"].asString());

    // Only the keys asked for go under "additional"; none asked, no object.
    Json::Value only(Json::arrayValue);
    only.append("peer_model");
    ASSERT_OK(VUROTARNPkgStructToJson("enu", &read, only, j));
    EXPECT_EQ(std::vector<std::string>({"additional", "id", "pkg_name", "pkg_version"}),
              j.getMemberNames());
    EXPECT_EQ(std::vector<std::string>({"peer_model"}), j["additional"].getMemberNames());
    EXPECT_EQ("DS1", j["additional"]["peer_model"].asString());
    ASSERT_OK(VUROTARNPkgStructToJson("enu", &read, Json::Value(Json::arrayValue), j));
    EXPECT_FALSE(j.isMember("additional"));

    // A running installer's step wins over the state; a dead one does not.
    auto status = [&](unsigned int st, unsigned int inst, const std::string& extra) {
        read.pkg_status = st;
        read.pkg_install_status = inst;
        read.str_extra_info = extra;
        Json::Value want(Json::arrayValue), out;
        want.append("pkg_status");
        EXPECT_OK(VUROTARNPkgStructToJson("enu", &read, want, out));
        return out["additional"]["pkg_status"].asString();
    };
    pid_t dead = fork();
    if (dead == 0) _exit(0);
    ASSERT_LT(0, dead);
    ASSERT_EQ(dead, waitpid(dead, nullptr, 0));
    std::string live = "{\"install_pid\":" + std::to_string(getpid()) + "}";
    EXPECT_EQ("uploading", status(2, 11, live));
    EXPECT_EQ("stop", status(3, 13, live));
    EXPECT_EQ("running", status(2, 11, "{\"install_pid\":" + std::to_string(dead) + "}"));
    EXPECT_EQ("running", status(2, 11, "[" + std::to_string(getpid()) + "]"));
    EXPECT_EQ("non_installed", status(5, 0, ""));
    EXPECT_EQ("broken", status(1, 0, ""));
}

TEST_F(PkgTest, LogRowNamesServerAndPackageInTheChosenLanguage) {
    long peerId = makePeer("SN-1");
    VURO_TARN_PKG pkg = makePkg(peerId, "Foo");
    pkg.str_pkg_name_ger = "Foo Paket";
    VURO_TARN_PEER peer;
    ASSERT_OK(VUROTARNPeerGet(peerId, &peer));
    EXPECT_EQ(-1, VUROTARNPkgLog(6, "log", "pkg_install", &peer, NULL, "ger"));
    ASSERT_OK(VUROTARNPkgLog(3, "log", "pkg_install_failed", &peer, &pkg, "ger"));
    ASSERT_OK(VUROTARNPkgLog(6, "log", "pkg_install", &peer, &pkg, "ita"));

    std::vector<Row> rows = logRows(
        "SELECT level || '|' || obj_id || '|' || parent_obj_id || '|' || enu AS t "
        "FROM log WHERE obj_id LIKE 'peer_%' ORDER BY id");
    // The first row is the server's own join.
    ASSERT_EQ(3u, rows.size());
    std::string ids = "|peer_" + std::to_string(peerId) + "|ou_0|";
    EXPECT_EQ("3" + ids + "Failed to install package Foo Paket on server nas-SN-1.", rows[1]["t"]);
    EXPECT_EQ("6" + ids + "Installed package Foo Package on server nas-SN-1.", rows[2]["t"]);
}

TEST_F(PkgTest, CleanDropsEntriesOfGoneServerKindsAndUnlinkedPoolFiles) {
    writeFile(sys("/etc/vuro/volumes.conf"), "/volume1\n");
    ASSERT_OK(VUROFSMkdirP("/volume1", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    std::string base;
    ASSERT_TRUE(VUROTARNPkgTmpDirGet(base));
    const std::string store = sys(base);
    auto mk = [&](const std::string& rel) {
        ASSERT_OK(VUROFSMkdirP((store + rel).c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0755));
    };
    auto exists = [&](const std::string& rel) {
        struct stat st;
        return lstat((store + rel).c_str(), &st) == 0;
    };
    makePeer("SN-1", "DS1", 100);
    makePeer("SN-2", "DS1", 200);
    for (const char* d : {"/peer/DS1/100", "/peer/DS1/200", "/peer/DS1/300", "/peer/OLD/42/sub",
                          "/bdl/a", "/bdl/empty"}) {
        mk(d);
    }
    writeFile(store + "/bdl/a/used", "u");
    writeFile(store + "/bdl/a/only300", "o");
    writeFile(store + "/bdl/a/single", "s");
    writeFile(store + "/bdl/loose", "l");
    ASSERT_OK(link((store + "/bdl/a/used").c_str(), (store + "/peer/DS1/100/used").c_str()));
    ASSERT_OK(link((store + "/bdl/a/only300").c_str(), (store + "/peer/DS1/300/only300").c_str()));
    ASSERT_OK(symlink("single", (store + "/bdl/a/link").c_str()));
    writeFile(store + "/peer/readme", "r");
    writeFile(store + "/peer/DS1/note", "n");
    // A link in the store to a directory outside the root is never followed.
    std::string outside = root_ + "-outside";
    ASSERT_OK(mkdir(outside.c_str(), 0755));
    writeFile(outside + "/keep", "k");
    ASSERT_OK(symlink(outside.c_str(), (store + "/peer/GONE").c_str()));

    VUROTARNPkgClean();
    EXPECT_TRUE(exists("/peer/DS1/100/used"));
    EXPECT_TRUE(exists("/peer/DS1/200"));
    EXPECT_FALSE(exists("/peer/DS1/300"));
    EXPECT_FALSE(exists("/peer/OLD"));
    EXPECT_TRUE(exists("/peer/readme"));
    EXPECT_TRUE(exists("/peer/DS1/note"));
    EXPECT_TRUE(exists("/peer/GONE"));
    EXPECT_EQ("k", readFile(outside + "/keep"));
    EXPECT_TRUE(exists("/bdl/a/used"));
    EXPECT_FALSE(exists("/bdl/a/only300"));  // its entry went in the same run
    EXPECT_FALSE(exists("/bdl/a/single"));
    EXPECT_TRUE(exists("/bdl/a/link"));
    EXPECT_TRUE(exists("/bdl/empty"));
    EXPECT_TRUE(exists("/bdl/loose"));

    // No servers at all: every kind goes, and with it the last pool file.
    sql("DELETE FROM peer");
    VUROTARNPkgClean();
    EXPECT_FALSE(exists("/peer/DS1"));
    EXPECT_FALSE(exists("/bdl/a/used"));
    EXPECT_TRUE(exists("/peer/readme"));
    EXPECT_EQ("k", readFile(outside + "/keep"));
    unlink((outside + "/keep").c_str());
    rmdir(outside.c_str());
}

/* The package link lies in a folder every user may write. Pointed out of
 * the root, out through "..", or at the databases, pkg-clean removes the
 * link and nothing it led to. */
TEST_F(PkgTest, CleanNeverFollowsAPlantedPackageLink) {
    writeFile(sys("/etc/vuro/volumes.conf"), "/volume1\n");
    ASSERT_OK(VUROFSMkdirP("/volume1", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    const std::string canary = root_ + "-canary";
    ASSERT_OK(mkdir(canary.c_str(), 0755));
    std::unique_ptr<const std::string, void (*)(const std::string*)> canaryGone(
        &canary, [](const std::string* p) { std::filesystem::remove_all(*p); });
    writeFile(canary + "/keep", "k");
    const std::string db = sys(VUROTARN_SQLITE_DB_PATH);
    const std::string dbDir = db.substr(0, db.rfind('/'));
    const std::string link = sys(VUROTARN_PKG_TMP_LINK);
    writeFile(dbDir + "/keep", "k");
    for (const std::string& target :
         {canary, "/../../../../../../../.." + canary, dbDir, dbDir + "/"}) {
        unlink(link.c_str());
        ASSERT_OK(symlink(target.c_str(), link.c_str()));
        Json::Value j;
        EXPECT_EQ(0, tarn({"pkg-clean"}, &j)) << target;
        EXPECT_EQ("k", readFile(canary + "/keep")) << target;
        EXPECT_EQ(0, access(db.c_str(), F_OK)) << target;
        EXPECT_EQ("k", readFile(dbDir + "/keep")) << target;
    }
}

TEST_F(PkgTest, CommandLineSetsReadsListsAndCleans) {
    ASSERT_EQ(0, tarn({"peer", "create", "--sn", "SN-1", "--hostname", "nas1", "--model", "DS1"}));
    Json::Value j;
    ASSERT_EQ(0, tarn({"pkg", "set", "--peer", "1", "--pkg-id", "Foo", "--name-enu", "Foo",
                       "--name-ger", "Foo Paket", "--version", "1.0", "--status", "2"},
                      &j));
    unsigned long long id = j["id"].asUInt64();
    // Options not given keep what is stored.
    ASSERT_EQ(0, tarn({"pkg", "set", "--peer", "1", "--pkg-id", "Foo", "--version", "2.0"}, &j));
    EXPECT_EQ(id, j["id"].asUInt64());
    ASSERT_EQ(0, tarn({"pkg", "get-by", "--peer", "1", "--pkg-id", "Foo", "--lang", "ger"}, &j));
    EXPECT_EQ("Foo Paket", j["pkg_name"].asString());
    EXPECT_EQ("2.0", j["pkg_version"].asString());
    EXPECT_EQ("running", j["additional"]["pkg_status"].asString());
    ASSERT_EQ(0, tarn({"pkg", "set", "--peer", "1", "--pkg-id", "Bar"}));
    ASSERT_EQ(0, tarn({"pkg", "list", "--peer", "1", "--sort-by", "pkg_id"}, &j));
    ASSERT_EQ(2u, j.size());
    EXPECT_EQ("Bar", j[0]["additional"]["pkg_id"].asString());
    ASSERT_EQ(0, tarn({"pkg", "delete", std::to_string(id)}));
    EXPECT_EQ(1, tarn({"pkg", "get", std::to_string(id)}));

    writeFile(sys("/etc/vuro/volumes.conf"), "/volume1\n");
    ASSERT_OK(mkdir(sys("/volume1").c_str(), 0755));
    ASSERT_EQ(0, tarn({"pkg-clean"}, &j));
    EXPECT_EQ(0u, j["pool_files"].asUInt());
}
