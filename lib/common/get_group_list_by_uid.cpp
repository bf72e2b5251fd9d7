/* get_group_list_by_uid.cpp - administrators and the groups of a user, from
 * the platform's user and group store. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <memory>

#include "vurotarn_macro_util.h"
#include "vurotarn_uid.h"

BOOL VUROTARNIsAdminGroup(uid_t uid) {
    if (uid == 0 || uid == 1024) {
        return TRUE;
    }
    return QLIBGroupIsAdminGroupMemByUid(uid, FALSE) == 1 ? TRUE : FALSE;
}

static bool uidParse(const char* szUid, uid_t* pUid) {
    if (szUid == NULL || szUid[0] == '\0') {
        return false;
    }
    char* end = NULL;
    errno = 0;
    unsigned long v = strtoul(szUid, &end, 10);
    if (*end != '\0' || errno != 0) {
        return false;
    }
    *pUid = (uid_t)v;
    return true;
}

BOOL VUROTARNIsAdminGroupByUidStr(const char* szUid) {
    uid_t uid;
    if (!uidParse(szUid, &uid)) {
        return FALSE;
    }
    return VUROTARNIsAdminGroup(uid);
}

int VUROTARNGetGroupListByUidStr(const char* szUid, PQLIBSZLIST* ppList, BOOL blGid) {
    VUROTARN_ARG_CHECK(NULL, !=, szUid, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, ppList, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, *ppList, return -1);
    uid_t uid;
    if (!uidParse(szUid, &uid)) {
        return -1;
    }
    PVURO_USER pUserRaw = NULL;
    if (VUROUserGetByUID(uid, &pUserRaw) < 0 || pUserRaw == NULL) {
        return -1;
    }
    std::unique_ptr<VURO_USER, void (*)(PVURO_USER)> pUser(pUserRaw, VUROUserFree);
    int ngroups = 50;
    std::unique_ptr<gid_t, void (*)(void*)> groups((gid_t*)malloc(sizeof(gid_t) * (size_t)ngroups),
                                                   free);
    if (!groups) {
        QLIBCErrSetEx(ERR_NOT_ENOUGH_MEMORY, __FILE__, __LINE__);
        return -1;
    }
    if (VUROUserGroupList(pUser->szName, pUser->pw_gid, groups.get(), &ngroups) == -1) {
        // Too small: ngroups now holds the size needed.
        groups.reset((gid_t*)reallocf(groups.release(), sizeof(gid_t) * (size_t)ngroups));
        if (!groups) {
            QLIBCErrSetEx(ERR_NOT_ENOUGH_MEMORY, __FILE__, __LINE__);
            return -1;
        }
        if (VUROUserGroupList(pUser->szName, pUser->pw_gid, groups.get(), &ngroups) == -1) {
            VUROTARN_LOG("getgrouplist %s %u failed", pUser->szName, (unsigned)pUser->pw_gid);
            return -1;
        }
    }
    if (ngroups == 0) {
        QLIBCErrSetEx(ERR_OP_FAILURE, __FILE__, __LINE__);
        return -1;
    }
    for (int i = 0; i < ngroups; i++) {
        char szText[256];
        gid_t gid = groups.get()[i];
        if (blGid) {
            snprintf(szText, sizeof(szText), "%u", (unsigned)gid);
        } else {
            PVURO_GROUP pGroup = NULL;
            if (VUROGroupGetByGID(gid, &pGroup) < 0 || pGroup == NULL) {
                continue;  // a gid without a group entry
            }
            snprintf(szText, sizeof(szText), "%s", pGroup->szName);
            VUROGroupFree(pGroup);
        }
        if (QLIBCSzListPush(ppList, szText) < 0) {
            VUROTARN_LOG("QLIBCSzListPush fail, [%s]", szText);
            return -1;
        }
    }
    return 0;
}

int VUROTARNGetGroupListByUid(uid_t uid, PQLIBSZLIST* ppGroupList, BOOL blGid) {
    char szUid[32];
    snprintf(szUid, sizeof(szUid), "%u", (unsigned)uid);
    return VUROTARNGetGroupListByUidStr(szUid, ppGroupList, blGid);
}
