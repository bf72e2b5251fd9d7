/* gpo_evaluate.cpp - evaluation: one walk down the order list, where a
 * policy set belongs to the first policy that has it. Nothing is merged
 * below the level of a whole set, and versions are left to the converter. */
#include <vurojson.h>

#include "vurotarn_macro_util.h"
#include "vurotarngpo_evaluate.h"
#include "vurotarngpo_link.h"

int GpoMergeContent(Json::Value& jGpoNew, const Json::Value& jGpoOld, long gpoIdOld,
                    const std::string& gpoName) {
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
        if (blHasNew && jGpoNew["gpo_content"].isMember(name)) {
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

int EvaluateByPriorityList(Json::Value& jTargetGpo, const Json::Value& jApplyLink) {
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
        long id = (long)jApplyLink[i]["id"].asInt64();
        if (0 > VUROTARNGpoGet(id, &gpo)) {
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
        if (0 > GpoMergeContent(jTargetGpo, jGpoSetting, id, gpo.str_name)) {
            VUROTARN_TRACE_LOCATED_COND(
                0 > GpoMergeContent(jTargetGpo, jGpoSetting, id, gpo.str_name));
            return -1;
        }
    }
    return 0;
}

int VUROTARNGpoGetEvaluate(long id, long type, Json::Value& jGpo, char* szLinkOrder) {
    VUROTARN_ARG_CHECK(0, <=, id, return -1);
    VUROTARN_ARG_CHECK(0, <=, type, return -1);
    VUROTARN_ARG_CHECK_TEXT(Json::objectValue == jGpo.type(), "Json::objectValue == jGpo.type()",
                            0, return -1);
    Json::Value jGpoLink(Json::arrayValue);
    if (szLinkOrder != NULL && szLinkOrder[0] != '\0') {
        if (!vurojson::fromString(jGpoLink, szLinkOrder)) {
            VUROTARN_TRACE_LOCATED_COND(!jGpoLink.fromString(szLinkOrder));
            return -1;
        }
    } else if (0 > VUROTARNGpoGetOrder(id, type, jGpoLink)) {
        VUROTARN_TRACE_LOCATED_COND(0 > VUROTARNGpoGetOrder(id, type, jGpoLink));
        return -1;
    }
    if (0 > EvaluateByPriorityList(jGpo, jGpoLink)) {
        VUROTARN_TRACE_LOCATED_COND(0 > EvaluateByPriorityList(jGpo, jGpoLink));
        return -1;
    }
    return 0;
}

int VUROTARNGpoGetEvaluateStr(long id, long type, std::string& szjGpoEvaluate,
                              BOOL blHumanReadGpo, char* szLinkOrder) {
    VUROTARN_ARG_CHECK(0, <=, id, return -1);
    VUROTARN_ARG_CHECK(0, <=, type, return -1);
    Json::Value jGpo(Json::objectValue);
    if (VUROTARNGpoGetEvaluate(id, type, jGpo, szLinkOrder) < 0) {
        return -1;
    }
    szjGpoEvaluate = blHumanReadGpo ? jGpo.toStyledString() : vurojson::toString(jGpo);
    return 0;
}
