/* sim.h - the inside of the peer simulator: the servers it plays, their
 * modes, the record of every exchange, the TLS material, and the network
 * frame (listeners, task pools, connections) that feeds cpp-httplib. */
#ifndef TARN_PEER_SIM_SIM_H
#define TARN_PEER_SIM_SIM_H

#include <json/json.h>
#include <openssl/ssl.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "vurojson.h"

namespace httplib {
class Stream;
class Server;
struct Response;
}  // namespace httplib

namespace peersim {

/* What a server does wrong on purpose; all off by default. */
struct Modes {
    bool refuseHttps = false;
    bool refuseHttp = false;
    bool foreignCert = false;
    bool failDiscovery = false;
    bool closeAfterDiscovery = false;  // HTTPS: answer discovery, drop every call
    bool hang = false;                 // calls are never answered
    bool notJson = false;
    bool tamper = false;      // one byte of a sealed answer changed
    bool noSuccess = false;   // a JSON answer without its success member
    bool noHostname = false;  // end_join confirmed without data.hostname
    bool garbled = false;     // a text that is no JSON, sealed when the call was
    // Hostile answers (sim_hostile.cpp); the delivery modes spoil call answers only.
    bool plainOnHttps = false;    // the HTTPS port speaks plain HTTP
    bool wrongNameCert = false;   // a certificate of the trusted CA for another name
    bool redirect = false;        // calls are sent on to the trap port with a 307
    bool endless = false;         // a chunked answer that never ends
    bool cutAnswer = false;       // half the answer, then the connection is cut
    long long dripMs = 0;         // the answer goes out one byte every dripMs
    bool spoilDiscovery = false;  // the three above spoil discovery answers too
    bool hasDiscoveryAnswer = false;
    Json::Value discoveryAnswer;  // discovery answers this as it stands
    bool hasCallAnswer = false;
    Json::Value callAnswer;  // replaces a call's answer, sealed when the call was
    long long delayMs = 0;
    int failCode = 0;  // answer success false with this code
    std::set<std::string> dropApi;
    std::set<std::string> formApi;

    Json::Value toJson() const;
    /* Merges the members of js; false with *pWhy for an unknown member or
     * a value of the wrong kind (nothing is changed then). */
    bool merge(const Json::Value& js, std::string* pWhy);
};

struct Server {
    int index = 0;
    std::string sn, hostname, model, kelpVersion, token, keyId, relayId;
    long long buildNumber = 0;
    bool relayOnly = false;  // publishes no HTTP port and refuses HTTPS, whatever the modes
    int httpPort = 0, httpsPort = 0;

    std::mutex mu;  // guards modes
    Modes modes;
    Modes snapshot() {
        std::lock_guard<std::mutex> lock(mu);
        return modes;
    }
};

/* Every exchange, in order of arrival; bounded, oldest first out. */
class Record {
public:
    explicit Record(size_t limit) : limit_(limit) {}
    void setLimit(size_t limit) {
        std::lock_guard<std::mutex> lock(mu_);
        limit_ = limit;
    }
    /* Stamps seq and time and keeps a copy; the seq. */
    long long add(Json::Value entry);
    /* A kept entry changed after the fact (its outcome). */
    void update(long long seq, const std::string& key, const Json::Value& value);
    Json::Value query(int server, const std::string& kind, long long since);
    void clear();

