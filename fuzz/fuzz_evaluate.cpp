/* fuzz_evaluate.cpp - evaluation with a caller's order text (szLinkOrder)
 * and with arbitrary policy settings met by the computed order; the
 * effective policy then goes through the version walk of an old reader. */
#include <sqlite3.h>
#include <stdint.h>

#include <vector>

#include "fuzz_root.h"
#include "vurotarn.h"

using namespace tarnfuzz;

namespace {

sqlite3* gDb = nullptr;
sqlite3_stmt* gSettingSet = nullptr;
Json::Value gSetV1;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    // OU 1 links A enforced, then the fuzzed B and C plain.
    rootSql(
        "INSERT INTO gpo(id, name, parent_type, setting) VALUES"
        " (1,'A',2,'{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3,"
        "\"smb_max_protocol\":2}}}'),(2,'B',2,''),"
        " (3,'C',2,'{\"gpo_content\":{\"X\":{\"x\":1},\"Samba\":{\"vuro_set_version\":1}}}');"
        "INSERT INTO ou(id, name, parent_id, linked_gpo) VALUES (1,'one',0,"
        "'{\"order\":[{\"id\":2},{\"id\":1,\"override\":1},{\"id\":3}]}');");
    if (sqlite3_open(rootFile(VUROTARN_SQLITE_DB_PATH).c_str(), &gDb) != SQLITE_OK ||
        sqlite3_prepare_v2(gDb, "UPDATE gpo SET setting=?1 WHERE id=2", -1, &gSettingSet,
                           nullptr) != SQLITE_OK) {
        abort();
    }
    // One row rewritten per input: no journal on disk, no sync.
    sqlite3_exec(gDb, "PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY", nullptr, nullptr,
                 nullptr);
    gSetV1 = GetUIVersion(1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 2);
    stmtRunWith(gSettingSet, parts[1]);

    // The caller's order text, in a buffer of exactly its size.
    std::vector<char> order(parts[0].begin(), parts[0].end());
    order.push_back('\0');
    std::string strGpo;
    VUROTARNGpoGetEvaluateStr(1, VURO_TARN_TYPE_OU, strGpo, size % 2, order.data());

    Json::Value jGpo(Json::objectValue);
    if (VUROTARNGpoGetEvaluate(1, VURO_TARN_TYPE_OU, jGpo, nullptr) == 0) {
        Json::Value jSet = gSetV1;
        VUROTARNGpoGetWithVersionConvertForFetch(jGpo, jSet);
    }
    Json::Value jExplain;
    VUROTARNGpoGetEvaluateExplain(1, VURO_TARN_TYPE_OU, jExplain);
    return 0;
}
