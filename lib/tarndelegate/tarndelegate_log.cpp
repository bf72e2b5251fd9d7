/* tarndelegate_log.cpp - change log of delegate writes. The event log does not
 * exist yet, so there is nothing to record: every write counts as logged. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateLog(int status_no, int action, VURO_TARN_DELEGATE* pDelegate1,
                        VURO_TARN_DELEGATE* pDelegate2) {
    (void)status_no;
    (void)action;
    (void)pDelegate1;
    (void)pDelegate2;
    return 0;
}
