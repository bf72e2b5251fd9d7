/* gpo_version.cpp - reading the UI tables, the version map of a UI, and the
 * walk that brings each set of an effective policy to the reader's version. */
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <memory>

#include <vurocore.h>

#include "vurotarn_macro_util.h"
#include "vurotarngpo_version.h"
#include "tarngpo-ext/gpo_version_int.h"

using gpoversion::jsonInt;
using gpoversion::jsonStr;

#define GPO_UI_TABLE_PATH "/var/packages/TARN/target/ui/json/GPO-js-config.json"
#define GPO_UI_TABLE_PATH_VER "/var/packages/TARN/target/ui/json/GPO-js-config-v%d.json"

int uiConfigFileToJson(const char* szFilePath, Json::Value& jConfig) {
    std::ifstream in(VUROSysPathStr(szFilePath ? szFilePath : ""));
    if (!in.is_open()) {
        VUROTARN_TRACE_LOCATED("open file=%s, failed", szFilePath ? szFilePath : "(null)");
        return -1;
    }
    // A damaged table is not an error here: the reader of the rows finds out.
    Json::CharReaderBuilder builder;
    builder["collectComments"] = true;
    std::string strErrs;
    try {
        Json::parseFromStream(builder, in, &jConfig, &strErrs);
    } catch (const Json::Exception&) {
        // Nested beyond the reader's stack limit: damaged like any other.
    }
    return 0;
}

int uiConfigFileToJsonByVersion(Json::Value& jConfig, int iVersion) {
    char szPath[4096];
    memset(szPath, 0, sizeof(szPath));
    if (0 == iVersion) {
        snprintf(szPath, sizeof(szPath), "%s", GPO_UI_TABLE_PATH);
    } else {
        snprintf(szPath, sizeof(szPath), GPO_UI_TABLE_PATH_VER, iVersion);
    }
    if (0 > uiConfigFileToJson(szPath, jConfig)) {
        VUROTARN_TRACE_LOCATED_COND(0 > uiConfigFileToJson(szPath, jConfig));
        return -1;
    }
    return 0;
}

Json::Value GetUIVersion(int version) {
    Json::Value jUiTable(Json::objectValue);
    if (0 > uiConfigFileToJsonByVersion(jUiTable, version)) {
        VUROTARN_TRACE_LOCATED_COND(0 > uiConfigFileToJsonByVersion(jUiTable, version));
        return Json::Value();
    }
    Json::Value jResult(Json::objectValue);
    if (!jUiTable.isObject()) {
        return jResult;
    }
    for (const std::string& strModule : jUiTable.getMemberNames()) {
        const Json::Value& jRows = jUiTable[strModule];
        if (!jRows.isArray()) {
            continue;
        }
        for (const Json::Value& jRow : jRows) {
            if (!jRow.isObject() || !jRow.isMember("vuro_x_type") ||
                jsonStr(jRow["vuro_x_type"]) != "vuro_gpo_set") {
                continue;
            }
            if (!jRow.isMember("vuro_set_name") || !jRow.isMember("vuro_set_version")) {
                VUROTARN_TRACE_LOCATED("No vuro_set_name found!");
                return Json::Value();
            }
            jResult[jsonStr(jRow["vuro_set_name"])] = jRow["vuro_set_version"];
        }
    }
    return jResult;
}

namespace {

/* Steps one set with a converter from its stored version to the wanted one.
 * The texts name the set as the list row does. */
int convertWithConverter(Json::Value& jGpoContent, Json::Value& jSet, const char* szSet,
                         GpoConverter* (*pfnNew)(), const char* szNewText) {
    if (!jGpoContent.isMember(szSet) || !jSet.isMember(szSet)) {
        return 0;
    }
    Json::Value& jSetContent = jGpoContent[szSet];
    int sourceVersion = 0;
    if (!jSetContent.isObject() || !jSetContent.isMember("vuro_set_version") ||
        0 >= (sourceVersion = jsonInt(jSetContent["vuro_set_version"]))) {
        std::string s = std::string("!jGpoContent[\"") + szSet +
                        "\"].isMember(\"vuro_set_version\") || 0 >= (sourceVersion = "
                        "jGpoContent[\"" +
                        szSet + "\"][\"vuro_set_version\"].asInt())";
        VUROTARNTraceCond(__FILE__, __LINE__, s.c_str());
        return -1;
    }
    int targetVersion;
    if (0 >= (targetVersion = jsonInt(jSet[szSet]))) {
        std::string s = std::string("0 >= (targetVersion = jSet[\"") + szSet + "\"].asInt())";
        VUROTARNTraceCond(__FILE__, __LINE__, s.c_str());
        return -1;
    }
    if (sourceVersion == targetVersion) {
        return 0;
    }
    int incVersion = sourceVersion > targetVersion ? -1 : 1;
    std::unique_ptr<GpoConverter> pConv(pfnNew());
    if (NULL == pConv) {
        VUROTARNTraceCond(__FILE__, __LINE__, szNewText);
        return -1;
    }
    while (sourceVersion != targetVersion) {
        if (!pConv->convert(jSetContent, sourceVersion + incVersion)) {
            std::string s = std::string("!pConv->convert(jGpoContent[\"") + szSet +
                            "\"], sourceVersion + incVersion)";
            VUROTARNTraceCond(__FILE__, __LINE__, s.c_str());
            return -1;
        }
        sourceVersion += incVersion;
    }
    return 0;
}

}  // namespace

