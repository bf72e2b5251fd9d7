/* vurotarn_plugin.cpp - finds the plug-in of a record family's hook. The
 * caller's error code survives a failed look-up: hooks never fail a write. */
#include <string.h>

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
    PQLIBSZLIST pDirs = QLIBCSzListAlloc(512);
    if (pDirs == NULL) {
        return -1;
    }
    int ret = -1;
    const VUROTARN_PLUGIN_MODULE_MAP* pModule = NULL;
    if (QLIBCSzListPush(&pDirs, VUROTARN_PLUGIN_DIR) < 0) {
        goto cleanup;
    }
    VUROTARN_ARG_CHECK(NULL, !=, szModuleName, goto cleanup);
    pModule = pluginModuleFind(szModuleName);
    if (pModule == NULL) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        goto cleanup;
    }
    ret = QLIBPluginInit(szPath, pDirs, pModule->major, pModule->minor, ppPlugin) < 0 ? -1 : 0;

cleanup:
    QLIBCSzListFree(pDirs);
    return ret;
}

int VUROTARNPluginInit(const char* szModule, const char* szPath, PPQLIBPLUGIN ppPlugin) {
    VUROERR savedCode = QLIBCErrGet();
    int ret = pluginInitKeepingCode(szModule, szPath, ppPlugin);
    if (QLIBCErrGet() != savedCode) {
        QLIBCErrSetEx(savedCode, QLIBCErrorGetFile(), QLIBCErrorGetLine());
    }
    return ret;
}
