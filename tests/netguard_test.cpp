/* netguard_test.cpp - the loopback guard of the credential stand-in, proved
 * where a broken guard could do no harm: every case runs in a child inside
 * a fresh network namespace, where nothing reaches past lo. With the guard
 * on, an outside destination is refused before a packet ("destination
 * refused"); with it off, the same call fails on the unreachable network
 * instead, which is how the two are told apart. */
#include <stdlib.h>
#include <sys/mount.h>
#include <sched.h>

#include <chrono>

#include <scout.h>

#include "peer_sim.h"
#include "tarn_test.h"
#include "vurocore.h"
#include "vurocredential.h"
#include "vurocredential_seal.h"
#include "vurotarnpeer.h"
#include "vurotarnpeer_scout.h"
#include "vurotarnpeer_updateserver.h"

using namespace tarntest;

namespace {

class NetGuard : public TarnTest {
protected:
    /* Runs the case in the namespace; skips with the reason where the
     * sandbox refuses one. Returns false when the case failed. */
    void inNetns(const std::function<bool()>& work) {
        int rc = runInFreshNetns([&]() { return work() ? 0 : 1; }, 30000);
        if (rc == kNetnsRefused) GTEST_SKIP() << "the sandbox refuses a network namespace";
        EXPECT_EQ(0, rc) << "the case failed in the child (its lines are on stderr)";
    }
};

/* The discovery of a web API call to host:5000 over http; true when no
 * request came of it. */
bool requestRefused(const char* host) {
    VURO_CRED* cred = VUROCredAlloc();
    VURO_CRED_SESS* sess = VUROCredSessAlloc();
    VUROCredItemSetHost(cred, host);
    VUROCredItemSetPort(cred, 5000);
    VUROCredItemSetProtocol(cred, "http");
    VUROCredSessItemSetAccessToken(sess, "sid-netns-1");
    VURO::CredRequest* req = VURO::CredRequest::CreateWebAPIRequest(cred, sess, "VURO.Core.TARN", 1,
                                                                    "end_join", Json::Value());
    bool refused = req == NULL;
    delete req;
    VUROCredFree(cred);
    VUROCredSessFree(sess);
    return refused;
}

bool check(bool ok, const char* what) {
    if (!ok) fprintf(stderr, "netguard: %s\n%s\n", what, logDump().c_str());
    return ok;
}

}  // namespace

TEST_F(NetGuard, RequestsAndRelayLookupsStopAtTheGuardInsideAFreshNamespace) {
    ASSERT_OK(QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "timeout_cap_ms", "2000", 0));
    inNetns([]() {
        setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
        bool ok = true;
        for (const char* host : {"192.0.2.1", "2001:db8::1", "::ffff:198.51.100.7"}) {
            logClear();
            ok &= check(requestRefused(host), host);
            ok &= check(logHas("destination refused") && !logHas("cannot connect"),
                        "the guard, not the network, refused");
            ok &= check(logCount("sid-netns-1") == 0, "no token in a line");
        }
        // The relay service itself outside loopback.
        QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "relay_portal", "https://192.0.2.1:5001", 0);
        Json::Value js;
        logClear();
        ok &= check(!VURO::CredRequestRelayPath::GetConnInfoPortal("relay-1", js, NULL),
                    "relay lookup");
        ok &= check(js["error"].asString() == "destination refused", "relay lookup's cause");

        // Without the guard the same calls meet the empty network: still
        // nothing leaves, and the cause is no longer the guard's.
        unsetenv("VURO_NET_LOOPBACK_ONLY");
        logClear();
        ok &= check(requestRefused("192.0.2.1"), "unguarded request");
        ok &= check(!logHas("destination refused"), "no guard line without the guard");
        ok &= check(!VURO::CredRequestRelayPath::GetConnInfoPortal("relay-1", js, NULL) &&
                        js["error"].asString() != "destination refused",
                    "unguarded relay lookup");
        return ok;
    });
}

