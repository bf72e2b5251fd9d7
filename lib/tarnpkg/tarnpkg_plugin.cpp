/* tarnpkg_plugin.cpp - the package family's hook environment: tarnpkg/tarnpkg_*. */
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgPluginInit(VURO_TARN_PKG_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                          const VURO_TARN_PKG* pOrg, const VURO_TARN_PKG* pNew) {
    return VurotarnPkg::pluginInit(pstEnvVar, szPlugin, pOrg, pNew);
}

int VUROTARNPkgPlugin(const SDK_PLUGIN_ACTION action, VURO_TARN_PKG_PLUGIN_ENV* pstEnvVar) {
    return VurotarnPkg::plugin(action, pstEnvVar);
}

int VUROTARNPkgPluginExit(VURO_TARN_PKG_PLUGIN_ENV* pstEnvVar) {
    return VurotarnPkg::pluginExit(pstEnvVar);
}
