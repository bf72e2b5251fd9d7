/* children.cpp - reaping the processes a test causes, always with a
 * deadline: one known child, or children forked inside the library whose
 * pids the test never learns; and work run in a child, also inside a fresh
 * network namespace, where whatever it sends cannot leave the machine even
 * with the loopback guard broken. */
#include <dirent.h>
#include <errno.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "tarn_test.h"

namespace tarntest {

int reapWithin(pid_t pid, int ms) {
    for (int waited = 0; waited < ms; waited += 5) {
        int status = 0;
        pid_t got = waitpid(pid, &status, WNOHANG);
        if (got == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (got < 0) return -1;
        usleep(5000);
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return -1;
}

std::set<pid_t> childrenNow() {
    std::set<pid_t> out;
    // Each thread keeps its own children: ask every one.
    DIR* d = opendir("/proc/self/task");
    if (d == nullptr) return out;
    while (struct dirent* e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        std::ifstream in(std::string("/proc/self/task/") + e->d_name + "/children");
        pid_t pid;
        while (in >> pid) out.insert(pid);
    }
    closedir(d);
    return out;
}

Reaped reapChildren(int n, int ms, pid_t keep) {
    Reaped r;
    for (int waited = 0; r.count < n && waited <= ms; waited += 5) {
        int status = 0;
        pid_t got = 0;
        while (r.count < n && (got = waitpid(-1, &status, WNOHANG)) > 0) {
            if (got == keep) continue;
            r.count++;
            r.exited0 += WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        if (got < 0 && errno == ECHILD) break;
        if (r.count < n) usleep(5000);
    }
    for (pid_t pid : childrenNow()) {
        if (pid == keep) continue;
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    return r;
}

namespace {

volatile int gLeakCheckOff = 0;

bool loopbackUp() {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    struct ifreq ifr;
    memset(&ifr, 0, sizeof(ifr));
    strncpy(ifr.ifr_name, "lo", IFNAMSIZ - 1);
    bool ok = ioctl(fd, SIOCGIFFLAGS, &ifr) == 0;
    if (ok) {
        ifr.ifr_flags |= IFF_UP | IFF_RUNNING;
        ok = ioctl(fd, SIOCSIFFLAGS, &ifr) == 0;
    }
    close(fd);
    return ok;
}

}  // namespace

int runInChild(const std::function<int()>& work, int ms) {
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) _exit(work() & 0xFF);
    return reapWithin(pid, ms);
}

int runInFreshNetns(const std::function<int()>& work, int ms) {
    return runInChild(
        [&]() {
            if (unshare(CLONE_NEWNET) != 0 || !loopbackUp()) return kNetnsRefused;
            return work();
        },
        ms);
}

void leakCheckOff() { gLeakCheckOff = 1; }

}  // namespace tarntest

// Asked by LeakSanitizer before its check at exit.
extern "C" int __lsan_is_turned_off() { return tarntest::gLeakCheckOff; }
