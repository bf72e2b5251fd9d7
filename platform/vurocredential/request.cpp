/* request.cpp - one web API call: discovery of the API's path and format,
 * then the call itself, plain or sealed, on the same handle (and so the same
 * connection). Leans on transport.cpp for every handle's safety options. */
#include <syslog.h>

#include "answer_int.h"
#include "cred_int.h"
#include "request_int.h"
#include "vurocredential_seal.h"
#include "vurojson.h"

namespace VURO {

using vurocred::CredConf;
using vurocred::Transfer;

namespace {

void headerAdd(vurocred::CurlSlist& list, const std::string& line) {
    curl_slist* next = curl_slist_append(list.get(), line.c_str());
    if (next != NULL) {
        list.release();
        list.reset(next);
    }
}

std::string formBody(const CredRequest::Impl& r) {
    return "api=" + vurocred::urlEscape(r.api) + "&version=" + std::to_string(r.version) +
           "&method=" + vurocred::urlEscape(r.method) +
           "&params=" + vurocred::urlEscape(vurojson::toString(r.params));
}

const char* kRefusal = "{\"success\":false,\"error\":{\"code\":119}}";

}  // namespace

int CredRequest::Impl::fail(int iErr, const std::string& strWhy) {
    err = iErr;
    errText = std::string(VUROCredErrorText(iErr));
    if (!strWhy.empty()) {
        errText += ": " + strWhy;
    }
    return iErr;
}

int CredRequest::Impl::runTransfer(Transfer& t) {
    CredConf conf = vurocred::credConfGet();
    if (!vurocred::transferSetup(curl.get(), t, conf)) {
        return fail(CRED_REQ_ERR_INTERNAL, "transfer set-up refused");
    }
    int e = finishTransfer(t, curl_easy_perform(curl.get()));
    // The handle must not point at this transfer once it is gone; the
    // connection stays for the call that follows.
    curl_easy_reset(curl.get());
    return e;
}

int CredRequest::Impl::finishTransfer(Transfer& t, CURLcode rc) {
    int e = vurocred::transferResult(curl.get(), rc, t);
    if (e != CRED_REQ_ERR_NONE) {
        std::string why = t.errbuf[0] ? t.errbuf : curl_easy_strerror(rc);
        if (e == CRED_REQ_ERR_HTTP_STATUS) {
            why = "HTTP " + std::to_string(t.status);
        }
        return fail(e, why);
    }
    return CRED_REQ_ERR_NONE;
}

int CredRequest::Impl::discover() {
    Transfer t;
    t.url = base + VUROCRED_DISCOVER_PATH "?names=" + vurocred::urlEscape(api);
    t.timeoutMs = vurocred::credTimeoutMs(vurocred::credConfGet(), 0);
    if (runTransfer(t) != CRED_REQ_ERR_NONE) {
        return err;
    }
    std::string why;
    int e = vurocred::DiscoveryAnswerRead(t.answer, api, version, path, format, why);
    return e == CRED_REQ_ERR_NONE ? e : fail(e, why);
}

int CredRequest::Impl::prepareCall(int iSeconds) {
    call = Transfer();
    call.url = base + path;
    call.post = true;
    int secs = iSeconds > 0 ? iSeconds : responseTimeout;
    call.timeoutMs = vurocred::credTimeoutMs(vurocred::credConfGet(), secs);
    sealed = cryptoMode == CRED_REQ_CRYPTO_AES;
    response.clear();
    err = CRED_REQ_ERR_NOT_RUN;
    errText = VUROCredErrorText(err);
    if (format == "form") {
        call.body = formBody(*this);
        headerAdd(call.headers, "Content-Type: application/x-www-form-urlencoded");
    } else {
        Json::Value body(Json::objectValue);
        body["api"] = api;
        body["version"] = version;
        body["method"] = method;
        body["params"] = params;
        if (sealed) {
            body[VUROCRED_BODY_ACCESS_TOKEN] = accessToken;
            if (!csrfToken.empty()) {
                body[VUROCRED_BODY_CSRF_TOKEN] = csrfToken;
            }
            Json::Value jSealed;
            if (!vurocred::Seal(accessToken, path, vurojson::toString(body), jSealed)) {
                return fail(CRED_REQ_ERR_SEAL, "cannot seal");
            }
            Json::Value outer(Json::objectValue);
            outer[VUROCRED_SEALED_MEMBER] = jSealed;
            call.body = vurojson::toString(outer);
        } else {
            call.body = vurojson::toString(body);
        }
        headerAdd(call.headers, "Content-Type: application/json");
    }
    if (sealed) {
        headerAdd(call.headers,
                  std::string(VUROCRED_HDR_KEY_ID) + ": " + vurocred::SealKeyId(accessToken));
    } else {
        if (!accessToken.empty()) {
            headerAdd(call.headers, std::string(VUROCRED_HDR_ACCESS_TOKEN) + ": " + accessToken);
        }
        if (!csrfToken.empty()) {
            headerAdd(call.headers, std::string(VUROCRED_HDR_CSRF_TOKEN) + ": " + csrfToken);
        }
    }
    // No "Expect: 100-continue" round trip before larger bodies.
    headerAdd(call.headers, "Expect:");
    if (!vurocred::transferSetup(curl.get(), call, vurocred::credConfGet())) {
        return fail(CRED_REQ_ERR_INTERNAL, "transfer set-up refused");
    }
    return CRED_REQ_ERR_NONE;
}

bool CredRequest::Impl::finishCall(CURLcode rc) {
    if (finishTransfer(call, rc) != CRED_REQ_ERR_NONE) {
        callLog(false);
        return false;
    }
    if (!sealed) {
        response = call.answer;
    } else {
        Json::Value js;
        bool parsed = vurojson::fromString(js, call.answer) && js.isObject();
        if (parsed && js.isMember(VUROCRED_SEALED_MEMBER)) {
            std::string plain;
            if (!vurocred::Unseal(accessToken, path, js[VUROCRED_SEALED_MEMBER], plain)) {
                fail(CRED_REQ_ERR_SEAL, "the answer's seal does not open");
                callLog(false);
                return false;
            }
            response = plain;
        } else if (parsed && js["success"].isBool() && !js["success"].asBool()) {
            response = call.answer;  // the far side's refusal, as it said it
        } else {
            // Anyone on the way could write a plain answer: it may refuse, no more.
            response = kRefusal;
        }
    }
    err = CRED_REQ_ERR_NONE;
    errText = VUROCredErrorText(err);
    callLog(true);
    return true;
}

void CredRequest::Impl::callLog(bool ok) const {
    syslog(LOG_DEBUG, "vurocred: call %s %s v%d %s over %s, %s: %s", url().c_str(), api.c_str(),
           version, method.c_str(), protocol.c_str(), sealed ? "sealed" : "plain",
           ok ? "answered" : errText.c_str());
}

std::string CredRequest::Impl::url() const { return base + path; }

CredRequest::CredRequest(std::unique_ptr<Impl> pImpl) : pImpl_(std::move(pImpl)) {}

CredRequest::~CredRequest() {
    if (pImpl_ && pImpl_->registered) {
        vurocred::credIdRelease(pImpl_->credId);
    }
}

CredRequest* CredRequest::CreateWebAPIRequest(const VURO_CRED* pCred, const VURO_CRED_SESS* pSess,
                                              const std::string& strAPI, int iVersion,
                                              const std::string& strMethod,
                                              const Json::Value& jsParam) {
    if (pCred == NULL || pSess == NULL || pCred->host.empty() || pCred->port == 0 ||
        pCred->protocol.empty() || strAPI.empty() || strMethod.empty() || iVersion < 0) {
        syslog(LOG_DEBUG, "vurocred: request for %s refused: incomplete destination",
               strAPI.c_str());
        return NULL;
    }
    try {
        std::unique_ptr<Impl> impl(new Impl());
        impl->curl.reset(curl_easy_init());
        if (!impl->curl) {
            return NULL;
        }
        impl->credId = pCred->id;
        impl->protocol = pCred->protocol;
        impl->base = vurocred::urlBase(pCred->protocol, pCred->host, pCred->port);
        impl->accessToken = pSess->accessToken;
        impl->csrfToken = pSess->csrfToken;
        impl->api = strAPI;
        impl->version = iVersion;
        impl->method = strMethod;
        impl->params = jsParam;
        int e = impl->discover();
        syslog(LOG_DEBUG, "vurocred: discovery %s%s?names=%s: %s%s%s", impl->base.c_str(),
               VUROCRED_DISCOVER_PATH, strAPI.c_str(),
               e == CRED_REQ_ERR_NONE ? "format " : impl->errText.c_str(),
               e == CRED_REQ_ERR_NONE ? impl->format.c_str() : "",
               e == CRED_REQ_ERR_NONE ? (", path " + impl->path).c_str() : "");
        if (e != CRED_REQ_ERR_NONE) {
            return NULL;
        }
        if (pCred->hasId) {
            vurocred::credIdRegister(impl->credId);
            impl->registered = true;
        }
        return new CredRequest(std::move(impl));
    } catch (...) {
        return NULL;
    }
}

std::string CredRequest::GetRequestFormat() const { return pImpl_->format; }

bool CredRequest::SetEncryptMode(int iMode) {
    bool ok =
        iMode == CRED_REQ_CRYPTO_NONE ||
        (iMode == CRED_REQ_CRYPTO_AES && pImpl_->format == "JSON" && !pImpl_->accessToken.empty());
    syslog(LOG_DEBUG, "vurocred: encrypt mode %d for %s: %s", iMode, pImpl_->url().c_str(),
           ok ? "accepted" : "refused");
    if (ok) {
        pImpl_->cryptoMode = iMode;
    }
    return ok;
}

int CredRequest::GetEncryptMode() const { return pImpl_->cryptoMode; }

bool CredRequest::SetResponseTimeout(int iSeconds) {
    pImpl_->responseTimeout = iSeconds > 0 ? iSeconds : 0;
    return true;
}

int CredRequest::GetResponseTimeout() const { return pImpl_->responseTimeout; }

bool CredRequest::Process(bool bWait, int iSeconds) {
    if (!bWait) {
        pImpl_->fail(CRED_REQ_ERR_BAD_ARG, "no background run; use CredRequestMgr");
        return false;
    }
    if (pImpl_->prepareCall(iSeconds) != CRED_REQ_ERR_NONE) {
        pImpl_->callLog(false);
        return false;
    }
    return pImpl_->finishCall(curl_easy_perform(pImpl_->curl.get()));
}

std::string CredRequest::GetResponse() const { return pImpl_->response; }
int CredRequest::GetError() const { return pImpl_->err; }
std::string CredRequest::GetErrorText() const { return pImpl_->errText; }
std::string CredRequest::GetURL() const { return pImpl_->url(); }
long CredRequest::GetCredId() const { return pImpl_->credId; }
std::string CredRequest::GetAPI() const { return pImpl_->api; }
int CredRequest::GetVersion() const { return pImpl_->version; }
std::string CredRequest::GetMethod() const { return pImpl_->method; }
std::string CredRequest::GetProtocol() const { return pImpl_->protocol; }
bool CredRequest::IsSealed() const { return pImpl_->sealed; }

}  // namespace VURO
