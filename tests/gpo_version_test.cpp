/* gpo_version_test.cpp - policy sets brought to a reader's versions: the
 * version map of a UI, Samba stepped through every version between, sets
 * dropped, kept or refused. */
#include <memory>

#include <vurojson.h>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

namespace {

const char* const kTable = "/var/packages/TARN/target/ui/json/GPO-js-config.json";

}  // namespace

class VersionTest : public TarnTest {
protected:
    /* Rewrites the attribute row of key in the current table. */
    void tableRowSet(const std::string& key, const std::string& member, const Json::Value& v) {
        Json::Value t = parse(readFile(sys(kTable)));
        for (Json::Value& row : t["file_service_smb"]) {
            if (row["vuro_json_key_name"].asString() == key) row[member] = v;
        }
        writeFile(sys(kTable), vurojson::toString(t));
    }
};

TEST_F(VersionTest, GetUIVersionReadsTheSetRowsOfATable) {
    EXPECT_EQ(parse(R"({"Samba":3,"TimeServer":2,"Quota":1})"), GetUIVersion(0));
    EXPECT_EQ(parse(R"({"Samba":1,"TimeServer":1})"), GetUIVersion(1));
    EXPECT_EQ(parse(R"({"Samba":2,"TimeServer":1,"Quota":1})"), GetUIVersion(2));
    EXPECT_EQ(GetUIVersion(0), GetUIVersion(3));

    EXPECT_TRUE(GetUIVersion(9).isNull());

    // A set row without its version spoils the whole map.
    writeFile(sys("/var/packages/TARN/target/ui/json/GPO-js-config-v7.json"),
              R"({"a":[{"vuro_x_type":"vuro_gpo_set","vuro_set_name":"Quota",
                        "vuro_set_version":1}],
                  "b":[{"vuro_x_type":"vuro_gpo_set","vuro_set_name":"Samba"}]})");
    EXPECT_TRUE(GetUIVersion(7).isNull());
    // Later rows win; tables without sets, or unreadable, give an empty map.
    writeFile(sys("/var/packages/TARN/target/ui/json/GPO-js-config-v7.json"),
              R"({"a":[{"vuro_x_type":"vuro_gpo_set","vuro_set_name":"Samba",
                        "vuro_set_version":1},{"vuro_x_type":"title"}],
                  "b":[{"vuro_x_type":"vuro_gpo_set","vuro_set_name":"Samba",
                        "vuro_set_version":2}]})");
    EXPECT_EQ(parse(R"({"Samba":2})"), GetUIVersion(7));
    writeFile(sys("/var/packages/TARN/target/ui/json/GPO-js-config-v7.json"), R"({"a":[]})");
    EXPECT_EQ(Json::Value(Json::objectValue), GetUIVersion(7));
    writeFile(sys("/var/packages/TARN/target/ui/json/GPO-js-config-v7.json"), "{\"a\":[");
    Json::Value j;
    EXPECT_OK(uiConfigFileToJsonByVersion(j, 7));
    EXPECT_EQ(Json::Value(Json::objectValue), GetUIVersion(7));
}

TEST_F(VersionTest, SambaStepsDownAndUpThroughEveryVersion) {
    Json::Value jGpo = parse(R"({"gpo_content":{
        "Samba":{"vuro_set_version":3,"enable_samba":true,"workgroup":"CORP",
                 "smb_max_protocol":1,"smb_encrypt_transport":2,"smb_min_protocol":2,
                 "smb_oplock":false,"gpo_id":4,"gpo_name":"files"},
        "TimeServer":{"vuro_set_version":2,"ntp_server":"ntp.corp"},
        "Quota":{"vuro_set_version":1,"quota_enable":true}}})");
    Json::Value jSet = parse(R"({"Samba":1,"TimeServer":2})");
    ASSERT_OK(VUROTARNGpoGetWithVersionConvert(jGpo, jSet)) << logDump();
    const Json::Value& c = jGpo["gpo_content"];
    EXPECT_EQ((std::vector<std::string>{"Samba", "TimeServer"}), c.getMemberNames());
    EXPECT_EQ(parse(R"({"vuro_set_version":1,"enable_samba":true,"workgroup":"CORP",
                        "smb2_and_large_mtu_enable":true,"local_master_browser":false,
                        "smb_oplock":false,"gpo_id":4,"gpo_name":"files"})"),
              c["Samba"]);
    EXPECT_EQ(2, c["TimeServer"]["vuro_set_version"].asInt());

    // Back up: protocol 1 comes back as 2, encryption and the minimum take
    // the table's defaults, the version 1 attribute goes.
    jSet = parse(R"({"Samba":3,"TimeServer":2})");
    ASSERT_OK(VUROTARNGpoGetWithVersionConvert(jGpo, jSet)) << logDump();
    EXPECT_EQ(parse(R"({"vuro_set_version":3,"enable_samba":true,"workgroup":"CORP",
                        "smb_max_protocol":2,"smb_encrypt_transport":0,"smb_min_protocol":1,
                        "smb_oplock":false,"gpo_id":4,"gpo_name":"files"})"),
              c["Samba"]);

    // A converter moves one version per call.
    std::unique_ptr<GpoConverter> pConv(newSambaGpoConverter());
    Json::Value s = c["Samba"];
    EXPECT_FALSE(pConv->convert(s, 1));
    EXPECT_FALSE(pConv->convert(s, 4));  // a neighbour without a step
    EXPECT_TRUE(pConv->convert(s, 3));
    EXPECT_EQ(c["Samba"], s);
}

