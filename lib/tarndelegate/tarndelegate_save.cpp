/* tarndelegate_save.cpp - create or set, decided by the record's id alone. */
#include "tarndelegate/vurotarndelegate_int.h"

int VUROTARNDelegateSave(VURO_TARN_DELEGATE* pDelegate) {
    return VurotarnDelegate::save(pDelegate);
}
