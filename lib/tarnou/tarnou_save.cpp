/* tarnou_save.cpp - create or set, decided by the record's id alone. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuSave(VURO_TARN_OU* pOu) { return VurotarnOu::save(pOu); }
