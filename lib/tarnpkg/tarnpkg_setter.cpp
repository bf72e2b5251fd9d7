/* tarnpkg_setter.cpp - changes to package fields in memory. An id of -1
 * becomes all ones, the mark of a row to create. */
#include "tarnpkg/vurotarnpkg_int.h"

VUROTARN_ITEM_SET_VALUE(VurotarnPkg, VUROTARNPkgItemSetID, long int, id)
VUROTARN_ITEM_SET_VALUE(VurotarnPkg, VUROTARNPkgItemSetModifiedTime, long int, mtime)

int VUROTARNPkgItemSetPeerID(VURO_TARN_PKG* pPkg, long int val) {
    VUROTARN_ARG_CHECK(NULL, !=, pPkg, return -1);
    pPkg->peer.id = val;
    return 0;
}

VUROTARN_ITEM_SET_TEXT(VurotarnPkg, VUROTARNPkgItemSetPkgID, str_pkg_id)
VUROTARN_ITEM_SET_TEXT(VurotarnPkg, VUROTARNPkgItemSetVersion, str_pkg_version)
VUROTARN_ITEM_SET_TEXT(VurotarnPkg, VUROTARNPkgItemSetExtraInfo, str_extra_info)
