/* tarnpkg_verbs.cpp - the exported verbs of packages: records in memory,
 * reads, writes between their hooks, lists and the hook environment, each
 * the record pattern's. */
#include "tarnpkg/vurotarnpkg_int.h"

VUROTARN_RECORD_VERBS(Pkg, VurotarnPkg, unsigned long long)
