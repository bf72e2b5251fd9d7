/* tarnou_sqlite.cpp - storage of OUs in table "ou": the family's field table
 * (columns, hook arguments, JSON) and SQL texts. */
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

char* VurotarnOuTraits::insertSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "INSERT INTO ou ( mtime, name, desc, parent_id, block_inheritance, linked_gpo, "
        "extra_info, pid) VALUES ( %ld, '%q', '%q', %ld, %ld, '%q', '%q', %ld);",
        (long)r.mtime, r.str_name.c_str(), r.str_desc.c_str(), r.parent_id, r.block_inheritance,
        r.str_linked_gpo.c_str(), r.str_extra_info.c_str(), pid);
}

char* VurotarnOuTraits::updateSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "UPDATE ou SET id=%ld, mtime=%ld, name='%q', desc='%q', parent_id=%ld, "
        "block_inheritance=%ld, linked_gpo='%q', extra_info='%q', pid=%ld WHERE id=%ld;",
        r.id, (long)r.mtime, r.str_name.c_str(), r.str_desc.c_str(), r.parent_id,
        r.block_inheritance, r.str_linked_gpo.c_str(), r.str_extra_info.c_str(), pid, r.id);
}

char* VurotarnOuTraits::readBackSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "SELECT id FROM ou WHERE id=%ld AND mtime=%ld AND name='%q' AND desc='%q' AND "
        "parent_id=%ld AND block_inheritance=%ld AND linked_gpo='%q' AND extra_info='%q' AND "
        "pid=%ld;",
        r.id, (long)r.mtime, r.str_name.c_str(), r.str_desc.c_str(), r.parent_id,
        r.block_inheritance, r.str_linked_gpo.c_str(), r.str_extra_info.c_str(), pid);
}
