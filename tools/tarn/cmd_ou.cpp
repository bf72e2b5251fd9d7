/* cmd_ou.cpp - "tarn ou create|get|set|delete|list". */
#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

void ouApplyOptions(const Args& args, VURO_TARN_OU* pOu) {
    if (args.has("name")) VUROTARNOuItemSetName(pOu, args.get("name").c_str());
    if (args.has("desc")) VUROTARNOuItemSetDescription(pOu, args.get("desc").c_str());
    if (args.has("parent"))
        VUROTARNOuItemSetParentID(pOu, parseLong(args.get("parent"), "--parent"));
    if (args.has("block")) {
        VUROTARNOuItemSetBlockInheritance(pOu, parseLong(args.get("block"), "--block"));
    }
    if (args.has("linked-gpo")) {
        VUROTARNOuItemSetLinkedGPO(pOu,
                                   parseJsonText(args.get("linked-gpo"), "--linked-gpo").c_str());
    }
    if (args.has("extra")) {
        VUROTARNOuItemSetExtraInfo(pOu, parseJsonText(args.get("extra"), "--extra").c_str());
    }
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
        printJson(recordJson(&ou));
    } else if (verb == "get") {
        long id = singleId(args, "ou get");
        if (VUROTARNOuGet(id, &ou) != 0) fail("no OU with id " + std::to_string(id));
        printJson(recordJson(&ou));
    } else if (verb == "set") {
        long id = singleId(args, "ou set");
        if (VUROTARNOuGet(id, &ou) != 0) fail("no OU with id " + std::to_string(id));
        ouApplyOptions(args, &ou);
        if (VUROTARNOuSet(&ou) != 0) fail("cannot set OU " + std::to_string(id));
        printJson(recordJson(&ou));
    } else if (verb == "delete") {
        long id = singleId(args, "ou delete");
        if (VUROTARNOuDelete(id) != 0) fail("cannot delete OU " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
    } else if (verb == "list") {
        ListQuery query(args, {{"parent", "parent_id"}});
        VURO_TARN_OU_LIST pList = NULL;
        int r = VUROTARNOuList(query.hash(), &pList, NULL);
        if (r != 0) fail("cannot list OUs");
        printJson(listJsonReversed(pList));
        VUROTARNOuListFree(&pList);
    } else {
        throw UsageError{"unknown ou command '" + verb + "'"};
    }
    return 0;
}

}  // namespace tarncli
