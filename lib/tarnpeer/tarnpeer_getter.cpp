/* tarnpeer_getter.cpp - copies of peer fields, into numbers or sized buffers. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerItemGetID(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::id);
}

int VUROTARNPeerItemGetModifiedTime(time_t* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::mtime);
}

int VUROTARNPeerItemGetDescription(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_desc);
}

int VUROTARNPeerItemGetSN(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_sn);
}

int VUROTARNPeerItemGetModel(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_model);
}

int VUROTARNPeerItemGetVersion(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_version);
}

int VUROTARNPeerItemGetBuildNum(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::buildnum);
}

int VUROTARNPeerItemGetSmallFixNum(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::smallfixnum);
}

int VUROTARNPeerItemGetHostName(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_hostname);
}

int VUROTARNPeerItemGetHost(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_host);
}

int VUROTARNPeerItemGetSID(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_sid);
}

int VUROTARNPeerItemGetVuroToken(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_vuro_token);
}

int VUROTARNPeerItemGetStatus(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::status);
}

int VUROTARNPeerItemGetStatusByServer(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::status_by_server);
}

int VUROTARNPeerItemGetStatusByServerModifyTime(time_t* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::status_by_server_mtime);
}

int VUROTARNPeerItemGetWOL(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::wol);
}

int VUROTARNPeerItemGetUpTime(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::up_time);
}

int VUROTARNPeerItemGetUpTimeModifyTime(time_t* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::uptime_mtime);
}

int VUROTARNPeerItemGetHttpPort(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::http_port);
}

int VUROTARNPeerItemGetHttpsPort(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::https_port);
}

int VUROTARNPeerItemGetParentID(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::parent_id);
}

int VUROTARNPeerItemGetBlockInheritance(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::block_inheritance);
}

int VUROTARNPeerItemGetLinkedGPO(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_linked_gpo);
}

int VUROTARNPeerItemGetGlusterRole(long* pVal, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetValue(pVal, pPeer, &VURO_TARN_PEER::gluster_role);
}

int VUROTARNPeerItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer) {
    return VurotarnPeer::itemGetText(szBuf, cbBuf, pPeer, &VURO_TARN_PEER::str_extra_info);
}

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