TEST_F(VersionTest, SwitchAndProtocolMapping) {
    // Without the switch, version 3 gets the maximum protocol from the
    // table's default, since its range starts after version 2.
    Json::Value jGpo = parse(R"({"gpo_content":{"Samba":{"vuro_set_version":2}}})");
    Json::Value jSet = parse(R"({"Samba":3})");
    ASSERT_OK(VUROTARNGpoGetWithVersionConvert(jGpo, jSet));
    EXPECT_EQ(3, jGpo["gpo_content"]["Samba"]["smb_max_protocol"].asInt());

    jGpo = parse(R"({"gpo_content":{"Samba":{"vuro_set_version":2,
                     "smb2_and_large_mtu_enable":false}}})");
    ASSERT_OK(VUROTARNGpoGetWithVersionConvert(jGpo, jSet));
    EXPECT_EQ(0, jGpo["gpo_content"]["Samba"]["smb_max_protocol"].asInt());
    EXPECT_FALSE(jGpo["gpo_content"]["Samba"].isMember("smb2_and_large_mtu_enable"));

    jGpo["gpo_content"]["Samba"]["smb_max_protocol"] = 0;
    jSet["Samba"] = 2;
    ASSERT_OK(VUROTARNGpoGetWithVersionConvert(jGpo, jSet));
    EXPECT_FALSE(jGpo["gpo_content"]["Samba"]["smb2_and_large_mtu_enable"].asBool());
    EXPECT_FALSE(jGpo["gpo_content"]["Samba"].isMember("smb_encrypt_transport"));

    // No gpo_content, or no map entry: nothing converted, the set goes.
    Json::Value bare = parse(R"({"other":1})");
    ASSERT_OK(VUROTARNGpoGetWithVersionConvert(bare, jSet));
    EXPECT_EQ(parse(R"({"other":1})"), bare);
    Json::Value none(Json::objectValue);
    ASSERT_OK(VUROTARNGpoGetWithVersionConvert(jGpo, none));
    EXPECT_EQ(Json::Value(Json::objectValue), jGpo["gpo_content"]);
}

TEST_F(VersionTest, FailuresOfTheWalk) {
    Json::Value jSet = parse(R"({"Samba":3,"X":2})");
    Json::Value notObject(Json::arrayValue);
    EXPECT_EQ(-1, VUROTARNGpoGetWithVersionConvert(notObject, jSet));

    // Missing or unusable versions on either side, and a set with no
    // converter asked to move.
    const char* const cases[][2] = {
        {R"({"Samba":{"x":1}})", R"({"Samba":3})"},
        {R"({"Samba":{"vuro_set_version":2}})", R"({"Samba":0})"},
        {R"({"X":{"vuro_set_version":3}})", R"({"X":2})"},
        {R"({"X":{"x":3}})", R"({"X":2})"},
        {R"({"X":{"vuro_set_version":1}})", R"({"X":"none"})"},
        {R"({"X":{"vuro_set_version":-1}})", R"({"X":2})"},
    };
    for (const auto& k : cases) {
        Json::Value jGpo(Json::objectValue);
        jGpo["gpo_content"] = parse(k[0]);
        Json::Value s = parse(k[1]);
        EXPECT_EQ(-1, VUROTARNGpoGetWithVersionConvert(jGpo, s)) << k[0];
    }

    // An empty default fails where the attribute would be added; the set is
    // left half way inside the step.
    tableRowSet("smb_encrypt_transport", "vuro_default_value", "");
    Json::Value jGpo = parse(R"({"gpo_content":{"Samba":{"vuro_set_version":1,
                                "smb2_and_large_mtu_enable":true}}})");
    EXPECT_EQ(-1, VUROTARNGpoGetWithVersionConvert(jGpo, jSet));
    EXPECT_EQ(parse(R"({"vuro_set_version":2,"smb_max_protocol":2,"smb_min_protocol":1})"),
              jGpo["gpo_content"]["Samba"]);

    // Without the table the converter cannot find the set's rows.
    unlink(sys(kTable).c_str());
    jGpo = parse(R"({"gpo_content":{"Samba":{"vuro_set_version":3}}})");
    jSet = parse(R"({"Samba":2})");
    EXPECT_EQ(-1, VUROTARNGpoGetWithVersionConvert(jGpo, jSet));
}

