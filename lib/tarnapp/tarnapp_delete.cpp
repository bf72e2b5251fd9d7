/* tarnapp_delete.cpp - removing application rows by id, by list, or all of
 * them; each removal takes the application's icon directory with it. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppDelete(unsigned long long id) { return VurotarnApp::del(id); }

int VUROTARNAppDeleteList(VURO_TARN_APP_LIST pAppList) { return VurotarnApp::deleteList(pAppList); }

int VUROTARNAppDeleteMultiple(unsigned long long* ids, size_t cID) {
    return VurotarnApp::deleteMultiple(ids, cID);
}

int VUROTARNAppDeleteAll() { return VurotarnApp::deleteAll(); }
