/* tarninfo_items.cpp - copies of server information fields into numbers or sized buffers,
 * and changes to them, in memory only. */
#include "tarninfo/vurotarninfo_int.h"

VUROTARN_ITEM(VurotarnInfo, Info, ID, unsigned long long, id)
VUROTARN_ITEM(VurotarnInfo, Info, ModifiedTime, time_t, mtime)
VUROTARN_ITEM(VurotarnInfo, Info, PeerID, unsigned long long, peer_id)
VUROTARN_ITEM_TEXT(VurotarnInfo, Info, General, str_general)
VUROTARN_ITEM_TEXT(VurotarnInfo, Info, Network, str_network)
VUROTARN_ITEM_TEXT(VurotarnInfo, Info, Session, str_session)
VUROTARN_ITEM_TEXT(VurotarnInfo, Info, Define, str_define)
VUROTARN_ITEM_TEXT(VurotarnInfo, Info, ExtraInfo, str_extra_info)

VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetHDDINFO, str_hdd_info)
VUROTARN_ITEM_GET_TEXT(VurotarnInfo, VUROTARNInfoItemGetVolINFO, str_vol_info)

VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetHDDInfo, str_hdd_info)
VUROTARN_ITEM_SET_TEXT(VurotarnInfo, VUROTARNInfoItemSetVolInfo, str_vol_info)
