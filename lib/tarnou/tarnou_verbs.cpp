/* tarnou_verbs.cpp - the exported verbs of OU records: records in memory,
 * reads, writes between their hooks, lists and the hook environment, each
 * the record pattern's. */
#include "tarnou/vurotarnou_int.h"

VUROTARN_RECORD_VERBS(Ou, VurotarnOu, long)
