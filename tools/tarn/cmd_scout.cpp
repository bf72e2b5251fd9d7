/* cmd_scout.cpp - "tarn discover" (servers on the LAN, by serial, by peer
 * id or all, and the statuses their answers give) and "tarn wake" (a wake
 * packet for a MAC or for every MAC a peer reported). */
#include <limits.h>

#include <string>
#include <vector>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

Json::Value nasJson(const NASINFO& n) {
    Json::Value j;
    j["found"] = n.szNewSerial[0] != '\0';
    // An empty slot: no server of that serial answered.
    if (n.szNewSerial[0] == '\0') return j;
    j["sn"] = n.szNewSerial;
    j["mac"] = n.szMac;
    j["server_name"] = n.szServerName;
    j["model"] = n.szModel;
    j["ip"] = n.szIP;
    j["packet_type"] = n.ulPacketType;
    j["configured"] = n.ulConfigured;
    j["status"] = VUROTARNPeerStatusFromScout(n.ulConfigured);
    return j;
}

std::vector<long> idsParse(const std::string& text) {
    std::vector<long> ids;
    for (const std::string& item : splitNames(text)) {
        long id = (long)parseLongIn(item, "an id of --ids", 1, LONG_MAX);
        nodeExistsCheck(id, VURO_TARN_TYPE_PEER, "--ids");
        ids.push_back(id);
    }
    if (ids.empty()) throw UsageError{"--ids wants a comma list of peer ids"};
    return ids;
}

/* The stored status of each peer, after an update. */
Json::Value statusesJson(const std::vector<long>& ids) {
    Json::Value out(Json::arrayValue);
    for (long id : ids) {
        VURO_TARN_PEER peer;
        if (VUROTARNPeerGet(id, &peer) != 0) fail("cannot read peer " + std::to_string(id));
        Json::Value j;
        j["id"] = (Json::Int64)id;
        j["sn"] = peer.str_sn;
        j["status"] = (Json::Int64)peer.status;
        j["uptime_mtime"] = (Json::Int64)peer.uptime_mtime;
        out.append(j);
    }
    return out;
}

}  // namespace

int cmdDiscover(const Args& args) {
    bool byId = args.has("ids") || args.flag("all");
    if (args.has("sn") + args.has("ids") + args.flag("all") > 1) {
        throw UsageError{"discover takes one of --sn, --ids and --all"};
    }
    if (args.flag("update") && !byId) throw UsageError{"--update goes with --ids or --all"};
    std::vector<NASINFO> found;
    Json::Value out(Json::arrayValue);
    if (!byId) {
        std::vector<std::string> serials = splitNames(args.get("sn"));
        if (args.has("sn") && serials.empty()) throw UsageError{"--sn wants a comma list"};
        if (VUROTARNPeerGetScoutInfoBySN(serials, found) != 0) {
            fail("the scan failed (a serial given twice, or the discovery socket; -v shows it)");
        }
        for (size_t i = 0; i < found.size(); i++) {
            Json::Value j = nasJson(found[i]);
            if (i < serials.size()) j["asked"] = serials[i];
            out.append(j);
        }
        printJson(out);
        return 0;
    }
    std::vector<long> ids;
    if (args.has("ids")) ids = idsParse(args.get("ids"));
    if (args.flag("update")) {
        if (VUROTARNPeerUpdateScoutStatusByID(ids) != 0) {
            fail("cannot scan or store the statuses (-v shows which)");
        }
        printJson(statusesJson(ids));
        return 0;
    }
    if (VUROTARNPeerGetScoutInfoByID(ids, found) != 0) {
        fail("cannot read the peers or scan (-v shows which)");
    }
    for (size_t i = 0; i < found.size(); i++) {
        Json::Value j = nasJson(found[i]);
        if (i < ids.size()) j["id"] = (Json::Int64)ids[i];
        out.append(j);
    }
    printJson(out);
    return 0;
}

int cmdWake(const Args& args) {
    if (args.has("mac") == args.has("peer")) throw UsageError{"wake takes --mac or --peer"};
    Json::Value j;
    if (args.has("mac")) {
        std::string mac = args.get("mac");
        unsigned int b[6];
        int n = 0;
        // Refused here as bad input, before the library calls it a failure.
        bool dash = sscanf(mac.c_str(), "%2x-%2x-%2x-%2x-%2x-%2x%n", &b[0], &b[1], &b[2], &b[3],
                           &b[4], &b[5], &n) == 6 &&
                    n == (int)mac.size();
        n = 0;
        bool colon = sscanf(mac.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &b[0], &b[1], &b[2], &b[3],
                            &b[4], &b[5], &n) == 6 &&
                     n == (int)mac.size();
        if (!dash && !colon) {
            throw UsageError{"--mac is AA:BB:CC:DD:EE:FF or AA-BB-..., not '" + mac + "'"};
        }
        if (VUROTARNPeerWakeOnLan(mac.c_str()) != 0) {
            fail("cannot wake " + mac + ": no network interface to send from (-v shows why)");
        }
        j["mac"] = mac;
    } else {
        long id = (long)parseLongIn(args.get("peer"), "--peer", 1, LONG_MAX);
        nodeExistsCheck(id, VURO_TARN_TYPE_PEER, "--peer");
        if (VUROTARNPeerWakeOnLanByID(id) != 0) {
            fail("cannot wake peer " + std::to_string(id) +
                 ": no MAC addresses in its network information (-v shows why)");
        }
        j["peer"] = (Json::Int64)id;
    }
    // The wake tool's own exit is not reported back: whether a server
    // wakes shows only at the next scan.
    j["requested"] = true;
    printJson(j);
    return 0;
}

}  // namespace tarncli
