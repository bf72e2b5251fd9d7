/* serve_worker.cpp - "tarn serve-worker": one worker process of the
 * service. It does every call into the library and the platform for the
 * front: sign-in against the root's accounts, console sessions in the
 * web-session store, the CSRF check, the API's commands and the managed
 * servers' entry. Requests and answers come as framed JSON on one socket. */
#include <ctype.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <exception>
#include <fstream>

#include <vurocgi.h>
#include <vurocore.h>
#include <vurojson.h>

#include "api.h"
#include "cli.h"
#include "serve.h"
#include "serve_fetch.h"

namespace tarncli {

namespace {

/* A request is a JSON object around a body of at most 1 MiB. */
const size_t kRequestMax = 16u << 20;
/* A console session lasts a working day; signing in again makes a new one. */
const int kConsoleSessionSeconds = 12 * 3600;
/* Session ids of the store: 43 characters of base64url. */
const size_t kSessionIdLength = 43;

Json::Value answerOf(int status, const Json::Value& body) {
    Json::Value j;
    j["status"] = status;
    j["body"] = body;
    return j;
}

Json::Value errorOf(int status, const std::string& what) {
    Json::Value body;
    body["error"] = what;
    return answerOf(status, body);
}

std::string randomHex(size_t bytes) {
    std::string raw(bytes, '\0');
    size_t got = 0;
    while (got < bytes) {
        ssize_t n = getrandom(&raw[got], bytes - got, 0);
        if (n <= 0) return "";
        got += (size_t)n;
    }
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : raw) {
        out += kHex[c >> 4];
        out += kHex[c & 15];
    }
    return out;
}

/* Compares all of both, so that the time taken tells nothing of where a
 * guessed token first differs. */
bool sameSecret(const std::string& a, const std::string& b) {
    if (a.size() != b.size() || a.empty()) return false;
    unsigned char diff = 0;
    for (size_t i = 0; i < a.size(); i++) diff |= (unsigned char)(a[i] ^ b[i]);
    return diff == 0;
}

bool sessionIdShaped(const std::string& sid) {
    if (sid.size() != kSessionIdLength) return false;
    for (char c : sid) {
        if (!isalnum((unsigned char)c) && c != '-' && c != '_') return false;
    }
    return true;
}

/* The store's line of that id, parsed; false when there is none. */
bool sessionLineFind(const std::string& sid, Json::Value* pSession) {
    std::string path = VUROSysPathStr(VUROCGI_SESSION_FILE);
    if (path.empty()) return false;
    std::ifstream in(path);
    std::string quoted = "\"" + sid + "\"";
    for (std::string line; std::getline(in, line);) {
        if (line.find(quoted) == std::string::npos) continue;
        Json::Value j;
        if (vurojson::fromString(j, line) && j.isObject() && j["id"].isString() &&
            j["id"].asString() == sid) {
            *pSession = j;
            return true;
        }
    }
    return false;
}

void sessionRemove(const std::string& sid) {
    VuroCgi cgi;
    if (!VuroCgiInit("", &cgi)) return;
    VuroCgiRemoveSessionByIndex(&cgi, INDEX_ID, sid.c_str());
    VuroCgiFree(&cgi);
}

/* The account as the API acts for it; false when it is gone. */
bool actorOf(const std::string& user, Actor* pActor) {
    uid_t uid;
    if (VUROUserGetUGID(user.c_str(), &uid, nullptr) != 0) return false;
    pActor->name = user;
    pActor->uid = uid;
    pActor->admin = QLIBGroupIsAdminGroupMemByUid(uid, FALSE) == 1;
    return true;
}

/* A live console session of a user who still exists. */
struct Console {
    Actor actor;
    std::string csrf;
    Json::Int64 expires = 0;
};

/* 0 and *pConsole, or the status that refuses the request. Only the
 * console's own sessions count: a managed server's session from the join
 * or another application's is no sign-in. */
int consoleFind(const std::string& sid, Console* pConsole) {
    Json::Value s;
    if (!sessionIdShaped(sid) || !sessionLineFind(sid, &s)) return 401;
    if (!s["app"].isString() || s["app"].asString() != kConsoleApp) return 401;
    Json::Int64 expires = s["expires"].isIntegral() ? s["expires"].asInt64() : 0;
    if (expires <= (Json::Int64)time(nullptr)) {
        // A dead line in the store only grows it.
        sessionRemove(sid);
        return 401;
    }
    Json::Value extra;
    if (!s["extra"].isString() || !vurojson::fromString(extra, s["extra"].asString()) ||
        !extra["csrf"].isString() || !s["user"].isString() ||
        !actorOf(s["user"].asString(), &pConsole->actor)) {
        return 401;
    }
    pConsole->csrf = extra["csrf"].asString();
    pConsole->expires = expires;
    return 0;
}

Json::Value sessionBody(const Console& c) {
    Json::Value body;
    body["user"] = c.actor.name;
    body["admin"] = c.actor.admin;
    body["csrf"] = c.csrf;
    body["expires"] = c.expires;
    return body;
}

/* A session and its CSRF token; 0 or the refusing status. */
int consoleCheck(const Json::Value& req, Console* pConsole) {
    int status = consoleFind(req["sid"].asString(), pConsole);
    if (status != 0) return status;
    if (!sameSecret(req["csrf"].asString(), pConsole->csrf)) return 403;
    return 0;
}

Json::Value refusal(int status) {
    return errorOf(status, status == 401 ? "not signed in (or the session has ended)"
                                         : "missing or wrong CSRF token");
}

Json::Value signIn(const Json::Value& req) {
    std::string user = req["user"].asString();
    std::string password = req["password"].asString();
    int rc = VUROUserPasswordCheck(user.c_str(), password.c_str());
    password.assign(password.size(), '\0');
    if (rc < 0) return errorOf(500, "this root has no accounts of its own (etc/passwd)");
    Actor actor;
    if (rc != 1 || !actorOf(user, &actor)) return errorOf(401, "wrong account or password");
    Json::Value extra;
    extra["csrf"] = randomHex(32);
    if (extra["csrf"].asString().empty()) return errorOf(500, "no random bytes for a token");
    VuroCgi cgi;
    if (!VuroCgiInit("", &cgi)) return errorOf(500, "the session store cannot be used");
    std::string extraText = vurojson::toString(extra);
    VuroCgiSetOption(&cgi, CGI_OPT_APP, kConsoleApp);
    VuroCgiSetOption(&cgi, CGI_OPT_DURATION, kConsoleSessionSeconds);
    VuroCgiSetOption(&cgi, CGI_OPT_SKIP_CHECK_IP, 1);
    VuroCgiSetOption(&cgi, CGI_OPT_EXTRA, extraText.c_str());
    CGI_LOGIN_PARAMS params = {user.c_str(), nullptr, nullptr, 0, FALSE};
    char sid[64] = {0};
    int made = VuroCgiLoginNoAuth(&cgi, sid, sizeof(sid), &params);
    VuroCgiFree(&cgi);
    Console console;
    if (made != LOGIN_SUCCESS || consoleFind(sid, &console) != 0) {
        return errorOf(500, "the session store cannot be written");
    }
    Json::Value answer = answerOf(200, sessionBody(console));
    answer["sid"] = sid;
    return answer;
}

Json::Value signOut(const Json::Value& req) {
    Console console;
    int status = consoleCheck(req, &console);
    if (status != 0) return refusal(status);
    sessionRemove(req["sid"].asString());
    Json::Value body;
    body["signed_out"] = true;
    return answerOf(200, body);
}

Json::Value apiRun(const Json::Value& req) {
    Console console;
    int status = consoleCheck(req, &console);
    if (status != 0) return refusal(status);
    const std::string& text = req["body"].asString();
    Json::Value body(Json::objectValue);
    if (text.find_first_not_of(" \t\r\n") != std::string::npos) {
        if (!vurojson::fromString(body, text)) return errorOf(400, "the body is not JSON");
        if (!body.isObject()) {
            return errorOf(400, "the body is a JSON object of the command's options");
        }
    }
    Json::Value answer;
    status = apiCall(req["command"].asString(), body, console.actor, &answer);
    return answerOf(status, answer);
}

Json::Value webapiRun(const Json::Value& req) {
    std::map<std::string, std::string> fields;
    const Json::Value& jFields = req["fields"];
    for (const std::string& key : jFields.getMemberNames()) {
        fields[key] = jFields[key].asString();
    }
    Json::Value answer;
    int status = webapiEntry(fields, &answer);
    return answerOf(status, answer);
}

Json::Value requestRun(const Json::Value& req) {
    const std::string op = req["op"].asString();
    try {
        if (op == "signin") return signIn(req);
        if (op == "session") {
            Console console;
            int status = consoleFind(req["sid"].asString(), &console);
            return status != 0 ? refusal(status) : answerOf(200, sessionBody(console));
        }
        if (op == "signout") return signOut(req);
        if (op == "api") return apiRun(req);
        if (op == "webapi") return webapiRun(req);
        return errorOf(400, "unknown request '" + op + "'");
    } catch (const UsageError& e) {
        return errorOf(400, e.what);
    } catch (const OpFailure& e) {
        return errorOf(500, e.what);
    } catch (const std::exception& e) {
        fprintf(stderr, "tarn serve-worker: %s failed: %s\n", op.c_str(), e.what());
        return errorOf(500, "internal error");
    }
}

}  // namespace

int serveWorkerRun() {
    for (;;) {
        Json::Value req;
        if (!frameRead(kWorkerFd, &req, kRequestMax)) return 0;
        if (!frameWrite(kWorkerFd, requestRun(req))) return 0;
    }
}

int cmdServeWorker(const Args&) {
    // Only the front starts it, with the channel in place.
    struct stat st;
    if (fstat(kWorkerFd, &st) != 0 || !S_ISSOCK(st.st_mode)) {
        throw UsageError{"serve-worker is started by 'tarn serve' only"};
    }
    return serveWorkerRun();
}

}  // namespace tarncli
