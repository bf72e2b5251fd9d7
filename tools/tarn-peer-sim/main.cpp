/* tarn-peer-sim - plays many managed servers in one process for tests, the
 * benchmarks and the demo: each with an HTTP and an HTTPS port on loopback
 * and an access token, a record of every call, and failure modes set through
 * a control port. "tarn-peer-sim ctl" drives a running one from the shell. */
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <openssl/rand.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "peer_sim.h"
#include "sim.h"
#include "sim_fetch.h"
#include "vurocore.h"
#include "vurocredential_seal.h"
#include "vurofs.h"

using peersim::Endpoint;
using peersim::Role;
using peersim::Server;
using peersim::Sim;
using peersim::sim;
using peersim::TaskPool;

namespace {

const size_t kServerWorkers = 8;  // concurrent connections one server answers
const size_t kControlWorkers = 4;
const size_t kRelayWorkers = 8;
const int kMaxPeers = 2000;

const char kUsage[] =
    "usage: tarn-peer-sim --root DIR [--peers N | --fleet FILE] [--relay] [--relay-only I]...\n"
    "                     [--sn-prefix TEXT] [--record-limit N] [--no-stdin] [--scout] [--wol]\n"
    "                     [--fetch-back] [--set-versions JSON] [--central HOST:PORT]\n"
    "       tarn-peer-sim ctl --port P VERB [ARGS]\n"
    "\n"
    "Plays N managed servers (default 1), each with an HTTP and an HTTPS port on\n"
    "127.0.0.1 and an access token. Makes a CA and a server certificate below the\n"
    "root unless it has them, adds the CA to the root's CA file, writes the fleet\n"
    "to DIR/fleet.json, prints one JSON line with its ports and serves until\n"
    "SIGTERM, \"ctl stop\" or the end of its standard input (--no-stdin: not that).\n"
    "  --fleet FILE     play the servers of a fleet file again (serials, tokens)\n"
    "  --relay          also be the relay service; writes relay_portal into the\n"
    "                   root's credential.conf and knows every server's relay_id\n"
    "  --relay-only I   server I (fleet index) publishes no HTTP port and refuses\n"
    "                   HTTPS: only the relay tells how to reach it\n"
    "  --scout          answer discovery scans on a UDP port of 127.0.0.1 and point\n"
    "                   the root's etc/vuro/scout.conf at it\n"
    "  --wol            take wake packets on a UDP port of 127.0.0.1 (wol.conf): a\n"
    "                   sleeping server boots\n"
    "  --fetch-back     a fetch notice sends a server back to its managing server\n"
    "                   (POST /webapi/entry.cgi over HTTPS, loopback only) for its\n"
    "                   policy; what it received is recorded as \"fetch_back\"\n"
    "  --set-versions JSON  the set versions every server asks for (default\n"
    "                   {\"Samba\":3,\"TimeServer\":2,\"Quota\":1,\"Delegate\":1})\n"
    "  --central HOST:PORT  the managing server, instead of what the join told\n"
    "\n"
    "ctl verbs:\n"
    "  record [--server I] [--kind K] [--since SEQ]   the record as JSON\n"
    "  mode SERVER [--clear] [KEY=VALUE]...   SERVER: index, serial or \"all\";\n"
    "      keys refuse_https refuse_http foreign_cert fail_discovery\n"
    "      close_after_discovery hang not_json tamper no_success no_hostname garbled\n"
    "      (true|false), delay_ms N,\n"
    "      fail_code N, drop_api form_api (JSON arrays of API names)\n"
    "      hostile: plain_on_https wrong_name_cert redirect (307 to the trap port,\n"
    "      which records what reaches it) endless cut_answer (true|false),\n"
    "      drip_ms N (one byte of a call's answer every N ms), spoil_discovery\n"
    "      (endless, cut_answer and drip_ms spoil discovery answers too),\n"
    "      discovery_answer call_answer (any JSON, answered as it stands)\n"
    "  scout SERVER [KEY=VALUE]...   state=sleeping|booting|ready interfaces=N\n"
    "      configured=N packet_type=N serial=TEXT garbage=true|false\n"
    "  relay ID HOST PROTOCOL PORT | relay ID --remove | relay ID --answer JSON\n"
    "      | relay ID --raw JSON   (the whole answer, envelope included)\n"
    "  reset [--keep-modes] [--keep-relay]\n"
    "  fetches                                the fetches answered, per serial\n"
    "  fetch-back [SERVER [KEY=VALUE]...]    on=true|false set_versions=JSON\n"
    "      central=HOST:PORT; without arguments every server's settings\n"
    "  stop\n";

int usage() {
    fputs(kUsage, stderr);
    return 2;
}

void onSignal(int) { _exit(0); }

// Empty when the random source fails: a guessable token is worse than none.
std::string hexRandom(size_t bytes) {
    std::string raw(bytes, '\0');
    if (RAND_bytes((unsigned char*)&raw[0], (int)bytes) != 1) return "";
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : raw) {
        out += kHex[c >> 4];
        out += kHex[c & 0xF];
    }
    return out;
}

