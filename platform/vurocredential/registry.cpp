/* registry.cpp - which credential ids live requests hold: a file per id under
 * /var/cache/vurocred naming the holder's pid, so other processes see it,
 * and a count per id in memory, so a process knows its own without a read. */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <string>

#include "cred_int.h"
#include "vurofs.h"

namespace vurocred {

namespace {

const char kRegistryDir[] = "/var/cache/vurocred";

struct OwnIds {
    std::mutex mu;
    pid_t pid = 0;  // ids counted by another pid were inherited through fork
    std::map<long, int> count;
};

OwnIds& ownIds() {
    static OwnIds ids;
    return ids;
}

std::string entryPath(long id) { return VUROSysPathStr(kRegistryDir) + "/" + std::to_string(id); }

/* The pid an entry names; 0 when there is none or it is unreadable. */
pid_t entryPid(const std::string& path) {
    // An entry is a plain file this stand-in wrote; a link is no entry.
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        return 0;
    }
    char buf[32] = {0};
    ssize_t n = read(fd, buf, sizeof(buf) - 1);
    close(fd);
    char* end = NULL;
    long pid = n > 0 ? strtol(buf, &end, 10) : 0;
    return (pid_t)(end != NULL && end != buf && (*end == '\n' || *end == '\0') ? pid : 0);
}

void entryWrite(long id) {
    std::string path = entryPath(id);
    std::string tmp = path + ".tmp." + std::to_string(getpid());
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW;
    int fd = open(tmp.c_str(), flags, 0644);
    if (fd < 0 && errno == ENOENT) {
        // The directory is made once, not on every request.
        std::string dir = VUROSysPathStr(kRegistryDir);
        VUROFSMkdirP(dir.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0755);
        fd = open(tmp.c_str(), flags, 0644);
    }
    if (fd < 0) {
        return;
    }
    std::string text = std::to_string(getpid()) + "\n";
    bool ok = write(fd, text.data(), text.size()) == (ssize_t)text.size();
    close(fd);
    // Readers see the old entry or the whole new one, never a part.
    if (!ok || rename(tmp.c_str(), path.c_str()) != 0) {
        unlink(tmp.c_str());
    }
}

}  // namespace

void credIdRegister(long id) {
    OwnIds& own = ownIds();
    std::lock_guard<std::mutex> lock(own.mu);
    if (own.pid != getpid()) {
        own.count.clear();
        own.pid = getpid();
    }
    if (own.count[id]++ == 0) {
        entryWrite(id);
    }
}

void credIdRelease(long id) {
    OwnIds& own = ownIds();
    std::lock_guard<std::mutex> lock(own.mu);
    if (own.pid != getpid()) {
        return;  // inherited: the entry is the parent's to remove
    }
    auto it = own.count.find(id);
    if (it == own.count.end() || --it->second > 0) {
        return;
    }
    own.count.erase(it);
    std::string path = entryPath(id);
    if (entryPid(path) == getpid()) {
        unlink(path.c_str());
    }
}

}  // namespace vurocred

namespace VURO {

bool CredRequestUtil::IsCredIdCached(long id) {
    vurocred::OwnIds& own = vurocred::ownIds();
    {
        std::lock_guard<std::mutex> lock(own.mu);
        if (own.pid == getpid() && own.count.count(id) > 0) {
            return true;
        }
    }
    std::string path = vurocred::entryPath(id);
    pid_t pid = vurocred::entryPid(path);
    if (pid > 0 && QLIBCProcAlive(pid)) {
        return true;
    }
    // A holder that died without cleaning up leaves a stale entry: it goes.
    if (pid > 0 || access(path.c_str(), F_OK) == 0) {
        unlink(path.c_str());
    }
    return false;
}

}  // namespace VURO
