/* cmd_init.cpp - "tarn init": finds the data directory and lays out a
 * complete system root through the shared layout (tools/tarnroot), the
 * same one the fuzz targets and benchmarks use. */
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli.h"
#include "serve.h"
#include "tarn_root.h"
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

}  // namespace

std::string dataDirFind(const Args& args) { return findDataDir(args); }

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
    // The helper tools lie beside this tool; the root gets links to them.
    std::string err;
    if (!tarnroot::rootLayOut(data, executableDir(), &err)) {
        fail(err);
    }
    // The service's HTTPS certificate, made once per root.
    if (!serveCertMake(&err)) {
        fail(err);
    }
    Json::Value j;
    j["root"] = szRoot;
    j["db"] = VUROSysPathStr(VUROTARN_SQLITE_DB_PATH);
    j["data"] = data;
    printJson(j);
    return 0;
}

}  // namespace tarncli
