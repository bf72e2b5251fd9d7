/* tarnlog_convert.cpp - a message is expanded once, when it is written,
 * into all twenty languages: the template comes from each language's string
 * file, references inside the parameters are resolved against the same
 * file, and the English text goes on to the system log. */
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include <string>

#include "common/vurotarn_holder_int.h"
#include "tarnlog/vurotarnlog_int.h"
#include "vurotarn_macro_util.h"

#define VUROTARNLOG_MSG_MAX 4096
#define VUROTARNLOG_REF_MAX 1024
#define VUROTARNLOG_NAME_MAX 512
#define VUROTARNLOG_T_CALL "VURO.VDK.TARN._T("

static void stringFilePath(const char* szLang, char* szPath, size_t cbPath) {
    snprintf(szPath, cbPath, VUROTARNLOG_STRING_PATH, szLang);
}

/* Copies src into dst, cut to cb bytes with its end. */
static void boundedCopy(char* dst, const char* src, int cb) {
    if (cb <= 0) {
        return;
    }
    snprintf(dst, (size_t)cb, "%s", src);
}

int CheckSectionKey_tpl1(const char* szStr, char* szSec, char* szKey, int cbSize) {
    if (szStr == NULL || szSec == NULL || szKey == NULL || cbSize <= 0) {
        return -1;
    }
    const char* open = strchr(szStr, '{');
    const char* colon = open != NULL ? strchr(open + 1, ':') : NULL;
    const char* close = colon != NULL ? strchr(colon + 1, '}') : NULL;
    if (close == NULL) {
        return -1;
    }
    size_t cbSec = (size_t)(colon - open - 1);
    size_t cbKey = (size_t)(close - colon - 1);
    // Each part with its terminator must fit.
    if (cbSec + 1 > (size_t)cbSize || cbKey + 1 > (size_t)cbSize) {
        return -1;
    }
    memcpy(szSec, open + 1, cbSec);
    szSec[cbSec] = '\0';
    memcpy(szKey, colon + 1, cbKey);
    szKey[cbKey] = '\0';
    return 0;
}

int CheckSectionKey_tpl2(const char* szStr, char* szSec, char* szKey, char* szTpl, int cbSize) {
    if (szStr == NULL || szSec == NULL || szKey == NULL || szTpl == NULL || cbSize <= 0) {
        return -1;
    }
    const char* call = strstr(szStr, VUROTARNLOG_T_CALL);
    const char* close = call != NULL ? strchr(call, ')') : NULL;
    if (close == NULL) {
        return -1;
    }
    // The call through its ')' and the terminator must fit in szTpl.
    size_t cbCall = (size_t)(close - call) + 1;
    if (cbCall >= (size_t)cbSize) {
        VUROTARN_LOG("Char string length not enough");
        return -1;
    }
    memcpy(szTpl, call, cbCall);
    szTpl[cbCall] = '\0';
    const char* args = call + strlen(VUROTARNLOG_T_CALL);
    std::string inner(args, (size_t)(close - args + 1));
    const char* trim = " \t\r\n\"'";
    if (QLIBCStrTokIndex(inner.c_str(), ",)", 0, szSec, cbSize) < 0 ||
        QLIBCStrTokIndex(inner.c_str(), ",)", 1, szKey, cbSize) < 0) {
        return -1;
    }
    QLIBCStrTrim(szSec, trim);
    QLIBCStrTrim(szKey, trim);
    return szSec[0] != '\0' && szKey[0] != '\0' ? 0 : -1;
}

/* Replaces the reference text in szVal by its value in the file, or by the
 * bare key when the file has none. */
static void resolveReference(char* szVal, int cbSize, const char* szFile, const char* szRef,
                             const char* szSec, const char* szKey) {
    char szValue[VUROTARNLOG_REF_MAX] = {0};
    const char* replacement = szKey;
    if (QLIBCFileGetSectionValue(szFile, szSec, szKey, szValue, sizeof(szValue)) >= 0) {
        replacement = szValue;
    }
    QLIBCStrReplace(szVal, szRef, replacement, NULL, cbSize);
}

void ParamGet(PQLIBSZLIST pslParam, const int idx, const char* szFile, char* szVal, int cbSize) {
    if (pslParam == NULL || szFile == NULL || szVal == NULL || cbSize <= 0 || idx < 0 ||
        idx >= pslParam->nItem) {
        return;
    }
    boundedCopy(szVal, pslParam->pszItem[idx], cbSize);
    char szSec[VUROTARNLOG_NAME_MAX];
    char szKey[VUROTARNLOG_NAME_MAX];
    // A parameter holds at most a few hundred references; values that refer
    // to each other in a ring would otherwise never end.
    for (int round = 0; round < VUROTARNLOG_MSG_MAX / 4 &&
                        CheckSectionKey_tpl1(szVal, szSec, szKey, sizeof(szSec)) == 0;
         round++) {
        // Rebuilt in a buffer of VUROTARNLOG_REF_MAX bytes.
        std::string ref = std::string("{") + szSec + ":" + szKey + "}";
        if (ref.size() > VUROTARNLOG_REF_MAX - 1) {
            ref.resize(VUROTARNLOG_REF_MAX - 1);
        }
        const char* szRef = ref.c_str();
        char szBefore[VUROTARNLOG_MSG_MAX];
        boundedCopy(szBefore, szVal, sizeof(szBefore));
        resolveReference(szVal, cbSize, szFile, szRef, szSec, szKey);
        if (strcmp(szBefore, szVal) == 0) {
            break;
        }
    }
    char szTpl[VUROTARNLOG_NAME_MAX];
    if (CheckSectionKey_tpl2(szVal, szSec, szKey, szTpl, sizeof(szTpl)) == 0) {
        resolveReference(szVal, cbSize, szFile, szTpl, szSec, szKey);
    }
}

