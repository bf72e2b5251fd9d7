/* tarn - the management command line over libtarn: lays out a system root
 * and stores, reads and lists records. Prints JSON on stdout; with -v the
 * library's log lines also go to stderr. */
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <sqlite3.h>

#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <vurojson.h>

#include "vurotarn.h"

namespace {

const char* kUsage =
    "usage: tarn [-v] [--root DIR] COMMAND ...\n"
    "  init [--data DIR]                      lay out a complete system root\n"
    "  ou create --name N [--desc D] [--parent ID] [--block 0|1]\n"
    "            [--linked-gpo JSON] [--extra JSON]\n"
    "  ou get ID\n"
    "  ou set ID [--name N] [--desc D] [--parent ID] [--block 0|1]\n"
    "            [--linked-gpo JSON] [--extra JSON]\n"
    "  ou delete ID\n"
    "  ou list [--parent ID] [--sort-by COLUMN] [--desc-order] [--limit N] [--offset N]\n"
    "The root is --root, else $VURO_SYSROOT.\n";

struct UsageError {
    std::string what;
};

/* Options of one command: "--key value" pairs, flags, and positionals. */
struct Args {
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
    std::map<std::string, bool> flags;

    bool has(const std::string& key) const { return options.count(key) != 0; }
    std::string get(const std::string& key, const std::string& dflt = "") const {
        auto it = options.find(key);
        return it == options.end() ? dflt : it->second;
    }
};

Args parseArgs(int argc, char** argv, int first, const std::vector<std::string>& flagNames) {
    Args args;
    for (int i = first; i < argc; i++) {
        std::string a = argv[i];
        if (a.rfind("--", 0) == 0) {
            std::string key = a.substr(2);
            bool isFlag = false;
            for (const std::string& f : flagNames) {
                isFlag = isFlag || f == key;
            }
            if (isFlag) {
                args.flags[key] = true;
            } else if (i + 1 < argc) {
                args.options[key] = argv[++i];
            } else {
                throw UsageError{"option " + a + " needs a value"};
            }
        } else {
            args.positional.push_back(a);
        }
    }
    return args;
}

long parseLong(const std::string& text, const char* what) {
    char* end = NULL;
    errno = 0;
    long v = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0) {
        throw UsageError{std::string("not a number for ") + what + ": '" + text + "'"};
    }
    return v;
}

std::string parseJsonText(const std::string& text, const char* what) {
    Json::Value j;
    if (!vurojson::fromString(j, text)) {
        throw UsageError{std::string("not JSON for ") + what + ": '" + text + "'"};
    }
    return vurojson::toString(j);
}

void fail(const std::string& what) {
    fprintf(stderr, "tarn: %s", what.c_str());
    if (QLIBCErrGet() != 0) {
        fprintf(stderr, " (error 0x%04X at %s:%d)", (unsigned)QLIBCErrGet(),
                QLIBCErrorGetFile() ? QLIBCErrorGetFile() : "?", QLIBCErrorGetLine());
    }
    fprintf(stderr, "\n");
    exit(1);
}

void printJson(const Json::Value& j) {
    Json::StreamWriterBuilder w;
    w["indentation"] = "  ";
    w["emitUTF8"] = true;
    std::cout << Json::writeString(w, j) << std::endl;
}

/* ---- init ---- */

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
    char* const argv[] = {(char*)"/bin/cp", (char*)"-R", (char*)"-T", (char*)from.c_str(),
                          (char*)to.c_str(), NULL};
    if (QLIBCExec("/bin/cp", argv) != 0) {
        fail("cannot copy " + from + " to " + to);
    }
}

int cmdInit(const Args& args) {
    std::string data = findDataDir(args);
    const char* kDirs[] = {
        "/var/packages/TARN/target/db",      "/var/packages/TARN/target/plugin",
        "/var/packages/TARN/target/ui/json", "/var/packages/TARN/target/ui/texts",
        "/var/packages/TARN/target/tools",   "/var/packages/TARN/target/peerinfo",
        "/var/packages/TARN/etc",            "/etc/vuro",
        "/etc.defaults",                     "/tmp",
    };
    for (const char* d : kDirs) {
        makeDirs(VUROSysPathStr(d), 0755);
    }
    std::string dbPath = VUROSysPathStr(VUROTARN_SQLITE_DB_PATH);
    sqlite3* db = NULL;
    if (sqlite3_open(dbPath.c_str(), &db) != SQLITE_OK) {
        fail("cannot open " + dbPath);
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
        fail("cannot write " + conf);
    }
    Json::Value j;
    j["root"] = getenv("VURO_SYSROOT") ? getenv("VURO_SYSROOT") : "/";
    j["db"] = dbPath;
    j["data"] = data;
    printJson(j);
    return 0;
}

/* ---- ou ---- */

