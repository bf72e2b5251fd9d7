/* tarninfo_verbs.cpp - the exported verbs of server information: records in memory,
 * reads, writes between their hooks, lists and the hook environment, each
 * the record pattern's. */
#include "tarninfo/vurotarninfo_int.h"

VUROTARN_RECORD_VERBS(Info, VurotarnInfo, long int)
