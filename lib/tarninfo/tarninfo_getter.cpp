/* tarninfo_getter.cpp - copies of server information fields, into numbers
 * or sized buffers. */
#include "tarninfo/vurotarninfo_int.h"

VUROTARN_ITEM_GET_VALUE(VurotarnInfo, VUROTARNInfoItemGetID, unsigned long long, id)
VUROTARN_ITEM_GET_VALUE(VurotarnInfo, VUROTARNInfoItemGetModifiedTime, time_t, mtime)
VUROTARN_ITEM_GET_VALUE(VurotarnInfo, VUROTARNInfoItemGetPeerID, unsigned long long, peer_id)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetGeneral, str_general)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetNetwork, str_network)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetHDDINFO, str_hdd_info)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetVolINFO, str_vol_info)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetSession, str_session)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetDefine, str_define)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetExtraInfo, str_extra_info)
