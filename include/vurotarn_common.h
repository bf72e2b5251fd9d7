/* vurotarn_common.h - small services several subsystems share: the
 * service's configuration file, temporary directories on a data volume,
 * JSON comparison for the change log, HTML encoding, the web server's ports
 * and a user's rights on a shared folder. */
#ifndef VUROTARN_COMMON_H
#define VUROTARN_COMMON_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

#define VUROTARN_CONF_PATH "/var/packages/TARN/etc/tarninfo.conf"
#define VUROTARN_PKG_TMP_LINK "/tmp/tarnpkg.tmp"
#define VUROTARN_KELP_CONF_PATH "/usr/vuro/etc/www/KELP.json"

typedef struct {
    const char* szKey;
    const char* szValue;
} TARN_CONF_DEFULT;

/* Rows of key and default, ended by a row whose key is NULL. */
extern VUROTARN_API const TARN_CONF_DEFULT gVUROTARNConfDefault[];

VUROTARN_API int VUROTARNSetConf(const char* szKey, const char* szValue);
/* A length, or the platform call's result when the key is neither in the
 * file nor among the defaults. A default read is written to the file. */
VUROTARN_API int VUROTARNGetConf(const char* szKey, char* szValue, int cbValue);

VUROTARN_API bool VUROTARNTmpDirGet(const unsigned long long minVolBytes, std::string& strOutPath);
VUROTARN_API bool VUROTARNPkgTmpDirGet(std::string& strVolTmpPath);

VUROTARN_API std::string VUROTARNEncodeHtml(const std::string& strVal, bool encodespc);
/* One level deep: "sub", "del" and "ins" entries in jRet, which is left
 * untouched when the objects are equal. 0, or -1 for a non-object. */
VUROTARN_API int VUROTARNJsonDiff(const Json::Value& jData1, const Json::Value& jData2,
                                  Json::Value& jRet);
VUROTARN_API Json::Value VUROTARNJsonStringParse(const char* szJson);
VUROTARN_API int VUROTARNGetAdminPort(int* piHttpPort, int* piHttpsPort);

VUROTARN_API bool VUROTARNSharePriv(const std::string& strUsername, const std::string& strPath,
                                    int iSharePriv);
VUROTARN_API bool VUROTARNSharePrivRead(const std::string& strUsername, const std::string& strPath);
VUROTARN_API bool VUROTARNSharePrivWrite(const std::string& strUsername,
                                         const std::string& strPath);

#endif
