/* fuzz_link_order.cpp - the link text of the order walk: arbitrary text as
 * the linked_gpo of an OU and of a peer below it, read by the order walk,
 * its explained twin, and the removal of a policy from a link text. */
#include <sqlite3.h>
#include <stdint.h>

#include <vector>

#include <vurojson.h>

#include "fuzz_root.h"
#include "vurotarn.h"

using namespace tarnfuzz;

namespace {

sqlite3* gDb = nullptr;
sqlite3_stmt* gOuSet = nullptr;
sqlite3_stmt* gPeerSet = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    // Root 0 - OU 1 - OU 2 (blocks) - peer 7; OU 2 links 3 plain.
    rootSql(
        "INSERT INTO gpo(id, name, parent_type, setting) VALUES"
        " (1,'A',2,'{\"gpo_content\":{\"Samba\":{\"vuro_set_version\":3}}}'),"
        " (2,'B',2,'{\"gpo_content\":{\"X\":{\"x\":1}}}'),(3,'C',2,''),(15,'O',2,'{}');"
        "UPDATE ou SET linked_gpo='{\"order\":[{\"id\":2}]}' WHERE id=0;"
        "INSERT INTO ou(id, name, parent_id, block_inheritance, linked_gpo) VALUES"
        " (1,'one',0,0,''),(2,'two',1,1,'{\"order\":[{\"id\":3,\"override\":0}]}');"
        "INSERT INTO peer(id, sn, parent_id, linked_gpo) VALUES (7,'SN7',2,'');");
    if (sqlite3_open(rootFile(VUROTARN_SQLITE_DB_PATH).c_str(), &gDb) != SQLITE_OK ||
        sqlite3_prepare_v2(gDb, "UPDATE ou SET linked_gpo=?1 WHERE id=1", -1, &gOuSet, nullptr) !=
            SQLITE_OK ||
        sqlite3_prepare_v2(gDb, "UPDATE peer SET linked_gpo=?1 WHERE id=7", -1, &gPeerSet,
                           nullptr) != SQLITE_OK) {
        abort();
    }
    // One row rewritten per input: no journal on disk, no sync.
    sqlite3_exec(gDb, "PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY", nullptr, nullptr,
                 nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 2);
    stmtRunWith(gOuSet, parts[0]);
    stmtRunWith(gPeerSet, parts[1]);

    Json::Value jOrder(Json::arrayValue);
    VUROTARNGpoGetOrder(7, VURO_TARN_TYPE_PEER, jOrder);
    Json::Value jExplain;
    VUROTARNGpoGetEvaluateExplain(7, VURO_TARN_TYPE_PEER, jExplain);

    // The upkeep of a link text, into a buffer of exactly the size given.
    std::vector<char> out(1 + size % 300);
    VUROTARNGpoDeleteGpoLinkById(1, parts[0].c_str(), out.data(), out.size());
    Json::Value jReq;
    if (vurojson::fromString(jReq, parts[0])) {
        Json::Value jData;
        VUROTARNHttpReqToJsonForLinkedGpo(jReq, jData);
    }
    return 0;
}
