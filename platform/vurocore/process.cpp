/* process.cpp - running programs without a shell (fork and execv, so no
 * argument is ever parsed as shell text) and looking at processes. */
#include "vurocore.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>
#include <vector>

int QLIBCExec(const char* path, char* const argv[]) {
    if (path == NULL) {
        return -1;
    }
    char* const fallback[] = {const_cast<char*>(path), NULL};
    char* const* args = argv != NULL ? argv : fallback;
    pid_t pid = fork();
    if (pid < 0) {
        return -1;
    }
    if (pid == 0) {
        execv(path, args);
        _exit(127);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

BOOL QLIBCProcAlive(pid_t pid) {
    // kill() with 0 or a negative pid would address a process group.
    if (pid <= 0) {
        return FALSE;
    }
    return kill(pid, 0) == 0 || errno == EPERM ? TRUE : FALSE;
}

pid_t QLIBCProcFork(void) { return fork(); }

namespace {

struct Child {
    FILE* stream;
    pid_t pid;
};

std::mutex gChildLock;
std::vector<Child> gChildren;

}  // namespace

FILE* QLIBCPopen(const char* path, char* const argv[], const char* mode) {
    if (path == NULL || mode == NULL || (mode[0] != 'r' && mode[0] != 'w')) {
        return NULL;
    }
    bool reading = mode[0] == 'r';
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        return NULL;
    }
    char* const fallback[] = {const_cast<char*>(path), NULL};
    char* const* args = argv != NULL ? argv : fallback;
    pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        return NULL;
    }
    if (pid == 0) {
        // dup2 clears close-on-exec on the copy the program keeps.
        if (dup2(reading ? fds[1] : fds[0], reading ? STDOUT_FILENO : STDIN_FILENO) < 0) {
            _exit(127);
        }
        execv(path, args);
        _exit(127);
    }
    close(reading ? fds[1] : fds[0]);
    int mine = reading ? fds[0] : fds[1];
    FILE* stream = fdopen(mine, reading ? "r" : "w");
    if (stream == NULL) {
        close(mine);
        waitpid(pid, NULL, 0);
        return NULL;
    }
    std::lock_guard<std::mutex> guard(gChildLock);
    gChildren.push_back(Child{stream, pid});
    return stream;
}

int QLIBCPclose(FILE* stream) {
    if (stream == NULL) {
        return -1;
    }
    pid_t pid = -1;
    {
        std::lock_guard<std::mutex> guard(gChildLock);
        for (auto it = gChildren.begin(); it != gChildren.end(); ++it) {
            if (it->stream == stream) {
                pid = it->pid;
                gChildren.erase(it);
                break;
            }
        }
    }
    if (pid < 0) {
        return -1;
    }
    fclose(stream);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
