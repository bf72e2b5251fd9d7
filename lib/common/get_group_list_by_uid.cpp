/* get_group_list_by_uid.cpp - administrators and the groups of a user, from
 * the platform's user and group store. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

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
    PVURO_USER pUser = NULL;
    if (VUROUserGetByUID(uid, &pUser) < 0 || pUser == NULL) {
        return -1;
    }
    int ret = -1;
    int ngroups = 50;
    gid_t* groups = (gid_t*)malloc(sizeof(gid_t) * (size_t)ngroups);
    if (groups == NULL) {
        QLIBCErrSetEx(ERR_NOT_ENOUGH_MEMORY, __FILE__, __LINE__);
        goto cleanup;
    }
    if (VUROUserGroupList(pUser->szName, pUser->pw_gid, groups, &ngroups) == -1) {
        // Too small: ngroups now holds the size needed.
        groups = (gid_t*)reallocf(groups, sizeof(gid_t) * (size_t)ngroups);
        if (groups == NULL) {
            QLIBCErrSetEx(ERR_NOT_ENOUGH_MEMORY, __FILE__, __LINE__);
            goto cleanup;
        }
        if (VUROUserGroupList(pUser->szName, pUser->pw_gid, groups, &ngroups) == -1) {
            VUROTARN_LOG("getgrouplist %s %u failed", pUser->szName, (unsigned)pUser->pw_gid);
            goto cleanup;
        }
    }
    if (ngroups == 0) {
        QLIBCErrSetEx(ERR_OP_FAILURE, __FILE__, __LINE__);
        goto cleanup;
    }
    for (int i = 0; i < ngroups; i++) {
        char szText[256];
        if (blGid) {
            snprintf(szText, sizeof(szText), "%u", (unsigned)groups[i]);
        } else {
            PVURO_GROUP pGroup = NULL;
            if (VUROGroupGetByGID(groups[i], &pGroup) < 0 || pGroup == NULL) {
                continue;  // a gid without a group entry
            }
            snprintf(szText, sizeof(szText), "%s", pGroup->szName);
            VUROGroupFree(pGroup);
        }
        if (QLIBCSzListPush(ppList, szText) < 0) {
            VUROTARN_LOG("QLIBCSzListPush fail, [%s]", szText);
            goto cleanup;
        }
    }
    ret = 0;

cleanup:
    free(groups);
    VUROUserFree(pUser);
    return ret;
}

int VUROTARNGetGroupListByUid(uid_t uid, PQLIBSZLIST* ppGroupList, BOOL blGid) {
    char szUid[32];
    snprintf(szUid, sizeof(szUid), "%u", (unsigned)uid);
    return VUROTARNGetGroupListByUidStr(szUid, ppGroupList, blGid);
}
