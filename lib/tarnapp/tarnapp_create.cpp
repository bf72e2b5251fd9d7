/* tarnapp_create.cpp - storing applications, with hooks; no change log. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppCreate(VURO_TARN_APP* pApp) { return VurotarnApp::create(pApp); }

int VUROTARNAppCreateMultiple(VURO_TARN_APP_LIST pAppList) {
    return VurotarnApp::createMultiple(pAppList);
}
