/* tarnpeer_sqlite.cpp - storage of managed servers in table "peer": the
 * family's field table (columns, hook arguments, JSON) and SQL texts. */
#include "common/vurotarn_secret_int.h"
#include "tarnpeer/vurotarnpeer_int.h"

// Every member is read back from JSON; the flags say where it shows.
#define PEER_FIELD(member, column, hook, flags) \
    VUROTARN_FIELD_J(VURO_TARN_PEER, member, column, hook, kJsonIn | (flags))

const VurotarnField<VURO_TARN_PEER> VurotarnPeerTraits::kFields[26] = {
    PEER_FIELD(id, "id", "ID", kJsonOut),
    PEER_FIELD(mtime, "mtime", "ModifiedTime", kJsonWanted),
    PEER_FIELD(str_desc, "desc", "Description", kJsonWanted),
    PEER_FIELD(str_sn, "sn", "SN", kJsonOut),
    PEER_FIELD(str_model, "model", "Model", kJsonWanted),
    PEER_FIELD(str_version, "version", "Version", kJsonWanted),
    PEER_FIELD(buildnum, "buildnum", "BuildNum", kJsonWanted),
    PEER_FIELD(smallfixnum, "smallfixnum", "SmallFixNum", kJsonWanted),
    PEER_FIELD(str_hostname, "hostname", "HostName", kJsonWanted),
    PEER_FIELD(str_host, "host", "Host", kJsonOut),
    PEER_FIELD(str_sid, "sid", "SID", kJsonOut),
    PEER_FIELD(str_vuro_token, "vuro_token", "VuroToken", kJsonOut),
    PEER_FIELD(status, "status", "Status", kJsonWanted),
    PEER_FIELD(status_by_server, "status_by_server", "StatusByServer", kJsonWanted),
    PEER_FIELD(status_by_server_mtime, "status_by_server_mtime", "StatusByServerModifyTime",
               kJsonWanted),
    PEER_FIELD(wol, "wol", "WOL", kJsonWanted),
    PEER_FIELD(up_time, "up_time", "UpTime", kJsonWanted),
    PEER_FIELD(uptime_mtime, "uptime_mtime", "UpTimeModifyTime", kJsonWanted),
    PEER_FIELD(http_port, "http_port", "HttpPort", kJsonOut),
    PEER_FIELD(https_port, "https_port", "HttpsPort", kJsonWanted),
    PEER_FIELD(parent_id, "parent_id", "ParentID", kJsonOut),
    PEER_FIELD(block_inheritance, "block_inheritance", "BlockInheritance", kJsonWanted),
    PEER_FIELD(str_linked_gpo, "linked_gpo", "LinkedGPO", kJsonWanted | kJsonDoc),
    PEER_FIELD(str_relaypath, "relaypath", "RelayPath", kJsonWanted),
    PEER_FIELD(gluster_role, "gluster_role", "GlusterRole", kJsonWanted),
    PEER_FIELD(str_extra_info, "extra_info", "ExtraInfo", kJsonWanted | kJsonDoc),
};

char* VurotarnPeerTraits::fullMatchSql(const Rec& r) {
    vurotarnSecretNote(r.str_sid);
    vurotarnSecretNote(r.str_vuro_token);
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
    vurotarnSecretNote(r.str_sid);
    vurotarnSecretNote(r.str_vuro_token);
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
