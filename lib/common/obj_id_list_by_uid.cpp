/* obj_id_list_by_uid.cpp - the object ids ("ou_%ld", "peer_%ld") of every
 * node in a user's view, as the event log filters them. */
#include <stdio.h>

#include "common/vurotarn_list_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_uid.h"

int VUROTARNContainerObjIDListByUid(uid_t uid, PQLIBSZLIST* ppList) {
    VUROTARN_ARG_CHECK(NULL, !=, ppList, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, *ppList, return -1);
    PQLIBSZHASH pHash = QLIBCSzHashAlloc(512);
    char szType[128];
    char szUid[128];
    snprintf(szType, sizeof(szType), "%d", VURO_TARN_TYPE_USER);
    snprintf(szUid, sizeof(szUid), "%u", (unsigned)uid);
    VURO_TARN_OU* listOu = NULL;
    VURO_TARN_PEER* listPeer = NULL;
    if (pHash != NULL && QLIBCSzHashSetValue(&pHash, "user_type", szType) >= 0 &&
        QLIBCSzHashSetValue(&pHash, "ugid", szUid) >= 0 &&
        VUROTARNListTreeByUidHash(pHash, &listOu, &listPeer, NULL) == 0) {
        QLIBCSzListRemoveAll(*ppList);
        char szId[64];
        for (VURO_TARN_PEER* p = listPeer; p != NULL; p = p->pNext) {
            snprintf(szId, sizeof(szId), "peer_%ld", p->id);
            QLIBCSzListPush(ppList, szId);
        }
        for (VURO_TARN_OU* p = listOu; p != NULL; p = p->pNext) {
            snprintf(szId, sizeof(szId), "ou_%ld", p->id);
            QLIBCSzListPush(ppList, szId);
        }
        QLIBCSzListSortItems(*ppList, OP_SORTED);
    }
    vurotarnListDestroy(&listOu);
    vurotarnListDestroy(&listPeer);
    QLIBCSzHashFree(pHash);
    return 0;
}
