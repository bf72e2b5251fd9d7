/* vurotarn_record_storage.h - the record pattern's storage layer: INSERT or
 * keyed upsert with read-back, UPDATE, DELETE, reads by id and list queries
 * into the fill callbacks, each statement whole or refused. The write
 * statements are built from the family's field table. */
#ifndef VUROTARN_RECORD_STORAGE_H
#define VUROTARN_RECORD_STORAGE_H

#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "common/vurotarn_record_fields.h"
#include "common/vurotarn_secret_int.h"

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

    /* -- statements from the field table: values as their text, strings
     * quoted, so that caller text never becomes SQL -- */

    static bool stored(const VurotarnField<Rec>& field) { return (field.flags & kColJoined) == 0; }

    static void appendValue(std::string& sql, const VurotarnField<Rec>& field, const Rec& rec) {
        const std::string text = field.toText(rec);
        if ((field.flags & kColSecret) != 0) {
            vurotarnSecretNote(text);
        }
        if ((field.flags & kColUnsigned) != 0) {
            sql += std::to_string((unsigned long long)strtoll(text.c_str(), NULL, 10));
        } else if (!field.blText) {
            sql += text;
        } else {
            // Up to the first NUL, as C text: what %q quoted.
            sql += '\'';
            for (const char* s = text.c_str(); *s != '\0'; s++) {
                sql += *s;
                if (*s == '\'') {
                    sql += '\'';
                }
            }
            sql += '\'';
        }
    }

    /* "c1=v1<sep>c2=v2..." over the stored fields that pass keep. */
    template <class Keep>
    static void appendPairs(std::string& sql, const Rec& rec, const char* szSep, Keep keep) {
        bool first = true;
        for (const VurotarnField<Rec>& field : T::kFields) {
            if (!stored(field) || !keep(field)) {
                continue;
            }
            if (!first) {
                sql += szSep;
            }
            first = false;
            sql += field.szColumn;
            sql += '=';
            appendValue(sql, field, rec);
        }
    }

    static bool isIdField(const VurotarnField<Rec>& field) {
        return strcmp(field.szColumn, "id") == 0;
    }

    static std::string insertText(const Rec& rec, long pid) {
        std::string cols, vals;
        for (const VurotarnField<Rec>& field : T::kFields) {
            if (stored(field) && !isIdField(field)) {
                cols += std::string(field.szColumn) + ", ";
                appendValue(vals, field, rec);
                vals += ", ";
            }
        }
        return std::string("INSERT INTO ") + T::kTable + " ( " + cols + "pid) VALUES ( " + vals +
               std::to_string(pid) + ");";
    }

    static std::string updateText(const Rec& rec, long pid) {
        std::string sql = std::string("UPDATE ") + T::kTable + " SET ";
        appendPairs(sql, rec, ", ", [](const VurotarnField<Rec>&) { return true; });
        return sql + ", pid=" + std::to_string(pid) + " WHERE id=" + T::idText(rec.id) + ";";
    }

    // The row of rec.id with every column as written: the read-back of
    // both Create (by the inserted row's id) and Set.
    static std::string readBackText(const Rec& rec, long pid) {
        std::string sql = std::string("SELECT id FROM ") + T::kTable + " WHERE ";
        appendPairs(sql, rec, " AND ", [](const VurotarnField<Rec>&) { return true; });
        return sql + " AND pid=" + std::to_string(pid) + ";";
    }

    // The row as it would be written, but for its id, mtime and the columns
    // whose change alone is not written.
    static std::string fullMatchText(const Rec& rec) {
        std::string sql = std::string("SELECT id FROM ") + T::kTable + " WHERE ";
        appendPairs(sql, rec, " AND ", [](const VurotarnField<Rec>& field) {
            return !isIdField(field) && strcmp(field.szColumn, "mtime") != 0 &&
                   (field.flags & kColNoMatch) == 0;
        });
        return sql + ";";
    }

    static std::string keyQueryText(const Rec& rec) {
        std::string sql = std::string("SELECT id FROM ") + T::kTable + " WHERE ";
        appendPairs(sql, rec, " AND ",
                    [](const VurotarnField<Rec>& field) { return (field.flags & kColKey) != 0; });
        return sql;
    }

    // Under the key's id when the key has a row, a new one otherwise.
    static std::string upsertText(const Rec& rec, const std::string& keyQuery) {
        std::string cols, vals;
        for (const VurotarnField<Rec>& field : T::kFields) {
            if (!stored(field)) {
                continue;
            }
            cols += std::string(cols.empty() ? "" : ", ") + field.szColumn;
            vals += vals.empty() ? "" : ", ";
            if (isIdField(field)) {
                vals += "(" + keyQuery + ")";
            } else {
                appendValue(vals, field, rec);
            }
        }
        return std::string("INSERT OR REPLACE INTO ") + T::kTable + " ( " + cols + ") VALUES ( " +
               vals + ");";
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
            if (db.exec(insertText(*p, pid).c_str()) != 0) {
                return -1;
            }
            // The row this insert made, by its own id, with every column
            // as written: equal records created in one second each get
            // theirs, and a row changed on the way still fails the write.
            const Id idBefore = p->id;
            p->id = (Id)db.lastInsertRowid();
            Rec tmpCreate;
            if (readBack(db, readBackText(*p, pid).c_str(), &tmpCreate) < 0) {
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
            if (db.exec(updateText(*p, pid).c_str()) != 0) {
                return -1;
            }
            Rec tmpUpdate;
            return readBack(db, readBackText(*p, pid).c_str(), &tmpUpdate);
        }
    }

    /* Keyed upsert: an unchanged row is left alone (its mtime too); a
     * changed or new one is written under the key's id. */
    static int upsertSqlite(VurotarnConnection& db, Rec* p) {
        const std::string match = fullMatchText(*p);
        Rec tmpMatch;
        if (db.exec(match.c_str(), R::fillOne, &tmpMatch) != 0) {
            return -1;
        }
        if (tmpMatch.available) {
            p->id = tmpMatch.id;
            return 0;
        }
        p->mtime = time(NULL);
        if (db.exec(upsertText(*p, keyQueryText(*p)).c_str()) != 0) {
            return -1;
        }
        Rec tmpCheck;
        if (readBack(db, match.c_str(), &tmpCheck) < 0) {
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
