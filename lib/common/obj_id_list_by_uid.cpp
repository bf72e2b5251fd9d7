/* obj_id_list_by_uid.cpp - the object ids ("ou_%ld", "peer_%ld") of every
 * node in a user's view, as the event log filters them. */
#include <stdio.h>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_uid.h"

int VUROTARNContainerObjIDListByUid(uid_t uid, PQLIBSZLIST* ppList) {
    VUROTARN_ARG_CHECK(NULL, !=, ppList, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, *ppList, return -1);
    VurotarnList<VURO_TARN_OU> listOu;
    VurotarnList<VURO_TARN_PEER> listPeer;
    if (VUROTARNListTreeByUid(uid, &listOu.p, &listPeer.p, NULL) == 0) {
        QLIBCSzListRemoveAll(*ppList);
        char szId[64];
        for (VURO_TARN_PEER* p = listPeer.p; p != NULL; p = p->pNext) {
            snprintf(szId, sizeof(szId), "peer_%ld", p->id);
            QLIBCSzListPush(ppList, szId);
        }
        for (VURO_TARN_OU* p = listOu.p; p != NULL; p = p->pNext) {
            snprintf(szId, sizeof(szId), "ou_%ld", p->id);
            QLIBCSzListPush(ppList, szId);
        }
        QLIBCSzListSortItems(*ppList, OP_SORTED);
    }
    return 0;
}
