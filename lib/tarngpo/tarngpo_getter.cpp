/* tarngpo_getter.cpp - copies of gpo fields, into numbers or sized buffers. */
#include "tarngpo/vurotarngpo_int.h"

VUROTARN_ITEM_GET_VALUE(VurotarnGpo, VUROTARNGpoItemGetID, long, id)
VUROTARN_ITEM_GET_VALUE(VurotarnGpo, VUROTARNGpoItemGetModifiedTime, time_t, mtime)
VUROTARN_ITEM_GET_TEXT(VurotarnGpo, VUROTARNGpoItemGetName, str_name)
VUROTARN_ITEM_GET_TEXT(VurotarnGpo, VUROTARNGpoItemGetDescription, str_desc)
VUROTARN_ITEM_GET_VALUE(VurotarnGpo, VUROTARNGpoItemGetParentID, long, parent_id)
VUROTARN_ITEM_GET_VALUE(VurotarnGpo, VUROTARNGpoItemGetParentType, long, parent_type)
VUROTARN_ITEM_GET_TEXT(VurotarnGpo, VUROTARNGpoItemGetSetting, str_setting)
VUROTARN_ITEM_GET_TEXT(VurotarnGpo, VUROTARNGpoItemGetExtraInfo, str_extra_info)
