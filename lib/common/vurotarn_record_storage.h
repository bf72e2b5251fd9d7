/* vurotarn_record_storage.h - the record pattern's storage layer: INSERT or
 * keyed upsert with read-back, UPDATE, DELETE, reads by id and list queries
 * into the fill callbacks, each statement whole or refused. */
#ifndef VUROTARN_RECORD_STORAGE_H
#define VUROTARN_RECORD_STORAGE_H

#include <time.h>
#include <unistd.h>

#include <string>

#include "common/vurotarn_record_fields.h"

template <class T>
struct VurotarnRecordStorage {
    using Rec = typename T::Rec;
    using Id = typename T::Id;
    using Env = typename T::Env;
    using R = VurotarnRecord<T>;

    /* Runs a read-back query; the id of the first row, or -1 when none. */
    static int readBack(VurotarnConnection& db, const char* szSQL, Rec* pFound) {
        if (db.exec(szSQL, R::fillOne, pFound) != 0) {
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
        if (db.exec(match.get(), R::fillOne, &tmpMatch) != 0) {
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
        if (db.exec(szSQL, R::fillOne, p) != 0) {
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
        if (db.exec(szSQL, R::fillList, ppHead) != 0) {
            R::listFree(ppHead);
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

#endif
