/* get_by_uid.cpp - a user's view of the tree: the nodes delegated to him or
 * his groups (one level), the same with their subtrees, and the yes-or-no
 * questions built on it. Administrators see everything. Like the walks, it
 * calls up into the families (delegates, OUs, peers, policies) and sits in
 * the frame because the event log, the policy engine and the tool all ask
 * what a user may see. */
#include <stdio.h>
#include <string.h>

#include <set>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_sqlite.h"
#include "vurotarn_tree.h"
#include "vurotarn_uid.h"

namespace {

const char* const kAnyListText = "(__null!=ppHeadOu || __null!=ppHeadPeer || __null!=ppHeadGpo)";

/* The hash of the uid wrappers: user_type 8 and the uid. */
bool uidHashFill(uid_t uid, VurotarnHash& hash) {
    return (bool)hash.set("user_type", std::to_string(VURO_TARN_TYPE_USER))
        .set("ugid", std::to_string((unsigned)uid));
}

/* The delegate query of a user's groups: sqlWhere "ugid in (...) and
 * user_type=9". Nothing for a hash that is not a user's. */
int uidHash2GidHash(PQLIBSZHASH pHashOrg, PQLIBSZHASH& pHashGroup) {
    const char* szUid = QLIBCSzHashGetValue(pHashOrg, "ugid");
    const char* szType = QLIBCSzHashGetValue(pHashOrg, "user_type");
    if (szUid == NULL || szType == NULL) {
        return -1;
    }
    if (strtol(szType, NULL, 10) != VURO_TARN_TYPE_USER) {
        return 0;
    }
    VurotarnSzList groups(512);
    if (!groups) {
        return -1;
    }
    PQLIBSZLIST& pGroups = groups.get();  // as the traces name it
    char szSql[4096] = {0};
    if (VUROTARN_STEP_FAILED(VUROTARNGetGroupListByUidStr(szUid, &pGroups, TRUE)) ||
        VUROTARN_STEP_FAILED(VUROTARNSQLIn("ugid", pGroups, szSql, sizeof(szSql)))) {
        return -1;
    }
    if (szSql[0] == '\0') {
        return 0;  // no groups, no group delegates
    }
    snprintf(szSql + strlen(szSql), sizeof(szSql) - strlen(szSql), " and user_type=%d ",
             VURO_TARN_TYPE_GROUP);
    return QLIBCSzHashSetValue(&pHashGroup, "sqlWhere", szSql) < 0 ? -1 : 0;
}

int listOneLevelByUGidHash(PQLIBSZHASH pHash, VURO_TARN_OU** ppHeadOu, VURO_TARN_PEER** ppHeadPeer,
                           VURO_TARN_GPO** ppHeadGpo) {
    VUROTARN_ARG_CHECK(NULL, !=, pHash, return -1);
    VUROTARN_ARG_CHECK_TEXT(NULL != ppHeadOu || NULL != ppHeadPeer || NULL != ppHeadGpo,
                            kAnyListText, 0, return -1);
    if (QLIBCSzHashGetValue(pHash, "sqlWhere") == NULL &&
        (QLIBCSzHashGetValue(pHash, "ugid") == NULL ||
         QLIBCSzHashGetValue(pHash, "user_type") == NULL)) {
        VUROTARN_TRACE_LOCATED_COND(NULL == QLIBCSzHashGetValue(pHash, "sqlWhere") &&
                                    (NULL == QLIBCSzHashGetValue(pHash, "ugid") ||
                                     NULL == QLIBCSzHashGetValue(pHash, "user_type")));
        return -1;
    }
    VURO_TARN_DELEGATE_LIST listDelegate = NULL;
    size_t count = 0;
    if (VUROTARNDelegateList(pHash, &listDelegate, &count) < 0) {
        return -1;
    }
    int ret = 0;
    if (count > 0) {
        ret = VUROTARNDelegateListClassify(listDelegate, ppHeadOu, ppHeadPeer, ppHeadGpo) < 0 ? -1
                                                                                              : 0;
        if (ppHeadOu) vurotarnListUnique(ppHeadOu);
        if (ppHeadPeer) vurotarnListUnique(ppHeadPeer);
        if (ppHeadGpo) vurotarnListUnique(ppHeadGpo);
    }
    VUROTARNDelegateListFree(&listDelegate);
    return ret;
}

}  // namespace

