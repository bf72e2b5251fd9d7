/* vurotarn_tmpdir.cpp - temporary directories on a data volume: the
 * volume's @tmp, and the package directory kept behind the fixed link
 * /tmp/tarnpkg.tmp. The link lies in a folder every user may write, so it is
 * believed only when it leads to a root-owned store on a listed volume.
 * Leans on the platform's volume, mkdir and tree removal calls. */
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <vurofs.h>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_common.h"
#include "vurotarn_macro_util.h"

/* Margin kept free on the volume beyond what the caller asks for. */
static const unsigned long long kVolMarginBytes = 10485760ULL;
static const unsigned long long kPkgTmpMinBytes = 104857600ULL;
/* A volume's @tmp is every service's scratch: writable by all, sticky as
 * /tmp, so no user removes or replaces another's entries. */
static const mode_t kVolTmpMode = 01777;
/* The package store is filled by root's package service and trimmed by
 * root: nobody else writes there, and nobody else may plant links in it. */
static const mode_t kPkgTmpMode = 0755;
static const char kPkgTmpName[] = "tarnpkg.tmp";

/* root owns it. A process that never had root (a developer's test run) can
 * only have made the store itself, with its own real uid, which no other
 * user can give a file. */
static bool ownerTrusted(uid_t uid) { return uid == 0 || uid == getuid(); }

/* mkdir -p in a privilege bracket, so that what is made belongs to root;
 * the trace is written inside so that it carries the cause. A directory
 * that was there already, and is ours, gets the mode too: earlier versions
 * left these open to everyone. With blOwnOnly, whatever else stands at the
 * path (a link, a file, some user's directory) is removed, never followed,
 * and the directory made anew. */
static bool tmpDirMake(const std::string& strPath, mode_t mode, bool blOwnOnly) {
    VUROTARN_PRIV_SCOPE();
    // Without a trailing slash, which would make lstat follow a link.
    std::string strReal = VUROSysPathStr(strPath, VURO_SYSPATH_NOFOLLOW);
    while (strReal.size() > 1 && strReal.back() == '/') strReal.pop_back();
    struct stat st;
    if (blOwnOnly && !strReal.empty() && 0 == lstat(strReal.c_str(), &st) &&
        (!S_ISDIR(st.st_mode) || !ownerTrusted(st.st_uid))) {
        VUROTARN_LOG("Replacing [%s], not a directory of root's", strReal.c_str());
        VUROTARN_CHECK(0 == VUROFSRemoveTree(strReal.c_str()));
    }
    bool blOk =
        VUROTARN_CHECK(0 == VUROFSMkdirP(strPath.c_str(), NULL, TRUE, UID_ERR, GID_ERR, mode));
    if (blOk && 0 == lstat(strReal.c_str(), &st)) {
        if (S_ISDIR(st.st_mode) && ownerTrusted(st.st_uid)) {
            if ((st.st_mode & 07777) != mode) {
                VUROTARN_CHECK(0 == chmod(strReal.c_str(), mode));
            }
        } else if (blOwnOnly) {
            VUROTARN_LOG("[%s] is still not a directory of root's", strReal.c_str());
            blOk = false;
        }
    }
    return blOk;
}

bool VUROTARNTmpDirGet(const unsigned long long minVolBytes, std::string& strOutPath) {
    strOutPath.clear();
    int status = -1;
    VOLUME_INFO volInfo;
    memset(&volInfo, 0, sizeof(volInfo));

    if (-1 == VolumeAvailGet(minVolBytes + kVolMarginBytes, &volInfo, &status, 1)) {
        VUROTARN_LOG("VolumeAvailGet() failed!! vuroerr=[0x%04X]", (unsigned)QLIBCErrGet());
        return false;
    }
    if (status & VOLUME_STATUS_NO_SPACE) {
        QLIBCErrSetEx(ERR_NOT_ENOUGH_SPACE, __FILE__, __LINE__);
        return false;
    }
    if (!(status & VOLUME_STATUS_FOUND)) {
        QLIBCErrSetEx(ERR_VOLUME_NOT_FOUND, __FILE__, __LINE__);
        return false;
    }
    if (0 == volInfo.svi_writeable) {
        QLIBCErrSetEx(ERR_SPACE_BUILDING_FOREGROUND, __FILE__, __LINE__);
        return false;
    }

    strOutPath = volInfo.svi_mountpoint;
    strOutPath += "/@tmp";
    return tmpDirMake(strOutPath, kVolTmpMode, false);
}

