/* tarndelegate_log.cpp - change log of delegate writes. The event log does not
 * exist yet, so there is nothing to record: every write counts as logged. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateLog(int status_no, int action, VURO_TARN_DELEGATE* p1, VURO_TARN_DELEGATE* p2) {
    (void)status_no;
    (void)action;
    (void)p1;
    (void)p2;
    return 0;
}
