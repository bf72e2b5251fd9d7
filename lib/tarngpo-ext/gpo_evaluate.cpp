/* gpo_evaluate.cpp - evaluation: one walk down the order list, where a
 * policy set belongs to the first policy that has it. Nothing is merged
 * below the level of a whole set, and versions are left to the converter. */
#include <map>

#include <vurojson.h>

#include "common/vurotarn_json_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarngpo_evaluate.h"
#include "vurotarngpo_link.h"
#include "tarngpo-ext/gpo_ext_int.h"

namespace {

int gpoMergeObserved(Json::Value& jGpoNew, const Json::Value& jGpoOld, long gpoIdOld,
                     const std::string& gpoName, const GpoSetObserver* pObserver) {
    VUROTARN_ARG_CHECK_TEXT(Json::objectValue == jGpoNew.type(),
                            "Json::objectValue == jGpoNew.type()", 0, return -1);
    VUROTARN_ARG_CHECK_TEXT(Json::objectValue == jGpoOld.type(),
                            "Json::objectValue == jGpoOld.type()", 0, return -1);
    if (!jGpoOld.isMember("gpo_content") || !jGpoOld["gpo_content"].isObject()) {
        return 0;
    }
    const Json::Value& jContent = jGpoOld["gpo_content"];
    bool blHasNew = jGpoNew.isMember("gpo_content") && jGpoNew["gpo_content"].isObject();
    Json::Value jMerged = blHasNew ? jGpoNew["gpo_content"] : Json::Value(Json::objectValue);
    for (const std::string& name : jContent.getMemberNames()) {
        bool blTaken = !(blHasNew && jGpoNew["gpo_content"].isMember(name));
        if (pObserver != NULL) (*pObserver)(name, gpoIdOld, blTaken);
        if (!blTaken) {
            continue;  // an earlier policy supplied this set
        }
        jMerged[name] = jContent[name];
        if (jMerged[name].isObject()) {
            jMerged[name]["gpo_id"] = (Json::Int64)gpoIdOld;
            jMerged[name]["gpo_name"] = gpoName;
        }
    }
    if (jContent.size() > 0) {
        jGpoNew["gpo_content"] = jMerged;
    }
    return 0;
}

}  // namespace

int GpoMergeContent(Json::Value& jGpoNew, const Json::Value& jGpoOld, long gpoIdOld,
                    const std::string& gpoName) {
    return gpoMergeObserved(jGpoNew, jGpoOld, gpoIdOld, gpoName, NULL);
}

int EvaluateByPriorityList(GpoRowSource& rows, Json::Value& jTargetGpo,
                           const Json::Value& jApplyLink, const GpoSetObserver* pObserver) {
    VUROTARN_ARG_CHECK_TEXT(Json::objectValue == jTargetGpo.type(),
                            "Json::objectValue == jTargetGpo.type()", 0, return -1);
    VUROTARN_ARG_CHECK_TEXT(Json::arrayValue == jApplyLink.type(),
                            "Json::arrayValue == jApplyLink.type()", 0, return -1);
    for (Json::ArrayIndex i = 0; i < jApplyLink.size(); i++) {
        VURO_TARN_GPO gpo;
        Json::Value jGpoSetting(Json::objectValue);
        if (!jApplyLink[i].isObject() || false == jApplyLink[i].isMember("id")) {
            VUROTARN_TRACE_LOCATED_COND(false == jApplyLink[i].isMember("id"));
            return -1;
        }
        long id = (long)vurotarnJsonInt64(jApplyLink[i]["id"]);
        if (0 > rows.gpoGet(id, &gpo)) {
            VUROTARN_TRACE_LOCATED_COND(0 > VUROTARNGpoGet(id, &gpo));
            return -1;
        }
        if (gpo.str_setting.empty()) {
            continue;
        }
        if (!vurojson::fromString(jGpoSetting, gpo.str_setting)) {
            VUROTARN_TRACE_LOCATED_COND(!jGpoSetting.fromString((gpo.str_setting)));
            return -1;
        }
        if (0 > gpoMergeObserved(jTargetGpo, jGpoSetting, id, gpo.str_name, pObserver)) {
            VUROTARN_TRACE_LOCATED_COND(0 >
                                        GpoMergeContent(jTargetGpo, jGpoSetting, id, gpo.str_name));
            return -1;
        }
    }
    return 0;
}

namespace {

int gpoEvaluateByOrder(GpoRowSource& rows, Json::Value& jGpo, const Json::Value& jGpoLink) {
    if (0 > EvaluateByPriorityList(rows, jGpo, jGpoLink)) {
        VUROTARN_TRACE_LOCATED_COND(0 > EvaluateByPriorityList(jGpo, jGpoLink));
        return -1;
    }
    return 0;
}

}  // namespace

