/* tarnpkg_json.cpp - a package as JSON for one language. The state is
 * shown as a word; while the installer that wrote "install_pid" still runs,
 * its step is shown instead, and a dead installer leaves the plain state. */
#include "common/vurotarn_json_int.h"

#include "tarnpkg/vurotarnpkg_int.h"

namespace {

const char* pkgStatusText(unsigned int status) {
    switch (status) {
        case VURO_TARN_PKG_STATUS_RUNNING:
            return "running";
        case VURO_TARN_PKG_STATUS_BROKEN:
            return "broken";
        case VURO_TARN_PKG_STATUS_VERSION_LIMIT:
            return "version_limit";
        case VURO_TARN_PKG_STATUS_STOP:
            return "stop";
        case VURO_TARN_PKG_STATUS_NON_INSTALLED:
            return "non_installed";
        default:
            return "NA";
    }
}

std::string pkgStatusWithInstaller(const VURO_TARN_PKG& pkg) {
    const char* szText = pkgStatusText(pkg.pkg_status);
    Json::Value jExtra = vurotarnJsonParsed(pkg.str_extra_info);
    if (!jExtra.isObject() || !jExtra.isMember("install_pid")) {
        return szText;
    }
    pid_t pid = (pid_t)vurotarnJsonInt64(jExtra["install_pid"]);
    BOOL blAlive = FALSE;
    {
        // The installer may run as another user; kill(pid, 0) needs the rights.
        VUROTARN_PRIV_SCOPE();
        blAlive = QLIBCProcAlive(pid);
    }
    if (!blAlive) {
        return szText;
    }
    switch (pkg.pkg_install_status) {
        case VURO_TARN_PKG_INSTALL_PROCESSING:
            return "processing";
        case VURO_TARN_PKG_INSTALL_UPLOADING:
            return "uploading";
        case VURO_TARN_PKG_INSTALL_UPDATING:
            return "updating";
        default:
            return szText;
    }
}

}  // namespace

void VurotarnPkgTraits::jsonOut(const Rec& rec, const char* szLang, const Json::Value& jAdditional,
                                Json::Value& jRet) {
    jRet["pkg_name"] = vurotarnPkgNameInLang(rec, szLang);
    if (vurotarnJsonWanted(jAdditional, "pkg_status")) {
        jRet["additional"]["pkg_status"] = pkgStatusWithInstaller(rec);
    }
}

int VUROTARNPkgStructToJson(const char* szLang, const VURO_TARN_PKG* pPkg,
                            const Json::Value& jAdditional, Json::Value& jRet) {
    return VurotarnPkg::toJson(pPkg, szLang, jAdditional, jRet);
}
