/* tarnpeer_log.cpp - change log of peer writes. The event log does not
 * exist yet, so there is nothing to record: every write counts as logged. */
#include "tarnpeer/vurotarnpeer_int.h"

int VUROTARNPeerLog(int status_no, int action, VURO_TARN_PEER* pPeer1, VURO_TARN_PEER* pPeer2) {
    (void)status_no;
    (void)action;
    (void)pPeer1;
    (void)pPeer2;
    return 0;
}
