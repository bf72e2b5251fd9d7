/* tarninfo_sqlite.cpp - storage of server information in the view "info":
 * the family's field table and the reads by peer and by its serial. */
#include "tarninfo/vurotarninfo_int.h"

// The report texts are not passed to hooks: only ID, ModifiedTime, PeerID.
const VurotarnField<VURO_TARN_INFO> VurotarnInfoTraits::kFields[10] = {
    VUROTARN_FIELD_J(VURO_TARN_INFO, id, "id", "ID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_INFO, mtime, "mtime", "ModifiedTime", kJsonIn | kJsonMore),
    VUROTARN_FIELD_J(VURO_TARN_INFO, peer_id, "peer_id", "PeerID", kJsonIn | kJsonOut | kColKey),
    VUROTARN_FIELD_J(VURO_TARN_INFO, str_general, "general", NULL, kJsonIn | kJsonMore | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_INFO, str_network, "network", NULL, kJsonIn | kJsonMore | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_INFO, str_hdd_info, "hdd_info", NULL,
                     kJsonIn | kJsonMore | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_INFO, str_vol_info, "vol_info", NULL,
                     kJsonIn | kJsonMore | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_INFO, str_session, "session", NULL, kJsonIn | kJsonMore | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_INFO, str_define, "define", NULL, kJsonIn | kJsonMore | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_INFO, str_extra_info, "extra_info", NULL, kJsonMore | kJsonDoc),
};

static int infoGetByPeer(unsigned long long peer_id, VURO_TARN_INFO* pInfo) {
    VurotarnConnection db;
    VUROTARN_ARG_CHECK_RAW(peer_id, !=, 0, return -1);
    char szSQL[4096];
    sqlite3_snprintf(sizeof(szSQL), szSQL, "SELECT * FROM info WHERE peer_id=%llu;", peer_id);
    if (db.exec(szSQL, VurotarnInfo::fillOne, pInfo) != 0) {
        return -1;
    }
    return pInfo->available ? 1 : 0;
}

// A missing row is no failure: the caller looks at available.
int VUROTARNInfoGetByPEER(unsigned long long peer_id, VURO_TARN_INFO* pInfo) {
    VUROTARN_ARG_CHECK(NULL, !=, pInfo, return -1);
    if (infoGetByPeer(peer_id, pInfo) < 0) {
        VUROTARN_LOG("Failed to get VURO_TARN_INFO by peer_id = [%llu]", peer_id);
        return -1;
    }
    return 0;
}

// By the peer's serial, the column "sn" of the view.
int VUROTARNInfoListBySn(const char* szSN, VURO_TARN_INFO_LIST* pInfoList) {
    VUROTARN_ARG_CHECK(NULL, !=, szSN, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pInfoList, return -1);
    return VurotarnInfo::listByColumn("sn", szSN, pInfoList);
}
