/* tarnapp_set.cpp - rewriting stored applications, with hooks; an id of all
 * ones is refused. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppSet(VURO_TARN_APP* pApp) { return VurotarnApp::set(pApp); }

int VUROTARNAppSetMultiple(VURO_TARN_APP_LIST pAppList) {
    return VurotarnApp::setMultiple(pAppList);
}
