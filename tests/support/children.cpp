/* children.cpp - reaping the processes a test causes, always with a
 * deadline: one known child, or children forked inside the library whose
 * pids the test never learns. */
#include <dirent.h>
#include <errno.h>
#include <signal.h>
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

}  // namespace tarntest
