/* tarninfo_alloc.cpp - server information records in memory: allocation,
 * release, reset (id back to all ones), lists. */
#include "tarninfo/vurotarninfo_int.h"

VURO_TARN_INFO* VUROTARNInfoAlloc() { return VurotarnInfo::alloc(); }

int VUROTARNInfoFree(VURO_TARN_INFO* pInfo) { return VurotarnInfo::free(pInfo); }

int VUROTARNInfoClear(VURO_TARN_INFO* pInfo) { return VurotarnInfo::clear(pInfo); }

VURO_TARN_INFO* VUROTARNInfoNext(const VURO_TARN_INFO* pInfo) { return VurotarnInfo::next(pInfo); }

void VUROTARNInfoListFree(VURO_TARN_INFO_LIST* pInfoList) { VurotarnInfo::listFree(pInfoList); }
