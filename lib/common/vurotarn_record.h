/* vurotarn_record.h - the record pattern, written once for every family. A
 * family supplies a traits type and exports thin wrappers over
 * VurotarnRecord<Traits>. What its traits must give (checked below, each
 * with its own message):
 *
 *   from VurotarnTraitsBase<Rec, Env> (or VurotarnInventoryTraitsBase for
 *   the keyed families with unsigned ids): Rec (the record: id, mtime, pNext,
 *     available), Id, Env (the hook environment: pOrg, pNew, pPlugin,
 *     iResult) and the defaults it may override (hook buffers, keyed upsert,
 *     change log on Set, id rules, onAlloc/onClear/onDeleted, JSON node type
 *     and "additional" rule, jsonOut/jsonIn for what a field cannot say);
 *   names: kWord (messages), kTable, kRecArg and kListArg (argument checks),
 *     kModule, kHookCreate, kHookSet, kHookDelete (plug-ins), most of them
 *     through VUROTARN_TRAITS_NAMES and VUROTARN_TRAITS_HOOKS;
 *   kFields: the field table, an array of VurotarnField<Rec>: column, hook
 *     argument, JSON key and kind of each member, and how it is stored
 *     (with kKeyedUpsert, at least one kColKey field picks the row);
 *   kLog: its change-log writer, or the base's nullptr.
 *
 * A family keeps no storage functions or SQL texts of its own: the
 * statements are built from the field table, and its verbs call
 * VurotarnRecord<Traits>::createSqlite and the rest directly.
 *
 * The layers, one header each: fields and fill with the JSON forms
 * (vurotarn_record_fields.h), hooks (_hooks.h), storage (_storage.h) and
 * operations (_ops.h); the macros of a family's traits, verbs and item
 * accessors (_export.h). */
#ifndef VUROTARN_RECORD_H
#define VUROTARN_RECORD_H

#include <type_traits>
#include <utility>

#include "common/vurotarn_record_export.h"
#include "common/vurotarn_record_fields.h"
#include "common/vurotarn_record_hooks.h"
#include "common/vurotarn_record_ops.h"
#include "common/vurotarn_record_storage.h"

/* ---- the traits contract ---- */

// Name<T>::value: whether expr is well-formed for the traits T.
#define VUROTARN_TRAITS_DETECTOR(Name, expr) \
    template <class T, class = void>         \
    struct Name : std::false_type {};        \
    template <class T>                       \
    struct Name<T, std::void_t<decltype(expr)>> : std::true_type {}
#define VUROTARN_R_ std::declval<typename T::Rec&>()
#define VUROTARN_E_ std::declval<typename T::Env&>()
#define VUROTARN_TEXT_(name) std::declval<const char*&>() = T::name

VUROTARN_TRAITS_DETECTOR(VurotarnHasTypes,
                         (std::declval<typename T::Id&>(), VUROTARN_R_, VUROTARN_E_));
VUROTARN_TRAITS_DETECTOR(VurotarnHasRecordMembers, (VUROTARN_R_.id, VUROTARN_R_.mtime,
                                                    VUROTARN_R_.pNext, VUROTARN_R_.available));
VUROTARN_TRAITS_DETECTOR(VurotarnHasEnvMembers, (VUROTARN_E_.pOrg, VUROTARN_E_.pNew,
                                                 VUROTARN_E_.pPlugin, VUROTARN_E_.iResult));
VUROTARN_TRAITS_DETECTOR(VurotarnHasNames, (VUROTARN_TEXT_(kWord), VUROTARN_TEXT_(kTable),
                                            VUROTARN_TEXT_(kRecArg), VUROTARN_TEXT_(kListArg),
                                            VUROTARN_TEXT_(kModule), VUROTARN_TEXT_(kHookCreate),
                                            VUROTARN_TEXT_(kHookSet), VUROTARN_TEXT_(kHookDelete)));
VUROTARN_TRAITS_DETECTOR(VurotarnHasFields,
                         static_cast<const VurotarnField<typename T::Rec>&>(T::kFields[0]));
#undef VUROTARN_R_
#undef VUROTARN_E_
#undef VUROTARN_TEXT_

template <class T>
struct VurotarnTraitsCheck {
    static_assert(VurotarnHasTypes<T>::value,
                  "traits: derive from VurotarnTraitsBase<Rec, Env> for Rec, Id and Env");
    static_assert(VurotarnHasRecordMembers<T>::value,
                  "traits: the record needs id, mtime, pNext and available");
    static_assert(VurotarnHasEnvMembers<T>::value,
                  "traits: the hook environment needs pOrg, pNew, pPlugin and iResult");
    static_assert(VurotarnHasNames<T>::value,
                  "traits: give kWord, kTable, kRecArg, kListArg, kModule, kHookCreate, "
                  "kHookSet and kHookDelete as texts");
    static_assert(VurotarnHasFields<T>::value,
                  "traits: give kFields, an array of VurotarnField<Rec>");
};

/* ---- the pattern: the layers over one family's traits ---- */

template <class T>
struct VurotarnRecord : VurotarnTraitsCheck<T>,
                        VurotarnRecordFields<T>,
                        VurotarnRecordHooks<T>,
                        VurotarnRecordStorage<T>,
                        VurotarnRecordOps<T> {
    using Rec = typename T::Rec;
    using Id = typename T::Id;
    using Env = typename T::Env;
};

#endif
