/* process.cpp - running programs without a shell (fork and execv, so no
 * argument is ever parsed as shell text) and looking at processes. */
#include "vurocore.h"

#include <errno.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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
