/* tarngpo_plugin.cpp - the gpo family's hook environment: tarngpo/tarngpo_*. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoPluginInit(VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                          const VURO_TARN_GPO* pOrg, const VURO_TARN_GPO* pNew) {
    return VurotarnGpo::pluginInit(pstEnvVar, szPlugin, pOrg, pNew);
}

int VUROTARNGpoPluginSetEnv(VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar) {
    return VurotarnGpo::pluginSetArgs(pstEnvVar);
}

int VUROTARNGpoPlugin(const SDK_PLUGIN_ACTION action, VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar) {
    return VurotarnGpo::plugin(action, pstEnvVar);
}

int VUROTARNGpoPluginExit(VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar) {
    return VurotarnGpo::pluginExit(pstEnvVar);
}
