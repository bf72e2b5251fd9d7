/* tarnapp_get.cpp - reading one application by id, or the first of several
 * ids; a missing row is no failure. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppGet(unsigned long long id, VURO_TARN_APP* pApp) {
    return VurotarnApp::get(id, pApp);
}

int VUROTARNAppGetMultiple(unsigned long long* ids, size_t cID, VURO_TARN_APP* pApp) {
    return VurotarnApp::getMultiple(ids, cID, pApp);
}
