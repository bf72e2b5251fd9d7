/* tarnou_alloc.cpp - OU records in memory: allocation, release, reset, lists. */
#include "tarnou/vurotarnou_int.h"

VURO_TARN_OU* VUROTARNOuAlloc() { return VurotarnOu::alloc(); }

int VUROTARNOuFree(VURO_TARN_OU* pOu) { return VurotarnOu::free(pOu); }

int VUROTARNOuClear(VURO_TARN_OU* pOu) { return VurotarnOu::clear(pOu); }

VURO_TARN_OU* VUROTARNOuNext(const VURO_TARN_OU* pOu) { return VurotarnOu::next(pOu); }

void VUROTARNOuListFree(VURO_TARN_OU_LIST* pOuList) { VurotarnOu::listFree(pOuList); }
