/* cmd_ou.cpp - "tarn ou create|get|set|delete|list". */
#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

void ouApplyOptions(const Args& args, VURO_TARN_OU* pOu) {
    if (args.has("name")) VUROTARNOuItemSetName(pOu, args.get("name").c_str());
    if (args.has("desc")) VUROTARNOuItemSetDescription(pOu, args.get("desc").c_str());
    if (args.has("parent")) VUROTARNOuItemSetParentID(pOu, parseLong(args.get("parent"), "--parent"));
    if (args.has("block")) {
        VUROTARNOuItemSetBlockInheritance(pOu, parseLong(args.get("block"), "--block"));
    }
    if (args.has("linked-gpo")) {
        VUROTARNOuItemSetLinkedGPO(pOu, parseJsonText(args.get("linked-gpo"), "--linked-gpo").c_str());
    }
    if (args.has("extra")) {
        VUROTARNOuItemSetExtraInfo(pOu, parseJsonText(args.get("extra"), "--extra").c_str());
    }
}

Json::Value ouJson(const VURO_TARN_OU* pOu) {
    Json::Value j;
    if (VUROTARNOuStructToJson(pOu, Json::Value(), j) != 0) {
        fail("cannot render OU as JSON");
    }
    return j;
}

}  // namespace

int cmdOu(const std::string& verb, const Args& args) {
    VURO_TARN_OU ou;
    if (verb == "create") {
        if (!args.has("name")) {
            throw UsageError{"ou create needs --name"};
        }
        ouApplyOptions(args, &ou);
        if (VUROTARNOuCreate(&ou) != 0) fail("cannot create OU");
        printJson(ouJson(&ou));
    } else if (verb == "get") {
        long id = singleId(args, "ou get");
        if (VUROTARNOuGet(id, &ou) != 0) fail("no OU with id " + std::to_string(id));
        printJson(ouJson(&ou));
    } else if (verb == "set") {
        long id = singleId(args, "ou set");
        if (VUROTARNOuGet(id, &ou) != 0) fail("no OU with id " + std::to_string(id));
        ouApplyOptions(args, &ou);
        if (VUROTARNOuSet(&ou) != 0) fail("cannot set OU " + std::to_string(id));
        printJson(ouJson(&ou));
    } else if (verb == "delete") {
        long id = singleId(args, "ou delete");
        if (VUROTARNOuDelete(id) != 0) fail("cannot delete OU " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
    } else if (verb == "list") {
        PQLIBSZHASH pParms = QLIBCSzHashAlloc(16);
        if (args.has("parent")) {
            QLIBCSzHashSetValue(&pParms, "parent_id",
                                std::to_string(parseLong(args.get("parent"), "--parent")).c_str());
        }
        QLIBCSzHashSetValue(&pParms, "sort_by", args.get("sort-by", "id").c_str());
        // Lists come back reversed, so ask for the opposite order.
        QLIBCSzHashSetValue(&pParms, "sort_direction", args.flag("desc-order") ? "ASC" : "DESC");
        if (args.has("limit")) {
            QLIBCSzHashSetValue(&pParms, "limit", std::to_string(parseLong(args.get("limit"), "--limit")).c_str());
        }
        if (args.has("offset")) {
            QLIBCSzHashSetValue(&pParms, "offset", std::to_string(parseLong(args.get("offset"), "--offset")).c_str());
        }
        VURO_TARN_OU_LIST pList = NULL;
        size_t total = 0;
        int r = VUROTARNOuList(pParms, &pList, &total);
        QLIBCSzHashFree(pParms);
        if (r != 0) fail("cannot list OUs");
        Json::Value j(Json::arrayValue);
        for (VURO_TARN_OU* p = pList; p != NULL; p = VUROTARNOuNext(p)) {
            j.append(ouJson(p));
        }
        VUROTARNOuListFree(&pList);
        printJson(j);
    } else {
        throw UsageError{"unknown ou command '" + verb + "'"};
    }
    return 0;
}

}  // namespace tarncli
