/* tarngpo_delete.cpp - removing gpo rows by id, by list, or all of them. */
#include "tarngpo/vurotarngpo_int.h"

int VUROTARNGpoDelete(long id) { return VurotarnGpo::del(id); }

int VUROTARNGpoDeleteList(VURO_TARN_GPO_LIST pGpoList) { return VurotarnGpo::deleteList(pGpoList); }

int VUROTARNGpoDeleteMultiple(long* ids, size_t cID) {
    return VurotarnGpo::deleteMultiple(ids, cID);
}

int VUROTARNGpoDeleteAll() { return VurotarnGpo::deleteAll(); }
