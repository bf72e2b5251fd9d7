/* syslog_file.c - preloaded into every program a test runs (the tool, the
 * simulator, the service and its workers): their syslog lines go to the
 * same file of the test's root as the test's own and its children's, so the
 * check for secrets reads what every process logged. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

/* The name the test support reads (kLogFileName of tarn_test.h). */
#define LOG_FILE_NAME "/tarn-test-syslog"

static void appendLine(int priority, const char* fmt, va_list ap);

/* Then libc's own, which still prints to stderr under LOG_PERROR (-v). */
static void passOn(int priority, const char* fmt, va_list ap) {
    static void (*real)(int, const char*, va_list) = NULL;
    if (real == NULL) *(void**)&real = dlsym(RTLD_NEXT, "vsyslog");
    if (real != NULL) real(priority, fmt, ap);
}

static void both(int priority, const char* fmt, va_list ap) {
    va_list copy;
    va_copy(copy, ap);
    appendLine(priority, fmt, copy);
    va_end(copy);
    passOn(priority, fmt, ap);
}

static void appendLine(int priority, const char* fmt, va_list ap) {
    const char* root = getenv("VURO_SYSROOT");
    if (root == NULL || root[0] == '\0') return;
    char path[4096];
    if (snprintf(path, sizeof(path), "%s%s", root, LOG_FILE_NAME) >= (int)sizeof(path)) return;
    char text[8192];
    int used = snprintf(text, sizeof(text), "<%d> ", priority & LOG_PRIMASK);
    vsnprintf(text + used, sizeof(text) - (size_t)used - 1, fmt, ap);
    size_t n = strlen(text);
    for (size_t i = 0; i < n; i++) {
        if (text[i] == '\n') text[i] = ' ';
    }
    while (n > 0 && text[n - 1] == ' ') n--;
    text[n++] = '\n';
    // One write a line, appended: the lines of many processes stay whole.
    int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return;
    ssize_t w = write(fd, text, n);
    (void)w;
    close(fd);
}

void vsyslog(int priority, const char* fmt, va_list ap) { both(priority, fmt, ap); }

void syslog(int priority, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    both(priority, fmt, ap);
    va_end(ap);
}

/* What syslog becomes in a program built with _FORTIFY_SOURCE. */
void __syslog_chk(int priority, int flag, const char* fmt, ...) {
    (void)flag;
    va_list ap;
    va_start(ap, fmt);
    both(priority, fmt, ap);
    va_end(ap);
}

void __vsyslog_chk(int priority, int flag, const char* fmt, va_list ap) {
    (void)flag;
    both(priority, fmt, ap);
}
