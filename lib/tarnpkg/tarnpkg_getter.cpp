/* tarnpkg_getter.cpp - copies of package fields, into numbers or sized
 * buffers. Numbers pass as long int, the ids included. */
#include "tarnpkg/vurotarnpkg_int.h"

VUROTARN_ITEM_GET_VALUE(VurotarnPkg, VUROTARNPkgItemGetID, long int, id)
VUROTARN_ITEM_GET_VALUE(VurotarnPkg, VUROTARNPkgItemGetModifiedTime, long int, mtime)

int VUROTARNPkgItemGetPeerID(long int* pVal, const VURO_TARN_PKG* pPkg) {
    VUROTARN_ARG_CHECK(NULL, !=, pVal, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pPkg, return -1);
    *pVal = pPkg->peer.id;
    return 0;
}

VUROTARN_ITEM_GET_TEXT(VurotarnPkg, VUROTARNPkgItemGetPkgID, str_pkg_id)
VUROTARN_ITEM_GET_TEXT(VurotarnPkg, VUROTARNPkgItemGetVersion, str_pkg_version)
VUROTARN_ITEM_GET_TEXT(VurotarnPkg, VUROTARNPkgItemGetExtraInfo, str_extra_info)
