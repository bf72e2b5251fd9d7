/* tarnapp_alloc.cpp - application records in memory: allocation, release,
 * reset, lists. */
#include "tarnapp/vurotarnapp_int.h"

VURO_TARN_APP* VUROTARNAppAlloc() { return VurotarnApp::alloc(); }

int VUROTARNAppFree(VURO_TARN_APP* pApp) { return VurotarnApp::free(pApp); }

int VUROTARNAppClear(VURO_TARN_APP* pApp) { return VurotarnApp::clear(pApp); }

VURO_TARN_APP* VUROTARNAppNext(const VURO_TARN_APP* pApp) { return VurotarnApp::next(pApp); }

void VUROTARNAppListFree(VURO_TARN_APP_LIST* pAppList) { VurotarnApp::listFree(pAppList); }
