/* tarnou_getter.cpp - copies of OU fields, into numbers or sized buffers. */
#include "tarnou/vurotarnou_int.h"

VUROTARN_ITEM_GET_VALUE(VurotarnOu, VUROTARNOuItemGetID, long, id)
VUROTARN_ITEM_GET_VALUE(VurotarnOu, VUROTARNOuItemGetModifiedTime, time_t, mtime)
VUROTARN_ITEM_GET_TEXT(VurotarnOu, VUROTARNOuItemGetName, str_name)
VUROTARN_ITEM_GET_TEXT(VurotarnOu, VUROTARNOuItemGetDescription, str_desc)
VUROTARN_ITEM_GET_VALUE(VurotarnOu, VUROTARNOuItemGetParentID, long, parent_id)
VUROTARN_ITEM_GET_VALUE(VurotarnOu, VUROTARNOuItemGetBlockInheritance, long, block_inheritance)
VUROTARN_ITEM_GET_TEXT(VurotarnOu, VUROTARNOuItemGetLinkedGPO, str_linked_gpo)
VUROTARN_ITEM_GET_TEXT(VurotarnOu, VUROTARNOuItemGetExtraInfo, str_extra_info)
