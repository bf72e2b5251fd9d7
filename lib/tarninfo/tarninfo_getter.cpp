/* tarninfo_getter.cpp - copies of server information fields, into numbers
 * or sized buffers. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoItemGetID(unsigned long long* pVal, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetValue(pVal, pInfo, &VURO_TARN_INFO::id);
}

int VUROTARNInfoItemGetModifiedTime(time_t* pVal, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetValue(pVal, pInfo, &VURO_TARN_INFO::mtime);
}

int VUROTARNInfoItemGetPeerID(unsigned long long* pVal, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetValue(pVal, pInfo, &VURO_TARN_INFO::peer_id);
}

int VUROTARNInfoItemGetGeneral(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetText(szBuf, cbBuf, pInfo, &VURO_TARN_INFO::str_general);
}

int VUROTARNInfoItemGetNetwork(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetText(szBuf, cbBuf, pInfo, &VURO_TARN_INFO::str_network);
}

int VUROTARNInfoItemGetHDDINFO(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetText(szBuf, cbBuf, pInfo, &VURO_TARN_INFO::str_hdd_info);
}

int VUROTARNInfoItemGetVolINFO(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetText(szBuf, cbBuf, pInfo, &VURO_TARN_INFO::str_vol_info);
}

int VUROTARNInfoItemGetSession(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetText(szBuf, cbBuf, pInfo, &VURO_TARN_INFO::str_session);
}

int VUROTARNInfoItemGetDefine(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetText(szBuf, cbBuf, pInfo, &VURO_TARN_INFO::str_define);
}

int VUROTARNInfoItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::itemGetText(szBuf, cbBuf, pInfo, &VURO_TARN_INFO::str_extra_info);
}
