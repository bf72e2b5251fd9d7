/* tarngpo_verbs.cpp - the exported verbs of group policy objects: records in memory,
 * reads, writes between their hooks, lists and the hook environment, each
 * the record pattern's. */
#include "tarngpo/vurotarngpo_int.h"

VUROTARN_RECORD_VERBS(Gpo, VurotarnGpo, long)

int VUROTARNGpoPluginSetEnv(VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar) {
    return VurotarnGpo::pluginSetArgs(pstEnvVar);
}
