/* cmd_ou.cpp - "tarn ou create|get|set|delete|list". */
#include <limits.h>

#include <string>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

void ouApplyOptions(const Args& args, VURO_TARN_OU* pOu) {
    if (args.has("name")) VUROTARNOuItemSetName(pOu, args.get("name").c_str());
    if (args.has("desc")) VUROTARNOuItemSetDescription(pOu, args.get("desc").c_str());
    if (args.has("parent")) {
        long idParent = (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX);
        nodeExistsCheck(idParent, VURO_TARN_TYPE_OU, "--parent");
        VUROTARNOuItemSetParentID(pOu, idParent);
    }
    if (args.has("block")) {
        VUROTARNOuItemSetBlockInheritance(pOu,
                                          (long)parseLongIn(args.get("block"), "--block", 0, 1));
    }
    if (args.has("linked-gpo")) {
        VUROTARNOuItemSetLinkedGPO(pOu,
                                   linkTextParse(args.get("linked-gpo"), "--linked-gpo").c_str());
    }
    if (args.has("extra")) {
        VUROTARNOuItemSetExtraInfo(pOu, parseJsonText(args.get("extra"), "--extra").c_str());
    }
}

/* A new parent of OU id must not be the OU itself or below it: the tree
 * would become a loop that no walk can finish. */
void ouParentLoopCheck(long id, long idParent) {
    if (id == 0) throw UsageError{"the root OU has no parent to change"};
    PQLIBSZLIST pPath = QLIBCSzListAlloc(16);
    if (pPath == NULL) fail("out of memory");
    int r = VUROTARNOuListTreePath(idParent, pPath);
    bool blLoop = false;
    for (int i = 0; r >= 0 && i < pPath->nItem; i++) {
        if (std::to_string(id) == pPath->pszItem[i]) blLoop = true;
    }
    QLIBCSzListFree(pPath);
    if (r < 0) fail("cannot read the path of OU " + std::to_string(idParent) + " to the root");
    if (blLoop) {
        throw UsageError{"OU " + std::to_string(idParent) + " is OU " + std::to_string(id) +
                         " or below it: it cannot be its parent"};
    }
}

/* Deleting one row is for an empty OU only: what hangs on it would be left
 * with a parent that is gone. */
void ouEmptyCheck(long id) {
    if (id == 0) throw UsageError{"the root OU cannot be deleted"};
    VURO_TARN_OU* ous = NULL;
    VURO_TARN_PEER* peers = NULL;
    VURO_TARN_GPO* gpos = NULL;
    if (VUROTARNGetChildByID(id, VURO_TARN_TYPE_OU, &ous, &peers, &gpos) != 0) {
        fail("cannot read what hangs on OU " + std::to_string(id));
    }
    bool blEmpty = ous == NULL && peers == NULL && gpos == NULL;
    VUROTARNOuListFree(&ous);
    VUROTARNPeerListFree(&peers);
    VUROTARNGpoListFree(&gpos);
    if (!blEmpty) {
        throw UsageError{"OU " + std::to_string(id) +
                         " has OUs, peers or policies below it: \"delete-tree --ou " +
                         std::to_string(id) + "\" removes it with its subtree"};
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
        if (VUROTARNOuGet(id, &ou) != 0) failNotFound("no OU with id " + std::to_string(id));
        printJson(recordJson(&ou));
    } else if (verb == "set") {
        long id = singleId(args, "ou set");
        if (VUROTARNOuGet(id, &ou) != 0) failNotFound("no OU with id " + std::to_string(id));
        ouApplyOptions(args, &ou);
        if (args.has("parent")) ouParentLoopCheck(id, ou.parent_id);
        if (VUROTARNOuSet(&ou) != 0) fail("cannot set OU " + std::to_string(id));
        printJson(recordJson(&ou));
    } else if (verb == "delete") {
        long id = singleId(args, "ou delete");
        ouEmptyCheck(id);
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
