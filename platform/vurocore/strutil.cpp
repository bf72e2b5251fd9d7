/* strutil.cpp - the small string helpers of the platform core. */
#include "vurocore.h"

#include <string.h>

#include <string>

namespace {

// Calls fn(begin, length) for each non-empty token; stops when fn says so.
template <typename Fn>
void forEachToken(const char* str, const char* delim, Fn fn) {
    const char* p = str;
    while (*p != '\0') {
        p += strspn(p, delim);
        if (*p == '\0') {
            return;
        }
        size_t len = strcspn(p, delim);
        if (!fn(p, len)) {
            return;
        }
        p += len;
    }
}

}  // namespace

int QLIBCStrTok(const char* szStr, const char* szDelim, PQLIBSZLIST* ppList) {
    if (szStr == NULL || szDelim == NULL || ppList == NULL || *ppList == NULL) {
        return -1;
    }
    int count = 0;
    bool failed = false;
    forEachToken(szStr, szDelim, [&](const char* p, size_t len) {
        if (QLIBCSzListPush(ppList, std::string(p, len).c_str()) < 0) {
            failed = true;
            return false;
        }
        ++count;
        return true;
    });
    return failed ? -1 : count;
}

int QLIBCStrTokIndex(const char* szStr, const char* szDelim, int index, char* szBuf, int cbBuf) {
    if (szStr == NULL || szDelim == NULL || szBuf == NULL || cbBuf <= 0 || index < 0) {
        return -1;
    }
    int seen = 0;
    int result = -1;
    forEachToken(szStr, szDelim, [&](const char* p, size_t len) {
        if (seen++ != index) {
            return true;
        }
        if (len > static_cast<size_t>(cbBuf - 1)) {
            len = static_cast<size_t>(cbBuf - 1);
        }
        memcpy(szBuf, p, len);
        szBuf[len] = '\0';
        result = static_cast<int>(len);
        return false;
    });
    return result;
}

char* QLIBCStrTrim(char* szStr, const char* szChars) {
    if (szStr == NULL || szChars == NULL) {
        return szStr;
    }
    size_t lead = strspn(szStr, szChars);
    size_t len = strlen(szStr + lead);
    while (len > 0 && strchr(szChars, szStr[lead + len - 1]) != NULL) {
        --len;
    }
    memmove(szStr, szStr + lead, len);
    szStr[len] = '\0';
    return szStr;
}

int QLIBCStrReplace(char* szStr, const char* szFrom, const char* szTo, char* szOut, int cbSize) {
    if (szStr == NULL || szFrom == NULL || szFrom[0] == '\0' || szTo == NULL || cbSize <= 0) {
        return -1;
    }
    std::string result;
    int count = 0;
    size_t fromLen = strlen(szFrom);
    const char* p = szStr;
    for (const char* hit; (hit = strstr(p, szFrom)) != NULL; p = hit + fromLen) {
        result.append(p, static_cast<size_t>(hit - p));
        result.append(szTo);
        ++count;
    }
    result.append(p);
    if (result.size() > static_cast<size_t>(cbSize - 1)) {
        result.resize(static_cast<size_t>(cbSize - 1));
    }
    char* out = szOut != NULL ? szOut : szStr;
    memcpy(out, result.c_str(), result.size() + 1);
    return count;
}
