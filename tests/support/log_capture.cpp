/* log_capture.cpp - syslog as the tests see it. These definitions in the
 * test executable win over libc's for every call made by libtarn, so a test
 * can assert on the exact lines the library writes. */
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "tarn_test.h"

namespace tarntest {

std::vector<LogLine>& logLines() {
    static std::vector<LogLine> lines;
    return lines;
}

void logClear() { logLines().clear(); }

bool logHas(const std::string& piece) { return logCount(piece) > 0; }

int logCount(const std::string& piece) {
    int n = 0;
    for (const LogLine& l : logLines()) {
        n += l.text.find(piece) != std::string::npos;
    }
    return n;
}

std::string logDump() {
    std::string out;
    for (const LogLine& l : logLines()) {
        out += "<" + std::to_string(l.priority) + "> " + l.text;
        if (out.empty() || out.back() != '\n') out += "\n";
    }
    return out;
}

}  // namespace tarntest

static void captureLine(int priority, const char* fmt, va_list ap) {
    char buf[8192];
    vsnprintf(buf, sizeof(buf), fmt, ap);  // glibc formats %m from errno
    tarntest::logLines().push_back({priority, buf});
    if (getenv("TARN_TEST_ECHO_LOG")) {
        fprintf(stderr, "syslog<%d> %s\n", priority, buf);
    }
}

extern "C" {

void vsyslog(int priority, const char* fmt, va_list ap) {
    int saved = errno;
    captureLine(priority, fmt, ap);
    errno = saved;
}

void syslog(int priority, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    vsyslog(priority, fmt, ap);
    va_end(ap);
}

void __vsyslog_chk(int priority, int, const char* fmt, va_list ap) { vsyslog(priority, fmt, ap); }

void __syslog_chk(int priority, int, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    vsyslog(priority, fmt, ap);
    va_end(ap);
}

}  // extern "C"
