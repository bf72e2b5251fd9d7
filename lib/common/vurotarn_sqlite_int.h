/* vurotarn_sqlite_int.h - the database steps every storage function uses:
 * open, the SQL step with its retry on a locked database, close. One
 * implementation serves both databases; each caller names its file. */
#ifndef VUROTARN_SQLITE_INT_H
#define VUROTARN_SQLITE_INT_H

#include <sqlite3.h>

#include <string>

#include "vurotarn_sqlite.h"

typedef int (*VUROTARN_SQL_CALLBACK)(void*, int, char**, char**);

/* Runs szSQL (with the foreign-key pragma in front) on *pDb, opening it on
 * szDbPath first when it is NULL. "database is locked" is retried up to 101
 * runs with a random sleep between; any other error is traced at once.
 * 0 or -1. */
int vurotarnSqlStep(sqlite3** pDb, const char* szDbPath, const char* szOpenText, const char* szSQL,
                    VUROTARN_SQL_CALLBACK callback, void* arg);

/* The retry alone, on an open handle: "database is locked" is run again up
 * to 101 times in all, with the random sleep between; other errors and the
 * last failure are traced with the statement. 0 or -1. */
int vurotarnSqlExecRetry(sqlite3* db, const char* szSQL, VUROTARN_SQL_CALLBACK callback, void* arg);

/* A text cut at its buffer's end may still be valid SQL of another meaning
 * (an IN list one id short, a literal closed early at a doubled quote).
 * After a cut the text is left with an odd number of single quotes, so that
 * SQLite refuses it. */
void vurotarnSqlSpoil(char* szBuf);
/* Appends text behind what szBuf holds; when it does not fit, what fits is
 * kept, the buffer is spoilt and the result is false. */
bool vurotarnSqlAppendCut(char* szBuf, size_t cbBuf, const std::string& text);

/* A column name as a quoted identifier ("name", or "table"."name"), made
 * with %w: whatever the name holds stays one name. */
std::string vurotarnSqlIdentifier(const char* szName);
/* "ASC" or "DESC" for asc or desc in any case; NULL for anything else,
 * which a caller refuses. */
const char* vurotarnSqlSortDirection(const char* szDirection);

/* ' "column" LIKE '%word%' ESCAPE '\' ': the word found anywhere in the
 * column, its "%", "_" and "\" taken as themselves (through
 * VUROTARNSQLEscapeLikeValue, which also doubles its quotes). */
std::string vurotarnSqlLikeContains(const char* szColumn, const char* szWord);

/* One per-call connection: opened (inside the bracket, unchecked) when
 * constructed, closed (inside the bracket) when it goes out of scope. The
 * event log's connections are these too. */
class VurotarnConnection {
public:
    explicit VurotarnConnection(const char* szDbPath = VUROTARN_SQLITE_DB_PATH,
                                const char* szOpenText = nullptr);
    /* Takes over a handle opened elsewhere (NULL: none could be opened);
     * exec() then works on it alone. */
    explicit VurotarnConnection(sqlite3* db);
    ~VurotarnConnection();
    VurotarnConnection(const VurotarnConnection&) = delete;
    VurotarnConnection& operator=(const VurotarnConnection&) = delete;

    int exec(const char* szSQL, VUROTARN_SQL_CALLBACK callback = nullptr, void* arg = nullptr);
    /* The id of the row the last INSERT on this connection made (0 when
     * none): a create reads back its own row by it. */
    sqlite3* get() const { return vurotarn_sqlite_db_; }
    sqlite3_int64 lastInsertRowid() const {
        return vurotarn_sqlite_db_ != nullptr ? sqlite3_last_insert_rowid(vurotarn_sqlite_db_) : 0;
    }

private:
    sqlite3* vurotarn_sqlite_db_ = nullptr;
    const char* szDbPath_;
    const char* szOpenText_;
};

/* RAII holder for text from sqlite3_mprintf. */
class VurotarnSqlText {
public:
    explicit VurotarnSqlText(char* sz) : sz_(sz) {}
    ~VurotarnSqlText() { sqlite3_free(sz_); }
    VurotarnSqlText(const VurotarnSqlText&) = delete;
    VurotarnSqlText& operator=(const VurotarnSqlText&) = delete;
    const char* get() const { return sz_; }
    explicit operator bool() const { return sz_ != nullptr; }

private:
    char* sz_;
};

/* Seeds rand() once per process. */
void VUROTARNRandInit();

#endif
