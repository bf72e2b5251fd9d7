/* tarngpo_alloc.cpp - gpo records in memory: allocation, release, reset, lists. */
#include "tarngpo/vurotarngpo_int.h"

VURO_TARN_GPO* VUROTARNGpoAlloc() { return VurotarnGpo::alloc(); }

int VUROTARNGpoFree(VURO_TARN_GPO* pGpo) { return VurotarnGpo::free(pGpo); }

int VUROTARNGpoClear(VURO_TARN_GPO* pGpo) { return VurotarnGpo::clear(pGpo); }

VURO_TARN_GPO* VUROTARNGpoNext(const VURO_TARN_GPO* pGpo) { return VurotarnGpo::next(pGpo); }

void VUROTARNGpoListFree(VURO_TARN_GPO_LIST* pGpoList) { VurotarnGpo::listFree(pGpoList); }
