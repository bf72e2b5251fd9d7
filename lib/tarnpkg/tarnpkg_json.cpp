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

int VUROTARNPkgStructToJson(const char* szLang, const VURO_TARN_PKG* pPkg,
                            const Json::Value& jAdditional, Json::Value& jRet) {
    VUROTARN_ARG_CHECK(NULL, !=, pPkg, return -1);
    VUROTARN_JSON_OUT_CHECK(jAdditional, jRet, return -1);
    auto wanted = [&](const char* szKey) { return vurotarnJsonWanted(jAdditional, szKey); };
    jRet = Json::Value(Json::objectValue);
    jRet["id"] = (Json::UInt64)pPkg->id;
    if (wanted("mtime")) jRet["mtime"] = (Json::Int64)pPkg->mtime;
    jRet["pkg_name"] = vurotarnPkgNameInLang(*pPkg, szLang);
    jRet["pkg_version"] = pPkg->str_pkg_version;
    // A null jAdditional counts as empty here, yet wants every key, which
    // then makes "additional" on the first assignment.
    if (!jAdditional.empty()) jRet["additional"] = Json::Value(Json::objectValue);
    auto add = [&](const char* szKey, const Json::Value& v) {
        if (wanted(szKey)) jRet["additional"][szKey] = v;
    };
    add("peer_id", (Json::Int64)pPkg->peer.id);
    add("pkg_id", pPkg->str_pkg_id);
    add("pkg_new_version", pPkg->str_pkg_new_version);
    if (wanted("pkg_status")) add("pkg_status", pkgStatusWithInstaller(*pPkg));
    add("beta", pPkg->beta == 1);
    add("install_dependent_packages", pPkg->str_install_dependent_packages);
    add("install_conflict_packages", pPkg->str_install_conflict_packages);
    add("startable", pPkg->startable == 1);
    add("silent_install", pPkg->silent_install != 0);
    add("silent_upgrade", pPkg->silent_upgrade != 0);
    add("silent_uninstall", pPkg->silent_uninstall != 0);
    add("upgradable", pPkg->upgradable != 0);
    if (wanted("extra_info")) add("extra_info", vurotarnJsonParsed(pPkg->str_extra_info));
    add("peer_hostname", pPkg->peer.str_hostname);
    add("peer_model", pPkg->peer.str_model);
    add("peer_version", pPkg->peer.str_version);
    return 0;
}
