/* serve.cpp - "tarn serve": the service's HTTPS front. It parses requests,
 * serves the console's static files, slows down failed sign-ins and hands
 * everything that touches the library to its worker processes
 * (serve_pool.cpp); it never calls the library itself. */
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <map>
#include <thread>

#include <vurocore.h>
#include <vurojson.h>

#include "cli.h"
#include "serve.h"

namespace tarncli {

namespace {

const char kDefaultListen[] = "127.0.0.1:5443";
const size_t kBodyMax = 1u << 20;
/* Enough workers that a few slow requests leave the rest served; each is a
 * process of its own, so not many more than that on a small machine. */
const size_t kWorkersDefault = 8;
/* Requests that may wait for a worker before the next is told 503. */
const size_t kQueueMax = 64;
const size_t kThreadsSpare = 8;
const int kTimeoutDefault = 120;
const char kCookie[] = "tarn_sid";
const char kCookieAttributes[] = "; HttpOnly; Secure; SameSite=Strict; Path=/";

/* Failed sign-ins of one account: after kFreeFailures, each further one
 * shuts the account's door for twice as long as the last, up to a minute. */
const int kFreeFailures = 3;
const int kDelayMaxSeconds = 60;
const size_t kThrottleEntriesMax = 10000;

class SignInThrottle {
public:
    /* 0 when an attempt may go ahead (it is then in flight), else the
     * seconds to wait. One attempt per account at a time, so that a burst
     * of parallel guesses is not all let through before the first fails. */
    int begin(const std::string& user) {
        std::lock_guard<std::mutex> lock(mutex_);
        prune();
        Entry& e = entries_[user];
        time_t now = time(nullptr);
        if (e.until > now) return (int)(e.until - now);
        if (e.inFlight) return 1;
        e.inFlight = true;
        return 0;
    }
    void end(const std::string& user, bool failed) {
        std::lock_guard<std::mutex> lock(mutex_);
        Entry& e = entries_[user];
        e.inFlight = false;
        if (!failed) {
            entries_.erase(user);
            return;
        }
        e.failures++;
        e.last = time(nullptr);
        if (e.failures >= kFreeFailures) {
            int shift = std::min(e.failures - kFreeFailures, 6);
            e.until = e.last + std::min(1 << shift, kDelayMaxSeconds);
        }
    }

private:
    struct Entry {
        int failures = 0;
        time_t last = 0;
        time_t until = 0;
        bool inFlight = false;
    };
    /* Guessed names must not grow the table without end: an account quiet
     * for an hour is forgotten first. */
    void prune() {
        if (entries_.size() < kThrottleEntriesMax) return;
        time_t old = time(nullptr) - 3600;
        for (auto it = entries_.begin(); it != entries_.end();) {
            bool drop = !it->second.inFlight && it->second.last < old;
            it = drop ? entries_.erase(it) : std::next(it);
        }
    }
    std::map<std::string, Entry> entries_;
    std::mutex mutex_;
};

struct Listen {
    std::string host;
    int port = 0;
};

Listen listenParse(const std::string& text) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        throw UsageError{"--listen is ADDRESS:PORT, not '" + text + "'"};
    Listen l;
    l.host = text.substr(0, colon);
    if (l.host.size() > 2 && l.host.front() == '[' && l.host.back() == ']') {
        l.host = l.host.substr(1, l.host.size() - 2);
    }
    unsigned char buf[16];
    if (inet_pton(AF_INET, l.host.c_str(), buf) != 1 &&
        inet_pton(AF_INET6, l.host.c_str(), buf) != 1) {
        throw UsageError{"--listen needs a numeric address, not '" + l.host + "'"};
    }
    l.port = (int)parseLongIn(text.substr(colon + 1), "the port of --listen", 0, 65535);
    return l;
}

/* The session cookie's value, "" when there is none. */
std::string sessionCookie(const httplib::Request& req) {
    std::string all = req.get_header_value("Cookie");
    std::string key = std::string(kCookie) + "=";
    size_t at = 0;
    while (at < all.size()) {
        size_t end = all.find(';', at);
        if (end == std::string::npos) end = all.size();
        size_t start = all.find_first_not_of(' ', at);
        if (start < end && all.compare(start, key.size(), key) == 0) {
            return all.substr(start + key.size(), end - start - key.size());
        }
        at = end + 1;
    }
    return "";
}

void jsonAnswer(httplib::Response& res, int status, const Json::Value& body) {
    res.status = status;
    Json::StreamWriterBuilder w;
    w["indentation"] = "";
    w["emitUTF8"] = true;
    res.set_content(Json::writeString(w, body), "application/json");
}

void errorAnswer(httplib::Response& res, int status, const std::string& what) {
    Json::Value body;
    body["error"] = what;
    jsonAnswer(res, status, body);
}

/* The worker's answer as it stands: its status and body. */
void workerAnswer(httplib::Response& res, const Json::Value& answer) {
    jsonAnswer(res, answer["status"].asInt(), answer["body"]);
}

const char* contentTypeOf(const std::string& name) {
    static const std::pair<const char*, const char*> kTypes[] = {
        {".html", "text/html; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".mjs", "text/javascript; charset=utf-8"},
        {".json", "application/json"},
        {".svg", "image/svg+xml"},
        {".png", "image/png"},
        {".ico", "image/x-icon"},
        {".woff2", "font/woff2"},
        {".txt", "text/plain; charset=utf-8"},
    };
    for (const auto& t : kTypes) {
        size_t n = strlen(t.first);
        if (name.size() > n && name.compare(name.size() - n, n, t.first) == 0) return t.second;
    }
    return "application/octet-stream";
}

/* The decoded path of a raw request target; false for what could name a
 * file elsewhere: an encoded slash, backslash or NUL, a bad escape. */
bool targetPath(const std::string& target, std::string* pPath) {
    std::string raw = target.substr(0, target.find_first_of("?#"));
    std::string out;
    for (size_t i = 0; i < raw.size(); i++) {
        char c = raw[i];
        if (c == '%') {
            if (i + 2 >= raw.size() || !isxdigit((unsigned char)raw[i + 1]) ||
                !isxdigit((unsigned char)raw[i + 2])) {
                return false;
            }
            c = (char)std::stoi(raw.substr(i + 1, 2), nullptr, 16);
            if (c == '/' || c == '\\' || c == '\0') return false;
            i += 2;
        } else if (c == '\\') {
            return false;
        }
        out += c;
    }
    *pPath = out;
    return true;
}

/* Opens path below the folder dirFd one name at a time, following no link
 * and taking no "." or ".." or hidden name: nothing outside the folder can
 * be reached, whatever lies in it. -1 when it cannot. */
int fileOpenBelow(int dirFd, const std::string& path, std::string* pName) {
    std::vector<std::string> names;
    size_t at = 0;
    while (at <= path.size()) {
        size_t end = path.find('/', at);
        if (end == std::string::npos) end = path.size();
        std::string name = path.substr(at, end - at);
        if (!name.empty()) {
            if (name[0] == '.') return -1;
            names.push_back(name);
        }
        at = end + 1;
    }
    if (names.empty() || path.back() == '/') names.push_back("index.html");
    int fd = dup(dirFd);
    for (size_t i = 0; fd >= 0 && i < names.size(); i++) {
        int next = openat(fd, names[i].c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY);
        close(fd);
        fd = next;
        struct stat st;
        if (fd >= 0 && fstat(fd, &st) == 0 && S_ISDIR(st.st_mode) && i + 1 == names.size()) {
            // A folder named without its slash: its index.
            names.push_back("index.html");
        }
    }
    struct stat st;
    if (fd >= 0 && (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))) {
        close(fd);
        fd = -1;
    }
    *pName = names.back();
    return fd;
}

void staticServe(int wwwFd, const httplib::Request& req, httplib::Response& res) {
    std::string path, name;
    int fd = -1;
    if (wwwFd >= 0 && targetPath(req.target, &path)) fd = fileOpenBelow(wwwFd, path, &name);
    if (fd < 0) {
        res.status = 404;
        res.set_content("not found\n", "text/plain; charset=utf-8");
        return;
    }
    std::string text;
    char buf[65536];
    ssize_t n;
    while ((n = read(fd, buf, sizeof(buf))) > 0) text.append(buf, (size_t)n);
    close(fd);
    res.status = 200;
    res.set_content(text, contentTypeOf(name));
}

/* The data folder whose www/ holds the console: --data as given, or the
 * one "tarn init" would use. */
std::string wwwDirFind(const Args& args) {
    if (args.has("data")) return args.get("data") + "/www";
    try {
        return dataDirFind(args) + "/www";
    } catch (const UsageError&) {
        return "";
    }
}

/* A line a request leaves on stderr: no query, no header, no body, so no
 * token or password, and no control character that could forge a line. */
void accessLog(const httplib::Request& req, const httplib::Response& res) {
    std::string path = req.path.substr(0, 200);
    for (char& c : path) {
        if ((unsigned char)c < 0x20 || c == 0x7f) c = '?';
    }
    fprintf(stderr, "tarn serve: %s %s %d\n", req.method.c_str(), path.c_str(), res.status);
}

}  // namespace

