/* tarninfo_plugin.cpp - the server information family's hook environment,
 * under the peer family's module. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoPluginInit(VURO_TARN_INFO_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                           const VURO_TARN_INFO* pOrg, const VURO_TARN_INFO* pNew) {
    return VurotarnInfo::pluginInit(pstEnvVar, szPlugin, pOrg, pNew);
}

int VUROTARNInfoPlugin(const SDK_PLUGIN_ACTION action, VURO_TARN_INFO_PLUGIN_ENV* pstEnvVar) {
    return VurotarnInfo::plugin(action, pstEnvVar);
}

int VUROTARNInfoPluginExit(VURO_TARN_INFO_PLUGIN_ENV* pstEnvVar) {
    return VurotarnInfo::pluginExit(pstEnvVar);
}
