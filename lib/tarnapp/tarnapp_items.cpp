/* tarnapp_items.cpp - copies of application fields into numbers or sized buffers,
 * and changes to them, in memory only. */
#include "tarnapp/vurotarnapp_int.h"

VUROTARN_ITEM(VurotarnApp, App, ID, long int, id)
VUROTARN_ITEM(VurotarnApp, App, ModifiedTime, time_t, mtime)
VUROTARN_ITEM(VurotarnApp, App, PeerID, long int, peer_id)
VUROTARN_ITEM_TEXT(VurotarnApp, App, AppID, str_app_id)
VUROTARN_ITEM_TEXT(VurotarnApp, App, Version, str_app_version)
VUROTARN_ITEM(VurotarnApp, App, IconMtime, time_t, icon_mtime)
VUROTARN_ITEM_TEXT(VurotarnApp, App, Protocol, str_protocol)
VUROTARN_ITEM(VurotarnApp, App, Port, int, port)
VUROTARN_ITEM_TEXT(VurotarnApp, App, WindowParam, str_windowparam)
VUROTARN_ITEM(VurotarnApp, App, IsPackage, BOOL, is_package)
VUROTARN_ITEM_TEXT(VurotarnApp, App, ExtraInfo, str_extra_info)

VUROTARN_ITEM_GET_TEXT(VurotarnApp, VUROTARNAppItemGetURL, str_url)

VUROTARN_ITEM_SET_TEXT(VurotarnApp, VUROTARNAppItemSetUrl, str_url)
