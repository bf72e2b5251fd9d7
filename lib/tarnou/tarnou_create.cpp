/* tarnou_create.cpp - storing new OUs, with hooks and change log. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuCreate(VURO_TARN_OU* pOu) { return VurotarnOu::create(pOu); }

int VUROTARNOuCreateMultiple(VURO_TARN_OU_LIST pOuList) {
    return VurotarnOu::createMultiple(pOuList);
}
