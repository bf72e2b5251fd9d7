/* vurotarnou_int.h - the OU family's traits for the record pattern, which
 * only the family itself uses. */
#ifndef VUROTARNOU_INT_H
#define VUROTARNOU_INT_H

#include "common/vurotarn_record.h"
#include "vurotarnou.h"

struct VurotarnOuTraits : VurotarnTraitsBase<VURO_TARN_OU, VURO_TARN_OU_PLUGIN_ENV> {
    VUROTARN_TRAITS_NAMES("VURO_TARN_OU", "ou", "pOu", "tarnou");
    VUROTARN_TRAITS_HOOKS("tarnou");
    static constexpr auto kLog = &VUROTARNOuLog;
    static constexpr int kJsonNodeType = VURO_TARN_TYPE_OU;

    static const VurotarnField<Rec> kFields[8];
};

using VurotarnOu = VurotarnRecord<VurotarnOuTraits>;

#endif
