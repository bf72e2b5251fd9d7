/* plugin.cpp - hook plug-ins: executables found in a list of plug-in
 * directories, run with PRE or POST and their arguments in a clean
 * environment, no shell, stdin from /dev/null, and a time limit. */
#include "vurocore.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

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
const long kMaxPollNs = 50L * 1000 * 1000;

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

long long nowNs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

// 1 when the child ended (status filled), 0 on timeout, -1 when it cannot be
// waited for. Polls with a growing pause so short plug-ins return quickly
// while the caller's SIGCHLD handling stays untouched.
int waitWithTimeout(pid_t pid, long seconds, int* status) {
    long long deadline = nowNs() + static_cast<long long>(seconds) * 1000000000LL;
    long pauseNs = 1000L * 1000;
    for (;;) {
        pid_t r = waitpid(pid, status, WNOHANG);
        if (r == pid) {
            return 1;
        }
        if (r < 0 && errno != EINTR) {
            return -1;
        }
        long long left = deadline - nowNs();
        if (left <= 0) {
            return 0;
        }
        long long nap = left < pauseNs ? left : pauseNs;
        struct timespec ts = {static_cast<time_t>(nap / 1000000000LL),
                              static_cast<long>(nap % 1000000000LL)};
        nanosleep(&ts, NULL);
        pauseNs = pauseNs * 2 > kMaxPollNs ? kMaxPollNs : pauseNs * 2;
    }
}

void killAndReap(pid_t pid) {
    // The plug-in leads its own group, so whatever it started goes too.
    kill(-pid, SIGKILL);
    kill(pid, SIGKILL);
    int status;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
}

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

    int devNull = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (devNull < 0) {
        return -1;
    }
    pid_t pid = fork();
    if (pid < 0) {
        close(devNull);
        return -1;
    }
    if (pid == 0) {
        setpgid(0, 0);
        // dup2 onto itself would keep close-on-exec and leave stdin closed.
        if (devNull == STDIN_FILENO ? fcntl(devNull, F_SETFD, 0) < 0
                                    : dup2(devNull, STDIN_FILENO) < 0) {
            _exit(127);
        }
        // A caller that blocks signals or ignores SIGPIPE must not pass that on.
        sigaction(SIGPIPE, &dfl, NULL);
        sigprocmask(SIG_SETMASK, &noSignals, NULL);
        execve(argv[0], argv, envp.data());
        _exit(127);
    }
    close(devNull);
    // Also set here so the group exists before any kill; fails harmlessly
    // once the child has exec'd.
    setpgid(pid, pid);

    int status = 0;
    int waited = waitWithTimeout(pid, seconds, &status);
    if (waited == 0) {
        killAndReap(pid);
        return -1;
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
