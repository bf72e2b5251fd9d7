/* plugin.cpp - hook plug-ins: executables found in a list of plug-in
 * directories, run with PRE or POST and their arguments in a clean
 * environment, no shell, stdin from /dev/null, stdout and stderr into the
 * system log, no other inherited descriptor, and a time limit that also
 * ends what the plug-in started. */
#include "vurocore.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "process_int.h"

struct _tag_qlib_plugin_ {
    std::string path;
    std::string name;
    int major = 0;
    int minor = 0;
    // Set order is kept so the environment reads the way the caller built it.
    std::vector<std::pair<std::string, std::string>> args;
};

namespace {

const long kDefaultTimeoutSec = 10;

long timeoutSeconds() {
    const char* env = getenv("VURO_PLUGIN_TIMEOUT");
    if (env == NULL || env[0] == '\0') {
        return kDefaultTimeoutSec;
    }
    char* end = NULL;
    errno = 0;
    long sec = strtol(env, &end, 10);
    if (errno != 0 || *end != '\0' || sec <= 0) {
        return kDefaultTimeoutSec;
    }
    return sec;
}

/* A copy of fd at 3 or above (close-on-exec), the original closed: the
 * child's dup2 onto 0, 1 and 2 must never meet its own source. */
int fdAboveStdio(int fd) {
    if (fd > STDERR_FILENO) return fd;
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

/* A plug-in's pipes: [0] read, [1] write, both above stdio. */
struct PluginPipe {
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
    ~PluginPipe() {
        closeEnd(0);
        closeEnd(1);
    }
};

// At most this many lines of one run reach the system log.
const int kMaxLoggedLines = 200;

// A name stays inside its plug-in directory: relative, no ".." step.
bool isSafeName(const std::string& name) {
    if (name.empty() || name[0] == '/') {
        return false;
    }
    return ("/" + name + "/").find("/../") == std::string::npos;
}

bool isPluginFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

int runPlugin(PQLIBPLUGIN plugin, const char* word) {
    std::vector<std::string> env;
    const char* path = getenv("PATH");
    env.push_back(std::string("PATH=") +
                  (path != NULL && path[0] != '\0' ? path : "/usr/bin:/bin"));
    const char* root = getenv("VURO_SYSROOT");
    if (root != NULL) {
        env.push_back(std::string("VURO_SYSROOT=") + root);
    }
    env.push_back("PLUGIN_NAME=" + plugin->name);
    env.push_back(std::string("PLUGIN_ACTION=") + word);
    for (const auto& arg : plugin->args) {
        env.push_back(arg.first + "=" + arg.second);
    }
    // Everything the child needs is built before fork: after it only
    // async-signal-safe calls are allowed.
    std::vector<char*> envp;
    for (std::string& e : env) {
        envp.push_back(&e[0]);
    }
    envp.push_back(NULL);
    char* const argv[] = {&plugin->path[0], const_cast<char*>(word), NULL};
    long seconds = timeoutSeconds();
    sigset_t noSignals;
    sigemptyset(&noSignals);
    struct sigaction dfl;
    memset(&dfl, 0, sizeof(dfl));
    dfl.sa_handler = SIG_DFL;

    // The plug-in's output is its own, drained into the system log: it
    // never reaches the caller's stdout (a tool's JSON) or holds it open.
    PluginPipe out, err;
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
        execve(argv[0], argv, envp.data());
        _exit(127);
    }
    close(devNull);
    out.closeEnd(1);
    err.closeEnd(1);
    // Also set here so the group exists before any kill; fails harmlessly
    // once the child has exec'd.
    setpgid(pid, pid);

    int logged = 0;
    const std::string name = plugin->name;
    auto toLog = [&](size_t idx, const std::string& line) {
        if (++logged > kMaxLoggedLines) return;
        syslog(idx == 0 ? LOG_INFO : LOG_WARNING, "plug-in %s %s%s: %s", name.c_str(), word,
               idx == 0 ? "" : " (stderr)", line.c_str());
    };
    std::vector<int> fds = {out.fds[0], err.fds[0]};
    out.fds[0] = err.fds[0] = -1;  // the wait takes them over
    int status = 0;
    int waited = VuroProcWaitDraining(pid, seconds, fds, toLog, &status);
    if (logged > kMaxLoggedLines) {
        syslog(LOG_WARNING, "plug-in %s %s: %d more lines not logged", name.c_str(), word,
               logged - kMaxLoggedLines);
    }
    return waited == 1 && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
}

}  // namespace

int QLIBPluginInit(const char* name, const PQLIBSZLIST dirs, int major, int minor,
                   PPQLIBPLUGIN ppPlugin) {
    if (ppPlugin == NULL) {
        return -1;
    }
    *ppPlugin = NULL;
    if (name == NULL || dirs == NULL) {
        return -1;
    }
    try {
        if (!isSafeName(name)) {
            return -1;
        }
        for (int i = 0; i < dirs->nItem; i++) {
            if (dirs->pszItem[i] == NULL) {
                continue;
            }
            std::string dir = VUROSysPathStr(dirs->pszItem[i]);
            if (dir.empty()) {
                continue;
            }
            while (dir.size() > 1 && dir.back() == '/') {
                dir.pop_back();
            }
            std::string candidate = dir + (dir == "/" ? "" : "/") + name;
            // A plug-in file that is a link out of the root is not run.
            if (VUROSysPathStr(candidate).empty() || !isPluginFile(candidate)) {
                continue;
            }
            PQLIBPLUGIN plugin = new _tag_qlib_plugin_();
            plugin->path = candidate;
            plugin->name = name;
            plugin->major = major;
            plugin->minor = minor;
            *ppPlugin = plugin;
            return 0;
        }
    } catch (...) {
        return -1;
    }
    return -1;
}

BOOL QLIBPluginHasInit(const PQLIBPLUGIN plugin) {
    return plugin != NULL && !plugin->path.empty() ? TRUE : FALSE;
}

int QLIBPluginSetArg(PQLIBPLUGIN plugin, const char* key, const char* text) {
    // The key becomes an environment name, so it cannot hold '='.
    if (plugin == NULL || key == NULL || text == NULL || key[0] == '\0' ||
        strchr(key, '=') != NULL) {
        return -1;
    }
    try {
        for (auto& arg : plugin->args) {
            if (arg.first == key) {
                arg.second = text;
                return 0;
            }
        }
        plugin->args.emplace_back(key, text);
    } catch (...) {
        return -1;
    }
    return 0;
}

int QLIBPluginSetArgByInt(PQLIBPLUGIN plugin, const char* key, long long number) {
    char text[32];
    snprintf(text, sizeof(text), "%lld", number);
    return QLIBPluginSetArg(plugin, key, text);
}

int QLIBPluginAction(SDK_PLUGIN_ACTION action, PQLIBPLUGIN plugin) {
    const char* word = action == SDK_PLUGIN_PRE ? "PRE" : action == SDK_PLUGIN_POST ? "POST" : NULL;
    if (word == NULL || !QLIBPluginHasInit(plugin)) {
        return -1;
    }
    try {
        return runPlugin(plugin, word);
    } catch (...) {
        return -1;
    }
}

int QLIBPluginExit(PQLIBPLUGIN plugin) {
    delete plugin;
    return 0;
}
