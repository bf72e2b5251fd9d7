/* vurotarnappgetter.h - copies of an application record's fields; in memory
 * only. The names in languages other than English have no getter. */
#ifndef VUROTARNAPPGETTER_H
#define VUROTARNAPPGETTER_H

#include "vurotarnapp.h"

VUROTARN_API int VUROTARNAppItemGetID(long int* pVal, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetModifiedTime(time_t* pVal, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetPeerID(long int* pVal, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetAppID(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetVersion(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetIconMtime(time_t* pVal, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetProtocol(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetPort(int* pVal, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetURL(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetWindowParam(char* szBuf, size_t cbBuf,
                                               const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetIsPackage(BOOL* pVal, const VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp);

#endif
