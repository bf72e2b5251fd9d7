/* vurotarn_macro_util.h - the argument check, the trace shapes and the
 * privilege bracket. Each macro carries the file and line of its use; the
 * formatting lives once, in lib/common/vurotarn_trace.cpp. */
#ifndef VUROTARN_MACRO_UTIL_H
#define VUROTARN_MACRO_UTIL_H

#include <stdint.h>
#include <sys/types.h>
#include <syslog.h>

#include <type_traits>

#include "vurotarn_type.h"

#define VUROTARN_STR_(x) #x
#define VUROTARN_XSTR(x) VUROTARN_STR_(x)

/* The value printed beside a failed check: the right-hand operand as int. */
template <class T>
inline int VUROTARNArgInt(const T& v) {
    if constexpr (std::is_pointer_v<T>) {
        return (int)(intptr_t)v;
    } else if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
        return (int)v;
    } else {
        return 0;
    }
}

VUROTARN_API void VUROTARNArgCheckFail(const char* file, int line, const char* szCond, int value);
VUROTARN_API void VUROTARNTracePlain(const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
VUROTARN_API void VUROTARNTraceCond(const char* file, int line, const char* szCond);
VUROTARN_API void VUROTARNTraceLocated(const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
VUROTARN_API void VUROTARNTraceLocatedCond(const char* file, int line, const char* szCond);
VUROTARN_API void VUROTARNTraceAction(const char* file, int line, const char* szAction,
                                      const char* szParam);

/* Argument check. The text is the condition after macro expansion, so NULL
 * reads "__null" as the compiler spells it. */
#define VUROTARN_ARG_CHECK(lhs, op, rhs, failure)                               \
    do {                                                                        \
        if (!((lhs)op(rhs))) {                                                  \
            VUROTARNArgCheckFail(__FILE__, __LINE__, VUROTARN_XSTR(lhs op rhs), \
                                 VUROTARNArgInt(rhs));                          \
            failure;                                                            \
        }                                                                       \
    } while (0)

/* The same check with the condition's text as written, unexpanded. */
#define VUROTARN_ARG_CHECK_RAW(lhs, op, rhs, failure)                                             \
    do {                                                                                          \
        if (!((lhs)op(rhs))) {                                                                    \
            VUROTARNArgCheckFail(__FILE__, __LINE__, #lhs " " #op " " #rhs, VUROTARNArgInt(rhs)); \
            failure;                                                                              \
        }                                                                                         \
    } while (0)

/* The same check with a text made by the caller (shared code that speaks
 * for several families, whose argument names differ). */
#define VUROTARN_ARG_CHECK_TEXT(cond, szText, value, failure)            \
    do {                                                                 \
        if (!(cond)) {                                                   \
            VUROTARNArgCheckFail(__FILE__, __LINE__, (szText), (value)); \
            failure;                                                     \
        }                                                                \
    } while (0)

/* Plain operation message at LOG_ERR with the "file:line " prefix. */
#define VUROTARN_LOG(fmt, ...) syslog(LOG_ERR, "%s:%d " fmt, __FILE__, __LINE__, ##__VA_ARGS__)

/* The platform error store's state, for the "[0x%04X %s:%d]" suffix. */
#define VUROTARN_ERRSTORE_FMT "[0x%04X %s:%d]"
#define VUROTARN_ERRSTORE_ARGS \
    (unsigned)QLIBCErrGet(), (QLIBCErrorGetFile() ? QLIBCErrorGetFile() : ""), QLIBCErrorGetLine()

/* Traces: to syslog, and to stdout while giTerminalDebug is set. */
#define VUROTARN_TRACE(fmt, ...) VUROTARNTracePlain(__FILE__, __LINE__, fmt, ##__VA_ARGS__)
#define VUROTARN_TRACE_COND(cond) VUROTARNTraceCond(__FILE__, __LINE__, #cond)
#define VUROTARN_TRACE_LOCATED(fmt, ...) \
    VUROTARNTraceLocated(__FILE__, __LINE__, fmt, ##__VA_ARGS__)
#define VUROTARN_TRACE_LOCATED_COND(cond) VUROTARNTraceLocatedCond(__FILE__, __LINE__, #cond)
#define VUROTARN_TRACE_ACTION(action, param) \
    VUROTARNTraceAction(__FILE__, __LINE__, (action), (param))

/* Evaluates cond once; when it is false writes the condition trace. Gives
 * the truth of cond. */
#define VUROTARN_CHECK(cond) ((cond) ? true : (VUROTARNTraceCond(__FILE__, __LINE__, #cond), false))

/* Privilege bracket: raise the effective ids to root around a piece of work
 * and put them back. Real and saved ids never change. */
typedef struct _tag_vurotarn_priv_ {
    uid_t uid;
    gid_t gid;
} VUROTARN_PRIV;

VUROTARN_API void VUROTARNPrivEnter(VUROTARN_PRIV* pSaved, const char* file, int line);
VUROTARN_API void VUROTARNPrivLeave(const VUROTARN_PRIV* pSaved, const char* file, int line);

#define ENTERCriticalSection(priv) VUROTARNPrivEnter(&(priv), __FILE__, __LINE__)
#define LEAVECriticalSection(priv) VUROTARNPrivLeave(&(priv), __FILE__, __LINE__)

/* The bracket as a scope, for C++ code: raised from here to the closing
 * brace. */
class VUROTARNPrivScope {
public:
    VUROTARNPrivScope(const char* file, int line) : file_(file), line_(line) {
        VUROTARNPrivEnter(&saved_, file_, line_);
    }
    ~VUROTARNPrivScope() { VUROTARNPrivLeave(&saved_, file_, line_); }
    VUROTARNPrivScope(const VUROTARNPrivScope&) = delete;
    VUROTARNPrivScope& operator=(const VUROTARNPrivScope&) = delete;

private:
    VUROTARN_PRIV saved_;
    const char* file_;
    int line_;
};
#define VUROTARN_PRIV_SCOPE() VUROTARNPrivScope vurotarn_priv_scope_(__FILE__, __LINE__)

#endif
