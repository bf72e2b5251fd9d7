/* vurotarn_holder_int.h - the holders the library releases its resources
 * with: a string hash, a string list and a record list owned by a scope, one
 * call inside the privilege bracket, and the one form of "a step failed, say
 * which" that the walks use. Tests use the same holders. */
#ifndef VUROTARN_HOLDER_INT_H
#define VUROTARN_HOLDER_INT_H

#include <errno.h>

#include <initializer_list>
#include <string>

#include "common/vurotarn_list_int.h"
#include "vurocore.h"
#include "vurotarn_macro_util.h"

/* True when call gave a negative result; the call is traced as the
 * condition that failed ("0 > call"). */
#define VUROTARN_STEP_FAILED(call) \
    (0 > (call) && (VUROTARNTraceLocatedCond(__FILE__, __LINE__, "0 > " #call), true))

/* One call inside the privilege bracket (VUROTARN_PRIV_SCOPE for more than
 * one); its result, and errno as the call left it, so that a trace after it
 * still names the cause. */
#define VUROTARN_PRIVILEGED(call) vurotarnPrivileged(__FILE__, __LINE__, [&] { return (call); })

template <class Fn>
auto vurotarnPrivileged(const char* file, int line, Fn fn) -> decltype(fn()) {
    int err = 0;
    auto result = [&] {
        VUROTARNPrivScope scope(file, line);
        auto r = fn();
        err = errno;
        return r;
    }();
    errno = err;
    return result;
}

/* A string hash owned by a scope. set() chains; a hash that could not be
 * made, or a value that could not be stored, leaves the holder false. */
class VurotarnHash {
public:
    explicit VurotarnHash(int size = 16) : p_(QLIBCSzHashAlloc(size)), ok_(p_ != nullptr) {}
    ~VurotarnHash() { QLIBCSzHashFree(p_); }
    VurotarnHash(const VurotarnHash&) = delete;
    VurotarnHash& operator=(const VurotarnHash&) = delete;
    PQLIBSZHASH& get() { return p_; }
    VurotarnHash& set(const char* szKey, const char* szValue) {
        ok_ = ok_ && QLIBCSzHashSetValue(&p_, szKey, szValue) >= 0;
        return *this;
    }
    VurotarnHash& set(const char* szKey, const std::string& value) {
        return set(szKey, value.c_str());
    }
    explicit operator bool() const { return ok_; }

private:
    PQLIBSZHASH p_;
    bool ok_;
};

/* A string list owned by a scope; push() chains like the hash's set(). */
class VurotarnSzList {
public:
    explicit VurotarnSzList(int size = 16) : p_(QLIBCSzListAlloc(size)), ok_(p_ != nullptr) {}
    VurotarnSzList(std::initializer_list<const char*> items) : VurotarnSzList() {
        for (const char* sz : items) push(sz);
    }
    ~VurotarnSzList() { QLIBCSzListFree(p_); }
    VurotarnSzList(const VurotarnSzList&) = delete;
    VurotarnSzList& operator=(const VurotarnSzList&) = delete;
    PQLIBSZLIST& get() { return p_; }
    PQLIBSZLIST get() const { return p_; }
    VurotarnSzList& push(const char* sz) {
        ok_ = ok_ && QLIBCSzListPush(&p_, sz) >= 0;
        return *this;
    }
    VurotarnSzList& push(const std::string& text) { return push(text.c_str()); }
    explicit operator bool() const { return ok_; }

private:
    PQLIBSZLIST p_;
    bool ok_;
};

/* A record list of one family that a function collects before handing it
 * over; freed with its records unless handed on. */
template <class Rec>
struct VurotarnList {
    Rec* p = nullptr;
    VurotarnList() = default;
    VurotarnList(const VurotarnList&) = delete;
    VurotarnList& operator=(const VurotarnList&) = delete;
    ~VurotarnList() { vurotarnListDestroy(&p); }
    /* Appends to the caller's list when wanted; frees otherwise. */
    void handTo(Rec** ppHead) {
        if (ppHead != nullptr) {
            vurotarnListAppend(ppHead, p);
            p = nullptr;
        }
    }
};

#endif
