/* tarndelegate_setter.cpp - changes to delegate fields in memory. */
#include "tarndelegate/vurotarndelegate_int.h"

VUROTARN_ITEM_SET_VALUE(VurotarnDelegate, VUROTARNDelegateItemSetID, long, id)
VUROTARN_ITEM_SET_VALUE(VurotarnDelegate, VUROTARNDelegateItemSetModifiedTime, time_t, mtime)
VUROTARN_ITEM_SET_VALUE(VurotarnDelegate, VUROTARNDelegateItemSetUserType, long, user_type)
VUROTARN_ITEM_SET_VALUE(VurotarnDelegate, VUROTARNDelegateItemSetUGID, unsigned long, ugid)
VUROTARN_ITEM_SET_VALUE(VurotarnDelegate, VUROTARNDelegateItemSetTargetType, long, target_type)
VUROTARN_ITEM_SET_VALUE(VurotarnDelegate, VUROTARNDelegateItemSetTargetID, long, target_id)
VUROTARN_ITEM_SET_TEXT(VurotarnDelegate, VUROTARNDelegateItemSetExtraInfo, str_extra_info)
