/* tarnapp_getter.cpp - copies of application fields, into numbers or sized
 * buffers. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppItemGetID(long int* pVal, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetValue(pVal, pApp, &VURO_TARN_APP::id);
}

int VUROTARNAppItemGetModifiedTime(time_t* pVal, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetValue(pVal, pApp, &VURO_TARN_APP::mtime);
}

int VUROTARNAppItemGetPeerID(long int* pVal, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetValue(pVal, pApp, &VURO_TARN_APP::peer_id);
}

int VUROTARNAppItemGetAppID(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetText(szBuf, cbBuf, pApp, &VURO_TARN_APP::str_app_id);
}

int VUROTARNAppItemGetVersion(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetText(szBuf, cbBuf, pApp, &VURO_TARN_APP::str_app_version);
}

int VUROTARNAppItemGetIconMtime(time_t* pVal, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetValue(pVal, pApp, &VURO_TARN_APP::icon_mtime);
}

int VUROTARNAppItemGetProtocol(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetText(szBuf, cbBuf, pApp, &VURO_TARN_APP::str_protocol);
}

int VUROTARNAppItemGetPort(int* pVal, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetValue(pVal, pApp, &VURO_TARN_APP::port);
}

int VUROTARNAppItemGetURL(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetText(szBuf, cbBuf, pApp, &VURO_TARN_APP::str_url);
}

int VUROTARNAppItemGetWindowParam(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetText(szBuf, cbBuf, pApp, &VURO_TARN_APP::str_windowparam);
}

int VUROTARNAppItemGetIsPackage(BOOL* pVal, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetValue(pVal, pApp, &VURO_TARN_APP::is_package);
}

int VUROTARNAppItemGetExtraInfo(char* szBuf, size_t cbBuf, const VURO_TARN_APP* pApp) {
    return VurotarnApp::itemGetText(szBuf, cbBuf, pApp, &VURO_TARN_APP::str_extra_info);
}
