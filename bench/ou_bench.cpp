/* ou_bench.cpp - OU Create, Get and List beside the bare statements each one
 * must issue: open, pragma and statement, read-back where there is one,
 * close. */
#include <unistd.h>

#include "bench_support.h"
#include "vurotarn.h"

using namespace tarnbench;

namespace {

int fillNothing(void*, int, char**, char**) { return 0; }

/* What a caller of Get ends up with, done by hand. */
int fillOuByHand(void* p, int n, char** v, char** c) {
    VURO_TARN_OU* ou = (VURO_TARN_OU*)p;
    for (int i = 0; i < n; i++) {
        if (!v[i]) continue;
        if (!strcmp(c[i], "id"))
            ou->id = strtol(v[i], nullptr, 10);
        else if (!strcmp(c[i], "name"))
            ou->str_name = v[i];
        else if (!strcmp(c[i], "desc"))
            ou->str_desc = v[i];
        else if (!strcmp(c[i], "linked_gpo"))
            ou->str_linked_gpo = v[i];
        else if (!strcmp(c[i], "extra_info"))
            ou->str_extra_info = v[i];
        else if (!strcmp(c[i], "mtime"))
            ou->mtime = strtol(v[i], nullptr, 10);
        else if (!strcmp(c[i], "parent_id"))
            ou->parent_id = strtol(v[i], nullptr, 10);
        else if (!strcmp(c[i], "block_inheritance"))
            ou->block_inheritance = strtol(v[i], nullptr, 10);
    }
    return 0;
}

long seedOu() {
    VURO_TARN_OU ou;
    ou.str_name = "Bench";
    ou.str_linked_gpo = "[{\"id\":1,\"enforce\":0}]";
    VUROTARNOuCreate(&ou);
    return ou.id;
}

void BM_OuCreate(benchmark::State& state) {
    for (auto _ : state) {
        VURO_TARN_OU ou;
        ou.str_name = "Created";
        ou.str_desc = "by the benchmark";
        if (VUROTARNOuCreate(&ou) != 0) state.SkipWithError("create failed");
    }
}
BENCHMARK(BM_OuCreate)->Unit(benchmark::kMicrosecond);

void BM_BareCreate(benchmark::State& state) {
    long pid = getpid();
    for (auto _ : state) {
        sqlite3* db = nullptr;
        sqlite3_open(dbPath().c_str(), &db);
        long now = time(nullptr);
        char* ins = sqlite3_mprintf(
            "PRAGMA foreign_keys=ON;INSERT INTO ou ( mtime, name, desc, parent_id, "
            "block_inheritance, linked_gpo, extra_info, pid) VALUES ( %ld, '%q', '%q', %ld, %ld, "
            "'%q', '%q', %ld);",
            now, "Created", "by the benchmark", 0L, 0L, "", "", pid);
        char* chk = sqlite3_mprintf(
            "PRAGMA foreign_keys=ON;SELECT id FROM ou WHERE mtime=%ld AND name='%q' AND desc='%q' "
            "AND parent_id=%ld AND block_inheritance=%ld AND linked_gpo='%q' AND extra_info='%q' "
            "AND pid=%ld;",
            now, "Created", "by the benchmark", 0L, 0L, "", "", pid);
        sqlite3_exec(db, ins, nullptr, nullptr, nullptr);
        sqlite3_exec(db, chk, fillNothing, nullptr, nullptr);
        sqlite3_free(ins);
        sqlite3_free(chk);
        sqlite3_close(db);
    }
}
BENCHMARK(BM_BareCreate)->Unit(benchmark::kMicrosecond);

void BM_OuGet(benchmark::State& state) {
    static long id = seedOu();
    for (auto _ : state) {
        VURO_TARN_OU ou;
        if (VUROTARNOuGet(id, &ou) != 0) state.SkipWithError("get failed");
        benchmark::DoNotOptimize(ou.str_name.data());
    }
}
BENCHMARK(BM_OuGet)->Unit(benchmark::kMicrosecond);

void BM_BareGet(benchmark::State& state) {
    static long id = seedOu();
    for (auto _ : state) {
        VURO_TARN_OU ou;
        sqlite3* db = nullptr;
        sqlite3_open(dbPath().c_str(), &db);
        char sql[4096];
        sqlite3_snprintf(sizeof(sql), sql, "PRAGMA foreign_keys=ON;SELECT * FROM ou WHERE id=%ld ;",
                         id);
        sqlite3_exec(db, sql, fillOuByHand, &ou, nullptr);
        sqlite3_close(db);
        benchmark::DoNotOptimize(ou.str_name.data());
    }
}
BENCHMARK(BM_BareGet)->Unit(benchmark::kMicrosecond);

void seedRows(int n) {
    static bool done = false;
    if (done) return;
    done = true;
    sqlite3* db = setupBegin(dbPath());
    for (int i = 0; i < n; i++) {
        execOrDie(db, "INSERT INTO ou(name, parent_id) VALUES('row " + std::to_string(i) + "', 0)");
    }
    setupEnd(db);
}

void BM_OuList(benchmark::State& state) {
    seedRows(200);
    for (auto _ : state) {
        VURO_TARN_OU_LIST list = nullptr;
        VUROTARNOuListAll(&list, nullptr, nullptr);
        benchmark::DoNotOptimize(list);
        VUROTARNOuListFree(&list);
    }
}
BENCHMARK(BM_OuList)->Unit(benchmark::kMicrosecond);

int fillListByHand(void* p, int n, char** v, char** c) {
    auto* head = (VURO_TARN_OU**)p;
    VURO_TARN_OU* ou = new VURO_TARN_OU();
    fillOuByHand(ou, n, v, c);
    ou->pNext = *head;
    *head = ou;
    return 0;
}

void BM_BareList(benchmark::State& state) {
    seedRows(200);
    for (auto _ : state) {
        VURO_TARN_OU* head = nullptr;
        sqlite3* db = nullptr;
        sqlite3_open(dbPath().c_str(), &db);
        sqlite3_exec(db, "PRAGMA foreign_keys=ON;SELECT * FROM ou;", fillListByHand, &head,
                     nullptr);
        sqlite3_close(db);
        benchmark::DoNotOptimize(head);
        while (head) {
            VURO_TARN_OU* next = head->pNext;
            delete head;
            head = next;
        }
    }
}
BENCHMARK(BM_BareList)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv,
                         {{"BM_OuCreate", "BM_BareCreate", 1.3},
                          {"BM_OuGet", "BM_BareGet", 1.5},
                          {"BM_OuList", "BM_BareList", 1.5}});
}
