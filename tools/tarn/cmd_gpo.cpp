/* cmd_gpo.cpp - "tarn gpo create|get|set|delete|list". */
#include <limits.h>

#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

void gpoApplyOptions(const Args& args, VURO_TARN_GPO* pGpo) {
    if (args.has("name")) VUROTARNGpoItemSetName(pGpo, args.get("name").c_str());
    if (args.has("desc")) VUROTARNGpoItemSetDescription(pGpo, args.get("desc").c_str());
    if (args.has("parent")) {
        VUROTARNGpoItemSetParentID(pGpo,
                                   (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX));
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
    // A policy whose owner is gone could be managed by nobody.
    if (args.has("parent") || args.has("parent-type")) {
        nodeExistsCheck(pGpo->parent_id, pGpo->parent_type,
                        args.has("parent") ? "--parent" : "--parent-type");
    }
}

}  // namespace

int cmdGpo(const std::string& verb, const Args& args) {
    VURO_TARN_GPO gpo;
    if (verb == "create") {
        // A policy without its owning node could be managed by nobody.
        if (!args.has("name") || !args.has("parent-type") || !args.has("parent")) {
            throw UsageError{"gpo create needs --name, --parent-type ou|peer and --parent"};
        }
        gpoApplyOptions(args, &gpo);
        if (VUROTARNGpoCreate(&gpo) != 0) fail("cannot create policy");
        printJson(recordJson(&gpo));
    } else if (verb == "get") {
        long id = singleId(args, "gpo get");
        if (VUROTARNGpoGet(id, &gpo) != 0) failNotFound("no policy with id " + std::to_string(id));
        printJson(recordJson(&gpo));
    } else if (verb == "set") {
        long id = singleId(args, "gpo set");
        if (VUROTARNGpoGet(id, &gpo) != 0) failNotFound("no policy with id " + std::to_string(id));
        gpoApplyOptions(args, &gpo);
        if (VUROTARNGpoSet(&gpo) != 0) fail("cannot set policy " + std::to_string(id));
        printJson(recordJson(&gpo));
    } else if (verb == "delete") {
        long id = singleId(args, "gpo delete");
        // With its links, so that no node keeps naming a policy that is gone.
        if (VUROTARNGpoDeleteAllByID(id) != 0) fail("cannot delete policy " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
    } else if (verb == "list") {
        // The column holds the type's number, not its name.
        Args listArgs = args;
        if (args.has("parent-type")) {
            listArgs.options["parent-type"] =
                std::to_string(nodeTypeParse(args.get("parent-type"), "--parent-type"));
        }
        ListQuery query(listArgs, {{"parent", "parent_id"}, {"parent-type", "parent_type"}});
        VURO_TARN_GPO_LIST pList = NULL;
        if (VUROTARNGpoList(query.hash(), &pList, NULL) != 0) fail("cannot list policies");
        printJson(listJsonReversed(pList));
        VUROTARNGpoListFree(&pList);
    } else {
        throw UsageError{"unknown gpo command '" + verb + "'"};
    }
    return 0;
}

}  // namespace tarncli
