/* cmd_policy.cpp - "tarn link", "order", "evaluate", "delegates" and
 * "delete-tree": the policy engine and the list operations on one node. */
#include <limits.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

#include <vurojson.h>

#include "cli.h"

namespace tarncli {

namespace {

/* The node of --ou ID or --peer ID: its id and type. */
long nodeArgs(const Args& args, long* pType, const char* what) {
    if (args.has("ou") == args.has("peer")) {
        throw UsageError{std::string(what) + " needs --ou ID or --peer ID"};
    }
    *pType = args.has("ou") ? VURO_TARN_TYPE_OU : VURO_TARN_TYPE_PEER;
    return (long)parseLongIn(args.get(args.has("ou") ? "ou" : "peer"),
                             args.has("ou") ? "--ou" : "--peer", 0, LONG_MAX);
}

/* Sets the link text of a node through its family's Set. */
template <class Rec>
void linkStore(long id, int (*get)(long, Rec*), int (*set)(Rec*), const std::string& text) {
    Rec rec;
    if (get(id, &rec) != 0) failNotFound("no node with id " + std::to_string(id));
    rec.str_linked_gpo = text;
    if (set(&rec) != 0) fail("cannot store the links of " + std::to_string(id));
}

bool ugNameKnown(const std::string& name, long type) {
    if (type == VURO_TARN_TYPE_USER) {
        PVURO_USER pUser = NULL;
        bool known = VUROUserGet(name.c_str(), &pUser) >= 0 && pUser != NULL;
        if (pUser != NULL) VUROUserFree(pUser);
        return known;
    }
    PVURO_GROUP pGroup = NULL;
    bool known = VUROGroupGet(name.c_str(), &pGroup) >= 0 && pGroup != NULL;
    if (pGroup != NULL) VUROGroupFree(pGroup);
    return known;
}

}  // namespace

int cmdLink(const Args& args) {
    long type = 0;
    long id = nodeArgs(args, &type, "link");
    if (!args.has("links")) {
        throw UsageError{"link needs --links '{\"order\":[{\"gpo_id\":N,\"override\":0|1}]}'"};
    }
    Json::Value jReq;
    if (!vurojson::fromString(jReq, args.get("links"))) throw UsageError{"--links is not JSON"};
    linkTextCheck(jReq, "gpo_id", "--links");
    Json::Value data;
    VUROTARNHttpReqToJsonForLinkedGpo(jReq, data);
    std::string text = vurojson::toString(data["linked_gpo"]);
    if (type == VURO_TARN_TYPE_OU) {
        linkStore<VURO_TARN_OU>(id, VUROTARNOuGet, VUROTARNOuSet, text);
    } else {
        linkStore<VURO_TARN_PEER>(id, VUROTARNPeerGet, VUROTARNPeerSet, text);
    }
    printJson(data);
    return 0;
}

int cmdOrder(const Args& args) {
    long type = 0;
    long id = nodeArgs(args, &type, "order");
    Json::Value j(Json::arrayValue);
    if (VUROTARNGpoGetOrder(id, type, j) != 0) fail("cannot compute the order");
    printJson(j);
    return 0;
}

namespace {

/* The explanation for people: one paragraph per set. */
void explainPrint(const Json::Value& j) {
    auto where = [](const Json::Value& e) {
        return std::string(e["node_type"].asInt() == VURO_TARN_TYPE_PEER ? "peer " : "ou ") +
               std::to_string(e["node_id"].asInt64()) +
               (e["override"].asInt() == 1 ? ", enforced" : "");
    };
    for (const std::string& set : j["sets"].getMemberNames()) {
        const Json::Value& s = j["sets"][set];
        printTextf("%s\n", set.c_str());
        if (s.isMember("winner")) {
            printTextf("  won by   %s (gpo %lld) linked on %s\n",
                       s["winner"]["gpo_name"].asCString(),
                       (long long)s["winner"]["gpo_id"].asInt64(), where(s["winner"]).c_str());
        } else {
            printTextf("  applies nowhere\n");
        }
        for (const Json::Value& l : s["losers"]) {
            printTextf("  lost by  %s (gpo %lld) linked on %s: %s\n", l["gpo_name"].asCString(),
                       (long long)l["gpo_id"].asInt64(), where(l).c_str(), l["reason"].asCString());
        }
    }
    for (const Json::Value& u : j["unreadable_links"]) {
        printTextf("link text unreadable on %s %lld: the policy of this node cannot be computed\n",
                   u["node_type"].asInt() == VURO_TARN_TYPE_PEER ? "peer" : "ou",
                   (long long)u["node_id"].asInt64());
    }
}

/* "Samba from A (gpo 1)" for each set of an effective policy. */
std::string setsLine(const Json::Value& jPeer) {
    if (jPeer.isMember("error")) return jPeer["error"].asString();
    const Json::Value& c = jPeer["effective"]["gpo_content"];
    std::string line;
    for (const std::string& set : c.getMemberNames()) {
        line += (line.empty() ? "" : ", ") + set + " from " + c[set]["gpo_name"].asString() +
                " (gpo " + std::to_string(c[set]["gpo_id"].asInt64()) + ")";
    }
    return line.empty() ? "no policy" : line;
}

std::string peerTitle(const Json::Value& jPeer) {
    return "peer " + std::to_string(jPeer["peer_id"].asInt64()) + " (" + jPeer["sn"].asString() +
           ") in ou " + std::to_string(jPeer["parent_id"].asInt64()) +
           (jPeer["moved_out"].asBool() ? ", moved out of the subtree" : "");
}

/* Who won a set for a peer: the policy, and from its explanation the node
 * it is linked on. Null when no policy carries the set. */
Json::Value setWinner(const Json::Value& jPeer, const std::string& set) {
    const Json::Value& c = jPeer["effective"]["gpo_content"];
    if (!c.isMember(set)) return Json::Value();
    Json::Value j;
    j["gpo_id"] = c[set]["gpo_id"];
    j["gpo_name"] = c[set]["gpo_name"];
    const Json::Value& w = jPeer["explain"]["sets"][set]["winner"];
    if (w["gpo_id"] == j["gpo_id"]) {
        j["node_id"] = w["node_id"];
        j["node_type"] = w["node_type"];
        j["override"] = w["override"];
    }
    return j;
}

/* Why a set's winner changed, in the words of the explanation after the
 * change: what became of the policy that won it before. */
std::string setChangeReason(const Json::Value& jAfter, const std::string& set,
                            const Json::Value& jWas, const Json::Value& jNow) {
    if (jWas.isNull()) return "newly applied";
    if (!jNow.isNull() && jNow["gpo_id"] == jWas["gpo_id"]) {
        return "the sets of gpo " + std::to_string(jWas["gpo_id"].asInt64()) + " changed";
    }
    std::string was =
        jWas["gpo_name"].asString() + " (gpo " + std::to_string(jWas["gpo_id"].asInt64()) + ")";
    for (const Json::Value& l : jAfter["explain"]["sets"][set]["losers"]) {
        if (l["gpo_id"] == jWas["gpo_id"]) return was + " " + l["reason"].asString();
    }
    if (jNow.isNull()) return "no policy carries the set any more";
    return was + " no longer applies here";
}

/* The peers whose effective policy differs, set by set. */
Json::Value subtreeDiff(const Json::Value& jBefore, const Json::Value& jAfter) {
    std::map<long long, Json::Value> before;
    for (const Json::Value& p : jBefore) before[p["peer_id"].asInt64()] = p;
    Json::Value jDiff(Json::arrayValue);
    for (const Json::Value& jNew : jAfter) {
        long long id = jNew["peer_id"].asInt64();
        Json::Value jOld = before.count(id) ? before[id] : Json::Value();
        if (jOld.isNull()) {
            // Moved in from outside: its policy now, one node at a time.
            jOld = jNew;
            jOld["effective"] = Json::Value(Json::objectValue);
            jOld.removeMember("error");
            if (VUROTARNGpoGetEvaluate((long)id, VURO_TARN_TYPE_PEER, jOld["effective"], NULL) !=
                0) {
                jOld.removeMember("effective");
                jOld["error"] = "the policy of this peer cannot be computed";
            }
            VUROTARNGpoGetEvaluateExplain((long)id, VURO_TARN_TYPE_PEER, jOld["explain"]);
        }
        Json::Value jEntry;
        for (const char* key : {"peer_id", "sn", "parent_id", "moved_out"}) {
            if (jNew.isMember(key)) jEntry[key] = jNew[key];
        }
        if (jOld.isMember("error") || jNew.isMember("error")) {
            if (jOld["error"] != jNew["error"]) {
                jEntry["before_error"] = jOld["error"];
                jEntry["after_error"] = jNew["error"];
                jDiff.append(jEntry);
            }
            continue;
        }
        const Json::Value& cOld = jOld["effective"]["gpo_content"];
        const Json::Value& cNew = jNew["effective"]["gpo_content"];
        std::set<std::string> sets;
        for (const std::string& s : cOld.getMemberNames()) sets.insert(s);
        for (const std::string& s : cNew.getMemberNames()) sets.insert(s);
        jEntry["sets"] = Json::Value(Json::arrayValue);
        for (const std::string& set : sets) {
            if (cOld.isMember(set) && cNew.isMember(set) && cOld[set] == cNew[set]) continue;
            Json::Value jSet;
            jSet["set"] = set;
            jSet["before"] = setWinner(jOld, set);
            jSet["after"] = setWinner(jNew, set);
            jSet["reason"] = setChangeReason(jNew, set, jSet["before"], jSet["after"]);
            jEntry["sets"].append(jSet);
        }
        if (!jEntry["sets"].empty()) jDiff.append(jEntry);
    }
    return jDiff;
}

std::string winnerText(const Json::Value& w) {
    if (w.isNull()) return "none";
    std::string text = w["gpo_name"].asString() + " (gpo " + std::to_string(w["gpo_id"].asInt64());
    if (w.isMember("node_id")) {
        text += std::string(", ") +
                (w["node_type"].asInt() == VURO_TARN_TYPE_PEER ? "peer " : "ou ") +
                std::to_string(w["node_id"].asInt64()) +
                (w["override"].asInt() == 1 ? ", enforced" : "");
    }
    return text + ")";
}

void diffPrint(const Json::Value& jDiff, Json::ArrayIndex nPeers) {
    printTextf("%u of %u peers would change\n", jDiff.size(), nPeers);
    for (const Json::Value& p : jDiff) {
        printTextf("%s\n", peerTitle(p).c_str());
        if (p.isMember("before_error")) {
            printTextf("  before: %s\n  after:  %s\n",
                       p["before_error"].isNull() ? "computed" : p["before_error"].asCString(),
                       p["after_error"].isNull() ? "computed" : p["after_error"].asCString());
        }
        for (const Json::Value& s : p["sets"]) {
            printTextf("  %s: %s -> %s\n      because %s\n", s["set"].asCString(),
                       winnerText(s["before"]).c_str(), winnerText(s["after"]).c_str(),
                       s["reason"].asCString());
        }
    }
}

/* evaluate --ou ID --all-peers [--what-if CHANGES [--diff]]. */
int evaluateSubtree(const Args& args) {
    if (!args.has("ou") || args.has("peer")) throw UsageError{"--all-peers needs --ou ID"};
    if (args.has("link-order") || args.flag("explain")) {
        throw UsageError{"--link-order and --explain are for one node, not --all-peers"};
    }
    long id = (long)parseLongIn(args.get("ou"), "--ou", 0, LONG_MAX);
    nodeExistsCheck(id, VURO_TARN_TYPE_OU, "--ou");
    bool blDiff = args.flag("diff");
    if (blDiff && !args.has("what-if")) throw UsageError{"--diff needs --what-if CHANGES"};
    Json::Value jPeers;
    if (!args.has("what-if")) {
        if (VUROTARNGpoGetEvaluateSubtree(id, jPeers) != 0) {
            fail("cannot evaluate the peers under ou " + std::to_string(id));
        }
    } else {
        Json::Value jChanges;
        if (!vurojson::fromString(jChanges, args.get("what-if")) || !jChanges.isArray()) {
            throw UsageError{"--what-if is a JSON list of changes"};
        }
        for (const Json::Value& c : jChanges) {
            if (c.isObject() && c["op"] == "link" && c.isMember("links")) {
                linkTextCheck(c["links"], "gpo_id", "--what-if links");
            }
        }
        std::string cause;
        int r =
            VUROTARNGpoGetEvaluateSubtreeWhatIf(id, jChanges, blDiff ? TRUE : FALSE, jPeers, cause);
        if (r == -2) throw UsageError{"--what-if: " + cause};
        if (r != 0) fail("cannot plan for the peers under ou " + std::to_string(id) + ": " + cause);
        if (blDiff) {
            Json::Value jBefore;
            if (VUROTARNGpoGetEvaluateSubtreeWhatIf(id, Json::Value(Json::arrayValue), TRUE,
                                                    jBefore, cause) != 0) {
                fail("cannot evaluate the peers under ou " + std::to_string(id) + ": " + cause);
            }
            Json::Value jDiff = subtreeDiff(jBefore, jPeers);
            if (args.flag("human")) {
                diffPrint(jDiff, jPeers.size());
            } else {
                printJson(jDiff);
            }
            return 0;
        }
    }
    if (!args.flag("human")) {
        printJson(jPeers);
        return 0;
    }
    for (const Json::Value& p : jPeers) {
        printTextf("%s\n  %s\n", peerTitle(p).c_str(), setsLine(p).c_str());
    }
    return 0;
}

}  // namespace

int cmdEvaluate(const Args& args) {
    if (args.flag("all-peers")) return evaluateSubtree(args);
    if (args.has("what-if") || args.flag("diff")) {
        throw UsageError{"--what-if and --diff go with --ou ID --all-peers"};
    }
    long type = 0;
    long id = nodeArgs(args, &type, "evaluate");
    if (args.flag("explain")) {
        Json::Value j;
        if (VUROTARNGpoGetEvaluateExplain(id, type, j) != 0) {
            fail("cannot explain the policy of " + std::to_string(id));
        }
        if (args.flag("json")) {
            printJson(j);
        } else {
            explainPrint(j);
        }
        return 0;
    }
    std::string order = args.get("link-order");
    std::string text;
    if (VUROTARNGpoGetEvaluateStr(id, type, text, args.flag("human") ? TRUE : FALSE,
                                  order.empty() ? NULL : &order[0]) != 0) {
        fail("cannot evaluate the policy of " + std::to_string(id));
    }
    printText(text.empty() || text.back() != '\n' ? text + "\n" : text);
    return 0;
}

namespace {

/* What one version step did to a set: keys dropped, added (with their
 * defaults), and changed in value. */
Json::Value setStepDiff(const Json::Value& jFrom, const Json::Value& jTo) {
    Json::Value j;
    j["dropped"] = Json::Value(Json::arrayValue);
    j["added"] = Json::Value(Json::objectValue);
    j["changed"] = Json::Value(Json::objectValue);
    for (const std::string& key : jFrom.getMemberNames()) {
        if (key == "vuro_set_version" || key == "gpo_id" || key == "gpo_name") continue;
        if (!jTo.isMember(key)) {
            j["dropped"].append(key);
        } else if (jTo[key] != jFrom[key]) {
            j["changed"][key]["from"] = jFrom[key];
            j["changed"][key]["to"] = jTo[key];
        }
    }
    for (const std::string& key : jTo.getMemberNames()) {
        if (key == "vuro_set_version" || key == "gpo_id" || key == "gpo_name") continue;
        if (!jFrom.isMember(key)) j["added"][key] = jTo[key];
    }
    return j;
}

/* Steps each set of the map one version at a time through the library's
 * own converter, and diffs each step. */
Json::Value convertReport(const Json::Value& jEffective, const Json::Value& jSetMap, bool blFetch) {
    Json::Value jReport(Json::objectValue);
    const Json::Value& jContent = jEffective["gpo_content"];
    for (const std::string& set : jSetMap.getMemberNames()) {
        if (!jContent.isMember(set) || !jContent[set].isObject()) continue;
        int from = jContent[set]["vuro_set_version"].asInt();
        int to = jSetMap[set].asInt();
        if (blFetch && from <= to) to = from;  // a fetch passes older sets on unchanged
        Json::Value jSteps(Json::arrayValue);
        Json::Value jCur = jContent[set];
        for (int v = from; v != to; v += to > from ? 1 : -1) {
            int next = v + (to > from ? 1 : -1);
            Json::Value jGpo;
            jGpo["gpo_content"][set] = jCur;
            Json::Value jOne;
            jOne[set] = next;
            Json::Value jStep;
            jStep["from"] = v;
            jStep["to"] = next;
            if (VUROTARNGpoGetWithVersionConvert(jGpo, jOne) != 0) {
                jStep["error"] = "no conversion";
                jSteps.append(jStep);
                break;
            }
            Json::Value jNext = jGpo["gpo_content"][set];
            Json::Value jDiff = setStepDiff(jCur, jNext);
            for (const char* key : {"dropped", "added", "changed"}) jStep[key] = jDiff[key];
            jSteps.append(jStep);
            jCur = jNext;
        }
        jReport[set] = jSteps;
    }
    return jReport;
}

void reportPrint(const Json::Value& jReport) {
    for (const std::string& set : jReport.getMemberNames()) {
        if (jReport[set].empty()) {
            printTextf("%s: already at the wanted version\n", set.c_str());
        }
        for (const Json::Value& step : jReport[set]) {
            printTextf("%s %d -> %d\n", set.c_str(), step["from"].asInt(), step["to"].asInt());
            if (step.isMember("error")) printTextf("  %s\n", step["error"].asCString());
            for (const Json::Value& k : step["dropped"])
                printTextf("  dropped %s\n", k.asCString());
            for (const std::string& k : step["added"].getMemberNames()) {
                printTextf("  added   %s = %s\n", k.c_str(),
                           vurojson::toString(step["added"][k]).c_str());
            }
            for (const std::string& k : step["changed"].getMemberNames()) {
                printTextf("  changed %s: %s -> %s\n", k.c_str(),
                           vurojson::toString(step["changed"][k]["from"]).c_str(),
                           vurojson::toString(step["changed"][k]["to"]).c_str());
            }
        }
    }
}

}  // namespace

int cmdConvert(const Args& args) {
    long type = 0;
    long id = nodeArgs(args, &type, "convert");
    Json::Value jSetMap;
    if (!args.has("set-map") || !vurojson::fromString(jSetMap, args.get("set-map")) ||
        !jSetMap.isObject()) {
        throw UsageError{"convert needs --set-map '{\"Samba\":2}'"};
    }
    Json::Value jEffective(Json::objectValue);
    if (VUROTARNGpoGetEvaluate(id, type, jEffective, NULL) != 0) {
        fail("cannot evaluate the policy of " + std::to_string(id));
    }
    Json::Value jGpo = jEffective;
    Json::Value jSet = jSetMap;
    bool blFetch = args.flag("fetch");
    int r = blFetch ? VUROTARNGpoGetWithVersionConvertForFetch(jGpo, jSet)
                    : VUROTARNGpoGetWithVersionConvert(jGpo, jSet);
    if (r != 0) fail("cannot bring the policy of " + std::to_string(id) + " to the versions asked");
    if (!args.flag("report")) {
        printJson(jGpo);
        return 0;
    }
    Json::Value jReport = convertReport(jEffective, jSetMap, blFetch);
    if (args.flag("json")) {
        Json::Value j;
        j["result"] = jGpo;
        j["report"] = jReport;
        printJson(j);
    } else {
        reportPrint(jReport);
    }
    return 0;
}

int cmdDelegates(const std::string& verb, const Args& args) {
    long type = 0;
    long id = nodeArgs(args, &type, "delegates");
    if (verb == "set" || verb == "override") {
        // Every name is resolved before anything is written: the library
        // drops a name it cannot resolve, and a typo would then remove the
        // delegate that was meant.
        Json::Value jNode;
        jNode["delegate"] = Json::Value(Json::arrayValue);
        std::string unknown;
        for (const auto& kind : {std::make_pair("users", VURO_TARN_TYPE_USER),
                                 std::make_pair("groups", VURO_TARN_TYPE_GROUP)}) {
            for (const std::string& name : splitNames(args.get(kind.first))) {
                if (!ugNameKnown(name, kind.second)) {
                    unknown += std::string(unknown.empty() ? "" : ", ") +
                               (kind.second == VURO_TARN_TYPE_USER ? "user " : "group ") + name;
                }
                Json::Value e;
                e["user_type"] = kind.second;
                e["name"] = name;
                jNode["delegate"].append(e);
            }
        }
        if (!unknown.empty()) throw UsageError{"no such " + unknown + ": nothing changed"};
        nodeExistsCheck(id, type, type == VURO_TARN_TYPE_OU ? "--ou" : "--peer");
        int r = verb == "set" ? VUROTARNDelegateSetListByTarget(id, (int)type, jNode)
                              : VUROTARNDelegateOverrideListByTarget(id, (int)type, jNode);
        if (r != 0) fail("cannot " + verb + " the delegates of " + std::to_string(id));
    } else if (verb != "list") {
        throw UsageError{"delegates set|override|list"};
    }
    VURO_TARN_DELEGATE* list = NULL;
    size_t count = 0;
    if (VUROTARNDelegateListByTarget(id, (int)type, &list, &count) != 0) {
        fail("cannot list the delegates of " + std::to_string(id));
    }
    printJson(listJson(list));
    VUROTARNDelegateListFree(&list);
    return 0;
}

int cmdDeleteTree(const Args& args) {
    Json::Value j;
    if (args.has("sn")) {
        VURO_TARN_PEER_LIST pList = NULL;
        if (VUROTARNPeerListBySn(args.get("sn").c_str(), &pList) != 0) {
            fail("cannot read the peer " + args.get("sn"));
        }
        bool blFound = pList != NULL;
        VUROTARNPeerListFree(&pList);
        if (!blFound) failNotFound("no peer with serial " + args.get("sn") + ": nothing deleted");
        if (VUROTARNPeerDeleteAllBySN(args.get("sn").c_str()) != 0) {
            fail("cannot delete the peer " + args.get("sn"));
        }
        j["deleted_sn"] = args.get("sn");
    } else {
        long type = 0;
        long id = nodeArgs(args, &type, "delete-tree");
        if (type == VURO_TARN_TYPE_OU && id == 0) throw UsageError{"the root OU cannot be deleted"};
        VURO_TARN_OU ou;
        VURO_TARN_PEER peer;
        if (type == VURO_TARN_TYPE_OU ? VUROTARNOuGet(id, &ou) != 0
                                      : VUROTARNPeerGet(id, &peer) != 0) {
            failNotFound(std::string("no ") + (type == VURO_TARN_TYPE_OU ? "OU" : "peer") +
                         " with id " + std::to_string(id) + ": nothing deleted");
        }
        int r =
            type == VURO_TARN_TYPE_OU ? VUROTARNOuDeleteAllByID(id) : VUROTARNPeerDeleteAllByID(id);
        if (r != 0) fail("cannot delete node " + std::to_string(id));
        j[type == VURO_TARN_TYPE_OU ? "deleted_ou" : "deleted_peer"] = (Json::Int64)id;
    }
    printJson(j);
    return 0;
}

}  // namespace tarncli
