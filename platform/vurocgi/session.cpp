/* session.cpp - the session store: one JSON object a line in a root-only
 * file. Writers go through the core's locked file update, so a reader that
 * takes no lock always sees a whole file and two writers at once lose
 * nothing. */
#include "vurocgi.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <functional>
#include <sstream>
#include <string>

#include "vurofs.h"
#include "vurojson.h"

namespace {

char* textDup(const char* sz) { return sz != NULL ? strdup(sz) : NULL; }

void textReplace(char** pp, const char* sz) {
    free(*pp);
    *pp = textDup(sz);
}

bool sessionIdDraw(std::string* pId) {
    unsigned char raw[32];
    size_t got = 0;
    while (got < sizeof(raw)) {
        ssize_t n = getrandom(raw + got, sizeof(raw) - got, 0);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        got += (size_t)n;
    }
    static const char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string id;
    unsigned bits = 0, acc = 0;
    for (unsigned char c : raw) {
        acc = (acc << 8) | c;
        bits += 8;
        while (bits >= 6) {
            bits -= 6;
            id += kAlphabet[(acc >> bits) & 0x3F];
        }
    }
    if (bits > 0) id += kAlphabet[(acc << (6 - bits)) & 0x3F];
    *pId = id;
    return true;
}

/* 32 random bytes, base64url without padding: 43 characters. An id that
 * would start with '-' or '_' is drawn again: one that starts like an
 * option cannot be passed to a command line tool as a plain word. */
bool sessionIdMake(std::string* pId) {
    do {
        if (!sessionIdDraw(pId)) return false;
    } while ((*pId)[0] == '-' || (*pId)[0] == '_');
    return true;
}

/* Rewrites the store under the writers' lock: edit gets the current text
 * (empty when there is no file yet) and gives the new one. The directory
 * is made root-only on the way. */
bool storeRewrite(const std::function<bool(const std::string&, std::string*)>& edit) {
    std::string parent = VUROSysPathStr("/var/run");
    if (parent.empty() ||
        VUROFSMkdirP(parent.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0755) != 0) {
        return false;
    }
    std::string dir = VUROSysPathStr(VUROCGI_SESSION_DIR);
    if (dir.empty()) return false;
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) return false;
    std::string path = VUROSysPathStr(VUROCGI_SESSION_FILE, VURO_SYSPATH_NOFOLLOW);
    if (path.empty()) return false;
    return VUROFSFileUpdate(path, 0600, [&](std::string& text, bool) {
               std::string next;
               if (!edit(text, &next)) return false;
               text.swap(next);
               return true;
           }) == 0;
}

const char* indexField(CGI_INDEX index) {
    switch (index) {
        case INDEX_ID:
            return "id";
        case INDEX_APP:
            return "app";
        case INDEX_USER:
            return "user";
        case INDEX_EXTRA:
            return "extra";
    }
    return NULL;
}

}  // namespace

BOOL VuroCgiInit(const char* szQuery, VuroCgi* pCgi) {
    (void)szQuery;
    if (pCgi == NULL) return FALSE;
    memset(pCgi, 0, sizeof(*pCgi));
    snprintf(pCgi->szSessFile, sizeof(pCgi->szSessFile), "%s", VUROCGI_SESSION_FILE);
    pCgi->iDuration = 3600;
    return TRUE;
}

void VuroCgiFree(VuroCgi* pCgi) {
    if (pCgi == NULL) return;
    free(pCgi->szApp);
    free(pCgi->szExtra);
    free(pCgi->szWebapi);
    pCgi->szApp = pCgi->szExtra = pCgi->szWebapi = NULL;
}

BOOL VuroCgiSetOption(VuroCgi* pCgi, CGI_OPTION opt, ...) {
    if (pCgi == NULL) return FALSE;
    va_list ap;
    va_start(ap, opt);
    BOOL ok = TRUE;
    switch (opt) {
        case CGI_OPT_SKIP_CHECK_IP:
            pCgi->iSkipCheckIp = va_arg(ap, int);
            break;
        case CGI_OPT_DURATION:
            pCgi->iDuration = va_arg(ap, int);
            break;
        case CGI_OPT_APP:
        case CGI_OPT_EXTRA:
        case CGI_OPT_WEBAPI: {
            const char* sz = va_arg(ap, const char*);
            if (sz == NULL) {
                ok = FALSE;
                break;
            }
            textReplace(opt == CGI_OPT_APP     ? &pCgi->szApp
                        : opt == CGI_OPT_EXTRA ? &pCgi->szExtra
                                               : &pCgi->szWebapi,
                        sz);
            break;
        }
        default:
            ok = FALSE;
    }
    va_end(ap);
    return ok;
}

int VuroCgiLoginNoAuth(VuroCgi* pCgi, char* szToken, int cbToken, const CGI_LOGIN_PARAMS* pParams) {
    std::string id;
    if (pCgi == NULL || szToken == NULL || !sessionIdMake(&id)) return LOGIN_FAILED;
    if ((int)id.size() + 1 > cbToken) {
        errno = ENOSPC;
        return LOGIN_FAILED;
    }
    time_t now = time(NULL);
    Json::Value js(Json::objectValue);
    js["app"] = pCgi->szApp != NULL ? pCgi->szApp : "";
    js["user"] = pParams != NULL && pParams->szUserName != NULL ? pParams->szUserName : "";
    js["created"] = (Json::Int64)now;
    // 0: the session never expires.
    js["expires"] = pCgi->iDuration < 0 ? (Json::Int64)0 : (Json::Int64)(now + pCgi->iDuration);
    js["skip_check_ip"] = pCgi->iSkipCheckIp != 0;
    if (pCgi->szExtra != NULL) js["extra"] = pCgi->szExtra;
    if (pCgi->szWebapi != NULL) js["webapi"] = pCgi->szWebapi;
    // The id goes first, so that a search by it finds the line early.
    std::string rest = vurojson::toString(js);
    std::string line = "{\"id\":\"" + id + "\"," + rest.substr(1) + "\n";
    if (!storeRewrite([&](const std::string& cur, std::string* pNext) {
            *pNext = cur;
            if (!pNext->empty() && pNext->back() != '\n') *pNext += '\n';
            *pNext += line;
            return true;
        })) {
        return LOGIN_FAILED;
    }
    memcpy(szToken, id.c_str(), id.size() + 1);
    return LOGIN_SUCCESS;
}

BOOL VuroCgiRemoveSessionByIndex(VuroCgi* pCgi, CGI_INDEX index, const char* szText) {
    const char* szField = indexField(index);
    if (pCgi == NULL || szField == NULL || szText == NULL) return FALSE;
    int removed = 0;
    bool ok = storeRewrite([&](const std::string& cur, std::string* pNext) {
        std::istringstream in(cur);
        std::string line;
        while (std::getline(in, line)) {
            Json::Value js;
            if (vurojson::fromString(js, line) && js.isObject() && js[szField].isString() &&
                js[szField].asString() == szText) {
                removed++;
                continue;
            }
            *pNext += line + "\n";
        }
        // Nothing to remove: the file stays as it was.
        return removed > 0;
    });
    return ok && removed > 0 ? TRUE : FALSE;
}
