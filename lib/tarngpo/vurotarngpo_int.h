/* vurotarngpo_int.h - the gpo family's traits for the record pattern and its
 * hook arguments, which only the family itself calls. */
#ifndef VUROTARNGPO_INT_H
#define VUROTARNGPO_INT_H

#include "common/vurotarn_record.h"
#include "vurotarngpo.h"

struct VurotarnGpoTraits : VurotarnTraitsBase<VURO_TARN_GPO, VURO_TARN_GPO_PLUGIN_ENV> {
    VUROTARN_TRAITS_NAMES("VURO_TARN_GPO", "gpo", "pGpo", "tarngpo");
    VUROTARN_TRAITS_HOOKS("tarngpo");
    // Plug-ins see the whole policy text; numbers pass a 1024-byte buffer.
    static constexpr size_t kHookTextBuf = 0;
    static constexpr size_t kHookNumBuf = 1024;
    static constexpr auto kLog = &VUROTARNGpoLog;
    // A leaf of the tree view, whose id may come as a decimal text.
    static constexpr int kJsonNodeType = VURO_TARN_TYPE_GPO;
    static void jsonOut(const Rec& rec, const char* szLang, const Json::Value& jAdditional,
                        Json::Value& jRet);
    static void jsonIn(const Json::Value& jVal, Rec& rec);

    static const VurotarnField<Rec> kFields[8];
};

using VurotarnGpo = VurotarnRecord<VurotarnGpoTraits>;

/* The hook arguments of one call: RESULT, then Org_... and New_..., strings
 * whole. VUROTARNGpoPlugin sets them this way before the action. */
int VUROTARNGpoPluginSetEnv(VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar);

#endif
