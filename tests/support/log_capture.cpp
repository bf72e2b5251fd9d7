/* log_capture.cpp - syslog as the tests see it. These definitions in the
 * test executable win over libc's for every call made by libtarn, so a test
 * can assert on the exact lines the library writes. Each line also goes to
 * a file in the test's root, where the lines of forked children are seen. */
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

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

std::string logFilePath() {
    const char* root = getenv("VURO_SYSROOT");
    return root != nullptr && root[0] != '\0' ? std::string(root) + kLogFileName : std::string();
}

std::vector<LogLine> logFileLines() {
    std::vector<LogLine> out;
    std::string path = logFilePath();
    if (path.empty()) return out;
    std::string text = readFile(path);
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(at, end - at);
        at = end + 1;
        int priority = 0;
        int used = 0;
        if (sscanf(line.c_str(), "<%d> %n", &priority, &used) >= 1 && used > 0) {
            out.push_back({priority, line.substr((size_t)used)});
        }
    }
    return out;
}

int logFileCount(const std::string& piece) {
    int n = 0;
    for (const LogLine& l : logFileLines()) n += l.text.find(piece) != std::string::npos;
    return n;
}

}  // namespace tarntest

/* One line a write, appended: the writes of many processes stay whole. The
 * file is open to every user, for children that dropped their privileges. */
static void appendToRootFile(int priority, const char* text) {
    std::string path = tarntest::logFilePath();
    if (path.empty()) return;
    std::string line = "<" + std::to_string(priority) + "> ";
    for (const char* p = text; *p != '\0'; p++) line += *p == '\n' ? ' ' : *p;
    while (!line.empty() && line.back() == ' ') line.pop_back();
    line += '\n';
    // Kept open while the root stays the same: tests that log a great many
    // rows pay one open.
    static std::string openPath;
    static int fd = -1;
    if (fd < 0 || path != openPath) {
        if (fd >= 0) close(fd);
        fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        if (fd < 0) return;
        fchmod(fd, 0666);
        openPath = path;
    }
    ssize_t n = write(fd, line.data(), line.size());
    (void)n;
}

static void captureLine(int priority, const char* fmt, va_list ap) {
    char buf[8192];
    vsnprintf(buf, sizeof(buf), fmt, ap);  // glibc formats %m from errno
    tarntest::logLines().push_back({priority, buf});
    appendToRootFile(priority, buf);
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
