/* tarnapp_list.cpp - application lists by condition hash or through a
 * filter. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppList(const PQLIBSZHASH pParms, VURO_TARN_APP_LIST* pAppList, size_t* pTotalCount) {
    return VurotarnApp::list(pParms, pAppList, pTotalCount);
}

int VUROTARNAppListAll(VURO_TARN_APP_LIST* pAppList, BOOL (*isKeep)(VURO_TARN_APP*, void*),
                       void* private_data) {
    return VurotarnApp::listAll(pAppList, isKeep, private_data);
}
