/* bench_remote.h - the bare side of the remote benches: the peer row read
 * with plain SQLite, and an answer collected by curl. What the library's
 * remote calls must at least do, written once for every bench that
 * measures them. */
#ifndef TARN_BENCH_REMOTE_H
#define TARN_BENCH_REMOTE_H

#include <curl/curl.h>
#include <sqlite3.h>

#include <string>

#include "bench_support.h"

namespace tarnbench {

/* The peer's way in: host, token and the port of the column asked. */
struct BareRow {
    std::string host, sid;
    long port = 0;
};

inline BareRow bareRowRead(long id, const char* szPortColumn = "http_port") {
    sqlite3* db = nullptr;
    BareRow row;
    sqlite3_open_v2(dbPath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    std::string q = std::string("SELECT host, sid, ") + szPortColumn + " FROM peer WHERE id=?";
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, q.c_str(), -1, &st, nullptr);
    sqlite3_bind_int64(st, 1, id);
    if (sqlite3_step(st) == SQLITE_ROW) {
        row.host = (const char*)sqlite3_column_text(st, 0);
        row.sid = (const char*)sqlite3_column_text(st, 1);
        row.port = sqlite3_column_int64(st, 2);
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
    return row;
}

/* curl's write callback into a std::string. */
inline size_t bodyAppend(char* p, size_t size, size_t n, void* pUser) {
    static_cast<std::string*>(pUser)->append(p, size * n);
    return size * n;
}

}  // namespace tarnbench

#endif
