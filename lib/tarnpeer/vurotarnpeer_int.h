/* vurotarnpeer_int.h - the peer family's traits for the record pattern and its
 * read by serial, which only the family itself calls. */
#ifndef VUROTARNPEER_INT_H
#define VUROTARNPEER_INT_H

#include "common/vurotarn_record.h"
#include "vurotarnpeer.h"

struct VurotarnPeerTraits : VurotarnTraitsBase<VURO_TARN_PEER, VURO_TARN_PEER_PLUGIN_ENV> {
    VUROTARN_TRAITS_NAMES("VURO_TARN_PEER", "peer", "pPeer", "tarnpeer");
    VUROTARN_TRAITS_HOOKS("tarnpeer");
    // The serial picks the row: Set is the same upsert as Create.
    static constexpr bool kKeyedUpsert = true;
    static constexpr bool kSetReportsAsTrace = true;
    static constexpr auto kLog = &VUROTARNPeerLog;
    static constexpr int kJsonNodeType = VURO_TARN_TYPE_PEER;
    static void jsonOut(const Rec& rec, const char* szLang, const Json::Value& jAdditional,
                        Json::Value& jRet);

    static const VurotarnField<Rec> kFields[26];
};

using VurotarnPeer = VurotarnRecord<VurotarnPeerTraits>;

int VUROTARNPeerGetBySN_sqlite(const char* szSN, VURO_TARN_PEER* pPeer);

#endif
