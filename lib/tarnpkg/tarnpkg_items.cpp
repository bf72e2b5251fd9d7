/* tarnpkg_items.cpp - copies of package fields into numbers or sized buffers,
 * and changes to them, in memory only. Numbers pass as long int, the ids
 * included; an id set to -1 becomes all ones, the mark of a row to create. */
#include "tarnpkg/vurotarnpkg_int.h"

VUROTARN_ITEM(VurotarnPkg, Pkg, ID, long int, id)
VUROTARN_ITEM(VurotarnPkg, Pkg, ModifiedTime, long int, mtime)
VUROTARN_ITEM_TEXT(VurotarnPkg, Pkg, PkgID, str_pkg_id)
VUROTARN_ITEM_TEXT(VurotarnPkg, Pkg, Version, str_pkg_version)
VUROTARN_ITEM_TEXT(VurotarnPkg, Pkg, ExtraInfo, str_extra_info)

int VUROTARNPkgItemGetPeerID(long int* pVal, const VURO_TARN_PKG* pPkg) {
    VUROTARN_ARG_CHECK(NULL, !=, pVal, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pPkg, return -1);
    *pVal = pPkg->peer.id;
    return 0;
}

int VUROTARNPkgItemSetPeerID(VURO_TARN_PKG* pPkg, long int val) {
    VUROTARN_ARG_CHECK(NULL, !=, pPkg, return -1);
    pPkg->peer.id = val;
    return 0;
}
