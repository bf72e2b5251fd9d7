/* vurotarn_tmpdir.cpp - temporary directories on a data volume: the
 * volume's @tmp, and the package directory kept behind the fixed link
 * /tmp/tarnpkg.tmp. Leans on the platform's volume and mkdir calls. */
#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <vurofs.h>

#include "vurotarn_common.h"
#include "vurotarn_macro_util.h"

/* Margin kept free on the volume beyond what the caller asks for. */
static const unsigned long long kVolMarginBytes = 10485760ULL;
static const unsigned long long kPkgTmpMinBytes = 104857600ULL;

/* mkdir -p with the mode 0777 in a privilege bracket; the trace is written
 * inside so that it carries the cause. */
static bool tmpDirMake(const std::string& strPath) {
    bool blOk = true;
    VUROTARN_PRIV priv;
    ENTERCriticalSection(priv);
    if (!VUROTARN_CHECK(0 == VUROFSMkdirP(strPath.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0777))) {
        blOk = false;
    }
    LEAVECriticalSection(priv);
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
    return tmpDirMake(strOutPath);
}

bool VUROTARNPkgTmpDirGet(std::string& strVolTmpPath) {
    strVolTmpPath.clear();
    char szLinkPath[4096];
    memset(szLinkPath, 0, sizeof(szLinkPath));
    BOOL blLink = FALSE;
    const std::string strLink = VUROSysPathStr(VUROTARN_PKG_TMP_LINK);

    struct stat st;
    if (0 == stat(strLink.c_str(), &st) && S_ISDIR(st.st_mode)) {
        blLink = 0 < readlink(strLink.c_str(), szLinkPath, sizeof(szLinkPath) - 1) ? TRUE : FALSE;
    }

    if (!VUROTARNTmpDirGet(kPkgTmpMinBytes, strVolTmpPath)) {
        return false;
    }
    strVolTmpPath += "/tarnpkg.tmp/";
    // The link holds the directory as the file system sees it, below the
    // root when there is one.
    const std::string strTarget = VUROSysPathStr(strVolTmpPath);
    if (strTarget == szLinkPath) {
        return true;
    }

    if (blLink && '/' == szLinkPath[0]) {
        // The old target goes with its contents. Only an absolute target,
        // resolved again: a no-op for one we made, and a foreign one cannot
        // reach outside the root.
        std::string strOld = VUROSysPathStr(szLinkPath);
        char* const argv[] = {(char*)"/bin/rm", (char*)"-rf", (char*)strOld.c_str(), NULL};
        VUROTARN_PRIV priv;
        ENTERCriticalSection(priv);
        QLIBCExec("/bin/rm", argv);
        LEAVECriticalSection(priv);
    }

    if (0 != unlink(strLink.c_str()) && ENOENT != errno) {
        VUROTARN_TRACE_ACTION("unlink failed ", strLink.c_str());
    }

    if (!tmpDirMake(strVolTmpPath)) {
        return false;
    }
    if (0 != symlink(strTarget.c_str(), strLink.c_str())) {
        VUROTARN_LOG("Failed to symlink [%s] to [%s]. %m", strTarget.c_str(), strLink.c_str());
        return false;
    }
    return true;
}
