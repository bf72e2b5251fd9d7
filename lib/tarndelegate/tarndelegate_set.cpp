/* tarndelegate_set.cpp - rewriting stored delegate rows, with hooks
 * but without a change log entry. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateSet(VURO_TARN_DELEGATE* pDelegate) { return VurotarnDelegate::set(pDelegate); }

int VUROTARNDelegateSetMultiple(VURO_TARN_DELEGATE_LIST pDelegateList) {
    return VurotarnDelegate::setMultiple(pDelegateList);
}
