/* tarnou_items.cpp - copies of OU fields into numbers or sized buffers,
 * and changes to them, in memory only. */
#include "tarnou/vurotarnou_int.h"

VUROTARN_ITEM(VurotarnOu, Ou, ID, long, id)
VUROTARN_ITEM(VurotarnOu, Ou, ModifiedTime, time_t, mtime)
VUROTARN_ITEM_TEXT(VurotarnOu, Ou, Name, str_name)
VUROTARN_ITEM_TEXT(VurotarnOu, Ou, Description, str_desc)
VUROTARN_ITEM(VurotarnOu, Ou, ParentID, long, parent_id)
VUROTARN_ITEM(VurotarnOu, Ou, BlockInheritance, long, block_inheritance)
VUROTARN_ITEM_TEXT(VurotarnOu, Ou, LinkedGPO, str_linked_gpo)
VUROTARN_ITEM_TEXT(VurotarnOu, Ou, ExtraInfo, str_extra_info)
