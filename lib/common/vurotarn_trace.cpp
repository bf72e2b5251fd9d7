/* vurotarn_trace.cpp - what the macros of vurotarn_macro_util.h expand to:
 * the argument check's message, the trace shapes with their terminal twin,
 * and the privilege bracket. */
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

#include <string>

#include "vurotarn_error.h"
#include "vurotarn_macro_util.h"

void VUROTARNArgCheckFail(const char* file, int line, const char* szCond, int value) {
    syslog(LOG_ERR, "%s:%d Invaild Argument (%s)=[%d]\n", file, line, szCond, value);
    QLIBCErrSetEx(ERR_BAD_PARAMETERS, file, line);
}

static std::string traceFormat(int savedErrno, const char* fmt, va_list ap) {
    char szBuf[4096];
    errno = savedErrno;  // a %m in fmt speaks of the caller's errno
    vsnprintf(szBuf, sizeof(szBuf), fmt, ap);
    return szBuf;
}

static void traceWrite(const char* file, int line, int savedErrno, const std::string& msg) {
    unsigned euid = (unsigned)geteuid();
    int pid = (int)getpid();
    errno = savedErrno;
    if (savedErrno != 0) {
        syslog(LOG_ERR, "%s:%d (euid=%u)(pid=%d)(%m)%s", file, line, euid, pid, msg.c_str());
    } else {
        syslog(LOG_ERR, "%s:%d (euid=%u)(pid=%d)%s", file, line, euid, pid, msg.c_str());
    }
    if (giTerminalDebug) {
        printf("(%s:%d)(euid=%u)(pid=%d)%s", file, line, euid, pid, msg.c_str());
        fflush(stdout);
    }
    errno = savedErrno;
}

void VUROTARNTracePlain(const char* file, int line, const char* fmt, ...) {
    int savedErrno = errno;
    va_list ap;
    va_start(ap, fmt);
    std::string msg = traceFormat(savedErrno, fmt, ap);
    va_end(ap);
    traceWrite(file, line, savedErrno, msg);
}

void VUROTARNTraceCond(const char* file, int line, const char* szCond) {
    if (errno == EACCES) {
        VUROTARNTracePlain(file, line, "!!Failed [%s], err=%m\n", szCond);
    } else {
        VUROTARNTracePlain(file, line, "Failed [%s], err=%m\n", szCond);
    }
}

static void traceLocatedMessage(const char* file, int line, int savedErrno,
                                const std::string& msg) {
    if (savedErrno == EACCES) {
        VUROTARNTracePlain(file, line, "!!Fail EACESS, err=%m\n");
    }
    errno = savedErrno;
    char szLoc[1024];
    snprintf(szLoc, sizeof(szLoc), "(%s:%d)(%s)", file, line, strerror(savedErrno));
    traceWrite(file, line, savedErrno, szLoc + msg + "\n\n");
}

void VUROTARNTraceLocated(const char* file, int line, const char* fmt, ...) {
    int savedErrno = errno;
    va_list ap;
    va_start(ap, fmt);
    std::string msg = traceFormat(savedErrno, fmt, ap);
    va_end(ap);
    traceLocatedMessage(file, line, savedErrno, msg);
}

void VUROTARNTraceLocatedCond(const char* file, int line, const char* szCond) {
    int savedErrno = errno;
    char szMsg[2048];
    snprintf(szMsg, sizeof(szMsg), "%sFailed [%s], err=%s", savedErrno == EACCES ? "!!" : "",
             szCond, strerror(savedErrno));
    traceLocatedMessage(file, line, savedErrno, szMsg);
}

void VUROTARNTraceAction(const char* file, int line, const char* szAction, const char* szParam) {
    // The prefix names this helper; the use's own place follows it.
    VUROTARNTracePlain(__FILE__, __LINE__, "(%s:%d)euid=%u, pid=%d, action=%s, param=%s\n", file,
                       line, (unsigned)geteuid(), (int)getpid(), szAction ? szAction : "",
                       szParam ? szParam : "");
}

/* ---- privilege bracket ---- */

static void privFailed(const char* file, int line, const char* szName, int id, const char* szStep) {
    char szErr[1024];
    memset(szErr, 0, sizeof(szErr));
    const char* szText = strerror_r(errno, szErr, sizeof(szErr));
    syslog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: set%s(%d, %d, %d) [%s]", file, line, szName, -1, id,
           -1, szText);
    errno = EPERM;
    syslog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s", file, line, szStep);
    errno = EPERM;
}

static void privNote(const char* file, int line, const char* szName, int id) {
    syslog(LOG_AUTH | LOG_INFO, "%s:%d WARNING: set%s(%d, %d, %d)", file, line, szName, -1, id, -1);
}

void VUROTARNPrivEnter(VUROTARN_PRIV* pSaved, const char* file, int line) {
    pSaved->uid = geteuid();
    pSaved->gid = getegid();
    if (pSaved->gid != 0) {
        if (setresgid((gid_t)-1, 0, (gid_t)-1) != 0) {
            privFailed(file, line, "resgid", 0, "ENTERCriticalSection");
            return;
        }
        privNote(file, line, "resgid", 0);
    }
    if (pSaved->uid != 0) {
        if (setresuid((uid_t)-1, 0, (uid_t)-1) != 0) {
            privFailed(file, line, "resuid", 0, "ENTERCriticalSection");
            return;
        }
        privNote(file, line, "resuid", 0);
    }
    errno = 0;
}

void VUROTARNPrivLeave(const VUROTARN_PRIV* pSaved, const char* file, int line) {
    uid_t euid = geteuid();
    gid_t egid = getegid();
    if (pSaved->uid != euid) {
        // Root first: only then may the group be changed.
        if (setresuid((uid_t)-1, 0, (uid_t)-1) != 0) {
            privFailed(file, line, "resuid", 0, "LEAVECriticalSection");
            return;
        }
        privNote(file, line, "resuid", 0);
    }
    if (pSaved->gid != egid) {
        if (setresgid((gid_t)-1, pSaved->gid, (gid_t)-1) != 0) {
            privFailed(file, line, "resgid", (int)pSaved->gid, "LEAVECriticalSection");
            return;
        }
        if (pSaved->gid == 0) {
            privNote(file, line, "resgid", 0);
        }
    }
    if (pSaved->uid != euid) {
        if (setresuid((uid_t)-1, pSaved->uid, (uid_t)-1) != 0) {
            privFailed(file, line, "resuid", (int)pSaved->uid, "LEAVECriticalSection");
            return;
        }
        if (pSaved->uid == 0) {
            privNote(file, line, "resuid", 0);
        }
    }
    errno = 0;
}