TEST_F(NetGuard, ManagedSendingScanAndWakeStopAtTheGuardInsideAFreshNamespace) {
    ASSERT_OK(QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "timeout_cap_ms", "2000", 0));
    // Two managed servers outside loopback, for the connection-info
    // sending: their discovery is refused before the manager would run.
    for (const char* host : {"192.0.2.1", "198.51.100.7"}) {
        VURO_TARN_PEER peer;
        VUROTARNPeerItemSetSN(&peer, (std::string("SN-") + host).c_str());
        peer.str_host = host;
        peer.http_port = 5000;
        peer.https_port = 5001;
        peer.str_sid = "sid-netns-2";
        ASSERT_OK(VUROTARNPeerCreate(&peer));
    }
    ASSERT_OK(QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "send_ip", "192.0.2.1", 0));
    ASSERT_OK(QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "recv_port", "0", 0));
    ASSERT_OK(QLIBCFileSetKeyValue(SCOUT_CONF_PATH, "listen_ms", "200", 0));
    writeFile(sys("/etc/vuro/wol.conf"), "dest=192.0.2.1:9\n");
    const std::string tool = sys(VUROTARN_WAKE_TOOL);

    // Each case once with the guard on and once off: on, the guard's
    // refusal; off, the empty namespace's own failure and no guard line.
    auto cases = [&](bool guarded) {
        bool ok = true;
        const char* refused = "destination refused";
        logClear();
        Json::Value ids(Json::arrayValue);
        ids.append(1);
        ids.append(2);
        Json::Value assign;
        assign["host"] = "127.0.0.1";
        // No request is built for either, so the manager runs none.
        VUROTARNPeerSendUpdateServer(ids, assign);
        ok &= check(logHas(refused) == guarded, "the sending's cause");
        ok &= check(guarded || logHas("cannot connect"), "the unguarded sending met the network");
        ok &= check(logCount("sid-netns-2") == 0, "no token in a line");

        logClear();
        std::vector<std::string> none;
        std::vector<NASINFO> found;
        // Unguarded, the send itself fails: the namespace has no route.
        ok &= check(VUROTARNPeerGetScoutInfoBySN(none, found) == -1 && found.empty(), "scan");
        ok &= check(logHas("destination refused: 192.0.2.1") == guarded, "the scan's cause");

        std::string err;
        ok &= check(runProgram({tool, "--wake", "0A:1B:2C:3D:4E:5F", "lo"}, nullptr, &err) == 1,
                    "wake tool");
        ok &= check((err.find("destination refused: 192.0.2.1:9") != std::string::npos) == guarded,
                    err.c_str());
        ok &= check(guarded || err.find("cannot send to 192.0.2.1:9") != std::string::npos,
                    err.c_str());

        // The tool's own remote call, with the environment it inherits.
        ok &= check(runProgram({TARN_CLI_PATH, "--root", root_, "peer", "call", "1",
                                "VURO.API.Info", "1", "query"},
                               nullptr, &err) == 1,
                    "tarn peer call");
        ok &= check((err.find(refused) != std::string::npos) == guarded, err.c_str());
        return ok;
    };
    inNetns([&]() {
        setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
        bool ok = cases(true);
        unsetenv("VURO_NET_LOOPBACK_ONLY");
        return cases(false) && ok;
    });
}

/* The request manager connects again for its run, on a multi handle of its
 * own: a name that led to loopback at discovery may lead elsewhere by then.
 * The child gives itself a hosts file of its own (a mount namespace) and
 * moves the name between the two. */
TEST_F(NetGuard, ManagerRunRefusesANameThatMovedOffLoopbackAfterDiscovery) {
    ASSERT_OK(QLIBCFileSetKeyValue(VUROCRED_CONF_PATH, "timeout_cap_ms", "2000", 0));
    const std::string hosts = sys("/hosts");
    writeFile(hosts, "127.0.0.1 moving.tarn.test\n");
    inNetns([&]() {
        if (unshare(CLONE_NEWNS) != 0 || mount(NULL, "/", NULL, MS_REC | MS_PRIVATE, NULL) != 0 ||
            mount(hosts.c_str(), "/etc/hosts", NULL, MS_BIND, NULL) != 0) {
            return check(false, "no mount namespace for the hosts file");
        }
        setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
        PeerSim sim;
        PeerSimOptions o;
        o.root = root_;
        if (!sim.start(o)) return check(false, sim.error().c_str());
        auto hostsSet = [&](const char* text) {
            // Rewritten in place: the bind mount shows the file's new text.
            std::FILE* f = std::fopen(hosts.c_str(), "w");
            std::fputs(text, f);
            std::fclose(f);
        };
        // One run with the guard and one without: the guard's refusal, then
        // the namespace's own failure to connect.
        bool ok = true;
        for (bool guarded : {true, false}) {
            hostsSet("127.0.0.1 moving.tarn.test\n");
            VURO_CRED* cred = VUROCredAlloc();
            VURO_CRED_SESS* sess = VUROCredSessAlloc();
            VUROCredItemSetHost(cred, "moving.tarn.test");
            VUROCredItemSetPort(cred, sim.httpPort(0));
            VUROCredItemSetProtocol(cred, "http");
            VUROCredSessItemSetAccessToken(sess, sim.token(0).c_str());
            VURO::CredRequest* req = VURO::CredRequest::CreateWebAPIRequest(
                cred, sess, "VURO.Core.TARN.ServerInfo", 1, "update",
                Json::Value(Json::objectValue));
            VUROCredFree(cred);
            VUROCredSessFree(sess);
            if (!check(req != NULL, "discovery over loopback")) return false;
            hostsSet("192.0.2.1 moving.tarn.test\n");
            if (guarded) {
                setenv("VURO_NET_LOOPBACK_ONLY", "1", 1);
            } else {
                unsetenv("VURO_NET_LOOPBACK_ONLY");
            }
            int calls = (int)sim.entries(-1, "call").size();
            logClear();
            VURO::CredRequestMgr mgr;
            mgr.AddCredRequest(req);
            mgr.Run();
            ok &= check(req->GetError() ==
                            (guarded ? CRED_REQ_ERR_REFUSED_DEST : CRED_REQ_ERR_CONNECT),
                        req->GetErrorText().c_str());
            ok &= check(logHas("destination refused: 192.0.2.1") == guarded, "the guard's line");
            ok &= check((int)sim.entries(-1, "call").size() == calls, "no call reached the server");
        }
        sim.finish();
        return ok;
    });
}
