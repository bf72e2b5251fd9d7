/* serve_pool.cpp - the front's worker processes: each a "tarn serve-worker"
 * started from this very binary with one end of a socketpair, one request
 * at a time. The library keeps per-process state (error store, privilege,
 * transaction), so the front's threads never call it: they queue here. */
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <vurojson.h>

#include "serve.h"

namespace tarncli {

namespace {

/* An answer can be a long list; nothing a worker says is larger. */
const size_t kAnswerMax = 256u << 20;

bool allWrite(int fd, const char* p, size_t n) {
    while (n > 0) {
        // MSG_NOSIGNAL: a dead peer is an error to handle, not a signal.
        ssize_t k = send(fd, p, n, MSG_NOSIGNAL);
        if (k < 0 && errno == EINTR) continue;
        if (k <= 0) return false;
        p += k;
        n -= (size_t)k;
    }
    return true;
}

bool allRead(int fd, char* p, size_t n) {
    while (n > 0) {
        ssize_t k = read(fd, p, n);
        if (k < 0 && errno == EINTR) continue;
        if (k <= 0) return false;
        p += k;
        n -= (size_t)k;
    }
    return true;
}

Json::Value failure(int status, const std::string& what) {
    Json::Value j;
    j["status"] = status;
    j["body"]["error"] = what;
    return j;
}

long msNow() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000L + ts.tv_nsec / 1000000L;
}

}  // namespace

bool frameWrite(int fd, const Json::Value& j) {
    std::string text = vurojson::toString(j);
    if (text.size() > 0xFFFFFFFFu) return false;
    uint32_t n = (uint32_t)text.size();
    char head[4] = {(char)(n >> 24), (char)(n >> 16), (char)(n >> 8), (char)n};
    return allWrite(fd, head, 4) && allWrite(fd, text.data(), text.size());
}

bool frameRead(int fd, Json::Value* pJ, size_t limit) {
    unsigned char head[4];
    if (!allRead(fd, (char*)head, 4)) return false;
    size_t n = ((size_t)head[0] << 24) | ((size_t)head[1] << 16) | ((size_t)head[2] << 8) | head[3];
    if (n > limit) return false;
    std::string text(n, '\0');
    if (!allRead(fd, &text[0], n)) return false;
    return vurojson::fromString(*pJ, text) && pJ->isObject();
}

WorkerPool::WorkerPool(size_t workers, size_t queueMax, int timeoutSeconds)
    : workers_(workers), queueMax_(queueMax), timeoutSeconds_(timeoutSeconds) {}

WorkerPool::~WorkerPool() { stop(); }

bool WorkerPool::spawn(Worker* pW) {
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0) return false;
    // Everything the child needs is made before the fork: between fork and
    // exec in a threaded process only async-signal-safe calls are allowed.
    char arg0[] = "tarn";
    char arg1[] = "serve-worker";
    char* argv[] = {arg0, arg1, nullptr};
    pid_t pid = fork();
    if (pid < 0) {
        close(sv[0]);
        close(sv[1]);
        return false;
    }
    if (pid == 0) {
        // The front blocks its stop signals for its signal thread; a worker
        // dies of them as any process does.
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        signal(SIGPIPE, SIG_DFL);
        if (dup2(sv[1], kWorkerFd) < 0) _exit(127);
        // A command that reads standard input must not read the channel,
        // nor one that prints write into it.
        int null = open("/dev/null", O_RDONLY);
        if (null < 0 || dup2(null, 0) < 0 || dup2(2, 1) < 0) _exit(127);
        close_range(kWorkerFd + 1, ~0u, 0);
        execv(exe_.c_str(), argv);
        _exit(127);
    }
    close(sv[1]);
    pW->pid = pid;
    pW->fd = sv[0];
    return true;
}

void WorkerPool::retire(Worker* pW, bool kill) {
    if (pW->fd >= 0) close(pW->fd);
    if (pW->pid > 0) {
        if (kill) ::kill(pW->pid, SIGKILL);
        waitpid(pW->pid, nullptr, 0);
    }
    pW->fd = -1;
    pW->pid = -1;
}

bool WorkerPool::alive(const Worker& w) const {
    if (w.pid <= 0 || w.fd < 0) return false;
    // An idle worker says nothing: anything to read is its end of file.
    struct pollfd p = {w.fd, POLLIN, 0};
    return poll(&p, 1, 0) == 0;
}

