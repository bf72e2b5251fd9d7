/* tarnpkg_list.cpp - package lists by condition hash or through a filter;
 * rows of servers that are gone are not listed. */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgList(const PQLIBSZHASH pParms, VURO_TARN_PKG_LIST* pPkgList, size_t* pTotalCount) {
    return VurotarnPkg::list(pParms, pPkgList, pTotalCount);
}

int VUROTARNPkgListAll(VURO_TARN_PKG_LIST* pPkgList, BOOL (*isKeep)(VURO_TARN_PKG*, void*),
                       void* private_data) {
    return VurotarnPkg::listAll(pPkgList, isKeep, private_data);
}
