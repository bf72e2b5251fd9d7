/* process.cpp - running programs without a shell (fork and execv, so no
 * argument is ever parsed as shell text), looking at processes, and the
 * wait with a time limit that drains a child's output and ends what it
 * left behind (found through /proc by the pipes it inherited). */
#include "vurocore.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <vector>

#include "process_int.h"

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

namespace {

const long kMaxPollNs = 50L * 1000 * 1000;
// A line longer than this is handed on in pieces.
const size_t kMaxLine = 1024;
// Output still arriving after the kill is read for at most this long.
const long long kAfterKillNs = 1000LL * 1000 * 1000;

long long nowNs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

struct Drain {
    int fd;
    std::string mark;  // "pipe:[inode]", as /proc shows the pipe
    std::string buf;
    bool eof = false;
};

void drainLines(Drain& d, size_t idx, const VuroProcLineFn& onLine, bool flush) {
    size_t start = 0;
    for (;;) {
        size_t nl = d.buf.find('\n', start);
        size_t end = nl != std::string::npos ? nl : d.buf.size();
        if (end - start >= kMaxLine) {
            onLine(idx, d.buf.substr(start, kMaxLine));
            start += kMaxLine;
        } else if (nl != std::string::npos) {
            onLine(idx, d.buf.substr(start, nl - start));
            start = nl + 1;
        } else {
            break;
        }
    }
    d.buf.erase(0, start);
    if (flush && !d.buf.empty()) {
        onLine(idx, d.buf);
        d.buf.clear();
    }
}

// Reads what the pipe holds now; marks it at end of file.
void drainRead(Drain& d, size_t idx, const VuroProcLineFn& onLine) {
    char chunk[4096];
    while (!d.eof) {
        ssize_t n = read(d.fd, chunk, sizeof(chunk));
        if (n > 0) {
            d.buf.append(chunk, static_cast<size_t>(n));
            drainLines(d, idx, onLine, false);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else if (n < 0 && errno == EAGAIN) {
            return;
        } else {
            d.eof = true;
            drainLines(d, idx, onLine, true);
        }
    }
}

bool allAtEnd(const std::vector<Drain>& drains) {
    for (const Drain& d : drains) {
        if (!d.eof) return false;
    }
    return true;
}

// Waits up to ns for output and reads it.
void drainFor(std::vector<Drain>& drains, long long ns, const VuroProcLineFn& onLine) {
    std::vector<struct pollfd> pfds;
    std::vector<size_t> idx;
    for (size_t i = 0; i < drains.size(); i++) {
        if (!drains[i].eof) {
            pfds.push_back({drains[i].fd, POLLIN, 0});
            idx.push_back(i);
        }
    }
    int ms = static_cast<int>((ns + 999999) / 1000000);
    if (poll(pfds.empty() ? NULL : pfds.data(), pfds.size(), ms < 0 ? 0 : ms) <= 0) return;
    for (size_t k = 0; k < pfds.size(); k++) {
        if (pfds[k].revents != 0) drainRead(drains[idx[k]], idx[k], onLine);
    }
}

// True when the descriptor fd of process pid is open for writing.
bool fdWrites(const std::string& pid, const char* fd) {
    std::string text;
    int in = open(("/proc/" + pid + "/fdinfo/" + fd).c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    char buf[512];
    ssize_t n = read(in, buf, sizeof(buf) - 1);
    close(in);
    if (n <= 0) return false;
    buf[n] = '\0';
    const char* flags = strstr(buf, "flags:");
    if (flags == NULL) return false;
    unsigned long mode = strtoul(flags + 6, NULL, 8) & O_ACCMODE;
    return mode == O_WRONLY || mode == O_RDWR;
}

/* Kills every other process that holds one of the pipes for writing, which
 * only what the child started can (our own ends are read ends, closed on
 * exec). Looked at again while any is found: one may fork as we look. */
void pipeHoldersKill(const std::vector<Drain>& drains) {
    const std::string self = std::to_string(getpid());
    for (int round = 0; round < 50; round++) {
        bool found = false;
        DIR* proc = opendir("/proc");
        if (proc == NULL) return;
        for (struct dirent* p = readdir(proc); p != NULL; p = readdir(proc)) {
            if (p->d_name[0] < '0' || p->d_name[0] > '9' || self == p->d_name) continue;
            std::string fdDir = std::string("/proc/") + p->d_name + "/fd";
            DIR* fds = opendir(fdDir.c_str());
            if (fds == NULL) continue;
            bool holds = false;
            for (struct dirent* f = readdir(fds); f != NULL && !holds; f = readdir(fds)) {
                char target[64];
                ssize_t n = readlink((fdDir + "/" + f->d_name).c_str(), target, sizeof(target) - 1);
                if (n <= 0) continue;
                target[n] = '\0';
                for (const Drain& d : drains) {
                    if (d.mark == target && fdWrites(p->d_name, f->d_name)) holds = true;
                }
            }
            closedir(fds);
            if (holds) {
                kill(static_cast<pid_t>(atol(p->d_name)), SIGKILL);
                found = true;
            }
        }
        closedir(proc);
        if (!found) return;
        struct timespec pause = {0, 2L * 1000 * 1000};
        nanosleep(&pause, NULL);
    }
}

}  // namespace

int VuroProcWaitDraining(pid_t pid, long seconds, std::vector<int> fds,
                         const VuroProcLineFn& onLine, int* status) {
    std::vector<Drain> drains;
    for (int fd : fds) {
        Drain d;
        d.fd = fd;
        struct stat st;
        if (fstat(fd, &st) == 0) d.mark = "pipe:[" + std::to_string(st.st_ino) + "]";
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        drains.push_back(d);
    }
    long long deadline = nowNs() + static_cast<long long>(seconds) * 1000000000LL;
    long pauseNs = 1000L * 1000;
    bool ended = false;
    bool leftoversKilled = false;
    int result = 1;
    for (;;) {
        if (!ended) {
            pid_t r = waitpid(pid, status, WNOHANG);
            if (r == pid) {
                ended = true;
            } else if (r < 0 && errno != EINTR) {
                result = -1;
                break;
            }
        }
        if (ended) {
            for (size_t i = 0; i < drains.size(); i++) drainRead(drains[i], i, onLine);
            if (allAtEnd(drains)) break;
            if (!leftoversKilled) {
                // The child is done; what still holds its output it left behind.
                pipeHoldersKill(drains);
                leftoversKilled = true;
            }
        }
        long long left = deadline - nowNs();
        if (left <= 0) {
            if (!ended) {
                kill(-pid, SIGKILL);
                kill(pid, SIGKILL);
            }
            pipeHoldersKill(drains);
            if (!ended) {
                while (waitpid(pid, status, 0) < 0 && errno == EINTR) {
                }
                result = 0;
            }
            break;
        }
        drainFor(drains, left < pauseNs ? left : pauseNs, onLine);
        pauseNs = pauseNs * 2 > kMaxPollNs ? kMaxPollNs : pauseNs * 2;
    }
    // What the killed wrote before they went is still read, briefly.
    long long stop = nowNs() + kAfterKillNs;
    while (!allAtEnd(drains) && nowNs() < stop) {
        drainFor(drains, stop - nowNs(), onLine);
    }
    for (Drain& d : drains) {
        drainLines(d, static_cast<size_t>(&d - drains.data()), onLine, true);
        close(d.fd);
    }
    return result;
}

namespace {

/* A copy of fd at 3 or above (close-on-exec), the original closed: the
 * child's dup2 onto 0, 1 and 2 must never meet its own source. */
int fdAboveStdio(int fd) {
    if (fd > STDERR_FILENO || fd < 0) return fd;
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(fd);
    return moved;
}

/* Closes every descriptor from 3 up in the child, after fork: only
 * async-signal-safe calls, the highest number looked up before fork. */
void fdsCloseFrom3(int maxFd) {
#ifdef SYS_close_range
    if (syscall(SYS_close_range, 3U, ~0U, 0U) == 0) return;
#endif
    for (int fd = 3; fd < maxFd; fd++) close(fd);
}

/* A child's pipe: [0] read, [1] write, both above stdio. */
struct ChildPipe {
    int fds[2] = {-1, -1};
    bool open() {
        int raw[2];
        if (pipe2(raw, O_CLOEXEC) != 0) return false;
        fds[0] = fdAboveStdio(raw[0]);
        fds[1] = fdAboveStdio(raw[1]);
        return fds[0] >= 0 && fds[1] >= 0;
    }
    void closeEnd(int i) {
        if (fds[i] >= 0) close(fds[i]);
        fds[i] = -1;
    }
    ~ChildPipe() {
        closeEnd(0);
        closeEnd(1);
    }
};

}  // namespace

int VUROProcRunLimited(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                       long seconds, const VUROProcLineFn& onLine, int* status) {
    if (argv.empty() || status == NULL) {
        return -1;
    }
    // Everything the child needs is built before fork: after it only
    // async-signal-safe calls are allowed.
    std::vector<std::string> args(argv), envs(env);
    std::vector<char*> argp, envp;
    for (std::string& a : args) argp.push_back(&a[0]);
    argp.push_back(NULL);
    for (std::string& e : envs) envp.push_back(&e[0]);
    envp.push_back(NULL);
    sigset_t noSignals;
    sigemptyset(&noSignals);
    struct sigaction dfl;
    memset(&dfl, 0, sizeof(dfl));
    dfl.sa_handler = SIG_DFL;

    ChildPipe out, err;
    if (!out.open() || !err.open()) {
        return -1;
    }
    int devNull = fdAboveStdio(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (devNull < 0) {
        return -1;
    }
    long maxFdLong = sysconf(_SC_OPEN_MAX);
    int maxFd = maxFdLong > 0 && maxFdLong < 65536 ? static_cast<int>(maxFdLong) : 65536;
    pid_t pid = fork();
    if (pid < 0) {
        close(devNull);
        return -1;
    }
    if (pid == 0) {
        setpgid(0, 0);
        // Every source lies above 2, so dup2 clears close-on-exec on the copy.
        if (dup2(devNull, STDIN_FILENO) < 0 || dup2(out.fds[1], STDOUT_FILENO) < 0 ||
            dup2(err.fds[1], STDERR_FILENO) < 0) {
            _exit(127);
        }
        // Nothing else the caller holds (sockets, databases, locks) is passed on.
        fdsCloseFrom3(maxFd);
        // A caller that blocks signals or ignores SIGPIPE must not pass that on.
        sigaction(SIGPIPE, &dfl, NULL);
        sigprocmask(SIG_SETMASK, &noSignals, NULL);
        execve(argp[0], argp.data(), envp.data());
        _exit(127);
    }
    close(devNull);
    out.closeEnd(1);
    err.closeEnd(1);
    // Also set here so the group exists before any kill; fails harmlessly
    // once the child has exec'd.
    setpgid(pid, pid);
    std::vector<int> fds = {out.fds[0], err.fds[0]};
    out.fds[0] = err.fds[0] = -1;  // the wait takes them over
    return VuroProcWaitDraining(pid, seconds, fds, onLine, status);
}
