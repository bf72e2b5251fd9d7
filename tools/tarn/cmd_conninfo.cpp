/* cmd_conninfo.cpp - "tarn conninfo" prints the connection info this
 * server would publish, "tarn update-server IDS" sends it to managed
 * servers; both take --assign JSON to fix hosts and ports. */
#include <string>

#include "cli.h"
#include "vurojson.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

/* --assign as a JSON object, null when not given. */
Json::Value assignParse(const Args& args) {
    if (!args.has("assign")) return Json::Value();
    Json::Value j;
    if (!vurojson::fromString(j, args.get("assign")) || !j.isObject()) {
        throw UsageError{"--assign must be a JSON object"};
    }
    return j;
}

}  // namespace

int cmdConnInfo(const Args& args) {
    Json::Value assign = assignParse(args);
    Json::Value server;
    if (!VUROTARNPeerCollectConnectInfo(server, assign)) {
        fail("the connection info cannot be collected (see -v for the cause)");
    }
    printJson(server);
    return 0;
}

int cmdUpdateServer(const Args& args) {
    if (args.positional.size() != 1) {
        throw UsageError{"update-server takes IDS: one peer id or a JSON array of ids"};
    }
    Json::Value ids;
    if (!vurojson::fromString(ids, args.positional[0]) ||
        !(ids.type() == Json::intValue || ids.isArray())) {
        throw UsageError{"IDS must be a peer id or a JSON array of ids"};
    }
    // Only integers written as such ("1e3" passes isInt64), each a stored
    // peer: the library skips an id it cannot reach and would report success.
    Json::Value all = ids.isArray() ? ids : Json::Value(Json::arrayValue);
    if (!ids.isArray()) all.append(ids);
    for (const Json::Value& id : all) {
        if (id.type() != Json::intValue) throw UsageError{"IDS must hold peer ids only"};
        nodeExistsCheck((long)id.asInt64(), VURO_TARN_TYPE_PEER, "IDS");
    }
    Json::Value assign = assignParse(args);
    if (VUROTARNPeerSendUpdateServer(ids, assign) != 0) {
        fail("the connection info did not reach every server (see -v for which)");
    }
    Json::Value out;
    out["ids"] = ids;
    out["result"] = 0;
    printJson(out);
    return 0;
}

}  // namespace tarncli
