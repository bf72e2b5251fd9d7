/* tarndelegate_getter.cpp - copies of delegate fields, into numbers or sized buffers. */
#include "tarndelegate/vurotarndelegate_int.h"

VUROTARN_ITEM_GET_VALUE(VurotarnDelegate, VUROTARNDelegateItemGetID, long, id)
VUROTARN_ITEM_GET_VALUE(VurotarnDelegate, VUROTARNDelegateItemGetModifiedTime, time_t, mtime)
VUROTARN_ITEM_GET_VALUE(VurotarnDelegate, VUROTARNDelegateItemGetUserType, long, user_type)
VUROTARN_ITEM_GET_VALUE(VurotarnDelegate, VUROTARNDelegateItemGetUGID, unsigned long, ugid)
VUROTARN_ITEM_GET_VALUE(VurotarnDelegate, VUROTARNDelegateItemGetTargetType, long, target_type)
VUROTARN_ITEM_GET_VALUE(VurotarnDelegate, VUROTARNDelegateItemGetTargetID, long, target_id)

int VUROTARNDelegateItemGetExtraInfo(char* szBuf, size_t cbBuf,
                                     const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetText(szBuf, cbBuf, pDelegate,
                                         &VURO_TARN_DELEGATE::str_extra_info);
}
