/* tarngpo_setter.cpp - changes to gpo fields in memory. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoItemSetID(VURO_TARN_GPO* pGpo, long val) {
    return VurotarnGpo::itemSetValue(pGpo, val, &VURO_TARN_GPO::id);
}

int VUROTARNGpoItemSetModifiedTime(VURO_TARN_GPO* pGpo, time_t val) {
    return VurotarnGpo::itemSetValue(pGpo, val, &VURO_TARN_GPO::mtime);
}

int VUROTARNGpoItemSetName(VURO_TARN_GPO* pGpo, const char* szVal) {
    return VurotarnGpo::itemSetText(pGpo, szVal, &VURO_TARN_GPO::str_name);
}

int VUROTARNGpoItemSetDescription(VURO_TARN_GPO* pGpo, const char* szVal) {
    return VurotarnGpo::itemSetText(pGpo, szVal, &VURO_TARN_GPO::str_desc);
}

int VUROTARNGpoItemSetParentID(VURO_TARN_GPO* pGpo, long val) {
    return VurotarnGpo::itemSetValue(pGpo, val, &VURO_TARN_GPO::parent_id);
}

int VUROTARNGpoItemSetParentType(VURO_TARN_GPO* pGpo, long val) {
    return VurotarnGpo::itemSetValue(pGpo, val, &VURO_TARN_GPO::parent_type);
}

int VUROTARNGpoItemSetSetting(VURO_TARN_GPO* pGpo, const char* szVal) {
    return VurotarnGpo::itemSetText(pGpo, szVal, &VURO_TARN_GPO::str_setting);
}

int VUROTARNGpoItemSetExtraInfo(VURO_TARN_GPO* pGpo, const char* szVal) {
    return VurotarnGpo::itemSetText(pGpo, szVal, &VURO_TARN_GPO::str_extra_info);
}
