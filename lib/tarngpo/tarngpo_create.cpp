/* tarngpo_create.cpp - storing new gpo rows, with hooks and change log. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoCreate(VURO_TARN_GPO* pGpo) { return VurotarnGpo::create(pGpo); }

int VUROTARNGpoCreateMultiple(VURO_TARN_GPO_LIST pGpoList) {
    return VurotarnGpo::createMultiple(pGpoList);
}
