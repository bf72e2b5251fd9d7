/* cmd_init.cpp - "tarn init": lays out a complete system root: directories,
 * the main database from tarn_db.sql, the UI data and the configuration. */
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sqlite3.h>

#include <fstream>
#include <sstream>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

std::string executableDir() {
    char buf[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof(buf) - 1);
    if (n <= 0) {
        return ".";
    }
    buf[n] = '\0';
    std::string path(buf);
    return path.substr(0, path.rfind('/'));
}

bool isDir(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string findDataDir(const Args& args) {
    std::vector<std::string> candidates;
    if (args.has("data")) {
        candidates.push_back(args.get("data"));
    }
    if (getenv("TARN_DATA_DIR") && *getenv("TARN_DATA_DIR")) {
        candidates.push_back(getenv("TARN_DATA_DIR"));
    }
    candidates.push_back(executableDir() + "/../share/tarn");
    candidates.push_back(TARN_DATA_DIR);
    for (const std::string& c : candidates) {
        if (isDir(c) && access((c + "/tarn_db.sql").c_str(), R_OK) == 0) {
            return c;
        }
    }
    throw UsageError{"no data directory with tarn_db.sql found (use --data DIR)"};
}

void makeDirs(const std::string& path, mode_t mode) {
    std::string cur;
    std::stringstream ss(path);
    std::string part;
    while (std::getline(ss, part, '/')) {
        if (part.empty()) {
            cur += "/";
            continue;
        }
        cur += part + "/";
        if (mkdir(cur.c_str(), mode) != 0 && errno != EEXIST) {
            fail("cannot make directory " + cur + ": " + strerror(errno));
        }
    }
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void copyTree(const std::string& from, const std::string& to) {
    if (!isDir(from)) {
        return;
    }
    // Small trees of data files: walk with the shell-free cp.
    makeDirs(to, 0755);
    char* const argv[] = {(char*)"/bin/cp",    (char*)"-R",       (char*)"-T",
                          (char*)from.c_str(), (char*)to.c_str(), NULL};
    if (QLIBCExec("/bin/cp", argv) != 0) {
        fail("cannot copy " + from + " to " + to + ": cp failed, its message is above");
    }
}

}  // namespace

int cmdInit(const Args& args) {
    // A root laid out over the live system by a stray "init" is hard to
    // take back: this system's own root is only ever named on purpose.
    const char* szRoot = getenv("VURO_SYSROOT");
    if (szRoot == NULL || szRoot[0] == '\0') {
        throw UsageError{
            "init needs the root to lay out: --root DIR (or $VURO_SYSROOT); "
            "--root / for this system itself"};
    }
    std::string data = findDataDir(args);
    const char* kDirs[] = {
        "/var/packages/TARN/target/db",
        "/var/packages/TARN/target/plugin",
        "/var/packages/TARN/target/ui/json",
        "/var/packages/TARN/target/ui/texts",
        "/var/packages/TARN/target/tools",
        "/var/packages/TARN/target/peerinfo",
        "/var/packages/TARN/etc",
        "/etc/vuro",
        "/etc.defaults",
        "/tmp",
    };
    for (const char* d : kDirs) {
        makeDirs(VUROSysPathStr(d), 0755);
    }
    std::string dbPath = VUROSysPathStr(VUROTARN_SQLITE_DB_PATH);
    sqlite3* db = NULL;
    if (sqlite3_open(dbPath.c_str(), &db) != SQLITE_OK) {
        std::string msg = db != NULL ? sqlite3_errmsg(db) : "out of memory";
        sqlite3_close(db);
        fail("cannot open " + dbPath + ": " + msg);
    }
    char* szErr = NULL;
    std::string schema = readFile(data + "/tarn_db.sql");
    if (sqlite3_exec(db, schema.c_str(), NULL, NULL, &szErr) != SQLITE_OK) {
        std::string msg = szErr ? szErr : "?";
        sqlite3_free(szErr);
        sqlite3_close(db);
        fail("cannot lay out " + dbPath + ": " + msg);
    }
    sqlite3_close(db);
    chmod(dbPath.c_str(), 0600);
    copyTree(data + "/ui", VUROSysPathStr("/var/packages/TARN/target/ui"));
    std::string conf = VUROSysPathStr("/var/packages/TARN/etc/tarninfo.conf");
    if (access(conf.c_str(), F_OK) != 0 &&
        QLIBCFileSetKeyValue("/var/packages/TARN/etc/tarninfo.conf", "log_limit", "100000", 0) !=
            0) {
        fail("cannot write " + conf + ": " + strerror(errno));
    }
    // The helper the event log runs lies beside this tool; the root gets a
    // link to it, so it runs against the same libraries.
    std::string peerTool = executableDir() + "/vurotarnpeer";
    // The link itself (it leads out of the root, to the build): replaced.
    std::string peerLink = VUROSysPathStr(VUROTARNLOG_PEER_TOOL, VURO_SYSPATH_NOFOLLOW);
    if (access(peerTool.c_str(), X_OK) == 0) {
        unlink(peerLink.c_str());
        if (symlink(peerTool.c_str(), peerLink.c_str()) != 0) {
            fail("cannot link " + peerLink + ": " + strerror(errno));
        }
    }
    Json::Value j;
    j["root"] = szRoot;
    j["db"] = dbPath;
    j["data"] = data;
    printJson(j);
    return 0;
}

}  // namespace tarncli
