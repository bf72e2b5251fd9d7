/* tarnou_delete.cpp - removing OUs by id, by list, or all of them. */
#include "tarnou/vurotarnou_int.h"

int VUROTARNOuDelete(long id) { return VurotarnOu::del(id); }

int VUROTARNOuDeleteList(VURO_TARN_OU_LIST pOuList) { return VurotarnOu::deleteList(pOuList); }

int VUROTARNOuDeleteMultiple(long* ids, size_t cID) { return VurotarnOu::deleteMultiple(ids, cID); }

int VUROTARNOuDeleteAll() { return VurotarnOu::deleteAll(); }
