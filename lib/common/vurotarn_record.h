/* vurotarn_record.h - the record pattern, written once for every family:
 * record layer, write paths with hooks and change log, storage with
 * read-back, list queries and fill callbacks. A family supplies a traits
 * type (its table, fields, SQL texts, words and hook names) and exports thin
 * wrappers over these templates. */
#ifndef VUROTARN_RECORD_H
#define VUROTARN_RECORD_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <new>
#include <string>
#include <type_traits>

#include <json/json.h>

#include "common/vurotarn_list_int.h"
#include "common/vurotarn_sqlite_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_plugin.h"

/* ---- fields: how one member is read from a row and passed to a hook ---- */

template <class Rec>
struct VurotarnField {
    const char* szColumn;  // column name in the table
    const char* szHook;    // hook argument suffix (Org_<x>, New_<x>); NULL: not passed
    bool blText;
    void (*fromColumn)(Rec& rec, const char* szValue);
    std::string (*toText)(const Rec& rec);
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

#define VUROTARN_FIELD(Rec, member, column, hook)                                      \
    VurotarnField<Rec> {                                                               \
        column, hook, std::is_same_v<decltype(Rec::member), std::string>,              \
            &vurotarnFieldFromColumn<&Rec::member>, &vurotarnFieldToText<&Rec::member> \
    }

/* One operation message: a plain "file:line " line, or (for the families
 * whose Set reports that way) a plain trace with euid and pid. */
void vurotarnReport(bool blTrace, const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
#define VUROTARN_REPORT(blTrace, fmt, ...) \
    vurotarnReport((blTrace), __FILE__, __LINE__, fmt, ##__VA_ARGS__)

/* "__null != pOu" and its likes, for checks written once for all families. */
inline std::string vurotarnArgText(const char* szLeft, const char* szRight) {
    return std::string(szLeft) + szRight;
}

/* What a family's traits hold unless they say otherwise: signed ids with -1
 * for a record not stored yet, a missing row as a failed Get, hook values
 * through 32-byte buffers, a plain UPDATE for Set with a change-log step,
 * and a reset by construction. A family derives from it and adds its names,
 * fields and SQL texts. */
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
    static constexpr const char* kSqlAllocFailText = "Failed to malloc SQL";
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

    static bool isNewId(Id id) { return id == -1; }
    static bool isInvalidSetId(Id id) { return id < 0; }
    static std::string idText(Id id) { return std::to_string(id); }
    static void onAlloc(Rec&) {}
    static void onClear(Rec& rec) { rec = Rec(); }
    // After a row was deleted, before the POST hook: what else goes with it.
    static void onDeleted(Id) {}
};

/* ---- the pattern ---- */

template <class T>
struct VurotarnRecord {
    using Rec = typename T::Rec;
    using Id = typename T::Id;
    using Env = typename T::Env;

    /* -- record layer -- */

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

    /* -- hooks -- */

    static int pluginInit(Env* pstEnvVar, const char* szPlugin, const Rec* pOrg, const Rec* pNew) {
        if (pstEnvVar == NULL || szPlugin == NULL || (pOrg == NULL && pNew == NULL)) {
            QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
            VUROTARN_REPORT(false, "Bad parameters");
            return -1;
        }
        pstEnvVar->pOrg = pOrg;
        pstEnvVar->pNew = pNew;
        pstEnvVar->pPlugin = NULL;
        pstEnvVar->iResult = 0;
        if (VUROTARNPluginInit(T::kModule, szPlugin, &pstEnvVar->pPlugin) < 0) {
            VUROTARN_REPORT(false, "Fail to init plugin [%s] " VUROTARN_ERRSTORE_FMT, T::kModule,
                            VUROTARN_ERRSTORE_ARGS);
            return -1;
        }
        return 0;
    }

    static int pluginSetRecordArgs(PQLIBPLUGIN pPlugin, const char* szPrefix, const Rec& rec) {
        for (const VurotarnField<Rec>& field : T::kFields) {
            if (field.szHook == NULL) {
                continue;
            }
            std::string text = field.toText(rec);
            size_t cbBuf = field.blText ? T::kHookTextBuf : T::kHookNumBuf;
            if (cbBuf != 0 && text.size() > cbBuf - 1) {
                text.resize(cbBuf - 1);  // the platform's argument buffer cuts here
            }
            std::string key = std::string(szPrefix) + field.szHook;
            if (QLIBPluginSetArg(pPlugin, key.c_str(), text.c_str()) < 0) {
                return -1;
            }
        }
        return 0;
    }

    /* RESULT, then the Org_ and New_ sides that are set. Separate from
     * plugin() so that a family can name this step. */
    static int pluginSetArgs(Env* pstEnvVar) {
        if (pstEnvVar == NULL || (pstEnvVar->pOrg == NULL && pstEnvVar->pNew == NULL)) {
            QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
            return -1;
        }
        if (QLIBPluginSetArgByInt(pstEnvVar->pPlugin, "RESULT", pstEnvVar->iResult) < 0) {
            return -1;
        }
        if (pstEnvVar->pOrg != NULL &&
            pluginSetRecordArgs(pstEnvVar->pPlugin, "Org_", *pstEnvVar->pOrg) < 0) {
            return -1;
        }
        if (pstEnvVar->pNew != NULL &&
            pluginSetRecordArgs(pstEnvVar->pPlugin, "New_", *pstEnvVar->pNew) < 0) {
            return -1;
        }
        return 0;
    }

    static int plugin(const SDK_PLUGIN_ACTION action, Env* pstEnvVar) {
        if (pstEnvVar == NULL || !QLIBPluginHasInit(pstEnvVar->pPlugin)) {
            return -1;
        }
        if (pluginSetArgs(pstEnvVar) < 0) {
            return -1;
        }
        return QLIBPluginAction(action, pstEnvVar->pPlugin);
    }

    static int pluginExit(Env* pstEnvVar) {
        if (pstEnvVar == NULL) {
            QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
            return -1;
        }
        QLIBPluginExit(pstEnvVar->pPlugin);
        pstEnvVar->pPlugin = NULL;
        return 0;
    }

    /* The PRE half of a write: environment, initialisation, PRE action. A
     * hook never stops the write, so failures are only logged. */
    static Env* hooksBefore(const char* szHook, const Rec* pOrg, const Rec* pNew,
                            bool blTrace = false) {
        Env* env = (Env*)calloc(1, sizeof(Env));
        if (pluginInit(env, szHook, pOrg, pNew) < 0) {
            VUROTARN_REPORT(blTrace, "Fail to init %s plugin (PRE)", szHook);
        }
        if (plugin(SDK_PLUGIN_PRE, env) < 0) {
            VUROTARN_REPORT(blTrace, "Fail to execute %s plugin (PRE)", szHook);
        }
        return env;
    }

    static void hooksAfter(Env* env, const char* szHook, int result, bool blTrace = false) {
        if (env == NULL) {
            return;
        }
        env->iResult = result;
        if (plugin(SDK_PLUGIN_POST, env) < 0) {
            VUROTARN_REPORT(blTrace, "Fail to execute %s plugin (POST)", szHook);
        }
        pluginExit(env);
        ::free(env);
    }

    static void changeLog(int result, int action, Rec* p1, Rec* p2, const char* szAction, Id id,
                          bool blTrace = false) {
        if constexpr (std::is_null_pointer_v<std::decay_t<decltype(T::kLog)>>) {
            (void)result, (void)action, (void)p1, (void)p2, (void)szAction, (void)id, (void)blTrace;
        } else if (T::kLog(result, action, p1, p2) < 0) {
            VUROTARN_REPORT(blTrace, "Failed to record %s action of %s in db. id=[%s]", szAction,
                            T::kWord, T::idText(id).c_str());
        }
    }

    /* -- operation layer -- */

    static int create(Rec* p) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        Env* env = hooksBefore(T::kHookCreate, NULL, p);
        int result = 0;
        if (createSqlite(p) < 0) {
            VUROTARN_REPORT(false, "Failed to create %s.", T::kWord);
            result = -1;
        }
        changeLog(result, VUROTARN_LOG_ACTION_CREATE, p, NULL, "create", p->id);
        hooksAfter(env, T::kHookCreate, result);
        return result;
    }

    static int set(Rec* p) {
        Rec tmp;
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        const bool blTrace = T::kSetReportsAsTrace;
        Env* env = NULL;
        int result = -1;
        if (T::isInvalidSetId(p->id)) {
            VUROTARN_REPORT(blTrace, "Invalid id: [%s]", T::idText(p->id).c_str());
        } else if (get(p->id, &tmp) < 0) {
            VUROTARN_REPORT(blTrace, "get %s failed. id:[%s] " VUROTARN_ERRSTORE_FMT, T::kWord,
                            T::idText(p->id).c_str(), VUROTARN_ERRSTORE_ARGS);
        } else {
            env = hooksBefore(T::kHookSet, &tmp, p, blTrace);
            result = 0;
            if (setSqlite(p) < 0) {
                VUROTARN_REPORT(blTrace, "Failed to set %s, id = [%s]", T::kWord,
                                T::idText(p->id).c_str());
                result = -1;
            }
        }
        if (T::kLogOnSet) {
            changeLog(result, VUROTARN_LOG_ACTION_SET, &tmp, p, "set", tmp.id, blTrace);
        }
        hooksAfter(env, T::kHookSet, result, blTrace);
        return result;
    }

    static int del(Id id) {
        Rec tmp;
        Env* env = NULL;
        int result = -1;
        if (get(id, &tmp) < 0) {
            VUROTARN_REPORT(false, "get %s failed. id:[%s] " VUROTARN_ERRSTORE_FMT, T::kWord,
                            T::idText(id).c_str(), VUROTARN_ERRSTORE_ARGS);
        } else {
            env = hooksBefore(T::kHookDelete, &tmp, NULL);
            result = 0;
            if (deleteSqlite(id) < 0) {
                VUROTARN_REPORT(false, "Failed to delete %s, id = [%s]", T::kWord,
                                T::idText(id).c_str());
                result = -1;
            } else {
                T::onDeleted(id);
            }
        }
        changeLog(result, VUROTARN_LOG_ACTION_DELETE, &tmp, NULL, "delete", id);
        hooksAfter(env, T::kHookDelete, result);
        return result;
    }

    static int save(Rec* p) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        if (T::isNewId(p->id)) {
            if (create(p) < 0) {
                VUROTARN_REPORT(false, "Create %s failed. " VUROTARN_ERRSTORE_FMT, T::kWord,
                                VUROTARN_ERRSTORE_ARGS);
                return -1;
            }
            return 0;
        }
        if (set(p) < 0) {
            VUROTARN_REPORT(false, "Set %s failed. [%s] " VUROTARN_ERRSTORE_FMT, T::kWord,
                            T::idText(p->id).c_str(), VUROTARN_ERRSTORE_ARGS);
            return -1;
        }
        return 0;
    }

