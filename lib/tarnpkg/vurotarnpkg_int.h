/* vurotarnpkg_int.h - the package family's traits for the record pattern, its
 * name in a language and its cleaning walks, which only the family calls. */
#ifndef VUROTARNPKG_INT_H
#define VUROTARNPKG_INT_H

#include "common/vurotarn_record.h"
#include "vurotarnpkg.h"

struct VurotarnPkgTraits : VurotarnInventoryTraitsBase<VURO_TARN_PKG, VURO_TARN_PKG_PLUGIN_ENV> {
    VUROTARN_TRAITS_NAMES("VURO_TARN_PKG", "package", "pPkg", "tarnpkg");
    VUROTARN_TRAITS_HOOKS("tarnpkg");
    static constexpr const char* kSelectFrom =
        "SELECT package.*,peer.hostname,peer.model,peer.version,peer.status  FROM package INNER "
        "JOIN peer ON package.peer_id = peer.id";
    static constexpr const char* kIdColumn = "package.id";
    static constexpr bool kJsonMoreAlways = true;
    static void jsonOut(const Rec& rec, const char* szLang, const Json::Value& jAdditional,
                        Json::Value& jRet);

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
