/* tarndelegate_sqlite.cpp - storage of delegates in table "delegate": the
 * family's field table and the removal by target. */
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

// Without hooks or a change-log row: the node itself is going.
int VUROTARNDelegateDeleteByTarget(long id, int nodeType) {
    VurotarnConnection db;
    char szSQL[4096];
    sqlite3_snprintf(sizeof(szSQL), szSQL,
                     "DELETE FROM delegate WHERE target_id=%ld and target_type=%d;", id, nodeType);
    return db.exec(szSQL) != 0 ? -1 : 0;
}
