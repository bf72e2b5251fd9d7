/* delegate_target.cpp - the delegates of one node edited as one list. The
 * administration interface sends the wanted users and groups by name; the
 * rows are brought into line, and unchanged delegates keep their ids. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <vector>

#include <vurojson.h>

#include "common/vurotarn_json_int.h"
#include "common/vurotarn_holder_int.h"
#include "tarndelegate/vurotarndelegate_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_uid.h"
#include "vurotarndelegate_target.h"

BOOL VUROTARNDelegateIsDelegateUser(uid_t uid) {
    if (VUROTARNIsAdminGroup(uid)) {
        return TRUE;
    }
    // Named as the traces name them.
    VurotarnList<VURO_TARN_PEER> peers;
    VURO_TARN_PEER*& pPeers = peers.p;
    if (VUROTARN_STEP_FAILED(VUROTARNPeerListOneLevelByUid(uid, &pPeers))) {
        return FALSE;
    }
    if (pPeers != NULL) {
        return TRUE;
    }
    VurotarnList<VURO_TARN_OU> ous;
    VURO_TARN_OU*& pOus = ous.p;
    if (VUROTARN_STEP_FAILED(VUROTARNOuListOneLevelByUid(uid, &pOus))) {
        return FALSE;
    }
    return pOus != NULL ? TRUE : FALSE;
}

int VUROTARNDelegateListByTarget(long id, int nodeType, VURO_TARN_DELEGATE** pDelegateHead,
                                 size_t* pTotalCount) {
    VurotarnHash hash(512);
    if (!hash) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    PQLIBSZHASH& pHash = hash.get();  // as the trace names it
    if (!hash.set("target_id", std::to_string(id)).set("target_type", std::to_string(nodeType)) ||
        VUROTARN_STEP_FAILED(VUROTARNDelegateList(pHash, pDelegateHead, pTotalCount))) {
        return -1;
    }
    return 0;
}

namespace {

/* Resolves each element's name to its id; a name that no longer resolves
 * leaves the list. A list of another shape (an element that is no object, a
 * name that is no text, a kind that is neither user nor group) is refused
 * whole, before anything is written. */
