/* tarnapp_setter.cpp - changes to application fields in memory. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppItemSetID(VURO_TARN_APP* pApp, long int val) {
    return VurotarnApp::itemSetValue(pApp, val, &VURO_TARN_APP::id);
}

int VUROTARNAppItemSetModifiedTime(VURO_TARN_APP* pApp, time_t val) {
    return VurotarnApp::itemSetValue(pApp, val, &VURO_TARN_APP::mtime);
}

int VUROTARNAppItemSetPeerID(VURO_TARN_APP* pApp, long int val) {
    return VurotarnApp::itemSetValue(pApp, val, &VURO_TARN_APP::peer_id);
}

int VUROTARNAppItemSetAppID(VURO_TARN_APP* pApp, const char* szVal) {
    return VurotarnApp::itemSetText(pApp, szVal, &VURO_TARN_APP::str_app_id);
}

int VUROTARNAppItemSetVersion(VURO_TARN_APP* pApp, const char* szVal) {
    return VurotarnApp::itemSetText(pApp, szVal, &VURO_TARN_APP::str_app_version);
}

int VUROTARNAppItemSetIconMtime(VURO_TARN_APP* pApp, time_t val) {
    return VurotarnApp::itemSetValue(pApp, val, &VURO_TARN_APP::icon_mtime);
}

int VUROTARNAppItemSetProtocol(VURO_TARN_APP* pApp, const char* szVal) {
    return VurotarnApp::itemSetText(pApp, szVal, &VURO_TARN_APP::str_protocol);
}

int VUROTARNAppItemSetPort(VURO_TARN_APP* pApp, int val) {
    return VurotarnApp::itemSetValue(pApp, val, &VURO_TARN_APP::port);
}

int VUROTARNAppItemSetUrl(VURO_TARN_APP* pApp, const char* szVal) {
    return VurotarnApp::itemSetText(pApp, szVal, &VURO_TARN_APP::str_url);
}

int VUROTARNAppItemSetWindowParam(VURO_TARN_APP* pApp, const char* szVal) {
    return VurotarnApp::itemSetText(pApp, szVal, &VURO_TARN_APP::str_windowparam);
}

int VUROTARNAppItemSetIsPackage(VURO_TARN_APP* pApp, BOOL val) {
    return VurotarnApp::itemSetValue(pApp, val, &VURO_TARN_APP::is_package);
}

int VUROTARNAppItemSetExtraInfo(VURO_TARN_APP* pApp, const char* szVal) {
    return VurotarnApp::itemSetText(pApp, szVal, &VURO_TARN_APP::str_extra_info);
}