int gpoEvaluate(GpoRowSource& rows, long id, long type, Json::Value& jGpo) {
    Json::Value jGpoLink(Json::arrayValue);
    if (0 > gpoOrderWalk(rows, id, type, jGpoLink, NULL)) {
        VUROTARN_TRACE_LOCATED_COND(0 > VUROTARNGpoGetOrder(id, type, jGpoLink));
        return -1;
    }
    return gpoEvaluateByOrder(rows, jGpo, jGpoLink);
}

int VUROTARNGpoGetEvaluate(long id, long type, Json::Value& jGpo, char* szLinkOrder) {
    VUROTARN_ARG_CHECK(0, <=, id, return -1);
    VUROTARN_ARG_CHECK(0, <=, type, return -1);
    VUROTARN_ARG_CHECK_TEXT(Json::objectValue == jGpo.type(), "Json::objectValue == jGpo.type()", 0,
                            return -1);
    Json::Value jGpoLink(Json::arrayValue);
    if (szLinkOrder != NULL && szLinkOrder[0] != '\0') {
        if (!vurojson::fromString(jGpoLink, szLinkOrder)) {
            VUROTARN_TRACE_LOCATED_COND(!jGpoLink.fromString(szLinkOrder));
            return -1;
        }
        return gpoEvaluateByOrder(gpoRowsStored(), jGpo, jGpoLink);
    }
    return gpoEvaluate(gpoRowsStored(), id, type, jGpo);
}

int VUROTARNGpoGetEvaluateStr(long id, long type, std::string& szjGpoEvaluate, BOOL blHumanReadGpo,
                              char* szLinkOrder) {
    VUROTARN_ARG_CHECK(0, <=, id, return -1);
    VUROTARN_ARG_CHECK(0, <=, type, return -1);
    Json::Value jGpo(Json::objectValue);
    if (VUROTARNGpoGetEvaluate(id, type, jGpo, szLinkOrder) < 0) {
        return -1;
    }
    szjGpoEvaluate = blHumanReadGpo ? jGpo.toStyledString() : vurojson::toString(jGpo);
    return 0;
}

namespace {

Json::Value explainEntry(const Json::Value& jLink, long gpoId) {
    Json::Value j;
    j["gpo_id"] = (Json::Int64)gpoId;
    for (const char* key : {"gpo_name", "node_id", "node_type", "override", "reason"}) {
        if (jLink.isMember(key)) j[key] = jLink[key];
    }
    if (!j.isMember("override")) j["override"] = 0;
    return j;
}

}  // namespace

int VUROTARNGpoGetEvaluateExplain(long id, long type, Json::Value& jExplain) {
    VUROTARN_ARG_CHECK(0, <=, id, return -1);
    VUROTARN_ARG_CHECK(0, <=, type, return -1);
    return gpoExplain(gpoRowsStored(), id, type, jExplain);
}

int gpoExplain(GpoRowSource& rows, long id, long type, Json::Value& jExplain) {
    Json::Value jGpoLink(Json::arrayValue);
    Json::Value jPassedOver(Json::arrayValue);
    if (0 > gpoOrderWalk(rows, id, type, jGpoLink, &jPassedOver)) {
        return -1;
    }
    std::map<long, Json::Value> links;
    for (const Json::Value& j : jGpoLink) links[(long)vurotarnJsonInt64(j["id"])] = j;
    Json::Value jSets(Json::objectValue);
    // The evaluation itself, watched set by set.
    GpoSetObserver observer = [&](const std::string& set, long gpoId, bool taken) {
        Json::Value jEntry = explainEntry(links[gpoId], gpoId);
        if (taken) {
            jSets[set]["winner"] = jEntry;
            jSets[set]["losers"] = Json::Value(Json::arrayValue);
        } else {
            jEntry["reason"] = "later in the order";
            jSets[set]["losers"].append(jEntry);
        }
    };
    Json::Value jGpo(Json::objectValue);
    if (0 > EvaluateByPriorityList(rows, jGpo, jGpoLink, &observer)) {
        return -1;
    }
    // Policies a block kept out: each of their sets lost to that.
    Json::Value jUnreadable(Json::arrayValue);
    for (const Json::Value& jNote : jPassedOver) {
        if (!jNote.isMember("id")) {
            jUnreadable.append(jNote);
            continue;
        }
        VURO_TARN_GPO gpo;
        Json::Value jSetting;
        long gpoId = (long)vurotarnJsonInt64(jNote["id"]);
        if (rows.gpoGet(gpoId, &gpo) != 0 || !vurojson::fromString(jSetting, gpo.str_setting) ||
            !jSetting.isObject() || !jSetting["gpo_content"].isObject()) {
            continue;
        }
        for (const std::string& set : jSetting["gpo_content"].getMemberNames()) {
            if (!jSets[set].isMember("losers"))
                jSets[set]["losers"] = Json::Value(Json::arrayValue);
            jSets[set]["losers"].append(explainEntry(jNote, gpoId));
        }
    }
    jExplain = Json::Value(Json::objectValue);
    jExplain["order"] = jGpoLink;
    jExplain["sets"] = jSets;
    jExplain["unreadable_links"] = jUnreadable;
    jExplain["effective"] = jGpo;
    return 0;
}
