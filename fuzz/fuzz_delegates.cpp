/* fuzz_delegates.cpp - stored name caches and a caller's delegate list: the
 * caches go into the delegate rows a peer's delegates set is built from and
 * through the name cache's refresh; the list goes through the list edit and
 * the override of a node's delegates. */
#include <sqlite3.h>
#include <stdint.h>
#include <sys/stat.h>

#include <vector>

#include <vurojson.h>

#include "fuzz_root.h"
#include "vurotarn.h"

using namespace tarnfuzz;

namespace {

sqlite3* gDb = nullptr;
sqlite3_stmt* gCacheSet = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    mkdir(rootFile("/etc").c_str(), 0755);
    rootFileWrite("/etc/passwd",
                  "root:x:0:0::/:/bin/sh\ncarol:x:2001:100::/:/bin/sh\n"
                  "CORP\\alice:x:200001:200000::/:/bin/sh\n"
                  "bob@example.com:x:300001:100::/:/bin/sh\n");
    rootFileWrite("/etc/group", "users:x:100:\nops:x:300:carol\n");
    // Peer 7 under OU 2 under OU 1; the fuzzed caches sit on OU 2 and the
    // peer, the edited lists go to OUs 1 and 3.
    rootSql(
        "INSERT INTO ou(id, name, parent_id) VALUES (1,'one',0),(2,'two',1),(3,'three',0);"
        "INSERT INTO peer(id, sn, parent_id) VALUES (7,'SN7',2);"
        "INSERT INTO delegate(user_type, ugid, target_type, target_id) VALUES"
        " (8,2001,2,2),(9,300,2,2),(8,200001,1,7),(8,4242,1,7);");
    if (sqlite3_open(rootFile(VUROTARN_SQLITE_DB_PATH).c_str(), &gDb) != SQLITE_OK ||
        sqlite3_prepare_v2(gDb,
                           "UPDATE delegate SET extra_info=?1 WHERE (target_type=2 AND "
                           "target_id=2) OR (target_type=1 AND target_id=7)",
                           -1, &gCacheSet, nullptr) != SQLITE_OK) {
        abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 2);
    stmtRunWith(gCacheSet, parts[0]);

    // The delegates set reads the stored caches as they are.
    Json::Value jSet(Json::objectValue);
    jSet["Delegate"] = 1;
    Json::Value jGpo(Json::objectValue);
    VUROTARNGpoGetPolicyDelegate(7, jGpo, jSet);

    // The refresh of one cache, for each kind of holder.
    for (long userType : {(long)VURO_TARN_TYPE_USER, (long)VURO_TARN_TYPE_GROUP}) {
        VURO_TARN_DELEGATE d;
        d.user_type = userType;
        d.ugid = userType == VURO_TARN_TYPE_USER ? 200001 : 300;
        d.str_extra_info = parts[0];
        VURODelegatePrepareExtraInfo(&d);
    }

    // The caller's list, also as the policy the set is written into.
    Json::Value jNode;
    if (!vurojson::fromString(jNode, parts[1])) return 0;
    VUROTARNGpoGetPolicyDelegate(7, jNode, jSet);
    Json::Value jCopy = jNode;
    VUROTARNDelegateSetListByTarget(1, VURO_TARN_TYPE_OU, jNode);
    VUROTARNDelegateOverrideListByTarget(3, VURO_TARN_TYPE_OU, jCopy);
    return 0;
}
