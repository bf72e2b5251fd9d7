/* platform_test.cpp - the platform core stand-in: ordered hash, string list,
 * key-value files below the system root, shell-free processes, plug-ins with
 * their environment and time limit, and the JSON helpers. */
#include <dirent.h>
#include <fcntl.h>
#include <errno.h>
#include <ftw.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "vurocore.h"
#include "vurofs.h"
#include "tarn_test.h"
#include "vurojson.h"

namespace {

using tarntest::items;
using tarntest::readFile;
using tarntest::writeFile;

std::set<std::string> entries(const std::string& dir) {
    std::set<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (struct dirent* e = readdir(d)) {
            if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0) {
                names.insert(e->d_name);
            }
        }
        closedir(d);
    }
    return names;
}

std::vector<std::string> keysOf(PQLIBSZHASH hash) {
    PQLIBSZLIST list = NULL;
    std::vector<std::string> keys;
    if (QLIBCSzHashEnumKey(hash, &list) == 0) {
        keys = items(list);
    }
    QLIBCSzListFree(list);
    return keys;
}

int removeEntry(const char* path, const struct stat*, int, struct FTW*) { return remove(path); }

const char kPluginDir[] = "/var/packages/TARN/target/plugin";

// A system root of its own per test, so nothing outside it is touched.
class SysrootTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/vurocore-test-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(tmpl));
        root_ = tmpl;
        setenv("VURO_SYSROOT", root_.c_str(), 1);
        ASSERT_EQ(0, mkdir(sys("/etc").c_str(), 0755));
    }
    void TearDown() override {
        nftw(root_.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
        unsetenv("VURO_SYSROOT");
        unsetenv("VURO_PLUGIN_TIMEOUT");
    }
    std::string sys(const std::string& path) const { return root_ + path; }

    // Writes an executable shell plug-in at "<plugin dir>/tarnou/tarnou_create".
    void plugin(const std::string& body) {
        std::string dir = root_;
        for (const char* part : {"/var", "/packages", "/TARN", "/target", "/plugin", "/tarnou"}) {
            dir += part;
            mkdir(dir.c_str(), 0755);
        }
        writeFile(dir + "/tarnou_create", "#!/bin/sh\n" + body, 0755);
    }

    std::string root_;
};

}  // namespace

// Declared first: the store must read empty before anything sets it.
TEST(ErrorStore, EmptyUntilSetThenKeepsFilePointer) {
    EXPECT_EQ(0, QLIBCErrGet());
    static const char kFile[] = "where.cpp";
    QLIBCErrSetEx(ERR_KEY_NOT_FOUND, kFile, 12);
    EXPECT_EQ(ERR_KEY_NOT_FOUND, QLIBCErrGet());
    EXPECT_EQ(kFile, QLIBCErrorGetFile());
    EXPECT_EQ(12, QLIBCErrorGetLine());
}

TEST(SzHash, InsertionOrderSurvivesResetRemoveAndCopy) {
    PQLIBSZHASH hash = QLIBCSzHashAlloc(4);
    ASSERT_NE(nullptr, hash);
    char key[] = "alpha";
    ASSERT_EQ(0, QLIBCSzHashSetValue(&hash, key, "1"));
    strcpy(key, "xxxxx");  // the hash holds its own copy
    ASSERT_EQ(0, QLIBCSzHashSetValue(&hash, "beta", "2"));
    ASSERT_EQ(0, QLIBCSzHashSetValue(&hash, "gamma", "3"));
    ASSERT_EQ(0, QLIBCSzHashSetValue(&hash, "beta", "22"));
    EXPECT_EQ((std::vector<std::string>{"alpha", "beta", "gamma"}), keysOf(hash));
    EXPECT_STREQ("22", QLIBCSzHashGetValue(hash, "beta"));

    EXPECT_EQ(0, QLIBCSzHashRemoveKey(hash, "alpha"));
    EXPECT_GT(0, QLIBCSzHashRemoveKey(hash, "alpha"));
    ASSERT_EQ(0, QLIBCSzHashSetValue(&hash, "alpha", "4"));
    EXPECT_EQ((std::vector<std::string>{"beta", "gamma", "alpha"}), keysOf(hash));
    EXPECT_EQ(3, QLIBCSzHashCount(hash));
    EXPECT_EQ(nullptr, QLIBCSzHashGetValue(hash, "delta"));

    PQLIBSZHASH copy = QLIBCIHashAllocator(hash->nSize, 7);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(4, copy->nSize);
    EXPECT_EQ(7, copy->nItemHint);
    ASSERT_EQ(0, QLIBCCopyHash(hash, copy));
    QLIBCSzHashFree(hash);
    EXPECT_EQ((std::vector<std::string>{"beta", "gamma", "alpha"}), keysOf(copy));
    EXPECT_STREQ("4", QLIBCSzHashGetValue(copy, "alpha"));
    EXPECT_EQ(0, QLIBCHashRemoveAll(copy));
    EXPECT_EQ(0, QLIBCSzHashCount(copy));
    EXPECT_TRUE(keysOf(copy).empty());
    QLIBCSzHashFree(copy);
}

