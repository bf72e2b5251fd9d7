/* fuzz_root.cpp - the private system root of a fuzz target, and a silent
 * syslog: the library logs every refusal, and a fuzzer makes millions. */
#include "fuzz_root.h"

#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include <sqlite3.h>

#include <filesystem>
#include <fstream>

#include "tarn_root.h"
#include "vurocore.h"
#include "vurotarn_sqlite.h"

namespace fs = std::filesystem;

namespace tarnfuzz {

namespace {

std::string gRoot;

[[noreturn]] void die(const std::string& what) {
    fprintf(stderr, "fuzz root: %s\n", what.c_str());
    abort();
}

void rootRemove() {
    if (!gRoot.empty()) {
        std::error_code ec;
        fs::remove_all(gRoot, ec);
    }
}

/* A process's first SQLite call may be a condition with a long sort key,
 * whose formatting allocates. It runs here before this root touches SQLite,
 * so that a library that left SQLite unset at load fails every target. */
void firstStatementText() {
    PQLIBSZHASH pHash = QLIBCSzHashAlloc(4);
    if (pHash == nullptr) die("hash allocation failed");
    QLIBCSzHashSetValue(&pHash, "sort_by", std::string(100, 'a').c_str());
    char szSQL[4096];
    int rc = VUROTARNSQLConditionCreate(pHash, szSQL, sizeof(szSQL));
    QLIBCSzHashFree(pHash);
    if (rc != 0) die("the first condition text failed");
}

}  // namespace

void rootMake() {
    if (!gRoot.empty()) return;
    firstStatementText();
    char tmpl[] = "/tmp/tarn-fuzz-XXXXXX";
    if (mkdtemp(tmpl) == nullptr) die("mkdtemp failed");
    gRoot = tmpl;
    atexit(rootRemove);
    setenv("VURO_SYSROOT", gRoot.c_str(), 1);
    // As "tarn init" lays it out; no helper tools: the targets run none.
    std::string err;
    if (!tarnroot::rootLayOut(std::string(TARN_SOURCE_DIR) + "/data", "", &err)) die(err);
}

std::string rootFile(const std::string& sysPath) { return gRoot + sysPath; }

void rootSql(const std::string& text) {
    sqlite3* db = nullptr;
    char* err = nullptr;
    if (sqlite3_open(rootFile(VUROTARN_SQLITE_DB_PATH).c_str(), &db) != SQLITE_OK ||
        sqlite3_exec(db, text.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
        die(std::string("sql failed: ") + (err ? err : sqlite3_errmsg(db)));
    }
    sqlite3_close(db);
}

void rootFileWrite(const std::string& sysPath, const std::string& data) {
    static time_t stamp = 1000000000;
    std::string path = rootFile(sysPath);
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << data;
    }
    struct timespec times[2] = {{++stamp, 0}, {stamp, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
}

std::vector<std::string> inputSplit(const uint8_t* data, size_t size, size_t n) {
    std::vector<std::string> parts;
    const char* p = (const char*)data;
    const char* end = p + size;
    while (parts.size() + 1 < n) {
        const char* nul = (const char*)memchr(p, '\0', (size_t)(end - p));
        if (nul == nullptr) break;
        parts.emplace_back(p, (size_t)(nul - p));
        p = nul + 1;
    }
    parts.emplace_back(p, (size_t)(end - p));
    parts.resize(n);
    return parts;
}

void stmtRunWith(sqlite3_stmt* stmt, const std::string& text) {
    sqlite3_bind_text(stmt, 1, text.data(), (int)text.size(), SQLITE_TRANSIENT);
    sqlite3_step(stmt);
    sqlite3_reset(stmt);
}

}  // namespace tarnfuzz

extern "C" {

void vsyslog(int, const char*, va_list) {}
void syslog(int, const char*, ...) {}
void __vsyslog_chk(int, int, const char*, va_list) {}
void __syslog_chk(int, int, const char*, ...) {}

}  // extern "C"
