/* tarngpo_get.cpp - reading one gpo by id, or the first of several ids. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoGet(long id, VURO_TARN_GPO* pGpo) { return VurotarnGpo::get(id, pGpo); }

int VUROTARNGpoGetMultiple(long* ids, size_t cID, VURO_TARN_GPO* pGpo) {
    return VurotarnGpo::getMultiple(ids, cID, pGpo);
}
