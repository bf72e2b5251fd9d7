/* users_test.cpp - the platform's users and groups: the system root's own
 * files when present, NSS otherwise, and getgrouplist's grow contract. */
#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tarn_test.h"
#include "vurocore.h"

using namespace tarntest;

class UsersTest : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        std::string passwd =
            "root:x:0:0:root:/root:/bin/sh\n"
            "CORP\\alice:x:200001:200000::/home/alice:/bin/sh\n"
            "bob@example.com:x:300001:100::/home/bob:/bin/sh\n"
            "carol:x:1500:1500::/home/carol:/bin/sh\n"
            "many:x:1600:100::/home/many:/bin/sh\n"
            "broken line without fields\n";
        std::string group =
            "root:x:0:\n"
            "users:x:100:carol\n"
            "administrators:x:101:carol,someone\n"
            "CORP\\domain users:x:200000:\n"
            "carol:x:1500:\n";
        for (int i = 0; i < 60; i++) {
            group += "g" + std::to_string(i) + ":x:" + std::to_string(5000 + i) + ":x,many,y\n";
        }
        writeFile(sys("/etc/passwd"), passwd);
        writeFile(sys("/etc/group"), group);
    }
};

TEST_F(UsersTest, LooksUpAccountsOfTheSystemRoot) {
    PVURO_USER user = nullptr;
    ASSERT_EQ(0, VUROUserGet("CORP\\alice", &user));
    EXPECT_EQ(200001u, user->pw_uid);
    EXPECT_EQ(200000u, user->pw_gid);
    VUROUserFree(user);
    ASSERT_EQ(0, VUROUserGetByUID(300001, &user));
    EXPECT_STREQ("bob@example.com", user->szName);
    VUROUserFree(user);
    EXPECT_GT(0, VUROUserGetByUID(4242, &user));
    EXPECT_EQ(nullptr, user);

    uid_t uid = 0;
    gid_t gid = 0;
    ASSERT_EQ(0, VUROUserGetUGID("carol", &uid, &gid));
    EXPECT_EQ(1500u, uid);
    EXPECT_EQ(1500u, gid);
    EXPECT_GT(0, VUROUserGetUGID("nobody-here", &uid, nullptr));

    PVURO_GROUP group = nullptr;
    ASSERT_EQ(0, VUROGroupGetByGID(101, &group));
    EXPECT_STREQ("administrators", group->szName);
    EXPECT_EQ(2, group->pMembers->nItem);
    VUROGroupFree(group);
    ASSERT_EQ(0, VUROGroupGet("CORP\\domain users", &group));
    EXPECT_EQ(200000u, group->gr_gid);
    VUROGroupFree(group);

    // Members of "administrators", listed or by primary group.
    EXPECT_EQ(1, QLIBGroupIsAdminGroupMemByUid(1500, FALSE));
    EXPECT_EQ(0, QLIBGroupIsAdminGroupMemByUid(300001, FALSE));
    EXPECT_EQ(-1, QLIBGroupIsAdminGroupMemByUid(4242, FALSE));
}

TEST_F(UsersTest, GroupListKeepsTheGrowContract) {
    gid_t groups[50];
    int n = 50;
    EXPECT_EQ(-1, VUROUserGroupList("many", 100, groups, &n));
    EXPECT_EQ(61, n);  // primary group and the 60 that list the user
    std::vector<gid_t> big((size_t)n);
    EXPECT_EQ(61, VUROUserGroupList("many", 100, big.data(), &n));
    EXPECT_EQ(100u, big[0]);
    EXPECT_EQ(5059u, big[60]);
    n = 50;
    EXPECT_EQ(3, VUROUserGroupList("carol", 1500, groups, &n));  // carol, users, administrators
}

/* Passwords: hashed into the root's own shadow file, one line a user, and
 * checked without telling a missing account from a wrong password. */
TEST_F(UsersTest, PasswordsAreHashedIntoTheRootsShadowFile) {
    EXPECT_EQ(0, VUROUserPasswordCheck("carol", "secret")) << "nothing stored yet";
    ASSERT_OK(VUROUserPasswordSet("carol", "first pass"));
    ASSERT_OK(VUROUserPasswordSet("CORP\\alice", "other"));
    ASSERT_OK(VUROUserPasswordSet("carol", "secret"));
    std::string shadow = readFile(sys("/etc/shadow"));
    EXPECT_EQ(std::string::npos, shadow.find("secret")) << shadow;
    EXPECT_EQ(0u, shadow.find("CORP\\alice:$y$")) << shadow;
    EXPECT_NE(std::string::npos, shadow.find("\ncarol:$y$")) << "one line a user: " << shadow;
    EXPECT_EQ(2, std::count(shadow.begin(), shadow.end(), '\n'));
    struct stat st;
    ASSERT_OK(stat(sys("/etc/shadow").c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 07777);

    EXPECT_EQ(1, VUROUserPasswordCheck("carol", "secret"));
    EXPECT_EQ(0, VUROUserPasswordCheck("carol", "first pass")) << "the old one is gone";
    EXPECT_EQ(0, VUROUserPasswordCheck("carol", "secreT"));
    EXPECT_EQ(1, VUROUserPasswordCheck("CORP\\alice", "other"));
    EXPECT_EQ(0, VUROUserPasswordCheck("nobody-here", "secret"));
    EXPECT_EQ(-1, VUROUserPasswordCheck("carol", ""));

    errno = 0;
    EXPECT_EQ(-1, VUROUserPasswordSet("nobody-here", "x"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, VUROUserPasswordSet("carol", ""));
    EXPECT_EQ(-1, VUROUserPasswordSet("carol", std::string(2000, 'a').c_str()));
    EXPECT_EQ(1, VUROUserPasswordCheck("carol", "secret")) << "refusals changed nothing";

    // Without user files of its own the root has no accounts to set: the
    // machine's shadow file is never the one written.
    ASSERT_OK(unlink(sys("/etc/passwd").c_str()));
    errno = 0;
    EXPECT_EQ(-1, VUROUserPasswordSet("root", "x"));
    EXPECT_EQ(ENOTSUP, errno);
    EXPECT_EQ(-1, VUROUserPasswordCheck("root", "x"));
}

TEST(UsersNss, FallsBackToTheSystemDatabases) {
    unsetenv("VURO_SYSROOT");
    PVURO_USER user = nullptr;
    ASSERT_EQ(0, VUROUserGetByUID(0, &user));
    EXPECT_STREQ("root", user->szName);
    VUROUserFree(user);
    EXPECT_EQ(1, [] {
        gid_t g[4];
        int n = 4;
        return VUROUserGroupList("root", 0, g, &n) >= 1 ? 1 : 0;
    }());
}