int VUROTARNDelegateListClassify(VURO_TARN_DELEGATE_LIST listDelegate, VURO_TARN_OU** ppHeadOu,
                                 VURO_TARN_PEER** ppHeadPeer, VURO_TARN_GPO** ppHeadGpo) {
    VUROTARN_ARG_CHECK_TEXT(NULL != ppHeadOu || NULL != ppHeadPeer || NULL != ppHeadGpo,
                            kAnyListText, 0, return -1);
    VurotarnList<VURO_TARN_GPO> listGpoAll, listGpo;
    VurotarnList<VURO_TARN_OU> listOu;
    VurotarnList<VURO_TARN_PEER> listPeer;
    if (ppHeadGpo != NULL && VUROTARNGpoListAll(&listGpoAll.p, NULL, NULL) < 0) {
        return -1;
    }
    int count = 0;
    for (VURO_TARN_DELEGATE* pDelegate = listDelegate; pDelegate != NULL;
         pDelegate = pDelegate->pNext) {
        long targetType = pDelegate->target_type;
        long idCur = pDelegate->target_id;
        if (ppHeadGpo != NULL) {
            VURO_TARN_GPO** ppLink = &listGpoAll.p;
            while (*ppLink != NULL) {
                VURO_TARN_GPO* pGpo = *ppLink;
                if (pGpo->parent_type == targetType && pGpo->parent_id == idCur) {
                    *ppLink = pGpo->pNext;
                    pGpo->pNext = listGpo.p;
                    listGpo.p = pGpo;
                } else {
                    ppLink = &pGpo->pNext;
                }
            }
        }
        if (targetType == VURO_TARN_TYPE_OU && ppHeadOu != NULL) {
            VURO_TARN_OU* pOu = VUROTARNOuAlloc();
            if (pOu != NULL && VUROTARNOuGet(idCur, pOu) == 0) {
                pOu->pNext = listOu.p;
                listOu.p = pOu;
                count++;
            } else {
                VUROTARNOuFree(pOu);  // the node is gone: nothing to show
            }
        } else if (targetType == VURO_TARN_TYPE_PEER && ppHeadPeer != NULL) {
            VURO_TARN_PEER* pPeer = VUROTARNPeerAlloc();
            if (pPeer != NULL && VUROTARNPeerGet(idCur, pPeer) == 0) {
                pPeer->pNext = listPeer.p;
                listPeer.p = pPeer;
                count++;
            } else {
                VUROTARNPeerFree(pPeer);
            }
        } else {
            count++;
        }
    }
    listOu.handTo(ppHeadOu);
    listPeer.handTo(ppHeadPeer);
    listGpo.handTo(ppHeadGpo);
    return count;
}

int VUROTARNListOneLevelByUidHash(PQLIBSZHASH pHash, VURO_TARN_OU** ppHeadOu,
                                  VURO_TARN_PEER** ppHeadPeer, VURO_TARN_GPO** ppHeadGpo) {
    VUROTARN_ARG_CHECK(NULL, !=, pHash, return -1);
    VUROTARN_ARG_CHECK_TEXT(NULL != ppHeadOu || NULL != ppHeadPeer || NULL != ppHeadGpo,
                            kAnyListText, 0, return -1);
    const char* szUid = QLIBCSzHashGetValue(pHash, "ugid");
    const char* szType = QLIBCSzHashGetValue(pHash, "user_type");
    if (szUid == NULL || szType == NULL) {
        VUROTARN_TRACE_LOCATED_COND(NULL == QLIBCSzHashGetValue(pHash, "ugid") ||
                                    NULL == QLIBCSzHashGetValue(pHash, "user_type"));
        return -1;
    }
    VurotarnHash hashUser(512), hashGroup(512);
    if (hashUser.get() == NULL || hashGroup.get() == NULL) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    if (!hashUser.set("ugid", szUid).set("user_type", szType)) {
        return -1;
    }
    VurotarnList<VURO_TARN_OU> userOu, groupOu;
    VurotarnList<VURO_TARN_PEER> userPeer, groupPeer;
    VurotarnList<VURO_TARN_GPO> userGpo, groupGpo;
    if (listOneLevelByUGidHash(hashUser.get(), ppHeadOu ? &userOu.p : NULL,
                               ppHeadPeer ? &userPeer.p : NULL,
                               ppHeadGpo ? &userGpo.p : NULL) < 0 ||
        uidHash2GidHash(hashUser.get(), hashGroup.get()) < 0) {
        return -1;
    }
    // Groups are asked through sqlWhere, which only a user's hash gives.
    if (QLIBCSzHashGetValue(hashGroup.get(), "sqlWhere") == NULL) {
        if (strtol(szType, NULL, 10) != VURO_TARN_TYPE_USER) {
            VUROTARN_TRACE_LOCATED("user_type=%s is not a user", szType);
            return -1;
        }
    } else if (listOneLevelByUGidHash(hashGroup.get(), ppHeadOu ? &groupOu.p : NULL,
                                      ppHeadPeer ? &groupPeer.p : NULL,
                                      ppHeadGpo ? &groupGpo.p : NULL) < 0) {
        return -1;
    }
    userOu.handTo(ppHeadOu);
    groupOu.handTo(ppHeadOu);
    userPeer.handTo(ppHeadPeer);
    groupPeer.handTo(ppHeadPeer);
    userGpo.handTo(ppHeadGpo);
    groupGpo.handTo(ppHeadGpo);
    if (ppHeadOu) vurotarnListUnique(ppHeadOu);
    if (ppHeadPeer) vurotarnListUnique(ppHeadPeer);
    if (ppHeadGpo) vurotarnListUnique(ppHeadGpo);
    return 0;
}

