/* tarndelegate_setter.cpp - changes to delegate fields in memory. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateItemSetID(VURO_TARN_DELEGATE* pDelegate, long val) {
    return VurotarnDelegate::itemSetValue(pDelegate, val, &VURO_TARN_DELEGATE::id);
}

int VUROTARNDelegateItemSetModifiedTime(VURO_TARN_DELEGATE* pDelegate, time_t val) {
    return VurotarnDelegate::itemSetValue(pDelegate, val, &VURO_TARN_DELEGATE::mtime);
}

int VUROTARNDelegateItemSetUserType(VURO_TARN_DELEGATE* pDelegate, long val) {
    return VurotarnDelegate::itemSetValue(pDelegate, val, &VURO_TARN_DELEGATE::user_type);
}

int VUROTARNDelegateItemSetUGID(VURO_TARN_DELEGATE* pDelegate, unsigned long val) {
    return VurotarnDelegate::itemSetValue(pDelegate, val, &VURO_TARN_DELEGATE::ugid);
}

int VUROTARNDelegateItemSetTargetType(VURO_TARN_DELEGATE* pDelegate, long val) {
    return VurotarnDelegate::itemSetValue(pDelegate, val, &VURO_TARN_DELEGATE::target_type);
}

int VUROTARNDelegateItemSetTargetID(VURO_TARN_DELEGATE* pDelegate, long val) {
    return VurotarnDelegate::itemSetValue(pDelegate, val, &VURO_TARN_DELEGATE::target_id);
}

int VUROTARNDelegateItemSetExtraInfo(VURO_TARN_DELEGATE* pDelegate, const char* szVal) {
    return VurotarnDelegate::itemSetText(pDelegate, szVal, &VURO_TARN_DELEGATE::str_extra_info);
}
