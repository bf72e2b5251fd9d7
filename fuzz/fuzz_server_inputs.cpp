/* fuzz_server_inputs.cpp - what this server takes in about itself and
 * publishes: a MAC for the wake code (from a peer's report or the CLI), the
 * caller's fixing of the published connection info, and the network file.
 * A MAC that parses formats to the one 17-character form the wake tool
 * takes; the collection gives an array of entries with a host, or nothing. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <vurojson.h>
#include <vuronetsdk.h>

#include "fuzz_root.h"
#include "tarnpeer-ext/tarnpeer_wakeup_int.h"
#include "vurotarnpeer_updateserver.h"

using namespace tarnfuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    return 0;
}

/* Input: MAC text NUL the caller's JSON NUL network.json. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 3);

    unsigned int mac[6] = {0};
    if (VUROTARNPeerMacParse(mac, parts[0].c_str()) == 6) {
        char text[32];
        int n = snprintf(text, sizeof(text), "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1],
                         mac[2], mac[3], mac[4], mac[5]);
        unsigned int again[6];
        if (n != 17 || VUROTARNPeerMacParse(again, text) != 6 || memcmp(mac, again, sizeof(mac))) {
            abort();
        }
    }

    rootFileWrite(VURONET_CONF_PATH, parts[2]);
    VURONetConfig cfg;
    if (VURONetConfigRead(cfg)) {
        if (!cfg.fromFile) abort();  // the file is there: nothing else is read
        for (const VURONetInterface& nif : cfg.interfaces) {
            if (nif.name.empty()) abort();
        }
    } else if (cfg.fromFile || !cfg.interfaces.empty()) {
        abort();  // a refused file leaves nothing behind
    }

    Json::Value assign;
    if (!vurojson::fromString(assign, parts[1])) assign = Json::Value();
    Json::Value server(Json::objectValue);
    if (VUROTARNPeerCollectConnectInfo(server, assign)) {
        if (!server.isArray()) abort();
        for (const Json::Value& entry : server) {
            if (!entry.isObject() || !entry.isMember("host")) abort();
        }
    } else if (!server.isNull()) {
        abort();
    }
    return 0;
}