std::string lower(std::string s) {
    for (char& c : s) c = (char)tolower((unsigned char)c);
    return s;
}

bool numberRead(const char* text, long min, long max, long* pOut) {
    char* end = nullptr;
    errno = 0;
    long v = strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || v < min || v > max) return false;
    *pOut = v;
    return true;
}

// ---- ctl ----

/* One KEY=VALUE word into *pSet; a value is JSON when it parses as such,
 * text otherwise. False for a word without a key. */
bool keyValueTake(const char* word, Json::Value* pSet) {
    const char* eq = strchr(word, '=');
    if (eq == nullptr || eq == word) return false;
    Json::Value v;
    if (!vurojson::fromString(v, eq + 1)) v = std::string(eq + 1);
    (*pSet)[std::string(word, eq - word)] = v;
    return true;
}

int ctlPrint(bool ok, const tarntest::PeerSimControl& ctl, const Json::Value& out) {
    if (!ok) {
        fprintf(stderr, "tarn-peer-sim ctl: %s\n", ctl.error().c_str());
        return 1;
    }
    printf("%s\n", vurojson::toString(out).c_str());
    return 0;
}

int ctlMain(int argc, char** argv) {
    long port = 0;
    int i = 0;
    if (argc >= 2 && strcmp(argv[0], "--port") == 0 && numberRead(argv[1], 1, 65535, &port)) {
        i = 2;
    } else {
        return usage();
    }
    if (i >= argc) return usage();
    tarntest::PeerSimControl ctl((int)port);
    std::string verb = argv[i++];
    if (verb == "record") {
        long server = -1, since = 0;
        std::string kind;
        for (; i < argc; i += 2) {
            if (i + 1 >= argc) return usage();
            if (strcmp(argv[i], "--server") == 0 &&
                numberRead(argv[i + 1], 0, kMaxPeers, &server)) {
                continue;
            }
            if (strcmp(argv[i], "--since") == 0 && numberRead(argv[i + 1], 0, LONG_MAX, &since)) {
                continue;
            }
            if (strcmp(argv[i], "--kind") == 0) {
                kind = argv[i + 1];
                continue;
            }
            return usage();
        }
        Json::Value data = ctl.record((int)server, kind, since);
        return ctlPrint(!data.isNull(), ctl, data);
    }
    if (verb == "mode") {
        if (i >= argc) return usage();
        std::string server = argv[i++];
        bool clear = false;
        Json::Value modes(Json::objectValue);
        for (; i < argc; i++) {
            if (strcmp(argv[i], "--clear") == 0) {
                clear = true;
                continue;
            }
            if (!keyValueTake(argv[i], &modes)) return usage();
        }
        if (clear && !ctl.clearMode(server)) return ctlPrint(false, ctl, Json::Value());
        if (!clear && modes.empty()) return ctlPrint(true, ctl, ctl.mode(server));
        if (!modes.empty() && !ctl.setMode(server, modes))
            return ctlPrint(false, ctl, Json::Value());
        Json::Value now = ctl.mode(server);
        return ctlPrint(!now.isNull(), ctl, now);
    }
    if (verb == "relay") {
        if (i >= argc) return usage();
        std::string id = argv[i++];
        if (argc - i == 1 && strcmp(argv[i], "--remove") == 0) {
            return ctlPrint(ctl.removeRelay(id), ctl, Json::objectValue);
        }
        if (argc - i == 2 && strcmp(argv[i], "--raw") == 0) {
            Json::Value raw;
            if (!vurojson::fromString(raw, argv[i + 1])) return usage();
            return ctlPrint(ctl.setRelayRaw(id, raw), ctl, Json::objectValue);
        }
        if (argc - i == 2 && strcmp(argv[i], "--answer") == 0) {
            Json::Value answer;
            if (!vurojson::fromString(answer, argv[i + 1])) return usage();
            return ctlPrint(ctl.setRelay(id, answer), ctl, Json::objectValue);
        }
        long relayPort = 0;
        if (argc - i != 3 || !numberRead(argv[i + 2], 0, INT32_MAX, &relayPort)) return usage();
        return ctlPrint(ctl.setRelay(id, argv[i], argv[i + 1], (int)relayPort), ctl,
                        Json::objectValue);
    }
    if (verb == "reset") {
        bool modes = true, relay = true;
        for (; i < argc; i++) {
            if (strcmp(argv[i], "--keep-modes") == 0) {
                modes = false;
            } else if (strcmp(argv[i], "--keep-relay") == 0) {
                relay = false;
            } else {
                return usage();
            }
        }
        return ctlPrint(ctl.reset(modes, relay), ctl, Json::objectValue);
    }
    if (verb == "scout") {
        if (i >= argc) return usage();
        std::string server = argv[i++];
        Json::Value set(Json::objectValue);
        for (; i < argc; i++) {
            if (!keyValueTake(argv[i], &set)) return usage();
        }
        Json::Value now = ctl.scout(server, set);
        return ctlPrint(!now.isNull(), ctl, now);
    }
    if (verb == "fetches" && i == argc) {
        Json::Value data = ctl.fetches();
        return ctlPrint(!data.isNull(), ctl, data);
    }
    if (verb == "fetch-back") {
        Json::Value set(Json::objectValue);
        if (i < argc) set["server"] = argv[i++];
        for (; i < argc; i++) {
            if (!keyValueTake(argv[i], &set)) return usage();
        }
        Json::Value now = ctl.fetchBack(set);
        return ctlPrint(!now.isNull(), ctl, now);
    }
    if (verb == "stop" && i == argc) return ctlPrint(ctl.stop(), ctl, Json::objectValue);
    return usage();
}

