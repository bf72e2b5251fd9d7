/* tarndelegate_create.cpp - storing new delegate rows, with hooks and change log. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateCreate(VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::create(pDelegate);
}

int VUROTARNDelegateCreateMultiple(VURO_TARN_DELEGATE_LIST pDelegateList) {
    return VurotarnDelegate::createMultiple(pDelegateList);
}
