/* tarninfo_create.cpp - storing server information, with hooks; no change
 * log. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoCreate(VURO_TARN_INFO* pInfo) { return VurotarnInfo::create(pInfo); }

int VUROTARNInfoCreateMultiple(VURO_TARN_INFO_LIST pInfoList) {
    return VurotarnInfo::createMultiple(pInfoList);
}
