/* tarngpo_list.cpp - gpo lists by condition hash or through a filter. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoList(const PQLIBSZHASH pParms, VURO_TARN_GPO_LIST* pGpoList, size_t* pTotalCount) {
    return VurotarnGpo::list(pParms, pGpoList, pTotalCount);
}

int VUROTARNGpoListAll(VURO_TARN_GPO_LIST* pGpoList, BOOL (*isKeep)(VURO_TARN_GPO*, void*),
                       void* private_data) {
    return VurotarnGpo::listAll(pGpoList, isKeep, private_data);
}
