/* tarnpkg_set.cpp - rewriting package rows, with hooks. */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgSet(VURO_TARN_PKG* pPkg) { return VurotarnPkg::set(pPkg); }

int VUROTARNPkgSetMultiple(VURO_TARN_PKG_LIST pPkgList) {
    return VurotarnPkg::setMultiple(pPkgList);
}
