/* cred_int.h - the insides of the credential stand-in shared by its sources:
 * the two opaque objects, credential.conf, the transfer set-up every handle
 * gets (safety options, size limit, loopback guard) and the id registry. */
#ifndef VUROCRED_CRED_INT_H
#define VUROCRED_CRED_INT_H

#include <curl/curl.h>

#include <memory>
#include <string>

#include "vurocredential.h"

struct _tag_vuro_cred_ {
    long id = 0;
    bool hasId = false;
    long port = 0;
    std::string host;
    std::string protocol;
};

struct _tag_vuro_cred_sess_ {
    std::string accessToken;
    std::string csrfToken;
};

namespace vurocred {

/* /etc/vuro/credential.conf, read again only when the file changed. */
struct CredConf {
    std::string caFile;  // joined under the root
    long connectTimeoutMs = 5000;
    long timeoutS = 60;
    long timeoutCapMs = 0;
    long maxResponseBytes = 16L * 1024 * 1024;
    std::string relayPortal;
};
CredConf credConfGet();
/* Milliseconds for a time-out of iSeconds (<= 0: the default), capped. */
long credTimeoutMs(const CredConf& conf, int iSeconds);

struct CurlEasyFree {
    void operator()(CURL* p) const { curl_easy_cleanup(p); }
};
struct CurlSlistFree {
    void operator()(curl_slist* p) const { curl_slist_free_all(p); }
};
using CurlEasy = std::unique_ptr<CURL, CurlEasyFree>;
using CurlSlist = std::unique_ptr<curl_slist, CurlSlistFree>;

/* One exchange on a handle: what goes out and what came back. The handle
 * points at it through its callbacks, so it must outlive the transfer. */
struct Transfer {
    std::string url;
    bool post = false;
    std::string body;
    CurlSlist headers;
    long timeoutMs = 0;
    long maxBytes = 0;
    // results
    std::string answer;
    long status = 0;
    bool overflow = false;
    bool refusedDest = false;
    char errbuf[CURL_ERROR_SIZE] = {0};
};

/* Puts every safety option on the handle for this transfer. False when
 * libcurl refuses one (the transfer must not run then). */
bool transferSetup(CURL* curl, Transfer& t, const CredConf& conf);
/* Reads the outcome of a finished transfer into a CRED_REQ_ERR value. */
int transferResult(CURL* curl, CURLcode rc, Transfer& t);

/* "proto://host:port" with an IPv6 literal in brackets. */
std::string urlBase(const std::string& protocol, const std::string& host, long port);
std::string urlEscape(const std::string& text);

/* The credential-id registry: /var/cache/vurocred/<id> holds the pid. */
void credIdRegister(long id);
void credIdRelease(long id);

}  // namespace vurocred

#endif
