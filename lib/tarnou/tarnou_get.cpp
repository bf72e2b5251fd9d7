/* tarnou_get.cpp - reading one OU by id, or the first of several ids. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuGet(long id, VURO_TARN_OU* pOu) { return VurotarnOu::get(id, pOu); }

int VUROTARNOuGetMultiple(long* ids, size_t cID, VURO_TARN_OU* pOu) {
    return VurotarnOu::getMultiple(ids, cID, pOu);
}
