/* tarnpkg_delete.cpp - removing package rows by id, by list, or all of them. */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgDelete(unsigned long long id) { return VurotarnPkg::del(id); }

int VUROTARNPkgDeleteList(VURO_TARN_PKG_LIST pPkgList) { return VurotarnPkg::deleteList(pPkgList); }

int VUROTARNPkgDeleteMultiple(unsigned long long* ids, size_t cID) {
    return VurotarnPkg::deleteMultiple(ids, cID);
}

int VUROTARNPkgDeleteAll() { return VurotarnPkg::deleteAll(); }
