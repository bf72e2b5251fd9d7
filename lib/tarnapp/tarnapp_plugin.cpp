/* tarnapp_plugin.cpp - the application family's hook environment:
 * tarnapp/tarnapp_*. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppPluginInit(VURO_TARN_APP_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                          const VURO_TARN_APP* pOrg, const VURO_TARN_APP* pNew) {
    return VurotarnApp::pluginInit(pstEnvVar, szPlugin, pOrg, pNew);
}

int VUROTARNAppPlugin(const SDK_PLUGIN_ACTION action, VURO_TARN_APP_PLUGIN_ENV* pstEnvVar) {
    return VurotarnApp::plugin(action, pstEnvVar);
}

int VUROTARNAppPluginExit(VURO_TARN_APP_PLUGIN_ENV* pstEnvVar) {
    return VurotarnApp::pluginExit(pstEnvVar);
}
