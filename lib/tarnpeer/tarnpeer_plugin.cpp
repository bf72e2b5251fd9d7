/* tarnpeer_plugin.cpp - the peer family's hook environment: tarnpeer/tarnpeer_*. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerPluginInit(VURO_TARN_PEER_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                           const VURO_TARN_PEER* pOrg, const VURO_TARN_PEER* pNew) {
    return VurotarnPeer::pluginInit(pstEnvVar, szPlugin, pOrg, pNew);
}

int VUROTARNPeerPlugin(const SDK_PLUGIN_ACTION action, VURO_TARN_PEER_PLUGIN_ENV* pstEnvVar) {
    return VurotarnPeer::plugin(action, pstEnvVar);
}

int VUROTARNPeerPluginExit(VURO_TARN_PEER_PLUGIN_ENV* pstEnvVar) {
    return VurotarnPeer::pluginExit(pstEnvVar);
}
