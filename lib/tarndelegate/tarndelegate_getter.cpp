/* tarndelegate_getter.cpp - copies of delegate fields, into numbers or sized buffers. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateItemGetID(long* pVal, const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetValue(pVal, pDelegate, &VURO_TARN_DELEGATE::id);
}

int VUROTARNDelegateItemGetModifiedTime(time_t* pVal, const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetValue(pVal, pDelegate, &VURO_TARN_DELEGATE::mtime);
}

int VUROTARNDelegateItemGetUserType(long* pVal, const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetValue(pVal, pDelegate, &VURO_TARN_DELEGATE::user_type);
}

int VUROTARNDelegateItemGetUGID(unsigned long* pVal, const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetValue(pVal, pDelegate, &VURO_TARN_DELEGATE::ugid);
}

int VUROTARNDelegateItemGetTargetType(long* pVal, const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetValue(pVal, pDelegate, &VURO_TARN_DELEGATE::target_type);
}

int VUROTARNDelegateItemGetTargetID(long* pVal, const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetValue(pVal, pDelegate, &VURO_TARN_DELEGATE::target_id);
}

int VUROTARNDelegateItemGetExtraInfo(char* szBuf, size_t cbBuf,
                                     const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetText(szBuf, cbBuf, pDelegate,
                                         &VURO_TARN_DELEGATE::str_extra_info);
}
