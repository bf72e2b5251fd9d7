/* vurotarnou_int.h - the OU family's traits for the record pattern, which
 * only the family itself uses. */
#ifndef VUROTARNOU_INT_H
#define VUROTARNOU_INT_H

#include "common/vurotarn_record.h"
#include "vurotarnou.h"

struct VurotarnOuTraits : VurotarnTraitsBase<VURO_TARN_OU, VURO_TARN_OU_PLUGIN_ENV> {
    static constexpr const char* kWord = "VURO_TARN_OU";
    static constexpr const char* kTable = "ou";
    static constexpr const char* kRecArg = "pOu";
    static constexpr const char* kListArg = "pOuList";
    static constexpr const char* kModule = "tarnou";
    static constexpr const char* kHookCreate = "tarnou/tarnou_create";
    static constexpr const char* kHookSet = "tarnou/tarnou_set";
    static constexpr const char* kHookDelete = "tarnou/tarnou_delete";
    static constexpr int (*kLog)(int, int, Rec*, Rec*) = VUROTARNOuLog;
    static constexpr int kJsonNodeType = VURO_TARN_TYPE_OU;

    static const VurotarnField<Rec> kFields[8];
};

using VurotarnOu = VurotarnRecord<VurotarnOuTraits>;

#endif
