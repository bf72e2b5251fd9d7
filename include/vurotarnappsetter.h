/* vurotarnappsetter.h - changes to an application record's fields; in
 * memory only. */
#ifndef VUROTARNAPPSETTER_H
#define VUROTARNAPPSETTER_H

#include "vurotarnapp.h"

VUROTARN_API int VUROTARNAppItemSetID(VURO_TARN_APP* pApp, long int val);
VUROTARN_API int VUROTARNAppItemSetModifiedTime(VURO_TARN_APP* pApp, time_t val);
VUROTARN_API int VUROTARNAppItemSetPeerID(VURO_TARN_APP* pApp, long int val);
VUROTARN_API int VUROTARNAppItemSetAppID(VURO_TARN_APP* pApp, const char* szVal);
VUROTARN_API int VUROTARNAppItemSetVersion(VURO_TARN_APP* pApp, const char* szVal);
VUROTARN_API int VUROTARNAppItemSetIconMtime(VURO_TARN_APP* pApp, time_t val);
VUROTARN_API int VUROTARNAppItemSetProtocol(VURO_TARN_APP* pApp, const char* szVal);
VUROTARN_API int VUROTARNAppItemSetPort(VURO_TARN_APP* pApp, int val);
VUROTARN_API int VUROTARNAppItemSetUrl(VURO_TARN_APP* pApp, const char* szVal);
VUROTARN_API int VUROTARNAppItemSetWindowParam(VURO_TARN_APP* pApp, const char* szVal);
VUROTARN_API int VUROTARNAppItemSetIsPackage(VURO_TARN_APP* pApp, BOOL val);
VUROTARN_API int VUROTARNAppItemSetExtraInfo(VURO_TARN_APP* pApp, const char* szVal);

#endif
