/* cmd_gpo.cpp - "tarn gpo create|get|set|delete|list". */
#include <string>

#include "cli.h"

namespace tarncli {

namespace {

long nodeTypeParse(const std::string& text, const char* what) {
    if (text == "ou") return VURO_TARN_TYPE_OU;
    if (text == "peer") return VURO_TARN_TYPE_PEER;
    throw UsageError{std::string(what) + " is ou or peer, not '" + text + "'"};
}

void gpoApplyOptions(const Args& args, VURO_TARN_GPO* pGpo) {
    if (args.has("name")) VUROTARNGpoItemSetName(pGpo, args.get("name").c_str());
    if (args.has("desc")) VUROTARNGpoItemSetDescription(pGpo, args.get("desc").c_str());
    if (args.has("parent")) {
        VUROTARNGpoItemSetParentID(pGpo, parseLong(args.get("parent"), "--parent"));
    }
    if (args.has("parent-type")) {
        VUROTARNGpoItemSetParentType(pGpo, nodeTypeParse(args.get("parent-type"), "--parent-type"));
    }
    if (args.has("setting")) {
        VUROTARNGpoItemSetSetting(pGpo, parseJsonText(args.get("setting"), "--setting").c_str());
    }
    if (args.has("extra")) {
        VUROTARNGpoItemSetExtraInfo(pGpo, parseJsonText(args.get("extra"), "--extra").c_str());
    }
}

}  // namespace

int cmdGpo(const std::string& verb, const Args& args) {
    VURO_TARN_GPO gpo;
    if (verb == "create") {
        if (!args.has("name") || !args.has("parent-type")) {
            throw UsageError{"gpo create needs --name and --parent-type ou|peer"};
        }
        gpoApplyOptions(args, &gpo);
        if (VUROTARNGpoCreate(&gpo) != 0) fail("cannot create policy");
    } else if (verb == "get") {
        long id = singleId(args, "gpo get");
        if (VUROTARNGpoGet(id, &gpo) != 0) fail("no policy with id " + std::to_string(id));
    } else if (verb == "set") {
        long id = singleId(args, "gpo set");
        if (VUROTARNGpoGet(id, &gpo) != 0) fail("no policy with id " + std::to_string(id));
        gpoApplyOptions(args, &gpo);
        if (VUROTARNGpoSet(&gpo) != 0) fail("cannot set policy " + std::to_string(id));
    } else if (verb == "delete") {
        long id = singleId(args, "gpo delete");
        if (VUROTARNGpoDelete(id) != 0) fail("cannot delete policy " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
        return 0;
    } else if (verb == "list") {
        ListQuery query(args, {{"parent", "parent_id"}});
        if (args.has("parent-type")) {
            PQLIBSZHASH h = query.hash();
            QLIBCSzHashSetValue(
                &h, "parent_type",
                std::to_string(nodeTypeParse(args.get("parent-type"), "--parent-type")).c_str());
        }
        VURO_TARN_GPO_LIST pList = NULL;
        if (VUROTARNGpoList(query.hash(), &pList, NULL) != 0) fail("cannot list policies");
        printJson(listJson(pList));
        VUROTARNGpoListFree(&pList);
        return 0;
    } else {
        throw UsageError{"unknown gpo command '" + verb + "'"};
    }
    printJson(recordJson(&gpo));
    return 0;
}

/* "user" or "group" for delegates; shared with cmd_delegate.cpp. */
long holderTypeParse(const std::string& text) {
    if (text == "user") return VURO_TARN_TYPE_USER;
    if (text == "group") return VURO_TARN_TYPE_GROUP;
    throw UsageError{"--user-type is user or group, not '" + text + "'"};
}

long targetTypeParse(const std::string& text) { return nodeTypeParse(text, "--target-type"); }

}  // namespace tarncli
