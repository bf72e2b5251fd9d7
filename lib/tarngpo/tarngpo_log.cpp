/* tarngpo_log.cpp - change log of gpo writes. The event log does not
 * exist yet, so there is nothing to record: every write counts as logged. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoLog(int status_no, int action, VURO_TARN_GPO* pGpo1, VURO_TARN_GPO* pGpo2) {
    (void)status_no;
    (void)action;
    (void)pGpo1;
    (void)pGpo2;
    return 0;
}
