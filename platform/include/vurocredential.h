/* vurocredential.h - the credential stand-in: one destination (VURO_CRED) and
 * its session tokens (VURO_CRED_SESS), web API requests to a managed server
 * over HTTP or HTTPS, the request manager, the credential-id registry and
 * the relay lookup. Free of transport and crypto headers on purpose. */
#ifndef VUROCREDENTIAL_H
#define VUROCREDENTIAL_H

#include <stddef.h>

#include "vurocore.h"

#ifdef __cplusplus
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>
extern "C" {
#endif

/* ---- destinations and sessions: opaque, filled only through setters ----
 * Every accessor takes the object first and returns 0 or -1. Setters refuse
 * NULL, an empty host, a port outside 1..65535 and a protocol other than
 * "http" or "https"; a refused value leaves the object as it was. A text
 * getter gives -1 when the value is unset or the buffer too small. */
typedef struct _tag_vuro_cred_ VURO_CRED;
typedef struct _tag_vuro_cred_sess_ VURO_CRED_SESS;

/* NULL when out of memory. Free with the matching call; NULL is ignored. */
VURO_EXPORT VURO_CRED* VUROCredAlloc(void);
VURO_EXPORT void VUROCredFree(VURO_CRED* pCred);
VURO_EXPORT VURO_CRED_SESS* VUROCredSessAlloc(void);
VURO_EXPORT void VUROCredSessFree(VURO_CRED_SESS* pSess);

VURO_EXPORT int VUROCredItemSetID(VURO_CRED* pCred, long id);
VURO_EXPORT int VUROCredItemSetPort(VURO_CRED* pCred, long port);
VURO_EXPORT int VUROCredItemSetHost(VURO_CRED* pCred, const char* szHost);
VURO_EXPORT int VUROCredItemSetProtocol(VURO_CRED* pCred, const char* szProtocol);
VURO_EXPORT int VUROCredItemGetID(const VURO_CRED* pCred, long* pId);
VURO_EXPORT int VUROCredItemGetPort(const VURO_CRED* pCred, long* pPort);
VURO_EXPORT int VUROCredItemGetHost(const VURO_CRED* pCred, char* szBuf, size_t cbBuf);
VURO_EXPORT int VUROCredItemGetProtocol(const VURO_CRED* pCred, char* szBuf, size_t cbBuf);

/* Tokens: NULL is refused; an empty text clears the token. */
VURO_EXPORT int VUROCredSessItemSetAccessToken(VURO_CRED_SESS* pSess, const char* szToken);
VURO_EXPORT int VUROCredSessItemSetCsrfToken(VURO_CRED_SESS* pSess, const char* szToken);
VURO_EXPORT int VUROCredSessItemGetAccessToken(const VURO_CRED_SESS* pSess, char* szBuf,
                                               size_t cbBuf);
VURO_EXPORT int VUROCredSessItemGetCsrfToken(const VURO_CRED_SESS* pSess, char* szBuf,
                                             size_t cbBuf);

/* ---- encryption modes of a request ---- */
typedef enum {
    CRED_REQ_CRYPTO_NONE = 0,
    CRED_REQ_CRYPTO_RSA = 1,
    CRED_REQ_CRYPTO_AES = 2,
} CRED_REQ_CRYPTO;

/* ---- why a request failed: GetError() ---- */
typedef enum {
    CRED_REQ_ERR_NONE = 0,
    CRED_REQ_ERR_BAD_ARG = 1,      /* missing destination, token or argument */
    CRED_REQ_ERR_REFUSED_DEST = 2, /* the loopback guard refused the destination */
    CRED_REQ_ERR_CONNECT = 3,      /* no connection (refused, unreachable, closed) */
    CRED_REQ_ERR_TLS = 4,          /* handshake or certificate check failed */
    CRED_REQ_ERR_TIMEOUT = 5,      /* connect or answer time-out */
    CRED_REQ_ERR_HTTP_STATUS = 6,  /* an answer other than HTTP 200 */
    CRED_REQ_ERR_TOO_LARGE = 7,    /* the answer passed max_response_bytes */
    CRED_REQ_ERR_BAD_ANSWER = 8,   /* discovery answer is no JSON or no success */
    CRED_REQ_ERR_NO_API = 9,       /* the far side does not offer the API */
    CRED_REQ_ERR_VERSION = 10,     /* the version is outside the offered range */
    CRED_REQ_ERR_SEAL = 11,        /* sealing failed or a sealed answer did not open */
    CRED_REQ_ERR_NOT_RUN = 12,     /* Process was not called or did not finish */
    CRED_REQ_ERR_RELAY = 13,       /* no relay service or a bad relay answer */
    CRED_REQ_ERR_INTERNAL = 14,    /* out of memory, transport set-up failed */
} CRED_REQ_ERR;

/* Short name of an error code, such as "destination refused". */
VURO_EXPORT const char* VUROCredErrorText(int err);

#ifdef __cplusplus
}

