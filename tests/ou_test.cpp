/* ou_test.cpp - the OU family on a real database: writes with hooks and
 * read-back, refused and failed writes, reads, lists and the JSON form. */
#include <unistd.h>

#include <map>
#include <sstream>

#include "tarn_test.h"
#include "vurotarn.h"

using namespace tarntest;

class OuTest : public TarnTest {
protected:
    /* A plug-in that appends "<action> KEY=value ..." lines for every call. */
    void recordingPlugin(const std::string& hook) {
        pluginInstall(hook,
                      "{ echo \"== $1\"; env | grep -E '^(RESULT|Org_|New_|PLUGIN_)' | "
                      "sort; } >> \"$VURO_SYSROOT/hooks.log\"\n");
    }

    /* The recorded calls: one map of arguments per action, in call order. */
    std::vector<std::map<std::string, std::string>> hookCalls() {
        std::vector<std::map<std::string, std::string>> calls;
        std::istringstream in(readFile(sys("/hooks.log")));
        std::string line;
        while (std::getline(in, line)) {
            if (line.rfind("== ", 0) == 0) {
                calls.push_back({{"ACTION", line.substr(3)}});
            } else if (!calls.empty() && line.find('=') != std::string::npos) {
                calls.back()[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
            }
        }
        return calls;
    }

    long createOu(const char* name, long parent = 0) {
        VURO_TARN_OU ou;
        VUROTARNOuItemSetName(&ou, name);
        VUROTARNOuItemSetParentID(&ou, parent);
        EXPECT_OK(VUROTARNOuCreate(&ou));
        return ou.id;
    }
};

TEST_F(OuTest, CreateGetSetDeleteRoundTrip) {
    VURO_TARN_OU* pOu = VUROTARNOuAlloc();
    ASSERT_NE(nullptr, pOu);
    EXPECT_EQ(-1, pOu->id);
    EXPECT_FALSE(pOu->available);
    ASSERT_OK(VUROTARNOuItemSetName(pOu, "Sales"));
    ASSERT_OK(VUROTARNOuItemSetDescription(pOu, "It's the sales floor"));
    ASSERT_OK(VUROTARNOuItemSetLinkedGPO(pOu, "[{\"id\":5,\"enforce\":1}]"));
    time_t before = time(nullptr);
    ASSERT_OK(VUROTARNOuSave(pOu));  // id -1: a create
    EXPECT_GT(pOu->id, 0);
    EXPECT_GE(pOu->mtime, before);
    EXPECT_EQ("It's the sales floor",
              sqlValue("SELECT desc FROM ou WHERE id=" + std::to_string(pOu->id)));
    EXPECT_EQ(std::to_string(getpid()),
              sqlValue("SELECT pid FROM ou WHERE id=" + std::to_string(pOu->id)));

    VURO_TARN_OU got;
    ASSERT_OK(VUROTARNOuGet(pOu->id, &got));
    EXPECT_TRUE(got.available);
    EXPECT_EQ("Sales", got.str_name);
    EXPECT_EQ(pOu->mtime, got.mtime);
    EXPECT_EQ("[{\"id\":5,\"enforce\":1}]", got.str_linked_gpo);

    // A loaded record keeps its contents: Get on it succeeds even for a
    // missing id until Clear.
    EXPECT_OK(VUROTARNOuGet(9999, &got));
    EXPECT_EQ("Sales", got.str_name);
    ASSERT_OK(VUROTARNOuClear(&got));
    EXPECT_EQ(-1, got.id);
    EXPECT_EQ(-1, VUROTARNOuGet(9999, &got));

    ASSERT_OK(VUROTARNOuItemSetName(pOu, "Sales EU"));
    ASSERT_OK(VUROTARNOuItemSetBlockInheritance(pOu, 1));
    ASSERT_OK(VUROTARNOuSave(pOu));  // stored id: a set
    EXPECT_EQ("Sales EU|1", sqlValue("SELECT name || '|' || block_inheritance FROM ou WHERE id=" +
                                     std::to_string(pOu->id)));

    ASSERT_OK(VUROTARNOuDelete(pOu->id));
    EXPECT_EQ("0", sqlValue("SELECT count(*) FROM ou WHERE id=" + std::to_string(pOu->id)));
    EXPECT_EQ(-1, VUROTARNOuDelete(pOu->id));
    VUROTARNOuFree(pOu);
    EXPECT_OK(VUROTARNOuFree(nullptr));
}

TEST_F(OuTest, HooksSeeTheRecordsBeforeAndAfter) {
    recordingPlugin("tarnou/tarnou_create");
    recordingPlugin("tarnou/tarnou_set");
    recordingPlugin("tarnou/tarnou_delete");
    std::string longName(40, 'n');
    longName.replace(0, 5, "Long-");

    VURO_TARN_OU ou;
    VUROTARNOuItemSetName(&ou, longName.c_str());
    VUROTARNOuItemSetParentID(&ou, 0);
    ASSERT_OK(VUROTARNOuCreate(&ou));
    EXPECT_EQ(longName, sqlValue("SELECT name FROM ou WHERE id=" + std::to_string(ou.id)));
    ou.str_name = "Short";
    ASSERT_OK(VUROTARNOuSet(&ou));
    ASSERT_OK(VUROTARNOuDelete(ou.id));

    auto calls = hookCalls();
    ASSERT_EQ(6u, calls.size()) << readFile(sys("/hooks.log"));
    // Create: PRE sees the caller's -1, POST the stored id; no Org_ side.
    EXPECT_EQ("PRE", calls[0]["ACTION"]);
    EXPECT_EQ("tarnou/tarnou_create", calls[0]["PLUGIN_NAME"]);
    EXPECT_EQ("-1", calls[0]["New_ID"]);
    EXPECT_EQ("0", calls[0]["RESULT"]);
    EXPECT_EQ(0u, calls[0].count("Org_ID"));
    EXPECT_EQ(longName.substr(0, 31), calls[0]["New_Name"]);  // stored whole, passed cut
    EXPECT_EQ("POST", calls[1]["ACTION"]);
    EXPECT_EQ(std::to_string(ou.id), calls[1]["New_ID"]);
    EXPECT_NE("0", calls[1]["New_ModifiedTime"]);
    // Set: both sides.
    EXPECT_EQ(longName.substr(0, 31), calls[2]["Org_Name"]);
    EXPECT_EQ("Short", calls[2]["New_Name"]);
    EXPECT_EQ("0", calls[3]["RESULT"]);
    // Delete: only the old side.
    EXPECT_EQ("Short", calls[4]["Org_Name"]);
    EXPECT_EQ(0u, calls[4].count("New_ID"));
    EXPECT_EQ("POST", calls[5]["ACTION"]);
}

TEST_F(OuTest, RefusedAndFailedWrites) {
    recordingPlugin("tarnou/tarnou_set");
    recordingPlugin("tarnou/tarnou_create");

    // A set for an id without a row: no hook, -1.
    VURO_TARN_OU ghost;
    ghost.id = 777;
    ghost.str_name = "ghost";
    EXPECT_EQ(-1, VUROTARNOuSet(&ghost));
    EXPECT_EQ("", readFile(sys("/hooks.log")));

    // A negative id other than -1 goes to Set, which refuses it.
    ghost.id = -2;
    EXPECT_EQ(-1, VUROTARNOuSave(&ghost));

    // NULL arguments.
    EXPECT_EQ(-1, VUROTARNOuCreate(nullptr));
    EXPECT_EQ(ERR_BAD_PARAMETERS, QLIBCErrGet());
    EXPECT_EQ(-1, VUROTARNOuDeleteMultiple(nullptr, 0));
    EXPECT_OK(VUROTARNOuDeleteList(nullptr));

    // The row does not read back as written: the write fails with
    // ERR_WRITE_FAILED, and the POST hook sees RESULT -1.
    sql("CREATE TRIGGER mangle AFTER INSERT ON ou BEGIN "
        "UPDATE ou SET name = name || '!' WHERE id = NEW.id; END;");
    VURO_TARN_OU ou;
    ou.str_name = "Mangled";
    EXPECT_EQ(-1, VUROTARNOuCreate(&ou));
    EXPECT_EQ(ERR_WRITE_FAILED, QLIBCErrGet());
    auto calls = hookCalls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ("-1", calls[1]["RESULT"]);
    EXPECT_EQ("Mangled!", sqlValue("SELECT name FROM ou WHERE name LIKE 'Mangled%'"));
}

TEST_F(OuTest, FailingOrMissingPluginNeverStopsTheWrite) {
    pluginInstall("tarnou/tarnou_create", "exit 3\n");
    QLIBCErrSetEx(0x1234, "caller.cpp", 1);
    VURO_TARN_OU ou;
    ou.str_name = "Stubborn";
    EXPECT_OK(VUROTARNOuCreate(&ou));
    EXPECT_TRUE(logHas("Fail to execute tarnou/tarnou_create plugin (PRE)")) << logDump();
    EXPECT_EQ("Stubborn", sqlValue("SELECT name FROM ou WHERE id=" + std::to_string(ou.id)));

    // No plug-in for set: initialisation fails, yet the caller's code stays.
    logClear();
    QLIBCErrSetEx(0x1234, "caller.cpp", 1);
    ou.str_desc = "still written";
    EXPECT_OK(VUROTARNOuSet(&ou));
    EXPECT_TRUE(logHas("Fail to init plugin [tarnou] [0x1234")) << logDump();
    EXPECT_EQ(0x1234, QLIBCErrGet());
    EXPECT_EQ("still written", sqlValue("SELECT desc FROM ou WHERE id=" + std::to_string(ou.id)));

    // The module name is checked against the module table.
    PQLIBPLUGIN plugin = nullptr;
    EXPECT_EQ(-1, VUROTARNPluginInit("tarninfo", "tarnou/tarnou_create", &plugin));
    EXPECT_EQ(0, VUROTARNPluginInit("tarnou", "tarnou/tarnou_create", &plugin));
    EXPECT_TRUE(QLIBPluginHasInit(plugin));
    QLIBPluginExit(plugin);
}

static BOOL keepNamesStartingWithB(VURO_TARN_OU* p, void* data) {
    return p->str_name.rfind((const char*)data, 0) == 0;
}

TEST_F(OuTest, ListsRunOppositeToTheQuery) {
    long a = createOu("Alpha");
    long b = createOu("Beta", a);
    long c = createOu("Bravo", a);
    createOu("Charlie", b);

    VURO_TARN_OU_LIST list = nullptr;
    ASSERT_OK(VUROTARNOuListAll(&list, nullptr, nullptr));
    std::vector<long> ids;
    for (VURO_TARN_OU* p = list; p; p = VUROTARNOuNext(p)) ids.push_back(p->id);
    VUROTARNOuListFree(&list);
    EXPECT_EQ(nullptr, list);
    ASSERT_EQ(5u, ids.size());  // with the root
    EXPECT_EQ(0, ids.back());   // highest row first
    EXPECT_GT(ids[0], ids[1]);

    VurotarnHash parms;
    parms.set("parent_id", std::to_string(a)).set("sort_by", "name").set("sort_direction", "ASC");
    size_t total = 0;
    ASSERT_OK(VUROTARNOuList(parms.get(), &list, &total));
    EXPECT_EQ(2u, total);
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(c, list->id);  // Bravo after Beta ascending: first in the list
    EXPECT_EQ(b, list->pNext->id);
    VUROTARNOuListFree(&list);

    parms.set("limit", "1");
    ASSERT_OK(VUROTARNOuList(parms.get(), &list, &total));
    EXPECT_EQ(1u, total);  // the count of this answer, after the limit
    VUROTARNOuListFree(&list);

    // A filter with no private data filters nothing; with data it does.
    ASSERT_OK(VUROTARNOuListAll(&list, keepNamesStartingWithB, nullptr));
    EXPECT_EQ(5, [&] {
        int n = 0;
        for (auto p = list; p; p = p->pNext) n++;
        return n;
    }());
    VUROTARNOuListFree(&list);
    ASSERT_OK(VUROTARNOuListAll(&list, keepNamesStartingWithB, (void*)"B"));
    EXPECT_EQ(c, list->id);
    EXPECT_EQ(b, list->pNext->id);
    EXPECT_EQ(nullptr, list->pNext->pNext);
    VUROTARNOuListFree(&list);

    // GetMultiple fills one record, from the first row returned.
    long ids3[] = {c, b, a};
    VURO_TARN_OU one;
    ASSERT_OK(VUROTARNOuGetMultiple(ids3, 3, &one));
    EXPECT_EQ(a, one.id);
    EXPECT_EQ(nullptr, one.pNext);

    // An empty table leaves the caller's pointer alone.
    ASSERT_OK(VUROTARNOuDeleteAll());
    VURO_TARN_OU_LIST untouched = (VURO_TARN_OU_LIST)0x1;
    EXPECT_OK(VUROTARNOuListAll(&untouched, nullptr, nullptr));
    EXPECT_EQ((VURO_TARN_OU_LIST)0x1, untouched);
}

TEST_F(OuTest, ItemAccessAndJson) {
    VURO_TARN_OU ou;
    ou.id = 12;
    ou.parent_id = 3;
    ou.str_name = "Sales";
    ou.str_linked_gpo = "[{\"id\":5}]";
    ou.str_extra_info = "";
    char buf[4];
    EXPECT_OK(VUROTARNOuItemGetName(buf, sizeof(buf), &ou));
    EXPECT_STREQ("Sal", buf);  // cut silently
    long v = 0;
    EXPECT_EQ(-1, VUROTARNOuItemGetParentID(&v, nullptr));
    EXPECT_EQ(-1, VUROTARNOuItemSetName(&ou, nullptr));
    EXPECT_EQ(-1, VUROTARNOuItemGetName(buf, 0, &ou));

    Json::Value all;
    ASSERT_OK(VUROTARNOuStructToJson(&ou, Json::Value(), all));
    EXPECT_EQ(12, all["node_id"].asInt());
    EXPECT_EQ(VURO_TARN_TYPE_OU, all["node_type"].asInt());
    EXPECT_EQ(5, all["linked_gpo"][0]["id"].asInt());
    EXPECT_TRUE(all["extra_info"].isNull());
    EXPECT_TRUE(all.isMember("desc"));

    Json::Value some;
    Json::Value wanted(Json::arrayValue);
    wanted.append("desc");
    ASSERT_OK(VUROTARNOuStructToJson(&ou, wanted, some));
    EXPECT_EQ((std::vector<std::string>{"desc", "id", "name", "node_id", "node_type", "parent_id"}),
              some.getMemberNames());
    Json::Value notArray(5);
    EXPECT_EQ(-1, VUROTARNOuStructToJson(&ou, notArray, some));

    Json::Value in;
    in["name"] = "Renamed";
    in["extra_info"]["owner"] = "ops";
    ASSERT_OK(VUROTARNOuJsonToStruct(in, &ou));
    EXPECT_EQ("Renamed", ou.str_name);
    EXPECT_EQ("{\"owner\":\"ops\"}", ou.str_extra_info);
    EXPECT_EQ(3, ou.parent_id);  // absent members stay
    EXPECT_EQ("[{\"id\":5}]", ou.str_linked_gpo);
}

TEST_F(OuTest, JsonOfTheWrongKindsNeverThrows) {
    Json::Value in;
    in["id"] = Json::Value(Json::objectValue);
    in["name"] = Json::Value(Json::arrayValue);
    in["parent_id"] = "7";
    in["block_inheritance"] = true;
    VURO_TARN_OU ou;
    ASSERT_NO_THROW(EXPECT_OK(VUROTARNOuJsonToStruct(in, &ou)));
    EXPECT_EQ(0, ou.id);
    EXPECT_EQ("", ou.str_name);
    EXPECT_EQ(7, ou.parent_id);
    EXPECT_EQ(1, ou.block_inheritance);
    Json::Value notObject(Json::arrayValue);
    EXPECT_OK(VUROTARNOuJsonToStruct(notObject, &ou));

    Json::Value d;
    d["ugid"] = -1;
    d["target_id"] = "12";
    VURO_TARN_DELEGATE delegate;
    ASSERT_NO_THROW(EXPECT_OK(VUROTARNDelegateJsonToStruct(d, &delegate)));
    EXPECT_EQ(~0UL, delegate.ugid);
    EXPECT_EQ(12, delegate.target_id);
}

TEST_F(OuTest, EqualRecordsCreatedInOneSecondEachGetTheirOwnRow) {
    // Created back to back, the three rows are equal down to the second and
    // the process: only the row's own id tells them apart.
    std::vector<long> ids;
    std::string expected, expectedLog;
    for (int i = 0; i < 3; i++) {
        VURO_TARN_OU ou;
        ou.str_name = "Twin";
        ASSERT_OK(VUROTARNOuCreate(&ou));
        ids.push_back(ou.id);
        expected += (i ? "," : "") + std::to_string(ou.id);
        expectedLog += (i ? ",ou_" : "ou_") + std::to_string(ou.id);
    }
    EXPECT_EQ(expected, sqlValue("SELECT group_concat(id) FROM "
                                 "(SELECT id FROM ou WHERE name='Twin' ORDER BY id)"));
    EXPECT_EQ(expectedLog, logValue("SELECT group_concat(obj_id) FROM "
                                    "(SELECT obj_id FROM log WHERE obj_id!='ou_0' ORDER BY id)"));
    // Each id reads back the row it was given for.
    for (long id : ids) {
        VURO_TARN_OU back;
        ASSERT_OK(VUROTARNOuGet(id, &back));
        EXPECT_EQ(id, back.id);
    }
}
