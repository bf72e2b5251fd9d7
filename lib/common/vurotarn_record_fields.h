/* vurotarn_record_fields.h - the record pattern's first layer: how one member
 * is read from a row, passed to a hook and shown in JSON (the field table),
 * the traits every family starts from, and the record layer over the table:
 * allocation, item getters and setters, fill callbacks and both JSON forms.
 * vurotarn_record.h puts the layers together; the macros a family writes
 * its traits and exported functions with are in vurotarn_record_export.h. */
#ifndef VUROTARN_RECORD_FIELDS_H
#define VUROTARN_RECORD_FIELDS_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>
#include <string>
#include <type_traits>

#include <json/json.h>
#include <vurojson.h>

#include "common/vurotarn_json_int.h"
#include "common/vurotarn_list_int.h"
#include "common/vurotarn_sqlite_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_plugin.h"

template <class T>
struct VurotarnRecord;

/* How a field shows in the JSON forms: where StructToJson puts it, whether
 * JsonToStruct reads it, and how its value is read and shown. */
enum : unsigned {
    kJsonIn = 1u << 0,         // JsonToStruct reads it
    kJsonOut = 1u << 1,        // StructToJson always gives it
    kJsonWanted = 1u << 2,     // ... only when jAdditional names it
    kJsonMore = 1u << 3,       // ... only when named, under "additional"
    kJsonUnsigned = 1u << 4,   // read as unsigned: above any signed number
    kJsonDoc = 1u << 5,        // JSON kept as text: shown parsed, kept written
    kJsonKeepEmpty = 1u << 6,  // an empty document ({} or []) keeps the stored one
    kJsonBoolOne = 1u << 7,    // shown as true when 1
    kJsonBoolSet = 1u << 8,    // shown as true when not 0
};

/* How a field is stored: the statements are built from the table. */
enum : unsigned {
    kColKey = 1u << 9,        // picks the row of a keyed upsert
    kColNoMatch = 1u << 10,   // a change of it alone is no reason to write
    kColJoined = 1u << 11,    // read through the join, stored elsewhere
    kColUnsigned = 1u << 12,  // written as its unsigned 64-bit value
    kColSecret = 1u << 13,    // a credential: traces of its statements shorten it
};

template <class Rec>
struct VurotarnField {
    const char* szColumn;  // column name in the table
    const char* szHook;    // hook argument suffix (Org_<x>, New_<x>); NULL: not passed
    bool blText;
    void (*fromColumn)(Rec& rec, const char* szValue);
    std::string (*toText)(const Rec& rec);
    const char* szJson;  // key in the JSON forms; NULL: not shown
    unsigned flags;      // kJson... and kCol...
    Json::Value (*toJson)(const Rec& rec);
    void (*fromJson)(Rec& rec, const Json::Value& v);
};

template <class M>
struct VurotarnMemberOf;
template <class C, class V>
struct VurotarnMemberOf<V C::*> {
    using Class = C;
    using Value = V;
};

template <auto M>
void vurotarnFieldFromColumn(typename VurotarnMemberOf<decltype(M)>::Class& rec,
                             const char* szValue) {
    using V = typename VurotarnMemberOf<decltype(M)>::Value;
    if constexpr (std::is_same_v<V, std::string>) {
        rec.*M = szValue;
    } else if constexpr (std::is_unsigned_v<V>) {
        rec.*M = (V)strtoull(szValue, NULL, 10);
    } else {
        rec.*M = (V)strtol(szValue, NULL, 10);
    }
}

template <auto M>
std::string vurotarnFieldToText(const typename VurotarnMemberOf<decltype(M)>::Class& rec) {
    using V = typename VurotarnMemberOf<decltype(M)>::Value;
    if constexpr (std::is_same_v<V, std::string>) {
        return rec.*M;
    } else {
        return std::to_string(rec.*M);
    }
}

/* A JSON text kept in a column, parsed; null when empty or not JSON. */
Json::Value vurotarnJsonParsed(const std::string& text);

/* JSON out: a key is wanted when jAdditional is null or names it. */
bool vurotarnJsonWanted(const Json::Value& jAdditional, const char* szKey);

