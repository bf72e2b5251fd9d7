/* cmd_delegate.cpp - "tarn delegate create|get|delete|delete-by-target|list". */
#include <string>

#include "cli.h"

namespace tarncli {

long holderTypeParse(const std::string& text);
long targetTypeParse(const std::string& text);

int cmdDelegate(const std::string& verb, const Args& args) {
    VURO_TARN_DELEGATE delegate;
    if (verb == "create") {
        for (const char* need : {"user-type", "ugid", "target-type", "target"}) {
            if (!args.has(need)) {
                throw UsageError{
                    "delegate create needs --user-type, --ugid, --target-type, "
                    "--target"};
            }
        }
        VUROTARNDelegateItemSetUserType(&delegate, holderTypeParse(args.get("user-type")));
        VUROTARNDelegateItemSetUGID(&delegate,
                                    (unsigned long)parseULongLong(args.get("ugid"), "--ugid"));
        VUROTARNDelegateItemSetTargetType(&delegate, targetTypeParse(args.get("target-type")));
        VUROTARNDelegateItemSetTargetID(&delegate, parseLong(args.get("target"), "--target"));
        if (args.has("extra")) {
            VUROTARNDelegateItemSetExtraInfo(&delegate,
                                             parseJsonText(args.get("extra"), "--extra").c_str());
        }
        if (VUROTARNDelegateCreate(&delegate) != 0) fail("cannot create delegate");
    } else if (verb == "get") {
        long id = singleId(args, "delegate get");
        if (VUROTARNDelegateGet(id, &delegate) != 0) {
            fail("no delegate with id " + std::to_string(id));
        }
    } else if (verb == "delete") {
        long id = singleId(args, "delegate delete");
        if (VUROTARNDelegateDelete(id) != 0) fail("cannot delete delegate " + std::to_string(id));
        Json::Value j;
        j["deleted"] = (Json::Int64)id;
        printJson(j);
        return 0;
    } else if (verb == "delete-by-target") {
        if (!args.has("target-type") || !args.has("target")) {
            throw UsageError{"delegate delete-by-target needs --target-type and --target"};
        }
        long id = parseLong(args.get("target"), "--target");
        if (VUROTARNDelegateDeleteByTarget(id, (int)targetTypeParse(args.get("target-type"))) !=
            0) {
            fail("cannot delete the delegates of " + std::to_string(id));
        }
        Json::Value j;
        j["deleted_target"] = (Json::Int64)id;
        printJson(j);
        return 0;
    } else if (verb == "list") {
        ListQuery query(args, {{"target", "target_id"}, {"ugid", "ugid"}});
        if (args.has("target-type")) {
            PQLIBSZHASH h = query.hash();
            QLIBCSzHashSetValue(&h, "target_type",
                                std::to_string(targetTypeParse(args.get("target-type"))).c_str());
        }
        VURO_TARN_DELEGATE_LIST pList = NULL;
        if (VUROTARNDelegateList(query.hash(), &pList, NULL) != 0) fail("cannot list delegates");
        printJson(listJson(pList));
        VUROTARNDelegateListFree(&pList);
        return 0;
    } else {
        throw UsageError{"unknown delegate command '" + verb + "'"};
    }
    printJson(recordJson(&delegate));
    return 0;
}

}  // namespace tarncli
