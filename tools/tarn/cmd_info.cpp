/* cmd_info.cpp - "tarn info set|get|get-by-peer|list|delete": what a peer
 * reported about itself, one row per peer. */
#include <limits.h>

#include <string>

#include <vurojson.h>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

Json::Value infoJson(const VURO_TARN_INFO* pInfo) {
    Json::Value j;
    if (VUROTARNInfoStructToJson(pInfo, Json::Value(), j) != 0) {
        fail("cannot render server information as JSON");
    }
    return j;
}

unsigned long long infoSingleNumber(const Args& args, const char* what, const char* noun) {
    if (args.positional.size() != 1) throw UsageError{std::string(what) + " takes one " + noun};
    return parseULongLong(args.positional[0], noun);
}

}  // namespace

int cmdInfo(const std::string& verb, const Args& args) {
    VURO_TARN_INFO info;
    if (verb == "set") {
        if (!args.has("peer")) throw UsageError{"info set needs --peer"};
        // The same way in as a peer's report: one JSON object.
        Json::Value jReport(Json::objectValue);
        long peer = (long)parseLongIn(args.get("peer"), "--peer", 0, LONG_MAX);
        nodeExistsCheck(peer, VURO_TARN_TYPE_PEER, "--peer");
        jReport["peer_id"] = (Json::UInt64)peer;
        static const std::pair<const char*, const char*> kMembers[] = {
            {"general", "general"},           {"network", "network"}, {"hdd-info", "hdd_info"},
            {"vol-info", "vol_info"},         {"session", "session"}, {"define", "define"},
            {"storage-info", "storage_info"},
        };
        for (const auto& m : kMembers) {
            if (!args.has(m.first)) continue;
            std::string option = std::string("--") + m.first;
            vurojson::fromString(jReport[m.second],
                                 parseJsonText(args.get(m.first), option.c_str()));
        }
        if (VUROTARNInfoJsonToStruct(jReport, &info) != 0 || VUROTARNInfoSave(&info) != 0) {
            fail("cannot store server information of peer " + args.get("peer"));
        }
    } else if (verb == "get") {
        unsigned long long id = infoSingleNumber(args, "info get", "id");
        if (VUROTARNInfoGet(id, &info) != 0 || !info.available) {
            failNotFound("no server information with id " + std::to_string(id));
        }
    } else if (verb == "get-by-peer") {
        unsigned long long peer = infoSingleNumber(args, "info get-by-peer", "peer id");
        if (VUROTARNInfoGetByPEER(peer, &info) != 0 || !info.available) {
            failNotFound("no server information of peer " + std::to_string(peer));
        }
    } else if (verb == "delete") {
        unsigned long long id = infoSingleNumber(args, "info delete", "id");
        if (VUROTARNInfoGet(id, &info) != 0 || !info.available) {
            failNotFound("no server information with id " + std::to_string(id));
        }
        if (VUROTARNInfoDelete(id) != 0) {
            fail("cannot delete server information " + std::to_string(id));
        }
        Json::Value j;
        j["deleted"] = (Json::UInt64)id;
        printJson(j);
        return 0;
    } else if (verb == "list") {
        VURO_TARN_INFO_LIST pList = NULL;
        int ret = args.has("sn") ? VUROTARNInfoListBySn(args.get("sn").c_str(), &pList)
                                 : VUROTARNInfoList(NULL, &pList, NULL);
        if (ret != 0) fail("cannot list server information");
        // Rows come back in reverse: print them in the table's order.
        Json::Value out(Json::arrayValue);
        for (const VURO_TARN_INFO* p = pList; p != NULL; p = p->pNext) out.insert(0, infoJson(p));
        VUROTARNInfoListFree(&pList);
        printJson(out);
        return 0;
    } else {
        throw UsageError{"unknown info command '" + verb + "'"};
    }
    printJson(infoJson(&info));
    return 0;
}

}  // namespace tarncli
