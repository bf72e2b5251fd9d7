/* interpose.cpp - seams for the SQL step: usleep can be made instant (the
 * waits between retries are long) and sqlite3_exec runs are counted, or
 * kept with their file. Both are the real calls underneath. */
#include <dlfcn.h>
#include <errno.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <sqlite3.h>

#include <string>

#include "tarn_test.h"

namespace {
bool gFast = false;
int gSleeps = 0;
std::string gPiece;
int gExecs = 0;
bool gCapture = false;
std::vector<tarntest::ExecRun> gCaptured;
}  // namespace

namespace tarntest {
void sleepSetFast(bool fast) { gFast = fast; }
int sleepCount() { return gSleeps; }
void sleepReset() { gSleeps = 0; }
void execCountReset(const std::string& piece) {
    gPiece = piece;
    gExecs = 0;
}
int execCount() { return gExecs; }
void execCapture(bool on) {
    if (on) {
        gCaptured.clear();
    }
    gCapture = on;
}
const std::vector<ExecRun>& execCaptured() { return gCaptured; }
}  // namespace tarntest

extern "C" {

int usleep(useconds_t usec) {
    gSleeps++;
    if (gFast) {
        return 0;
    }
    struct timespec ts = {(time_t)(usec / 1000000), (long)(usec % 1000000) * 1000};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
    return 0;
}

int sqlite3_exec(sqlite3* db, const char* sql, int (*cb)(void*, int, char**, char**), void* arg,
                 char** errmsg) {
    using ExecFn =
        int (*)(sqlite3*, const char*, int (*)(void*, int, char**, char**), void*, char**);
    static ExecFn real = (ExecFn)dlsym(RTLD_NEXT, "sqlite3_exec");
    if (sql != nullptr && strstr(sql, gPiece.c_str()) != nullptr) {
        gExecs++;
    }
    if (gCapture && sql != nullptr) {
        const char* file = sqlite3_db_filename(db, "main");
        gCaptured.push_back({file != nullptr ? file : "", sql});
    }
    return real(db, sql, cb, arg, errmsg);
}

}  // extern "C"
