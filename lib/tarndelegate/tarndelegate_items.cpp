/* tarndelegate_items.cpp - copies of delegate fields into numbers or sized buffers,
 * and changes to them, in memory only. */
#include "tarndelegate/vurotarndelegate_int.h"

VUROTARN_ITEM(VurotarnDelegate, Delegate, ID, long, id)
VUROTARN_ITEM(VurotarnDelegate, Delegate, ModifiedTime, time_t, mtime)
VUROTARN_ITEM(VurotarnDelegate, Delegate, UserType, long, user_type)
VUROTARN_ITEM(VurotarnDelegate, Delegate, UGID, unsigned long, ugid)
VUROTARN_ITEM(VurotarnDelegate, Delegate, TargetType, long, target_type)
VUROTARN_ITEM(VurotarnDelegate, Delegate, TargetID, long, target_id)

int VUROTARNDelegateItemGetExtraInfo(char* szBuf, size_t cbBuf,
                                     const VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::itemGetText(szBuf, cbBuf, pDelegate,
                                         &VURO_TARN_DELEGATE::str_extra_info);
}

VUROTARN_ITEM_SET_TEXT(VurotarnDelegate, VUROTARNDelegateItemSetExtraInfo, str_extra_info)
