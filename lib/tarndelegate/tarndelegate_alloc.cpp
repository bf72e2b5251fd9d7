/* tarndelegate_alloc.cpp - delegate records in memory: allocation, release, reset, lists. */
#include "tarndelegate/vurotarndelegate_int.h"

VURO_TARN_DELEGATE* VUROTARNDelegateAlloc() { return VurotarnDelegate::alloc(); }

int VUROTARNDelegateFree(VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::free(pDelegate);
}

int VUROTARNDelegateClear(VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::clear(pDelegate);
}

VURO_TARN_DELEGATE* VUROTARNDelegateNext(const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::next(pDelegate);
}

void VUROTARNDelegateListFree(VURO_TARN_DELEGATE_LIST* pDelegateList) {
    VurotarnDelegate::listFree(pDelegateList);
}
