/* tarndelegate_get.cpp - reading one delegate by id, or the first of several ids. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateGet(long id, VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::get(id, pDelegate);
}

int VUROTARNDelegateGetMultiple(long* ids, size_t cID, VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::getMultiple(ids, cID, pDelegate);
}
