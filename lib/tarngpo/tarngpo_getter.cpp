/* tarngpo_getter.cpp - copies of gpo fields, into numbers or sized buffers. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoItemGetID(long* pVal, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetValue(pVal, pGpo, &VURO_TARN_GPO::id);
}

int VUROTARNGpoItemGetModifiedTime(time_t* pVal, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetValue(pVal, pGpo, &VURO_TARN_GPO::mtime);
}

int VUROTARNGpoItemGetName(char* szBuf, size_t cbBuf, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetText(szBuf, cbBuf, pGpo, &VURO_TARN_GPO::str_name);
}

int VUROTARNGpoItemGetDescription(char* szBuf, size_t cbBuf, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetText(szBuf, cbBuf, pGpo, &VURO_TARN_GPO::str_desc);
}

int VUROTARNGpoItemGetParentID(long* pVal, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetValue(pVal, pGpo, &VURO_TARN_GPO::parent_id);
}

int VUROTARNGpoItemGetParentType(long* pVal, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetValue(pVal, pGpo, &VURO_TARN_GPO::parent_type);
}

int VUROTARNGpoItemGetSetting(char* szBuf, size_t cbBuf, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetText(szBuf, cbBuf, pGpo, &VURO_TARN_GPO::str_setting);
}

int VUROTARNGpoItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::itemGetText(szBuf, cbBuf, pGpo, &VURO_TARN_GPO::str_extra_info);
}