int VUROTARNListTreeByUidHash(PQLIBSZHASH pHash, VURO_TARN_OU** ppHeadOu,
                              VURO_TARN_PEER** ppHeadPeer, VURO_TARN_GPO** ppHeadGpo) {
    VUROTARN_ARG_CHECK(NULL, !=, pHash, return -1);
    VUROTARN_ARG_CHECK_TEXT(NULL != ppHeadOu || NULL != ppHeadPeer || NULL != ppHeadGpo,
                            "(NULL != ppHeadOu || NULL != ppHeadPeer || NULL != ppHeadGpo)", 0,
                            return -1);
    const char* szUid = QLIBCSzHashGetValue(pHash, "ugid");
    const char* szUserType = QLIBCSzHashGetValue(pHash, "user_type");
    if (!szUid || !szUserType) {
        VUROTARN_TRACE_LOCATED_COND(!szUid || !szUserType);
        return -1;
    }
    if (VUROTARNIsAdminGroupByUidStr(szUid)) {
        size_t count = 0;
        if (ppHeadPeer != NULL) {
            // Further keys of the caller's hash act as conditions on peers.
            QLIBCSzHashRemoveKey(pHash, "ugid");
            QLIBCSzHashRemoveKey(pHash, "user_type");
            if (VUROTARN_STEP_FAILED(VUROTARNPeerList(pHash, ppHeadPeer, &count))) return -1;
        }
        if (ppHeadOu != NULL && VUROTARN_STEP_FAILED(VUROTARNOuList(NULL, ppHeadOu, &count))) {
            return -1;
        }
        if (ppHeadGpo != NULL && VUROTARN_STEP_FAILED(VUROTARNGpoList(NULL, ppHeadGpo, &count))) {
            return -1;
        }
        return 0;
    }
    VurotarnList<VURO_TARN_OU> listPrivOu, listFoundOu;
    VurotarnList<VURO_TARN_PEER> listFoundPeer;
    if (VUROTARNListOneLevelByUidHash(pHash, &listPrivOu.p, &listFoundPeer.p, ppHeadGpo) != 0) {
        return -1;
    }
    for (VURO_TARN_OU* pOu = listPrivOu.p; pOu != NULL; pOu = pOu->pNext) {
        if (VUROTARNOuIsIDInList(pOu->id, listFoundOu.p)) {
            continue;  // under an OU taken before
        }
        if (VUROTARN_STEP_FAILED(
                VUROTARNGetTreeByOuObj(pOu, &listFoundOu.p, &listFoundPeer.p, ppHeadGpo))) {
            return -1;
        }
    }
    listFoundOu.handTo(ppHeadOu);
    if (ppHeadGpo == NULL) {
        // The walk read every peer's whole row already: handed over as it
        // is, in the same order, instead of read again one by one.
        listFoundPeer.handTo(ppHeadPeer);
    } else {
        // Appended at the tails as they move on: a walk from the head for
        // each peer made the view quadratic in its peers.
        VURO_TARN_PEER** ppPeerTail = ppHeadPeer != NULL ? vurotarnListTail(ppHeadPeer) : NULL;
        VURO_TARN_GPO** ppGpoTail = vurotarnListTail(ppHeadGpo);
        for (VURO_TARN_PEER* pPeer = listFoundPeer.p; pPeer != NULL; pPeer = pPeer->pNext) {
            if (VUROTARN_STEP_FAILED(
                    VUROTARNGetTreeByPeerObj(pPeer, NULL, ppPeerTail, ppGpoTail))) {
                return -1;
            }
            if (ppPeerTail != NULL) ppPeerTail = vurotarnListTail(ppPeerTail);
            ppGpoTail = vurotarnListTail(ppGpoTail);
        }
    }
    if (ppHeadOu) vurotarnListUnique(ppHeadOu);
    if (ppHeadPeer) vurotarnListUnique(ppHeadPeer);
    if (ppHeadGpo) vurotarnListUnique(ppHeadGpo);
    return 0;
}

