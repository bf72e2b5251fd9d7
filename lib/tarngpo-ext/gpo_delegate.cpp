/* gpo_delegate.cpp - the delegates set of a peer: one entry per user or
 * group delegated on the peer or on an OU above it, grouped by the kind of
 * account and its domain, from the delegates' name caches. */
#include <string.h>

#include <vurojson.h>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarn_sqlite.h"
#include "vurotarn_tree.h"
#include "vurotarndelegate_target.h"
#include "vurotarngpo_delegate.h"

int GetDelegateList(long peerId, VURO_TARN_DELEGATE** ppDelegateHead) {
    VUROTARN_ARG_CHECK(0, <=, peerId, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, ppDelegateHead, return -1);
    VurotarnSzList ouPath(512);
    VurotarnHash hashSql(512);
    PQLIBSZLIST pOuPath = ouPath.get();  // as the trace names it
    if (!ouPath || !hashSql || !VUROTARN_CHECK(0 <= VUROTARNPeerListTreePath(peerId, pOuPath))) {
        return -1;
    }
    // A ugid delegated on any OU of the path qualifies, and so do the
    // peer's own delegates; one row per holder.
    char szSql[4096] = {0};
    snprintf(szSql, sizeof(szSql), " ugid in ( select distinct ugid from delegate where ");
    VUROTARNSQLIn("target_id", pOuPath, szSql + strlen(szSql), sizeof(szSql) - strlen(szSql));
    snprintf(szSql + strlen(szSql), sizeof(szSql) - strlen(szSql), " and target_type=%d ) ",
             VURO_TARN_TYPE_OU);
    snprintf(szSql + strlen(szSql), sizeof(szSql) - strlen(szSql),
             " OR ( target_type=%d and target_id=%ld) group by ugid, user_type order by "
             "user_type, ugid",
             VURO_TARN_TYPE_PEER, peerId);
    size_t count = 0;
    if (!hashSql.set("sqlWhere", szSql) ||
        VUROTARNDelegateList(hashSql.get(), ppDelegateHead, &count) < 0) {
        return -1;
    }
    return 0;
}

int VUROTARNGpoGetPolicyDelegate(long peerId, Json::Value& jGpo, Json::Value& jSet) {
    VUROTARN_ARG_CHECK(0, <=, peerId, return -1);
    if (!jSet.isObject() || !jSet.isMember("Delegate")) {
        return 0;  // the reader does not know the set
    }
    // The set goes into gpo_content: a caller's policy of another shape has
    // no place for it.
    const Json::Value& jGpoRead = jGpo;  // a look that adds no member
    if (!(jGpo.isNull() || jGpo.isObject()) ||
        !(jGpoRead["gpo_content"].isNull() || jGpoRead["gpo_content"].isObject())) {
        VUROTARN_TRACE_LOCATED_COND(!jGpo["gpo_content"].isObject());
        return -1;
    }
    VurotarnList<VURO_TARN_DELEGATE> delegates;
    VURO_TARN_DELEGATE*& pDelegateHead = delegates.p;  // as the trace names it
    if (0 > GetDelegateList(peerId, &pDelegateHead)) {
        VUROTARN_TRACE_COND(0 > GetDelegateList(peerId, &pDelegateHead));
        return -1;
    }
    VURODelegateUpdateExtraInfoList(pDelegateHead, FALSE);
    Json::Value jDelegate(Json::objectValue);
    for (VURO_TARN_DELEGATE* pDelegateCur = pDelegateHead; pDelegateCur != NULL;
         pDelegateCur = pDelegateCur->pNext) {
        if (pDelegateCur->str_extra_info.empty()) {
            VUROTARN_TRACE_COND(pDelegateCur->str_extra_info.empty());
            continue;
        }
        Json::Value jExtra;
        vurojson::fromString(jExtra, pDelegateCur->str_extra_info);
        if (!jExtra.isObject() || !jExtra.isMember("userNameCache")) {
            VUROTARN_TRACE_COND(!jExtra.isMember("userNameCache"));
            continue;
        }
        if (!jExtra.isMember("domainType")) {
            VUROTARN_TRACE_COND(!jExtra.isMember("domainType"));
            continue;
        }
        // The cache is stored text anyone with the database can damage; a
        // kind or domain that is no text cannot be placed in the set.
        if (!jExtra["domainType"].isString() ||
            (jExtra.isMember("domainName") && !jExtra["domainName"].isString())) {
            VUROTARN_TRACE_COND(!jExtra["domainType"].isString());
            continue;
        }
        Json::Value jUser = jExtra;
        jUser["id"] = (Json::UInt64)pDelegateCur->ugid;
        jUser["is_user"] = pDelegateCur->user_type == VURO_TARN_TYPE_USER;
        std::string strDomainType = jExtra["domainType"].asString();
        std::string strDomain;
        if (jExtra.isMember("domainName")) {
            strDomain = jExtra["domainName"].asString();
        } else if (strDomainType != "local") {
            VUROTARN_TRACE_COND(strDomainType != "local");
            continue;
        }
        if (strDomainType == "domain" || strDomainType == "ldap") {
            Json::Value& jList = jDelegate[strDomainType][strDomain];
            if (!jList.isArray()) jList = Json::Value(Json::arrayValue);
            jList.append(jUser);
        } else {
            Json::Value& jList = jDelegate[strDomainType];
            if (!jList.isArray()) jList = Json::Value(Json::arrayValue);
            jList.append(jUser);
        }
    }
    jDelegate["vuro_set_version"] = 1;
    jGpo["gpo_content"]["Delegate"] = jDelegate;
    return 0;
}
