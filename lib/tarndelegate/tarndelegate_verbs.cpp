/* tarndelegate_verbs.cpp - the exported verbs of delegates: records in memory,
 * reads, writes between their hooks, lists and the hook environment, each
 * the record pattern's. */
#include "tarndelegate/vurotarndelegate_int.h"

VUROTARN_RECORD_VERBS(Delegate, VurotarnDelegate, long)