int VUROTARNListTreeByUid(uid_t uid, VURO_TARN_OU** ppHeadOu, VURO_TARN_PEER** ppHeadPeer,
                          VURO_TARN_GPO** ppHeadGpo) {
    VurotarnHash hash(512);
    if (!uidHashFill(uid, hash)) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    return VUROTARNListTreeByUidHash(hash.get(), ppHeadOu, ppHeadPeer, ppHeadGpo);
}

int VUROTARNObjectListTreeByUid(uid_t uid, VURO_TARN_OU** ppHeadOu, VURO_TARN_PEER** ppHeadPeer,
                                VURO_TARN_GPO** ppHeadGpo) {
    VUROTARN_ARG_CHECK_TEXT(NULL != ppHeadOu, "__null!=ppHeadOu", 0, return -1);
    VUROTARN_ARG_CHECK_TEXT(NULL != ppHeadPeer, "__null!=ppHeadPeer", 0, return -1);
    VUROTARN_ARG_CHECK_TEXT(NULL != ppHeadGpo, "NULL!=ppHeadGpo", 0, return -1);
    VUROTARNListTreeByUid(uid, ppHeadOu, ppHeadPeer, ppHeadGpo);
    return 0;
}

/* One-kind wrappers: a failure shows as an empty list, after the traces. */
static int oneKindOneLevel(uid_t uid, VURO_TARN_OU** ppOu, VURO_TARN_PEER** ppPeer) {
    VurotarnHash hash(512);
    if (uidHashFill(uid, hash)) {
        VUROTARNListOneLevelByUidHash(hash.get(), ppOu, ppPeer, NULL);
    }
    return 0;
}

int VUROTARNOuListOneLevelByUid(uid_t uid, VURO_TARN_OU** ppHead) {
    VUROTARN_ARG_CHECK(NULL, !=, ppHead, return -1);
    return oneKindOneLevel(uid, ppHead, NULL);
}

int VUROTARNPeerListOneLevelByUid(uid_t uid, VURO_TARN_PEER** ppHead) {
    VUROTARN_ARG_CHECK(NULL, !=, ppHead, return -1);
    return oneKindOneLevel(uid, NULL, ppHead);
}

int VUROTARNOuListTreeByUid(uid_t uid, VURO_TARN_OU** ppHead) {
    VUROTARN_ARG_CHECK(NULL, !=, ppHead, return -1);
    VUROTARNListTreeByUid(uid, ppHead, NULL, NULL);
    return 0;
}

int VUROTARNPeerListTreeByUid(uid_t uid, VURO_TARN_PEER** ppHead) {
    VUROTARN_ARG_CHECK(NULL, !=, ppHead, return -1);
    VUROTARNListTreeByUid(uid, NULL, ppHead, NULL);
    return 0;
}

BOOL VUROTARNOuIsIDInList(long ou_id, const VURO_TARN_OU_LIST listOu) {
    return vurotarnListHasId(listOu, ou_id) ? TRUE : FALSE;
}

BOOL VUROTARNOuCanManagedByUid(uid_t uid, long ou_id) {
    if (VUROTARNIsAdminGroup(uid)) {
        return TRUE;
    }
    VurotarnList<VURO_TARN_OU> list;
    if (VUROTARNOuListTreeByUid(uid, &list.p) != 0) {
        return FALSE;
    }
    return VUROTARNOuIsIDInList(ou_id, list.p);
}

BOOL VUROTARNPeerIDCanManagedByUid(uid_t uid, long peer_id) {
    if (VUROTARNIsAdminGroup(uid)) {
        return TRUE;
    }
    VurotarnList<VURO_TARN_PEER> list;
    if (VUROTARNPeerListTreeByUid(uid, &list.p) != 0) {
        return FALSE;
    }
    return vurotarnListHasId(list.p, peer_id) ? TRUE : FALSE;
}

BOOL VUROTARNPeerCanManagedByUid(uid_t uid, const char* szSN) {
    VUROTARN_ARG_CHECK(NULL, !=, szSN, return FALSE);
    if (VUROTARNIsAdminGroup(uid)) {
        return TRUE;
    }
    VurotarnList<VURO_TARN_PEER> list;
    if (VUROTARNPeerListTreeByUid(uid, &list.p) != 0) {
        return FALSE;
    }
    for (VURO_TARN_PEER* p = list.p; p != NULL; p = p->pNext) {
        if (strcmp(p->str_sn.c_str(), szSN) == 0) return TRUE;
    }
    return FALSE;
}

