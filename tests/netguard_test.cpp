/* netguard_test.cpp - the loopback guard of the credential stand-in, proved
 * where a broken guard could do no harm: every case runs in a child inside
 * a fresh network namespace, where nothing reaches past lo. With the guard
 * on, an outside destination is refused before a packet ("destination
 * refused"); with it off, the same call fails on the unreachable network
 * instead, which is how the two are told apart. */
#include <stdlib.h>

#include <chrono>

#include "tarn_test.h"
#include "vurocore.h"
#include "vurocredential.h"
#include "vurocredential_seal.h"

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
