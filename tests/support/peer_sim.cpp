/* peer_sim.cpp - the start-and-control client of the peer simulator: fork
 * and exec with a pipe on each of its standard input and output, the ready
 * line, and small HTTP exchanges with its control port over loopback. */
#include "peer_sim.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "vurocore.h"
#include "vurojson.h"

namespace tarntest {

namespace {

long long nowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

// Waits until fd is ready for events or the deadline passes.
bool waitFd(int fd, short events, long long deadline) {
    for (;;) {
        long long left = deadline - nowMs();
        if (left <= 0) return false;
        struct pollfd p = {fd, events, 0};
        int rc = poll(&p, 1, (int)left);
        if (rc > 0) return true;
        if (rc < 0 && errno != EINTR) return false;
    }
}

bool parseJson(const std::string& text, Json::Value* pOut) {
    return vurojson::fromString(*pOut, text);
}

std::string compact(const Json::Value& v) { return vurojson::toString(v); }

struct FdHolder {
    int fd = -1;
    ~FdHolder() {
        if (fd >= 0) close(fd);
    }
};

}  // namespace

int loopbackHttp(int port, const std::string& method, const std::string& target,
                 const std::vector<std::string>& headers, const std::string& body,
                 std::string* pBody, int timeoutMs) {
    if (port <= 0 || port > 65535) return -1;
    long long deadline = nowMs() + timeoutMs;
    FdHolder s;
    s.fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (s.fd < 0) return -1;
    struct sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons((uint16_t)port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // Loopback by construction; the guard is asked all the same, as every
    // sender of this system does.
    if (VURONetDestinationCheck((struct sockaddr*)&addr, sizeof(addr)) != 0) return -1;
    if (connect(s.fd, (struct sockaddr*)&addr, sizeof(addr)) != 0 && errno != EINPROGRESS) {
        return -1;
    }
    if (!waitFd(s.fd, POLLOUT, deadline)) return -1;
    int soErr = 0;
    socklen_t len = sizeof(soErr);
    if (getsockopt(s.fd, SOL_SOCKET, SO_ERROR, &soErr, &len) != 0 || soErr != 0) return -1;

    std::string req = method + " " + target +
                      " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                      "\r\nConnection: close\r\n";
    for (const std::string& h : headers) req += h + "\r\n";
    if (!body.empty() || method == "POST") {
        bool typed = false;
        for (const std::string& h : headers) {
            if (strncasecmp(h.c_str(), "Content-Type:", 13) == 0) typed = true;
        }
        if (!typed) req += "Content-Type: application/json\r\n";
        req += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    req += "\r\n" + body;
    size_t sent = 0;
    while (sent < req.size()) {
        if (!waitFd(s.fd, POLLOUT, deadline)) return -1;
        ssize_t n = send(s.fd, req.data() + sent, req.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno != EINTR && errno != EAGAIN) return -1;
        if (n > 0) sent += (size_t)n;
    }

    // Read to the end: the far side closes after one answer.
    std::string in;
    char buf[16384];
    for (;;) {
        if (!waitFd(s.fd, POLLIN, deadline)) return -1;
        ssize_t n = recv(s.fd, buf, sizeof(buf), 0);
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            if (in.empty()) return -1;
            break;
        }
        in.append(buf, (size_t)n);
    }
    size_t headEnd = in.find("\r\n\r\n");
    int status = 0;
    if (headEnd == std::string::npos || sscanf(in.c_str(), "HTTP/%*d.%*d %d", &status) != 1) {
        return -1;
    }
    std::string payload = in.substr(headEnd + 4);
    // The control API answers with a length; a chunked answer is not expected.
    if (pBody) *pBody = payload;
    return status;
}

int PeerSimControl::exchange(const std::string& method, const std::string& target,
                             const Json::Value& body, Json::Value* pOut) {
    std::string text;
    int status = loopbackHttp(port_, method, target, {},
                              body.isNull() ? std::string() : compact(body), &text);
    if (status < 0) {
        error_ = "simulator unreachable on port " + std::to_string(port_);
        return -1;
    }
    Json::Value answer;
    if (!parseJson(text, &answer)) {
        error_ = "control answer is no JSON: " + text.substr(0, 200);
        return status;
    }
    if (pOut) *pOut = answer;
    return status;
}

bool PeerSimControl::post(const std::string& target, const Json::Value& body, Json::Value* pData) {
    Json::Value answer;
    int status = exchange("POST", target, body, &answer);
    if (status < 0) return false;
    if (status != 200 || !answer.isObject() || !answer["success"].asBool()) {
        error_ = "control refused " + target + ": " + compact(answer);
        return false;
    }
    if (pData) *pData = answer["data"];
    return true;
}

bool PeerSimControl::setMode(const std::string& server, const Json::Value& modes) {
    Json::Value body;
    body["server"] = server;
    body["modes"] = modes;
    return post("/_sim/mode", body);
}

bool PeerSimControl::clearMode(const std::string& server) {
    Json::Value body;
    body["server"] = server;
    body["clear"] = true;
    return post("/_sim/mode", body);
}

Json::Value PeerSimControl::mode(const std::string& server) {
    Json::Value body, data;
    body["server"] = server;
    body["modes"] = Json::objectValue;
    if (!post("/_sim/mode", body, &data)) return Json::Value();
    return data["modes"];
}

bool PeerSimControl::setRelay(const std::string& id, const Json::Value& answer) {
    Json::Value body;
    body["id"] = id;
    body["answer"] = answer;
    return post("/_sim/relay", body);
}

bool PeerSimControl::setRelay(const std::string& id, const std::string& host,
                              const std::string& protocol, int port) {
    Json::Value answer;
    answer["host"] = host;
    answer["protocol"] = protocol;
    answer["port"] = port;
    return setRelay(id, answer);
}

bool PeerSimControl::removeRelay(const std::string& id) {
    Json::Value body;
    body["id"] = id;
    body["remove"] = true;
    return post("/_sim/relay", body);
}

bool PeerSimControl::setRelayRaw(const std::string& id, const Json::Value& raw) {
    Json::Value body;
    body["id"] = id;
    body["raw"] = raw;
    return post("/_sim/relay", body);
}

Json::Value PeerSimControl::record(int server, const std::string& kind, long long sinceSeq) {
    Json::Value body, data;
    if (server >= 0) body["server"] = server;
    if (!kind.empty()) body["kind"] = kind;
    if (sinceSeq > 0) body["since"] = (Json::Int64)sinceSeq;
    if (body.isNull()) body = Json::objectValue;
    if (!post("/_sim/record", body, &data)) return Json::Value();
    return data;
}

Json::Value PeerSimControl::entries(int server, const std::string& kind, long long sinceSeq) {
    Json::Value data = record(server, kind, sinceSeq);
    return data.isObject() ? data["record"] : Json::Value(Json::arrayValue);
}

Json::Value PeerSimControl::scout(const std::string& server, const Json::Value& set) {
    Json::Value body, data;
    body["server"] = server;
    body["set"] = set;
    if (!post("/_sim/scout", body, &data)) return Json::Value();
    return data;
}

bool PeerSimControl::reset(bool modes, bool relay) {
    Json::Value body;
    body["modes"] = modes;
    body["relay"] = relay;
    return post("/_sim/reset", body);
}

Json::Value PeerSimControl::fetches() {
    Json::Value data;
    return post("/_sim/fetches", Json::objectValue, &data) ? data : Json::Value();
}

Json::Value PeerSimControl::fetchBack(const Json::Value& set) {
    Json::Value data;
    return post("/_sim/fetch_back", set, &data) ? data : Json::Value();
}

bool PeerSimControl::stop() { return post("/_sim/stop", Json::objectValue); }

PeerSim::~PeerSim() { finish(); }

bool PeerSim::start(const PeerSimOptions& options) {
    if (running()) {
        error_ = "already running";
        return false;
    }
    std::string program = options.program;
#ifdef TARN_PEER_SIM_PATH
    if (program.empty()) program = TARN_PEER_SIM_PATH;
#endif
    if (program.empty()) {
        error_ = "no simulator program";
        return false;
    }
    std::string root = options.root;
    if (root.empty() && getenv("VURO_SYSROOT") != nullptr) root = getenv("VURO_SYSROOT");
    if (root.empty()) {
        error_ = "no system root";
        return false;
    }
    std::vector<std::string> args = {program, "--root", root};
    if (!options.fleetFile.empty()) {
        args.insert(args.end(), {"--fleet", options.fleetFile});
    } else {
        args.insert(args.end(), {"--peers", std::to_string(options.peers)});
    }
    if (options.relay) args.push_back("--relay");
    if (options.scout) args.push_back("--scout");
    if (options.wol) args.push_back("--wol");
    args.insert(args.end(), options.extraArgs.begin(), options.extraArgs.end());
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);

    // Close-on-exec, so no other child of this process holds the
    // simulator's standard input open after this process is gone.
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0) {
        error_ = strerror(errno);
        return false;
    }
    if (pipe2(out, O_CLOEXEC) != 0) {
        error_ = strerror(errno);
        close(in[0]);
        close(in[1]);
        return false;
    }
    pid_t pid = fork();
    if (pid < 0) {
        error_ = strerror(errno);
        for (int fd : {in[0], in[1], out[0], out[1]}) close(fd);
        return false;
    }
    if (pid == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    pid_ = pid;
    stdinFd_ = in[1];
    FdHolder readEnd;
    readEnd.fd = out[0];

    // The ready line; the simulator writes nothing else there.
    std::string line;
    long long deadline = nowMs() + options.readyTimeoutMs;
    char c;
    while (line.find('\n') == std::string::npos) {
        if (!waitFd(readEnd.fd, POLLIN, deadline)) {
            error_ = "no ready line within " + std::to_string(options.readyTimeoutMs) + " ms";
            finish();
            return false;
        }
        ssize_t n = read(readEnd.fd, &c, 1);
        if (n <= 0) {
            if (n < 0 && errno == EINTR) continue;
            error_ = "simulator ended before it was ready";
            finish();
            return false;
        }
        line += c;
    }
    if (!parseJson(line, &ready_) || !ready_.isObject() || !ready_["control_port"].isInt()) {
        error_ = "bad ready line: " + line;
        finish();
        return false;
    }
    port_ = ready_["control_port"].asInt();
    std::ifstream f(ready_["fleet"].asString());
    std::stringstream ss;
    ss << f.rdbuf();
    if (!parseJson(ss.str(), &fleet_) || !fleet_.isArray()) {
        error_ = "cannot read " + ready_["fleet"].asString();
        finish();
        return false;
    }
    for (const Json::Value& server : fleet_) {
        if (server["access_token"].isString()) {
            tokensHandedOut().push_back(server["access_token"].asString());
        }
    }
    return true;
}

std::vector<std::string>& PeerSim::tokensHandedOut() {
    static std::vector<std::string> tokens;
    return tokens;
}

int PeerSim::finish() {
    if (pid_ <= 0) return -1;
    if (stdinFd_ >= 0) {
        close(stdinFd_);
        stdinFd_ = -1;
    }
    // It leaves at end of input; a stuck one is made to.
    int status = 0;
    pid_t got = 0;
    long long deadline = nowMs() + 3000;
    int signalSent = 0;
    for (;;) {
        got = waitpid(pid_, &status, WNOHANG);
        if (got == pid_ || (got < 0 && errno != EINTR)) break;
        if (nowMs() >= deadline) {
            signalSent = signalSent == 0 ? SIGTERM : SIGKILL;
            kill(pid_, signalSent);
            deadline = nowMs() + 2000;
            if (signalSent == SIGKILL) {
                waitpid(pid_, &status, 0);
                got = pid_;
                break;
            }
        }
        usleep(5000);
    }
    pid_ = -1;
    port_ = 0;
    if (got <= 0) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace tarntest
