/* vurotarninfo_int.h - the server information family's traits for the
 * record pattern, which only the family itself uses. */
#ifndef VUROTARNINFO_INT_H
#define VUROTARNINFO_INT_H

#include "common/vurotarn_record.h"
#include "vurotarninfo.h"

struct VurotarnInfoTraits : VurotarnInventoryTraitsBase<VURO_TARN_INFO, VURO_TARN_INFO_PLUGIN_ENV> {
    // "info": a view over info_data that adds the peer's serial; its
    // triggers take the writes. The module table has no row of its own for
    // this family: its module is the peer's, its hooks half their own.
    VUROTARN_TRAITS_NAMES("VURO_TARN_INFO", "info", "pInfo", "tarnpeer");
    static constexpr const char* kHookCreate = "tarninfo/tarninfo_create";
    static constexpr const char* kHookSet = "tarnpeer/tarnpeer_set";
    static constexpr const char* kHookDelete = "tarninfo/tarninfo_delete";
    static void jsonIn(const Json::Value& jVal, Rec& rec);

    static const VurotarnField<Rec> kFields[10];

    // Set reads the row and upserts by peer_id whatever the id.
    static bool isInvalidSetId(Id) { return false; }
};

using VurotarnInfo = VurotarnRecord<VurotarnInfoTraits>;

#endif
