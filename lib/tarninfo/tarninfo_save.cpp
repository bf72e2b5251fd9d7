/* tarninfo_save.cpp - create or set, decided by the record's id alone: all
 * ones is a new row. */
#include "tarninfo/vurotarninfo_int.h"

int VUROTARNInfoSave(VURO_TARN_INFO* pInfo) { return VurotarnInfo::save(pInfo); }