int VUROTARNPeerListUnderOU(uid_t uid, long ou_id, VURO_TARN_PEER_LIST* pListPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pListPeer, return -1);
    VurotarnList<VURO_TARN_OU> listOu, listFound;
    if (VUROTARNOuListTreeByUid(uid, &listOu.p) != 0 || listOu.p == NULL) {
        return 0;
    }
    // Move the OU itself, then every visible OU whose parent was moved.
    auto moveFirst = [&](auto pred) -> VURO_TARN_OU* {
        for (VURO_TARN_OU** ppLink = &listOu.p; *ppLink != NULL; ppLink = &(*ppLink)->pNext) {
            VURO_TARN_OU* p = *ppLink;
            if (pred(p)) {
                *ppLink = p->pNext;
                p->pNext = listFound.p;
                listFound.p = p;
                return p;
            }
        }
        return NULL;
    };
    if (moveFirst([&](VURO_TARN_OU* p) { return p->id == ou_id; }) == NULL) {
        return 0;  // outside the user's view
    }
    char szSql[4096];
    snprintf(szSql, sizeof(szSql), " parent_id IN ( %ld", ou_id);
    VURO_TARN_OU* pMoved;
    while ((pMoved = moveFirst([&](VURO_TARN_OU* p) {
                return VUROTARNOuIsIDInList(p->parent_id, listFound.p);
            })) != NULL) {
        size_t len = strlen(szSql);
        snprintf(szSql + len, sizeof(szSql) - len, ", %ld ", pMoved->id);
    }
    size_t len = strlen(szSql);
    snprintf(szSql + len, sizeof(szSql) - len, " ) ");
    VurotarnHash hash(1024);
    if (hash.set("sqlWhere", szSql)) {
        VUROTARNPeerList(hash.get(), pListPeer, NULL);
    }
    return 0;
}

int VUROTARNPeerSNListByUid(uid_t uid, PQLIBSZLIST* ppList) {
    VUROTARN_ARG_CHECK(NULL, !=, ppList, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, *ppList, return -1);
    VurotarnList<VURO_TARN_PEER> list;
    if (VUROTARNPeerListTreeByUid(uid, &list.p) != 0) {
        return -1;
    }
    QLIBCSzListRemoveAll(*ppList);
    for (VURO_TARN_PEER* p = list.p; p != NULL; p = p->pNext) {
        if (QLIBCSzListPush(ppList, p->str_sn.c_str()) < 0) return -1;
    }
    return 0;
}

int VUROTARNGetPeerIDFilter(const std::string strUser, std::string& strFilter) {
    uid_t uid = (uid_t)-1;
    if (VUROUserGetUGID(strUser.c_str(), &uid, NULL) < 0 || uid == (uid_t)-1) {
        return -1;
    }
    VurotarnList<VURO_TARN_PEER> all;
    size_t total = 0;
    if (VUROTARNPeerList(NULL, &all.p, &total) < 0) {
        return -1;
    }
    if (total == 0) {
        return 0;
    }
    // The user's view once for all peers: the same answer as asking
    // VUROTARNPeerIDCanManagedByUid peer by peer.
    std::set<long> allowed;
    bool blAdmin = VUROTARNIsAdminGroup(uid);
    if (!blAdmin) {
        VurotarnList<VURO_TARN_PEER> view;
        if (VUROTARNPeerListTreeByUid(uid, &view.p) == 0) {
            for (VURO_TARN_PEER* p = view.p; p != NULL; p = p->pNext) allowed.insert(p->id);
        }
    }
    Json::Value jPeerId(Json::arrayValue);
    for (VURO_TARN_PEER* p = all.p; p != NULL; p = p->pNext) {
        if (blAdmin || allowed.count(p->id)) jPeerId.append((Json::Int64)p->id);
    }
    if (jPeerId.size() > 0 && jPeerId.size() < total) {
        std::string strTmp;
        for (Json::ArrayIndex i = 0; i < jPeerId.size(); i++) {
            if (i > 0) strTmp += " or ";
            strTmp += " peer_id=" + std::to_string(jPeerId[i].asInt64());
        }
        if (strFilter.empty()) {
            strFilter = " where" + strTmp + " ";
        } else {
            strFilter += " and (" + strTmp + ") ";
        }
    }
    return (int)jPeerId.size();
}
