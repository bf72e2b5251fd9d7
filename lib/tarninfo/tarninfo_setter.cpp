/* tarninfo_setter.cpp - changes to server information fields in memory. */
#include "tarninfo/vurotarninfo_int.h"

VUROTARN_ITEM_SET_VALUE(VurotarnInfo, VUROTARNInfoItemSetID, unsigned long long, id)
VUROTARN_ITEM_SET_VALUE(VurotarnInfo, VUROTARNInfoItemSetModifiedTime, time_t, mtime)
VUROTARN_ITEM_SET_VALUE(VurotarnInfo, VUROTARNInfoItemSetPeerID, unsigned long long, peer_id)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetGeneral, str_general)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetNetwork, str_network)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetHDDInfo, str_hdd_info)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetVolInfo, str_vol_info)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetSession, str_session)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetDefine, str_define)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetExtraInfo, str_extra_info)
