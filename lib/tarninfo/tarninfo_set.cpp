/* tarninfo_set.cpp - rewriting server information, with the peer family's
 * set hook; any id goes, the row follows peer_id. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoSet(VURO_TARN_INFO* pInfo) { return VurotarnInfo::set(pInfo); }

int VUROTARNInfoSetMultiple(VURO_TARN_INFO_LIST pInfoList) {
    return VurotarnInfo::setMultiple(pInfoList);
}
