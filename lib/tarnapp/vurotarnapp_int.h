/* vurotarnapp_int.h - the application family's traits for the record
 * pattern and the removal of an application's icons,
 * which only the family itself calls. */
#ifndef VUROTARNAPP_INT_H
#define VUROTARNAPP_INT_H

#include "common/vurotarn_record.h"
#include "vurotarnapp.h"

/* Removes the icons of one application:
 * /var/packages/TARN/target/peerinfo/<id>/apps below the system root, where
 * id is the APPLICATION's row id (what VUROTARNAppDelete passes). The icons
 * of an application live under its own row id and a row belongs to exactly
 * one peer, so one removal never reaches another application's or another
 * peer's icons. 0, or -1 with a condition trace when rm cannot run. */
int VUROTARNAppIcoDeleten(unsigned long long id);

struct VurotarnAppTraits : VurotarnInventoryTraitsBase<VURO_TARN_APP, VURO_TARN_APP_PLUGIN_ENV> {
    VUROTARN_TRAITS_NAMES("VURO_TARN_APP", "app", "pApp", "tarnapp");
    VUROTARN_TRAITS_HOOKS("tarnapp");
    static constexpr bool kJsonMoreAlways = true;
    static void jsonOut(const Rec& rec, const char* szLang, const Json::Value& jAdditional,
                        Json::Value& jRet);

    static const VurotarnField<Rec> kFields[32];

    static void onDeleted(Id id) { VUROTARNAppIcoDeleten(id); }
};

using VurotarnApp = VurotarnRecord<VurotarnAppTraits>;

/* The twenty language codes with the name field of each, in column order. */
struct VurotarnAppLangName {
    const char* szLang;
    std::string VURO_TARN_APP::*member;
};
extern const VurotarnAppLangName kVurotarnAppLangNames[20];

#endif
