/* tarngpo_setter.cpp - changes to gpo fields in memory. */
#include "tarngpo/vurotarngpo_int.h"

VUROTARN_ITEM_SET_VALUE(VurotarnGpo, VUROTARNGpoItemSetID, long, id)
VUROTARN_ITEM_SET_VALUE(VurotarnGpo, VUROTARNGpoItemSetModifiedTime, time_t, mtime)
VUROTARN_ITEM_SET_TEXT(VurotarnGpo, VUROTARNGpoItemSetName, str_name)
VUROTARN_ITEM_SET_TEXT(VurotarnGpo, VUROTARNGpoItemSetDescription, str_desc)
VUROTARN_ITEM_SET_VALUE(VurotarnGpo, VUROTARNGpoItemSetParentID, long, parent_id)
VUROTARN_ITEM_SET_VALUE(VurotarnGpo, VUROTARNGpoItemSetParentType, long, parent_type)
VUROTARN_ITEM_SET_TEXT(VurotarnGpo, VUROTARNGpoItemSetSetting, str_setting)
VUROTARN_ITEM_SET_TEXT(VurotarnGpo, VUROTARNGpoItemSetExtraInfo, str_extra_info)
