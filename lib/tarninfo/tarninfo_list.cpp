/* tarninfo_list.cpp - server information lists by condition hash, through
 * a filter, or by the peer's serial (the column "sn" of the view). */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoList(const PQLIBSZHASH pParms, VURO_TARN_INFO_LIST* pInfoList,
                     size_t* pTotalCount) {
    return VurotarnInfo::list(pParms, pInfoList, pTotalCount);
}

int VUROTARNInfoListAll(VURO_TARN_INFO_LIST* pInfoList, BOOL (*isKeep)(VURO_TARN_INFO*, void*),
                        void* private_data) {
    return VurotarnInfo::listAll(pInfoList, isKeep, private_data);
}

int VUROTARNInfoListBySn(const char* szSN, VURO_TARN_INFO_LIST* pInfoList) {
    VUROTARN_ARG_CHECK(NULL, !=, szSN, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pInfoList, return -1);
    return VurotarnInfo::listByColumn("sn", szSN, pInfoList);
}
