/* cmd_peer.cpp - "tarn peer create|get|get-by-sn|set|delete|list". */
#include <limits.h>

#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

void peerApplyOptions(const Args& args, VURO_TARN_PEER* pPeer) {
    struct TextOption {
        const char* szOption;
        int (*set)(VURO_TARN_PEER*, const char*);
    };
    static const TextOption kTexts[] = {
        {"hostname", VUROTARNPeerItemSetHostName}, {"host", VUROTARNPeerItemSetHost},
        {"model", VUROTARNPeerItemSetModel},       {"version", VUROTARNPeerItemSetVersion},
        {"desc", VUROTARNPeerItemSetDescription},
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

int cmdPeer(const std::string& verb, const Args& args) {
    VURO_TARN_PEER peer;
    if (verb == "create") {
        if (!args.has("sn")) throw UsageError{"peer create needs --sn"};
        // A known serial is the same server: what is not named keeps its
        // stored value, as in "set".
        peerBySerialRead(args.get("sn"), &peer);
        peerApplyOptions(args, &peer);
        if (VUROTARNPeerCreate(&peer) != 0) fail("cannot store peer " + args.get("sn"));
    } else if (verb == "get") {
        long id = singleId(args, "peer get");
        if (VUROTARNPeerGet(id, &peer) != 0) fail("no peer with id " + std::to_string(id));
    } else if (verb == "get-by-sn") {
        if (args.positional.size() != 1) throw UsageError{"peer get-by-sn takes one serial"};
        if (VUROTARNPeerGetBySN(args.positional[0].c_str(), &peer) != 0) {
            fail("no peer with serial " + args.positional[0]);
        }
    } else if (verb == "set") {
        long id = singleId(args, "peer set");
        if (VUROTARNPeerGet(id, &peer) != 0) fail("no peer with id " + std::to_string(id));
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
    } else if (verb == "list") {
        ListQuery query(args, {{"parent", "parent_id"}, {"sn", "sn"}});
        VURO_TARN_PEER_LIST pList = NULL;
        if (VUROTARNPeerList(query.hash(), &pList, NULL) != 0) fail("cannot list peers");
        printJson(listJsonReversed(pList));
        VUROTARNPeerListFree(&pList);
        return 0;
    } else {
        throw UsageError{"unknown peer command '" + verb + "'"};
    }
    printJson(recordJson(&peer));
    return 0;
}

}  // namespace tarncli
