/* vurotarninfo_int.h - the server information family's traits for the
 * record pattern and its read by peer, which only the family itself
 * calls. */
#ifndef VUROTARNINFO_INT_H
#define VUROTARNINFO_INT_H

#include "common/vurotarn_record.h"
#include "vurotarninfo.h"

struct VurotarnInfoTraits : VurotarnTraitsBase<VURO_TARN_INFO, VURO_TARN_INFO_PLUGIN_ENV> {
    using Id = unsigned long long;

    static constexpr const char* kWord = "VURO_TARN_INFO";
    // A view over info_data that adds the peer's serial; its triggers take
    // the writes.
    static constexpr const char* kTable = "info";
    static constexpr const char* kRecArg = "pInfo";
    static constexpr const char* kListArg = "pInfoList";
    // The module table has no row of its own for this family.
    static constexpr const char* kModule = "tarnpeer";
    static constexpr const char* kHookCreate = "tarninfo/tarninfo_create";
    static constexpr const char* kHookSet = "tarnpeer/tarnpeer_set";
    static constexpr const char* kHookDelete = "tarninfo/tarninfo_delete";
    // peer_id alone picks the row: Set is the same upsert as Create.
    static constexpr bool kKeyedUpsert = true;
    static constexpr int kGetFoundMin = 0;  // a missing row is no failure
    static void jsonIn(const Json::Value& jVal, Rec& rec);

    static const VurotarnField<Rec> kFields[10];

    static bool isNewId(Id id) { return id == ~0ULL; }
    // Set reads the row and upserts by peer_id whatever the id.
    static bool isInvalidSetId(Id) { return false; }
    static std::string idText(Id id) { return std::to_string(id); }
};

using VurotarnInfo = VurotarnRecord<VurotarnInfoTraits>;

int VUROTARNInfoGetByPEER_sqlite(unsigned long long peer_id, VURO_TARN_INFO* pInfo);

#endif
