/* serve_fetch.cpp - the policy fetch of managed servers: a server that got a
 * fetch notice comes back with the session its join gave it and the set
 * versions it understands, and gets its effective policy at those versions
 * with its delegates set. Anything else gets a refusal without policy. */
#include "serve_fetch.h"

#include <syslog.h>

#include <vurojson.h>

#include "policy_read.h"
#include "vurocredential_seal.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

const char kApi[] = "VURO.TARN.Policy";
const char kMethod[] = "get";

// The codes of the wire's envelope; only the session's one is fixed there.
const int kCodeUnknown = 100;
const int kCodeBadRequest = 101;
const int kCodeNoApi = 102;
const int kCodeNoMethod = 103;
const int kCodeBadVersion = 104;
const int kCodeBadSession = VUROCRED_CODE_BAD_TOKEN;

/* Every answer goes out as 200: the envelope carries the outcome. */
int refuse(int code, Json::Value* pAnswer) {
    *pAnswer = Json::Value(Json::objectValue);
    (*pAnswer)["success"] = false;
    (*pAnswer)["error"]["code"] = code;
    return 200;
}

std::string field(const std::map<std::string, std::string>& fields, const char* name) {
    auto it = fields.find(name);
    return it == fields.end() ? std::string() : it->second;
}

/* The set versions a server understands: an object of positive integers. */
bool setVersionsRead(const std::string& text, Json::Value* pSet) {
    if (!vurojson::fromString(*pSet, text) || !pSet->isObject()) return false;
    for (const std::string& name : pSet->getMemberNames()) {
        const Json::Value& v = (*pSet)[name];
        if (!v.isIntegral() || v.asInt64() < 1 || v.asInt64() > 1000000) return false;
    }
    return true;
}

}  // namespace

int webapiEntry(const std::map<std::string, std::string>& fields, Json::Value* pAnswer) {
    if (field(fields, "api") != kApi) return refuse(kCodeNoApi, pAnswer);
    // The serial the session belongs to names the server: a caller never
    // says who it is.
    std::string serial;
    if (!VUROTARNPeerCheckWebapiPriviege(field(fields, "_sid"), kApi, &serial)) {
        return refuse(kCodeBadSession, pAnswer);
    }
    if (field(fields, "version") != "1") return refuse(kCodeBadVersion, pAnswer);
    if (field(fields, "method") != kMethod) return refuse(kCodeNoMethod, pAnswer);
    Json::Value jSet;
    if (!setVersionsRead(field(fields, "set_versions"), &jSet)) {
        return refuse(kCodeBadRequest, pAnswer);
    }
    // A session outliving its server (deleted, or never stored) fetches nothing.
    VURO_TARN_PEER peer;
    if (VUROTARNPeerGetBySN(serial.c_str(), &peer) != 0 || !peer.available) {
        return refuse(kCodeBadSession, pAnswer);
    }

    PolicyReadAsk ask;
    ask.id = peer.id;
    ask.type = VURO_TARN_TYPE_PEER;
    ask.fetch = true;
    ask.delegates = true;
    Json::Value jEffective, jGpo;
    PolicyReadStep step = policyRead(ask, jSet, &jEffective, &jGpo);
    if (step != PolicyReadStep::Done) {
        static const char* const kStep[] = {"", "evaluation", "version conversion", "delegates"};
        syslog(LOG_ERR, "policy fetch of server %s failed at its %s", serial.c_str(),
               kStep[(int)step]);
        return refuse(kCodeUnknown, pAnswer);
    }
    *pAnswer = Json::Value(Json::objectValue);
    (*pAnswer)["success"] = true;
    (*pAnswer)["data"]["policy"] = jGpo;
    return 200;
}

}  // namespace tarncli
