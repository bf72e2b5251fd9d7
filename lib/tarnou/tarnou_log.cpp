/* tarnou_log.cpp - change log of OU writes. The event log does not exist
 * yet, so there is nothing to record: every write counts as logged. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuLog(int status_no, int action, VURO_TARN_OU* pOu1, VURO_TARN_OU* pOu2) {
    (void)status_no;
    (void)action;
    (void)pOu1;
    (void)pOu2;
    return 0;
}