template <auto M, unsigned F>
Json::Value vurotarnFieldToJson(const typename VurotarnMemberOf<decltype(M)>::Class& rec) {
    using V = typename VurotarnMemberOf<decltype(M)>::Value;
    const V& v = rec.*M;
    if constexpr ((F & kJsonDoc) != 0) {
        return vurotarnJsonParsed(v);
    } else if constexpr (std::is_same_v<V, std::string>) {
        return Json::Value(v);
    } else if constexpr ((F & kJsonBoolOne) != 0) {
        return Json::Value(v == 1);
    } else if constexpr ((F & kJsonBoolSet) != 0) {
        return Json::Value(v != 0);
    } else if constexpr (std::is_unsigned_v<V>) {
        return Json::Value((Json::UInt64)v);
    } else {
        return Json::Value((Json::Int64)v);
    }
}

// The lenient readers: a member of the wrong kind reads as 0 or "".
template <auto M, unsigned F>
void vurotarnFieldFromJson(typename VurotarnMemberOf<decltype(M)>::Class& rec,
                           const Json::Value& v) {
    using V = typename VurotarnMemberOf<decltype(M)>::Value;
    if constexpr ((F & kJsonDoc) != 0) {
        if ((F & kJsonKeepEmpty) == 0 || !v.empty()) {
            rec.*M = vurojson::toString(v);
        }
    } else if constexpr (std::is_same_v<V, std::string>) {
        rec.*M = vurotarnJsonString(v);
    } else if constexpr ((F & kJsonUnsigned) != 0) {
        rec.*M = (V)vurotarnJsonUInt64(v);
    } else {
        rec.*M = (V)vurotarnJsonInt64(v);
    }
}

/* A column only: read from rows and passed to hooks, not in the JSON forms. */
#define VUROTARN_FIELD(Rec, member, column, hook) VUROTARN_FIELD_F(Rec, member, column, hook, 0)
#define VUROTARN_FIELD_F(Rec, member, column, hook, flags) \
    VUROTARN_FIELD_JSON(Rec, member, column, hook, NULL, flags)

/* A column shown in JSON under its own name, or under key. */
#define VUROTARN_FIELD_J(Rec, member, column, hook, flags) \
    VUROTARN_FIELD_JSON(Rec, member, column, hook, column, flags)
#define VUROTARN_FIELD_JSON(Rec, member, column, hook, key, flags)                           \
    VurotarnField<Rec> {                                                                     \
        column, hook, std::is_same_v<decltype(Rec::member), std::string>,                    \
            &vurotarnFieldFromColumn<&Rec::member>, &vurotarnFieldToText<&Rec::member>, key, \
            (flags), &vurotarnFieldToJson<&Rec::member, (flags)>,                            \
            &vurotarnFieldFromJson<&Rec::member, (flags)>                                    \
    }

/* One operation message: a plain "file:line " line, or (for the families
 * whose Set reports that way) a plain trace with euid and pid. */
