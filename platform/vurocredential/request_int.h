/* request_int.h - the state of one request, shared by the request itself
 * (request.cpp) and the manager that runs many at once (manager.cpp). */
#ifndef VUROCRED_REQUEST_INT_H
#define VUROCRED_REQUEST_INT_H

#include <algorithm>

#include "cred_int.h"

namespace VURO {

struct CredRequest::Impl {
    vurocred::CurlEasy curl;
    long credId = 0;
    bool registered = false;
    std::string protocol;
    std::string base;  // "proto://host:port"
    std::string accessToken;
    std::string csrfToken;
    std::string api;
    int version = 0;
    std::string method;
    Json::Value params;
    // from discovery
    std::string path;
    std::string format;
    // the call
    int cryptoMode = CRED_REQ_CRYPTO_NONE;
    int responseTimeout = 0;
    bool sealed = false;
    vurocred::Transfer call;
    std::string response;
    int err = CRED_REQ_ERR_NOT_RUN;
    std::string errText = "not run";

    ~Impl() {
        std::fill(accessToken.begin(), accessToken.end(), '\0');
        std::fill(csrfToken.begin(), csrfToken.end(), '\0');
    }
    int fail(int iErr, const std::string& strWhy);
    int runTransfer(vurocred::Transfer& t);
    int finishTransfer(vurocred::Transfer& t, CURLcode rc);
    int discover();
    /* Builds the call's body and headers and puts them on the handle. */
    int prepareCall(int iSeconds);
    /* Judges the finished call; true when an answer may be read. */
    bool finishCall(CURLcode rc);
    void callLog(bool ok) const;
    std::string url() const;
};

}  // namespace VURO

#endif
