/* tarngpo_save.cpp - create or set, decided by the record's id alone. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoSave(VURO_TARN_GPO* pGpo) { return VurotarnGpo::save(pGpo); }