TEST(SzList, GrowsPastInitialSizeSortsAndBoundsGet) {
    PQLIBSZLIST list = QLIBCSzListAlloc(2);
    ASSERT_NE(nullptr, list);
    for (int i = 99; i >= 0; i--) {
        ASSERT_EQ(0, QLIBCSzListPush(&list, ("item" + std::to_string(i)).c_str()));
    }
    ASSERT_EQ(100, list->nItem);
    EXPECT_STREQ("item99", list->pszItem[0]);
    EXPECT_STREQ("item0", QLIBCSzListGet(list, 99));
    EXPECT_EQ(nullptr, QLIBCSzListGet(list, 100));
    EXPECT_EQ(nullptr, QLIBCSzListGet(list, -1));

    ASSERT_EQ(0, QLIBCSzListSortItems(list, OP_SORTED));
    for (int i = 1; i < list->nItem; i++) {
        EXPECT_LT(strcmp(list->pszItem[i - 1], list->pszItem[i]), 0) << i;
    }
    EXPECT_STREQ("item0", list->pszItem[0]);
    EXPECT_STREQ("item10", list->pszItem[2]);

    EXPECT_EQ(0, QLIBCSzListRemoveAll(list));
    EXPECT_EQ(0, list->nItem);
    EXPECT_EQ(nullptr, QLIBCSzListGet(list, 0));
    QLIBCSzListFree(list);
    QLIBCSzListFree(NULL);
}

TEST_F(SysrootTest, KeyValueFilesReadAndWriteAtomicallyBelowTheRoot) {
    const char* conf = "/etc/tarn.conf";
    writeFile(sys(conf), "# settings\n  name = \"Main Office\"\nlimit=100\nlimit=7\nbare=x", 0640);
    char buf[64];
    EXPECT_EQ(12, QLIBCFileGetKeyValue(conf, "name", buf, sizeof(buf), 0));
    EXPECT_STREQ("Main Office", buf);
    EXPECT_EQ(4, QLIBCFileGetKeyValue(conf, "limit", buf, sizeof(buf), 0));
    EXPECT_STREQ("100", buf);
    EXPECT_EQ(12, QLIBCFileGetKeyValue(conf, "name", buf, 5, 0));  // cut, full length told
    EXPECT_STREQ("Main", buf);
    EXPECT_EQ(0, QLIBCFileGetKeyValue(conf, "absent", buf, sizeof(buf), 0));
    EXPECT_EQ(-1, QLIBCFileGetKeyValue("/etc/missing.conf", "name", buf, sizeof(buf), 0));
    EXPECT_EQ(-1, QLIBCFileGetKeyValue(conf, "name", NULL, 8, 0));

    ASSERT_EQ(0, QLIBCFileSetKeyValue(conf, "limit", "5", 0));
    ASSERT_EQ(0, QLIBCFileSetKeyValue(conf, "name", "Branch", 0));
    ASSERT_EQ(0, QLIBCFileSetKeyValue(conf, "added", "yes", 0));
    EXPECT_EQ("# settings\nname=\"Branch\"\nlimit=5\nlimit=7\nbare=x\nadded=yes\n",
              readFile(sys(conf)));
    struct stat st;
    ASSERT_EQ(0, stat(sys(conf).c_str(), &st));
    EXPECT_EQ(0640u, st.st_mode & 07777);
    EXPECT_EQ((std::set<std::string>{"tarn.conf"}), entries(sys("/etc")));

    EXPECT_TRUE(QLIBCFileCheckKeyValue(conf, "limit", "5", 0));
    EXPECT_FALSE(QLIBCFileCheckKeyValue(conf, "limit", "7", 0));
    EXPECT_FALSE(QLIBCFileCheckKeyValue(conf, "lim", "5", 0));

    // A new file gets 0644; a missing directory is not made.
    ASSERT_EQ(0, QLIBCFileSetKeyValue("/etc/new.conf", "k", " padded", 0));
    ASSERT_EQ(0, stat(sys("/etc/new.conf").c_str(), &st));
    EXPECT_EQ(0644u, st.st_mode & 07777);
    EXPECT_TRUE(QLIBCFileCheckKeyValue("/etc/new.conf", "k", " padded", 0));
    EXPECT_EQ(-1, QLIBCFileSetKeyValue("/etc/sub/x.conf", "k", "v", 0));
    EXPECT_NE(0, access(sys("/etc/sub").c_str(), F_OK));
    EXPECT_EQ(-1, QLIBCFileSetKeyValue(conf, "k", "two\nlines", 0));
}

