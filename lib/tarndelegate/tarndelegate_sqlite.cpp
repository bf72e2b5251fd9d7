/* tarndelegate_sqlite.cpp - storage of delegates in table "delegate": the
 * family's field table and SQL texts, and the removal by target. */
#include "tarndelegate/vurotarndelegate_int.h"

const VurotarnField<VURO_TARN_DELEGATE> VurotarnDelegateTraits::kFields[7] = {
    VUROTARN_FIELD_J(VURO_TARN_DELEGATE, id, "id", "ID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_DELEGATE, mtime, "mtime", "ModifiedTime", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_DELEGATE, user_type, "user_type", "UserType", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_DELEGATE, ugid, "ugid", "UGID", kJsonIn | kJsonOut | kJsonUnsigned),
    VUROTARN_FIELD_J(VURO_TARN_DELEGATE, target_type, "target_type", "TargetType",
                     kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_DELEGATE, target_id, "target_id", "TargetID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_DELEGATE, str_extra_info, "extra_info", "ExtraInfo",
                     kJsonIn | kJsonWanted | kJsonDoc),
};

char* VurotarnDelegateTraits::insertSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "INSERT INTO delegate ( mtime, user_type, ugid, target_type, target_id, extra_info, pid) "
        "VALUES ( %ld, %ld, %lu, %ld, %ld, '%q', %ld);",
        (long)r.mtime, r.user_type, r.ugid, r.target_type, r.target_id, r.str_extra_info.c_str(),
        pid);
}

char* VurotarnDelegateTraits::updateSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "UPDATE delegate SET id=%ld, mtime=%ld, user_type=%ld, ugid=%lu, target_type=%ld, "
        "target_id=%ld, extra_info='%q', pid=%ld WHERE id=%ld;",
        r.id, (long)r.mtime, r.user_type, r.ugid, r.target_type, r.target_id,
        r.str_extra_info.c_str(), pid, r.id);
}

char* VurotarnDelegateTraits::readBackSql(const Rec& r, long pid) {
    return sqlite3_mprintf(
        "SELECT id FROM delegate WHERE id=%ld AND mtime=%ld AND user_type=%ld AND ugid=%lu AND "
        "target_type=%ld AND target_id=%ld AND extra_info='%q' AND pid=%ld;",
        r.id, (long)r.mtime, r.user_type, r.ugid, r.target_type, r.target_id,
        r.str_extra_info.c_str(), pid);
}

int VUROTARNDelegateDeleteByTarget_sqlite(long id, int nodeType) {
    VurotarnConnection db;
    char szSQL[4096];
    sqlite3_snprintf(sizeof(szSQL), szSQL,
                     "DELETE FROM delegate WHERE target_id=%ld and target_type=%d;", id, nodeType);
    return db.exec(szSQL) != 0 ? -1 : 0;
}
