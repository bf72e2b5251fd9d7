/* tarnpkg_getter.cpp - copies of package fields, into numbers or sized
 * buffers. Numbers pass as long int, the ids included. */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgItemGetID(long int* pVal, const VURO_TARN_PKG* pPkg) {
    return VurotarnPkg::itemGetValue(pVal, pPkg, &VURO_TARN_PKG::id);
}

int VUROTARNPkgItemGetModifiedTime(long int* pVal, const VURO_TARN_PKG* pPkg) {
    return VurotarnPkg::itemGetValue(pVal, pPkg, &VURO_TARN_PKG::mtime);
}

int VUROTARNPkgItemGetPeerID(long int* pVal, const VURO_TARN_PKG* pPkg) {
    VUROTARN_ARG_CHECK(NULL, !=, pVal, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pPkg, return -1);
    *pVal = pPkg->peer.id;
    return 0;
}

int VUROTARNPkgItemGetPkgID(char* szBuf, size_t cbBuf, const VURO_TARN_PKG* pPkg) {
    return VurotarnPkg::itemGetText(szBuf, cbBuf, pPkg, &VURO_TARN_PKG::str_pkg_id);
}

int VUROTARNPkgItemGetVersion(char* szBuf, size_t cbBuf, const VURO_TARN_PKG* pPkg) {
    return VurotarnPkg::itemGetText(szBuf, cbBuf, pPkg, &VURO_TARN_PKG::str_pkg_version);
}

int VUROTARNPkgItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_PKG* pPkg) {
    return VurotarnPkg::itemGetText(szBuf, cbBuf, pPkg, &VURO_TARN_PKG::str_extra_info);
}
