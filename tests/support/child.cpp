/* child.cpp - work run in a forked child and reaped within a deadline, and
 * the same inside a fresh network namespace: whatever the work sends there
 * cannot leave the machine, even with the loopback guard broken. */
#include <errno.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "tarn_test.h"

namespace tarntest {

namespace {

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

int reapWithin(pid_t pid, int seconds) {
    struct timespec start;
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (;;) {
        int status = 0;
        pid_t got = waitpid(pid, &status, WNOHANG);
        if (got == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (got < 0 && errno != EINTR) return -1;
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec - start.tv_sec >= seconds) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -1;
        }
        usleep(10 * 1000);
    }
}

int runInChild(const std::function<int()>& work, int seconds) {
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) _exit(work() & 0xFF);
    return reapWithin(pid, seconds);
}

int runInFreshNetns(const std::function<int()>& work, int seconds) {
    return runInChild(
        [&]() {
            if (unshare(CLONE_NEWNET) != 0 || !loopbackUp()) return kNetnsRefused;
            return work();
        },
        seconds);
}

}  // namespace tarntest
