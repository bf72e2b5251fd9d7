/* vurotarninfogetter.h - copies of a server information record's fields;
 * in memory only. */
#ifndef VUROTARNINFOGETTER_H
#define VUROTARNINFOGETTER_H

#include "vurotarninfo.h"

VUROTARN_API int VUROTARNInfoItemGetID(unsigned long long* pVal, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetModifiedTime(time_t* pVal, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetPeerID(unsigned long long* pVal, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetGeneral(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetNetwork(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetHDDINFO(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetVolINFO(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetSession(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetDefine(char* szBuf, size_t cbBuf, const VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoItemGetExtraInfo(char* szBuf, size_t cbBuf,
                                              const VURO_TARN_INFO* pInfo);

#endif