void ouApplyOptions(const Args& args, VURO_TARN_OU* pOu) {
    if (args.has("name")) VUROTARNOuItemSetName(pOu, args.get("name").c_str());
    if (args.has("desc")) VUROTARNOuItemSetDescription(pOu, args.get("desc").c_str());
    if (args.has("parent")) VUROTARNOuItemSetParentID(pOu, parseLong(args.get("parent"), "--parent"));
    if (args.has("block")) {
        VUROTARNOuItemSetBlockInheritance(pOu, parseLong(args.get("block"), "--block"));
    }
    if (args.has("linked-gpo")) {
        VUROTARNOuItemSetLinkedGPO(pOu, parseJsonText(args.get("linked-gpo"), "--linked-gpo").c_str());
    }
    if (args.has("extra")) {
        VUROTARNOuItemSetExtraInfo(pOu, parseJsonText(args.get("extra"), "--extra").c_str());
    }
}

Json::Value ouJson(const VURO_TARN_OU* pOu) {
    Json::Value j;
    if (VUROTARNOuStructToJson(pOu, Json::Value(), j) != 0) {
        fail("cannot render OU as JSON");
    }
    return j;
}

long singleId(const Args& args, const char* what) {
    if (args.positional.size() != 1) {
        throw UsageError{std::string(what) + " takes one id"};
    }
    return parseLong(args.positional[0], "id");
}

int cmdOu(const std::string& verb, const Args& args) {
    VURO_TARN_OU ou;
    if (verb == "create") {
        if (!args.has("name")) {
            throw UsageError{"ou create needs --name"};
        }
        ouApplyOptions(args, &ou);
        if (VUROTARNOuCreate(&ou) != 0) fail("cannot create OU");
        printJson(ouJson(&ou));
    } else if (verb == "get") {
        long id = singleId(args, "ou get");
        if (VUROTARNOuGet(id, &ou) != 0) fail("no OU with id " + std::to_string(id));
        printJson(ouJson(&ou));
    } else if (verb == "set") {
        long id = singleId(args, "ou set");
        if (VUROTARNOuGet(id, &ou) != 0) fail("no OU with id " + std::to_string(id));
        ouApplyOptions(args, &ou);
        if (VUROTARNOuSet(&ou) != 0) fail("cannot set OU " + std::to_string(id));
        printJson(ouJson(&ou));
    } else if (verb == "delete") {
        long id = singleId(args, "ou delete");
        if (VUROTARNOuDelete(id) != 0) fail("cannot delete OU " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
    } else if (verb == "list") {
        PQLIBSZHASH pParms = QLIBCSzHashAlloc(16);
        if (args.has("parent")) {
            QLIBCSzHashSetValue(&pParms, "parent_id",
                                std::to_string(parseLong(args.get("parent"), "--parent")).c_str());
        }
        QLIBCSzHashSetValue(&pParms, "sort_by", args.get("sort-by", "id").c_str());
        // Lists come back reversed, so ask for the opposite order.
        QLIBCSzHashSetValue(&pParms, "sort_direction", args.flags.count("desc-order") ? "ASC" : "DESC");
        if (args.has("limit")) {
            QLIBCSzHashSetValue(&pParms, "limit", std::to_string(parseLong(args.get("limit"), "--limit")).c_str());
        }
        if (args.has("offset")) {
            QLIBCSzHashSetValue(&pParms, "offset", std::to_string(parseLong(args.get("offset"), "--offset")).c_str());
        }
        VURO_TARN_OU_LIST pList = NULL;
        size_t total = 0;
        int r = VUROTARNOuList(pParms, &pList, &total);
        QLIBCSzHashFree(pParms);
        if (r != 0) fail("cannot list OUs");
        Json::Value j(Json::arrayValue);
        for (VURO_TARN_OU* p = pList; p != NULL; p = VUROTARNOuNext(p)) {
            j.append(ouJson(p));
        }
        VUROTARNOuListFree(&pList);
        printJson(j);
    } else {
        throw UsageError{"unknown ou command '" + verb + "'"};
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    int i = 1;
    bool verbose = false;
    try {
        for (; i < argc; i++) {
            std::string a = argv[i];
            if (a == "-v") {
                verbose = true;
            } else if (a == "--root" && i + 1 < argc) {
                setenv("VURO_SYSROOT", argv[++i], 1);
            } else if (a == "-h" || a == "--help") {
                fputs(kUsage, stdout);
                return 0;
            } else {
                break;
            }
        }
        if (verbose) {
            openlog("tarn", LOG_PERROR | LOG_PID, LOG_USER);
        }
        if (i >= argc) {
            throw UsageError{"no command"};
        }
        std::string cmd = argv[i];
        if (cmd == "init") {
            // "init --root DIR" reads naturally too.
            Args args = parseArgs(argc, argv, i + 1, {});
            if (args.has("root")) {
                setenv("VURO_SYSROOT", args.get("root").c_str(), 1);
            }
            return cmdInit(args);
        }
        if (i + 1 >= argc) {
            throw UsageError{"'" + cmd + "' needs a verb"};
        }
        std::string verb = argv[i + 1];
        Args args = parseArgs(argc, argv, i + 2, {"desc-order"});
        if (cmd == "ou") {
            return cmdOu(verb, args);
        }
        throw UsageError{"unknown command '" + cmd + "'"};
    } catch (const UsageError& e) {
        fprintf(stderr, "tarn: %s\n%s", e.what.c_str(), kUsage);
        return 2;
    }
}
