/* vurotarngpo_version.h - bringing the sets of an effective policy to the
 * versions a reader understands: sets it does not know are dropped, sets
 * with a converter are stepped one version at a time, the rest must match.
 * Which attribute lives in which version comes from the UI tables. */
#ifndef VUROTARNGPO_VERSION_H
#define VUROTARNGPO_VERSION_H

#include <string>

#include <json/json.h>

#include "vurotarn_type.h"

/* Reads the JSON file at the system path szFilePath into jConfig. A file
 * that opens but does not parse still gives 0. 0 or -1. */
VUROTARN_API int uiConfigFileToJson(const char* szFilePath, Json::Value& jConfig);
/* Reads the UI table of iVersion: 0 is the current table. 0 or -1. */
VUROTARN_API int uiConfigFileToJsonByVersion(Json::Value& jConfig, int iVersion);

/* The set versions UI version `version` understands, as {"Samba":3,...};
 * the null value when the table is missing or a set row is incomplete. */
VUROTARN_API Json::Value GetUIVersion(int version);

/* Brings every set of jGpo["gpo_content"] to its version in jSet, dropping
 * sets jSet does not name. jGpo may be partly converted on failure. 0 or -1. */
VUROTARN_API int VUROTARNGpoGetWithVersionConvert(Json::Value& jGpo, Json::Value& jSet);
/* The same for a server fetching its policy: a set is never raised, and
 * jSet is lowered to the versions of older sets. 0 or -1. */
VUROTARN_API int VUROTARNGpoGetWithVersionConvertForFetch(Json::Value& jGpo, Json::Value& jSet);

/* Converts one set between its versions. Made for one conversion; reads the
 * current UI table when constructed. */
class VUROTARN_API GpoConverter {
public:
    explicit GpoConverter(const std::string& strSetName);
    virtual ~GpoConverter();
    /* One step: targetVersion is the set's version plus or minus one. */
    virtual bool convert(Json::Value& jGpo, int targetVersion) = 0;

    /* Adds and removes attributes by their version ranges in the current
     * table, and sets the set's version to iTargetVer. 0 or -1. */
    int DefaultConverter(Json::Value& jSetContent, int iTargetVer);
    /* Sets jSetContent[strAttr] to jDefault read as strType. 0 or -1. */
    int AddDefaultValue(std::string& strAttr, Json::Value& jSetContent, Json::Value& jDefault,
                        std::string strType);
    /* 1 when version lies in [strStart, strEnd] (empty end: open), 0 when
     * not, -1 when strStart is empty. */
    int VersionInRange(int version, std::string& strStart, std::string& strEnd);

    GpoConverter(const GpoConverter&) = delete;
    GpoConverter& operator=(const GpoConverter&) = delete;

protected:
    std::string m_strSetName;
    Json::Value m_jUiTable;
};

/* The file service set: versions 1, 2 and 3. From 3 on the maximum protocol
 * replaces the SMB2/large MTU switch, and transport encryption appears. */
class VUROTARN_API SambaGpoConverter : public GpoConverter {
public:
    SambaGpoConverter();
    bool convert(Json::Value& jGpo, int targetVersion) override;

private:
    bool convert1to2(Json::Value& jGpo);
    bool convert2to1(Json::Value& jGpo);
    bool convert2to3(Json::Value& jGpo);
    bool convert3to2(Json::Value& jGpo);
};

/* A new converter for "Samba"; delete it through the base class. */
VUROTARN_API GpoConverter* newSambaGpoConverter();

#endif
