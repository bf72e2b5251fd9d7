/* plugin.cpp - hook plug-ins: executables found in a list of plug-in
 * directories, run with PRE or POST and their arguments in a clean
 * environment, no shell, stdin from /dev/null, stdout and stderr into the
 * system log, no other inherited descriptor, and a time limit that also
 * ends what the plug-in started. */
#include "vurocore.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
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
    std::vector<std::string> argv = {plugin->path, word};
    long seconds = timeoutSeconds();

    int logged = 0;
    const std::string name = plugin->name;
    auto toLog = [&](size_t idx, const std::string& line) {
        if (++logged > kMaxLoggedLines) return;
        syslog(idx == 0 ? LOG_INFO : LOG_WARNING, "plug-in %s %s%s: %s", name.c_str(), word,
               idx == 0 ? "" : " (stderr)", line.c_str());
    };
    // The plug-in's output is its own, drained into the system log: it
    // never reaches the caller's stdout (a tool's JSON) or holds it open.
    int status = 0;
    int waited = VUROProcRunLimited(argv, env, seconds, toLog, &status);
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
