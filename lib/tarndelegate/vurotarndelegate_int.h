/* vurotarndelegate_int.h - the delegate family's traits for the record
 * pattern and its account-name look-up, which only
 * the family and its extension call. */
#ifndef VUROTARNDELEGATE_INT_H
#define VUROTARNDELEGATE_INT_H

#include "common/vurotarn_record.h"
#include "vurotarndelegate.h"

struct VurotarnDelegateTraits
    : VurotarnTraitsBase<VURO_TARN_DELEGATE, VURO_TARN_DELEGATE_PLUGIN_ENV> {
    VUROTARN_TRAITS_NAMES("VURO_TARN_DELEGATE", "delegate", "pDelegate", "tarndelegate");
    VUROTARN_TRAITS_HOOKS("tarndelegate");
    // A rewrite refreshes the name cache; who holds a right changes only by
    // Create and Delete, which are logged.
    static constexpr bool kLogOnSet = false;
    static constexpr auto kLog = &VUROTARNDelegateLog;

    static const VurotarnField<Rec> kFields[7];
};

using VurotarnDelegate = VurotarnRecord<VurotarnDelegateTraits>;

/* The name of the account a delegate names: the user's for
 * VURO_TARN_TYPE_USER, the group's for any other type. False when the
 * account is not known (any more). The one look-up behind the change log
 * and the name cache. */
bool vurotarnDelegateUgName(long user_type, unsigned long ugid, std::string& name);

#endif