int cmdServe(const Args& args) {
    Listen listen = listenParse(args.get("listen", kDefaultListen));
    size_t workers = args.has("workers")
                         ? (size_t)parseLongIn(args.get("workers"), "--workers", 1, 64)
                         : kWorkersDefault;
    int timeout = args.has("timeout") ? (int)parseLongIn(args.get("timeout"), "--timeout", 1, 3600)
                                      : kTimeoutDefault;
    std::string certPath = VUROSysPathStr(kServeCertPath);
    std::string keyPath = VUROSysPathStr(kServeKeyPath);
    for (const std::string& p : {certPath, keyPath}) {
        int fd = p.empty() ? -1 : open(p.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            throw OpFailure{
                "cannot read " +
                    (p.empty() ? std::string("the certificate (outside the root)") : p) + ": " +
                    strerror(errno) + " (\"tarn init\" makes it)",
                "", 1};
        }
        close(fd);
    }
    std::string www = wwwDirFind(args);
    int wwwFd = www.empty() ? -1 : open(www.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (wwwFd < 0) {
        fprintf(
            stderr, "tarn serve: no console files: %s\n",
            www.empty() ? "no data folder found (--data DIR)" : (www + " is no folder").c_str());
    }

    // The stop signals are taken by one thread; every other thread,
    // including httplib's, is made with them blocked.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    httplib::SSLServer svr(certPath.c_str(), keyPath.c_str());
    if (!svr.is_valid()) {
        throw OpFailure{"the certificate " + certPath + " or its key " + keyPath + " is not usable",
                        "", 1};
    }
    WorkerPool pool(workers, kQueueMax, timeout);
    // A connection thread for each worker and each waiting request, and
    // some to spare: those serve files and tell the requests beyond the
    // queue 503 instead of leaving them unseen in httplib's own queue.
    // Every kept-alive client holds one while it lasts.
    size_t threads = workers + kQueueMax + kThreadsSpare;
    svr.new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
    svr.set_payload_max_length(kBodyMax);
    svr.set_tcp_nodelay(true);
    // A console or a fetching client sends many requests; a TLS handshake
    // every fifth (httplib's default) would cost more than most of them.
    // The idle time-out still frees the thread of a client that went quiet.
    svr.set_keep_alive_max_count(1000);
    svr.set_default_headers({
        {"Content-Security-Policy", "default-src 'self'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-store"},
    });
    svr.set_logger(accessLog);
    svr.set_exception_handler([](const httplib::Request&, httplib::Response& res,
                                 std::exception_ptr) { errorAnswer(res, 500, "internal error"); });
    // The statuses httplib answers by itself get a body that says why.
    svr.set_error_handler(
        httplib::Server::HandlerWithResponse([](const httplib::Request&, httplib::Response& res) {
            if (!res.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
            const char* what = res.status == 413   ? "the body is larger than 1 MiB"
                               : res.status == 404 ? "not found"
                               : res.status == 400 ? "bad request"
                                                   : "refused";
            errorAnswer(res, res.status, what);
            return httplib::Server::HandlerResponse::Handled;
        }));

    SignInThrottle throttle;
    svr.Post("/api/signin", [&](const httplib::Request& req, httplib::Response& res) {
        // Another site's form can post text, never JSON without asking
        // first: it cannot sign a browser in to an account of its choosing.
        if (req.get_header_value("Content-Type").find("application/json") != 0) {
            errorAnswer(res, 415, "sign-in takes Content-Type: application/json");
            return;
        }
        Json::Value body;
        if (!vurojson::fromString(body, req.body) || !body.isObject() || !body["user"].isString() ||
            !body["password"].isString() || body["user"].asString().empty() ||
            body["password"].asString().empty()) {
            errorAnswer(res, 400, "the body is {\"user\": NAME, \"password\": TEXT}");
            return;
        }
        std::string user = body["user"].asString();
        int wait = throttle.begin(user);
        if (wait > 0) {
            Json::Value answer;
            answer["error"] = "too many failed sign-ins of this account; try again later";
            answer["retry_after"] = wait;
            res.set_header("Retry-After", std::to_string(wait));
            jsonAnswer(res, 429, answer);
            return;
        }
        Json::Value request;
        request["op"] = "signin";
        request["user"] = user;
        request["password"] = body["password"];
        Json::Value answer = pool.call(request);
        throttle.end(user, answer["status"].asInt() == 401);
        if (answer["status"].asInt() == 200) {
            res.set_header("Set-Cookie", std::string(kCookie) + "=" + answer["sid"].asString() +
                                             kCookieAttributes);
        }
        workerAnswer(res, answer);
    });
    svr.Get("/api/session", [&](const httplib::Request& req, httplib::Response& res) {
        Json::Value request;
        request["op"] = "session";
        request["sid"] = sessionCookie(req);
        workerAnswer(res, pool.call(request));
    });
    svr.Post("/api/signout", [&](const httplib::Request& req, httplib::Response& res) {
        Json::Value request;
        request["op"] = "signout";
        request["sid"] = sessionCookie(req);
        request["csrf"] = req.get_header_value("X-CSRF-Token");
        Json::Value answer = pool.call(request);
        if (answer["status"].asInt() == 200) {
            res.set_header("Set-Cookie",
                           std::string(kCookie) + "=" + kCookieAttributes + "; Max-Age=0");
        }
        workerAnswer(res, answer);
    });
    svr.Post("/api/(.+)", [&](const httplib::Request& req, httplib::Response& res) {
        std::string sid = sessionCookie(req);
        // No worker's time for a request that cannot be signed in.
        if (sid.empty()) {
            errorAnswer(res, 401, "not signed in (or the session has ended)");
            return;
        }
        Json::Value request;
        request["op"] = "api";
        request["sid"] = sid;
        request["csrf"] = req.get_header_value("X-CSRF-Token");
        request["command"] = req.matches[1].str();
        request["body"] = req.body;
        workerAnswer(res, pool.call(request));
    });
    svr.Post("/webapi/entry.cgi", [&](const httplib::Request& req, httplib::Response& res) {
        Json::Value fields(Json::objectValue);
        // Form fields (query and body) as managed servers send them, or a
        // JSON object of the same fields.
        for (const auto& p : req.params) fields[p.first] = p.second;
        if (req.get_header_value("Content-Type").find("application/json") == 0) {
            Json::Value body;
            if (!vurojson::fromString(body, req.body) || !body.isObject()) {
                errorAnswer(res, 400, "the body is not a JSON object");
                return;
            }
            for (const std::string& key : body.getMemberNames()) {
                const Json::Value& v = body[key];
                fields[key] = v.isString() ? v.asString() : vurojson::toString(v);
            }
        }
        Json::Value request;
        request["op"] = "webapi";
        request["fields"] = fields;
        workerAnswer(res, pool.call(request));
    });
    auto notHere = [](const httplib::Request&, httplib::Response& res) {
        errorAnswer(res, 405, "the service takes GET for files and POST for its API");
    };
    svr.Put("/.*", notHere);
    svr.Patch("/.*", notHere);
    svr.Delete("/.*", notHere);
    svr.Get("/(.*)", [&](const httplib::Request& req, httplib::Response& res) {
        if (req.path.rfind("/api/", 0) == 0 || req.path.rfind("/webapi/", 0) == 0) {
            errorAnswer(res, 405, "this address takes POST");
            return;
        }
        staticServe(wwwFd, req, res);
    });

    std::string why;
    bool bound = listen.port == 0 ? (listen.port = svr.bind_to_any_port(listen.host)) > 0
                                  : svr.bind_to_port(listen.host, listen.port);
    if (!bound) {
        int err = errno;
        throw OpFailure{"cannot listen on " + args.get("listen", kDefaultListen) + ": " +
                            (err == EADDRINUSE ? "the port is taken" : strerror(err)),
                        "", 1};
    }
    if (!pool.start(&why)) {
        pool.stop();
        throw OpFailure{why, "", 1};
    }

    std::atomic<bool> served{false};
    std::thread stopper([&] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        pool.interrupt();
        // stop() before the listen loop runs would be lost: repeat it.
        while (!served) {
            svr.stop();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    Json::Value ready;
    bool v6 = listen.host.find(':') != std::string::npos;
    ready["listen"] =
        (v6 ? "[" + listen.host + "]" : listen.host) + ":" + std::to_string(listen.port);
    ready["workers"] = (Json::UInt64)workers;
    ready["www"] = www;
    printJson(ready);
    fflush(stdout);

    svr.listen_after_bind();
    served = true;
    pthread_kill(stopper.native_handle(), SIGTERM);
    stopper.join();
    pool.stop();
    if (wwwFd >= 0) close(wwwFd);
    return 0;
}

}  // namespace tarncli
