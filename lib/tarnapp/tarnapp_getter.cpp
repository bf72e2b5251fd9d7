/* tarnapp_getter.cpp - copies of application fields, into numbers or sized
 * buffers. */
#include "tarnapp/vurotarnapp_int.h"

VUROTARN_ITEM_GET_VALUE(VurotarnApp, VUROTARNAppItemGetID, long int, id)
VUROTARN_ITEM_GET_VALUE(VurotarnApp, VUROTARNAppItemGetModifiedTime, time_t, mtime)
VUROTARN_ITEM_GET_VALUE(VurotarnApp, VUROTARNAppItemGetPeerID, long int, peer_id)
VUROTARN_ITEM_GET_TEXT(VurotarnApp, VUROTARNAppItemGetAppID, str_app_id)
VUROTARN_ITEM_GET_TEXT(VurotarnApp, VUROTARNAppItemGetVersion, str_app_version)
VUROTARN_ITEM_GET_VALUE(VurotarnApp, VUROTARNAppItemGetIconMtime, time_t, icon_mtime)
VUROTARN_ITEM_GET_TEXT(VurotarnApp, VUROTARNAppItemGetProtocol, str_protocol)
VUROTARN_ITEM_GET_VALUE(VurotarnApp, VUROTARNAppItemGetPort, int, port)
VUROTARN_ITEM_GET_TEXT(VurotarnApp, VUROTARNAppItemGetURL, str_url)
VUROTARN_ITEM_GET_TEXT(VurotarnApp, VUROTARNAppItemGetWindowParam, str_windowparam)
VUROTARN_ITEM_GET_VALUE(VurotarnApp, VUROTARNAppItemGetIsPackage, BOOL, is_package)
VUROTARN_ITEM_GET_TEXT(VurotarnApp, VUROTARNAppItemGetExtraInfo, str_extra_info)
