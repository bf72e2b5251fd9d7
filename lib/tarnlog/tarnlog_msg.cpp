/* tarnlog_msg.cpp - what callers of the log ask around it: the language
 * mail goes out in, and the objects a user may read the log of. */
#include <string.h>
#include <syslog.h>

#include <string>

#include "tarnlog/vurotarnlog_int.h"
#include "vurotarn_macro_util.h"

#define VUROTARN_INFO_CONF_PATH "/etc/vuroinfo.conf"

void VUROMsgGetLocalLang(char* szLang, int cbLang) {
    if (szLang == NULL || cbLang <= 0) {
        return;
    }
    memset(szLang, 0, (size_t)cbLang);
    if (QLIBCFileGetKeyValue(VUROTARN_INFO_CONF_PATH, "maillang", szLang, cbLang, 0) <= 0 ||
        strcmp(szLang, "def") == 0) {
        snprintf(szLang, (size_t)cbLang, "%s", VUROTARNLOG_LANG_FALLBACK);
    }
}

/* Runs the peer tool for the user's view: begin() once it runs, then
 * take(id, length) for each id it prints, which returns false to stop.
 * -1 when the user or the tool is missing or take stopped, else 0. */
template <typename Begin, typename Take>
static int objIdsOfUser(const char* szUserName, Begin begin, Take take) {
    uid_t uid = 0;
    gid_t gid = 0;
    if (szUserName == NULL || VUROUserGetUGID(szUserName, &uid, &gid) < 0) {
        return -1;
    }
    char szArg[32];
    snprintf(szArg, sizeof(szArg), "uid=%u", (unsigned)uid);
    // The tool is a program link the installer put in a root-only folder:
    // it is run, never written through, so only its folders must stay
    // inside the root.
    std::string tool = VUROSysPathStr(VUROTARNLOG_PEER_TOOL, VURO_SYSPATH_NOFOLLOW);
    char* argv[] = {const_cast<char*>(tool.c_str()), const_cast<char*>("--listsnbyuid"), szArg,
                    NULL};
    FILE* fp = QLIBCPopen(tool.c_str(), argv, "r");
    if (fp == NULL) {
        syslog(LOG_ERR, "Failed to QLIBCPopen %s --listsnbyuid %s", VUROTARNLOG_PEER_TOOL, szArg);
        return -1;
    }
    begin();
    int ret = 0;
    char szLine[64];
    while (fgets(szLine, sizeof(szLine), fp) != NULL) {
        size_t len = strlen(szLine);
        if (len > 0 && szLine[len - 1] == '\n') {
            szLine[--len] = '\0';
        }
        if (len != 0 && !take(szLine, len)) {
            ret = -1;
            break;
        }
    }
    QLIBCPclose(fp);
    return ret;
}

int VUROMsgGetObjIdByUser(const char* szUserName, char* szObjId, int cbObjId) {
    if (szObjId == NULL || cbObjId <= 0) {
        return -1;
    }
    size_t used = 0;
    return objIdsOfUser(
        szUserName, [&] { memset(szObjId, 0, (size_t)cbObjId); },
        [&](const char* szId, size_t len) {
            if ((long)(used + len) > (long)cbObjId - 3) {
                return false;
            }
            int n = snprintf(szObjId + used, (size_t)cbObjId - used, used == 0 ? "'%s'" : ",'%s'",
                             szId);
            if (n < 0 || (size_t)n >= (size_t)cbObjId - used) {
                // The quotes did not fit: keep what was collected whole.
                szObjId[used] = '\0';
                return false;
            }
            used += (size_t)n;
            return true;
        });
}

int VUROMsgGetObjIdListByUser(const char* szUserName, std::string* pIds) {
    if (pIds == NULL) {
        return -1;
    }
    return objIdsOfUser(
        szUserName, [&] { pIds->clear(); },
        [&](const char* szId, size_t) {
            *pIds += pIds->empty() ? "'" : ",'";
            *pIds += szId;
            *pIds += "'";
            return true;
        });
}
