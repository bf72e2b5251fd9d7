/* tarnpkg_clean.cpp - trims the package file store. Entries of a server
 * kind (<base>/peer/<model>/<build>/) hold hard links to the pool files
 * (<base>/bdl/<dir>/<file>); a pool file whose link count has dropped to 1
 * is used by no entry. Leans on the peer list, the store's base directory
 * and the platform's tree removal, which never follows a link. */
#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include <vurofs.h>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_common.h"
#include "tarnpkg/vurotarnpkg_int.h"

namespace {

/* d_type where the file system gives it, lstat otherwise; a symbolic link
 * is never taken for what it points to. */
bool entryIs(const std::string& strDir, const struct dirent* pEnt, unsigned char type) {
    if (pEnt->d_type != DT_UNKNOWN) {
        return pEnt->d_type == type;
    }
    struct stat st;
    if (lstat((strDir + "/" + pEnt->d_name).c_str(), &st) != 0) {
        return false;
    }
    return type == DT_DIR ? S_ISDIR(st.st_mode) : type == DT_REG ? S_ISREG(st.st_mode) : false;
}

bool entryIsDot(const struct dirent* pEnt) {
    return strcmp(pEnt->d_name, ".") == 0 || strcmp(pEnt->d_name, "..") == 0;
}

/* <base>/<szSub> as the file system sees it, with every link resolved. It
 * must lie below the system root: the walks remove what they find there,
 * and a store reached through a link must not take them elsewhere. */
bool storeDirGet(const char* szSub, std::string& strDir) {
    std::string strBase;
    if (!VUROTARNPkgTmpDirGet(strBase)) {
        return false;
    }
    char szReal[PATH_MAX];
    char szRoot[PATH_MAX];
    if (realpath(VUROSysPathStr(strBase + "/" + szSub).c_str(), szReal) == NULL ||
        realpath(VUROSysPathStr("/").c_str(), szRoot) == NULL) {
        return false;
    }
    std::string strRoot = szRoot;
    if (strRoot != "/" && strncmp(szReal, (strRoot + "/").c_str(), strRoot.size() + 1) != 0) {
        VUROTARN_LOG("Package store [%s] lies outside the system root [%s]", szReal, szRoot);
        return false;
    }
    strDir = szReal;
    return true;
}

/* Build numbers (as text) of all peers, by model. */
bool peerBuildsByModel(std::map<std::string, std::set<std::string>>& builds) {
    VURO_TARN_PEER_LIST pList = NULL;
    if (VUROTARNPeerListAll(&pList, NULL, NULL) < 0) {
        return false;
    }
    for (const VURO_TARN_PEER* p = pList; p != NULL; p = p->pNext) {
        char szBuild[64];
        snprintf(szBuild, sizeof(szBuild), "%ld", p->buildnum);
        builds[p->str_model].insert(szBuild);
    }
    VUROTARNPeerListFree(&pList);
    return true;
}

}  // namespace

bool CheckPeerBdlLink() {
    std::map<std::string, std::set<std::string>> builds;
    if (!peerBuildsByModel(builds)) {
        return false;
    }
    std::string strPeerDir;
    if (!storeDirGet("peer", strPeerDir)) {
        return false;
    }
    DIR* pDir = opendir(strPeerDir.c_str());
    if (pDir == NULL) {
        return false;
    }
    std::vector<std::string> removals;
    for (struct dirent* pEnt = readdir(pDir); pEnt != NULL; pEnt = readdir(pDir)) {
        if (entryIsDot(pEnt) || !entryIs(strPeerDir, pEnt, DT_DIR)) {
            continue;
        }
        std::string strModelDir = strPeerDir + "/" + pEnt->d_name;
        auto model = builds.find(pEnt->d_name);
        if (model == builds.end()) {
            removals.push_back(strModelDir);
            continue;
        }
        DIR* pModelDir = opendir(strModelDir.c_str());
        if (pModelDir == NULL) {
            continue;
        }
        for (struct dirent* pBuild = readdir(pModelDir); pBuild != NULL;
             pBuild = readdir(pModelDir)) {
            if (entryIsDot(pBuild) || !entryIs(strModelDir, pBuild, DT_DIR)) {
                continue;
            }
            if (model->second.count(pBuild->d_name) == 0) {
                removals.push_back(strModelDir + "/" + pBuild->d_name);
            }
        }
        closedir(pModelDir);
    }
    for (const std::string& strPath : removals) {
        if (VUROTARN_PRIVILEGED(VUROFSRemoveTree(strPath.c_str())) != 0) {
            VUROTARN_TRACE_ACTION("remove failed ", strPath.c_str());
        }
    }
    closedir(pDir);
    return true;
}

bool CleasBdl() {
    std::string strBdlDir;
    if (!storeDirGet("bdl", strBdlDir)) {
        return false;
    }
    DIR* pBdl = opendir(strBdlDir.c_str());
    if (pBdl == NULL) {
        return false;
    }
    for (struct dirent* pEnt = readdir(pBdl); pEnt != NULL; pEnt = readdir(pBdl)) {
        if (entryIsDot(pEnt) || !entryIs(strBdlDir, pEnt, DT_DIR)) {
            continue;
        }
        std::string strDir = strBdlDir + "/" + pEnt->d_name;
        const char* szDir = strDir.c_str();
        DIR* pDir = opendir(szDir);
        if (NULL == pDir) {
            VUROTARN_TRACE_COND(NULL == (pDir = opendir(szDir)));
            continue;
        }
        for (struct dirent* pFile = readdir(pDir); pFile != NULL; pFile = readdir(pDir)) {
            if (entryIsDot(pFile) || !entryIs(strDir, pFile, DT_REG)) {
                continue;
            }
            std::string strFile = strDir + "/" + pFile->d_name;
            struct stat st;
            if (stat(strFile.c_str(), &st) == 0 && st.st_nlink > 1) {
                continue;  // an entry of some server kind still links to it
            }
            if (VUROTARN_PRIVILEGED(unlink(strFile.c_str())) != 0 && errno != ENOENT) {
                VUROTARN_TRACE_ACTION("unlink failed ", strFile.c_str());
            }
        }
        closedir(pDir);
    }
    closedir(pBdl);
    return true;
}

void VUROTARNPkgClean() {
    // The pool is trimmed even when the entries could not be: it then sees
    // the link counts as they are.
    CheckPeerBdlLink();
    CleasBdl();
}
