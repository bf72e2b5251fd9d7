/* tarngpo_set.cpp - rewriting stored gpo rows, with hooks. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoSet(VURO_TARN_GPO* pGpo) { return VurotarnGpo::set(pGpo); }

int VUROTARNGpoSetMultiple(VURO_TARN_GPO_LIST pGpoList) {
    return VurotarnGpo::setMultiple(pGpoList);
}
