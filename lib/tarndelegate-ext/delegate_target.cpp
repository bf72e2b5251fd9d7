/* delegate_target.cpp - the delegates of one node edited as one list. The
 * administration interface sends the wanted users and groups by name; the
 * rows are brought into line, and unchanged delegates keep their ids. */
#include <stdio.h>

#include <vurojson.h>

#include "common/vurotarn_list_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_uid.h"
#include "vurotarndelegate_target.h"

#define VUROTARN_STEP_FAILED(call) \
    (0 > (call) && (VUROTARNTraceLocatedCond(__FILE__, __LINE__, "0 > " #call), true))

BOOL VUROTARNDelegateIsDelegateUser(uid_t uid) {
    if (VUROTARNIsAdminGroup(uid)) {
        return TRUE;
    }
    VURO_TARN_PEER* pPeers = NULL;
    VURO_TARN_OU* pOus = NULL;
    BOOL blAnswer = FALSE;
    if (!VUROTARN_STEP_FAILED(VUROTARNPeerListOneLevelByUid(uid, &pPeers))) {
        if (pPeers != NULL) {
            blAnswer = TRUE;
        } else if (!VUROTARN_STEP_FAILED(VUROTARNOuListOneLevelByUid(uid, &pOus))) {
            blAnswer = pOus != NULL ? TRUE : FALSE;
        }
    }
    vurotarnListDestroy(&pPeers);
    vurotarnListDestroy(&pOus);
    return blAnswer;
}

int VUROTARNDelegateListByTarget(long id, int nodeType, VURO_TARN_DELEGATE** pDelegateHead,
                                 size_t* pTotalCount) {
    PQLIBSZHASH pHash = QLIBCSzHashAlloc(512);
    if (pHash == NULL) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    char szId[64];
    char szType[64];
    snprintf(szId, sizeof(szId), "%ld", id);
    snprintf(szType, sizeof(szType), "%d", nodeType);
    int ret = -1;
    if (QLIBCSzHashSetValue(&pHash, "target_id", szId) >= 0 &&
        QLIBCSzHashSetValue(&pHash, "target_type", szType) >= 0 &&
        !VUROTARN_STEP_FAILED(VUROTARNDelegateList(pHash, pDelegateHead, pTotalCount))) {
        ret = 0;
    }
    QLIBCSzHashFree(pHash);
    return ret;
}

namespace {

/* Resolves each element's name to its id; a name that no longer resolves
 * leaves the list. */
int JsonDelegateGetUGName(Json::Value& jNode) {
    if (!jNode.isObject() || !jNode.isMember("delegate")) {
        VUROTARN_TRACE_LOCATED_COND(!jNode.isMember("delegate"));
        return -1;
    }
    Json::Value jNew(Json::arrayValue);
    for (Json::Value jElem : jNode["delegate"]) {
        std::string name = jElem.isObject() ? jElem["name"].asString() : "";
        long userType = jElem.isObject() ? (long)jElem["user_type"].asInt64() : 0;
        if (userType == VURO_TARN_TYPE_USER) {
            PVURO_USER pUser = NULL;
            if (VUROUserGet(name.c_str(), &pUser) < 0 || pUser == NULL) {
                VUROTARN_TRACE("get user info failed, user=%s\n", name.c_str());
                continue;
            }
            jElem["ugid"] = (Json::UInt64)pUser->pw_uid;
            VUROUserFree(pUser);
        } else if (userType == VURO_TARN_TYPE_GROUP) {
            PVURO_GROUP pGroup = NULL;
            if (VUROGroupGet(name.c_str(), &pGroup) < 0 || pGroup == NULL) {
                VUROTARN_TRACE("get group info failed, user=%s\n", name.c_str());
                continue;
            }
            jElem["ugid"] = (Json::UInt64)pGroup->gr_gid;
            VUROGroupFree(pGroup);
        } else {
            return -1;
        }
        jNew.append(jElem);
    }
    jNode["delegate"] = jNew;
    return 0;
}

/* A name cache that parses and has all three keys. */
bool extraComplete(const std::string& text, Json::Value* pExtra) {
    if (!vurojson::fromString(*pExtra, text)) return false;
    return pExtra->isObject() && !pExtra->empty() && pExtra->isMember("domainType") &&
           pExtra->isMember("domainName") && pExtra->isMember("userNameCache");
}

/* The same delegate: domain, kind, id and holder type. */
bool delegateSame(const Json::Value& jElem, const Json::Value& jExtra,
                  const VURO_TARN_DELEGATE* pDelegate) {
    return jElem["domainName"] == jExtra["domainName"] &&
           jElem["domainType"] == jExtra["domainType"] &&
           jElem["ugid"].asUInt64() == pDelegate->ugid &&
           jElem["user_type"].asInt64() == pDelegate->user_type;
}

}  // namespace

int VUROTARNDelegateCreateByTarget(long nodeId, long nodeType, Json::Value& jNode) {
    if (0 > nodeId) {
        VUROTARN_TRACE_LOCATED_COND(0 > nodeId);
        return -1;
    }
    if (!jNode.isObject() || !jNode["delegate"].isArray()) {
        return 0;
    }
    for (Json::ArrayIndex i = 0; i < jNode["delegate"].size(); i++) {
        VURO_TARN_DELEGATE delegate;
        if (VUROTARN_STEP_FAILED(VUROTARNDelegateJsonToStruct(jNode["delegate"][i], &delegate))) {
            return -1;
        }
        delegate.target_type = nodeType;
        delegate.target_id = nodeId;
        if (VUROTARN_STEP_FAILED(VURODelegatePrepareExtraInfo(&delegate)) ||
            VUROTARN_STEP_FAILED(VUROTARNDelegateCreate(&delegate))) {
            return -1;
        }
    }
    return 0;
}

int VUROTARNDelegateOverrideListByTarget(long nodeId, int nodeType, Json::Value& jNode) {
    if (0 > nodeId) {
        VUROTARN_TRACE_LOCATED_COND(0 > nodeId);
        return -1;
    }
    if (VUROTARN_STEP_FAILED(JsonDelegateGetUGName(jNode)) ||
        VUROTARN_STEP_FAILED(VUROTARNDelegateDeleteByTarget(nodeId, nodeType)) ||
        VUROTARN_STEP_FAILED(VUROTARNDelegateCreateByTarget(nodeId, nodeType, jNode))) {
        return -1;
    }
    return 0;
}

namespace {

int setListAgainstRows(long nodeId, int nodeType, Json::Value& jNode,
                       VURO_TARN_DELEGATE* listDelegate) {
    if (VUROTARN_STEP_FAILED(JsonDelegateGetUGName(jNode))) {
        return -1;
    }
    Json::Value& jWanted = jNode["delegate"];
    for (Json::ArrayIndex i = 0; i < jWanted.size(); i++) {
        VURO_TARN_DELEGATE delegate;
        VUROTARNDelegateJsonToStruct(jWanted[i], &delegate);
        delegate.target_type = nodeType;
        delegate.target_id = nodeId;
        VURODelegatePrepareExtraInfo(&delegate);
        Json::Value jExtra;
        if (!vurojson::fromString(jExtra, delegate.str_extra_info)) {
            VUROTARN_TRACE_COND(!jExtra.fromString(delegate.str_extra_info));
            return -1;
        }
        if (!extraComplete(delegate.str_extra_info, &jExtra)) {
            VUROTARN_TRACE_COND(jExtra.empty() || !jExtra.isMember("domainType") ||
                                !jExtra.isMember("domainName") ||
                                !jExtra.isMember("userNameCache"));
            return -1;
        }
        jWanted[i]["domainName"] = jExtra["domainName"];
        jWanted[i]["domainType"] = jExtra["domainType"];
        bool blFound = false;
        for (VURO_TARN_DELEGATE* pDelegate = listDelegate; pDelegate && !blFound;
             pDelegate = pDelegate->pNext) {
            Json::Value jRowExtra;
            if (!vurojson::fromString(jRowExtra, pDelegate->str_extra_info)) {
                VUROTARN_TRACE_COND(!jExtra.fromString(pDelegate->str_extra_info));
                continue;
            }
            blFound = extraComplete(pDelegate->str_extra_info, &jRowExtra) &&
                      delegateSame(jWanted[i], jRowExtra, pDelegate);
        }
        if (!blFound && 0 > VUROTARNDelegateCreate(&delegate)) {
            return -1;
        }
    }
    // Rows that no wanted element names go.
    for (VURO_TARN_DELEGATE* pDelegate = listDelegate; pDelegate; pDelegate = pDelegate->pNext) {
        Json::Value jRowExtra;
        if (!extraComplete(pDelegate->str_extra_info, &jRowExtra)) continue;
        bool blWanted = false;
        for (const Json::Value& jElem : jWanted) {
            blWanted = blWanted || delegateSame(jElem, jRowExtra, pDelegate);
        }
        if (!blWanted && 0 > VUROTARNDelegateDelete(pDelegate->id)) {
            VUROTARN_TRACE_LOCATED_COND(VUROTARNDelegateDelete(pDelegate->id));
            return -1;
        }
    }
    return 0;
}

}  // namespace

int VUROTARNDelegateSetListByTarget(long nodeId, int nodeType, Json::Value& jNode) {
    if (0 > nodeId) {
        VUROTARN_TRACE_LOCATED_COND(0 > nodeId);
        return -1;
    }
    size_t count = 0;
    VURO_TARN_DELEGATE* listDelegate = NULL;
    VUROTARNDelegateListByTarget(nodeId, nodeType, &listDelegate, &count);
    VURODelegateUpdateExtraInfoList(listDelegate, TRUE);
    // Sweep: rows whose name cache is not complete cannot be matched.
    for (VURO_TARN_DELEGATE* p = listDelegate; p; p = p->pNext) {
        Json::Value jExtra;
        if (!extraComplete(p->str_extra_info, &jExtra)) VUROTARNDelegateDelete(p->id);
    }
    vurotarnListDestroy(&listDelegate);
    VUROTARNDelegateListByTarget(nodeId, nodeType, &listDelegate, &count);
    int ret = setListAgainstRows(nodeId, nodeType, jNode, listDelegate);
    vurotarnListDestroy(&listDelegate);
    return ret;
}
