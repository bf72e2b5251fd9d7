/* kelp.cpp - the local web server's ports from its description file, for
 * libtarn's admin-port call and for the KELP object callers build on an
 * engine. */
#include "vurojson.h"
#include "vurow3.h"

namespace {

/* A port member usable as a number; anything else counts as absent. */
bool portMemberRead(const Json::Value& jParent, int* piPort) {
    if (!jParent.isObject() || !jParent.isMember("port")) {
        return false;
    }
    const Json::Value& jPort = jParent["port"];
    if (!jPort.isNumeric() || !jPort.isConvertibleTo(Json::intValue)) {
        return false;
    }
    *piPort = (int)jPort.asInt64();
    return true;
}

}  // namespace

int VUROW3KelpPortsRead(int* piHttpPort, int* piHttpsPort) {
    if (piHttpPort == NULL || piHttpsPort == NULL) {
        return -1;
    }
    try {
        Json::Value jKelp;
        // An unreadable file leaves the null value, which has no members.
        vurojson::fromFile(jKelp, VUROW3_KELP_CONF_PATH);
        int found = 0;
        if (portMemberRead(jKelp, piHttpPort)) {
            found |= VUROW3_HAS_HTTP;
        }
        if (jKelp.isObject() && portMemberRead(jKelp.get("ssl", Json::Value()), piHttpsPort)) {
            found |= VUROW3_HAS_HTTPS;
        }
        return found;
    } catch (...) {
        return 0;
    }
}

namespace vurow3 {

Engine::Engine() : iHttp_(0), iHttps_(0) { Reload(); }

void Engine::Reload() {
    int http = 0;
    int https = 0;
    int found = VUROW3KelpPortsRead(&http, &https);
    iHttp_ = found > 0 && (found & VUROW3_HAS_HTTP) ? http : 0;
    iHttps_ = found > 0 && (found & VUROW3_HAS_HTTPS) ? https : 0;
}

KELP::KELP(Engine* pEngine) : pEngine_(pEngine != NULL ? pEngine : new Engine()) {}

KELP::~KELP() { delete pEngine_; }

int KELP::GetHttpPort() const { return pEngine_->HttpPort(); }

int KELP::GetHttpsPort() const { return pEngine_->HttpsPort(); }

}  // namespace vurow3
