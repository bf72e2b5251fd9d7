/* tarndelegate_list.cpp - delegate lists by condition hash or through a filter. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateList(const PQLIBSZHASH pParms, VURO_TARN_DELEGATE_LIST* pDelegateList,
                         size_t* pTotalCount) {
    return VurotarnDelegate::list(pParms, pDelegateList, pTotalCount);
}

int VUROTARNDelegateListAll(VURO_TARN_DELEGATE_LIST* pDelegateList,
                            BOOL (*isKeep)(VURO_TARN_DELEGATE*, void*), void* private_data) {
    return VurotarnDelegate::listAll(pDelegateList, isKeep, private_data);
}