    /* Calls being answered now, and the most there were at once. */
    int callBegin();
    void callEnd();

private:
    std::mutex mu_;
    std::deque<Json::Value> entries_;
    size_t limit_;
    long long nextSeq_ = 1;
    long long dropped_ = 0;
    int inFlight_ = 0;
    int maxInFlight_ = 0;
};

/* Server certificates: one signed by the root's CA, one by a stranger. */
struct Tls {
    SSL_CTX* trusted = nullptr;
    SSL_CTX* foreign = nullptr;
    SSL_CTX* wrongName = nullptr;  // our CA's, but for another name than 127.0.0.1
};
/* Loads or makes the CA and server certificate below the root and adds
 * the CA to the root's CA file; false with *pWhy. */
bool tlsSetup(Tls* pTls, std::string* pWhy);

/* A bounded set of workers started on demand; idle ones leave. One pool per
 * server, so a server that hangs holds up only its own work. */
class TaskPool {
public:
    explicit TaskPool(size_t maxWorkers) : max_(maxWorkers) {}
    void enqueue(std::function<void()> fn);

private:
    void work();
    std::mutex mu_;
    std::condition_variable cv_;
    std::deque<std::function<void()>> jobs_;
    size_t max_;
    size_t workers_ = 0;
    size_t idle_ = 0;
};

enum class Role { Http, Https, Control, Relay, Trap };

/* How long a connection may idle between requests, and how many it may
 * carry; the routers announce the same in their Keep-Alive header. */
const int kKeepAliveSeconds = 5;
const int kRequestsPerConnection = 100;

/* One listening socket and what it plays. */
struct Endpoint {
    int fd = -1;
    int port = 0;
    Role role = Role::Http;
    Server* server = nullptr;  // null for control and relay
    TaskPool* pool = nullptr;
};

/* The connection a worker is serving, for the handlers of this thread. */
struct Conn {
    int fd = -1;
    SSL* ssl = nullptr;
    const Endpoint* ep = nullptr;
    bool closeAfter = false;  // end the connection after this answer
    bool dropped = false;     // the handler cut it: write nothing more
};
Conn* currentConn();
/* Cuts the current connection without an answer. */
void connDrop();
/* Waits ms (-1: until still() turns false); false as soon as the client
 * closed or sent more, true when the wait ran out or still() ended. */
bool connHold(long long ms, const std::function<bool()>& still);

/* The whole simulator. */
struct Sim {
    std::vector<std::unique_ptr<Server>> servers;
    std::vector<std::unique_ptr<TaskPool>> pools;
    std::vector<Endpoint> endpoints;
    Record record{100000};
    Tls tls;
    bool relay = false;
    std::mutex relayMu;
    Json::Value relayTable{Json::objectValue};    // id -> answer data
    Json::Value relayInitial{Json::objectValue};  // what a reset goes back to
    Json::Value relayRaw{Json::objectValue};      // id -> whole answer, any JSON
    int trapPort = 0;                             // where "redirect" points

    Server* find(const std::string& key);  // index or serial
};
Sim& sim();

/* Binds a loopback listener on a free port; the endpoint, or fd -1. */
Endpoint listenLoopback(Role role, Server* server, TaskPool* pool, std::string* pWhy);
/* Accepts on every endpoint forever, handing connections to their pools. */
void acceptLoop();
/* The routes of each role; set up once before the first connection. */
void handlersInstall();
/* Serves one accepted connection until it ends. */
void connServe(int fd, const Endpoint* ep);
/* Reads and answers one request of the role's routes; false when the
 * connection is to end (cpp-httplib's own keep-alive contract). */
bool requestServe(Role role, httplib::Stream& stream, bool last, bool& closed);

/* Discovery and wake (sim_scout.cpp): opens the UDP responder and the wake
 * listener asked for and points the root's scout.conf and wol.conf at
 * them; false with *pWhy. Then the ports for the ready line, the MACs of a
 * fleet entry and the control route /_sim/scout. */
bool scoutStart(bool scout, bool wol, std::string* pWhy);
void scoutDescribe(Json::Value& ready);
void scoutFleetEntry(const Server& sv, Json::Value& e);
void scoutControlInstall(httplib::Server& control);
/* sim_join.cpp: the count of fetches answered, cheap to poll while a
 * notice fans out. The call handler passes each answer through it. */
void joinControlInstall(httplib::Server& control);
void joinFetchCount(const Server& sv, const std::string& api, const Json::Value& answer);
void joinReset();

/* sim_hostile.cpp: the trap that a redirect points at (it records what
 * reached it and answers success), the redirect itself (true when the call
 * was answered so), and the delivery of an answer text under the modes
 * drip_ms, endless and cut_answer (set_content when none is on). */
bool trapRequestServe(httplib::Stream& stream, bool last, bool& closed);
/* cpp-httplib writes an answer of a content provider only while its server
 * socket is valid, and our routers never listen: each takes this one. */
int routerSocket();
bool hostileRedirect(const Modes& m, const std::string& path, Json::Value& e,
                     httplib::Response& res);
void hostileDeliver(const Modes& m, long long seq, const std::string& text, const char* type,
                    httplib::Response& res);

/* Compact JSON text, and text parsed (false when it is no JSON). */
inline std::string jsonText(const Json::Value& v) { return vurojson::toString(v); }
/* A control endpoint's answer: {"success":true,"data":...}, or 400 with
 * {"success":false,"error":{"code":101,"reason":...}}. */
void controlAnswer(httplib::Response& res, bool ok, const Json::Value& dataOrWhy);
inline bool jsonParse(const std::string& text, Json::Value* pOut) {
    return vurojson::fromString(*pOut, text);
}

}  // namespace peersim

#endif
