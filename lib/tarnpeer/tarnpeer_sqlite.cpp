/* tarnpeer_sqlite.cpp - storage of managed servers in table "peer": the family's
 * SQL texts and its storage functions over the shared record pattern. */
#include "tarnpeer/vurotarnpeer_int.h"

const VurotarnField<VURO_TARN_PEER> VurotarnPeerTraits::kFields[26] = {
    VUROTARN_FIELD_J(VURO_TARN_PEER, id, "id", "ID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_PEER, mtime, "mtime", "ModifiedTime", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_desc, "desc", "Description", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_sn, "sn", "SN", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_model, "model", "Model", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_version, "version", "Version", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, buildnum, "buildnum", "BuildNum", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, smallfixnum, "smallfixnum", "SmallFixNum",
                     kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_hostname, "hostname", "HostName", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_host, "host", "Host", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_sid, "sid", "SID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_vuro_token, "vuro_token", "VuroToken", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_PEER, status, "status", "Status", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, status_by_server, "status_by_server", "StatusByServer",
                     kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, status_by_server_mtime, "status_by_server_mtime",
                     "StatusByServerModifyTime", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, wol, "wol", "WOL", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, up_time, "up_time", "UpTime", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, uptime_mtime, "uptime_mtime", "UpTimeModifyTime",
                     kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, http_port, "http_port", "HttpPort", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_PEER, https_port, "https_port", "HttpsPort", kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, parent_id, "parent_id", "ParentID", kJsonIn | kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_PEER, block_inheritance, "block_inheritance", "BlockInheritance",
                     kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_linked_gpo, "linked_gpo", "LinkedGPO",
                     kJsonIn | kJsonWanted | kJsonDoc),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_relaypath, "relaypath", "RelayPath",
                     kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, gluster_role, "gluster_role", "GlusterRole",
                     kJsonIn | kJsonWanted),
    VUROTARN_FIELD_J(VURO_TARN_PEER, str_extra_info, "extra_info", "ExtraInfo",
                     kJsonIn | kJsonWanted | kJsonDoc),
};

char* VurotarnPeerTraits::fullMatchSql(const Rec& r) {
    return sqlite3_mprintf(
        "SELECT id FROM peer WHERE desc='%q' AND sn='%q' AND model='%q' AND version='%q' AND "
        "buildnum=%ld AND smallfixnum=%ld AND hostname='%q' AND host='%q' AND sid='%q' AND "
        "vuro_token='%q' AND status=%ld AND status_by_server=%ld AND status_by_server_mtime=%ld "
        "AND wol=%ld AND up_time=%ld AND uptime_mtime=%ld AND http_port=%ld AND https_port=%ld "
        "AND parent_id=%ld AND block_inheritance=%ld AND linked_gpo='%q' AND relaypath='%q' AND "
        "gluster_role=%ld AND extra_info='%q';",
        r.str_desc.c_str(), r.str_sn.c_str(), r.str_model.c_str(), r.str_version.c_str(),
        r.buildnum, r.smallfixnum, r.str_hostname.c_str(), r.str_host.c_str(), r.str_sid.c_str(),
        r.str_vuro_token.c_str(), r.status, r.status_by_server, (long)r.status_by_server_mtime,
        r.wol, r.up_time, (long)r.uptime_mtime, r.http_port, r.https_port, r.parent_id,
        r.block_inheritance, r.str_linked_gpo.c_str(), r.str_relaypath.c_str(), r.gluster_role,
        r.str_extra_info.c_str());
}

char* VurotarnPeerTraits::keyQuerySql(const Rec& r) {
    return sqlite3_mprintf("SELECT id FROM peer WHERE sn='%q'", r.str_sn.c_str());
}

char* VurotarnPeerTraits::upsertSql(const Rec& r, const char* szKeyQuery) {
    return sqlite3_mprintf(
        "INSERT OR REPLACE INTO peer ( id, mtime, desc, sn, model, version, buildnum, "
        "smallfixnum, hostname, host, sid, vuro_token, status, status_by_server, "
        "status_by_server_mtime, wol, up_time, uptime_mtime, http_port, https_port, parent_id, "
        "block_inheritance, linked_gpo, relaypath, gluster_role, extra_info) VALUES ( (%s), %ld, "
        "'%q', '%q', '%q', '%q', %ld, %ld, '%q', '%q', '%q', '%q', %ld, %ld, %ld, %ld, %ld, %ld, "
        "%ld, %ld, %ld, %ld, '%q', '%q', %ld, '%q');",
        szKeyQuery, (long)r.mtime, r.str_desc.c_str(), r.str_sn.c_str(), r.str_model.c_str(),
        r.str_version.c_str(), r.buildnum, r.smallfixnum, r.str_hostname.c_str(),
        r.str_host.c_str(), r.str_sid.c_str(), r.str_vuro_token.c_str(), r.status,
        r.status_by_server, (long)r.status_by_server_mtime, r.wol, r.up_time, (long)r.uptime_mtime,
        r.http_port, r.https_port, r.parent_id, r.block_inheritance, r.str_linked_gpo.c_str(),
        r.str_relaypath.c_str(), r.gluster_role, r.str_extra_info.c_str());
}

int VUROTARNPeerCreate_sqlite(VURO_TARN_PEER* pPeer) { return VurotarnPeer::createSqlite(pPeer); }

int VUROTARNPeerSet_sqlite(VURO_TARN_PEER* pPeer) { return VurotarnPeer::setSqlite(pPeer); }

int VUROTARNPeerDelete_sqlite(long id) { return VurotarnPeer::deleteSqlite(id); }

int VUROTARNPeerGetMultiple_sqlite(long* ids, size_t cID, VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::getMultipleSqlite(ids, cID, pPeer);
}

int VUROTARNPeerList_sqlite(const PQLIBSZHASH pParms, VURO_TARN_PEER_LIST* pPeerList,
                            size_t* pTotalCount) {
    return VurotarnPeer::listSqlite(pParms, pPeerList, pTotalCount);
}

int VUROTARNPeerListAll_sqlite(VURO_TARN_PEER_LIST* pPeerList,
                               BOOL (*isKeep)(VURO_TARN_PEER*, void*), void* private_data) {
    return VurotarnPeer::listAllSqlite(pPeerList, isKeep, private_data);
}

int VUROTARNPeerFillOne(void* parm, int n_column, char** column_value, char** column_name) {
    return VurotarnPeer::fillOne(parm, n_column, column_value, column_name);
}

int VUROTARNPeerFillList(void* parm, int n_column, char** column_value, char** column_name) {
    return VurotarnPeer::fillList(parm, n_column, column_value, column_name);
}
