/* root_escape_test.cpp - the databases' files reached through links planted
 * under the root: a link that leads out of it is never created, chowned,
 * chmodded or opened through, and the write that needed it fails. */
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

class RootEscape : public TarnTest {
protected:
    void SetUp() override {
        TarnTest::SetUp();
        canary_ = root_ + "-canary";
        ASSERT_OK(mkdir(canary_.c_str(), 0755));
    }
    void TearDown() override {
        std::filesystem::remove_all(canary_);
        TarnTest::TearDown();
    }
    /* The database file replaced by a dangling link to the canary folder. */
    void dbLinkPlant(const char* szDbPath) {
        std::string file = sys(szDbPath);
        unlink(file.c_str());
        ASSERT_OK(symlink((canary_ + "/db").c_str(), file.c_str()));
    }
    bool canaryEmpty() {
        struct stat st;
        return lstat((canary_ + "/db").c_str(), &st) != 0;
    }
    std::string canary_;
};

}  // namespace

TEST_F(RootEscape, LogDatabaseLinkOutOfTheRootIsNotCreated) {
    dbLinkPlant(VUROTARNLOG_DB_PATH);
    VURO_TARN_OU ou;
    ou.str_name = "Sales";
    ou.parent_id = 0;
    // The OU is written; its event row cannot be, and nothing appears outside.
    EXPECT_OK(VUROTARNOuCreate(&ou));
    EXPECT_TRUE(canaryEmpty());
    EXPECT_TRUE(logHas("VUROSysPath(VUROTARNLOG_DB_PATH) refused")) << logDump();
}

TEST_F(RootEscape, MainDatabaseLinkOutOfTheRootIsNotOpened) {
    dbLinkPlant(VUROTARN_SQLITE_DB_PATH);
    VURO_TARN_OU ou;
    ou.str_name = "Sales";
    ou.parent_id = 0;
    EXPECT_EQ(-1, VUROTARNOuCreate(&ou));
    VURO_TARN_OU_LIST list = nullptr;
    VUROTARNOuListAll(&list, NULL, NULL);
    EXPECT_EQ(nullptr, list);
    EXPECT_TRUE(canaryEmpty());
    EXPECT_TRUE(logHas("sqlite3_open(VUROTARN_SQLITE_DB_PATH")) << logDump();
}

/* The tool's link to its helper program leads out of the root, to where it
 * was built: a second init replaces the link instead of following it. */
TEST_F(RootEscape, InitAgainReplacesItsLinkOutOfTheRoot) {
    EXPECT_EQ(0, tarn({"init", "--data", TARN_SOURCE_DIR "/data"}));
    EXPECT_EQ(0, tarn({"init", "--data", TARN_SOURCE_DIR "/data"}));
}
