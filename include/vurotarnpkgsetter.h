/* vurotarnpkgsetter.h - changes to a package record's fields; in memory only. */
#ifndef VUROTARNPKGSETTER_H
#define VUROTARNPKGSETTER_H

#include "vurotarnpkg.h"

VUROTARN_API int VUROTARNPkgItemSetID(VURO_TARN_PKG* pPkg, long int val);
VUROTARN_API int VUROTARNPkgItemSetModifiedTime(VURO_TARN_PKG* pPkg, long int val);
VUROTARN_API int VUROTARNPkgItemSetPeerID(VURO_TARN_PKG* pPkg, long int val);
VUROTARN_API int VUROTARNPkgItemSetPkgID(VURO_TARN_PKG* pPkg, const char* szVal);
VUROTARN_API int VUROTARNPkgItemSetVersion(VURO_TARN_PKG* pPkg, const char* szVal);
VUROTARN_API int VUROTARNPkgItemSetExtraInfo(VURO_TARN_PKG* pPkg, const char* szVal);

#endif
