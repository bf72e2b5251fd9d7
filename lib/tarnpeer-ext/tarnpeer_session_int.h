/* tarnpeer_session_int.h - the session store's handle as a holder, shared
 * by the files that make, remove and read managed servers' sessions. */
#ifndef TARNPEER_SESSION_INT_H
#define TARNPEER_SESSION_INT_H

#include <vurocgi.h>

#include <string>

#include <json/json.h>

/* VuroCgiInit on construction, VuroCgiFree on every way out. */
class VurotarnCgiHandle {
public:
    VurotarnCgiHandle() : ok_(VuroCgiInit("", &cgi_) != FALSE) {}
    ~VurotarnCgiHandle() {
        if (ok_) VuroCgiFree(&cgi_);
    }
    VurotarnCgiHandle(const VurotarnCgiHandle&) = delete;
    VurotarnCgiHandle& operator=(const VurotarnCgiHandle&) = delete;
    bool ok() const { return ok_; }
    VuroCgi* get() { return &cgi_; }

private:
    VuroCgi cgi_;
    bool ok_;
};

/* Reads the session strSID: false unless it is a managed server's; its
 * serial into *pstrSerial, its API list (null when it has none) into
 * jsWebAPI. */
bool GetWebAPIBySID(const std::string& strSID, Json::Value& jsWebAPI, std::string* pstrSerial);

#endif
