/* tarnapp_setter.cpp - changes to application fields in memory. */
#include "tarnapp/vurotarnapp_int.h"

VUROTARN_ITEM_SET_VALUE(VurotarnApp, VUROTARNAppItemSetID, long int, id)
VUROTARN_ITEM_SET_VALUE(VurotarnApp, VUROTARNAppItemSetModifiedTime, time_t, mtime)
VUROTARN_ITEM_SET_VALUE(VurotarnApp, VUROTARNAppItemSetPeerID, long int, peer_id)
VUROTARN_ITEM_SET_TEXT(VurotarnApp, VUROTARNAppItemSetAppID, str_app_id)
VUROTARN_ITEM_SET_TEXT(VurotarnApp, VUROTARNAppItemSetVersion, str_app_version)
VUROTARN_ITEM_SET_VALUE(VurotarnApp, VUROTARNAppItemSetIconMtime, time_t, icon_mtime)
VUROTARN_ITEM_SET_TEXT(VurotarnApp, VUROTARNAppItemSetProtocol, str_protocol)
VUROTARN_ITEM_SET_VALUE(VurotarnApp, VUROTARNAppItemSetPort, int, port)
VUROTARN_ITEM_SET_TEXT(VurotarnApp, VUROTARNAppItemSetUrl, str_url)
VUROTARN_ITEM_SET_TEXT(VurotarnApp, VUROTARNAppItemSetWindowParam, str_windowparam)
VUROTARN_ITEM_SET_VALUE(VurotarnApp, VUROTARNAppItemSetIsPackage, BOOL, is_package)
VUROTARN_ITEM_SET_TEXT(VurotarnApp, VUROTARNAppItemSetExtraInfo, str_extra_info)
