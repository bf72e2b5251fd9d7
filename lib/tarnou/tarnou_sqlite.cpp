/* tarnou_sqlite.cpp - storage of OUs in table "ou": the family's field table
 * (columns, hook arguments, JSON). */
#include "tarnou/vurotarnou_int.h"

const VurotarnField<VURO_TARN_OU> VurotarnOuTraits::kFields[8] = {
    VUROTARN_FIELD_J(VURO_TARN_OU, id, "id", "ID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_OU, mtime, "mtime", "ModifiedTime", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_OU, str_name, "name", "Name", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_OU, str_desc, "desc", "Description", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_OU, parent_id, "parent_id", "ParentID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_OU, block_inheritance, "block_inheritance", "BlockInheritance",
                     kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_OU, str_linked_gpo, "linked_gpo", "LinkedGPO",
                     kJsonIn | kJsonWanted | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_OU, str_extra_info, "extra_info", "ExtraInfo",
                     kJsonIn | kJsonWanted | kJsonDoc),
};
