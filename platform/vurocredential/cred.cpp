/* cred.cpp - the destination and session objects of the credential stand-in
 * and their accessors: every value checked on the way in, copied on the way
 * out, so a refused setter leaves the object as it was. */
#include <string.h>

#include <algorithm>
#include <new>

#include "cred_int.h"

namespace {

/* A text member copied out whole, or -1 when it is unset or does not fit. */
template <class Obj>
int textItemOut(const Obj* p, std::string Obj::*member, char* szBuf, size_t cbBuf) {
    if (p == NULL || (p->*member).empty()) {
        return -1;
    }
    const std::string& value = p->*member;
    if (szBuf == NULL || cbBuf == 0 || value.size() + 1 > cbBuf) {
        return -1;
    }
    memcpy(szBuf, value.c_str(), value.size() + 1);
    return 0;
}

/* A token kept as given, or refused when a line break could split the
 * header it goes into; a refused or failed copy keeps the old one. */
int tokenItemSet(VURO_CRED_SESS* pSess, const char* szToken, std::string VURO_CRED_SESS::*member) {
    if (pSess == NULL || szToken == NULL || strpbrk(szToken, "\r\n") != NULL) {
        return -1;
    }
    try {
        pSess->*member = szToken;
    } catch (...) {
        return -1;
    }
    return 0;
}

bool hostAcceptable(const char* szHost) {
    // Nothing that could change the meaning of the URL built from it.
    return szHost != NULL && szHost[0] != '\0' && strpbrk(szHost, "/?#@ \t\r\n\\") == NULL &&
           strlen(szHost) < 256;
}

}  // namespace

extern "C" {

VURO_CRED* VUROCredAlloc(void) { return new (std::nothrow) _tag_vuro_cred_(); }

void VUROCredFree(VURO_CRED* pCred) { delete pCred; }

VURO_CRED_SESS* VUROCredSessAlloc(void) { return new (std::nothrow) _tag_vuro_cred_sess_(); }

void VUROCredSessFree(VURO_CRED_SESS* pSess) {
    if (pSess != NULL) {
        // Tokens do not linger in freed memory.
        std::fill(pSess->accessToken.begin(), pSess->accessToken.end(), '\0');
        std::fill(pSess->csrfToken.begin(), pSess->csrfToken.end(), '\0');
    }
    delete pSess;
}

int VUROCredItemSetID(VURO_CRED* pCred, long id) {
    if (pCred == NULL) {
        return -1;
    }
    pCred->id = id;
    pCred->hasId = true;
    return 0;
}

int VUROCredItemSetPort(VURO_CRED* pCred, long port) {
    if (pCred == NULL || port < 1 || port > 65535) {
        return -1;
    }
    pCred->port = port;
    return 0;
}

int VUROCredItemSetHost(VURO_CRED* pCred, const char* szHost) {
    if (pCred == NULL || !hostAcceptable(szHost)) {
        return -1;
    }
    try {
        pCred->host = szHost;
    } catch (...) {
        return -1;
    }
    return 0;
}

int VUROCredItemSetProtocol(VURO_CRED* pCred, const char* szProtocol) {
    if (pCred == NULL || szProtocol == NULL ||
        (strcmp(szProtocol, "http") != 0 && strcmp(szProtocol, "https") != 0)) {
        return -1;
    }
    pCred->protocol = szProtocol;
    return 0;
}

int VUROCredItemGetID(const VURO_CRED* pCred, long* pId) {
    if (pCred == NULL || pId == NULL || !pCred->hasId) {
        return -1;
    }
    *pId = pCred->id;
    return 0;
}

int VUROCredItemGetPort(const VURO_CRED* pCred, long* pPort) {
    if (pCred == NULL || pPort == NULL || pCred->port == 0) {
        return -1;
    }
    *pPort = pCred->port;
    return 0;
}

int VUROCredItemGetHost(const VURO_CRED* pCred, char* szBuf, size_t cbBuf) {
    return textItemOut(pCred, &VURO_CRED::host, szBuf, cbBuf);
}

int VUROCredItemGetProtocol(const VURO_CRED* pCred, char* szBuf, size_t cbBuf) {
    return textItemOut(pCred, &VURO_CRED::protocol, szBuf, cbBuf);
}

int VUROCredSessItemSetAccessToken(VURO_CRED_SESS* pSess, const char* szToken) {
    return tokenItemSet(pSess, szToken, &VURO_CRED_SESS::accessToken);
}

int VUROCredSessItemSetCsrfToken(VURO_CRED_SESS* pSess, const char* szToken) {
    return tokenItemSet(pSess, szToken, &VURO_CRED_SESS::csrfToken);
}

int VUROCredSessItemGetAccessToken(const VURO_CRED_SESS* pSess, char* szBuf, size_t cbBuf) {
    return textItemOut(pSess, &VURO_CRED_SESS::accessToken, szBuf, cbBuf);
}

int VUROCredSessItemGetCsrfToken(const VURO_CRED_SESS* pSess, char* szBuf, size_t cbBuf) {
    return textItemOut(pSess, &VURO_CRED_SESS::csrfToken, szBuf, cbBuf);
}

const char* VUROCredErrorText(int err) {
    switch (err) {
        case CRED_REQ_ERR_NONE:
            return "no error";
        case CRED_REQ_ERR_BAD_ARG:
            return "bad argument";
        case CRED_REQ_ERR_REFUSED_DEST:
            return "destination refused";
        case CRED_REQ_ERR_CONNECT:
            return "cannot connect";
        case CRED_REQ_ERR_TLS:
            return "TLS failed";
        case CRED_REQ_ERR_TIMEOUT:
            return "timed out";
        case CRED_REQ_ERR_HTTP_STATUS:
            return "HTTP status not 200";
        case CRED_REQ_ERR_TOO_LARGE:
            return "answer too large";
        case CRED_REQ_ERR_BAD_ANSWER:
            return "answer is no valid JSON";
        case CRED_REQ_ERR_NO_API:
            return "API not offered";
        case CRED_REQ_ERR_VERSION:
            return "version not offered";
        case CRED_REQ_ERR_SEAL:
            return "seal failed";
        case CRED_REQ_ERR_NOT_RUN:
            return "not run";
        case CRED_REQ_ERR_RELAY:
            return "relay lookup failed";
        default:
            return "internal error";
    }
}

}  // extern "C"
