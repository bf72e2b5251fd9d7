/* common_util_test.cpp - the shared utilities: the configuration file and
 * its defaults, JSON comparison, HTML encoding, temporary directories on
 * the root's volumes, the web server's ports and rights on shared folders. */
#include <errno.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <vurofs.h>
#include <vurojson.h>

#include "tarn_test.h"
#include "vurotarn_common.h"

using namespace tarntest;

namespace {

class CommonUtil : public TarnTest {
protected:
    void volumesSet(const std::string& lines) { writeFile(sys("/etc/vuro/volumes.conf"), lines); }
    void volumeMake(const std::string& mountpoint) {
        ASSERT_OK(VUROFSMkdirP(mountpoint.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0755));
    }
    std::string linkTarget() {
        char buf[4096] = {0};
        ssize_t n = readlink(sys(VUROTARN_PKG_TMP_LINK).c_str(), buf, sizeof(buf) - 1);
        return n > 0 ? std::string(buf, n) : "";
    }
};

bool sameStat(const struct stat& a, const struct stat& b) {
    return a.st_ino == b.st_ino && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
           a.st_mtim.tv_nsec == b.st_mtim.tv_nsec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

}  // namespace

TEST_F(CommonUtil, ConfFallsBackOnDefaultAndKeepsIt) {
    ASSERT_OK(unlink(sys(VUROTARN_CONF_PATH).c_str()));
    char buf[64] = "";
    EXPECT_EQ(6, VUROTARNGetConf("log_limit", buf, sizeof(buf)));
    EXPECT_STREQ("100000", buf);
    EXPECT_EQ("log_limit=100000\n", readFile(sys(VUROTARN_CONF_PATH)));

    ASSERT_OK(VUROTARNSetConf("log_limit", "500"));
    EXPECT_LT(0, VUROTARNGetConf("log_limit", buf, sizeof(buf)));
    EXPECT_STREQ("500", buf);

    // A key without default: the platform's answer, buffer as it left it.
    strcpy(buf, "keep");
    EXPECT_EQ(0, VUROTARNGetConf("no_such_key", buf, sizeof(buf)));
    EXPECT_STREQ("keep", buf);
    EXPECT_EQ(std::string::npos, readFile(sys(VUROTARN_CONF_PATH)).find("no_such_key"));
}

TEST_F(CommonUtil, JsonDiffOrderAndUntouchedResult) {
    Json::Value jRet = VUROTARNJsonStringParse("{\"mark\":1}");
    Json::Value jOld = VUROTARNJsonStringParse("{\"a\":1,\"b\":2,\"n\":{\"x\":[1,2]}}");
    Json::Value jNew = VUROTARNJsonStringParse("{\"b\":3,\"c\":4,\"n\":{\"x\":[1,3]}}");
    ASSERT_OK(VUROTARNJsonDiff(jOld, jNew, jRet));
    EXPECT_EQ(
        "[{\"key\":\"a\",\"type\":\"del\",\"value\":1},"
        "{\"key\":\"b\",\"new_value\":3,\"old_value\":2,\"type\":\"sub\"},"
        "{\"key\":\"n\",\"new_value\":{\"x\":[1,3]},\"old_value\":{\"x\":[1,2]},\"type\":\"sub\"},"
        "{\"key\":\"c\",\"type\":\"ins\",\"value\":4}]",
        vurojson::toString(jRet));

    Json::Value jMark = VUROTARNJsonStringParse("{\"mark\":1}");
    jRet = jMark;
    ASSERT_OK(VUROTARNJsonDiff(jOld, jOld, jRet));
    EXPECT_EQ(jMark, jRet);
    // Null stands for an object without members.
    ASSERT_OK(VUROTARNJsonDiff(Json::Value(), jNew, jRet));
    EXPECT_EQ(3u, jRet.size());
    EXPECT_EQ("ins", jRet[2]["type"].asString());

    logClear();
    EXPECT_EQ(-1, VUROTARNJsonDiff(jOld, Json::Value(Json::arrayValue), jRet));
    EXPECT_TRUE(logHas("Invaild Argument (true == jData2.isObject())=[0]")) << logDump();
    EXPECT_EQ(ERR_BAD_PARAMETERS, QLIBCErrGet());
}

TEST_F(CommonUtil, HtmlEncodingAndJsonParsing) {
    EXPECT_EQ("a&nbsp;&lt;b&gt;", VUROTARNEncodeHtml("a <b>", true));
    EXPECT_EQ("a &lt;b&gt; &amp;\"'", VUROTARNEncodeHtml("a <b> &\"'", false));
    EXPECT_EQ("", VUROTARNEncodeHtml("", true));

    EXPECT_TRUE(VUROTARNJsonStringParse(NULL).isNull());
    EXPECT_TRUE(VUROTARNJsonStringParse("").isNull());
    EXPECT_TRUE(VUROTARNJsonStringParse("{\"a\":").isNull());
    EXPECT_EQ(2, VUROTARNJsonStringParse("{\"a\":2}")["a"].asInt());
}

TEST_F(CommonUtil, TmpDirNeedsAWritableVolumeWithRoom) {
    std::string path = "unchanged";
    // No list, then a listed mount point that does not exist: no volume.
    EXPECT_FALSE(VUROTARNTmpDirGet(0, path));
    EXPECT_EQ("", path);
    EXPECT_EQ(ERR_VOLUME_NOT_FOUND, QLIBCErrGet());
    volumesSet("# data volumes\n/volume9\n");
    EXPECT_FALSE(VUROTARNTmpDirGet(0, path));
    EXPECT_EQ(ERR_VOLUME_NOT_FOUND, QLIBCErrGet());

    volumeMake("/volume1");
    volumeMake("/volume2");
    volumesSet("/volume1 ro\n");
    EXPECT_FALSE(VUROTARNTmpDirGet(0, path));
    EXPECT_EQ(ERR_SPACE_BUILDING_FOREGROUND, QLIBCErrGet());

    volumesSet("/volume1 ro\n/volume2\n");
    EXPECT_FALSE(VUROTARNTmpDirGet(1ULL << 60, path));
    EXPECT_EQ(ERR_NOT_ENOUGH_SPACE, QLIBCErrGet());
    EXPECT_EQ("", path);

    // The writable volume wins over the read-only one listed first.
    ASSERT_TRUE(VUROTARNTmpDirGet(0, path));
    EXPECT_EQ("/volume2/@tmp", path);
    struct stat st;
    ASSERT_OK(stat(sys(path).c_str(), &st));
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(01777u, st.st_mode & 07777);  // everyone's scratch, sticky as /tmp

    // One left open to everyone by an earlier version is closed again.
    ASSERT_OK(chmod(sys(path).c_str(), 0777));
    ASSERT_TRUE(VUROTARNTmpDirGet(0, path));
    ASSERT_OK(stat(sys(path).c_str(), &st));
    EXPECT_EQ(01777u, st.st_mode & 07777);
}

TEST_F(CommonUtil, PkgTmpDirKeepsItsLinkAndFollowsTheVolume) {
    volumeMake("/volume1");
    volumeMake("/volume2");
    volumesSet("/volume1\n");
    std::string path;
    ASSERT_TRUE(VUROTARNPkgTmpDirGet(path));
    EXPECT_EQ("/volume1/@tmp/tarnpkg.tmp/", path);
    EXPECT_EQ(sys(path), linkTarget());
    writeFile(sys(path) + "pkg.spk", "payload");

    // Same volume: nothing on the disk changes.
    struct stat dirBefore, linkBefore, dirAfter, linkAfter;
    ASSERT_OK(stat(sys(path).c_str(), &dirBefore));
    ASSERT_OK(lstat(sys(VUROTARN_PKG_TMP_LINK).c_str(), &linkBefore));
    ASSERT_TRUE(VUROTARNPkgTmpDirGet(path));
    ASSERT_OK(stat(sys(path).c_str(), &dirAfter));
    ASSERT_OK(lstat(sys(VUROTARN_PKG_TMP_LINK).c_str(), &linkAfter));
    EXPECT_TRUE(sameStat(dirBefore, dirAfter));
    EXPECT_TRUE(sameStat(linkBefore, linkAfter));
    EXPECT_EQ("payload", readFile(sys(path) + "pkg.spk"));

    // Only root writes the store.
    struct stat st;
    ASSERT_OK(lstat(sys(path).c_str(), &st));
    EXPECT_EQ(0755u, st.st_mode & 07777);

    // Another volume: the old directory goes with its content.
    volumesSet("/volume1 ro\n/volume2\n");
    ASSERT_TRUE(VUROTARNPkgTmpDirGet(path));
    EXPECT_EQ("/volume2/@tmp/tarnpkg.tmp/", path);
    EXPECT_EQ(sys(path), linkTarget());
    EXPECT_NE(0, access(sys("/volume1/@tmp/tarnpkg.tmp").c_str(), F_OK));
    EXPECT_EQ(0, access(sys("/volume1/@tmp").c_str(), F_OK));

    // No volume left: the link stays as it was.
    volumesSet("");
    EXPECT_FALSE(VUROTARNPkgTmpDirGet(path));
    EXPECT_EQ(sys("/volume2/@tmp/tarnpkg.tmp/"), linkTarget());
}

/* The link lies in a folder every user may write: whatever it leads to that
 * is not a root-owned store on a listed volume survives, and the link is
 * replaced as a link. */
TEST_F(CommonUtil, PkgTmpLinkIsBelievedOnlyWhenItLeadsToAVolumeStoreOfRoots) {
    volumeMake("/volume1");
    volumeMake("/volume2");
    volumeMake("/volume9");
    volumesSet("/volume2 ro\n/volume1\n");
    const std::string canary = root_ + "-canary";
    ASSERT_OK(mkdir(canary.c_str(), 0755));
    std::unique_ptr<const std::string, void (*)(const std::string*)> canaryGone(
        &canary, [](const std::string* p) { std::filesystem::remove_all(*p); });
    writeFile(canary + "/keep", "k");
    const std::string dbDir = sys("/var/packages/TARN/target/db");
    ASSERT_OK(access((dbDir + "/tarn_db.sqlite").c_str(), F_OK));
    ASSERT_OK(VUROFSMkdirP("/volume9/@tmp/tarnpkg.tmp", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    writeFile(sys("/volume9/@tmp/tarnpkg.tmp/keep"), "k");
    ASSERT_OK(VUROFSMkdirP("/volume2/@tmp/tarnpkg.tmp", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    writeFile(sys("/volume2/@tmp/tarnpkg.tmp/keep"), "k");
    const bool asRoot = geteuid() == 0;
    if (asRoot) {
        ASSERT_OK(chown(sys("/volume2/@tmp/tarnpkg.tmp").c_str(), 65534, 65534));
    }

    std::vector<std::string> targets = {
        canary,                            // out of the root
        "/../../../../../../.." + canary,  // out through ".."
        sys("/../" + root_.substr(root_.rfind('/') + 1) + "-canary"),
        dbDir,                             // the databases
        sys("/volume9/@tmp/tarnpkg.tmp"),  // no listed volume
        sys("/volume1/@tmp/nosuch"),       // dangling
    };
    if (asRoot) targets.push_back(sys("/volume2/@tmp/tarnpkg.tmp"));  // some user's store
    for (const std::string& target : targets) {
        unlink(sys(VUROTARN_PKG_TMP_LINK).c_str());
        ASSERT_OK(symlink(target.c_str(), sys(VUROTARN_PKG_TMP_LINK).c_str()));
        std::string path;
        ASSERT_TRUE(VUROTARNPkgTmpDirGet(path)) << target;
        EXPECT_EQ("/volume1/@tmp/tarnpkg.tmp/", path);
        EXPECT_EQ(sys(path), linkTarget()) << target;
        EXPECT_EQ("k", readFile(canary + "/keep")) << target;
        EXPECT_EQ(0, access((dbDir + "/tarn_db.sqlite").c_str(), F_OK)) << target;
        EXPECT_EQ("k", readFile(sys("/volume9/@tmp/tarnpkg.tmp/keep"))) << target;
        EXPECT_EQ("k", readFile(sys("/volume2/@tmp/tarnpkg.tmp/keep"))) << target;
    }

    // The store itself replaced by a link, or by some user's directory: it
    // is made anew for root, and what the link led to stays.
    const std::string store = sys("/volume1/@tmp/tarnpkg.tmp");
    ASSERT_OK(VUROFSRemoveTree(store.c_str()));
    ASSERT_OK(symlink(canary.c_str(), store.c_str()));
    std::string path;
    ASSERT_TRUE(VUROTARNPkgTmpDirGet(path));
    struct stat st;
    ASSERT_OK(lstat(store.c_str(), &st));
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ("k", readFile(canary + "/keep"));
    if (asRoot) {
        ASSERT_OK(chown(store.c_str(), 65534, 65534));
        writeFile(store + "/planted", "p");
        ASSERT_TRUE(VUROTARNPkgTmpDirGet(path));
        ASSERT_OK(lstat(store.c_str(), &st));
        EXPECT_EQ(0u, st.st_uid);
        EXPECT_NE(0, access((store + "/planted").c_str(), F_OK));
    }
}

/* In a child whose effective ids are not root, as a web handler would be:
 * the writes to root's files must go through the bracket. */
TEST_F(CommonUtil, RootOwnedFilesWrittenFromAnUnprivilegedCaller) {
    if (getuid() != 0 || geteuid() != 0) GTEST_SKIP() << "needs root as real id";
    volumeMake("/volume1");
    volumesSet("/volume1\n");
    // Laid out as a real system: the root may be entered, /tmp is sticky.
    ASSERT_OK(chmod(root_.c_str(), 0755));
    ASSERT_OK(chmod(sys("/tmp").c_str(), 01777));
    pid_t pid = fork();
    if (pid == 0) {
        if (setresgid((gid_t)-1, 65534, (gid_t)-1) != 0) _exit(90);
        if (setresuid((uid_t)-1, 65534, (uid_t)-1) != 0) _exit(91);
        std::string path;
        if (0 != VUROTARNSetConf("log_limit", "7")) _exit(1);
        if (!VUROTARNPkgTmpDirGet(path)) _exit(2);
        _exit(geteuid() == 65534 ? 0 : 3);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_NE(std::string::npos, readFile(sys(VUROTARN_CONF_PATH)).find("log_limit=7"));
}

TEST_F(CommonUtil, AdminPortsFromTheWebServerFile) {
    // tarn init writes a default file; start from a server without one.
    ASSERT_OK(unlink(sys(VUROTARN_KELP_CONF_PATH).c_str()));
    int http = 77, https = 88;
    EXPECT_EQ(-1, VUROTARNGetAdminPort(&http, &https));
    EXPECT_TRUE(logHas("cannot get kelp http & https port")) << logDump();
    EXPECT_EQ(-1, VUROTARNGetAdminPort(NULL, &https));
    EXPECT_TRUE(logHas("Failed [!piHttpPort]")) << logDump();

    ASSERT_OK(VUROFSMkdirP("/usr/vuro/etc/www", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    writeFile(sys(VUROTARN_KELP_CONF_PATH), "{\"ssl\":{\"port\":5001}}");
    EXPECT_OK(VUROTARNGetAdminPort(&http, &https));
    EXPECT_EQ(77, http);
    EXPECT_EQ(5001, https);

    writeFile(sys(VUROTARN_KELP_CONF_PATH), "{\"port\":5000,\"ssl\":{}}");
    https = 88;
    EXPECT_OK(VUROTARNGetAdminPort(&http, &https));
    EXPECT_EQ(5000, http);
    EXPECT_EQ(88, https);
}

TEST_F(CommonUtil, ShareRightsFromUserGroupsAndStatus) {
    writeFile(sys("/etc/passwd"),
              "alice:x:2001:100::/home/alice:/bin/sh\n"
              "bob:x:2002:100::/home/bob:/bin/sh\n"
              "carol:x:2003:100::/home/carol:/bin/sh\n"
              "dave:x:2004:100::/home/dave:/bin/sh\n"
              "eve:x:2005:100::/home/eve:/bin/sh\n");
    writeFile(sys("/etc/group"),
              "users:x:100:\n"
              "staff:x:200:carol,dave\n"
              "banned:x:300:dave\n");
    writeFile(sys("/etc/vuro/shares.json"),
              R"({"shares":[
                  {"name":"public","path":"/volume1/public","status":0,
                   "users":{"alice":"rw","bob":"ro"},
                   "groups":{"staff":"ro","banned":"na"}},
                  {"name":"pub-rw","path":"/volume1/public/drop/","status":0,
                   "groups":{"users":"rw"}},
                  {"name":"off","path":"/volume1/off","status":1,
                   "users":{"alice":"rw"}}]})");
    const std::string doc = "/volume1/public/docs/a.txt";
    EXPECT_TRUE(VUROTARNSharePrivRead("alice", doc));
    EXPECT_TRUE(VUROTARNSharePrivWrite("alice", doc));
    EXPECT_TRUE(VUROTARNSharePrivRead("bob", doc));
    EXPECT_FALSE(VUROTARNSharePrivWrite("bob", doc));
    EXPECT_TRUE(VUROTARNSharePrivRead("carol", doc));  // through staff
    EXPECT_FALSE(VUROTARNSharePrivWrite("carol", doc));
    EXPECT_FALSE(VUROTARNSharePrivRead("dave", doc));  // banned beats staff
    EXPECT_FALSE(VUROTARNSharePrivRead("eve", doc));   // no entry at all
    // The deepest share holds the path; the primary group counts.
    EXPECT_TRUE(VUROTARNSharePrivWrite("eve", "/volume1/public/drop/x"));

    EXPECT_FALSE(VUROTARNSharePrivWrite("alice", "/volume1/off"));
    EXPECT_FALSE(VUROTARNSharePrivRead("alice", "/volume1/off/x"));

    // Only whole path components make a share's path.
    logClear();
    EXPECT_FALSE(VUROTARNSharePrivRead("alice", "/volume1/publicity"));
    EXPECT_TRUE(logHas("Failed [0 > iRv")) << logDump();
}
