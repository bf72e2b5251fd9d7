/* users.cpp - users and groups for the platform core: the system's NSS
 * databases, or the passwd and group files of the system root when it has
 * them, so tests and demos can have accounts of their own. Passwords live
 * only in the root's own shadow file, as yescrypt hashes. */
#include <crypt.h>
#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "vurocore.h"
#include "vurofs.h"

namespace {

struct UserEntry {
    std::string name;
    uid_t uid = 0;
    gid_t gid = 0;
    std::string dir;
};

struct GroupEntry {
    std::string name;
    gid_t gid = 0;
    std::vector<std::string> members;
};

std::vector<std::string> splitFields(const std::string& line, char sep) {
    std::vector<std::string> out;
    std::string cur;
    std::istringstream in(line);
    while (std::getline(in, cur, sep)) {
        out.push_back(cur);
    }
    if (!line.empty() && line.back() == sep) {
        out.push_back("");
    }
    return out;
}

/* The root's own files, when it has a passwd file; else NSS. */
bool sysrootHasUsers(std::string* pDir) {
    const char* root = getenv("VURO_SYSROOT");
    if (root == NULL || root[0] == '\0') {
        return false;
    }
    std::string dir = std::string(root) + "/etc";
    if (access((dir + "/passwd").c_str(), R_OK) != 0) {
        return false;
    }
    *pDir = dir;
    return true;
}

bool numberParse(const std::string& text, unsigned long* pOut) {
    if (text.empty()) return false;
    char* end = NULL;
    *pOut = strtoul(text.c_str(), &end, 10);
    return *end == '\0';
}

template <class Match>
bool userFind(Match match, UserEntry* pOut) {
    std::string dir;
    if (sysrootHasUsers(&dir)) {
        std::ifstream in(dir + "/passwd");
        std::string line;
        while (std::getline(in, line)) {
            std::vector<std::string> f = splitFields(line, ':');
            unsigned long uid, gid;
            if (f.size() < 4 || !numberParse(f[2], &uid) || !numberParse(f[3], &gid)) continue;
            UserEntry e{f[0], (uid_t)uid, (gid_t)gid, f.size() > 5 ? f[5] : ""};
            if (match(e)) {
                *pOut = e;
                return true;
            }
        }
        return false;
    }
    setpwent();
    struct passwd* pw;
    bool found = false;
    while (!found && (pw = getpwent()) != NULL) {
        UserEntry e{pw->pw_name, pw->pw_uid, pw->pw_gid, pw->pw_dir ? pw->pw_dir : ""};
        if (match(e)) {
            *pOut = e;
            found = true;
        }
    }
    endpwent();
    return found;
}

/* Calls visit on every group until it returns true. */
template <class Visit>
bool groupEach(Visit visit) {
    std::string dir;
    if (sysrootHasUsers(&dir)) {
        std::ifstream in(dir + "/group");
        std::string line;
        while (std::getline(in, line)) {
            std::vector<std::string> f = splitFields(line, ':');
            unsigned long gid;
            if (f.size() < 3 || !numberParse(f[2], &gid)) continue;
            GroupEntry e{f[0], (gid_t)gid, {}};
            if (f.size() > 3 && !f[3].empty()) e.members = splitFields(f[3], ',');
            if (visit(e)) return true;
        }
        return false;
    }
    setgrent();
    struct group* gr;
    bool stopped = false;
    while (!stopped && (gr = getgrent()) != NULL) {
        GroupEntry e{gr->gr_name, gr->gr_gid, {}};
        for (char** m = gr->gr_mem; m && *m; m++) e.members.push_back(*m);
        stopped = visit(e);
    }
    endgrent();
    return stopped;
}

/* The first group that match accepts, into *pOut. */
template <class Match>
bool groupFind(Match match, GroupEntry* pOut) {
    return groupEach([&](const GroupEntry& g) {
        if (!match(g)) return false;
        *pOut = g;
        return true;
    });
}

int userOut(bool found, const UserEntry& e, PVURO_USER* ppUser) {
    if (ppUser == NULL) return -1;
    *ppUser = NULL;
    if (!found) return -1;
    PVURO_USER p = (PVURO_USER)calloc(1, sizeof(VURO_USER));
    if (p == NULL) return -1;
    p->szName = strdup(e.name.c_str());
    p->szDir = strdup(e.dir.c_str());
    p->pw_uid = e.uid;
    p->pw_gid = e.gid;
    if (p->szName == NULL || p->szDir == NULL) {
        VUROUserFree(p);
        return -1;
    }
    *ppUser = p;
    return 0;
}

int groupOut(bool found, const GroupEntry& e, PVURO_GROUP* ppGroup) {
    if (ppGroup == NULL) return -1;
    *ppGroup = NULL;
    if (!found) return -1;
    PVURO_GROUP p = (PVURO_GROUP)calloc(1, sizeof(VURO_GROUP));
    if (p == NULL) return -1;
    p->szName = strdup(e.name.c_str());
    p->gr_gid = e.gid;
    p->pMembers = QLIBCSzListAlloc(8);
    bool ok = p->szName != NULL && p->pMembers != NULL;
    for (size_t i = 0; ok && i < e.members.size(); i++) {
        ok = QLIBCSzListPush(&p->pMembers, e.members[i].c_str()) >= 0;
    }
    if (!ok) {
        VUROGroupFree(p);
        return -1;
    }
    *ppGroup = p;
    return 0;
}

}  // namespace

