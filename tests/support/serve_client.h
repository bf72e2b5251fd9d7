/* serve_client.h - "tarn serve" in a test: started on a free loopback port
 * in the test's root, spoken to over HTTPS with libcurl, stopped with
 * SIGTERM and reaped with a deadline. */
#ifndef TARN_SERVE_CLIENT_H
#define TARN_SERVE_CLIENT_H

#include <json/json.h>
#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace tarntest {

/* A port of 127.0.0.1 that was free a moment ago. */
int loopbackPortFree();

struct HttpReply {
    int status = -1;  // -1: no answer
    std::string body;
    std::map<std::string, std::string> headers;  // names in lower case
    Json::Value json;                            // the body parsed, null when it is no JSON
    std::string header(const std::string& name) const {
        auto it = headers.find(name);
        return it == headers.end() ? "" : it->second;
    }
};

/* One HTTPS exchange with 127.0.0.1:port (never another host). The
 * certificate is not checked: each test root makes its own. */
HttpReply httpsCall(int port, const std::string& method, const std::string& target,
                    const std::vector<std::string>& headers = {}, const std::string& body = "",
                    long timeoutMs = 30000);

class ServeProcess {
public:
    ~ServeProcess() { stop(); }
    /* Starts "tarn --root ROOT serve --listen 127.0.0.1:<free port>" with
     * more options, and waits for its ready line. False when it exited or
     * stayed silent; *pErr then holds what it wrote on stderr. */
    bool start(const std::string& root, const std::vector<std::string>& options = {},
               std::string* pErr = nullptr);
    /* SIGTERM, then its exit status within ms (-1 killed or ran over). */
    int stop(int ms = 10000);
    /* What it wrote on stderr so far (all of it, once stopped). */
    std::string errText() const;
    pid_t pid() const { return pid_; }
    int port() const { return port_; }

    HttpReply call(const std::string& method, const std::string& target,
                   const std::vector<std::string>& headers = {}, const std::string& body = "",
                   long timeoutMs = 30000) const {
        return httpsCall(port_, method, target, headers, body, timeoutMs);
    }

private:
    pid_t pid_ = -1;
    int port_ = 0;
    std::string errPath_;
    std::string errKept_;
};

/* A signed-in console: the session cookie and its CSRF token. */
struct ConsoleSession {
    std::string sid;
    std::string csrf;
    HttpReply reply;  // the sign-in's answer
    std::vector<std::string> headers() const {
        return {"Cookie: tarn_sid=" + sid, "X-CSRF-Token: " + csrf,
                "Content-Type: application/json"};
    }
};
/* Signs in; the secrets (password, session id, token) are noted for the
 * leak check. sid stays empty when the sign-in failed. */
ConsoleSession consoleSignIn(const ServeProcess& server, const std::string& user,
                             const std::string& password);
/* POST /api/<words> with the session's cookie and token and a JSON body. */
HttpReply apiPost(const ServeProcess& server, const ConsoleSession& s, const std::string& words,
                  const Json::Value& body = Json::Value(Json::objectValue));

}  // namespace tarntest

#endif
