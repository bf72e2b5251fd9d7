/* peer_sim.h - starts the peer simulator (tarn-peer-sim) as a child in a
 * system root and drives it through its control port. Free of any test
 * framework, so tests, benchmarks and the simulator's own "ctl" share it. */
#ifndef TARN_PEER_SIM_H
#define TARN_PEER_SIM_H

#include <json/json.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace tarntest {

/* One HTTP/1.1 exchange with 127.0.0.1:port (never another host), the
 * connection closed afterwards. Headers are "Name: value" lines without
 * line ends. The status code, or -1 when no answer came within timeoutMs;
 * the body of the answer goes to *pBody. */
int loopbackHttp(int port, const std::string& method, const std::string& target,
                 const std::vector<std::string>& headers, const std::string& body,
                 std::string* pBody, int timeoutMs = 10000);

/* The control API of a running simulator. Every call answers false (or a
 * null value) when the simulator refused or could not be reached; the
 * reason is then in error(). */
class PeerSimControl {
public:
    explicit PeerSimControl(int port = 0) : port_(port) {}

    int port() const { return port_; }
    const std::string& error() const { return error_; }

    /* Merges modes into a server's modes (server: fleet index, serial, or
     * "all"). Keys: refuse_https, refuse_http, foreign_cert, fail_discovery,
     * close_after_discovery, hang, not_json, tamper, no_success (booleans), delay_ms,
     * fail_code (numbers), drop_api, form_api (arrays of API names); hostile:
     * plain_on_https, wrong_name_cert, redirect, endless, cut_answer,
     * spoil_discovery (booleans), drip_ms (a number), discovery_answer, call_answer (any JSON). */
    bool setMode(const std::string& server, const Json::Value& modes);
    bool setMode(int server, const Json::Value& modes) {
        return setMode(std::to_string(server), modes);
    }
    bool clearMode(const std::string& server);
    /* The modes a server has now. */
    Json::Value mode(const std::string& server);

    /* What the relay service answers for id: `answer` becomes `data` of a
     * successful answer as it is (normally {host, protocol, port}). */
    bool setRelay(const std::string& id, const Json::Value& answer);
    bool setRelay(const std::string& id, const std::string& host, const std::string& protocol,
                  int port);
    bool removeRelay(const std::string& id);
    /* The relay service answers id with raw as the whole answer, envelope
     * included (arrays, numbers, null: shapes no sound service sends). */
    bool setRelayRaw(const std::string& id, const Json::Value& raw);

    /* The record: {"record": [entry...], "in_flight", "max_in_flight",
     * "next_seq"}. Filters (empty or -1: all): server index, kind
     * ("discover", "call", "relay", "refused", "tls"), entries from seq on. */
    Json::Value record(int server = -1, const std::string& kind = "", long long sinceSeq = 0);
    /* Only the entries of the record, filtered the same way. */
    Json::Value entries(int server = -1, const std::string& kind = "", long long sinceSeq = 0);

    /* Discovery and wake of a server (index, serial or "all"): merges set
     * ({state: "sleeping"|"booting"|"ready", interfaces, configured,
     * packet_type, serial, garbage}) and gives {index: state with "macs"}. */
    Json::Value scout(const std::string& server, const Json::Value& set = Json::objectValue);
    /* Fetches answered with success since the last reset:
     * {"count": N, "servers": {"<serial>": n}}; null when unreachable. */
    Json::Value fetches();
    /* The fetch-back mode: merges set ({"server": index, serial or "all",
     * "on", "set_versions", "central"}) when it names a server, and gives
     * every server's {"on", "set_versions", "central", "joined",
     * "received"} by serial. What a server received is in the record,
     * kind "fetch_back". */
    Json::Value fetchBack(const Json::Value& set = Json::objectValue);

    /* Forgets the record (and the modes and relay table unless told). */
    bool reset(bool modes = true, bool relay = true);
    /* Asks the simulator to exit. */
    bool stop();

    /* One raw control exchange; the status code, the answer in *pOut. */
    int exchange(const std::string& method, const std::string& target, const Json::Value& body,
                 Json::Value* pOut);

protected:
    bool post(const std::string& target, const Json::Value& body, Json::Value* pData = nullptr);

    int port_;
    std::string error_;
};

struct PeerSimOptions {
    std::string root;       // the system root; empty: $VURO_SYSROOT
    int peers = 1;          // servers to play, unless fleetFile is given
    std::string fleetFile;  // a fleet file to play again (serials, tokens)
    bool relay = false;     // also be the relay service (writes relay_portal)
    bool scout = false;     // answer discovery scans (writes scout.conf)
    bool wol = false;       // take wake packets (writes wol.conf)
    std::string program;    // empty: the one this build made
    std::vector<std::string> extraArgs;
    int readyTimeoutMs = 20000;
};

/* A simulator running as this process's child. It ends when the object
 * goes (its standard input is closed, then it is reaped with a bounded
 * wait) and also when this process dies, for it reads its standard input
 * until end of file. */
class PeerSim : public PeerSimControl {
public:
    PeerSim() = default;
    ~PeerSim();
    PeerSim(const PeerSim&) = delete;
    PeerSim& operator=(const PeerSim&) = delete;

    /* Starts it and reads its ready line; false with error() otherwise. */
    bool start(const PeerSimOptions& options);
    /* Closes its standard input and reaps it (SIGKILL after a bounded
     * wait); its exit status, or -1. Safe to call twice. */
    int finish();

    pid_t pid() const { return pid_; }
    bool running() const { return pid_ > 0; }
    /* The ready line: pid, control_port, relay_port, fleet, servers. */
    const Json::Value& ready() const { return ready_; }
    /* fleet.json as written: sn, host, http_port, https_port,
     * access_token, model, kelp_version, build_number, hostname. */
    const Json::Value& fleet() const { return fleet_; }
    int size() const { return (int)fleet_.size(); }
    const Json::Value& server(int i) const { return fleet_[i]; }
    int httpPort(int i) const { return fleet_[i]["http_port"].asInt(); }
    int httpsPort(int i) const { return fleet_[i]["https_port"].asInt(); }
    std::string sn(int i) const { return fleet_[i]["sn"].asString(); }
    std::string token(int i) const { return fleet_[i]["access_token"].asString(); }
    int relayPort() const { return ready_["relay_port"].asInt(); }
    /* Where the "redirect" mode sends calls; it records "trap" entries. */
    int trapPort() const { return ready_["trap_port"].asInt(); }
    int scoutPort() const { return ready_["scout_port"].asInt(); }
    int wolPort() const { return ready_["wol_port"].asInt(); }
    /* The MAC of a server's first interface (--scout or --wol). */
    std::string mac(int i) const { return fleet_[i]["macs"][0].asString(); }
    /* Every access token a simulator of this process handed out, so that
     * a test can look for them where they must not be. */
    static std::vector<std::string>& tokensHandedOut();

private:
    pid_t pid_ = -1;
    int stdinFd_ = -1;
    Json::Value ready_;
    Json::Value fleet_;
};

}  // namespace tarntest

#endif
