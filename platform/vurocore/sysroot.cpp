/* sysroot.cpp - maps absolute system paths below $VURO_SYSROOT, so a whole
 * installation can live in a directory of its own (tests, demos). The join
 * resolves ".." and symbolic links as the kernel would and refuses a path
 * that ends outside the root: a link planted under the root must not take
 * a write or a removal elsewhere. */
#include "vurocore.h"
#include "sysroot_int.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <deque>
#include <string>
#include <vector>

namespace {

// As many links as the kernel follows in one path before ELOOP.
const int kMaxLinks = 40;

// The root without trailing slashes; empty when paths are used as they are.
std::string sysRoot() {
    const char* env = getenv("VURO_SYSROOT");
    std::string root = env != nullptr ? env : "";
    while (!root.empty() && root.back() == '/') {
        root.pop_back();
    }
    return root;
}

// Components of path in order, empty ones and "." dropped.
std::vector<std::string> pathSplit(const std::string& path) {
    std::vector<std::string> parts;
    size_t begin = 0;
    while (begin <= path.size()) {
        size_t end = path.find('/', begin);
        if (end == std::string::npos) end = path.size();
        std::string part = path.substr(begin, end - begin);
        if (!part.empty() && part != ".") parts.push_back(part);
        begin = end + 1;
    }
    return parts;
}

std::string pathJoin(const std::vector<std::string>& parts) {
    std::string out;
    for (const std::string& part : parts) out += "/" + part;
    return out.empty() ? "/" : out;
}

/* An existing path as the kernel resolves it, in one lookup: opened for its
 * name only, then read back through /proc. False when it does not exist (or
 * /proc is not there), for the walk below to take it step by step. */
bool pathResolveExisting(std::string path, bool followLast, std::string* pResolved) {
    // A trailing slash would make the kernel follow a last link after all.
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    int fd = open(path.c_str(), O_PATH | O_CLOEXEC | (followLast ? 0 : O_NOFOLLOW));
    if (fd < 0) {
        return false;
    }
    char link[64];
    snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
    char buf[4096];
    ssize_t n = readlink(link, buf, sizeof(buf));
    close(fd);
    // A name the kernel marks as gone, or one too long: the walk decides.
    if (n <= 0 || (size_t)n >= sizeof(buf) || buf[0] != '/') {
        return false;
    }
    pResolved->assign(buf, n);
    return pResolved->find(" (deleted)") == std::string::npos;
}

/* Where the kernel would take the absolute path: every link followed (the
 * last component only when followLast), ".." taken from the directory
 * reached. What does not exist yet is taken as written. False on a loop. */
bool pathResolve(const std::string& path, bool followLast, std::string* pResolved) {
    if (pathResolveExisting(path, followLast, pResolved)) {
        return true;
    }
    std::vector<std::string> done;
    std::deque<std::string> todo;
    for (const std::string& part : pathSplit(path)) todo.push_back(part);
    int links = 0;
    while (!todo.empty()) {
        std::string part = todo.front();
        todo.pop_front();
        if (part == "..") {
            if (!done.empty()) done.pop_back();
            continue;
        }
        done.push_back(part);
        if (todo.empty() && !followLast) break;
        std::string cur = pathJoin(done);
        struct stat st;
        if (lstat(cur.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) continue;
        if (++links > kMaxLinks) {
            errno = ELOOP;
            return false;
        }
        std::vector<char> target(st.st_size > 0 ? st.st_size + 1 : 4096);
        ssize_t n = readlink(cur.c_str(), target.data(), target.size());
        if (n <= 0 || (size_t)n >= target.size()) continue;  // changed under us: seen as it is
        std::string text(target.data(), n);
        done.pop_back();
        if (text[0] == '/') done.clear();
        std::vector<std::string> inner = pathSplit(text);
        todo.insert(todo.begin(), inner.begin(), inner.end());
    }
    *pResolved = pathJoin(done);
    return true;
}

bool pathUnder(const std::string& path, const std::string& dir) {
    return dir == "/" || path == dir ||
           (path.compare(0, dir.size(), dir) == 0 && path[dir.size()] == '/');
}

/* The path below the root, or "" with errno EXDEV (as the kernel's
 * resolve-beneath lookups say it) when it resolves outside. */
std::string resolve(const std::string& path, int flags) {
    std::string root = sysRoot();
    if (root.empty() || path.empty() || path[0] != '/') {
        return path;
    }
    std::string joined = vuroSysPathJoin(path);
    std::string realRoot, real;
    if (!pathResolve(root, true, &realRoot) ||
        !pathResolve(joined, (flags & VURO_SYSPATH_NOFOLLOW) == 0, &real)) {
        return std::string();
    }
    if (!pathUnder(real, realRoot)) {
        syslog(LOG_WARNING, "Path [%s] resolves to [%s], outside the system root [%s]",
               joined.c_str(), real.c_str(), realRoot.c_str());
        errno = EXDEV;
        return std::string();
    }
    return joined;
}

}  // namespace

std::string vuroSysPathJoin(const std::string& path) {
    std::string root = sysRoot();
    if (root.empty() || path.empty() || path[0] != '/') {
        return path;
    }
    // Already below the root: joining twice must not nest the root again.
    if (path.compare(0, root.size(), root) == 0 &&
        (path.size() == root.size() || path[root.size()] == '/')) {
        return path;
    }
    return root + path;
}

int VUROSysPathEx(const char* szPath, char* szBuf, size_t cbBuf, int flags) {
    if (szPath == NULL || szBuf == NULL || cbBuf == 0) {
        errno = EINVAL;
        return -1;
    }
    try {
        std::string out = resolve(szPath, flags);
        if (out.empty() && szPath[0] != '\0') {
            return -1;
        }
        if (out.size() + 1 > cbBuf) {
            errno = ENAMETOOLONG;
            return -1;
        }
        memcpy(szBuf, out.c_str(), out.size() + 1);
        return 0;
    } catch (...) {
        errno = ENOMEM;
        return -1;
    }
}

int VUROSysPath(const char* szPath, char* szBuf, size_t cbBuf) {
    return VUROSysPathEx(szPath, szBuf, cbBuf, 0);
}

std::string VUROSysPathStr(const std::string& path, int flags) { return resolve(path, flags); }