int VUROUserGetByUID(uid_t uid, PVURO_USER* ppUser) {
    UserEntry e;
    bool found = userFind([&](const UserEntry& u) { return u.uid == uid; }, &e);
    return userOut(found, e, ppUser);
}

int VUROUserGet(const char* szName, PVURO_USER* ppUser) {
    UserEntry e;
    bool found =
        szName != NULL && userFind([&](const UserEntry& u) { return u.name == szName; }, &e);
    return userOut(found, e, ppUser);
}

void VUROUserFree(PVURO_USER pUser) {
    if (pUser == NULL) return;
    free(pUser->szName);
    free(pUser->szDir);
    free(pUser);
}

int VUROGroupGetByGID(gid_t gid, PVURO_GROUP* ppGroup) {
    GroupEntry e;
    bool found = groupFind([&](const GroupEntry& g) { return g.gid == gid; }, &e);
    return groupOut(found, e, ppGroup);
}

int VUROGroupGet(const char* szName, PVURO_GROUP* ppGroup) {
    GroupEntry e;
    bool found =
        szName != NULL && groupFind([&](const GroupEntry& g) { return g.name == szName; }, &e);
    return groupOut(found, e, ppGroup);
}

void VUROGroupFree(PVURO_GROUP pGroup) {
    if (pGroup == NULL) return;
    free(pGroup->szName);
    QLIBCSzListFree(pGroup->pMembers);
    free(pGroup);
}

int VUROUserGetUGID(const char* szName, uid_t* pUid, gid_t* pGid) {
    UserEntry e;
    if (szName == NULL || pUid == NULL ||
        !userFind([&](const UserEntry& u) { return u.name == szName; }, &e)) {
        return -1;
    }
    *pUid = e.uid;
    if (pGid != NULL) *pGid = e.gid;
    return 0;
}

int VUROUserGroupList(const char* szUser, gid_t group, gid_t* groups, int* ngroups) {
    if (szUser == NULL || ngroups == NULL || *ngroups < 0) return -1;
    std::vector<gid_t> all{group};
    groupEach([&](const GroupEntry& g) {
        if (g.gid == group) return false;
        for (const std::string& m : g.members) {
            if (m == szUser) {
                all.push_back(g.gid);
                break;
            }
        }
        return false;
    });
    int room = *ngroups;
    *ngroups = (int)all.size();
    if (room < (int)all.size() || groups == NULL) {
        return -1;
    }
    for (size_t i = 0; i < all.size(); i++) groups[i] = all[i];
    return (int)all.size();
}

int QLIBGroupIsAdminGroupMemByUid(uid_t uid, BOOL blReserved) {
    (void)blReserved;
    UserEntry user;
    if (!userFind([&](const UserEntry& u) { return u.uid == uid; }, &user)) return -1;
    bool member = groupEach([&](const GroupEntry& g) {
        if (g.name != VURO_ADMIN_GROUP_NAME) return false;
        if (g.gid == user.gid) return true;
        for (const std::string& m : g.members) {
            if (m == user.name) return true;
        }
        return false;
    });
    return member ? 1 : 0;
}

