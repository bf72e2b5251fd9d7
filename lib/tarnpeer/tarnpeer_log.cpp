/* tarnpeer_log.cpp - change log of peer writes. The event log does not
 * exist yet, so there is nothing to record: every write counts as logged. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerLog(int status_no, int action, VURO_TARN_PEER* p1, VURO_TARN_PEER* p2) {
    (void)status_no;
    (void)action;
    (void)p1;
    (void)p2;
    return 0;
}
