/* answer.cpp - the far side's answers that steer a request: the discovery
 * table (which path and format an API has) and the relay lookup's answer.
 * Both come from machines this server does not control. */
#include "answer_int.h"

#include "vurocredential.h"
#include "vurojson.h"

namespace vurocred {

bool RelayFail(Json::Value& js, const std::string& strWhy) {
    Json::Value err(Json::objectValue);
    err["error"] = strWhy;
    js = err;
    return false;
}

int DiscoveryAnswerRead(const std::string& strAnswer, const std::string& strApi, int iVersion,
                        std::string& strPath, std::string& strFormat, std::string& strWhy) {
    Json::Value js;
    if (!vurojson::fromString(js, strAnswer) || !js.isObject() || !js["success"].isBool() ||
        !js["success"].asBool() || !js["data"].isObject()) {
        strWhy = "discovery";
        return CRED_REQ_ERR_BAD_ANSWER;
    }
    const Json::Value& entry = js["data"][strApi];
    if (!entry.isObject()) {
        strWhy = strApi;
        return CRED_REQ_ERR_NO_API;
    }
    const Json::Value& jPath = entry["path"];
    const Json::Value& jMin = entry["minVersion"];
    const Json::Value& jMax = entry["maxVersion"];
    const Json::Value& jFormat = entry["requestFormat"];
    if (!jPath.isString() || jPath.asString().empty() || jPath.asString()[0] != '/' ||
        jPath.asString().find_first_of("?# \r\n") != std::string::npos || !jMin.isInt() ||
        !jMax.isInt() || !jFormat.isString() ||
        (jFormat.asString() != "JSON" && jFormat.asString() != "form")) {
        strWhy = "discovery entry of " + strApi;
        return CRED_REQ_ERR_BAD_ANSWER;
    }
    if (iVersion < jMin.asInt() || iVersion > jMax.asInt()) {
        strWhy = strApi + " " + std::to_string(iVersion);
        return CRED_REQ_ERR_VERSION;
    }
    strPath = jPath.asString();
    strFormat = jFormat.asString();
    return CRED_REQ_ERR_NONE;
}

bool RelayAnswerRead(int iErr, const std::string& strAnswer, Json::Value& js) {
    Json::Value answer;
    bool parsed = vurojson::fromString(answer, strAnswer) && answer.isObject();
    if (iErr != CRED_REQ_ERR_NONE) {
        if (parsed) {
            js = answer;
            return false;
        }
        return RelayFail(js, VUROCredErrorText(iErr));
    }
    if (!parsed) {
        return RelayFail(js, "answer is no JSON object");
    }
    // Either the usual {"success","data"} envelope or the bare object.
    Json::Value info = answer;
    if (answer.isMember("success")) {
        if (!answer["success"].isBool() || !answer["success"].asBool() ||
            !answer["data"].isObject()) {
            js = answer;
            return false;
        }
        info = answer["data"];
    }
    if (!info["host"].isString() || info["host"].asString().empty()) {
        js = answer;
        return false;
    }
    js = info;
    return true;
}

}  // namespace vurocred