/* Writers of different keys of one file, in separate processes, each
 * reading and replacing the whole file: every last value is there. */
TEST_F(SysrootTest, KeyValueWritersInManyProcessesLoseNoKey) {
    const char* conf = "/etc/shared.conf";
    const int kWriters = 6, kRounds = 40;
    std::vector<pid_t> pids;
    for (int w = 0; w < kWriters; w++) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            std::string key = "writer" + std::to_string(w);
            for (int r = 0; r < kRounds; r++) {
                if (QLIBCFileSetKeyValue(conf, key.c_str(), std::to_string(r).c_str(), 0) != 0) {
                    _exit(1);
                }
            }
            _exit(0);
        }
        pids.push_back(pid);
    }
    for (pid_t pid : pids) EXPECT_EQ(0, tarntest::reapWithin(pid, 60000));
    char buf[16];
    for (int w = 0; w < kWriters; w++) {
        std::string key = "writer" + std::to_string(w);
        EXPECT_EQ(3, QLIBCFileGetKeyValue(conf, key.c_str(), buf, sizeof(buf), 0)) << key;
        EXPECT_STREQ("39", buf) << key;
    }
    EXPECT_EQ((std::set<std::string>{"shared.conf"}), entries(sys("/etc")))
        << "no temp or lock file left";
}

/* String files are kept parsed; a file swapped for a link out of the root
 * is never read, even right after its parsed copy was used. */
TEST_F(SysrootTest, SectionFilesAreReadOnlyInsideTheRoot) {
    const char* file = "/etc/strings";
    writeFile(sys(file), "[common]\nword=\"inside\"\n");
    char buf[64];
    ASSERT_LE(0, QLIBCFileGetSectionValue(file, "common", "word", buf, sizeof(buf)));
    EXPECT_STREQ("inside", buf);
    ASSERT_LE(0, QLIBCFileGetSectionValue(file, "common", "word", buf, sizeof(buf)));

    const std::string canary = root_ + "-strings";
    writeFile(canary, "[common]\nword=\"outside\"\n");
    ASSERT_EQ(0, unlink(sys(file).c_str()));
    ASSERT_EQ(0, symlink(canary.c_str(), sys(file).c_str()));
    EXPECT_EQ(-1, QLIBCFileGetSectionValue(file, "common", "word", buf, sizeof(buf)));
    unlink(canary.c_str());
}

TEST_F(SysrootTest, SysPathMapsOnceAndOnlyAbsolutePaths) {
    setenv("VURO_SYSROOT", (root_ + "/").c_str(), 1);
    EXPECT_EQ(sys("/etc/a"), VUROSysPathStr("/etc/a"));
    EXPECT_EQ(sys("/etc/a"), VUROSysPathStr(VUROSysPathStr("/etc/a")));
    EXPECT_EQ(root_, VUROSysPathStr(root_));
    EXPECT_EQ(sys(root_ + "x/etc"), VUROSysPathStr(root_ + "x/etc"));
    EXPECT_EQ("etc/a", VUROSysPathStr("etc/a"));

    std::string want = sys("/etc/a");
    std::vector<char> buf(want.size() + 1);
    EXPECT_EQ(0, VUROSysPath("/etc/a", buf.data(), buf.size()));
    EXPECT_EQ(want, buf.data());
    EXPECT_EQ(-1, VUROSysPath("/etc/a", buf.data(), buf.size() - 1));
    EXPECT_EQ(-1, VUROSysPath(NULL, buf.data(), buf.size()));

    setenv("VURO_SYSROOT", "", 1);
    EXPECT_EQ("/etc/a", VUROSysPathStr("/etc/a"));
}

