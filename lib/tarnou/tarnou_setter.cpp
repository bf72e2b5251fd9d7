/* tarnou_setter.cpp - changes to OU fields in memory. */
#include "tarnou/vurotarnou_int.h"

VUROTARN_ITEM_SET_VALUE(VurotarnOu, VUROTARNOuItemSetID, long, id)
VUROTARN_ITEM_SET_VALUE(VurotarnOu, VUROTARNOuItemSetModifiedTime, time_t, mtime)
VUROTARN_ITEM_SET_TEXT(VurotarnOu, VUROTARNOuItemSetName, str_name)
VUROTARN_ITEM_SET_TEXT(VurotarnOu, VUROTARNOuItemSetDescription, str_desc)
VUROTARN_ITEM_SET_VALUE(VurotarnOu, VUROTARNOuItemSetParentID, long, parent_id)
VUROTARN_ITEM_SET_VALUE(VurotarnOu, VUROTARNOuItemSetBlockInheritance, long, block_inheritance)
VUROTARN_ITEM_SET_TEXT(VurotarnOu, VUROTARNOuItemSetLinkedGPO, str_linked_gpo)
VUROTARN_ITEM_SET_TEXT(VurotarnOu, VUROTARNOuItemSetExtraInfo, str_extra_info)
