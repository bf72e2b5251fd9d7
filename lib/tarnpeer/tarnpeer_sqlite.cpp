/* tarnpeer_sqlite.cpp - storage of managed servers in table "peer": the
 * family's field table (columns, hook arguments, JSON). */
#include "tarnpeer/vurotarnpeer_int.h"

// Every member is read back from JSON; the flags say where it shows.
#define PEER_FIELD(member, column, hook, flags) \
    VUROTARN_FIELD_J(VURO_TARN_PEER, member, column, hook, kJsonIn | (flags))

const VurotarnField<VURO_TARN_PEER> VurotarnPeerTraits::kFields[26] = {
    PEER_FIELD(id, "id", "ID", kJsonOut),
    PEER_FIELD(mtime, "mtime", "ModifiedTime", kJsonWanted),
    PEER_FIELD(str_desc, "desc", "Description", kJsonWanted),
    PEER_FIELD(str_sn, "sn", "SN", kJsonOut | kColKey),
    PEER_FIELD(str_model, "model", "Model", kJsonWanted),
    PEER_FIELD(str_version, "version", "Version", kJsonWanted),
    PEER_FIELD(buildnum, "buildnum", "BuildNum", kJsonWanted),
    PEER_FIELD(smallfixnum, "smallfixnum", "SmallFixNum", kJsonWanted),
    PEER_FIELD(str_hostname, "hostname", "HostName", kJsonWanted),
    PEER_FIELD(str_host, "host", "Host", kJsonOut),
    PEER_FIELD(str_sid, "sid", "SID", kJsonOut | kColSecret),
    PEER_FIELD(str_vuro_token, "vuro_token", "VuroToken", kJsonOut | kColSecret),
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
