/* vurotarnpkggetter.h - copies of a package record's fields; in memory only. */
#ifndef VUROTARNPKGGETTER_H
#define VUROTARNPKGGETTER_H

#include "vurotarnpkg.h"

VUROTARN_API int VUROTARNPkgItemGetID(long int* pVal, const VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgItemGetModifiedTime(long int* pVal, const VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgItemGetPeerID(long int* pVal, const VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgItemGetPkgID(char* szBuf, size_t cbBuf, const VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgItemGetVersion(char* szBuf, size_t cbBuf, const VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_PKG* pPkg);

#endif