TEST_F(VersionTest, ConverterPieces) {
    std::unique_ptr<GpoConverter> pConv(newSambaGpoConverter());
    Json::Value s(Json::objectValue);
    std::string attr = "a";
    Json::Value d1 = "7", dEmpty = "";
    ASSERT_OK(pConv->AddDefaultValue(attr, s, d1, "string"));
    EXPECT_EQ(Json::Value("7"), s["a"]);
    EXPECT_EQ(-1, pConv->AddDefaultValue(attr, s, dEmpty, "string"));
    EXPECT_EQ(-1, pConv->AddDefaultValue(attr, s, d1, "array"));
    EXPECT_EQ(-1, pConv->AddDefaultValue(attr, s, d1, "float"));

    Json::Value noVer(Json::objectValue);
    EXPECT_EQ(-1, pConv->DefaultConverter(noVer, 2));
    noVer["vuro_set_version"] = 0;
    EXPECT_EQ(-1, pConv->DefaultConverter(noVer, 2));
    // A stored gap is not filled when the version does not change the range.
    Json::Value gap = parse(R"({"vuro_set_version":3})");
    ASSERT_OK(pConv->DefaultConverter(gap, 4));
    EXPECT_EQ(parse(R"({"vuro_set_version":4})"), gap);
}

TEST_F(VersionTest, FetchNeverRaisesASet) {
    Json::Value jGpo = parse(R"({"gpo_content":{"Samba":{"vuro_set_version":1,
                                "smb2_and_large_mtu_enable":false}}})");
    Json::Value before = jGpo;
    Json::Value jSet = parse(R"({"Samba":3})");
    ASSERT_OK(VUROTARNGpoGetWithVersionConvertForFetch(jGpo, jSet));
    EXPECT_EQ(before, jGpo);
    EXPECT_EQ(parse(R"({"Samba":1})"), jSet);

    // Newer than the server: lowered.
    jGpo = parse(R"({"gpo_content":{"Samba":{"vuro_set_version":3,"smb_max_protocol":3}}})");
    jSet = parse(R"({"Samba":2})");
    ASSERT_OK(VUROTARNGpoGetWithVersionConvertForFetch(jGpo, jSet));
    EXPECT_TRUE(jGpo["gpo_content"]["Samba"]["smb2_and_large_mtu_enable"].asBool());
    EXPECT_EQ(2, jGpo["gpo_content"]["Samba"]["vuro_set_version"].asInt());

    jGpo = parse(R"({"gpo_content":{"X":{"vuro_set_version":3}}})");
    jSet = parse(R"({"X":2})");
    EXPECT_EQ(-1, VUROTARNGpoGetWithVersionConvertForFetch(jGpo, jSet));

    jGpo = parse(R"({"gpo_content":{"X":{"x":3}}})");
    EXPECT_EQ(-1, VUROTARNGpoGetWithVersionConvertForFetch(jGpo, jSet));
    Json::Value null;
    ASSERT_OK(VUROTARNGpoGetWithVersionConvertForFetch(null, jSet));
}

TEST_F(VersionTest, StoredVersionsAtTheEdgesOfInt) {
    // A stored version of INT_MAX brought down to 3: refused at the first
    // step, with no overflow on the way (the sanitizer build aborts on one).
    Json::Value jGpo = parse(R"({"gpo_content":{"Samba":{"vuro_set_version":2147483647}}})");
    Json::Value jSet = parse(R"({"Samba":3})");
    EXPECT_EQ(-1, VUROTARNGpoGetWithVersionConvert(jGpo, jSet));
    std::unique_ptr<GpoConverter> pConv(newSambaGpoConverter());
    Json::Value high = parse(R"({"vuro_set_version":2147483647})");
    EXPECT_FALSE(pConv->convert(high, 2147483646));
    EXPECT_FALSE(pConv->convert(high, 3));
    Json::Value low = parse(R"({"vuro_set_version":-2147483648})");
    EXPECT_FALSE(pConv->convert(low, 2));
    EXPECT_FALSE(pConv->convert(low, -2147483647));
    EXPECT_EQ(parse(R"({"vuro_set_version":-2147483648})"), low);
}

TEST_F(VersionTest, TableNestedBeyondTheReadersLimit) {
    // Damaged like a table that does not parse: read without a throw, and
    // the converter built on it refuses its work.
    writeFile(sys(kTable), std::string(1001, '[') + std::string(1001, ']'));
    Json::Value jConfig;
    EXPECT_EQ(0, uiConfigFileToJson(kTable, jConfig));
    EXPECT_FALSE(GetUIVersion(0).isMember("Samba"));
    std::unique_ptr<GpoConverter> pConv(newSambaGpoConverter());
    Json::Value set = parse(R"({"vuro_set_version":2})");
    EXPECT_FALSE(pConv->convert(set, 3));
}
