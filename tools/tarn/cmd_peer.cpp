/* cmd_peer.cpp - "tarn peer create|get|get-by-sn|set|delete|list", and the
 * remote side of a peer: "call", "credential", "relay-refresh" and "import"
 * of a fleet file. */
#include <limits.h>
#include <stdio.h>
#include <syslog.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli.h"
#include "vurojson.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

void peerApplyOptions(const Args& args, VURO_TARN_PEER* pPeer) {
    struct TextOption {
        const char* szOption;
        int (*set)(VURO_TARN_PEER*, const char*);
    };
    static const TextOption kTexts[] = {
        {"hostname", VUROTARNPeerItemSetHostName},    {"host", VUROTARNPeerItemSetHost},
        {"model", VUROTARNPeerItemSetModel},          {"version", VUROTARNPeerItemSetVersion},
        {"desc", VUROTARNPeerItemSetDescription},     {"sid", VUROTARNPeerItemSetSID},
        {"vuro-token", VUROTARNPeerItemSetVuroToken},
    };
    struct NumberOption {
        const char* szOption;
        int (*set)(VURO_TARN_PEER*, long);
        long lo, hi;
    };
    static const NumberOption kNumbers[] = {
        {"http-port", VUROTARNPeerItemSetHttpPort, 1, 65535},
        {"https-port", VUROTARNPeerItemSetHttpsPort, 1, 65535},
        {"block", VUROTARNPeerItemSetBlockInheritance, 0, 1},
        {"buildnum", VUROTARNPeerItemSetBuildNum, 0, LONG_MAX},
    };
    for (const TextOption& o : kTexts) {
        if (args.has(o.szOption)) o.set(pPeer, args.get(o.szOption).c_str());
    }
    for (const NumberOption& o : kNumbers) {
        if (args.has(o.szOption)) {
            std::string what = std::string("--") + o.szOption;
            o.set(pPeer, (long)parseLongIn(args.get(o.szOption), what.c_str(), o.lo, o.hi));
        }
    }
    if (args.has("parent")) {
        long idParent = (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX);
        nodeExistsCheck(idParent, VURO_TARN_TYPE_OU, "--parent");
        VUROTARNPeerItemSetParentID(pPeer, idParent);
    }
    if (args.has("extra")) {
        VUROTARNPeerItemSetExtraInfo(pPeer, parseJsonText(args.get("extra"), "--extra").c_str());
    }
    if (args.has("linked-gpo")) {
        VUROTARNPeerItemSetLinkedGPO(pPeer,
                                     linkTextParse(args.get("linked-gpo"), "--linked-gpo").c_str());
    }
    if (args.has("relaypath")) {
        // The relay id has no item setter of its own.
        Json::Value j;
        j["relaypath"] = args.get("relaypath");
        VUROTARNPeerJsonToStruct(j, pPeer);
    }
}

/* The stored record of a serial, or a new record with that serial. */
void peerBySerialRead(const std::string& sn, VURO_TARN_PEER* pPeer) {
    VURO_TARN_PEER_LIST pList = NULL;
    if (VUROTARNPeerListBySn(sn.c_str(), &pList) != 0) fail("cannot read the peer " + sn);
    if (pList != NULL) {
        *pPeer = *pList;
        pPeer->pNext = NULL;
    }
    VUROTARNPeerListFree(&pList);
    VUROTARNPeerItemSetSN(pPeer, sn.c_str());
}

}  // namespace

/* A token as the tool shows it: enough to tell two apart, never the whole. */
std::string tokenShort(const std::string& token) {
    if (token.empty()) return "";
    return token.substr(0, token.size() > 12 ? 4 : 0) + "...(" + std::to_string(token.size()) +
           " chars)";
}

/* Records as the tool prints them: the two tokens of each shortened. */
Json::Value tokensShortened(Json::Value j) {
    if (j.isArray()) {
        for (Json::Value& e : j) e = tokensShortened(e);
    } else if (j.isObject()) {
        for (const char* key : {"sid", "vuro_token"}) {
            if (j.isMember(key) && j[key].isString()) j[key] = tokenShort(j[key].asString());
        }
    }
    return j;
}

