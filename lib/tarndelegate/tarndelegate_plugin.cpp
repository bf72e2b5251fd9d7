/* tarndelegate_plugin.cpp - the delegate family's hook environment: tarndelegate/tarndelegate_*. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegatePluginInit(VURO_TARN_DELEGATE_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                               const VURO_TARN_DELEGATE* pOrg, const VURO_TARN_DELEGATE* pNew) {
    return VurotarnDelegate::pluginInit(pstEnvVar, szPlugin, pOrg, pNew);
}

int VUROTARNDelegatePlugin(const SDK_PLUGIN_ACTION action,
                           VURO_TARN_DELEGATE_PLUGIN_ENV* pstEnvVar) {
    return VurotarnDelegate::plugin(action, pstEnvVar);
}

int VUROTARNDelegatePluginExit(VURO_TARN_DELEGATE_PLUGIN_ENV* pstEnvVar) {
    return VurotarnDelegate::pluginExit(pstEnvVar);
}
