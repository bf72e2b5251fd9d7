/* tarninfo_get.cpp - reading server information by id, by several ids, or
 * by peer; a missing row is no failure: the caller looks at available. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoGet(unsigned long long id, VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::get(id, pInfo);
}

int VUROTARNInfoGetMultiple(unsigned long long* ids, size_t cID, VURO_TARN_INFO* pInfo) {
    return VurotarnInfo::getMultiple(ids, cID, pInfo);
}

int VUROTARNInfoGetByPEER(unsigned long long peer_id, VURO_TARN_INFO* pInfo) {
    VUROTARN_ARG_CHECK(NULL, !=, pInfo, return -1);
    if (VUROTARNInfoGetByPEER_sqlite(peer_id, pInfo) < 0) {
        VUROTARN_LOG("Failed to get VURO_TARN_INFO by peer_id = [%llu]", peer_id);
        return -1;
    }
    return 0;
}