int ConvertLog(const char* szSection, const char* szKey, PQLIBSZLIST pslParam,
               VURO_TARNLOG* pTARNLog) {
    VurotarnSzList langs(512);
    if (!langs) {
        syslog(LOG_ERR, "%s:%d %s:%d(%s) pslList calloc failure\n", __FILE__, __LINE__, __FILE__,
               __LINE__, __func__);
        return -1;
    }
    PQLIBSZLIST& pLangs = langs.get();
    if (QLIBCStrTok(VUROTARNLOG_LANG_LIST, ",", &pLangs) < 0) {
        return -1;
    }
    for (int i = 0; i < pLangs->nItem; i++) {
        char szTemplate[VUROTARNLOG_MSG_MAX] = {0};
        char szFile[VUROTARNLOG_NAME_MAX];
        stringFilePath(pLangs->pszItem[i], szFile, sizeof(szFile));
        if (QLIBCFileGetSectionValue(szFile, szSection, szKey, szTemplate, sizeof(szTemplate)) <
            0) {
            // The parameters of this language then come from English too.
            stringFilePath(VUROTARNLOG_LANG_FALLBACK, szFile, sizeof(szFile));
            if (QLIBCFileGetSectionValue(szFile, szSection, szKey, szTemplate, sizeof(szTemplate)) <
                0) {
                return -1;
            }
        }
        for (int p = 0; pslParam != NULL && p < pslParam->nItem; p++) {
            char szParam[VUROTARNLOG_MSG_MAX] = {0};
            ParamGet(pslParam, p, szFile, szParam, sizeof(szParam));
            std::string placeholder = "{" + std::to_string(p) + "}";
            QLIBCStrReplace(szTemplate, placeholder.c_str(), szParam, NULL, sizeof(szTemplate));
        }
        VUROTARNLogItemSetLog(pTARNLog, i, szTemplate);
    }
    return 0;
}

std::string VUROTARNConverStr(const char* szSection, const char* szKey, const char* szLang) {
    char szValue[VUROTARNLOG_MSG_MAX] = {0};
    char szFile[VUROTARNLOG_NAME_MAX];
    stringFilePath(szLang != NULL ? szLang : VUROTARNLOG_LANG_FALLBACK, szFile, sizeof(szFile));
    if (QLIBCFileGetSectionValue(szFile, szSection, szKey, szValue, sizeof(szValue)) >= 0) {
        return szValue;
    }
    stringFilePath(VUROTARNLOG_LANG_FALLBACK, szFile, sizeof(szFile));
    if (QLIBCFileGetSectionValue(szFile, szSection, szKey, szValue, sizeof(szValue)) >= 0) {
        return szValue;
    }
    return std::string();
}

int VUROTARNLogNgSend(int iLevel, const char* szUsername, const char* szContent) {
    char* szCopy = szContent != NULL ? strdup(szContent) : NULL;
    if (szCopy == NULL) {
        return -1;
    }
    setenv("USERNAME", szUsername != NULL ? szUsername : "", 1);
    int priority = iLevel <= 3 ? LOG1_ERR : iLevel <= 5 ? LOG1_WARN : LOG1_INFO;
    int rc = VUROSyslogSend(8, priority, szCopy);
    free(szCopy);
    return rc;
}

int VUROTARNLog(int iLevel, const char* szObjId, const char* szParentObjId, const char* szSection,
                const char* szKey, PQLIBSZLIST pslParam, const char* szExtraInfo) {
    VURO_TARNLOG log;
    VUROTARN_ARG_CHECK(NULL, !=, szSection, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, szKey, return -1);
    log.happen_time = time(NULL);
    if (szObjId != NULL) {
        log.str_obj_id = szObjId;
    }
    if (iLevel > 0) {
        log.level = iLevel;
    }
    if (szParentObjId != NULL) {
        log.str_parent_obj_id = szParentObjId;
    }
    if (szExtraInfo != NULL) {
        log.str_extra_info = szExtraInfo;
    }
    const char* szUser = getenv("VURO_WEBAPI_USERNAME");
    log.str_username = szUser != NULL ? szUser : "";
    if (ConvertLog(szSection, szKey, pslParam, &log) < 0) {
        VUROTARN_LOG("conver %s:%s string failed. ", szSection, szKey);
        return -1;
    }
    if (VUROTARNLogCreate(&log) < 0) {
        return -1;
    }
    return VUROTARNLogNgSend(iLevel, log.str_username.c_str(), log.str_enu.c_str());
}
