/* vurotarninfosetter.h - changes to a server information record's fields;
 * in memory only. */
#ifndef VUROTARNINFOSETTER_H
#define VUROTARNINFOSETTER_H

#include "vurotarninfo.h"

VUROTARN_API int VUROTARNInfoItemSetID(VURO_TARN_INFO* pInfo, unsigned long long val);
VUROTARN_API int VUROTARNInfoItemSetModifiedTime(VURO_TARN_INFO* pInfo, time_t val);
VUROTARN_API int VUROTARNInfoItemSetPeerID(VURO_TARN_INFO* pInfo, unsigned long long val);
VUROTARN_API int VUROTARNInfoItemSetGeneral(VURO_TARN_INFO* pInfo, const char* szVal);
VUROTARN_API int VUROTARNInfoItemSetNetwork(VURO_TARN_INFO* pInfo, const char* szVal);
VUROTARN_API int VUROTARNInfoItemSetHDDInfo(VURO_TARN_INFO* pInfo, const char* szVal);
VUROTARN_API int VUROTARNInfoItemSetVolInfo(VURO_TARN_INFO* pInfo, const char* szVal);
VUROTARN_API int VUROTARNInfoItemSetSession(VURO_TARN_INFO* pInfo, const char* szVal);
VUROTARN_API int VUROTARNInfoItemSetDefine(VURO_TARN_INFO* pInfo, const char* szVal);
VUROTARN_API int VUROTARNInfoItemSetExtraInfo(VURO_TARN_INFO* pInfo, const char* szVal);

#endif
