/* serve_client.cpp - "tarn serve" as a child of the test, and its HTTPS
 * client on libcurl. */
#include <arpa/inet.h>
#include <curl/curl.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vurojson.h>

#include <mutex>

#include "serve_client.h"
#include "tarn_test.h"

namespace tarntest {

int loopbackPortFree() {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    struct sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(addr);
    int port = -1;
    if (bind(fd, (struct sockaddr*)&addr, sizeof(addr)) == 0 &&
        getsockname(fd, (struct sockaddr*)&addr, &len) == 0) {
        port = ntohs(addr.sin_port);
    }
    close(fd);
    return port;
}

namespace {

size_t bodyTake(char* p, size_t size, size_t n, void* user) {
    static_cast<std::string*>(user)->append(p, size * n);
    return size * n;
}

size_t headerTake(char* p, size_t size, size_t n, void* user) {
    std::string line(p, size * n);
    size_t colon = line.find(':');
    if (colon != std::string::npos) {
        std::string name = line.substr(0, colon);
        for (char& c : name) c = (char)tolower((unsigned char)c);
        std::string value = line.substr(colon + 1);
        value.erase(0, value.find_first_not_of(' '));
        while (!value.empty() && (value.back() == '\r' || value.back() == '\n')) value.pop_back();
        (*static_cast<std::map<std::string, std::string>*>(user))[name] = value;
    }
    return size * n;
}

}  // namespace

HttpReply httpsCall(int port, const std::string& method, const std::string& target,
                    const std::vector<std::string>& headers, const std::string& body,
                    long timeoutMs) {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    HttpReply reply;
    CURL* curl = curl_easy_init();
    if (curl == nullptr) return reply;
    std::string url = "https://127.0.0.1:" + std::to_string(port) + target;
    struct curl_slist* list = nullptr;
    for (const std::string& h : headers) list = curl_slist_append(list, h.c_str());
    // A large body goes at once, without waiting for "100 Continue".
    list = curl_slist_append(list, "Expect:");
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
    // The target as written: ".." and escapes must reach the server.
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, timeoutMs);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, bodyTake);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, headerTake);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply.headers);
    if (method == "POST" || !body.empty()) {
        curl_easy_setopt(curl, CURLOPT_POST, 1L);
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, (curl_off_t)body.size());
    }
    if (method != "GET" && method != "POST") {
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    }
    if (curl_easy_perform(curl) == CURLE_OK) {
        long code = 0;
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &code);
        reply.status = (int)code;
        if (!vurojson::fromString(reply.json, reply.body)) reply.json = Json::Value();
    }
    curl_slist_free_all(list);
    curl_easy_cleanup(curl);
    return reply;
}

bool ServeProcess::start(const std::string& root, const std::vector<std::string>& options,
                         std::string* pErr) {
    for (int attempt = 0; attempt < 3; attempt++) {
        port_ = loopbackPortFree();
        char errPath[] = "/tmp/tarn-serve-XXXXXX";
        int errFd = mkstemp(errPath);
        int out[2];
        if (errFd < 0 || pipe2(out, O_CLOEXEC) != 0) return false;
        errPath_ = errPath;
        std::vector<std::string> argv = {TARN_CLI_PATH, "--root",
                                         root,          "serve",
                                         "--listen",    "127.0.0.1:" + std::to_string(port_)};
        argv.insert(argv.end(), options.begin(), options.end());
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], 1);
            dup2(errFd, 2);
            std::vector<char*> args;
            for (const std::string& a : argv) args.push_back((char*)a.c_str());
            args.push_back(nullptr);
            execv(args[0], args.data());
            _exit(127);
        }
        close(out[1]);
        close(errFd);
        // The ready line is a JSON object; its end is a "}" line.
        std::string said;
        double deadline = now() + 30;
        while (said.find("\n}") == std::string::npos && now() < deadline) {
            struct pollfd p = {out[0], POLLIN, 0};
            if (poll(&p, 1, 100) <= 0) continue;
            char buf[512];
            ssize_t n = read(out[0], buf, sizeof(buf));
            if (n <= 0) break;
            said.append(buf, (size_t)n);
        }
        close(out[0]);
        if (said.find("\n}") != std::string::npos) return true;
        int rc = stop(5000);
        if (pErr) *pErr = errKept_;
        // Only a port taken between the look and the bind is tried again.
        if (rc != 1 || errKept_.find("port is taken") == std::string::npos) break;
    }
    return false;
}

std::string ServeProcess::errText() const { return pid_ > 0 ? readFile(errPath_) : errKept_; }

int ServeProcess::stop(int ms) {
    if (pid_ <= 0) return -1;
    kill(pid_, SIGTERM);
    int rc = reapWithin(pid_, ms);
    pid_ = -1;
    errKept_ = readFile(errPath_);
    // The secrets check reads what it wrote, as it reads every program's.
    programOutputs() += errKept_ + "\n";
    unlink(errPath_.c_str());
    return rc;
}

ConsoleSession consoleSignIn(const ServeProcess& server, const std::string& user,
                             const std::string& password) {
    secretNote(password);
    Json::Value body;
    body["user"] = user;
    body["password"] = password;
    ConsoleSession s;
    s.reply = server.call("POST", "/api/signin", {"Content-Type: application/json"},
                          vurojson::toString(body));
    std::string cookie = s.reply.header("set-cookie");
    const std::string key = "tarn_sid=";
    if (s.reply.status == 200 && cookie.rfind(key, 0) == 0) {
        s.sid = cookie.substr(key.size(), cookie.find(';') - key.size());
        s.csrf = s.reply.json["csrf"].asString();
        secretNote(s.sid);
        secretNote(s.csrf);
    }
    return s;
}

HttpReply apiPost(const ServeProcess& server, const ConsoleSession& s, const std::string& words,
                  const Json::Value& body) {
    return server.call("POST", "/api/" + words, s.headers(), vurojson::toString(body));
}

}  // namespace tarntest
