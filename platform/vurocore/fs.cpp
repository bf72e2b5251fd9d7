/* fs.cpp - directory and file calls of the platform core: mkdir -p that
 * sets mode and owner on what it creates, touch, and the removal of a tree.
 * Paths are system paths, resolved below the root; none of these calls
 * creates or removes anything through a link that leads out of it. */
#include "vurofs.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

/* One directory: created with mode and owner, or already a directory.
 * Before each creation the path is joined again, so that no step of
 * mkdir -p is taken through a link that leaves the root, even when the
 * whole path comes back inside. Existing steps (those above the root
 * among them) need no look: nothing is made there. */
int dirMake(const std::string& path, uid_t uid, gid_t gid, mode_t mode) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) return 0;
        errno = ENOTDIR;
        return -1;
    }
    if (VUROSysPathStr(path).empty()) return -1;
    if (mkdir(path.c_str(), mode) != 0) {
        if (errno == EEXIST && stat(path.c_str(), &st) == 0) {
            if (S_ISDIR(st.st_mode)) return 0;
            errno = ENOTDIR;
        }
        return -1;
    }
    // mkdir honours the umask; the caller's mode is meant as given.
    if (chmod(path.c_str(), mode) != 0) return -1;
    if ((uid != UID_ERR || gid != GID_ERR) && chown(path.c_str(), uid, gid) != 0) return -1;
    return 0;
}

/* Empties the directory open at dirFd (taken over and closed). Every entry
 * is looked at without following it and every step down is an openat with
 * O_NOFOLLOW: a link inside is removed as a link, never entered. */
int dirEmpty(int dirFd) {
    DIR* pDir = fdopendir(dirFd);
    if (pDir == NULL) {
        close(dirFd);
        return -1;
    }
    std::vector<std::string> names;
    for (struct dirent* pEnt = readdir(pDir); pEnt != NULL; pEnt = readdir(pDir)) {
        if (strcmp(pEnt->d_name, ".") != 0 && strcmp(pEnt->d_name, "..") != 0) {
            names.push_back(pEnt->d_name);
        }
    }
    int rc = 0;
    int saved = 0;
    for (const std::string& name : names) {
        struct stat st;
        if (fstatat(dirfd(pDir), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        int flag = 0;
        if (S_ISDIR(st.st_mode)) {
            int sub =
                openat(dirfd(pDir), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (sub < 0 || dirEmpty(sub) != 0) {
                rc = -1;
                saved = errno;
                continue;
            }
            flag = AT_REMOVEDIR;
        }
        if (unlinkat(dirfd(pDir), name.c_str(), flag) != 0 && errno != ENOENT) {
            rc = -1;
            saved = errno;
        }
    }
    closedir(pDir);
    errno = saved;
    return rc;
}

/* Runs fn with the real path of a system path, trailing slashes off; -1
 * with errno for an empty path, one the root join refuses, or no memory. */
template <typename Fn>
int withRealPath(const char* path, int flags, Fn fn) {
    if (path == NULL || path[0] == '\0') {
        errno = EINVAL;
        return -1;
    }
    try {
        std::string real = VUROSysPathStr(path, flags);
        if (real.empty()) return -1;
        while (real.size() > 1 && real.back() == '/') real.pop_back();
        return fn(real);
    } catch (...) {
        errno = ENOMEM;
        return -1;
    }
}

}  // namespace

int VUROFSMkdirP(const char* path, const void* pReserved, BOOL blRecursive, uid_t uid, gid_t gid,
                 mode_t mode) {
    if (pReserved != NULL) {
        errno = EINVAL;
        return -1;
    }
    return withRealPath(path, 0, [&](const std::string& real) {
        if (!blRecursive) return dirMake(real, uid, gid, mode);
        // Parents first, from the top; the root part above the system path
        // exists already and is passed over like any existing directory.
        for (size_t slash = real.find('/', 1); slash != std::string::npos;
             slash = real.find('/', slash + 1)) {
            if (real[slash - 1] == '/') continue;
            if (dirMake(real.substr(0, slash), uid, gid, mode) != 0) return -1;
        }
        return dirMake(real, uid, gid, mode);
    });
}

int QLIBCFileTouch(const char* path) {
    if (path != NULL && path[0] != '\0' && path[strlen(path) - 1] == '/') {
        errno = EISDIR;  // a file name never ends in a slash
        return -1;
    }
    return withRealPath(path, 0, [](const std::string& real) {
        int fd = open(real.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY, 0644);
        if (fd < 0) return -1;
        int rc = futimens(fd, NULL);
        int saved = errno;
        close(fd);
        errno = saved;
        return rc == 0 ? 0 : -1;
    });
}

int VUROFSRemoveTree(const char* path) {
    return withRealPath(path, VURO_SYSPATH_NOFOLLOW, [](const std::string& real) {
        struct stat st;
        if (lstat(real.c_str(), &st) != 0) {
            return errno == ENOENT ? 0 : -1;
        }
        if (!S_ISDIR(st.st_mode)) {
            return unlink(real.c_str()) == 0 || errno == ENOENT ? 0 : -1;
        }
        int fd = open(real.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0 || dirEmpty(fd) != 0) return -1;
        return rmdir(real.c_str()) == 0 || errno == ENOENT ? 0 : -1;
    });
}
