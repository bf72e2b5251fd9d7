/* vurotarn_share_privilege.cpp - a user's rights on the shared folder that
 * holds a path, asked of the platform's share calls. */
#include <errno.h>

#include <memory>
#include <string>

#include <vurofs.h>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_common.h"
#include "vurotarn_macro_util.h"

/* Masks over the share's privilege word: read-only or read-write reads,
 * read-write writes. */
static const int kSharePrivRead = 3;
static const int kSharePrivWrite = 2;

bool VUROTARNSharePriv(const std::string& strUsername, const std::string& strPath, int iSharePriv) {
    char szShareName[4096] = {0};
    char szSharePath[4096] = {0};

    int iRv = VUROShareNamePathGet(strPath.c_str(), szShareName, sizeof(szShareName), szSharePath,
                                   sizeof(szSharePath));
    if (0 > iRv || '\0' == szShareName[0]) {
        VUROTARN_TRACE_LOCATED_COND(0 > iRv || '\0' == szShareName[0]);
        return false;
    }

    PVURO_SHARE pRawShare = NULL;
    if (0 > VUROShareGet(szShareName, &pRawShare) || NULL == pRawShare) {
        VUROTARN_TRACE_LOCATED("VUROShareGet failed, share=%s", szShareName);
        return false;
    }
    std::unique_ptr<VURO_SHARE, decltype(&VUROShareFree)> pShare(pRawShare, &VUROShareFree);

    if (pShare->status & SHARE_STATUS_DISABLE) {
        // A disabled share is an answer, not a failure: traced only when the
        // cause is a refused access.
        if (EACCES == errno) {
            VUROTARN_TRACE_COND(pShare->status & SHARE_STATUS_DISABLE);
        }
        return false;
    }

    int iTmp = VUROTARN_PRIVILEGED(VUROShareUserPrivGet(strUsername.c_str(), pShare.get()));

    return 0 != (iTmp & iSharePriv);
}

bool VUROTARNSharePrivRead(const std::string& strUsername, const std::string& strPath) {
    return VUROTARNSharePriv(strUsername, strPath, kSharePrivRead);
}

bool VUROTARNSharePrivWrite(const std::string& strUsername, const std::string& strPath) {
    return VUROTARNSharePriv(strUsername, strPath, kSharePrivWrite);
}