namespace VURO {

/* One web API call to one destination. CreateWebAPIRequest copies the
 * destination and tokens (the caller may free its objects at once), holds
 * the id in the registry while it lives, and asks the far side how the API
 * is called (discovery). Delete it when done, unless a CredRequestMgr took
 * it over. */
class VURO_EXPORT CredRequest {
public:
    /* NULL when the destination is incomplete, the far side cannot be
     * reached (TLS included), its discovery answer is no JSON, lacks the API
     * or offers another version range. */
    static CredRequest* CreateWebAPIRequest(const VURO_CRED* pCred, const VURO_CRED_SESS* pSess,
                                            const std::string& strAPI, int iVersion,
                                            const std::string& strMethod,
                                            const Json::Value& jsParam);
    ~CredRequest();
    CredRequest(const CredRequest&) = delete;
    CredRequest& operator=(const CredRequest&) = delete;

    /* "JSON" or "form", as the far side declared the API. */
    std::string GetRequestFormat() const;
    /* CRED_REQ_CRYPTO_NONE always; CRED_REQ_CRYPTO_AES for a "JSON" API with
     * an access token; RSA never. False leaves the mode as it was. */
    bool SetEncryptMode(int iMode);
    int GetEncryptMode() const;
    /* Seconds the answer may take; 0 or less: credential.conf's timeout_s. */
    bool SetResponseTimeout(int iSeconds);
    int GetResponseTimeout() const;

    /* Sends the call and reads the answer; true when an answer arrived (a
     * refusal by the far side included). bWait false is refused: without a
     * thread, background runs go through CredRequestMgr. iSeconds 0: the
     * request's time-out, else the default; time-outs are capped by
     * credential.conf's timeout_cap_ms when set. */
    bool Process(bool bWait, int iSeconds);
    /* The answer text, opened when it came sealed; empty before Process. */
    std::string GetResponse() const;
    /* A CRED_REQ_ERR value; GetErrorText() names the cause in words. */
    int GetError() const;
    std::string GetErrorText() const;
    /* The address of the call, never a token: "https://host:port/path". */
    std::string GetURL() const;

    long GetCredId() const;
    std::string GetAPI() const;
    int GetVersion() const;
    std::string GetMethod() const;
    std::string GetProtocol() const;
    /* Whether the last Process sent the body sealed. */
    bool IsSealed() const;

    struct Impl;

private:
    explicit CredRequest(std::unique_ptr<Impl> pImpl);
    std::unique_ptr<Impl> pImpl_;
    friend class CredRequestMgr;
};

/* Runs many requests at once on one transfer loop, no thread. */
class VURO_EXPORT CredRequestMgr {
public:
    CredRequestMgr();
    ~CredRequestMgr(); /* deletes every request it holds */
    CredRequestMgr(const CredRequestMgr&) = delete;
    CredRequestMgr& operator=(const CredRequestMgr&) = delete;

    /* Takes the request over; false (and the caller keeps it) for NULL. */
    bool AddCredRequest(CredRequest* pReq);
    /* Performs every added request; true when the loop ran, also when it
     * was empty or some requests failed (see each GetError). */
    bool Run();
    size_t Size() const;
    /* The answer of the request at index, "" when it has none. */
    std::string GetResponse(size_t index) const;
    CredRequest* GetRequest(size_t index) const;
    /* A CRED_REQ_ERR value of the last Run. */
    int GetError() const;

private:
    std::vector<CredRequest*> vReq_;
    int iError_;
};

class VURO_EXPORT CredRequestUtil {
public:
    /* True while a live request of some process holds the id: this
     * process's own, or /var/cache/vurocred/<id> naming a live pid. An
     * entry of a dead process does not count and is removed. */
    static bool IsCredIdCached(long id);
};

class VURO_EXPORT CredRequestRelayPath {
public:
    /* Asks the relay service of credential.conf's relay_portal how the
     * server with relay id strId is reached now: js becomes {host, protocol,
     * port}. False when no relay service is set, it cannot be reached or
     * does not know the id; js then holds {"error": "<cause>"} or the
     * service's answer. pReserved must be NULL. */
    static bool GetConnInfoPortal(const std::string& strId, Json::Value& js, void* pReserved);
};

}  // namespace VURO
#endif

#endif
