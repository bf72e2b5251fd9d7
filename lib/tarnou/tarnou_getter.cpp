/* tarnou_getter.cpp - copies of OU fields, into numbers or sized buffers. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuItemGetID(long* pVal, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetValue(pVal, pOu, &VURO_TARN_OU::id);
}

int VUROTARNOuItemGetModifiedTime(time_t* pVal, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetValue(pVal, pOu, &VURO_TARN_OU::mtime);
}

int VUROTARNOuItemGetName(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetText(szBuf, cbBuf, pOu, &VURO_TARN_OU::str_name);
}

int VUROTARNOuItemGetDescription(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetText(szBuf, cbBuf, pOu, &VURO_TARN_OU::str_desc);
}

int VUROTARNOuItemGetParentID(long* pVal, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetValue(pVal, pOu, &VURO_TARN_OU::parent_id);
}

int VUROTARNOuItemGetBlockInheritance(long* pVal, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetValue(pVal, pOu, &VURO_TARN_OU::block_inheritance);
}

int VUROTARNOuItemGetLinkedGPO(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetText(szBuf, cbBuf, pOu, &VURO_TARN_OU::str_linked_gpo);
}

int VUROTARNOuItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_OU* pOu) {
    return VurotarnOu::itemGetText(szBuf, cbBuf, pOu, &VURO_TARN_OU::str_extra_info);
}
