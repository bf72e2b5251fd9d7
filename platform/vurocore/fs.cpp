/* fs.cpp - directory and file calls of the platform core: mkdir -p that
 * sets mode and owner on what it creates, and touch. Paths are system
 * paths, resolved below the root. */
#include "vurofs.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace {

/* One directory: created with mode and owner, or already a directory. */
int dirMake(const std::string& path, uid_t uid, gid_t gid, mode_t mode) {
    if (mkdir(path.c_str(), mode) != 0) {
        struct stat st;
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

}  // namespace

int VUROFSMkdirP(const char* path, const void* pReserved, BOOL blRecursive, uid_t uid, gid_t gid,
                 mode_t mode) {
    if (path == NULL || path[0] == '\0' || pReserved != NULL) {
        errno = EINVAL;
        return -1;
    }
    try {
        std::string real = VUROSysPathStr(path);
        while (real.size() > 1 && real.back() == '/') real.pop_back();
        if (!blRecursive) return dirMake(real, uid, gid, mode);
        // Parents first, from the top; the root part above the system path
        // exists already and is passed over like any existing directory.
        for (size_t slash = real.find('/', 1); slash != std::string::npos;
             slash = real.find('/', slash + 1)) {
            if (real[slash - 1] == '/') continue;
            if (dirMake(real.substr(0, slash), uid, gid, mode) != 0) return -1;
        }
        return dirMake(real, uid, gid, mode);
    } catch (...) {
        errno = ENOMEM;
        return -1;
    }
}

int QLIBCFileTouch(const char* path) {
    if (path == NULL || path[0] == '\0') {
        errno = EINVAL;
        return -1;
    }
    try {
        std::string real = VUROSysPathStr(path);
        int fd = open(real.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY, 0644);
        if (fd < 0) return -1;
        int rc = futimens(fd, NULL);
        int saved = errno;
        close(fd);
        errno = saved;
        return rc == 0 ? 0 : -1;
    } catch (...) {
        errno = ENOMEM;
        return -1;
    }
}
