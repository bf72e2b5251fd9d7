/* vurotarn_plugin.h - the plug-in hook initialisation shared by all record
 * families, and the module table it checks names against. */
#ifndef VUROTARN_PLUGIN_H
#define VUROTARN_PLUGIN_H

#include "vurotarn_type.h"

#define VUROTARN_PLUGIN_DIR "/var/packages/TARN/target/plugin"

typedef struct _tag_vurotarn_plugin_module_map_ {
    const char* szModuleName;
    int major;
    int minor;
} VUROTARN_PLUGIN_MODULE_MAP;

/* Finds plug-in szPath ("tarnou/tarnou_create") of module szModule; never
 * replaces the error code the caller had. 0 or -1. */
VUROTARN_API int VUROTARNPluginInit(const char* szModule, const char* szPath,
                                    PPQLIBPLUGIN ppPlugin);

#endif
