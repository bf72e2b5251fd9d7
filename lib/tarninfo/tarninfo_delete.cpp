/* tarninfo_delete.cpp - removing server information rows by id, by list,
 * or all of them. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoDelete(unsigned long long id) { return VurotarnInfo::del(id); }

int VUROTARNInfoDeleteList(VURO_TARN_INFO_LIST pInfoList) {
    return VurotarnInfo::deleteList(pInfoList);
}

int VUROTARNInfoDeleteMultiple(long int* ids, size_t cID) {
    return VurotarnInfo::deleteMultiple(ids, cID);
}

int VUROTARNInfoDeleteAll() { return VurotarnInfo::deleteAll(); }
