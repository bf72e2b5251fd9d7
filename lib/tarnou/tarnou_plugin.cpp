/* tarnou_plugin.cpp - the OU family's hook environment: tarnou/tarnou_*. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuPluginInit(VURO_TARN_OU_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                         const VURO_TARN_OU* pOrg, const VURO_TARN_OU* pNew) {
    return VurotarnOu::pluginInit(pstEnvVar, szPlugin, pOrg, pNew);
}

int VUROTARNOuPlugin(const SDK_PLUGIN_ACTION action, VURO_TARN_OU_PLUGIN_ENV* pstEnvVar) {
    return VurotarnOu::plugin(action, pstEnvVar);
}

int VUROTARNOuPluginExit(VURO_TARN_OU_PLUGIN_ENV* pstEnvVar) {
    return VurotarnOu::pluginExit(pstEnvVar);
}
