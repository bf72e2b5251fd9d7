/* apirunner.cpp - runs a local web API through the handler tool: its
 * arguments on the command line (no shell), its answer read from its
 * standard output, the plug-in runner's wait with a time limit. */
#include "vuroapirunner.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <vector>

#include "vurojson.h"

namespace {

// Our own codes for a handler that could not answer.
const int kCodeNoHandler = 150;
const int kCodeHandlerFailed = 151;
const int kCodeTimeout = 152;
const int kCodeBadAnswer = 153;

long timeoutSeconds() {
    const char* env = getenv("VURO_APIRUNNER_TIMEOUT");
    if (env == NULL || env[0] == '\0') return VUROWEBAPI_TIMEOUT_S;
    char* end = NULL;
    errno = 0;
    long sec = strtol(env, &end, 10);
    return errno != 0 || *end != '\0' || sec <= 0 ? VUROWEBAPI_TIMEOUT_S : sec;
}

bool failWith(Json::Value& jsResp, int code, const std::string& why) {
    jsResp = Json::Value(Json::objectValue);
    jsResp["success"] = false;
    jsResp["error"]["code"] = code;
    jsResp["error"]["reason"] = why;
    return false;
}

void envPass(std::vector<std::string>& env, const char* name) {
    const char* v = getenv(name);
    if (v != NULL) env.push_back(std::string(name) + "=" + v);
}

}  // namespace

namespace VURO {

bool APIRunner::Exec(Json::Value& jsResp, const std::string& strAPI, int iVersion,
                     const std::string& strMethod, const Json::Value& jsParam,
                     const std::string& strUser) {
    try {
        // The tool is a program link the installer put in a root-only
        // folder: it is run, never written through, so only its folders
        // must stay inside the root.
        std::string tool = VUROSysPathStr(VUROWEBAPI_TOOL_PATH, VURO_SYSPATH_NOFOLLOW);
        struct stat st;
        if (tool.empty() || stat(tool.c_str(), &st) != 0 || !S_ISREG(st.st_mode) ||
            access(tool.c_str(), X_OK) != 0) {
            return failWith(jsResp, kCodeNoHandler, "no handler tool");
        }
        std::vector<std::string> argv = {tool,      strAPI,  std::to_string(iVersion),
                                         strMethod, strUser, vurojson::toString(jsParam)};
        std::vector<std::string> env;
        const char* path = getenv("PATH");
        env.push_back(std::string("PATH=") + (path != NULL && path[0] ? path : "/usr/bin:/bin"));
        envPass(env, "VURO_SYSROOT");
        envPass(env, "VURO_NET_LOOPBACK_ONLY");

        // The answer is one compact JSON line; pieces of a long line are
        // joined as they came.
        std::string answer;
        auto onLine = [&](size_t idx, const std::string& line) {
            if (idx == 0) {
                answer += line;
            } else {
                syslog(LOG_WARNING, "vurowebapi %s %s (stderr): %s", strAPI.c_str(),
                       strMethod.c_str(), line.c_str());
            }
        };
        int status = 0;
        int waited = VUROProcRunLimited(argv, env, timeoutSeconds(), onLine, &status);
        if (waited < 0) return failWith(jsResp, kCodeHandlerFailed, "handler did not start");
        if (waited == 0) return failWith(jsResp, kCodeTimeout, "handler passed its time limit");
        if (WIFSIGNALED(status)) return failWith(jsResp, kCodeHandlerFailed, "handler crashed");
        Json::Value parsed;
        if (!vurojson::fromString(parsed, answer) || !parsed.isObject()) {
            return failWith(jsResp, kCodeBadAnswer, "handler answer is no JSON object");
        }
        jsResp = parsed;
        return true;
    } catch (...) {
        return failWith(jsResp, kCodeHandlerFailed, "out of memory");
    }
}

}  // namespace VURO
