/* tarn_root.cpp - what a system root holds, as tables, and the one walk
 * that lays them out. A new directory, default or helper tool is a line in
 * a table here. */
#include "tarn_root.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sqlite3.h>

#include <fstream>
#include <set>
#include <sstream>

#include "vuroapirunner.h"
#include "vurocore.h"
#include "vurocredential_seal.h"
#include "vurotarn.h"
#include "vurow3.h"

namespace tarnroot {

namespace {

/* Directories every root has. */
const char* const kDirs[] = {
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

/* Trees of the data directory copied in (from, below the data directory;
 * to, a system path). */
const struct {
    const char* szFrom;
    const char* szTo;
} kCopies[] = {
    {"ui", "/var/packages/TARN/target/ui"},
};

/* Configuration defaults: written into a file that is not there yet, so
 * that a second lay-out keeps what was set since. */
const struct {
    const char* szFile;
    const char* szKey;
    const char* szValue;
} kDefaults[] = {
    {"/var/packages/TARN/etc/tarninfo.conf", "log_limit", "100000"},
    // Where requests find their CA file and how long they may take.
    {VUROCRED_CONF_PATH, "ca_file", VUROCRED_DEFAULT_CA_FILE},
    {VUROCRED_CONF_PATH, "connect_timeout_ms", "5000"},
    {VUROCRED_CONF_PATH, "timeout_s", "60"},
    {VUROCRED_CONF_PATH, "timeout_cap_ms", "0"},
    {VUROCRED_CONF_PATH, "max_response_bytes", "16777216"},
};

std::string serialMake();

/* Whole files written when they are not there yet: the web server's ports
 * and this root's own serial. */
const struct {
    const char* szFile;
    std::string (*text)();
} kFiles[] = {
    {VUROW3_KELP_CONF_PATH,
     [] { return std::string("{\"port\":5000,\"ssl\":{\"port\":5001}}\n"); }},
    {VURO_SERIAL_PATH, [] { return serialMake() + "\n"; }},
};

/* Helper tools the library runs, linked from the root to where they lie
 * beside the tool that lays out the root, so that they run against the
 * same libraries. */
const struct {
    const char* szLink;
    const char* szTool;
} kToolLinks[] = {
    {VUROTARNLOG_PEER_TOOL, "vurotarnpeer"},
    {VUROTARN_WAKE_TOOL, "vuronet"},
    {VUROWEBAPI_TOOL_PATH, "vurowebapi"},
};

bool isDir(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool failWith(std::string* pErr, const std::string& what) {
    if (pErr != nullptr) *pErr = what;
    return false;
}

bool makeDirs(const std::string& path, mode_t mode, std::string* pErr) {
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
            return failWith(pErr, "cannot make directory " + cur + ": " + strerror(errno));
        }
    }
    return true;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

/* The directory a file of the root lies in. */
bool parentMake(const std::string& path, std::string* pErr) {
    return makeDirs(path.substr(0, path.rfind('/')), 0755, pErr);
}

bool databaseMake(const std::string& schemaFile, std::string* pErr) {
    std::string dbPath = VUROSysPathStr(VUROTARN_SQLITE_DB_PATH);
    if (!parentMake(dbPath, pErr)) {
        return false;
    }
    sqlite3* db = nullptr;
    if (sqlite3_open(dbPath.c_str(), &db) != SQLITE_OK) {
        std::string msg = db != nullptr ? sqlite3_errmsg(db) : "out of memory";
        sqlite3_close(db);
        return failWith(pErr, "cannot open " + dbPath + ": " + msg);
    }
    char* szErr = nullptr;
    int rc = sqlite3_exec(db, readFile(schemaFile).c_str(), nullptr, nullptr, &szErr);
    std::string msg = szErr ? szErr : "?";
    sqlite3_free(szErr);
    sqlite3_close(db);
    if (rc != SQLITE_OK) {
        return failWith(pErr, "cannot lay out " + dbPath + ": " + msg);
    }
    chmod(dbPath.c_str(), 0600);
    return true;
}

bool treeCopy(const std::string& from, const std::string& to, std::string* pErr) {
    if (!isDir(from)) {
        return true;
    }
    // Small trees of data files: walk with the shell-free cp.
    if (!makeDirs(to, 0755, pErr)) {
        return false;
    }
    char* const argv[] = {(char*)"/bin/cp",    (char*)"-R",       (char*)"-T",
                          (char*)from.c_str(), (char*)to.c_str(), NULL};
    if (QLIBCExec("/bin/cp", argv) != 0) {
        return failWith(pErr,
                        "cannot copy " + from + " to " + to + ": cp failed, its message is above");
    }
    return true;
}

bool defaultsWrite(std::string* pErr) {
    std::set<std::string> fresh;
    for (const auto& d : kDefaults) {
        if (access(VUROSysPathStr(d.szFile).c_str(), F_OK) != 0) fresh.insert(d.szFile);
    }
    for (const auto& d : kDefaults) {
        if (fresh.count(d.szFile) == 0) {
            continue;
        }
        if (!parentMake(VUROSysPathStr(d.szFile), pErr)) {
            return false;
        }
        if (QLIBCFileSetKeyValue(d.szFile, d.szKey, d.szValue, 0) != 0) {
            return failWith(pErr,
                            "cannot write " + VUROSysPathStr(d.szFile) + ": " + strerror(errno));
        }
    }
    return true;
}

/* A serial of this root's own: a fixed prefix and ten random hex digits;
 * empty when no randomness could be read. */
std::string serialMake() {
    unsigned char raw[5] = {0};
    std::ifstream rnd("/dev/urandom", std::ios::binary);
    rnd.read((char*)raw, sizeof(raw));
    if (!rnd) {
        return "";
    }
    char text[16];
    snprintf(text, sizeof(text), "VT%02X%02X%02X%02X%02X", raw[0], raw[1], raw[2], raw[3], raw[4]);
    return text;
}

bool filesWrite(std::string* pErr) {
    for (const auto& f : kFiles) {
        std::string path = VUROSysPathStr(f.szFile);
        if (access(path.c_str(), F_OK) == 0) {
            continue;
        }
        std::string text = f.text();
        if (text.empty() || text == "\n") {
            return failWith(pErr, "cannot make the text of " + path);
        }
        if (!parentMake(path, pErr)) {
            return false;
        }
        // Temp file and rename: a reader never sees half a file.
        std::string tmp = path + ".tmp";
        {
            std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
            out << text;
            if (!out.flush()) {
                unlink(tmp.c_str());
                return failWith(pErr, "cannot write " + path + ": " + strerror(errno));
            }
        }
        if (rename(tmp.c_str(), path.c_str()) != 0) {
            unlink(tmp.c_str());
            return failWith(pErr, "cannot write " + path + ": " + strerror(errno));
        }
    }
    return true;
}

bool toolsLink(const std::string& toolDir, std::string* pErr) {
    if (toolDir.empty()) {
        return true;
    }
    for (const auto& t : kToolLinks) {
        std::string tool = toolDir + "/" + t.szTool;
        if (access(tool.c_str(), X_OK) != 0) {
            continue;
        }
        // The link itself (it leads out of the root, to the build): replaced.
        std::string link = VUROSysPathStr(t.szLink, VURO_SYSPATH_NOFOLLOW);
        unlink(link.c_str());
        if (symlink(tool.c_str(), link.c_str()) != 0) {
            return failWith(pErr, "cannot link " + link + ": " + strerror(errno));
        }
    }
    return true;
}

}  // namespace

bool rootLayOut(const std::string& dataDir, const std::string& toolDir, std::string* pErr,
                int parts) {
    if (parts & kRootDirs) {
        for (const char* d : kDirs) {
            if (!makeDirs(VUROSysPathStr(d), 0755, pErr)) return false;
        }
    }
    if ((parts & kRootDatabase) && !databaseMake(dataDir + "/tarn_db.sql", pErr)) {
        return false;
    }
    if (parts & kRootData) {
        for (const auto& c : kCopies) {
            if (!treeCopy(dataDir + "/" + c.szFrom, VUROSysPathStr(c.szTo), pErr)) return false;
        }
    }
    return (!(parts & kRootDefaults) || (defaultsWrite(pErr) && filesWrite(pErr))) &&
           (!(parts & kRootTools) || toolsLink(toolDir, pErr));
}

}  // namespace tarnroot
