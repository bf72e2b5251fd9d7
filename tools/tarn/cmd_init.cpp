/* cmd_init.cpp - "tarn init": lays out a complete system root: directories,
 * the main database from tarn_db.sql, the UI data and the configuration. */
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sqlite3.h>

#include <fstream>
#include <sstream>

#include "cli.h"
#include "vurocore.h"
#include "vurocredential_seal.h"
#include "vurotarn.h"
#include "vurow3.h"

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

/* Writes text to the system path unless something is there already: a root
 * laid out again keeps what its owner changed. */
void defaultFileWrite(const char* szSysPath, const std::string& text) {
    std::string path = VUROSysPathStr(szSysPath);
    if (access(path.c_str(), F_OK) == 0) {
        return;
    }
    std::string tmp = path + ".tmp";
    {
        std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
        out << text;
        if (!out.flush()) {
            unlink(tmp.c_str());
            fail("cannot write " + path + ": " + strerror(errno));
        }
    }
    if (rename(tmp.c_str(), path.c_str()) != 0) {
        unlink(tmp.c_str());
        fail("cannot write " + path + ": " + strerror(errno));
    }
}

/* A serial of this root's own: a fixed prefix and ten random hex digits. */
std::string serialMake() {
    unsigned char raw[5] = {0};
    std::ifstream rnd("/dev/urandom", std::ios::binary);
    rnd.read((char*)raw, sizeof(raw));
    if (!rnd) {
        fail(std::string("cannot read /dev/urandom: ") + strerror(errno));
    }
    char text[16];
    snprintf(text, sizeof(text), "VT%02X%02X%02X%02X%02X", raw[0], raw[1], raw[2], raw[3], raw[4]);
    return text;
}

/* The stand-ins' defaults: the web server's ports, a serial, where requests
 * find their CA file and how long they may take. */
void platformDefaultsWrite() {
    defaultFileWrite(VUROW3_KELP_CONF_PATH, "{\"port\":5000,\"ssl\":{\"port\":5001}}\n");
    defaultFileWrite(VURO_SERIAL_PATH, serialMake() + "\n");
    defaultFileWrite(VUROCRED_CONF_PATH, "ca_file=" VUROCRED_DEFAULT_CA_FILE
                                         "\n"
                                         "connect_timeout_ms=5000\n"
                                         "timeout_s=60\n"
                                         "timeout_cap_ms=0\n"
                                         "max_response_bytes=16777216\n");
}

/* The helper tools the library runs lie beside this tool; the root gets a
 * link to each, so they run against the same libraries. */
struct HelperTool {
    const char* szName;     // file name beside the tarn tool
    const char* szSysPath;  // where the library looks for it
};
const HelperTool kHelperTools[] = {
    {"vurotarnpeer", VUROTARNLOG_PEER_TOOL},
};

void helperToolsLink() {
    for (const HelperTool& tool : kHelperTools) {
        std::string target = executableDir() + "/" + tool.szName;
        if (access(target.c_str(), X_OK) != 0) {
            continue;
        }
        // The link leads out of the root, to the build: replaced, not followed.
        std::string link = VUROSysPathStr(tool.szSysPath, VURO_SYSPATH_NOFOLLOW);
        makeDirs(link.substr(0, link.rfind('/')), 0755);
        unlink(link.c_str());
        if (symlink(target.c_str(), link.c_str()) != 0) {
            fail("cannot link " + link + ": " + strerror(errno));
        }
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
        "/etc/vuro/ssl",
        "/etc.defaults",
        "/usr/vuro/etc/www",
        "/usr/vuro/bin",
        "/usr/vuro/sbin",
        "/var/cache/vurocred",
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
    platformDefaultsWrite();
    helperToolsLink();
    Json::Value j;
    j["root"] = szRoot;
    j["db"] = dbPath;
    j["data"] = data;
    printJson(j);
    return 0;
}

}  // namespace tarncli
