/* tarninfo_sqlite.cpp - storage of server information in the view "info":
 * the family's field table, its SQL texts and the read by peer. */
#include "tarninfo/vurotarninfo_int.h"

// The report texts are not passed to hooks: only ID, ModifiedTime, PeerID.
const VurotarnField<VURO_TARN_INFO> VurotarnInfoTraits::kFields[10] = {
    VUROTARN_FIELD_J(VURO_TARN_INFO, id, "id", "ID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_INFO, mtime, "mtime", "ModifiedTime", kJsonIn | kJsonMore),
    VUROTARN_FIELD_J(VURO_TARN_INFO, peer_id, "peer_id", "PeerID", kJsonIn | kJsonOut),
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

char* VurotarnInfoTraits::fullMatchSql(const Rec& r) {
    return sqlite3_mprintf(
        "SELECT id FROM info WHERE peer_id=%llu AND general='%q' AND network='%q' AND "
        "hdd_info='%q' AND vol_info='%q' AND session='%q' AND define='%q' AND extra_info='%q';",
        r.peer_id, r.str_general.c_str(), r.str_network.c_str(), r.str_hdd_info.c_str(),
        r.str_vol_info.c_str(), r.str_session.c_str(), r.str_define.c_str(),
        r.str_extra_info.c_str());
}

char* VurotarnInfoTraits::keyQuerySql(const Rec& r) {
    return sqlite3_mprintf("SELECT id FROM info WHERE peer_id=%llu", r.peer_id);
}

char* VurotarnInfoTraits::upsertSql(const Rec& r, const char* szKeyQuery) {
    return sqlite3_mprintf(
        "INSERT OR REPLACE INTO info ( id, mtime, peer_id, general, network, hdd_info, vol_info, "
        "session, define, extra_info) VALUES ( (%s), %ld, %llu, '%q', '%q', '%q', '%q', '%q', "
        "'%q', '%q');",
        szKeyQuery, (long)r.mtime, r.peer_id, r.str_general.c_str(), r.str_network.c_str(),
        r.str_hdd_info.c_str(), r.str_vol_info.c_str(), r.str_session.c_str(), r.str_define.c_str(),
        r.str_extra_info.c_str());
}

int VUROTARNInfoGetByPEER_sqlite(unsigned long long peer_id, VURO_TARN_INFO* pInfo) {
    VurotarnConnection db;
    VUROTARN_ARG_CHECK_RAW(peer_id, !=, 0, return -1);
    char szSQL[4096];
    sqlite3_snprintf(sizeof(szSQL), szSQL, "SELECT * FROM info WHERE peer_id=%llu;", peer_id);
    if (db.exec(szSQL, VurotarnInfo::fillOne, pInfo) != 0) {
        return -1;
    }
    return pInfo->available ? 1 : 0;
}