/* A link planted under the root, or "..", must not take a path elsewhere:
 * the join refuses it, and the calls that create or remove stop there. */
TEST_F(SysrootTest, SysPathRefusesWhatResolvesOutsideTheRoot) {
    const std::string canary = root_ + "-canary";
    ASSERT_EQ(0, mkdir(canary.c_str(), 0755));
    std::unique_ptr<const std::string, void (*)(const std::string*)> canaryGone(
        &canary, [](const std::string* p) { std::filesystem::remove_all(*p); });
    writeFile(canary + "/keep", "k");
    ASSERT_EQ(0, symlink(canary.c_str(), sys("/out").c_str()));
    ASSERT_EQ(0, symlink((canary + "/new").c_str(), sys("/dangling").c_str()));
    ASSERT_EQ(0, symlink("../../../../../../../../..", sys("/etc/up").c_str()));
    ASSERT_EQ(0, symlink(sys("/etc").c_str(), sys("/in").c_str()));
    ASSERT_EQ(0, symlink("loop", sys("/loop").c_str()));

    errno = 0;
    EXPECT_EQ("", VUROSysPathStr("/../../etc/passwd"));
    EXPECT_EQ(EXDEV, errno);
    EXPECT_EQ("", VUROSysPathStr("/etc/../../x"));
    EXPECT_EQ("", VUROSysPathStr("/out/keep"));
    EXPECT_EQ("", VUROSysPathStr("/out"));
    EXPECT_EQ("", VUROSysPathStr("/dangling"));
    EXPECT_EQ("", VUROSysPathStr("/etc/up/tmp"));
    EXPECT_EQ("", VUROSysPathStr(sys("/out/keep")));  // already joined: looked at all the same
    EXPECT_EQ("", VUROSysPathStr("/loop"));
    char buf[4096];
    EXPECT_EQ(-1, VUROSysPath("/out/keep", buf, sizeof(buf)));
    EXPECT_EQ(EXDEV, errno);
    // Not following the last step: the link itself may be removed or replaced.
    EXPECT_EQ(sys("/out"), VUROSysPathStr("/out", VURO_SYSPATH_NOFOLLOW));
    EXPECT_EQ("", VUROSysPathStr("/out/keep", VURO_SYSPATH_NOFOLLOW));
    // What stays inside is joined as it was written.
    EXPECT_EQ(sys("/etc/../etc/a"), VUROSysPathStr("/etc/../etc/a"));
    EXPECT_EQ(sys("/in/a"), VUROSysPathStr("/in/a"));
    EXPECT_EQ(sys("/new/../x"), VUROSysPathStr("/new/../x"));

    // Creating and removing calls stop at the refusal.
    EXPECT_EQ(-1, QLIBCFileTouch("/dangling"));
    EXPECT_EQ(-1, QLIBCFileTouch("/out/new"));
    EXPECT_EQ(-1, QLIBCFileSetKeyValue("/dangling", "k", "v", 0));
    EXPECT_EQ(-1, QLIBCFileSetKeyValue("/out/keep", "k", "v", 0));
    EXPECT_EQ(-1, VUROFSMkdirP("/out/sub", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    EXPECT_EQ(-1, VUROFSMkdirP("/dangling", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    // The whole path comes back inside, but a step of mkdir -p would not.
    std::string back = "/out/made/../../" + root_.substr(root_.rfind('/') + 1) + "/x";
    EXPECT_EQ(-1, VUROFSMkdirP(back.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0755));
    EXPECT_EQ(-1, VUROFSRemoveTree("/out/keep"));
    EXPECT_EQ((std::set<std::string>{"keep"}), entries(canary));
    EXPECT_EQ("k", readFile(canary + "/keep"));

    // A tree with links in it goes; the links go as links.
    ASSERT_EQ(0, VUROFSMkdirP("/tree/a/b", NULL, TRUE, UID_ERR, GID_ERR, 0755));
    writeFile(sys("/tree/a/b/f"), "f");
    ASSERT_EQ(0, symlink(canary.c_str(), sys("/tree/a/link").c_str()));
    ASSERT_EQ(0, symlink((canary + "/keep").c_str(), sys("/tree/a/b/file").c_str()));
    EXPECT_EQ(0, VUROFSRemoveTree("/tree/"));
    EXPECT_NE(0, access(sys("/tree").c_str(), F_OK));
    EXPECT_EQ(0, VUROFSRemoveTree("/out"));
    EXPECT_NE(0, access(sys("/out").c_str(), F_OK));
    EXPECT_EQ(0, VUROFSRemoveTree("/nosuch"));
    EXPECT_EQ("k", readFile(canary + "/keep"));
    struct stat st;
    EXPECT_NE(0, lstat((canary + "/new").c_str(), &st));
}

TEST_F(SysrootTest, ExecRunsWithoutShellAndReportsStatus) {
    char sh[] = "sh", dashC[] = "-c", exit7[] = "exit 7", killSelf[] = "kill -9 $$";
    char* const seven[] = {sh, dashC, exit7, NULL};
    EXPECT_EQ(7, QLIBCExec("/bin/sh", seven));
    char* const killed[] = {sh, dashC, killSelf, NULL};
    EXPECT_EQ(-1, QLIBCExec("/bin/sh", killed));
    char* const none[] = {sh, NULL};
    EXPECT_EQ(127, QLIBCExec("/nonexistent/program", none));

    std::string script = sys("/args.sh");
    std::string out = sys("/args.out");
    writeFile(script, "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + out + "'\n", 0755);
    std::vector<std::string> args = {script, "$(echo x)", "a b", "; touch " + sys("/owned")};
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(NULL);
    ASSERT_EQ(0, QLIBCExec(script.c_str(), argv.data()));
    EXPECT_EQ("$(echo x)\na b\n; touch " + sys("/owned") + "\n", readFile(out));
    EXPECT_NE(0, access(sys("/owned").c_str(), F_OK));

    EXPECT_TRUE(QLIBCProcAlive(getpid()));
    EXPECT_FALSE(QLIBCProcAlive(0));
    pid_t child = QLIBCProcFork();
    ASSERT_LE(0, child);
    if (child == 0) {
        _exit(0);
    }
    int status;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_FALSE(QLIBCProcAlive(child));
}

TEST_F(SysrootTest, PluginRunsWithArgumentsInItsOwnEnvironment) {
    std::string out = sys("/plugin.out");
    plugin("{ echo \"action=$1\"; readlink /proc/$$/fd/0; env; } > '" + out + "'\n");
    setenv("TARN_TEST_PARENT_ONLY", "leak", 1);

    PQLIBSZLIST dirs = NULL;
    ASSERT_EQ(0, QLIBCSzListPush(&dirs, "/nonexistent/plugin"));
    ASSERT_EQ(0, QLIBCSzListPush(&dirs, kPluginDir));
    PQLIBPLUGIN p = NULL;
    ASSERT_EQ(0, QLIBPluginInit("tarnou/tarnou_create", dirs, 1, 0, &p));
    ASSERT_TRUE(QLIBPluginHasInit(p));
    ASSERT_EQ(0, QLIBPluginSetArg(p, "OU_NAME", "first"));
    ASSERT_EQ(0, QLIBPluginSetArg(p, "OU_NAME", "Sales & Co $(x)"));
    ASSERT_EQ(0, QLIBPluginSetArgByInt(p, "RESULT", -5));
    EXPECT_EQ(-1, QLIBPluginSetArg(p, NULL, "x"));
    EXPECT_EQ(-1, QLIBPluginSetArg(NULL, "K", "x"));
    EXPECT_EQ(-1, QLIBPluginSetArgByInt(NULL, "K", 1));

    // Our stdin is a pipe for the run: the plug-in must not inherit it.
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    int savedIn = dup(STDIN_FILENO);
    dup2(fds[0], STDIN_FILENO);
    int rc = QLIBPluginAction(SDK_PLUGIN_PRE, p);
    dup2(savedIn, STDIN_FILENO);
    close(savedIn);
    close(fds[0]);
    close(fds[1]);
    ASSERT_EQ(0, rc);
    std::string text = "\n" + readFile(out);
    for (const std::string& line : std::vector<std::string>{
             "action=PRE", "/dev/null", "OU_NAME=Sales & Co $(x)", "RESULT=-5",
             "PLUGIN_NAME=tarnou/tarnou_create", "PLUGIN_ACTION=PRE", "VURO_SYSROOT=" + root_}) {
        EXPECT_NE(std::string::npos, text.find("\n" + line + "\n")) << line << " in\n" << text;
    }
    EXPECT_EQ(std::string::npos, text.find("first"));
    EXPECT_EQ(std::string::npos, text.find("TARN_TEST_PARENT_ONLY"));

    ASSERT_EQ(0, QLIBPluginAction(SDK_PLUGIN_POST, p));
    EXPECT_NE(std::string::npos, readFile(out).find("action=POST\n"));
    EXPECT_NE(std::string::npos, readFile(out).find("\nRESULT=-5\n"));  // arguments stay set
    EXPECT_EQ(-1, QLIBPluginAction(static_cast<SDK_PLUGIN_ACTION>(3), p));
    EXPECT_EQ(0, QLIBPluginExit(p));
    EXPECT_EQ(0, QLIBPluginExit(NULL));
    QLIBCSzListFree(dirs);
    unsetenv("TARN_TEST_PARENT_ONLY");
}

TEST_F(SysrootTest, PluginFailuresMissingAndTimeout) {
    PQLIBSZLIST dirs = NULL;
    ASSERT_EQ(0, QLIBCSzListPush(&dirs, kPluginDir));
    PQLIBPLUGIN p = reinterpret_cast<PQLIBPLUGIN>(&dirs);  // must be reset to NULL
    EXPECT_EQ(-1, QLIBPluginInit("tarnou/tarnou_create", dirs, 1, 0, &p));
    EXPECT_EQ(nullptr, p);
    EXPECT_FALSE(QLIBPluginHasInit(p));

    plugin("exit 3\n");
    chmod(sys(std::string(kPluginDir) + "/tarnou/tarnou_create").c_str(), 0644);
    EXPECT_EQ(-1, QLIBPluginInit("tarnou/tarnou_create", dirs, 1, 0, &p));  // not executable
    chmod(sys(std::string(kPluginDir) + "/tarnou/tarnou_create").c_str(), 0755);
    ASSERT_EQ(0, QLIBPluginInit("tarnou/tarnou_create", dirs, 1, 0, &p));
    EXPECT_EQ(-1, QLIBPluginAction(SDK_PLUGIN_PRE, p));
    QLIBPluginExit(p);
    EXPECT_EQ(-1, QLIBPluginInit("../plugin/tarnou/tarnou_create", dirs, 1, 0, &p));
    QLIBCSzListFree(dirs);
}

namespace {

// True once the process is gone or a zombie, waiting up to two seconds.
bool processEnds(const std::string& pidText) {
    std::string stat = "/proc/" + pidText.substr(0, pidText.find('\n')) + "/stat";
    for (int i = 0; i < 200; i++) {
        std::string s = readFile(stat);
        if (s.empty() || s.find(") Z ") != std::string::npos) return true;
        usleep(10000);
    }
    return false;
}

}  // namespace

/* A plug-in's output is no part of the caller's: it goes to the system log,
 * the caller's descriptors are not passed on, and what the plug-in leaves
 * holding its output, in a session of its own, is ended with it. */
TEST_F(SysrootTest, PluginOutputGoesToTheLogAndWhatItLeavesIsEnded) {
    std::string pidFile = sys("/sleeper.pid");
    plugin(
        "echo '\"id\" : 999'\necho oops >&2\n"
        "[ -e /proc/$$/fd/47 ] && echo leaked47\n"
        "setsid sleep 30 &\necho $! > '" +
        pidFile + "'\n");
    PQLIBSZLIST dirs = NULL;
    ASSERT_EQ(0, QLIBCSzListPush(&dirs, kPluginDir));
    PQLIBPLUGIN p = NULL;
    ASSERT_EQ(0, QLIBPluginInit("tarnou/tarnou_create", dirs, 1, 0, &p));
    setenv("VURO_PLUGIN_TIMEOUT", "5", 1);

    // Our stdout is a pipe, as in $(tarn ...); fd 47 is one we hold open.
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    ASSERT_EQ(47, dup2(fds[1], 47));
    fflush(stdout);
    int savedOut = dup(STDOUT_FILENO);
    dup2(fds[1], STDOUT_FILENO);
    close(fds[1]);
    tarntest::logClear();
    time_t start = time(NULL);
    int rc = QLIBPluginAction(SDK_PLUGIN_PRE, p);
    time_t took = time(NULL) - start;
    dup2(savedOut, STDOUT_FILENO);
    close(savedOut);
    close(47);
    ASSERT_EQ(0, rc);
    EXPECT_LE(took, 2);

    // Every writer of the pipe is gone: the sleeper did not keep it open.
    fcntl(fds[0], F_SETFL, O_NONBLOCK);
    char buf[256];
    EXPECT_EQ(0, read(fds[0], buf, sizeof(buf)));
    close(fds[0]);
    EXPECT_TRUE(tarntest::logHas("plug-in tarnou/tarnou_create PRE: \"id\" : 999"))
        << tarntest::logDump();
    EXPECT_TRUE(tarntest::logHas("plug-in tarnou/tarnou_create PRE (stderr): oops"));
    EXPECT_FALSE(tarntest::logHas("leaked47"));
    std::string sleeper = readFile(pidFile);
    ASSERT_FALSE(sleeper.empty());
    EXPECT_TRUE(processEnds(sleeper)) << sleeper;

    // A plug-in that waits for its own setsid child runs into the limit:
    // both go, though the child left the plug-in's process group.
    unlink(pidFile.c_str());
    plugin("setsid sleep 30 &\necho $! > '" + pidFile + "'\nwait\n");
    setenv("VURO_PLUGIN_TIMEOUT", "1", 1);
    start = time(NULL);
    EXPECT_EQ(-1, QLIBPluginAction(SDK_PLUGIN_POST, p));
    EXPECT_LE(time(NULL) - start, 3);
    sleeper = readFile(pidFile);
    ASSERT_FALSE(sleeper.empty());
    EXPECT_TRUE(processEnds(sleeper)) << sleeper;
    QLIBPluginExit(p);
    QLIBCSzListFree(dirs);
}

TEST(Reallocf, KeepsContentAndReleasesOnFailure) {
    char* p = static_cast<char*>(reallocf(NULL, 4));
    ASSERT_NE(nullptr, p);
    memcpy(p, "abc", 4);
    p = static_cast<char*>(reallocf(p, 1 << 20));
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("abc", p);
#ifndef __SANITIZE_ADDRESS__  // the sanitizer aborts on impossible sizes
    volatile size_t huge = SIZE_MAX / 2;
    EXPECT_EQ(nullptr, reallocf(p, huge));
#else
    free(p);
#endif
}

TEST_F(SysrootTest, JsonRoundTripStrictParseFileAndSearch) {
    Json::Value v;
    ASSERT_TRUE(vurojson::fromString(v, "{\"city\": \"Zürich\", \"n\": [1, 2]}"));
    std::string text = vurojson::toString(v);
    EXPECT_NE(std::string::npos, text.find("\"Zürich\"")) << text;
    EXPECT_EQ(std::string::npos, text.find('\n'));
    Json::Value again;
    ASSERT_TRUE(vurojson::fromString(again, text));
    EXPECT_EQ(v, again);

    for (const char* bad : {"", "{", "{} extra", "nope"}) {
        Json::Value w(5);
        EXPECT_FALSE(vurojson::fromString(w, bad)) << bad;
        EXPECT_TRUE(w.isNull()) << bad;
    }

    writeFile(sys("/etc/x.json"), "[\"a\", 2, {\"k\": true}]\n");
    Json::Value arr;
    ASSERT_TRUE(vurojson::fromFile(arr, "/etc/x.json"));
    EXPECT_FALSE(vurojson::fromFile(v, "/etc/none.json"));
    EXPECT_EQ(1u, vurojson::searchArrayIndex(arr, Json::Value(2)));
    Json::Value obj;
    obj["k"] = true;
    EXPECT_EQ(2u, vurojson::searchArrayIndex(arr, obj));
    EXPECT_EQ(Json::Value::maxUInt, vurojson::searchArrayIndex(arr, Json::Value("b")));
    EXPECT_EQ(Json::Value::maxUInt, vurojson::searchArrayIndex(obj, Json::Value(true)));
}
