/* tarngpo_sqlite.cpp - storage of group policy objects in table "gpo": the
 * family's field table (columns, hook arguments, JSON). */
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
