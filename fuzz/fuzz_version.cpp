/* fuzz_version.cpp - the UI tables and the version conversion: an arbitrary
 * current table (or the real one when the input gives none), an arbitrary
 * policy and an arbitrary map of wanted set versions. */
#include <stdint.h>

#include <fstream>
#include <memory>
#include <sstream>

#include <vurojson.h>

#include "fuzz_root.h"
#include "vurotarn.h"

using namespace tarnfuzz;

namespace {

const char* const kTable = "/var/packages/TARN/target/ui/json/GPO-js-config.json";
std::string gTableReal;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    std::ifstream in(rootFile(kTable), std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    gTableReal = ss.str();
    return 0;
}

/* Input: table text NUL policy text NUL wanted versions text. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 3);
    rootFileWrite(kTable, parts[0].empty() ? gTableReal : parts[0]);

    Json::Value jUi = GetUIVersion(0);
    Json::Value jGpo;
    Json::Value jSet;
    if (!vurojson::fromString(jGpo, parts[1])) return 0;
    if (!vurojson::fromString(jSet, parts[2])) jSet = jUi;

    Json::Value jGpoCopy = jGpo;
    Json::Value jSetCopy = jSet;
    VUROTARNGpoGetWithVersionConvert(jGpoCopy, jSetCopy);
    jGpoCopy = jGpo;
    jSetCopy = jSet;
    VUROTARNGpoGetWithVersionConvertForFetch(jGpoCopy, jSetCopy);

    // The converter's own steps, on the set as the policy carries it.
    if (jGpo.isObject() && jGpo["gpo_content"].isObject() && jSet.isObject()) {
        std::unique_ptr<GpoConverter> pConv(newSambaGpoConverter());
        Json::Value jSamba = jGpo["gpo_content"]["Samba"];
        const Json::Value& jTarget = jSet["Samba"];
        int target = jTarget.isInt() ? jTarget.asInt() : 0;
        pConv->convert(jSamba, target);
        jSamba = jGpo["gpo_content"]["Samba"];
        pConv->DefaultConverter(jSamba, target);
    }
    return 0;
}
