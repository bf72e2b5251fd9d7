/* sysroot.cpp - maps absolute system paths below $VURO_SYSROOT, so a whole
 * installation can live in a directory of its own (tests, demos). */
#include "vurocore.h"

#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

// The root without trailing slashes; empty when paths are used as they are.
std::string sysRoot() {
    const char* env = getenv("VURO_SYSROOT");
    std::string root = env != nullptr ? env : "";
    while (!root.empty() && root.back() == '/') {
        root.pop_back();
    }
    return root;
}

std::string resolve(const std::string& path) {
    std::string root = sysRoot();
    if (root.empty() || path.empty() || path[0] != '/') {
        return path;
    }
    // Already below the root: resolving twice must not nest the root again.
    if (path.compare(0, root.size(), root) == 0 &&
        (path.size() == root.size() || path[root.size()] == '/')) {
        return path;
    }
    return root + path;
}

}  // namespace

int VUROSysPath(const char* szPath, char* szBuf, size_t cbBuf) {
    if (szPath == NULL || szBuf == NULL || cbBuf == 0) {
        return -1;
    }
    try {
        std::string out = resolve(szPath);
        if (out.size() + 1 > cbBuf) {
            return -1;
        }
        memcpy(szBuf, out.c_str(), out.size() + 1);
        return 0;
    } catch (...) {
        return -1;
    }
}

std::string VUROSysPathStr(const std::string& path) { return resolve(path); }
