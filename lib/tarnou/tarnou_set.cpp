/* tarnou_set.cpp - rewriting stored OUs, with hooks and change log. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuSet(VURO_TARN_OU* pOu) { return VurotarnOu::set(pOu); }

int VUROTARNOuSetMultiple(VURO_TARN_OU_LIST pOuList) { return VurotarnOu::setMultiple(pOuList); }