int VUROTARNGpoGetWithVersionConvert(Json::Value& jGpo, Json::Value& jSet) {
    VUROTARN_ARG_CHECK_TEXT(Json::objectValue == jGpo.type(), "Json::objectValue == jGpo.type()", 0,
                            return -1);
    // jSet null is an empty map: every set goes.
    VUROTARN_ARG_CHECK_TEXT(jSet.isNull() || jSet.isObject(), "Json::objectValue == jSet.type()", 0,
                            return -1);
    if (!jGpo.isMember("gpo_content")) {
        return 0;
    }
    Json::Value& jGpoContent = jGpo["gpo_content"];
    if (!jGpoContent.isObject()) {
        VUROTARN_TRACE_COND(Json::objectValue != jGpoContent.type());
        return -1;
    }

#define VUROTARN_GPO_CONVERT_ROW(name)                                              \
    if (0 > convertWithConverter(jGpoContent, jSet, #name, new##name##GpoConverter, \
                                 "NULL == (pConv = new" #name "GpoConverter())")) { \
        return -1;                                                                  \
    }
    VUROTARN_GPO_CONVERTER_LIST(VUROTARN_GPO_CONVERT_ROW)
#undef VUROTARN_GPO_CONVERT_ROW

    for (const std::string& strSetName : jGpoContent.getMemberNames()) {
        if (!jSet.isMember(strSetName)) {
            jGpoContent.removeMember(strSetName);
            continue;
        }
        const Json::Value& jSetContent = jGpoContent[strSetName];
        if (!jSetContent.isObject() || !jSetContent.isMember("vuro_set_version")) {
            VUROTARN_TRACE_LOCATED("Error!!, save gpo no vuro_set_version, skip, set=%s",
                                   strSetName.c_str());
            return -1;
        }
        int targetVersion, sourceVersion;
        if (0 >= (targetVersion = jsonInt(jSet[strSetName]))) {
            VUROTARN_TRACE_COND(0 >= (targetVersion = jSet[strSetName].asInt()));
            return -1;
        }
        if (0 >= (sourceVersion = jsonInt(jSetContent["vuro_set_version"]))) {
            VUROTARN_TRACE_COND(
                0 >= (sourceVersion = jGpoContent[strSetName]["vuro_set_version"].asInt()));
            return -1;
        }
        if (sourceVersion != targetVersion) {
            VUROTARN_TRACE_COND(sourceVersion != targetVersion);
            return -1;
        }
    }
    return 0;
}

int VUROTARNGpoGetWithVersionConvertForFetch(Json::Value& jGpo, Json::Value& jSet) {
    if (jGpo.isNull() || (jGpo.isObject() && !jGpo.isMember("gpo_content"))) {
        return 0;
    }
    if (jGpo.isObject() && jGpo["gpo_content"].isObject() && jSet.isObject()) {
        Json::Value& jGpoContent = jGpo["gpo_content"];
        for (const std::string& strSetName : jSet.getMemberNames()) {
            if (!jGpoContent.isMember(strSetName)) {
                continue;
            }
            if (!jGpoContent[strSetName].isObject() ||
                !jGpoContent[strSetName].isMember("vuro_set_version")) {
                VUROTARN_TRACE_COND(!jGpoContent[strSetName].isMember("vuro_set_version"));
                return -1;
            }
            // An older set passes as it is: the fetching server reads old versions.
            int iSetVer = jsonInt(jGpoContent[strSetName]["vuro_set_version"]);
            if (iSetVer < jsonInt(jSet[strSetName])) {
                jSet[strSetName] = iSetVer;
            }
        }
    }
    if (0 > VUROTARNGpoGetWithVersionConvert(jGpo, jSet)) {
        VUROTARN_TRACE_COND(0 > VUROTARNGpoGetWithVersionConvert(jGpo, jSet));
        return -1;
    }
    return 0;
}