namespace {

/* The ways a stored peer offers, for -v. */
std::string peerWaysText(const VURO_TARN_PEER& peer) {
    std::string text = "host " + (peer.str_host.empty() ? "(none)" : peer.str_host);
    text += ", https_port " + std::to_string(peer.https_port);
    text += ", http_port " + std::to_string(peer.http_port);
    text += ", relay " + (peer.str_relaypath.empty() ? "(none)" : peer.str_relaypath);
    return text;
}

/* "peer call ID API VERSION METHOD [PARAMS]": the answer as JSON; exit 0
 * only when the call gave 0, whatever the answer says. The way it took goes
 * to the log beside the credential library's own lines, so -v shows it. */
int peerCall(const Args& args) {
    if (args.positional.size() < 4) {
        throw UsageError{"peer call takes ID API VERSION METHOD [PARAMS]"};
    }
    long id = (long)parseLongIn(args.positional[0], "the peer id", 0, LONG_MAX);
    const std::string& api = args.positional[1];
    int version = (int)parseLongIn(args.positional[2], "the version", 0, INT_MAX);
    const std::string& method = args.positional[3];
    if (api.empty() || method.empty()) throw UsageError{"peer call needs an API and a method"};
    Json::Value jParams(Json::objectValue);
    if (args.positional.size() == 5) {
        Json::Value j;
        if (!vurojson::fromString(j, args.positional[4]) || !j.isObject()) {
            throw UsageError{"PARAMS must be a JSON object"};
        }
        jParams = j;
    }
    VURO_TARN_PEER before;
    if (VUROTARNPeerGet(id, &before) != 0) failNotFound("no peer with id " + std::to_string(id));
    syslog(LOG_INFO, "peer %ld: %s", id, peerWaysText(before).c_str());
    Json::Value jResp;
    int rc = VUROTARNPeerSendWebapiByID(id, jResp, api, version, method, jParams);
    // The relay refresh is the one write of a call: show where it led.
    VURO_TARN_PEER after;
    if (VUROTARNPeerGet(id, &after) == 0 &&
        (after.str_host != before.str_host || after.http_port != before.http_port ||
         after.https_port != before.https_port)) {
        syslog(LOG_INFO, "relay lookup moved peer %ld: %s", id, peerWaysText(after).c_str());
    }
    if (rc != 0) {
        fail("the call " + api + " " + method + " to peer " + std::to_string(id) + " failed");
    }
    printJson(jResp);
    return 0;
}

/* "peer credential ID": the destination a call would take, tokens shortened. */
int peerCredential(const Args& args) {
    long id = singleId(args, "peer credential");
    VURO_CRED* pCred = VUROCredAlloc();
    VURO_CRED_SESS* pSess = VUROCredSessAlloc();
    if (pCred == NULL || pSess == NULL) fail("out of memory");
    int rc = VUROTARNPeerGetCredential(id, pCred, pSess);
    Json::Value j;
    long idCred = 0, port = 0;
    char szHost[256] = "", szProtocol[16] = "", szAccess[1024] = "", szCsrf[1024] = "";
    VUROCredItemGetID(pCred, &idCred);
    VUROCredItemGetPort(pCred, &port);
    VUROCredItemGetHost(pCred, szHost, sizeof(szHost));
    VUROCredItemGetProtocol(pCred, szProtocol, sizeof(szProtocol));
    VUROCredSessItemGetAccessToken(pSess, szAccess, sizeof(szAccess));
    VUROCredSessItemGetCsrfToken(pSess, szCsrf, sizeof(szCsrf));
    VUROCredFree(pCred);
    VUROCredSessFree(pSess);
    if (rc != 0) fail("peer " + std::to_string(id) + " has no way to be called");
    j["id"] = (Json::Int64)idCred;
    j["protocol"] = szProtocol;
    j["host"] = szHost;
    j["port"] = (Json::Int64)port;
    j["access_token"] = tokenShort(szAccess);
    j["csrf_token"] = tokenShort(szCsrf);
    printJson(j);
    return 0;
}

/* One member of a fleet entry: text, or a whole number in a range. */
std::string fleetText(const Json::Value& e, const char* key, size_t i, bool required) {
    const Json::Value& v = e[key];
    if (v.isNull() && !required) return "";
    if (!v.isString() || (required && v.asString().empty())) {
        throw UsageError{"fleet entry " + std::to_string(i) + ": " + key + " must be a text"};
    }
    return v.asString();
}
long fleetNumber(const Json::Value& e, const char* key, size_t i, long lo, long hi) {
    const Json::Value& v = e[key];
    if (v.isNull()) return 0;
    if (!v.isInt64() || v.asInt64() < lo || v.asInt64() > hi) {
        throw UsageError{"fleet entry " + std::to_string(i) + ": " + key +
                         " must be a number from " + std::to_string(lo) + " to " +
                         std::to_string(hi)};
    }
    return (long)v.asInt64();
}

/* "peer import FLEET.json [--parent ID]": the simulator's fleet file as
 * peer records. Every entry is checked before the first is stored. */
int peerImport(const Args& args) {
    if (args.positional.size() != 1) throw UsageError{"peer import takes one fleet file"};
    Json::Value jFleet;
    {
        // A path of the caller's machine, not one below the system root.
        std::ifstream in(args.positional[0], std::ios::binary);
        if (!in) throw UsageError{"cannot read " + args.positional[0]};
        std::stringstream text;
        text << in.rdbuf();
        if (!vurojson::fromString(jFleet, text.str())) {
            throw UsageError{args.positional[0] + " is no JSON"};
        }
    }
    if (jFleet.isObject()) {
        jFleet = jFleet.isMember("servers") ? jFleet["servers"] : jFleet["peers"];
    }
    if (!jFleet.isArray()) throw UsageError{"a fleet file holds an array of servers"};
    long idParent = 0;
    if (args.has("parent")) {
        idParent = (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX);
        nodeExistsCheck(idParent, VURO_TARN_TYPE_OU, "--parent");
    }
    std::vector<VURO_TARN_PEER> peers;
    for (Json::ArrayIndex i = 0; i < jFleet.size(); i++) {
        const Json::Value& e = jFleet[i];
        if (!e.isObject()) throw UsageError{"fleet entry " + std::to_string(i) + " is no object"};
        VURO_TARN_PEER peer;
        peerBySerialRead(fleetText(e, "sn", i, true), &peer);
        std::string hostname = fleetText(e, "hostname", i, false);
        VUROTARNPeerItemSetHostName(&peer, (hostname.empty() ? peer.str_sn : hostname).c_str());
        VUROTARNPeerItemSetHost(&peer, fleetText(e, "host", i, true).c_str());
        VUROTARNPeerItemSetSID(&peer, fleetText(e, "access_token", i, true).c_str());
        VUROTARNPeerItemSetModel(&peer, fleetText(e, "model", i, false).c_str());
        VUROTARNPeerItemSetVersion(&peer, fleetText(e, "kelp_version", i, false).c_str());
        VUROTARNPeerItemSetBuildNum(&peer, fleetNumber(e, "build_number", i, 0, LONG_MAX));
        VUROTARNPeerItemSetHttpPort(&peer, fleetNumber(e, "http_port", i, 0, 65535));
        VUROTARNPeerItemSetHttpsPort(&peer, fleetNumber(e, "https_port", i, 0, 65535));
        std::string relay =
            fleetText(e, e.isMember("relay_id") ? "relay_id" : "relaypath", i, false);
        if (!relay.empty()) {
            Json::Value j;
            j["relaypath"] = relay;
            VUROTARNPeerJsonToStruct(j, &peer);
        }
        VUROTARNPeerItemSetParentID(&peer, idParent);
        peers.push_back(peer);
    }
    Json::Value jOut(Json::arrayValue);
    for (VURO_TARN_PEER& peer : peers) {
        if (VUROTARNPeerCreate(&peer) != 0) {
            fail("cannot store peer " + peer.str_sn + " (" + std::to_string(jOut.size()) +
                 " of the fleet stored before it)");
        }
        jOut.append(tokensShortened(recordJson(&peer)));
    }
    printJson(jOut);
    return 0;
}

}  // namespace

