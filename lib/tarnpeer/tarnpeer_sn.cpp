/* tarnpeer_sn.cpp - peers by serial number, the identity of a server. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerGetBySN_sqlite(const char* szSN, VURO_TARN_PEER* pPeer) {
    VurotarnConnection db;
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    VUROTARN_ARG_CHECK_RAW(szSN, !=, NULL, return -1);
    // No length limit: a serial cut short inside its quotes could name
    // another server.
    VurotarnSqlText sql(sqlite3_mprintf("SELECT * FROM peer WHERE sn='%q';", szSN));
    if (!sql || db.exec(sql.get(), VurotarnPeer::fillOne, pPeer) != 0) {
        return -1;
    }
    return pPeer->available ? 1 : 0;
}

int VUROTARNPeerGetBySN(const char* szSN, VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    int r = VUROTARNPeerGetBySN_sqlite(szSN, pPeer);
    if (r < 0) {
        VUROTARN_LOG("Failed to get VURO_TARN_PEER by sn = [%s]", szSN ? szSN : "");
        return -1;
    }
    // No row is no failure of the store: a server that has not joined yet.
    return r == 1 ? 0 : -1;
}

int VUROTARNPeerListBySn(const char* szSN, VURO_TARN_PEER_LIST* pPeerList) {
    VUROTARN_ARG_CHECK(NULL, !=, szSN, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, pPeerList, return -1);
    return VurotarnPeer::listByColumn("sn", szSN, pPeerList);
}
