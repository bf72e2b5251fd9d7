/* tarnpkg_create.cpp - storing package rows, with hooks; the family writes
 * no change log. */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgCreate(VURO_TARN_PKG* pPkg) { return VurotarnPkg::create(pPkg); }

int VUROTARNPkgCreateMultiple(VURO_TARN_PKG_LIST pPkgList) {
    return VurotarnPkg::createMultiple(pPkgList);
}
