/* tarnpeer_items.cpp - copies of peer fields into numbers or sized buffers,
 * and changes to them, in memory only. */
#include "tarnpeer/vurotarnpeer_int.h"

VUROTARN_ITEM(VurotarnPeer, Peer, ID, long, id)
VUROTARN_ITEM(VurotarnPeer, Peer, ModifiedTime, time_t, mtime)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, Description, str_desc)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, SN, str_sn)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, Model, str_model)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, Version, str_version)
VUROTARN_ITEM(VurotarnPeer, Peer, BuildNum, long, buildnum)
VUROTARN_ITEM(VurotarnPeer, Peer, SmallFixNum, long, smallfixnum)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, HostName, str_hostname)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, Host, str_host)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, SID, str_sid)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, VuroToken, str_vuro_token)
VUROTARN_ITEM(VurotarnPeer, Peer, WOL, long, wol)
VUROTARN_ITEM(VurotarnPeer, Peer, UpTime, long, up_time)
VUROTARN_ITEM(VurotarnPeer, Peer, UpTimeModifyTime, time_t, uptime_mtime)
VUROTARN_ITEM(VurotarnPeer, Peer, HttpPort, long, http_port)
VUROTARN_ITEM(VurotarnPeer, Peer, HttpsPort, long, https_port)
VUROTARN_ITEM(VurotarnPeer, Peer, ParentID, long, parent_id)
VUROTARN_ITEM(VurotarnPeer, Peer, BlockInheritance, long, block_inheritance)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, LinkedGPO, str_linked_gpo)
VUROTARN_ITEM(VurotarnPeer, Peer, GlusterRole, long, gluster_role)
VUROTARN_ITEM_TEXT(VurotarnPeer, Peer, ExtraInfo, str_extra_info)

VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetStatus, long, status)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetStatusByServer, long, status_by_server)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetStatusByServerModifyTime, time_t,
                        status_by_server_mtime)

int VUROTARNPeerItemGetStrRelayPath(std::string& strBuf, const VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    strBuf = pPeer->str_relaypath;
    return 0;
}

int VUROTARNPeerItemGetStrExtraInfo(std::string& strBuf, const VURO_TARN_PEER* pPeer) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    strBuf = pPeer->str_extra_info;
    return 0;
}

VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetStatusByServerModifyTime, time_t,
                        status_by_server_mtime)

int VUROTARNPeerItemSetStatus(VURO_TARN_PEER* pPeer, long val) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    pPeer->status = val;
    pPeer->uptime_mtime = time(NULL);
    return 0;
}

int VUROTARNPeerItemSetStatusByServer(VURO_TARN_PEER* pPeer, long val) {
    VUROTARN_ARG_CHECK(NULL, !=, pPeer, return -1);
    pPeer->status_by_server = val;
    pPeer->status_by_server_mtime = time(NULL);
    return 0;
}
