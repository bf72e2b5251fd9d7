/* vurotarn_common.cpp - the service's configuration file with its
 * defaults, JSON comparison and parsing, HTML encoding and the web
 * server's ports. Leans on the platform's key-value files and JSON helpers. */
#include <string.h>
#include <stdio.h>

#include <string>

#include <vurojson.h>
#include <vurow3.h>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_common.h"
#include "vurotarn_macro_util.h"

const TARN_CONF_DEFULT gVUROTARNConfDefault[] = {
    {"log_limit", "100000"},
    {NULL, NULL},
};

int VUROTARNSetConf(const char* szKey, const char* szValue) {
    // The configuration belongs to root.
    return VUROTARN_PRIVILEGED(QLIBCFileSetKeyValue(VUROTARN_CONF_PATH, szKey, szValue, 0));
}

int VUROTARNGetConf(const char* szKey, char* szValue, int cbValue) {
    int ret = QLIBCFileGetKeyValue(VUROTARN_CONF_PATH, szKey, szValue, cbValue, 0);
    if (0 < ret) {
        return ret;
    }
    for (const TARN_CONF_DEFULT* pDef = gVUROTARNConfDefault; NULL != pDef->szKey; pDef++) {
        if (NULL != szKey && 0 == strcmp(pDef->szKey, szKey)) {
            // Written back so the file shows the value in force; a failed
            // write still leaves the caller with the default.
            VUROTARNSetConf(szKey, pDef->szValue);
            return snprintf(szValue, cbValue, "%s", pDef->szValue);
        }
    }
    return ret;
}

std::string VUROTARNEncodeHtml(const std::string& strVal, bool encodespc) {
    std::string strOut;
    strOut.reserve(strVal.size());
    for (char c : strVal) {
        switch (c) {
            case '&':
                strOut += "&amp;";
                break;
            case '<':
                strOut += "&lt;";
                break;
            case '>':
                strOut += "&gt;";
                break;
            case ' ':
                strOut += encodespc ? "&nbsp;" : " ";
                break;
            default:
                strOut += c;
                break;
        }
    }
    return strOut;
}

int VUROTARNJsonDiff(const Json::Value& jData1, const Json::Value& jData2, Json::Value& jRet) {
    // A null value counts as an object without members.
    VUROTARN_ARG_CHECK_TEXT(jData1.isNull() || jData1.isObject(), "true == jData1.isObject()",
                            (int)jData1.isObject(), return -1);
    VUROTARN_ARG_CHECK_TEXT(jData2.isNull() || jData2.isObject(), "true == jData2.isObject()",
                            (int)jData2.isObject(), return -1);

    Json::Value jDiff(Json::arrayValue);
    for (Json::Value::const_iterator it = jData1.begin(); it != jData1.end(); ++it) {
        const std::string strKey = it.name();
        Json::Value jItem;
        jItem["key"] = strKey;
        if (jData2.isMember(strKey)) {
            if (*it == jData2[strKey]) {
                continue;
            }
            jItem["type"] = "sub";
            jItem["old_value"] = *it;
            jItem["new_value"] = jData2[strKey];
        } else {
            jItem["type"] = "del";
            jItem["value"] = *it;
        }
        jDiff.append(jItem);
    }
    for (Json::Value::const_iterator it = jData2.begin(); it != jData2.end(); ++it) {
        const std::string strKey = it.name();
        if (jData1.isMember(strKey)) {
            continue;
        }
        Json::Value jItem;
        jItem["key"] = strKey;
        jItem["type"] = "ins";
        jItem["value"] = *it;
        jDiff.append(jItem);
    }
    if (!jDiff.empty()) {
        jRet = jDiff;
    }
    return 0;
}

Json::Value VUROTARNJsonStringParse(const char* szJson) {
    Json::Value jValue;
    if (NULL == szJson || '\0' == szJson[0]) {
        return jValue;
    }
    // A text that is not JSON leaves the null value; callers test for it.
    vurojson::fromString(jValue, szJson);
    return jValue;
}

int VUROTARNGetAdminPort(int* piHttpPort, int* piHttpsPort) {
    if (!piHttpPort) {
        VUROTARN_TRACE_LOCATED_COND(!piHttpPort);
        return -1;
    }
    if (!piHttpsPort) {
        VUROTARN_TRACE_LOCATED_COND(!piHttpsPort);
        return -1;
    }
    // The web server stand-in owns the one reader of its file.
    if (VUROW3KelpPortsRead(piHttpPort, piHttpsPort) > 0) {
        return 0;
    }
    VUROTARN_LOG("cannot get kelp http & https port");
    return -1;
}
