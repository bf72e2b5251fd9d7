/* tarnapp_verbs.cpp - the exported verbs of applications: records in memory,
 * reads, writes between their hooks, lists and the hook environment, each
 * the record pattern's. */
#include "tarnapp/vurotarnapp_int.h"

VUROTARN_RECORD_VERBS(App, VurotarnApp, unsigned long long)
