/* tarnpkg_save.cpp - create or set, decided by the record's id alone (all
 * ones: create). */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgSave(VURO_TARN_PKG* pPkg) { return VurotarnPkg::save(pPkg); }
