/* tarnpeer_getter.cpp - copies of peer fields, into numbers or sized buffers. */
#include "tarnpeer/vurotarnpeer_int.h"

VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetID, long, id)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetModifiedTime, time_t, mtime)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetDescription, str_desc)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetSN, str_sn)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetModel, str_model)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetVersion, str_version)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetBuildNum, long, buildnum)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetSmallFixNum, long, smallfixnum)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetHostName, str_hostname)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetHost, str_host)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetSID, str_sid)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetVuroToken, str_vuro_token)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetStatus, long, status)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetStatusByServer, long, status_by_server)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetStatusByServerModifyTime, time_t,
                        status_by_server_mtime)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetWOL, long, wol)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetUpTime, long, up_time)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetUpTimeModifyTime, time_t, uptime_mtime)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetHttpPort, long, http_port)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetHttpsPort, long, https_port)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetParentID, long, parent_id)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetBlockInheritance, long, block_inheritance)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetLinkedGPO, str_linked_gpo)
VUROTARN_ITEM_GET_VALUE(VurotarnPeer, VUROTARNPeerItemGetGlusterRole, long, gluster_role)
VUROTARN_ITEM_GET_TEXT(VurotarnPeer, VUROTARNPeerItemGetExtraInfo, str_extra_info)

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
