/* tarnpeer_verbs.cpp - the exported verbs of managed servers: records in memory,
 * reads, writes between their hooks, lists and the hook environment, each
 * the record pattern's. */
#include "tarnpeer/vurotarnpeer_int.h"

VUROTARN_RECORD_VERBS(Peer, VurotarnPeer, long)
