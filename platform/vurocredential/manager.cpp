/* manager.cpp - many requests at once on one multi handle in the calling
 * thread: each request's own handle is added, so its discovery connection
 * is the one the call goes over, and a hung server holds up no other. */
#include <syslog.h>

#include "request_int.h"

namespace VURO {

namespace {

struct CurlMultiFree {
    void operator()(CURLM* p) const { curl_multi_cleanup(p); }
};
using CurlMulti = std::unique_ptr<CURLM, CurlMultiFree>;

}  // namespace

CredRequestMgr::CredRequestMgr() : iError_(CRED_REQ_ERR_NONE) {}

CredRequestMgr::~CredRequestMgr() {
    for (CredRequest* p : vReq_) {
        delete p;
    }
}

bool CredRequestMgr::AddCredRequest(CredRequest* pReq) {
    if (pReq == NULL) {
        return false;
    }
    try {
        vReq_.push_back(pReq);
    } catch (...) {
        return false;
    }
    return true;
}

bool CredRequestMgr::Run() {
    iError_ = CRED_REQ_ERR_NONE;
    if (vReq_.empty()) {
        return true;
    }
    CurlMulti multi(curl_multi_init());
    if (!multi) {
        iError_ = CRED_REQ_ERR_INTERNAL;
        return false;
    }
    std::vector<CredRequest*> running;
    for (CredRequest* p : vReq_) {
        CredRequest::Impl& r = *p->pImpl_;
        if (r.prepareCall(0) != CRED_REQ_ERR_NONE) {
            r.callLog(false);
            continue;
        }
        if (curl_multi_add_handle(multi.get(), r.curl.get()) != CURLM_OK) {
            r.fail(CRED_REQ_ERR_INTERNAL, "cannot add to the run");
            continue;
        }
        running.push_back(p);
    }
    int still = 0;
    do {
        if (curl_multi_perform(multi.get(), &still) != CURLM_OK) {
            iError_ = CRED_REQ_ERR_INTERNAL;
            break;
        }
        CURLMsg* msg;
        int left = 0;
        while ((msg = curl_multi_info_read(multi.get(), &left)) != NULL) {
            if (msg->msg != CURLMSG_DONE) {
                continue;
            }
            for (CredRequest* p : running) {
                if (p->pImpl_->curl.get() == msg->easy_handle) {
                    p->pImpl_->finishCall(msg->data.result);
                    break;
                }
            }
        }
        if (still > 0 && curl_multi_poll(multi.get(), NULL, 0, 1000, NULL) != CURLM_OK) {
            iError_ = CRED_REQ_ERR_INTERNAL;
            break;
        }
    } while (still > 0);
    for (CredRequest* p : running) {
        curl_multi_remove_handle(multi.get(), p->pImpl_->curl.get());
    }
    syslog(LOG_DEBUG, "vurocred: run of %zu requests: %s", vReq_.size(),
           iError_ == CRED_REQ_ERR_NONE ? "done" : VUROCredErrorText(iError_));
    return iError_ == CRED_REQ_ERR_NONE;
}

size_t CredRequestMgr::Size() const { return vReq_.size(); }

std::string CredRequestMgr::GetResponse(size_t index) const {
    return index < vReq_.size() ? vReq_[index]->GetResponse() : std::string();
}

CredRequest* CredRequestMgr::GetRequest(size_t index) const {
    return index < vReq_.size() ? vReq_[index] : NULL;
}

int CredRequestMgr::GetError() const { return iError_; }

}  // namespace VURO