int JsonDelegateGetUGName(Json::Value& jNode) {
    if (!jNode.isObject() || !jNode.isMember("delegate")) {
        VUROTARN_TRACE_LOCATED_COND(!jNode.isMember("delegate"));
        return -1;
    }
    if (!jNode["delegate"].isArray()) {
        VUROTARN_TRACE_LOCATED_COND(!jNode["delegate"].isArray());
        return -1;
    }
    Json::Value jNew(Json::arrayValue);
    for (Json::Value jElem : jNode["delegate"]) {
        if (!jElem.isObject() || !jElem["name"].isString()) {
            VUROTARN_TRACE_LOCATED_COND(!jElem["name"].isString());
            return -1;
        }
        std::string name = jElem["name"].asString();
        long userType = (long)vurotarnJsonInt64(jElem["user_type"]);
        // Later readers of the element take a plain integer.
        jElem["user_type"] = (Json::Int64)userType;
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
           vurotarnJsonUInt64(jElem["ugid"]) == pDelegate->ugid &&
           vurotarnJsonInt64(jElem["user_type"]) == pDelegate->user_type;
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

namespace {

/* The last row id inserted on the connection. */
int lastRowId(void* parm, int n_column, char** column_value, char**) {
    if (n_column > 0 && column_value != NULL && column_value[0] != NULL) {
        *(long*)parm = strtol(column_value[0], NULL, 10);
    }
    return 0;
}

/* Deletes the node's rows and inserts the new ones on one connection in one
 * transaction: a failure or a kill before the commit leaves the old rows.
 * Each inserted row learns its id. */
int replaceRowsOfTarget(long nodeId, int nodeType, std::vector<VURO_TARN_DELEGATE>& rows) {
    VurotarnConnection db;
    // IMMEDIATE: the write lock is taken (and waited for) before the delete.
    if (VUROTARN_STEP_FAILED(db.exec("BEGIN IMMEDIATE TRANSACTION"))) {
        return -1;
    }
    char szSQL[256];
    sqlite3_snprintf(sizeof(szSQL), szSQL,
                     "DELETE FROM delegate WHERE target_id=%ld and target_type=%d;", nodeId,
                     nodeType);
    bool blFailed = VUROTARN_STEP_FAILED(db.exec(szSQL));
    long pid = (long)getpid();
    for (size_t i = 0; i < rows.size() && !blFailed; i++) {
        rows[i].mtime = time(NULL);
        const std::string sql = VurotarnDelegate::insertText(rows[i], pid);
        long id = -1;
        blFailed = VUROTARN_STEP_FAILED(db.exec(sql.c_str())) ||
                   VUROTARN_STEP_FAILED(db.exec("SELECT last_insert_rowid();", lastRowId, &id)) ||
                   id < 0;
        rows[i].id = id;
    }
    if (!blFailed && !VUROTARN_STEP_FAILED(db.exec("COMMIT TRANSACTION"))) {
        return 0;
    }
    // A statement that failed may have ended the transaction already; then
    // this fails too, and closing the connection undoes what is left.
    db.exec("ROLLBACK TRANSACTION");
    return -1;
}

}  // namespace

int VUROTARNDelegateOverrideListByTarget(long nodeId, int nodeType, Json::Value& jNode) {
    if (0 > nodeId) {
        VUROTARN_TRACE_LOCATED_COND(0 > nodeId);
        return -1;
    }
    if (VUROTARN_STEP_FAILED(JsonDelegateGetUGName(jNode))) {
        return -1;
    }
    // Every new row is complete, name cache and all, before the old ones go.
    std::vector<VURO_TARN_DELEGATE> rows(jNode["delegate"].size());
    for (Json::ArrayIndex i = 0; i < jNode["delegate"].size(); i++) {
        if (VUROTARN_STEP_FAILED(VUROTARNDelegateJsonToStruct(jNode["delegate"][i], &rows[i]))) {
            return -1;
        }
        rows[i].target_type = nodeType;
        rows[i].target_id = nodeId;
        if (VUROTARN_STEP_FAILED(VURODelegatePrepareExtraInfo(&rows[i]))) {
            return -1;
        }
    }
    // The create hooks run outside the transaction, so that a slow plug-in
    // does not hold the database's write lock; the rows they announce are
    // written all or none.
    std::vector<VURO_TARN_DELEGATE_PLUGIN_ENV*> envs;
    for (VURO_TARN_DELEGATE& row : rows) {
        envs.push_back(
            VurotarnDelegate::hooksBefore(VurotarnDelegateTraits::kHookCreate, NULL, &row));
    }
    int result = replaceRowsOfTarget(nodeId, nodeType, rows);
    if (result < 0) {
        VUROTARN_TRACE_LOCATED_COND(0 > replaceRowsOfTarget(nodeId, nodeType, rows));
    }
    for (size_t i = 0; i < rows.size(); i++) {
        VurotarnDelegate::changeLog(result, VUROTARN_LOG_ACTION_CREATE, &rows[i], NULL, "create",
                                    rows[i].id);
        VurotarnDelegate::hooksAfter(envs[i], VurotarnDelegateTraits::kHookCreate, result);
    }
    return result;
}

namespace {

/* jNode's names are resolved already. */
int setListAgainstRows(long nodeId, int nodeType, Json::Value& jNode,
                       VURO_TARN_DELEGATE* listDelegate) {
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
    // The caller's list is read whole first: one of another shape changes
    // nothing, not even the name caches.
    if (VUROTARN_STEP_FAILED(JsonDelegateGetUGName(jNode))) {
        return -1;
    }
    size_t count = 0;
    {
        VurotarnList<VURO_TARN_DELEGATE> rows;
        VUROTARNDelegateListByTarget(nodeId, nodeType, &rows.p, &count);
        VURODelegateUpdateExtraInfoList(rows.p, TRUE);
        // Sweep: rows whose name cache is not complete cannot be matched.
        for (VURO_TARN_DELEGATE* p = rows.p; p; p = p->pNext) {
            Json::Value jExtra;
            if (!extraComplete(p->str_extra_info, &jExtra)) VUROTARNDelegateDelete(p->id);
        }
    }
    VurotarnList<VURO_TARN_DELEGATE> rows;
    VUROTARNDelegateListByTarget(nodeId, nodeType, &rows.p, &count);
    return setListAgainstRows(nodeId, nodeType, jNode, rows.p);
}
