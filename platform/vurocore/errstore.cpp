/* errstore.cpp - the process-wide error store: the last code set and the
 * source file and line that set it. The file pointer is kept, not copied,
 * as callers pass __FILE__. */
#include "vurocore.h"

#include <mutex>

namespace {
std::mutex gMutex;
VUROERR gCode = 0;
const char* gFile = nullptr;
int gLine = 0;
}  // namespace

void QLIBCErrSetEx(VUROERR code, const char* file, int line) {
    std::lock_guard<std::mutex> lock(gMutex);
    gCode = code;
    gFile = file;
    gLine = line;
}

VUROERR QLIBCErrGet(void) {
    std::lock_guard<std::mutex> lock(gMutex);
    return gCode;
}

const char* QLIBCErrorGetFile(void) {
    std::lock_guard<std::mutex> lock(gMutex);
    return gFile;
}

int QLIBCErrorGetLine(void) {
    std::lock_guard<std::mutex> lock(gMutex);
    return gLine;
}
