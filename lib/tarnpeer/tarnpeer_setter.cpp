/* tarnpeer_setter.cpp - changes to peer fields in memory. */
#include "tarnpeer/vurotarnpeer_int.h"

VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetID, long, id)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetModifiedTime, time_t, mtime)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetDescription, str_desc)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetSN, str_sn)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetModel, str_model)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetVersion, str_version)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetBuildNum, long, buildnum)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetSmallFixNum, long, smallfixnum)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetHostName, str_hostname)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetHost, str_host)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetSID, str_sid)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetVuroToken, str_vuro_token)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetStatusByServerModifyTime, time_t,
                        status_by_server_mtime)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetWOL, long, wol)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetUpTime, long, up_time)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetUpTimeModifyTime, time_t, uptime_mtime)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetHttpPort, long, http_port)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetHttpsPort, long, https_port)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetParentID, long, parent_id)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetBlockInheritance, long, block_inheritance)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetLinkedGPO, str_linked_gpo)
VUROTARN_ITEM_SET_VALUE(VurotarnPeer, VUROTARNPeerItemSetGlusterRole, long, gluster_role)
VUROTARN_ITEM_SET_TEXT(VurotarnPeer, VUROTARNPeerItemSetExtraInfo, str_extra_info)

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
