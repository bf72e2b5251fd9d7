/* tarnou_setter.cpp - changes to OU fields in memory. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuItemSetID(VURO_TARN_OU* pOu, long val) {
    return VurotarnOu::itemSetValue(pOu, val, &VURO_TARN_OU::id);
}

int VUROTARNOuItemSetModifiedTime(VURO_TARN_OU* pOu, time_t val) {
    return VurotarnOu::itemSetValue(pOu, val, &VURO_TARN_OU::mtime);
}

int VUROTARNOuItemSetName(VURO_TARN_OU* pOu, const char* szVal) {
    return VurotarnOu::itemSetText(pOu, szVal, &VURO_TARN_OU::str_name);
}

int VUROTARNOuItemSetDescription(VURO_TARN_OU* pOu, const char* szVal) {
    return VurotarnOu::itemSetText(pOu, szVal, &VURO_TARN_OU::str_desc);
}

int VUROTARNOuItemSetParentID(VURO_TARN_OU* pOu, long val) {
    return VurotarnOu::itemSetValue(pOu, val, &VURO_TARN_OU::parent_id);
}

int VUROTARNOuItemSetBlockInheritance(VURO_TARN_OU* pOu, long val) {
    return VurotarnOu::itemSetValue(pOu, val, &VURO_TARN_OU::block_inheritance);
}

int VUROTARNOuItemSetLinkedGPO(VURO_TARN_OU* pOu, const char* szVal) {
    return VurotarnOu::itemSetText(pOu, szVal, &VURO_TARN_OU::str_linked_gpo);
}

int VUROTARNOuItemSetExtraInfo(VURO_TARN_OU* pOu, const char* szVal) {
    return VurotarnOu::itemSetText(pOu, szVal, &VURO_TARN_OU::str_extra_info);
}