/* The store the link leads to, as the file system sees it, when the link
 * may be believed: it resolves to tarnpkg.tmp directly in the @tmp of a
 * listed volume, and both directories belong to root. Anything else (a
 * dangling link, one into the databases or out of the root, a store some
 * user made) is never followed. */
static bool pkgLinkTrusted(const std::string& strLink, std::string& strReal) {
    char szReal[PATH_MAX];
    struct stat st;
    if (0 != lstat(strLink.c_str(), &st) || !S_ISLNK(st.st_mode) ||
        NULL == realpath(strLink.c_str(), szReal) || 0 != lstat(szReal, &st) ||
        !S_ISDIR(st.st_mode) || !ownerTrusted(st.st_uid)) {
        return false;
    }
    std::string strStore = szReal;
    size_t slash = strStore.rfind('/');
    if (slash == std::string::npos || strStore.compare(slash + 1, std::string::npos, kPkgTmpName)) {
        return false;
    }
    const std::string strParent = strStore.substr(0, slash);
    PQLIBSZLIST pList = NULL;
    int n = VolumeListGet(&pList);
    std::unique_ptr<QLIBSZLIST, void (*)(PQLIBSZLIST)> volumes(pList, QLIBCSzListFree);
    for (int i = 0; i < n; i++) {
        char szTmp[PATH_MAX];
        const std::string strTmp = VUROSysPathStr(std::string(pList->pszItem[i]) + "/@tmp");
        if (!strTmp.empty() && NULL != realpath(strTmp.c_str(), szTmp) && strParent == szTmp &&
            0 == lstat(szTmp, &st) && ownerTrusted(st.st_uid)) {
            strReal = strStore;
            return true;
        }
    }
    return false;
}

bool VUROTARNPkgTmpDirGet(std::string& strVolTmpPath) {
    strVolTmpPath.clear();
    // The link itself, not where it leads: it may have to be replaced.
    const std::string strLink = VUROSysPathStr(VUROTARN_PKG_TMP_LINK, VURO_SYSPATH_NOFOLLOW);
    if (strLink.empty()) {
        VUROTARN_TRACE_ACTION("refused ", VUROTARN_PKG_TMP_LINK);
        return false;
    }
    char szLinkPath[4096];
    memset(szLinkPath, 0, sizeof(szLinkPath));
    std::string strOldStore;
    const bool blTrusted = pkgLinkTrusted(strLink, strOldStore);
    if (blTrusted && 0 >= readlink(strLink.c_str(), szLinkPath, sizeof(szLinkPath) - 1)) {
        szLinkPath[0] = '\0';
    }

    if (!VUROTARNTmpDirGet(kPkgTmpMinBytes, strVolTmpPath)) {
        return false;
    }
    strVolTmpPath += "/tarnpkg.tmp/";
    // The link holds the directory as the file system sees it, below the
    // root when there is one. Not followed: what stands there now is
    // replaced below if it is not root's directory.
    const std::string strTarget = VUROSysPathStr(strVolTmpPath, VURO_SYSPATH_NOFOLLOW);
    if (strTarget.empty()) {
        VUROTARN_TRACE_ACTION("refused ", strVolTmpPath.c_str());
        return false;
    }
    if (blTrusted && strTarget == szLinkPath) {
        return true;
    }

    if (blTrusted) {
        // The store of a volume no longer chosen goes with its contents.
        // The one of the chosen volume stays (the link text only differed).
        char szNew[PATH_MAX];
        if (NULL == realpath(strTarget.c_str(), szNew) || strOldStore != szNew) {
            if (0 != VUROTARN_PRIVILEGED(VUROFSRemoveTree(strOldStore.c_str()))) {
                VUROTARN_TRACE_ACTION("remove failed ", strOldStore.c_str());
            }
        }
    }

    // Whatever else stands there is removed as a link, never followed.
    if (0 != unlink(strLink.c_str()) && ENOENT != errno) {
        VUROTARN_TRACE_ACTION("unlink failed ", strLink.c_str());
    }

    if (!tmpDirMake(strVolTmpPath, kPkgTmpMode, true)) {
        return false;
    }
    if (0 != symlink(strTarget.c_str(), strLink.c_str())) {
        VUROTARN_LOG("Failed to symlink [%s] to [%s]. %m", strTarget.c_str(), strLink.c_str());
        return false;
    }
    return true;
}
