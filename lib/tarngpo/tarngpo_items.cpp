/* tarngpo_items.cpp - copies of policy fields into numbers or sized buffers,
 * and changes to them, in memory only. */
#include "tarngpo/vurotarngpo_int.h"

VUROTARN_ITEM(VurotarnGpo, Gpo, ID, long, id)
VUROTARN_ITEM(VurotarnGpo, Gpo, ModifiedTime, time_t, mtime)
VUROTARN_ITEM_TEXT(VurotarnGpo, Gpo, Name, str_name)
VUROTARN_ITEM_TEXT(VurotarnGpo, Gpo, Description, str_desc)
VUROTARN_ITEM(VurotarnGpo, Gpo, ParentID, long, parent_id)
VUROTARN_ITEM(VurotarnGpo, Gpo, ParentType, long, parent_type)
VUROTARN_ITEM_TEXT(VurotarnGpo, Gpo, Setting, str_setting)
VUROTARN_ITEM_TEXT(VurotarnGpo, Gpo, ExtraInfo, str_extra_info)
