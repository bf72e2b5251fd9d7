/* gpo_set_converter.cpp - converting one policy set between versions: the
 * table-driven part common to all sets, and the value changes of "Samba". */
#include <cstdlib>
#include <new>

#include "vurotarn_macro_util.h"
#include "vurotarngpo_version.h"
#include "tarngpo-ext/gpo_version_int.h"

using gpoversion::jsonBool;
using gpoversion::jsonInt;
using gpoversion::jsonStr;

GpoConverter::GpoConverter(const std::string& strSetName) : m_strSetName(strSetName) {
    // A missing table leaves the member null; DefaultConverter reports it.
    uiConfigFileToJsonByVersion(m_jUiTable, 0);
}

GpoConverter::~GpoConverter() {}

int GpoConverter::VersionInRange(int version, std::string& strStart, std::string& strEnd) {
    if (strStart == std::string("")) {
        VUROTARN_TRACE_COND(strStart == std::string(""));
        return -1;
    }
    if (version < strtol(strStart.c_str(), NULL, 10)) {
        return 0;
    }
    if (strEnd.empty()) {
        return 1;
    }
    return version <= strtol(strEnd.c_str(), NULL, 10) ? 1 : 0;
}

int GpoConverter::AddDefaultValue(std::string& strAttr, Json::Value& jSetContent,
                                  Json::Value& jDefault, std::string strType) {
    if (jsonStr(jDefault).empty()) {
        return -1;
    }
    if (strType == "string") {
        jSetContent[strAttr] = jsonStr(jDefault);
    } else if (strType == "bool") {
        jSetContent[strAttr] = jsonBool(jDefault);
    } else if (strType == "int") {
        jSetContent[strAttr] = jsonInt(jDefault);
    } else if (strType == "object" || strType == "array") {
        VUROTARN_TRACE_LOCATED("cannot add default value ,type is object or array, attr=%s",
                               strAttr.c_str());
        return -1;
    } else {
        VUROTARN_TRACE_LOCATED("unknow type to set default value");
        return -1;
    }
    return 0;
}

int GpoConverter::DefaultConverter(Json::Value& jSetContent, int iTargetVer) {
    if (!jSetContent.isObject() || !jSetContent.isMember("vuro_set_version")) {
        VUROTARN_TRACE_COND(!jSetContent.isMember("vuro_set_version"));
        return -1;
    }
    int iCurrVer = jsonInt(jSetContent["vuro_set_version"]);
    if (0 == iCurrVer) {
        VUROTARN_TRACE_COND(0 == (iCurrVer = jSetContent["vuro_set_version"].asInt()));
        return -1;
    }
    if (iCurrVer == iTargetVer) {
        return 0;
    }

    // The first module (in key order) holding a row of this set has them all.
    bool blFind = false;
    Json::Value jUiModule;
    if (m_jUiTable.isObject()) {
        for (const std::string& strModule : m_jUiTable.getMemberNames()) {
            const Json::Value& jRows = m_jUiTable[strModule];
            if (!jRows.isArray()) {
                continue;
            }
            for (Json::ArrayIndex i = 0; i < jRows.size() && !blFind; i++) {
                if (jRows[i].isObject() && jsonStr(jRows[i]["vuro_set_name"]) == m_strSetName) {
                    blFind = true;
                    jUiModule = jRows;
                }
            }
            if (blFind) {
                break;
            }
        }
    }
    if (!blFind || jUiModule == Json::nullValue) {
        VUROTARN_TRACE_COND(!blFind || jUiModule == Json::nullValue);
        return -1;
    }

    for (Json::ArrayIndex j = 0; j < jUiModule.size(); j++) {
        Json::Value& jRow = jUiModule[j];
        if (!jRow.isObject() || jsonStr(jRow["vuro_set_name"]) != m_strSetName ||
            jsonStr(jRow["vuro_api_name"]).empty()) {
            continue;
        }
        std::string strAttr = jsonStr(jRow["vuro_json_key_name"]);
        std::string strAttrVerStart = jsonStr(jRow["vuro_set_version"]);
        std::string strAttrVerEnd = jsonStr(jRow["vuro_set_version_end"]);
        int err;
        if (0 > (err = VersionInRange(iTargetVer, strAttrVerStart, strAttrVerEnd))) {
            VUROTARN_TRACE_COND(0 >
                                (err = VersionInRange(iTargetVer, strAttrVerStart, strAttrVerEnd)));
            return -1;
        }
        bool blHas = jSetContent.isMember(strAttr);
        if (blHas && 0 == err) {
            jSetContent.removeMember(strAttr);
        } else if (!blHas && 1 == err &&
                   0 == VersionInRange(iCurrVer, strAttrVerStart, strAttrVerEnd)) {
            // New in this direction: the table's default fills it.
            if (0 > AddDefaultValue(strAttr, jSetContent, jRow["vuro_default_value"],
                                    jsonStr(jRow["vuro_api_type"]))) {
                VUROTARNTraceCond(__FILE__, __LINE__,
                                  "0 > AddDefaultValue(strAttr, jSetContent, "
                                  "jUiModule[j][\"vuro_default_value\"], "
                                  "jUiModule[j][\"vuro_api_type\"].asString())");
                return -1;
            }
        }
    }
    jSetContent["vuro_set_version"] = iTargetVer;
    return 0;
}

