/* vurotarnpkg_int.h - the package family's traits for the record pattern, its
 * name in a language and its cleaning walks, which only the family calls. */
#ifndef VUROTARNPKG_INT_H
#define VUROTARNPKG_INT_H

#include "common/vurotarn_record.h"
#include "vurotarnpkg.h"

struct VurotarnPkgTraits : VurotarnTraitsBase<VURO_TARN_PKG, VURO_TARN_PKG_PLUGIN_ENV> {
    using Id = unsigned long long;

    static constexpr const char* kWord = "VURO_TARN_PKG";
    static constexpr const char* kTable = "package";
    static constexpr const char* kRecArg = "pPkg";
    static constexpr const char* kListArg = "pPkgList";
    static constexpr const char* kModule = "tarnpkg";
    static constexpr const char* kHookCreate = "tarnpkg/tarnpkg_create";
    static constexpr const char* kHookSet = "tarnpkg/tarnpkg_set";
    static constexpr const char* kHookDelete = "tarnpkg/tarnpkg_delete";
    // (peer, package id) picks the row: Set is the same upsert as Create.
    static constexpr bool kKeyedUpsert = true;
    // An inventory row may be absent; Set and Delete go on to the write.
    static constexpr int kGetFoundMin = 0;
    static constexpr const char* kSelectFrom =
        "SELECT package.*,peer.hostname,peer.model,peer.version,peer.status  FROM package INNER "
        "JOIN peer ON package.peer_id = peer.id";
    static constexpr const char* kIdColumn = "package.id";
    static constexpr bool kJsonMoreAlways = true;
    static void jsonOut(const Rec& rec, const char* szLang, const Json::Value& jAdditional,
                        Json::Value& jRet);

    static bool isNewId(Id id) { return id == ~0ULL; }
    static bool isInvalidSetId(Id id) { return id == ~0ULL; }
    static std::string idText(Id id) { return std::to_string(id); }
    static void onClear(Rec& rec);

    static const VurotarnField<Rec> kFields[43];
};

using VurotarnPkg = VurotarnRecord<VurotarnPkgTraits>;

/* The name in szLang, or the English one when that code is unknown, its
 * name empty, or szLang NULL. */
const std::string& vurotarnPkgNameInLang(const VURO_TARN_PKG& pkg, const char* szLang);

/* The two walks of VUROTARNPkgClean; true when the walk was made. */
bool CheckPeerBdlLink();
bool CleasBdl();

#endif
