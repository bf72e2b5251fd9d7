/* cmd_delegate.cpp - "tarn delegate create|get|set|delete|delete-by-target|list". */
#include <limits.h>

#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

long holderTypeParse(const std::string& text) {
    if (text == "user") return VURO_TARN_TYPE_USER;
    if (text == "group") return VURO_TARN_TYPE_GROUP;
    throw UsageError{"--user-type is user or group, not '" + text + "'"};
}

void delegateApplyOptions(const Args& args, VURO_TARN_DELEGATE* pDelegate) {
    if (args.has("user-type")) {
        VUROTARNDelegateItemSetUserType(pDelegate, holderTypeParse(args.get("user-type")));
    }
    if (args.has("ugid")) {
        VUROTARNDelegateItemSetUGID(pDelegate,
                                    (unsigned long)parseULongLong(args.get("ugid"), "--ugid"));
    }
    if (args.has("target-type")) {
        VUROTARNDelegateItemSetTargetType(pDelegate,
                                          nodeTypeParse(args.get("target-type"), "--target-type"));
    }
    if (args.has("target")) {
        VUROTARNDelegateItemSetTargetID(
            pDelegate, (long)parseLongIn(args.get("target"), "--target", 0, LONG_MAX));
    }
    if (args.has("extra")) {
        VUROTARNDelegateItemSetExtraInfo(pDelegate,
                                         parseJsonText(args.get("extra"), "--extra").c_str());
    }
    // A delegation of a node that is not there gives nobody anything.
    if (args.has("target") || args.has("target-type")) {
        nodeExistsCheck(pDelegate->target_id, pDelegate->target_type,
                        args.has("target") ? "--target" : "--target-type");
    }
}

}  // namespace

int cmdDelegate(const std::string& verb, const Args& args) {
    VURO_TARN_DELEGATE delegate;
    if (verb == "create") {
        for (const char* need : {"user-type", "ugid", "target-type", "target"}) {
            if (!args.has(need)) {
                throw UsageError{
                    "delegate create needs --user-type, --ugid, --target-type and --target"};
            }
        }
        delegateApplyOptions(args, &delegate);
        if (VUROTARNDelegateCreate(&delegate) != 0) fail("cannot create delegate");
        printJson(recordJson(&delegate));
    } else if (verb == "get") {
        long id = singleId(args, "delegate get");
        if (VUROTARNDelegateGet(id, &delegate) != 0) {
            failNotFound("no delegate with id " + std::to_string(id));
        }
        printJson(recordJson(&delegate));
    } else if (verb == "set") {
        long id = singleId(args, "delegate set");
        if (VUROTARNDelegateGet(id, &delegate) != 0) {
            failNotFound("no delegate with id " + std::to_string(id));
        }
        delegateApplyOptions(args, &delegate);
        if (VUROTARNDelegateSet(&delegate) != 0) fail("cannot set delegate " + std::to_string(id));
        printJson(recordJson(&delegate));
    } else if (verb == "delete") {
        long id = singleId(args, "delegate delete");
        if (VUROTARNDelegateDelete(id) != 0) fail("cannot delete delegate " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
    } else if (verb == "delete-by-target") {
        if (!args.has("target-type") || !args.has("target")) {
            throw UsageError{"delegate delete-by-target needs --target-type and --target"};
        }
        long id = parseLong(args.get("target"), "--target");
        int type = (int)nodeTypeParse(args.get("target-type"), "--target-type");
        if (VUROTARNDelegateDeleteByTarget(id, type) != 0) {
            fail("cannot delete the delegates of " + std::to_string(id));
        }
        Json::Value j;
        j["deleted_target"] = (Json::Int64)id;
        j["target_type"] = type;
        printJson(j);
    } else if (verb == "list") {
        // The column holds the type's number, not its name.
        Args listArgs = args;
        if (args.has("target-type")) {
            listArgs.options["target-type"] =
                std::to_string(nodeTypeParse(args.get("target-type"), "--target-type"));
        }
        if (args.has("ugid")) {
            listArgs.options["ugid"] = std::to_string(parseULongLong(args.get("ugid"), "--ugid"));
        }
        ListQuery query(
            listArgs, {{"target", "target_id"}, {"target-type", "target_type"}, {"ugid", "ugid"}});
        VURO_TARN_DELEGATE_LIST pList = NULL;
        if (VUROTARNDelegateList(query.hash(), &pList, NULL) != 0) fail("cannot list delegates");
        printJson(listJsonReversed(pList));
        VUROTARNDelegateListFree(&pList);
    } else {
        throw UsageError{"unknown delegate command '" + verb + "'"};
    }
    return 0;
}

}  // namespace tarncli
