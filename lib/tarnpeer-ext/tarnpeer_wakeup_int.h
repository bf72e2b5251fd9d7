/* tarnpeer_wakeup_int.h - the MAC parser of the wake code, outside its file
 * only for the fuzz target that feeds it any text. */
#ifndef TARNPEER_WAKEUP_INT_H
#define TARNPEER_WAKEUP_INT_H

#include "vurotarn_type.h"

/* Six groups of two hex digits, with dashes or with colons, into mac: 6,
 * or what the dash form read (sscanf's count, -1 for an empty text). */
VUROTARN_API int VUROTARNPeerMacParse(unsigned int mac[6], const char* szMac);

#endif