int VUROLDAPSplitName(const char* szName, char* szDomain, size_t cbDomain, char* szUser,
                      size_t cbUser) {
    if (szName == NULL) return -1;
    const char* at = strchr(szName, '@');
    if (at == NULL || at == szName || at[1] == '\0') return 0;
    if (szDomain != NULL && cbDomain > 0) snprintf(szDomain, cbDomain, "%s", at + 1);
    if (szUser != NULL && cbUser > 0) {
        snprintf(szUser, cbUser, "%.*s", (int)(at - szName), szName);
    }
    return 1;
}

namespace {

const size_t kPasswordMax = 1024;  // longer is no password anyone types
// Hashed for an account without a stored hash, so that the answer takes
// as long as for a real one and does not tell which names exist.
const char kDummySetting[] = "$y$j9T$4D8.Xx1VKvdZjPAXfOJ1Y/";

bool passwordUsable(const char* szPassword) {
    return szPassword != NULL && szPassword[0] != '\0' && strlen(szPassword) <= kPasswordMax;
}

/* The root's shadow file, or "" (errno ENOTSUP) when the root has no user
 * files of its own: the machine's own accounts are never touched. */
std::string shadowPath() {
    std::string dir;
    if (!sysrootHasUsers(&dir)) {
        errno = ENOTSUP;
        return "";
    }
    return VUROSysPathStr("/etc/shadow");
}

/* The stored hash of a user, "" when none. */
std::string shadowHash(const std::string& path, const std::string& name) {
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> f = splitFields(line, ':');
        if (f.size() >= 2 && f[0] == name) return f[1];
    }
    return "";
}

}  // namespace

int VUROUserPasswordSet(const char* szName, const char* szPassword) {
    if (szName == NULL || !passwordUsable(szPassword)) {
        errno = EINVAL;
        return -1;
    }
    try {
        std::string path = shadowPath();
        if (path.empty()) return -1;
        UserEntry user;
        if (!userFind([&](const UserEntry& u) { return u.name == szName; }, &user)) {
            errno = ENOENT;
            return -1;
        }
        char setting[CRYPT_GENSALT_OUTPUT_SIZE];
        struct crypt_data data;
        memset(&data, 0, sizeof(data));
        if (crypt_gensalt_rn("$y$", 0, NULL, 0, setting, sizeof(setting)) == NULL ||
            crypt_rn(szPassword, setting, &data, sizeof(data)) == NULL || data.output[0] == '*') {
            errno = EIO;
            return -1;
        }
        std::string entry =
            user.name + ":" + data.output + ":" + std::to_string(time(NULL) / 86400) + "::::::";
        explicit_bzero(&data, sizeof(data));
        int rc = VUROFSFileUpdate(path, 0600, [&](std::string& text, bool) {
            std::string out;
            std::istringstream in(text);
            std::string line;
            while (std::getline(in, line)) {
                if (line.compare(0, user.name.size() + 1, user.name + ":") != 0) out += line + "\n";
            }
            text = out + entry + "\n";
            return true;
        });
        return rc == 0 ? 0 : -1;
    } catch (...) {
        errno = ENOMEM;
        return -1;
    }
}

int VUROUserPasswordCheck(const char* szName, const char* szPassword) {
    if (szName == NULL || !passwordUsable(szPassword)) return -1;
    try {
        std::string path = shadowPath();
        if (path.empty()) return -1;
        std::string stored = shadowHash(path, szName);
        bool real = stored.rfind("$y$", 0) == 0;
        struct crypt_data data;
        memset(&data, 0, sizeof(data));
        const char* out =
            crypt_rn(szPassword, real ? stored.c_str() : kDummySetting, &data, sizeof(data));
        bool same = false;
        if (real && out != NULL && strlen(out) == stored.size()) {
            unsigned char diff = 0;  // every byte compared, whatever the first mismatch
            for (size_t i = 0; i < stored.size(); i++) diff |= (unsigned char)(out[i] ^ stored[i]);
            same = diff == 0;
        }
        explicit_bzero(&data, sizeof(data));
        return same ? 1 : 0;
    } catch (...) {
        return -1;
    }
}
