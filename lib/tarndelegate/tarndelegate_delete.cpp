/* tarndelegate_delete.cpp - removing delegate rows by id, by list, or all of them. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateDelete(long id) { return VurotarnDelegate::del(id); }

int VUROTARNDelegateDeleteList(VURO_TARN_DELEGATE_LIST pDelegateList) {
    return VurotarnDelegate::deleteList(pDelegateList);
}

int VUROTARNDelegateDeleteMultiple(long* ids, size_t cID) {
    return VurotarnDelegate::deleteMultiple(ids, cID);
}

int VUROTARNDelegateDeleteAll() { return VurotarnDelegate::deleteAll(); }

int VUROTARNDelegateDeleteByTarget(long id, int nodeType) {
    return VUROTARNDelegateDeleteByTarget_sqlite(id, nodeType);
}
