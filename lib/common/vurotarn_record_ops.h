/* vurotarn_record_ops.h - the record pattern's operation layer: Create, Set,
 * Delete, Save and Get of one record and of lists, each write between its
 * hooks and followed by its change log, and the list reads. */
#ifndef VUROTARN_RECORD_OPS_H
#define VUROTARN_RECORD_OPS_H

#include "common/vurotarn_record_fields.h"

template <class T>
struct VurotarnRecordOps {
    using Rec = typename T::Rec;
    using Id = typename T::Id;
    using Env = typename T::Env;
    using R = VurotarnRecord<T>;

    static int create(Rec* p) {
        VUROTARN_ARG_CHECK_TEXT(p != NULL, vurotarnArgText("__null != ", T::kRecArg).c_str(), 0,
                                return -1);
        Env* env = R::hooksBefore(T::kHookCreate, NULL, p);
        int result = 0;
        if (R::createSqlite(p) < 0) {
            VUROTARN_REPORT(false, "Failed to create %s.", T::kWord);
            result = -1;
        }
        R::changeLog(result, VUROTARN_LOG_ACTION_CREATE, p, NULL, "create", p->id);
        R::hooksAfter(env, T::kHookCreate, result);
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
            env = R::hooksBefore(T::kHookSet, &tmp, p, blTrace);
            result = 0;
            if (R::setSqlite(p) < 0) {
                VUROTARN_REPORT(blTrace, "Failed to set %s, id = [%s]", T::kWord,
                                T::idText(p->id).c_str());
                result = -1;
            }
        }
        if (T::kLogOnSet) {
            R::changeLog(result, VUROTARN_LOG_ACTION_SET, &tmp, p, "set", tmp.id, blTrace);
        }
        R::hooksAfter(env, T::kHookSet, result, blTrace);
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
            env = R::hooksBefore(T::kHookDelete, &tmp, NULL);
            result = 0;
            if (R::deleteSqlite(id) < 0) {
                VUROTARN_REPORT(false, "Failed to delete %s, id = [%s]", T::kWord,
                                T::idText(id).c_str());
                result = -1;
            } else {
                T::onDeleted(id);
            }
        }
        R::changeLog(result, VUROTARN_LOG_ACTION_DELETE, &tmp, NULL, "delete", id);
        R::hooksAfter(env, T::kHookDelete, result);
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
        int r = R::getMultipleSqlite(&id, 1, p);
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
        int r = R::getMultipleSqlite(ids, cID, p);
        if (r < T::kGetFoundMin) {
            VUROTARN_REPORT(false, "Failed to get multiple %s.", T::kWord);
            return -1;
        }
        return 0;
    }

    /* fn on each record of the list in turn, up to the first that fails. */
    template <class Fn>
    static int eachOf(Rec* pList, Fn fn) {
        for (Rec* p = pList; p != NULL; p = p->pNext) {
            if (fn(p) < 0) {
                return -1;
            }
        }
        return 0;
    }

    static int createMultiple(Rec* pList) {
        VUROTARN_ARG_CHECK_TEXT(pList != NULL, vurotarnArgText("__null != ", T::kListArg).c_str(),
                                0, return -1);
        return eachOf(pList, create);
    }

    static int setMultiple(Rec* pList) {
        VUROTARN_ARG_CHECK_TEXT(pList != NULL, vurotarnArgText("__null != ", T::kListArg).c_str(),
                                0, return -1);
        return eachOf(pList, set);
    }

    static int deleteList(Rec* pList) {
        return eachOf(pList, [](Rec* p) { return del(p->id); });
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
        R::listFree(&pList);
        return ret;
    }

    static int list(const PQLIBSZHASH pParms, Rec** pList, size_t* pTotalCount) {
        if (R::listSqlite(pParms, pList, pTotalCount) < 0) {
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
        if (R::listAllSqlite(pList, isKeep, private_data) < 0) {
            VUROTARN_REPORT(false, "Failed to get list of %s.", T::kWord);
            return -1;
        }
        return 0;
    }
};

#endif
