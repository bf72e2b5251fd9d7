/* tarnapp_save.cpp - create or set, decided by the record's id alone: all
 * ones is a new row. */
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppSave(VURO_TARN_APP* pApp) { return VurotarnApp::save(pApp); }