SambaGpoConverter::SambaGpoConverter() : GpoConverter("Samba") {}

bool SambaGpoConverter::convert(Json::Value& jGpo, int targetVersion) {
    if (!jGpo.isObject() || !jGpo.isMember("vuro_set_version")) {
        VUROTARN_TRACE_COND(!jGpo.isMember("vuro_set_version"));
        return false;
    }
    int sourceVersion = jsonInt(jGpo["vuro_set_version"]);
    if (sourceVersion == targetVersion) {
        return true;
    }
    // In 64 bits: a stored version may be INT_MAX or INT_MIN.
    long long step = (long long)targetVersion - sourceVersion;
    if (step != 1 && step != -1) {
        VUROTARN_TRACE_COND(targetVersion != sourceVersion + 1 &&
                            targetVersion != sourceVersion - 1);
        return false;
    }
    if (1 == sourceVersion && 2 == targetVersion) {
        if (!convert1to2(jGpo)) {
            VUROTARN_TRACE_COND(!convert1to2(jGpo));
            return false;
        }
    } else if (2 == sourceVersion && 1 == targetVersion) {
        if (!convert2to1(jGpo)) {
            VUROTARN_TRACE_COND(!convert2to1(jGpo));
            return false;
        }
    } else if (2 == sourceVersion && 3 == targetVersion) {
        if (!convert2to3(jGpo)) {
            VUROTARN_TRACE_COND(!convert2to3(jGpo));
            return false;
        }
    } else if (3 == sourceVersion && 2 == targetVersion) {
        if (!convert3to2(jGpo)) {
            VUROTARN_TRACE_COND(!convert3to2(jGpo));
            return false;
        }
    } else {
        return false;
    }
    return true;
}

bool SambaGpoConverter::convert1to2(Json::Value& jGpo) {
    if (!jGpo.isMember("vuro_set_version") || 1 != jsonInt(jGpo["vuro_set_version"])) {
        VUROTARN_TRACE_COND(!jGpo.isMember("vuro_set_version") ||
                            1 != jGpo["vuro_set_version"].asInt());
        return false;
    }
    if (0 > DefaultConverter(jGpo, 2)) {
        VUROTARN_TRACE_COND(0 > DefaultConverter(jGpo, 2));
        return false;
    }
    return true;
}

bool SambaGpoConverter::convert2to1(Json::Value& jGpo) {
    if (!jGpo.isMember("vuro_set_version") || 2 != jsonInt(jGpo["vuro_set_version"])) {
        VUROTARN_TRACE_COND(!jGpo.isMember("vuro_set_version") ||
                            2 != jGpo["vuro_set_version"].asInt());
        return false;
    }
    if (0 > DefaultConverter(jGpo, 1)) {
        VUROTARN_TRACE_COND(0 > DefaultConverter(jGpo, 1));
        return false;
    }
    return true;
}

bool SambaGpoConverter::convert2to3(Json::Value& jGpo) {
    if (!jGpo.isMember("vuro_set_version") || 2 != jsonInt(jGpo["vuro_set_version"])) {
        VUROTARN_TRACE_COND(!jGpo.isMember("vuro_set_version") ||
                            2 != jGpo["vuro_set_version"].asInt());
        return false;
    }
    // SMB2 with large MTU was the top of version 2; version 3 counts it as 2.
    if (jGpo.isMember("smb2_and_large_mtu_enable")) {
        bool blOn = jsonBool(jGpo["smb2_and_large_mtu_enable"]);
        jGpo.removeMember("smb2_and_large_mtu_enable");
        jGpo["smb_max_protocol"] = blOn ? 2 : 0;
    }
    if (0 > DefaultConverter(jGpo, 3)) {
        VUROTARN_TRACE_COND(0 > DefaultConverter(jGpo, 3));
        return false;
    }
    return true;
}

bool SambaGpoConverter::convert3to2(Json::Value& jGpo) {
    if (!jGpo.isMember("vuro_set_version") || 3 != jsonInt(jGpo["vuro_set_version"])) {
        VUROTARN_TRACE_COND(!jGpo.isMember("vuro_set_version") ||
                            3 != jGpo["vuro_set_version"].asInt());
        return false;
    }
    if (jGpo.isMember("smb_max_protocol")) {
        jGpo["smb2_and_large_mtu_enable"] = jsonInt(jGpo["smb_max_protocol"]) > 0;
        jGpo.removeMember("smb_max_protocol");
    }
    jGpo.removeMember("smb_encrypt_transport");  // version 2 cannot encrypt
    if (0 > DefaultConverter(jGpo, 2)) {
        VUROTARN_TRACE_COND(0 > DefaultConverter(jGpo, 2));
        return false;
    }
    return true;
}

GpoConverter* newSambaGpoConverter() { return new (std::nothrow) SambaGpoConverter(); }