// ---- the simulator ----

struct Options {
    std::string root;
    long peers = 1;
    std::string fleetFile;
    bool relay = false;
    std::vector<long> relayOnly;
    std::string snPrefix = "SIM";
    long recordLimit = 100000;
    bool watchStdin = true;
    bool scout = false;
    bool wol = false;
    Json::Value fetchBack{Json::objectValue};  // the settings every server starts with
};

bool serversMake(const Options& o, Sim& s, std::string* pWhy) {
    Json::Value fleet(Json::arrayValue);
    if (!o.fleetFile.empty()) {
        // A file named on the command line, not a system path below the root.
        std::ifstream in(o.fleetFile, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        if (!in || !vurojson::fromString(fleet, text.str()) || !fleet.isArray() || fleet.empty() ||
            fleet.size() > (Json::ArrayIndex)kMaxPeers) {
            *pWhy = "the fleet file is no array of servers: " + o.fleetFile;
            return false;
        }
    } else {
        fleet.resize((Json::ArrayIndex)o.peers);
    }
    for (Json::ArrayIndex i = 0; i < fleet.size(); i++) {
        const Json::Value& in = fleet[i];
        if (!in.isNull() && !in.isObject()) {
            *pWhy = "fleet entry " + std::to_string(i) + " is no object";
            return false;
        }
        auto sv = std::make_unique<Server>();
        char sn[64];
        snprintf(sn, sizeof(sn), "%s%05u", o.snPrefix.c_str(), i + 1);
        sv->index = (int)i;
        sv->sn = in.get("sn", sn).asString();
        sv->hostname = in.get("hostname", "sim-" + lower(sv->sn)).asString();
        sv->model = in.get("model", "SIM-4BAY").asString();
        sv->kelpVersion = in.get("kelp_version", "7.2.1").asString();
        sv->buildNumber = in.get("build_number", 69057).asInt64();
        sv->token = in.get("access_token", hexRandom(16)).asString();
        sv->relayId = in.get("relay_id", "relay-" + lower(sv->sn)).asString();
        sv->relayOnly = in.get("relay_only", false).asBool();
        if (sv->token.empty()) {
            *pWhy = "no access token for " + sv->sn;
            return false;
        }
        sv->keyId = vurocred::SealKeyId(sv->token);
        for (const auto& other : s.servers) {
            if (other->sn == sv->sn) {
                *pWhy = "serial " + sv->sn + " twice in the fleet";
                return false;
            }
        }
        s.servers.push_back(std::move(sv));
    }
    for (long i : o.relayOnly) {
        if (i < 0 || i >= (long)s.servers.size()) {
            *pWhy = "--relay-only " + std::to_string(i) + ": no such server";
            return false;
        }
        s.servers[(size_t)i]->relayOnly = true;
    }
    for (const auto& sv : s.servers) {
        if (sv->relayOnly && !o.relay) {
            *pWhy = sv->sn + " is reached only through the relay: --relay is a must";
            return false;
        }
    }
    return true;
}

bool endpointsOpen(Sim& s, bool relay, std::string* pWhy) {
    auto add = [&](Role role, Server* sv, TaskPool* pool) {
        Endpoint ep = peersim::listenLoopback(role, sv, pool, pWhy);
        if (ep.fd < 0) return 0;
        s.endpoints.push_back(ep);
        return ep.port;
    };
    s.pools.push_back(std::make_unique<TaskPool>(kControlWorkers));
    if (add(Role::Control, nullptr, s.pools.back().get()) == 0) return false;
    if (relay) {
        s.pools.push_back(std::make_unique<TaskPool>(kRelayWorkers));
        if (add(Role::Relay, nullptr, s.pools.back().get()) == 0) return false;
    }
    // Where the "redirect" mode points; it only records what reaches it.
    s.pools.push_back(std::make_unique<TaskPool>(kRelayWorkers));
    s.trapPort = add(Role::Trap, nullptr, s.pools.back().get());
    if (s.trapPort == 0) return false;
    for (auto& sv : s.servers) {
        s.pools.push_back(std::make_unique<TaskPool>(kServerWorkers));
        sv->httpPort = add(Role::Http, sv.get(), s.pools.back().get());
        sv->httpsPort = add(Role::Https, sv.get(), s.pools.back().get());
        if (sv->httpPort == 0 || sv->httpsPort == 0) return false;
    }
    return true;
}

int portOf(const Sim& s, Role role) {
    for (const Endpoint& ep : s.endpoints) {
        if (ep.role == role) return ep.port;
    }
    return 0;
}

// Written beside and renamed, so a reader never sees half a fleet.
bool fleetWrite(const Sim& s, bool relay, const std::string& path) {
    Json::Value fleet(Json::arrayValue);
    for (const auto& sv : s.servers) {
        Json::Value e;
        e["sn"] = sv->sn;
        e["host"] = "127.0.0.1";
        e["http_port"] = sv->relayOnly ? 0 : sv->httpPort;
        e["https_port"] = sv->httpsPort;
        e["access_token"] = sv->token;
        e["model"] = sv->model;
        e["kelp_version"] = sv->kelpVersion;
        e["build_number"] = (Json::Int64)sv->buildNumber;
        e["hostname"] = sv->hostname;
        if (relay) e["relay_id"] = sv->relayId;
        if (sv->relayOnly) e["relay_only"] = true;
        peersim::scoutFleetEntry(*sv, e);
        fleet.append(e);
    }
    std::string text = vurojson::toString(fleet) + "\n";
    std::string tmp = path + ".tmp";
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return false;
    bool ok = write(fd, text.data(), text.size()) == (ssize_t)text.size();
    ok = close(fd) == 0 && ok;
    return ok && rename(tmp.c_str(), path.c_str()) == 0;
}

int simMain(const Options& o) {
    Sim& s = sim();
    std::string why;
    signal(SIGPIPE, SIG_IGN);
    signal(SIGTERM, onSignal);
    signal(SIGINT, onSignal);
    signal(SIGHUP, onSignal);
    // Two sockets per server and their connections: lift the soft limit.
    struct rlimit rl;
    if (getrlimit(RLIMIT_NOFILE, &rl) == 0 && rl.rlim_cur < rl.rlim_max) {
        rl.rlim_cur = rl.rlim_max;
        setrlimit(RLIMIT_NOFILE, &rl);
    }
    s.relay = o.relay;
    s.record.setLimit((size_t)o.recordLimit);
    bool made = false;
    try {
        made = serversMake(o, s, &why);
    } catch (const std::exception& e) {
        // A member of the wrong kind in a fleet file.
        why = std::string("fleet file: ") + e.what();
    }
    if (!made || !peersim::tlsSetup(&s.tls, &why) || !endpointsOpen(s, o.relay, &why) ||
        !peersim::scoutStart(o.scout, o.wol, &why) ||
        !peersim::fetchBackDefaults(o.fetchBack, &why)) {
        fprintf(stderr, "tarn-peer-sim: %s\n", why.c_str());
        return 1;
    }
    for (auto& sv : s.servers) {
        Json::Value a;
        a["host"] = "127.0.0.1";
        a["protocol"] = "http";
        a["port"] = sv->httpPort;
        s.relayInitial[sv->relayId] = a;
    }
    s.relayTable = s.relayInitial;
    std::string fleetPath = VUROSysPathStr("/fleet.json");
    if (!fleetWrite(s, o.relay, fleetPath)) {
        fprintf(stderr, "tarn-peer-sim: cannot write %s: %s\n", fleetPath.c_str(), strerror(errno));
        return 1;
    }
    int relayPort = portOf(s, Role::Relay);
    if (o.relay) {
        std::string portal = "http://127.0.0.1:" + std::to_string(relayPort);
        VUROFSMkdirP("/etc/vuro", nullptr, TRUE, UID_ERR, GID_ERR, 0755);
        if (QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "relay_portal", portal.c_str(), 0) != 0) {
            fprintf(stderr, "tarn-peer-sim: cannot set relay_portal in %s\n", VUROCRED_CONF_PATH);
            return 1;
        }
    }
    peersim::handlersInstall();
    std::thread(peersim::acceptLoop).detach();

    Json::Value ready;
    ready["ready"] = true;
    ready["pid"] = (int)getpid();
    ready["control_port"] = portOf(s, Role::Control);
    ready["relay_port"] = relayPort;
    ready["trap_port"] = s.trapPort;
    ready["root"] = o.root;
    ready["fleet"] = fleetPath;
    peersim::scoutDescribe(ready);
    Json::Value& list = ready["servers"] = Json::arrayValue;
    for (const auto& sv : s.servers) {
        Json::Value e;
        e["sn"] = sv->sn;
        e["http_port"] = sv->relayOnly ? 0 : sv->httpPort;
        e["https_port"] = sv->httpsPort;
        list.append(e);
    }
    printf("%s\n", vurojson::toString(ready).c_str());
    fflush(stdout);

    if (o.watchStdin) {
        char buf[256];
        for (;;) {
            ssize_t n = read(0, buf, sizeof(buf));
            if (n == 0 || (n < 0 && errno != EINTR)) break;
        }
        _exit(0);
    }
    for (;;) pause();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && strcmp(argv[1], "ctl") == 0) return ctlMain(argc - 2, argv + 2);
    Options o;
    bool peersGiven = false;
    for (int i = 1; i < argc; i++) {
        std::string a = argv[i];
        bool hasValue = i + 1 < argc;
        if (a == "--help" || a == "-h") {
            fputs(kUsage, stdout);
            return 0;
        } else if (a == "--root" && hasValue) {
            o.root = argv[++i];
        } else if (a == "--peers" && hasValue && numberRead(argv[i + 1], 1, kMaxPeers, &o.peers)) {
            i++;
            peersGiven = true;
        } else if (a == "--fleet" && hasValue) {
            o.fleetFile = argv[++i];
        } else if (a == "--relay") {
            o.relay = true;
        } else if (a == "--relay-only" && hasValue) {
            long index = 0;
            if (!numberRead(argv[++i], 0, kMaxPeers, &index)) return usage();
            o.relayOnly.push_back(index);
        } else if (a == "--sn-prefix" && hasValue) {
            o.snPrefix = argv[++i];
            if (o.snPrefix.size() > 32) return usage();
        } else if (a == "--record-limit" && hasValue &&
                   numberRead(argv[i + 1], 1, 10000000, &o.recordLimit)) {
            i++;
        } else if (a == "--no-stdin") {
            o.watchStdin = false;
        } else if (a == "--scout") {
            o.scout = true;
        } else if (a == "--wol") {
            o.wol = true;
        } else if (a == "--fetch-back") {
            o.fetchBack["on"] = true;
        } else if (a == "--set-versions" && hasValue) {
            if (!vurojson::fromString(o.fetchBack["set_versions"], argv[++i])) return usage();
        } else if (a == "--central" && hasValue) {
            o.fetchBack["central"] = argv[++i];
        } else {
            return usage();
        }
    }
    if (peersGiven && !o.fleetFile.empty()) return usage();
    if (o.root.empty() && getenv("VURO_SYSROOT") != nullptr) o.root = getenv("VURO_SYSROOT");
    // Never the machine's own /etc: a root is a must.
    char real[PATH_MAX];
    struct stat st;
    if (o.root.empty() || realpath(o.root.c_str(), real) == nullptr || stat(real, &st) != 0 ||
        !S_ISDIR(st.st_mode) || strcmp(real, "/") == 0) {
        fprintf(stderr, "tarn-peer-sim: --root must name an existing directory other than /\n");
        return 2;
    }
    o.root = real;
    setenv("VURO_SYSROOT", real, 1);
    return simMain(o);
}