bool WorkerPool::start(std::string* pWhy) {
    std::lock_guard<std::mutex> lock(mutex_);
    // This binary by its own name, so that the workers show as "tarn".
    char path[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
    exe_ = n > 0 ? std::string(path, (size_t)n) : "";
    // Replaced on disk since it started: the running binary is the one to use.
    const std::string deleted = " (deleted)";
    if (exe_.empty() ||
        (exe_.size() > deleted.size() &&
         exe_.compare(exe_.size() - deleted.size(), deleted.size(), deleted) == 0)) {
        exe_ = "/proc/self/exe";
    }
    for (Worker& w : workers_) {
        if (!spawn(&w)) {
            *pWhy = std::string("cannot start a worker: ") + strerror(errno);
            return false;
        }
    }
    janitor_ = std::thread([this] { janitorRun(); });
    return true;
}

void WorkerPool::janitorRun() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        // An idle worker that died is reaped and replaced here, so that the
        // pool is whole again before a burst of requests needs it.
        for (Worker& w : workers_) {
            if (w.busy || alive(w)) continue;
            retire(&w, true);
            spawn(&w);
        }
        janitorWake_.wait_for(lock, std::chrono::seconds(1));
    }
}

Json::Value WorkerPool::call(const Json::Value& request) {
    Worker* pW = nullptr;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        auto idleOne = [&]() -> Worker* {
            for (Worker& w : workers_) {
                if (!w.busy) return &w;
            }
            return nullptr;
        };
        if (!stopping_ && idleOne() == nullptr && waiting_ >= queueMax_) {
            return failure(503, "the service is busy; try again shortly");
        }
        waiting_++;
        idle_.wait(lock, [&] { return stopping_ || idleOne() != nullptr; });
        waiting_--;
        if (stopping_) return failure(503, "the service is stopping");
        pW = idleOne();
        pW->busy = true;
    }
    // The slot is this thread's until it is given back.
    Json::Value answer;
    for (int attempt = 0;; attempt++) {
        if (!alive(*pW)) {
            retire(pW, true);
            if (!spawn(pW)) {
                answer = failure(503, "no worker could be started");
                break;
            }
        }
        // A worker that died since it was checked has read nothing: once more.
        if (!frameWrite(pW->fd, request)) {
            retire(pW, true);
            if (attempt == 0) continue;
            answer = failure(500, "the request's worker ended");
            break;
        }
        long deadline = msNow() + timeoutSeconds_ * 1000L;
        struct pollfd p = {pW->fd, POLLIN, 0};
        int n;
        do {
            long left = deadline - msNow();
            n = poll(&p, 1, left > 0 ? (int)left : 0);
        } while (n < 0 && errno == EINTR);
        if (n == 0) {
            retire(pW, true);
            answer = failure(504, "the request took longer than " +
                                      std::to_string(timeoutSeconds_) + " s and was stopped");
        } else if (!frameRead(pW->fd, &answer, kAnswerMax) || !answer["status"].isInt()) {
            retire(pW, true);
            answer = failure(500, "the request's worker ended");
        }
        break;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // A killed worker's slot is filled again when it is next taken.
        if (!stopping_ && pW->pid < 0) spawn(pW);
        pW->busy = false;
    }
    idle_.notify_one();
    return answer;
}

void WorkerPool::interrupt() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        janitorWake_.notify_all();
        // A request in flight ends now rather than at its time limit.
        for (Worker& w : workers_) {
            if (w.busy && w.pid > 0) ::kill(w.pid, SIGTERM);
        }
    }
    idle_.notify_all();
}

void WorkerPool::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    janitorWake_.notify_all();
    if (janitor_.joinable()) janitor_.join();
    std::lock_guard<std::mutex> lock(mutex_);
    // End of file tells an idle worker to go; those that do not are killed.
    for (Worker& w : workers_) {
        if (w.fd >= 0) close(w.fd);
        w.fd = -1;
    }
    long deadline = msNow() + 2000;
    for (Worker& w : workers_) {
        while (w.pid > 0) {
            pid_t r = waitpid(w.pid, nullptr, WNOHANG);
            if (r == w.pid || (r < 0 && errno != EINTR)) {
                w.pid = -1;
            } else if (msNow() >= deadline) {
                ::kill(w.pid, SIGKILL);
                waitpid(w.pid, nullptr, 0);
                w.pid = -1;
            } else {
                usleep(10000);
            }
        }
    }
}

}  // namespace tarncli
