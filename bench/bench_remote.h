/* bench_remote.h - the bare side of the remote benchmarks: a peer's row
 * read with one statement, an answer collected by curl, and the discovery
 * and sealed call a library exchange makes, spoken with libcurl directly.
 * What the library's remote calls must at least do, written once. */
#ifndef TARN_BENCH_REMOTE_H
#define TARN_BENCH_REMOTE_H

#include <curl/curl.h>
#include <sqlite3.h>

#include <string>

#include "bench_support.h"
#include "vurocredential_seal.h"
#include "vurojson.h"

namespace tarnbench {

/* The peer fields an exchange needs: host, token and the port of the
 * column asked. */
struct BareRow {
    std::string host, sid;
    long port = 0;
};

inline BareRow bareRowRead(long id, const char* szPortColumn = "http_port") {
    sqlite3* db = nullptr;
    BareRow row;
    sqlite3_open_v2(dbPath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    // Other processes may be writing: wait for them as the library does.
    sqlite3_busy_timeout(db, 60000);
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

/* Discovery and one sealed call over HTTP on one handle, as the library's
 * HTTP way makes them. */
inline bool bareExchange(const BareRow& row, const char* szApi, const char* szMethod,
                         const Json::Value& jParams) {
    CURL* h = curl_easy_init();
    if (h == nullptr) return false;
    std::string base = "http://" + row.host + ":" + std::to_string(row.port);
    std::string body;
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, bodyAppend);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(h, CURLOPT_URL,
                     (base + VUROCRED_DISCOVER_PATH "?names=" + std::string(szApi)).c_str());
    bool ok = curl_easy_perform(h) == CURLE_OK;
    Json::Value jDisc;
    ok = ok && vurojson::fromString(jDisc, body);
    std::string path = ok ? jDisc["data"][szApi]["path"].asString() : "";
    ok = ok && !path.empty();
    Json::Value jReq;
    jReq["api"] = szApi;
    jReq["version"] = 1;
    jReq["method"] = szMethod;
    jReq["params"] = jParams;
    jReq[VUROCRED_BODY_ACCESS_TOKEN] = row.sid;
    Json::Value jSealed;
    ok = ok && vurocred::Seal(row.sid, path, vurojson::toString(jReq), jSealed);
    Json::Value jBody;
    jBody[VUROCRED_SEALED_MEMBER] = jSealed;
    std::string text = vurojson::toString(jBody);
    struct curl_slist* headers = nullptr;
    headers = curl_slist_append(
        headers, (std::string(VUROCRED_HDR_KEY_ID) + ": " + vurocred::SealKeyId(row.sid)).c_str());
    headers = curl_slist_append(headers, "Content-Type: application/json");
    body.clear();
    curl_easy_setopt(h, CURLOPT_URL, (base + path).c_str());
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(h, CURLOPT_POSTFIELDS, text.c_str());
    ok = ok && curl_easy_perform(h) == CURLE_OK;
    Json::Value jAnswer, jResp;
    std::string answer;
    ok = ok && vurojson::fromString(jAnswer, body) &&
         vurocred::Unseal(row.sid, path, jAnswer[VUROCRED_SEALED_MEMBER], answer) &&
         vurojson::fromString(jResp, answer) && jResp.isMember("success");
    curl_slist_free_all(headers);
    curl_easy_cleanup(h);
    return ok;
}

}  // namespace tarnbench

#endif
