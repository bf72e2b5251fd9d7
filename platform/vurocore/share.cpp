/* share.cpp - shared folders for the platform core: the list in the root's
 * shares.json, the share holding a path, and a user's rights on a share
 * from the user's own entry and those of the user's groups. */
#include "vurofs.h"

#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "vurojson.h"

namespace {

/* The "shares" array of the list; null when there is none. */
Json::Value sharesRead() {
    Json::Value jRoot;
    if (!vurojson::fromFile(jRoot, VUROFS_SHARES_CONF) || !jRoot.isObject() ||
        !jRoot["shares"].isArray()) {
        return Json::Value();
    }
    return jRoot["shares"];
}

std::string memberText(const Json::Value& jShare, const char* szKey) {
    const Json::Value& j = jShare[szKey];
    return j.isString() ? j.asString() : std::string();
}

std::string pathTrim(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

/* Does the folder at sharePath hold path? Both are compared as seen below
 * the root, so a caller may pass either form. */
bool pathHolds(const std::string& sharePath, const std::string& path) {
    std::string folder = pathTrim(VUROSysPathStr(sharePath));
    std::string inner = pathTrim(VUROSysPathStr(path));
    if (folder.empty() || inner.empty()) return false;  // refused by the root
    if (inner.compare(0, folder.size(), folder) != 0) return false;
    return inner.size() == folder.size() || inner[folder.size()] == '/' || folder == "/";
}

bool textCopy(const std::string& text, char* szBuf, int cbBuf) {
    if (szBuf == NULL) return true;
    if (cbBuf <= 0 || text.size() >= (size_t)cbBuf) return false;
    memcpy(szBuf, text.c_str(), text.size() + 1);
    return true;
}

/* The rights object as a hash; entries with another right are dropped. */
bool privHashFill(const Json::Value& jPriv, PQLIBSZHASH* pHash) {
    *pHash = QLIBCSzHashAlloc(8);
    if (*pHash == NULL) return false;
    if (!jPriv.isObject()) return true;
    for (Json::Value::const_iterator it = jPriv.begin(); it != jPriv.end(); ++it) {
        std::string right = it->isString() ? it->asString() : "";
        if (right != "ro" && right != "rw" && right != "na") continue;
        if (QLIBCSzHashSetValue(pHash, it.name().c_str(), right.c_str()) < 0) return false;
    }
    return true;
}

int privWord(const char* szRight) {
    if (szRight == NULL) return 0;
    if (strcmp(szRight, "na") == 0) return SHARE_PRIV_NA;
    if (strcmp(szRight, "rw") == 0) return SHARE_PRIV_RW;
    if (strcmp(szRight, "ro") == 0) return SHARE_PRIV_RO;
    return 0;
}

/* Names of the user's groups, primary first; empty for an unknown user. */
std::vector<std::string> userGroupNames(const char* szUser) {
    std::vector<std::string> names;
    PVURO_USER pUser = NULL;
    if (VUROUserGet(szUser, &pUser) != 0 || pUser == NULL) return names;
    gid_t primary = pUser->pw_gid;
    VUROUserFree(pUser);
    std::vector<gid_t> gids(16);
    int n = (int)gids.size();
    if (VUROUserGroupList(szUser, primary, gids.data(), &n) < 0) {
        if (n <= (int)gids.size()) return names;
        gids.resize(n);
        if (VUROUserGroupList(szUser, primary, gids.data(), &n) < 0) return names;
    }
    for (int i = 0; i < n; i++) {
        PVURO_GROUP pGroup = NULL;
        if (VUROGroupGetByGID(gids[i], &pGroup) == 0 && pGroup != NULL) {
            names.push_back(pGroup->szName);
        }
        VUROGroupFree(pGroup);
    }
    return names;
}

}  // namespace

int VUROShareNamePathGet(const char* path, char* szShareName, int cbName, char* szSharePath,
                         int cbPath) {
    if (path == NULL || path[0] != '/') return -1;
    try {
        Json::Value jShares = sharesRead();
        const Json::Value* pBest = NULL;
        size_t cbBest = 0;
        for (const Json::Value& jShare : jShares) {
            std::string sharePath = memberText(jShare, "path");
            if (memberText(jShare, "name").empty() || sharePath.empty() || sharePath[0] != '/' ||
                !pathHolds(sharePath, path)) {
                continue;
            }
            size_t cb = pathTrim(sharePath).size();
            if (pBest == NULL || cb > cbBest) {
                pBest = &jShare;
                cbBest = cb;
            }
        }
        if (pBest == NULL) return -1;
        if (!textCopy(memberText(*pBest, "name"), szShareName, cbName) ||
            !textCopy(pathTrim(memberText(*pBest, "path")), szSharePath, cbPath)) {
            return -1;
        }
        return 0;
    } catch (...) {
        return -1;
    }
}

int VUROShareGet(const char* szName, PVURO_SHARE* ppShare) {
    if (ppShare == NULL) return -1;
    *ppShare = NULL;
    if (szName == NULL || szName[0] == '\0') return -1;
    try {
        for (const Json::Value& jShare : sharesRead()) {
            if (memberText(jShare, "name") != szName) continue;
            PVURO_SHARE p = (PVURO_SHARE)calloc(1, sizeof(VURO_SHARE));
            if (p == NULL) return -1;
            p->szName = strdup(szName);
            p->szPath = strdup(pathTrim(memberText(jShare, "path")).c_str());
            p->status = jShare["status"].isUInt() ? jShare["status"].asUInt() : 0;
            if (p->szName == NULL || p->szPath == NULL ||
                !privHashFill(jShare["users"], &p->pUserPriv) ||
                !privHashFill(jShare["groups"], &p->pGroupPriv)) {
                VUROShareFree(p);
                return -1;
            }
            *ppShare = p;
            return 0;
        }
        return -1;
    } catch (...) {
        return -1;
    }
}

void VUROShareFree(PVURO_SHARE pShare) {
    if (pShare == NULL) return;
    free(pShare->szName);
    free(pShare->szPath);
    QLIBCSzHashFree(pShare->pUserPriv);
    QLIBCSzHashFree(pShare->pGroupPriv);
    free(pShare);
}

int VUROShareUserPrivGet(const char* szUser, const PVURO_SHARE pShare) {
    if (szUser == NULL || szUser[0] == '\0' || pShare == NULL) return SHARE_PRIV_NA;
    try {
        int word = privWord(QLIBCSzHashGetValue(pShare->pUserPriv, szUser));
        for (const std::string& group : userGroupNames(szUser)) {
            word |= privWord(QLIBCSzHashGetValue(pShare->pGroupPriv, group.c_str()));
        }
        if (word == 0 || (word & SHARE_PRIV_NA)) return SHARE_PRIV_NA;
        return (word & SHARE_PRIV_RW) ? SHARE_PRIV_RW : SHARE_PRIV_RO;
    } catch (...) {
        return SHARE_PRIV_NA;
    }
}
