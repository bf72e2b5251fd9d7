/* delegate_name_cache.cpp - the name cache of a delegate: the user's or
 * group's name, domain and kind of account, kept in extra_info so that a
 * delegate still reads well after the account is gone. */
#include <string.h>

#include <vurojson.h>

#include "tarndelegate/vurotarndelegate_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarndelegate_target.h"

namespace {

enum AUTH_TYPE { AUTH_MIN = 0, AUTH_LOCAL = 1, AUTH_DOMAIN = 2, AUTH_LDAP = 8 };

int get_name_by_ugid(unsigned long ugid, long user_type, char* szName, size_t cbName) {
    if (user_type != VURO_TARN_TYPE_USER && user_type != VURO_TARN_TYPE_GROUP) {
        VUROTARN_TRACE_LOCATED("bad type number=%ld", user_type);
        return -1;
    }
    std::string name;
    if (!vurotarnDelegateUgName(user_type, ugid, name)) {
        return -1;
    }
    snprintf(szName, cbName, "%s", name.c_str());
    return 0;
}

const char* domainTypeText(AUTH_TYPE domainType) {
    switch (domainType) {
        case AUTH_LOCAL:
            return "local";
        case AUTH_DOMAIN:
            return "domain";
        case AUTH_LDAP:
            return "ldap";
        default:
            return NULL;
    }
}

int updateExtraInfo(VURO_TARN_DELEGATE* pDelegate, char* szName, char* szDomainName,
                    AUTH_TYPE domainType) {
    VUROTARN_ARG_CHECK_RAW(__null, !=, pDelegate, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, szName, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, szDomainName, return -1);
    VUROTARN_ARG_CHECK_RAW(AUTH_MIN, <, domainType, return -1);
    Json::Value jExtra(Json::objectValue);
    if (!pDelegate->str_extra_info.empty()) {
        // Other members of the cache survive.
        Json::Value jOld;
        if (vurojson::fromString(jOld, pDelegate->str_extra_info) && jOld.isObject()) {
            jExtra = jOld;
        }
    }
    const char* szType = domainTypeText(domainType);
    if (szType == NULL) {
        VUROTARN_TRACE_LOCATED("invalid domainType=%d", (int)domainType);
        return -1;
    }
    jExtra["userNameCache"] = szName;
    jExtra["domainName"] = szDomainName;
    jExtra["domainType"] = szType;
    pDelegate->str_extra_info = vurojson::toString(jExtra);
    return 0;
}

}  // namespace

int VURODelegatePrepareExtraInfo(VURO_TARN_DELEGATE* pDelegate) {
    VUROTARN_ARG_CHECK(NULL, !=, pDelegate, return -1);
    Json::Value jExtra;
    vurojson::fromString(jExtra, pDelegate->str_extra_info);
    char szName[4096] = {0};
    if (0 > get_name_by_ugid(pDelegate->ugid, pDelegate->user_type, szName, sizeof(szName)) ||
        0 == szName[0]) {
        // The cache stays: a deleted account keeps its last known name.
        VUROTARN_TRACE_COND(
            0 > get_name_by_ugid(pDelegate->ugid, pDelegate->user_type, _SAS(szName)) ||
            0 == szName[0]);
        return -1;
    }
    char szDomainName[4096] = {0};
    AUTH_TYPE domainType = AUTH_MIN;
    const char* szSlash = strchr(szName, '\\');
    if (szSlash != NULL) {
        if (szSlash == szName) {
            VUROTARN_TRACE_LOCATED("VURODomainSplitName failed, name=%s", szName);
        } else {
            snprintf(szDomainName, sizeof(szDomainName), "%.*s", (int)(szSlash - szName), szName);
            domainType = AUTH_DOMAIN;
        }
    } else if (strchr(szName, '@') != NULL) {
        if (VUROLDAPSplitName(szName, szDomainName, sizeof(szDomainName), NULL, 0) <= 0 ||
            szDomainName[0] == '\0') {
            VUROTARN_TRACE_LOCATED("VUROLDAPSplitName failed, name=%s", szName);
        } else {
            domainType = AUTH_LDAP;
        }
    } else {
        snprintf(szDomainName, sizeof(szDomainName), "local");
        domainType = AUTH_LOCAL;
    }
    if (AUTH_MIN == domainType) {
        VUROTARN_TRACE_COND(AUTH_MIN == domainType);
        return -1;
    }
    // A cache without its three texts (absent, or damaged in the database)
    // is written anew from the name just read.
    if (!jExtra.isObject() || !jExtra["domainType"].isString() ||
        !jExtra["domainName"].isString() || !jExtra["userNameCache"].isString()) {
        return updateExtraInfo(pDelegate, szName, szDomainName, domainType);
    }
    // Only a rename inside the cached domain is followed; an id that now
    // resolves elsewhere keeps the identity it had.
    std::string strCachedType = jExtra["domainType"].asString();
    if ((domainType == AUTH_DOMAIN && strCachedType != "domain") ||
        (domainType == AUTH_LDAP && strCachedType != "ldap") ||
        jExtra["domainName"].asString() != szDomainName ||
        jExtra["userNameCache"].asString() == szName) {
        return 0;
    }
    if (0 > updateExtraInfo(pDelegate, szName, szDomainName, domainType)) {
        VUROTARN_TRACE_COND(0 > updateExtraInfo(pDelegate, szName, szDomainName, domainType));
        return -1;
    }
    return 0;
}

int VURODelegateUpdateExtraInfoList(VURO_TARN_DELEGATE* pDelegateHead, BOOL blForceUpdate) {
    for (VURO_TARN_DELEGATE* pDelegateCur = pDelegateHead; pDelegateCur != NULL;
         pDelegateCur = pDelegateCur->pNext) {
        if (pDelegateCur->user_type != VURO_TARN_TYPE_USER &&
            pDelegateCur->user_type != VURO_TARN_TYPE_GROUP) {
            VUROTARN_TRACE_COND(pDelegateCur->user_type != VURO_TARN_TYPE_USER &&
                                pDelegateCur->user_type != VURO_TARN_TYPE_GROUP);
            continue;
        }
        if (!blForceUpdate && !pDelegateCur->str_extra_info.empty()) {
            continue;
        }
        if (!VUROTARN_CHECK(0 <= VURODelegatePrepareExtraInfo(pDelegateCur))) {
            continue;
        }
        VUROTARN_CHECK(0 <= VUROTARNDelegateSet(pDelegateCur));
    }
    return 0;
}