void vurotarnReport(bool blTrace, const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
#define VUROTARN_REPORT(blTrace, fmt, ...) \
    vurotarnReport((blTrace), __FILE__, __LINE__, fmt, ##__VA_ARGS__)

/* A record's name in szLang through a table of {szLang, member} rows (to
 * its end or to a row without a code): that name, or fallback when the
 * code is unknown, the name empty or szLang NULL. */
template <class Rec, class Row>
const std::string& vurotarnNameInLang(const Rec& rec, const Row* rows, size_t cRows,
                                      const char* szLang, const std::string& fallback) {
    for (size_t i = 0; szLang != NULL && i < cRows && rows[i].szLang != NULL; i++) {
        if (strcmp(rows[i].szLang, szLang) == 0) {
            const std::string& name = rec.*rows[i].member;
            return name.empty() ? fallback : name;
        }
    }
    return fallback;
}

/* "__null != pOu" and its likes, for checks written once for all families. */
inline std::string vurotarnArgText(const char* szLeft, const char* szRight) {
    return std::string(szLeft) + szRight;
}

/* What a family's traits hold unless they say otherwise: signed ids with -1
 * for a record not stored yet, a missing row as a failed Get, hook values
 * through 32-byte buffers, a plain UPDATE for Set with a change-log step,
 * a reset by construction, and JSON that is the field table alone. A family
 * derives from it and adds its names, fields and SQL texts. */
template <class R, class E>
struct VurotarnTraitsBase {
    using Rec = R;
    using Id = long;
    using Env = E;

    static constexpr size_t kHookTextBuf = 32;
    static constexpr size_t kHookNumBuf = 32;
    static constexpr bool kKeyedUpsert = false;
    static constexpr bool kLogOnSet = true;
    static constexpr bool kSetReportsAsTrace = false;
    static constexpr int kGetFoundMin = 1;  // no row is a failed Get
    // Reads: "SELECT * FROM <table>" unless a family reads through a join,
    // and the id column as the WHERE of a read by id names it.
    static constexpr const char* kSelectFrom = nullptr;
    static constexpr const char* kIdColumn = "id";
    // The family's change-log writer; none for the inventory families.
    // A family with a writer declares kLog as a pointer to it. The absent
    // writer is known by its type: comparing a function's address with
    // nullptr is no constant expression under -fsanitize=undefined.
    static constexpr std::nullptr_t kLog = nullptr;
    // A node of the tree view shows "node_id" and "node_type" beside its id.
    static constexpr int kJsonNodeType = -1;
    // An "additional" object whenever jAdditional names anything, even
    // keys unknown; otherwise only when something goes under it.
    static constexpr bool kJsonMoreAlways = false;

    static bool isNewId(Id id) { return id == -1; }
    static bool isInvalidSetId(Id id) { return id < 0; }
    static std::string idText(Id id) { return std::to_string(id); }
    static void onAlloc(Rec&) {}
    static void onClear(Rec& rec) { rec = Rec(); }
    // After a row was deleted, before the POST hook: what else goes with it.
    static void onDeleted(Id) {}
    // What a field table cannot say of the JSON forms: after the fields.
    static void jsonOut(const Rec&, const char* /*szLang*/, const Json::Value& /*jAdditional*/,
                        Json::Value& /*jRet*/) {}
    static void jsonIn(const Json::Value&, Rec&) {}
};

/* The inventory families (applications, packages, server information):
 * unsigned ids, all ones for a record not stored yet, a key that picks the
 * row so that Set is the same upsert as Create, and a missing row that is
 * no failure (Set and Delete go on to the write). */
template <class R, class E>
struct VurotarnInventoryTraitsBase : VurotarnTraitsBase<R, E> {
    using Id = unsigned long long;

    static constexpr bool kKeyedUpsert = true;
    static constexpr int kGetFoundMin = 0;

    static bool isNewId(Id id) { return id == ~0ULL; }
    static bool isInvalidSetId(Id id) { return id == ~0ULL; }
    static std::string idText(Id id) { return std::to_string(id); }
};

/* ---- record layer ---- */

template <class T>
struct VurotarnRecordFields {
    using Rec = typename T::Rec;

    static Rec* alloc() {
        Rec* p = new (std::nothrow) Rec();
        if (p != NULL) {
            T::onAlloc(*p);
        }
        return p;
    }

    static int free(Rec* p) {
        delete p;
        return 0;
    }

    static void listFree(Rec** pList) { vurotarnListDestroy(pList); }

    static int clear(Rec* p) {
        if (p == NULL) {
            return -1;
        }
        listFree(&p->pNext);
        T::onClear(*p);
        return 0;
    }

    static Rec* next(const Rec* p) { return p == NULL ? NULL : p->pNext; }

    /* -- item getters and setters -- */

    // The declared type of a getter or setter may differ from the field's
    // (ids kept unsigned, passed as long int); the value is converted.
    template <class V, class M>
    static int itemGetValue(V* pVal, const Rec* p, M Rec::*member) {
        VUROTARN_ARG_CHECK(NULL, !=, pVal, return -1);
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("NULL != ", T::kRecArg).c_str(), 0,
                                return -1);
        *pVal = (V)(p->*member);
        return 0;
    }

    static int itemGetText(char* szBuf, size_t cbBuf, const Rec* p, std::string Rec::*member) {
        VUROTARN_ARG_CHECK(NULL, !=, szBuf, return -1);
        VUROTARN_ARG_CHECK(0, <, cbBuf, return -1);
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("NULL != ", T::kRecArg).c_str(), 0,
                                return -1);
        snprintf(szBuf, cbBuf, "%s", (p->*member).c_str());
        return 0;
    }

    template <class V, class M>
    static int itemSetValue(Rec* p, V val, M Rec::*member) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        p->*member = (M)val;
        return 0;
    }

    static int itemSetText(Rec* p, const char* szVal, std::string Rec::*member) {
        VUROTARN_ARG_CHECK(NULL, !=, szVal, return -1);
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("NULL != ", T::kRecArg).c_str(), 0,
                                return -1);
        p->*member = szVal;
        return 0;
    }

    /* -- fill callbacks -- */

    static int fillOne(void* parm, int n_column, char** column_value, char** column_name) {
        Rec* p = (Rec*)parm;
        if (column_value == NULL || column_name == NULL || p->available) {
            return 0;
        }
        p->available = TRUE;
        for (int i = 0; i < n_column; i++) {
            if (column_name[i] == NULL || column_value[i] == NULL) {
                continue;
            }
            for (const VurotarnField<Rec>& field : T::kFields) {
                if (strcmp(field.szColumn, column_name[i]) == 0) {
                    field.fromColumn(*p, column_value[i]);
                    break;
                }
            }
        }
        return 0;
    }

    static int fillList(void* parm, int n_column, char** column_value, char** column_name) {
        Rec** pHead = (Rec**)parm;
        Rec* p = alloc();
        if (p == NULL) {
            VUROTARN_TRACE("Can't malloc memory: %llu bytes\n", (unsigned long long)sizeof(Rec));
            return 0;
        }
        fillOne(p, n_column, column_value, column_name);
        p->pNext = *pHead;
        *pHead = p;
        return 0;
    }

    /* -- JSON forms -- */

    /* StructToJson: the fields with a key where their flags put them, then
     * the family's own additions. szLang is for the families that show one
     * language of their names. */
    static int toJson(const Rec* p, const char* szLang, const Json::Value& jAdditional,
                      Json::Value& jRet) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        // A null value counts as both array and object.
        VUROTARN_ARG_CHECK_TEXT(jAdditional.isNull() || jAdditional.isArray(),
                                "true == jAdditional.isArray()", jAdditional.isArray(), return -1);
        VUROTARN_ARG_CHECK_TEXT(jRet.isNull() || jRet.isObject(), "true == jRet.isObject()",
                                jRet.isObject(), return -1);
        jRet = Json::Value(Json::objectValue);
        if constexpr (T::kJsonNodeType >= 0) {
            jRet["node_id"] = (Json::Int64)p->id;
            jRet["node_type"] = T::kJsonNodeType;
        }
        // A null jAdditional counts as empty here, yet wants every key.
        if (T::kJsonMoreAlways && !jAdditional.empty()) {
            jRet["additional"] = Json::Value(Json::objectValue);
        }
        for (const VurotarnField<Rec>& field : T::kFields) {
            const unsigned f = field.flags;
            if (field.szJson == NULL || (f & (kJsonOut | kJsonWanted | kJsonMore)) == 0) {
                continue;
            }
            if ((f & kJsonOut) == 0 && !vurotarnJsonWanted(jAdditional, field.szJson)) {
                continue;
            }
            Json::Value& jTo = (f & kJsonMore) != 0 ? jRet["additional"] : jRet;
            jTo[field.szJson] = field.toJson(*p);
        }
        T::jsonOut(*p, szLang, jAdditional, jRet);
        return 0;
    }

    /* JsonToStruct: each member present is read, whatever its kind; a
     * value that is no object leaves the record as it is. */
    static int fromJson(const Json::Value& jVal, Rec* p) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        if (!jVal.isObject()) {
            return 0;
        }
        for (const VurotarnField<Rec>& field : T::kFields) {
            if (field.szJson != NULL && (field.flags & kJsonIn) != 0 &&
                jVal.isMember(field.szJson)) {
                field.fromJson(*p, jVal[field.szJson]);
            }
        }
        T::jsonIn(jVal, *p);
        return 0;
    }
};

#endif
