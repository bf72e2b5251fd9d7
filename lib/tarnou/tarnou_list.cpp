/* tarnou_list.cpp - OU lists by condition hash or through a filter. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuList(const PQLIBSZHASH pParms, VURO_TARN_OU_LIST* pOuList, size_t* pTotalCount) {
    return VurotarnOu::list(pParms, pOuList, pTotalCount);
}

int VUROTARNOuListAll(VURO_TARN_OU_LIST* pOuList, BOOL (*isKeep)(VURO_TARN_OU*, void*),
                      void* private_data) {
    return VurotarnOu::listAll(pOuList, isKeep, private_data);
}
