/* fileupdate.cpp - the one way the platform core changes a small file that
 * several processes write: an exclusive lock on its folder, read, change,
 * replace through a temp file, fsync and rename. Readers never see half a
 * file, and no writer's change is lost to another's. */
#include "vurofs.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "fileio_int.h"

namespace {

bool writeAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

/* Closes a descriptor on every way out. */
struct FdHolder {
    int fd;
    explicit FdHolder(int f) : fd(f) {}
    ~FdHolder() {
        if (fd >= 0) close(fd);
    }
    FdHolder(const FdHolder&) = delete;
    FdHolder& operator=(const FdHolder&) = delete;
};

void splitPath(const std::string& path, std::string* pDir, std::string* pBase) {
    size_t slash = path.rfind('/');
    *pDir = slash == std::string::npos ? "." : path.substr(0, slash);
    *pBase = slash == std::string::npos ? path : path.substr(slash + 1);
    if (pDir->empty()) *pDir = "/";
}

// Replaces path with text: temp file in the same directory, fsync, rename.
int replaceFile(const std::string& path, const std::string& text, const struct stat* old,
                mode_t newMode) {
    std::string dir, base;
    splitPath(path, &dir, &base);
    std::string tmpl = dir + "/." + base + ".XXXXXX";
    std::vector<char> tmp(tmpl.begin(), tmpl.end());
    tmp.push_back('\0');
    int fd = mkostemp(tmp.data(), O_CLOEXEC);
    if (fd < 0) return -1;
    bool ok = fchmod(fd, old != nullptr ? (old->st_mode & 07777) : newMode) == 0;
    if (ok && old != nullptr && geteuid() == 0) {
        // Best effort: the owner is kept where we may, the content matters more.
        int rc = fchown(fd, old->st_uid, old->st_gid);
        (void)rc;
    }
    ok = ok && writeAll(fd, text) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (!ok || rename(tmp.data(), path.c_str()) != 0) {
        int saved = errno;
        unlink(tmp.data());
        errno = saved;
        return -1;
    }
    // The rename itself must survive a crash too.
    FdHolder dirFd(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dirFd.fd >= 0) fsync(dirFd.fd);
    return 0;
}

}  // namespace

namespace vurocore {

bool fileReadWhole(const std::string& path, std::string* text, struct stat* st) {
    FdHolder fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (fd.fd < 0) return false;
    if (fstat(fd.fd, st) != 0) return false;
    char buf[8192];
    for (;;) {
        ssize_t n = read(fd.fd, buf, sizeof(buf));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) return true;
        text->append(buf, static_cast<size_t>(n));
    }
}

}  // namespace vurocore

int VUROFSFileUpdate(const std::string& strRealPath, mode_t newMode,
                     const std::function<bool(std::string& text, bool exists)>& change) {
    try {
        std::string dir, base;
        splitPath(strRealPath, &dir, &base);
        (void)base;
        // The lock is on the directory: the file itself is replaced, and a
        // lock on a replaced inode would guard nothing; a lock file beside
        // it would be litter in every configuration folder.
        FdHolder lock(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (lock.fd < 0) return -1;
        while (flock(lock.fd, LOCK_EX) != 0) {
            if (errno != EINTR) return -1;
        }
        std::string text;
        struct stat st;
        bool exists = vurocore::fileReadWhole(strRealPath, &text, &st);
        if (!exists && errno != ENOENT) return -1;
        if (!exists) text.clear();
        if (!change(text, exists)) return 1;
        return replaceFile(strRealPath, text, exists ? &st : nullptr, newMode);
    } catch (...) {
        errno = ENOMEM;
        return -1;
    }
}
