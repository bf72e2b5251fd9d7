/* tarnpeer_setter.cpp - changes to peer fields in memory. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerItemSetID(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::id);
}

int VUROTARNPeerItemSetModifiedTime(VURO_TARN_PEER* pPeer, time_t val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::mtime);
}

int VUROTARNPeerItemSetDescription(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_desc);
}

int VUROTARNPeerItemSetSN(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_sn);
}

int VUROTARNPeerItemSetModel(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_model);
}

int VUROTARNPeerItemSetVersion(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_version);
}

int VUROTARNPeerItemSetBuildNum(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::buildnum);
}

int VUROTARNPeerItemSetSmallFixNum(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::smallfixnum);
}

int VUROTARNPeerItemSetHostName(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_hostname);
}

int VUROTARNPeerItemSetHost(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_host);
}

int VUROTARNPeerItemSetSID(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_sid);
}

int VUROTARNPeerItemSetVuroToken(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_vuro_token);
}

int VUROTARNPeerItemSetStatusByServerModifyTime(VURO_TARN_PEER* pPeer, time_t val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::status_by_server_mtime);
}

int VUROTARNPeerItemSetWOL(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::wol);
}

int VUROTARNPeerItemSetUpTime(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::up_time);
}

int VUROTARNPeerItemSetUpTimeModifyTime(VURO_TARN_PEER* pPeer, time_t val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::uptime_mtime);
}

int VUROTARNPeerItemSetHttpPort(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::http_port);
}

int VUROTARNPeerItemSetHttpsPort(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::https_port);
}

int VUROTARNPeerItemSetParentID(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::parent_id);
}

int VUROTARNPeerItemSetBlockInheritance(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::block_inheritance);
}

int VUROTARNPeerItemSetLinkedGPO(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_linked_gpo);
}

int VUROTARNPeerItemSetGlusterRole(VURO_TARN_PEER* pPeer, long val) {
    return VurotarnPeer::itemSetValue(pPeer, val, &VURO_TARN_PEER::gluster_role);
}

int VUROTARNPeerItemSetExtraInfo(VURO_TARN_PEER* pPeer, const char* szVal) {
    return VurotarnPeer::itemSetText(pPeer, szVal, &VURO_TARN_PEER::str_extra_info);
}

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
