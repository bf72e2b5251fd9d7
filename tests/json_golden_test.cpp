/* json_golden_test.cpp - the JSON of every family, byte for byte: records
 * with odd values (quotes, UTF-8, numbers at their ends, empty texts, texts
 * that are no JSON) out under several "additional" lists, and callers' JSON
 * with members of the wrong kind back in and out again. The texts in
 * tests/data/json_golden.txt were kept from the hand-written forms the
 * field tables replaced; TARN_JSON_GOLDEN_PRINT=1 prints what the library
 * gives now in that file's form. */
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <vurojson.h>

#include "tarn_test.h"
#include "vurotarn.h"

using tarntest::parse;

namespace {

const char* const kOdd = "q\"uo'te\\ é€😀";
const char* const kDoc = "{\"k\":\"v\\\"\",\"n\":[1,-2,3.5],\"u\":\"ü\"}";

/* The lists of wanted keys every StructToJson is asked with. */
std::vector<std::pair<std::string, Json::Value>> additionals() {
    return {
        {"null", Json::Value()},
        {"empty", Json::Value(Json::arrayValue)},
        {"some", parse("[\"mtime\",\"desc\",\"extra_info\",\"port\",\"pkg_status\",\"beta\","
                       "\"hostname\",\"general\",\"nope\"]")},
        {"unknown", parse("[\"nope\"]")},
    };
}

/* One family's outputs: rc and text per "additional" list, and the
 * refusals of an object as jAdditional and of an array as jRet. */
template <class F>
void emitOut(std::map<std::string, std::string>& out, const std::string& name, F toJson) {
    for (auto& [tag, jAdd] : additionals()) {
        Json::Value jRet;
        int rc = toJson(jAdd, jRet);
        out[name + "/" + tag] = std::to_string(rc) + " " + vurojson::toString(jRet);
    }
    Json::Value jRet;
    out[name + "/object-additional"] = std::to_string(toJson(Json::Value(Json::objectValue), jRet));
    Json::Value jArr(Json::arrayValue);
    out[name + "/array-ret"] = std::to_string(toJson(Json::Value(), jArr));
}

// Members of every wrong kind, numbers at and past their ends.
const char* const kWrongKinds =
    "{\"id\":\"18446744073709551615\",\"mtime\":1e300,\"name\":5,\"desc\":{\"a\":1},"
    "\"parent_id\":-9223372036854775808,\"parent_type\":true,\"block_inheritance\":\"7x\","
    "\"linked_gpo\":[1,\"2\"],\"extra_info\":\"plain\",\"setting\":{},\"user_type\":[],"
    "\"ugid\":\"18446744073709551615\",\"target_type\":-1.9,\"target_id\":18446744073709551615,"
    "\"sn\":null,\"model\":1.5,\"version\":false,\"buildnum\":\"-12\",\"hostname\":\"h\\u00e9\","
    "\"host\":[\"x\"],\"status_by_server_mtime\":\"99\",\"http_port\":65536,\"peer_id\":-3,"
    "\"general\":{\"cpu\":\"é\"},\"network\":\"text\",\"hdd_info\":null,\"storage_info\":[1,{}]}";
const char* const kPlain =
    "{\"id\":42,\"mtime\":1700000000,\"name\":\"n\",\"desc\":\"\",\"parent_id\":0,"
    "\"parent_type\":1,\"setting\":{\"a\":[1]},\"ugid\":4294967295,\"user_type\":2,"
    "\"sid\":\"s\",\"vuro_token\":\"t\",\"wol\":1,\"gluster_role\":-1,\"session\":\"[]\"}";

template <class Rec, class In, class Out>
void emitIn(std::map<std::string, std::string>& out, const std::string& name, const Rec& start,
            In fromJson, Out toJson) {
    const std::pair<const char*, const char*> inputs[] = {
        {"wrong", kWrongKinds}, {"plain", kPlain}, {"array", "[1,2]"}, {"string", "\"x\""}};
    for (auto& [tag, szText] : inputs) {
        Rec rec = start;
        Json::Value jIn = parse(szText);
        int rc = fromJson(jIn, &rec);
        Json::Value jRet;
        toJson(rec, jRet);
        out[name + "/in-" + tag] = std::to_string(rc) + " " + vurojson::toString(jRet);
    }
}

VURO_TARN_OU makeOu() {
    VURO_TARN_OU ou;
    ou.id = -9223372036854775807L - 1;
    ou.mtime = 2147483648;
    ou.str_name = kOdd;
    ou.str_desc = "";
    ou.parent_id = -1;
    ou.block_inheritance = 9223372036854775807L;
    ou.str_linked_gpo = "[3,1,2]";
    ou.str_extra_info = "not json {";
    return ou;
}

VURO_TARN_PEER makePeer() {
    VURO_TARN_PEER peer;
    peer.id = 7;
    peer.mtime = -5;
    peer.str_desc = kOdd;
    peer.str_sn = "SN\"1";
    peer.str_model = "";
    peer.str_version = "7.2";
    peer.buildnum = 64570;
    peer.smallfixnum = -1;
    peer.str_hostname = "höst";
    peer.str_host = "10.0.0.1";
    peer.str_sid = "sid'";
    peer.str_vuro_token = "tok";
    peer.status = 1;
    peer.status_by_server = 2;
    peer.status_by_server_mtime = 3;
    peer.wol = 0;
    peer.up_time = 9223372036854775807L;
    peer.uptime_mtime = 5;
    peer.http_port = 5000;
    peer.https_port = 5001;
    peer.parent_id = 0;
    peer.block_inheritance = 1;
    peer.str_linked_gpo = "";
    peer.str_relaypath = "a/b";
    peer.gluster_role = -2;
    peer.str_extra_info = kDoc;
    return peer;
}

VURO_TARN_GPO makeGpo() {
    VURO_TARN_GPO gpo;
    gpo.id = 12;
    gpo.mtime = 99;
    gpo.str_name = kOdd;
    gpo.str_desc = "d";
    gpo.parent_id = -1;
    gpo.parent_type = 3;
    gpo.str_setting = kDoc;
    gpo.str_extra_info = "";
    return gpo;
}

VURO_TARN_DELEGATE makeDelegate() {
    VURO_TARN_DELEGATE d;
    d.id = 3;
    d.mtime = 4;
    d.user_type = 1;
    d.ugid = 4294967294UL;
    d.target_type = 2;
    d.target_id = -7;
    d.str_extra_info = "{\"name\":\"\\u00e9ve\"}";
    return d;
}

VURO_TARN_INFO makeInfo() {
    VURO_TARN_INFO info;
    info.id = 18446744073709551615ULL;
    info.mtime = 1;
    info.peer_id = 9;
    info.str_general = kDoc;
    info.str_network = "";
    info.str_hdd_info = "[]";
    info.str_vol_info = "oops";
    info.str_session = "{}";
    info.str_define = "1";
    info.str_extra_info = "{\"storage_info\":[]}";
    return info;
}

VURO_TARN_APP makeApp() {
    VURO_TARN_APP app;
    app.id = 18446744073709551614ULL;
    app.mtime = 8;
    app.peer_id = 2;
    app.str_app_id = "Demo.App\"";
    app.str_name_enu = "English";
    app.str_name_ger = "Deutsch ä";
    app.str_app_version = "";
    app.icon_mtime = -1;
    app.str_protocol = "https";
    app.port = -443;
    app.str_url = kOdd;
    app.str_windowparam = "{\"w\":1}";
    app.is_package = 2;
    app.str_extra_info = kDoc;
    return app;
}

VURO_TARN_PKG makePkg(const std::string& extra, unsigned int status, unsigned int install) {
    VURO_TARN_PKG pkg;
    pkg.id = 18446744073709551615ULL;
    pkg.mtime = 6;
    pkg.peer.id = -4;
    pkg.peer.str_hostname = "peer\"h";
    pkg.peer.str_model = "M";
    pkg.peer.str_version = "";
    pkg.str_pkg_id = "Pkg'";
    pkg.str_pkg_name_enu = "Name";
    pkg.str_pkg_name_jpn = "名前";
    pkg.str_pkg_version = "1.0";
    pkg.str_pkg_new_version = "";
    pkg.pkg_status = status;
    pkg.pkg_install_status = install;
    pkg.beta = 2;
    pkg.str_install_dependent_packages = kOdd;
    pkg.str_install_conflict_packages = "";
    pkg.startable = 1;
    pkg.silent_install = 2;
    pkg.silent_upgrade = 0;
    pkg.silent_uninstall = -1;
    pkg.upgradable = 1;
    pkg.str_extra_info = extra;
    return pkg;
}

/* Both forms of a family whose StructToJson takes no language. */
template <class Rec>
void emitBoth(std::map<std::string, std::string>& out, const std::string& name, const Rec& rec,
              int (*toJson)(const Rec*, const Json::Value&, Json::Value&),
              int (*fromJson)(Json::Value&, Rec*)) {
    emitOut(out, name, [&](const Json::Value& a, Json::Value& j) { return toJson(&rec, a, j); });
    emitIn(out, name, rec, fromJson,
           [&](const Rec& r, Json::Value& j) { toJson(&r, Json::Value(), j); });
}

std::map<std::string, std::string> currentOutput() {
    std::map<std::string, std::string> out;
    const VURO_TARN_OU ou = makeOu();
    emitBoth(out, "ou", ou, VUROTARNOuStructToJson, VUROTARNOuJsonToStruct);

    const VURO_TARN_PEER peer = makePeer();
    emitBoth(out, "peer", peer, VUROTARNPeerStructToJson, VUROTARNPeerJsonToStruct);

    const VURO_TARN_GPO gpo = makeGpo();
    emitBoth(out, "gpo", gpo, VUROTARNGpoStructToJson, VUROTARNGpoJsonToStruct);
    {
        // The id as a decimal text with a tail, and an empty setting kept.
        VURO_TARN_GPO g = gpo;
        Json::Value jIn = parse("{\"id\":\"  -31abc\",\"setting\":[]}");
        VUROTARNGpoJsonToStruct(jIn, &g);
        Json::Value j;
        VUROTARNGpoStructToJson(&g, Json::Value(), j);
        out["gpo/in-id-text"] = vurojson::toString(j);
    }

    const VURO_TARN_DELEGATE d = makeDelegate();
    emitBoth(out, "delegate", d, VUROTARNDelegateStructToJson, VUROTARNDelegateJsonToStruct);

    const VURO_TARN_INFO info = makeInfo();
    emitBoth(out, "info", info, VUROTARNInfoStructToJson, VUROTARNInfoJsonToStruct);

    const VURO_TARN_APP app = makeApp();
    for (const char* szLang : {"ger", "jpn", "xyz"}) {
        emitOut(out, std::string("app-") + szLang, [&](const Json::Value& a, Json::Value& j) {
            return VUROTARNAppStructToJson(szLang, &app, a, j);
        });
    }
    {
        VURO_TARN_APP bare = app;
        bare.str_name_enu = "";
        Json::Value j;
        VUROTARNAppStructToJson(NULL, &bare, Json::Value(), j);
        out["app-no-name"] = vurojson::toString(j);
    }

    // An installer that still runs (this process) shows its step; a record
    // without one shows the plain state.
    const std::string alive = "{\"install_pid\":" + std::to_string(getpid()) + "}";
    const VURO_TARN_PKG pkgs[] = {
        makePkg("", VURO_TARN_PKG_STATUS_RUNNING, VURO_TARN_PKG_INSTALL_UPDATING),
        makePkg(alive, VURO_TARN_PKG_STATUS_STOP, VURO_TARN_PKG_INSTALL_UPLOADING),
        makePkg(alive, 4, 3),
    };
    int i = 0;
    for (const VURO_TARN_PKG& pkg : pkgs) {
        for (const char* szLang : {"jpn", "rus"}) {
            emitOut(out, "pkg" + std::to_string(i) + "-" + szLang,
                    [&](const Json::Value& a, Json::Value& j) {
                        return VUROTARNPkgStructToJson(szLang, &pkg, a, j);
                    });
        }
        i++;
    }
    // The installer's pid differs from run to run.
    const std::string pidText = "\"install_pid\":" + std::to_string(getpid());
    for (auto& [key, text] : out) {
        for (size_t at; (at = text.find(pidText)) != std::string::npos;) {
            text.replace(at, pidText.size(), "\"install_pid\":PID");
        }
    }
    return out;
}

/* The kept texts: a line a case, its name, a tab and the text. */
std::map<std::string, std::string> golden() {
    std::map<std::string, std::string> kept;
    std::istringstream in(tarntest::readFile(TARN_SOURCE_DIR "/tests/data/json_golden.txt"));
    for (std::string line; std::getline(in, line);) {
        size_t tab = line.find('\t');
        if (tab != std::string::npos) {
            kept[line.substr(0, tab)] = line.substr(tab + 1);
        }
    }
    return kept;
}

}  // namespace

TEST(JsonGoldenTest, EveryFamilyBothWaysAsBefore) {
    const std::map<std::string, std::string> now = currentOutput();
    if (getenv("TARN_JSON_GOLDEN_PRINT") != NULL) {
        for (auto& [key, text] : now) {
            printf("%s\t%s\n", key.c_str(), text.c_str());
        }
    }
    const std::map<std::string, std::string> kept = golden();
    ASSERT_FALSE(kept.empty());
    EXPECT_EQ(kept.size(), now.size());
    for (auto& [key, text] : kept) {
        auto it = now.find(key);
        ASSERT_NE(now.end(), it) << key;
        EXPECT_EQ(text, it->second) << key;
    }
}