int cmdPeer(const std::string& verb, const Args& args) {
    VURO_TARN_PEER peer;
    if (verb == "call") return peerCall(args);
    if (verb == "credential") return peerCredential(args);
    if (verb == "import") return peerImport(args);
    if (verb == "create") {
        if (!args.has("sn")) throw UsageError{"peer create needs --sn"};
        // A known serial is the same server: what is not named keeps its
        // stored value, as in "set".
        peerBySerialRead(args.get("sn"), &peer);
        peerApplyOptions(args, &peer);
        if (VUROTARNPeerCreate(&peer) != 0) fail("cannot store peer " + args.get("sn"));
    } else if (verb == "get") {
        long id = singleId(args, "peer get");
        if (VUROTARNPeerGet(id, &peer) != 0) failNotFound("no peer with id " + std::to_string(id));
    } else if (verb == "get-by-sn") {
        if (args.positional.size() != 1) throw UsageError{"peer get-by-sn takes one serial"};
        if (VUROTARNPeerGetBySN(args.positional[0].c_str(), &peer) != 0) {
            failNotFound("no peer with serial " + args.positional[0]);
        }
    } else if (verb == "set") {
        long id = singleId(args, "peer set");
        if (VUROTARNPeerGet(id, &peer) != 0) failNotFound("no peer with id " + std::to_string(id));
        // The serial is the row's key: a new one would store a second
        // server, or overwrite the one that has it.
        if (args.has("sn") && args.get("sn") != peer.str_sn) {
            throw UsageError{"the serial of peer " + std::to_string(id) + " is " + peer.str_sn +
                             " and cannot be changed"};
        }
        peerApplyOptions(args, &peer);
        // The status setters stamp the time of the change, so the row is
        // rewritten even when the status itself stays the same.
        if (args.has("status")) {
            VUROTARNPeerItemSetStatus(&peer, parseLong(args.get("status"), "--status"));
        }
        if (args.has("status-by-server")) {
            VUROTARNPeerItemSetStatusByServer(
                &peer, parseLong(args.get("status-by-server"), "--status-by-server"));
        }
        if (VUROTARNPeerSet(&peer) != 0) fail("cannot set peer " + std::to_string(id));
    } else if (verb == "delete") {
        long id = singleId(args, "peer delete");
        if (VUROTARNPeerDelete(id) != 0) fail("cannot delete peer " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
        return 0;
    } else if (verb == "relay-refresh") {
        long id = singleId(args, "peer relay-refresh");
        if (VUROTARNPeerUpdateRelayPathByID(id) != 0) {
            fail("the relay refresh of peer " + std::to_string(id) + " failed");
        }
        if (VUROTARNPeerGet(id, &peer) != 0) failNotFound("no peer with id " + std::to_string(id));
    } else if (verb == "list") {
        ListQuery query(args, {{"parent", "parent_id"}, {"sn", "sn"}});
        VURO_TARN_PEER_LIST pList = NULL;
        if (VUROTARNPeerList(query.hash(), &pList, NULL) != 0) fail("cannot list peers");
        printJson(tokensShortened(listJsonReversed(pList)));
        VUROTARNPeerListFree(&pList);
        return 0;
    } else {
        throw UsageError{"unknown peer command '" + verb + "'"};
    }
    printJson(tokensShortened(recordJson(&peer)));
    return 0;
}

}  // namespace tarncli
