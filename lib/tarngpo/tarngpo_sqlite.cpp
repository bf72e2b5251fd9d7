/* tarngpo_sqlite.cpp - storage of group policy objects in table "gpo": the
 * family's field table (columns, hook arguments, JSON) and SQL texts. */
#include "tarngpo/vurotarngpo_int.h"

const VurotarnField<VURO_TARN_GPO> VurotarnGpoTraits::kFields[8] = {
    VUROTARN_FIELD_J(VURO_TARN_GPO, id, "id", "ID", kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_GPO, mtime, "mtime", "ModifiedTime", kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_GPO, str_name, "name", "Name", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_GPO, str_desc, "desc", "Description", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_GPO, parent_id, "parent_id", "ParentID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_GPO, parent_type, "parent_type", "ParentType", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_GPO, str_setting, "setting", "Setting",
                     kJsonIn | kJsonOut | kJsonDoc | kJsonKeepEmpty),
    VUROTARN_FIELD_J(VURO_TARN_GPO, str_extra_info, "extra_info", "ExtraInfo",
                     kJsonIn | kJsonWanted | kJsonDoc),
};

char* VurotarnGpoTraits::insertSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "INSERT INTO gpo ( mtime, name, desc, parent_id, parent_type, setting, extra_info, pid) "
        "VALUES ( %ld, '%q', '%q', %ld, %ld, '%q', '%q', %ld);",
        (long)r.mtime, r.str_name.c_str(), r.str_desc.c_str(), r.parent_id, r.parent_type,
        r.str_setting.c_str(), r.str_extra_info.c_str(), pid);
}

char* VurotarnGpoTraits::updateSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "UPDATE gpo SET id=%ld, mtime=%ld, name='%q', desc='%q', parent_id=%ld, parent_type=%ld, "
        "setting='%q', extra_info='%q', pid=%ld WHERE id=%ld;",
        r.id, (long)r.mtime, r.str_name.c_str(), r.str_desc.c_str(), r.parent_id, r.parent_type,
        r.str_setting.c_str(), r.str_extra_info.c_str(), pid, r.id);
}

char* VurotarnGpoTraits::readBackSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "SELECT id FROM gpo WHERE id=%ld AND mtime=%ld AND name='%q' AND desc='%q' AND "
        "parent_id=%ld AND parent_type=%ld AND setting='%q' AND extra_info='%q' AND pid=%ld;",
        r.id, (long)r.mtime, r.str_name.c_str(), r.str_desc.c_str(), r.parent_id, r.parent_type,
        r.str_setting.c_str(), r.str_extra_info.c_str(), pid);
}
