/* tarnpkg_setter.cpp - changes to package fields in memory. An id of -1
 * becomes all ones, the mark of a row to create. */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgItemSetID(VURO_TARN_PKG* pPkg, long int val) {
    return VurotarnPkg::itemSetValue(pPkg, val, &VURO_TARN_PKG::id);
}

int VUROTARNPkgItemSetModifiedTime(VURO_TARN_PKG* pPkg, long int val) {
    return VurotarnPkg::itemSetValue(pPkg, val, &VURO_TARN_PKG::mtime);
}

int VUROTARNPkgItemSetPeerID(VURO_TARN_PKG* pPkg, long int val) {
    VUROTARN_ARG_CHECK(NULL, !=, pPkg, return -1);
    pPkg->peer.id = val;
    return 0;
}

int VUROTARNPkgItemSetPkgID(VURO_TARN_PKG* pPkg, const char* szVal) {
    return VurotarnPkg::itemSetText(pPkg, szVal, &VURO_TARN_PKG::str_pkg_id);
}

int VUROTARNPkgItemSetVersion(VURO_TARN_PKG* pPkg, const char* szVal) {
    return VurotarnPkg::itemSetText(pPkg, szVal, &VURO_TARN_PKG::str_pkg_version);
}

int VUROTARNPkgItemSetExtraInfo(VURO_TARN_PKG* pPkg, const char* szVal) {
    return VurotarnPkg::itemSetText(pPkg, szVal, &VURO_TARN_PKG::str_extra_info);
}
