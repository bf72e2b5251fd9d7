/* vurotarn_plugin.cpp - finds the plug-in of a record family's hook. The
 * caller's error code survives a failed look-up: hooks never fail a write. */
#include <string.h>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_plugin.h"

static const VUROTARN_PLUGIN_MODULE_MAP VUROTARN_moduleMap[] = {
    {"tarngpo", 1, 0}, {"tarnou", 1, 0},  {"tarnpeer", 1, 0}, {"tarndelegate", 1, 0},
    {"tarnpkg", 1, 0}, {"tarnapp", 1, 0}, {NULL, -1, -1},
};

static const VUROTARN_PLUGIN_MODULE_MAP* pluginModuleFind(const char* szModule) {
    for (const VUROTARN_PLUGIN_MODULE_MAP* p = VUROTARN_moduleMap; p->szModuleName; p++) {
        if (strcmp(p->szModuleName, szModule) == 0) {
            return p;
        }
    }
    return NULL;
}

static int pluginInitKeepingCode(const char* szModuleName, const char* szPath,
                                 PPQLIBPLUGIN ppPlugin) {
    if (ppPlugin == NULL) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        return -1;
    }
    VurotarnSzList dirs(512);
    if (!dirs.push(VUROTARN_PLUGIN_DIR)) {
        return -1;
    }
    VUROTARN_ARG_CHECK(NULL, !=, szModuleName, return -1);
    const VUROTARN_PLUGIN_MODULE_MAP* pModule = pluginModuleFind(szModuleName);
    if (pModule == NULL) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        return -1;
    }
    return QLIBPluginInit(szPath, dirs.get(), pModule->major, pModule->minor, ppPlugin) < 0 ? -1
                                                                                            : 0;
}

int VUROTARNPluginInit(const char* szModule, const char* szPath, PPQLIBPLUGIN ppPlugin) {
    VUROERR savedCode = QLIBCErrGet();
    int ret = pluginInitKeepingCode(szModule, szPath, ppPlugin);
    if (QLIBCErrGet() != savedCode) {
        QLIBCErrSetEx(savedCode, QLIBCErrorGetFile(), QLIBCErrorGetLine());
    }
    return ret;
}