    static int get(Id id, Rec* p) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        int r = getMultipleSqlite(&id, 1, p);
        if (r < T::kGetFoundMin) {
            VUROTARN_REPORT(false, "Failed to get %s, id = [%s]", T::kWord, T::idText(id).c_str());
            return -1;
        }
        return 0;
    }

    static int getMultiple(Id* ids, size_t cID, Rec* p) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        VUROTARN_ARG_CHECK(0, <, cID, return -1);
        int r = getMultipleSqlite(ids, cID, p);
        if (r < T::kGetFoundMin) {
            VUROTARN_REPORT(false, "Failed to get multiple %s.", T::kWord);
            return -1;
        }
        return 0;
    }

    static int createMultiple(Rec* pList) {
        VUROTARN_ARG_CHECK_TEXT(pList != NULL, vurotarnArgText("__null != ", T::kListArg).c_str(),
                                0, return -1);
        for (Rec* p = pList; p != NULL; p = p->pNext) {
            if (create(p) < 0) {
                return -1;
            }
        }
        return 0;
    }

    static int setMultiple(Rec* pList) {
        VUROTARN_ARG_CHECK_TEXT(pList != NULL, vurotarnArgText("__null != ", T::kListArg).c_str(),
                                0, return -1);
        for (Rec* p = pList; p != NULL; p = p->pNext) {
            if (set(p) < 0) {
                return -1;
            }
        }
        return 0;
    }

    static int deleteList(Rec* pList) {
        for (Rec* p = pList; p != NULL; p = p->pNext) {
            if (del(p->id) < 0) {
                return -1;
            }
        }
        return 0;
    }

    template <class IdArg>
    static int deleteMultiple(IdArg* ids, size_t cID) {
        VUROTARN_ARG_CHECK(0, <, cID, return -1);
        for (size_t i = 0; i < cID; i++) {
            if (del((Id)ids[i]) < 0) {
                return -1;
            }
        }
        return 0;
    }

    static int deleteAll() {
        Rec* pList = NULL;
        if (listAll(&pList, NULL, NULL) < 0) {
            return -1;
        }
        int ret = deleteList(pList);
        listFree(&pList);
        return ret;
    }

    static int list(const PQLIBSZHASH pParms, Rec** pList, size_t* pTotalCount) {
        if (listSqlite(pParms, pList, pTotalCount) < 0) {
            VUROTARN_REPORT(false, "Failed to get list of %s.", T::kWord);
            return -1;
        }
        return 0;
    }

    /* The rows whose column holds a value, through the list's condition. */
    static int listByColumn(const char* szColumn, const char* szValue, Rec** pList) {
        PQLIBSZHASH pHash = QLIBCSzHashAlloc(512);
        if (pHash == NULL) {
            VUROTARN_TRACE_LOCATED("malloc hash failed");
            return -1;
        }
        int ret = -1;
        if (QLIBCSzHashSetValue(&pHash, szColumn, szValue) >= 0) {
            ret = list(pHash, pList, NULL) < 0 ? -1 : 0;
        }
        QLIBCSzHashFree(pHash);
        return ret;
    }

    static int listAll(Rec** pList, BOOL (*isKeep)(Rec*, void*), void* private_data) {
        VUROTARN_ARG_CHECK_TEXT(pList != NULL, vurotarnArgText("__null != ", T::kListArg).c_str(),
                                0, return -1);
        if (listAllSqlite(pList, isKeep, private_data) < 0) {
            VUROTARN_REPORT(false, "Failed to get list of %s.", T::kWord);
            return -1;
        }
        return 0;
    }

    /* -- storage layer -- */

    /* Runs a read-back query; the id of the first row, or -1 when none. */
    static int readBack(VurotarnConnection& db, const char* szSQL, Rec* pFound) {
        if (db.exec(szSQL, fillOne, pFound) != 0) {
            return -1;
        }
        if (!pFound->available) {
            QLIBCErrSetEx(ERR_WRITE_FAILED, __FILE__, __LINE__);
            return -1;
        }
        return 0;
    }

    /* INSERT (or, for keyed families, the upsert by key) and read-back. */
    static int createSqlite(Rec* p) {
        long pid = (long)getpid();
        VurotarnConnection db;
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        if constexpr (T::kKeyedUpsert) {
            return upsertSqlite(db, p);
        } else {
            p->mtime = time(NULL);
            VurotarnSqlText sql(T::insertSql(*p, pid));
            if (!sql) {
                VUROTARN_REPORT(false, "%s", T::kSqlAllocFailText);
                return -1;
            }
            if (db.exec(sql.get()) != 0) {
                return -1;
            }
            // The row this insert made, by its own id, with every column
            // as written: equal records created in one second each get
            // theirs, and a row changed on the way still fails the write.
            const Id idBefore = p->id;
            p->id = (Id)db.lastInsertRowid();
            VurotarnSqlText check(T::readBackSql(*p, pid));
            if (!check) {
                p->id = idBefore;
                VUROTARN_REPORT(false, "%s", T::kSqlAllocFailText);
                return -1;
            }
            Rec tmpCreate;
            if (readBack(db, check.get(), &tmpCreate) < 0) {
                p->id = idBefore;
                return -1;
            }
            return 0;
        }
    }

    static int setSqlite(Rec* p) {
        if constexpr (T::kKeyedUpsert) {
            return createSqlite(p);
        } else {
            long pid = (long)getpid();
            VurotarnConnection db;
            VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                    return -1);
            p->mtime = time(NULL);
            VurotarnSqlText sql(T::updateSql(*p, pid));
            if (!sql) {
                VUROTARN_REPORT(false, "%s", T::kSqlAllocFailText);
                return -1;
            }
            if (db.exec(sql.get()) != 0) {
                return -1;
            }
            VurotarnSqlText check(T::readBackSql(*p, pid));
            if (!check) {
                VUROTARN_REPORT(false, "%s", T::kSqlAllocFailText);
                return -1;
            }
            Rec tmpUpdate;
            return readBack(db, check.get(), &tmpUpdate);
        }
    }

    /* Keyed upsert: an unchanged row is left alone (its mtime too); a
     * changed or new one is written under the key's id. */
    static int upsertSqlite(VurotarnConnection& db, Rec* p) {
        VurotarnSqlText match(T::fullMatchSql(*p));
        if (!match) {
            VUROTARN_REPORT(false, "%s", T::kSqlAllocFailText);
            return -1;
        }
        Rec tmpMatch;
        if (db.exec(match.get(), fillOne, &tmpMatch) != 0) {
            return -1;
        }
        if (tmpMatch.available) {
            p->id = tmpMatch.id;
            return 0;
        }
        VurotarnSqlText key(T::keyQuerySql(*p));
        if (!key) {
            VUROTARN_REPORT(false, "%s", T::kSqlAllocFailText);
            return -1;
        }
        p->mtime = time(NULL);
        VurotarnSqlText sql(T::upsertSql(*p, key.get()));
        if (!sql) {
            VUROTARN_REPORT(false, "%s", T::kSqlAllocFailText);
            return -1;
        }
        if (db.exec(sql.get()) != 0) {
            return -1;
        }
        Rec tmpCheck;
        if (readBack(db, match.get(), &tmpCheck) < 0) {
            return -1;
        }
        p->id = tmpCheck.id;
        return 0;
    }

    static int deleteSqlite(Id id) {
        VurotarnConnection db;
        char szSQL[4096];
        sqlite3_snprintf(sizeof(szSQL), szSQL, "DELETE FROM %s WHERE id=%s;", T::kTable,
                         T::idText(id).c_str());
        return db.exec(szSQL) != 0 ? -1 : 0;
    }

    /* 1 when a row was read into p, 0 when none, -1 on failure. */
    static int getMultipleSqlite(const Id* ids, size_t cID, Rec* p) {
        VurotarnConnection db;
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        VUROTARN_ARG_CHECK(0, <, cID, return -1);
        // The ids go whole into the 4096-byte statement or not at all: a
        // list cut at a digit would read another row.
        std::string text = selectFrom() + " WHERE " + T::kIdColumn + "=" + T::idText(ids[0]) + " ";
        for (size_t i = 1; i < cID; i++) {
            text += std::string(" OR ") + T::kIdColumn + "=" + T::idText(ids[i]) + " ";
        }
        text += ";";
        char szSQL[4096] = {0};
        if (!vurotarnSqlAppendCut(szSQL, sizeof(szSQL), text)) {
            VUROTARN_REPORT(false, "%llu ids do not fit one statement", (unsigned long long)cID);
            return -1;
        }
        if (db.exec(szSQL, fillOne, p) != 0) {
            return -1;
        }
        return p->available ? 1 : 0;
    }

    /* "SELECT * FROM <table> <condition>;" into a list, reversed by the
     * fill. A failed step gives what was collected, usually nothing. */
    static std::string selectFrom() {
        if (T::kSelectFrom != nullptr) {
            return T::kSelectFrom;
        }
        return std::string("SELECT * FROM ") + T::kTable;
    }

    /* 0 with the rows in *ppHead, or -1: a failed read is not an empty table. */
    static int listByCondition(const char* szCondition, Rec** ppHead) {
        std::string text = selectFrom();
        if (szCondition != NULL && szCondition[0] != '\0') {
            text += std::string(" ") + szCondition;
        }
        text += ";";
        // A 4096-byte statement buffer: a longer text loses its end and is
        // spoilt, so that SQLite refuses it rather than read other rows.
        char szSQL[4096] = {0};
        vurotarnSqlAppendCut(szSQL, sizeof(szSQL), text);
        VurotarnConnection db;
        if (db.exec(szSQL, fillList, ppHead) != 0) {
            listFree(ppHead);
            return -1;
        }
        return 0;
    }

    static int listAllSqlite(Rec** pList, BOOL (*isKeep)(Rec*, void*), void* private_data) {
        VUROTARN_ARG_CHECK_TEXT(pList != NULL, vurotarnArgText("__null != ", T::kListArg).c_str(),
                                0, return -1);
        Rec* pHead = NULL;
        if (listByCondition("", &pHead) < 0) {
            return -1;
        }
        if (isKeep != NULL && private_data != NULL) {
            Rec** ppLink = &pHead;
            while (*ppLink != NULL) {
                Rec* p = *ppLink;
                if (isKeep(p, private_data)) {
                    ppLink = &p->pNext;
                } else {
                    *ppLink = p->pNext;
                    delete p;
                }
            }
        }
        int count = vurotarnListCount(pHead);
        if (count > 0) {
            *pList = pHead;
        }
        return count;
    }

    static int listSqlite(const PQLIBSZHASH pParms, Rec** pList, size_t* pTotalCount) {
        if (pParms == NULL) {
            int count = listAllSqlite(pList, NULL, NULL);
            if (pTotalCount != NULL && count >= 0) {
                *pTotalCount = (size_t)count;
            }
            return count;
        }
        char szCondition[4096];
        if (VUROTARNSQLConditionCreate(pParms, szCondition, sizeof(szCondition)) < 0) {
            return -1;
        }
        Rec* pHead = NULL;
        if (listByCondition(szCondition, &pHead) < 0) {
            return -1;
        }
        int count = vurotarnListCount(pHead);
        if (pTotalCount != NULL) {
            *pTotalCount = (size_t)count;
        }
        if (pHead != NULL) {
            *pList = pHead;
        }
        return count;
    }
};

/* JSON out: a key is wanted when jAdditional is null or names it. */
bool vurotarnJsonWanted(const Json::Value& jAdditional, const char* szKey);

/* A JSON text kept in a column, parsed; null when empty or not JSON. */
Json::Value vurotarnJsonParsed(const std::string& text);

/* The checks every StructToJson makes of its JSON arguments; a null value
 * counts as both array and object. */
#define VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, failure)                                      \
    do {                                                                                         \
        VUROTARN_ARG_CHECK_TEXT((jAdditional).isNull() || (jAdditional).isArray(),               \
                                "true == jAdditional.isArray()", (jAdditional).isArray(),        \
                                failure);                                                        \
        VUROTARN_ARG_CHECK_TEXT((jRet).isNull() || (jRet).isObject(), "true == jRet.isObject()", \
                                (jRet).isObject(), failure);                                     \
    } while (0)

#endif
