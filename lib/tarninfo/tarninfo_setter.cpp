/* tarninfo_setter.cpp - changes to server information fields in memory. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoItemSetID(VURO_TARN_INFO* pInfo, unsigned long long val) {
    return VurotarnInfo::itemSetValue(pInfo, val, &VURO_TARN_INFO::id);
}

int VUROTARNInfoItemSetModifiedTime(VURO_TARN_INFO* pInfo, time_t val) {
    return VurotarnInfo::itemSetValue(pInfo, val, &VURO_TARN_INFO::mtime);
}

int VUROTARNInfoItemSetPeerID(VURO_TARN_INFO* pInfo, unsigned long long val) {
    return VurotarnInfo::itemSetValue(pInfo, val, &VURO_TARN_INFO::peer_id);
}

int VUROTARNInfoItemSetGeneral(VURO_TARN_INFO* pInfo, const char* szVal) {
    return VurotarnInfo::itemSetText(pInfo, szVal, &VURO_TARN_INFO::str_general);
}

int VUROTARNInfoItemSetNetwork(VURO_TARN_INFO* pInfo, const char* szVal) {
    return VurotarnInfo::itemSetText(pInfo, szVal, &VURO_TARN_INFO::str_network);
}

int VUROTARNInfoItemSetHDDInfo(VURO_TARN_INFO* pInfo, const char* szVal) {
    return VurotarnInfo::itemSetText(pInfo, szVal, &VURO_TARN_INFO::str_hdd_info);
}

int VUROTARNInfoItemSetVolInfo(VURO_TARN_INFO* pInfo, const char* szVal) {
    return VurotarnInfo::itemSetText(pInfo, szVal, &VURO_TARN_INFO::str_vol_info);
}

int VUROTARNInfoItemSetSession(VURO_TARN_INFO* pInfo, const char* szVal) {
    return VurotarnInfo::itemSetText(pInfo, szVal, &VURO_TARN_INFO::str_session);
}

int VUROTARNInfoItemSetDefine(VURO_TARN_INFO* pInfo, const char* szVal) {
    return VurotarnInfo::itemSetText(pInfo, szVal, &VURO_TARN_INFO::str_define);
}

int VUROTARNInfoItemSetExtraInfo(VURO_TARN_INFO* pInfo, const char* szVal) {
    return VurotarnInfo::itemSetText(pInfo, szVal, &VURO_TARN_INFO::str_extra_info);
}
