/* api.cpp - the commands of the tool for the web API: a JSON body becomes
 * the command's options, the signed-in user's rights are checked, and the
 * command runs as on the command line, its output caught as the answer. */
#include "api.h"

#include <limits.h>
#include <stdlib.h>

#include <set>
#include <string>

#include <vurojson.h>

#include "cli.h"
#include "vurotarn.h"

namespace tarncli {

namespace {

/* A request the signed-in user has no right to. */
struct Refused {
    std::string what;
};

/* Commands that take a path on this machine, lay out or serve the root, or
 * set passwords: the command line's alone. */
const std::set<std::string> kCliOnly = {"init",         "passwd",      "serve",
                                        "serve-worker", "peer import", "join"};

/* "ou/get" into "ou get"; empty when a word is not a command word. */
std::string commandName(const std::string& path) {
    std::string name;
    for (char c : path) {
        if (c == '/') {
            if (name.empty() || name.back() == ' ') return "";
            name += ' ';
        } else if ((c >= 'a' && c <= 'z') || c == '-') {
            name += c;
        } else {
            return "";
        }
    }
    return !name.empty() && name.back() != ' ' ? name : "";
}

/* One option's value as the command line would have it: texts and numbers
 * as they stand, JSON options as compact JSON text. */
std::string optionText(const std::string& key, const Json::Value& v) {
    if (v.isString()) return v.asString();
    if (v.isIntegral()) return v.asString();
    if (v.isObject() || v.isArray()) return vurojson::toString(v);
    throw UsageError{"--" + key + " takes a text, a whole number or JSON"};
}

Args argsFromJson(const CommandDecl& decl, const Json::Value& body) {
    if (!body.isObject()) throw UsageError{"the request body is not a JSON object"};
    // The command line's own parser checks the words, so both refuse alike.
    std::vector<std::string> words;
    for (const std::string& key : body.getMemberNames()) {
        const Json::Value& v = body[key];
        if (key == "args") {
            if (!v.isArray()) throw UsageError{"\"args\" is a list of words"};
            continue;
        }
        if (key.empty() || key[0] == '-') throw UsageError{"unknown option '" + key + "'"};
        if (v.isBool()) {
            if (!v.asBool()) continue;
            words.push_back("--" + key);
        } else {
            words.push_back("--" + key + "=" + optionText(key, v));
        }
    }
    if (body.isMember("args")) {
        words.push_back("--");
        for (const Json::Value& v : body["args"]) {
            if (!v.isString() && !v.isIntegral()) {
                throw UsageError{"\"args\" holds texts and whole numbers"};
            }
            words.push_back(v.asString());
        }
    }
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    Globals globals;
    Args args = parseArgs((int)argv.size(), argv.data(), 0, decl, &globals);
    if (globals.hasRoot || globals.hasUser) {
        throw UsageError{"root and user are the service's, not the request's"};
    }
    return args;
}

/* The nodes the user sees: "ou_N" and "peer_N". */
class View {
public:
    explicit View(uid_t uid) : uid_(uid) {}
    bool has(long type, long id) {
        if (!read_) {
            PQLIBSZLIST pList = QLIBCSzListAlloc(64);
            if (pList == NULL || VUROTARNContainerObjIDListByUid(uid_, &pList) < 0) {
                QLIBCSzListFree(pList);
                fail("cannot compute the view of the signed-in user");
            }
            for (int i = 0; i < pList->nItem; i++) ids_.insert(pList->pszItem[i]);
            QLIBCSzListFree(pList);
            read_ = true;
        }
        return ids_.count((type == VURO_TARN_TYPE_OU ? "ou_" : "peer_") + std::to_string(id)) != 0;
    }

private:
    uid_t uid_;
    bool read_ = false;
    std::set<std::string> ids_;
};

/* The node a command names by --ou or --peer (or by prefix + "ou"...). */
bool optionNode(const Args& args, long* pType, long* pId, const std::string& ou = "ou",
                const std::string& peer = "peer") {
    if (args.has(ou) == args.has(peer)) return false;
    *pType = args.has(ou) ? VURO_TARN_TYPE_OU : VURO_TARN_TYPE_PEER;
    *pId = (long)parseLongIn(args.get(args.has(ou) ? ou : peer), args.has(ou) ? "--ou" : "--peer",
                             0, LONG_MAX);
    return true;
}

bool canManage(uid_t uid, long type, long id) {
    return type == VURO_TARN_TYPE_OU ? VUROTARNOuCanManagedByUid(uid, id) != 0
                                     : VUROTARNPeerIDCanManagedByUid(uid, id) != 0;
}

const char* nodeWord(long type) { return type == VURO_TARN_TYPE_OU ? "OU" : "peer"; }

void needManage(uid_t uid, long type, long id) {
    if (!canManage(uid, type, id)) {
        throw Refused{std::string("you may not manage ") + nodeWord(type) + " " +
                      std::to_string(id)};
    }
}

void needSee(View& view, long type, long id) {
    if (!view.has(type, id)) {
        throw Refused{std::string(nodeWord(type)) + " " + std::to_string(id) +
                      " is not in your view"};
    }
}

/* The node a policy hangs on. */
void gpoNode(long idGpo, long* pType, long* pId) {
    VURO_TARN_GPO gpo;
    if (VUROTARNGpoGet(idGpo, &gpo) != 0)
        failNotFound("no policy with id " + std::to_string(idGpo));
    *pType = gpo.parent_type;
    *pId = gpo.parent_id;
}

void ownUid(Args* pArgs, const Actor& actor) {
    if (pArgs->has("uid") && pArgs->get("uid") != std::to_string(actor.uid)) {
        throw Refused{"you may ask this for your own uid only"};
    }
    pArgs->options["uid"] = std::to_string(actor.uid);
}

/* What a user who is not an administrator may run, and on which nodes. The
 * record layer checks no rights: this is where they are checked. Reads need
 * the node in the user's view, writes a node the user may manage; lists are
 * cut to the view afterwards (viewFilter). Anything not named here is for
 * administrators. */
void rightsCheck(const std::string& name, Args* pArgs, const Actor& actor, View& view) {
    const Args& args = *pArgs;
    long type = 0, id = 0;
    auto positionalId = [&] { return singleId(args, name.c_str()); };
    if (name == "view" || name == "can-manage" || name == "notify-fetch") {
        ownUid(pArgs, actor);
        // The notice checks the right itself; the answer of the others is about the user.
        return;
    }
    if (name == "ou list" || name == "peer list") return;
    if (name == "log list") {
        // The event log's own cut: the rows of the nodes in the user's view.
        if (pArgs->has("for-user") && pArgs->get("for-user") != actor.name) {
            throw Refused{"you may list the event log of your own view only"};
        }
        pArgs->options["for-user"] = actor.name;
        return;
    }
    if (name == "ou get") return needSee(view, VURO_TARN_TYPE_OU, positionalId());
    if (name == "peer get") return needSee(view, VURO_TARN_TYPE_PEER, positionalId());
    if (name == "peer get-by-sn") {
        VURO_TARN_PEER peer;
        if (args.positional.size() != 1 || VUROTARNPeerGetBySN(args.positional[0].c_str(), &peer)) {
            return;  // the command answers the bad or unknown serial
        }
        return needSee(view, VURO_TARN_TYPE_PEER, peer.id);
    }
    if (name == "tree" || name == "order" || name == "convert" || name == "delegates list" ||
        (name == "evaluate" && !args.flag("all-peers"))) {
        if (optionNode(args, &type, &id)) needSee(view, type, id);
        return;
    }
    if (name == "evaluate" || name == "link" || name == "delegates set" ||
        name == "delegates override") {
        // A plan over a subtree reads every peer in it: the same right as changing it.
        if (optionNode(args, &type, &id)) needManage(actor.uid, type, id);
        return;
    }
    if (name == "info get-by-peer") return needSee(view, VURO_TARN_TYPE_PEER, positionalId());
    if (name == "pkg list" || name == "app list") {
        if (!args.has("peer")) throw Refused{"list the packages of one peer of your view (--peer)"};
        return needSee(view, VURO_TARN_TYPE_PEER,
                       (long)parseLongIn(args.get("peer"), "--peer", 0, LONG_MAX));
    }
    if (name == "gpo get") {
        gpoNode(positionalId(), &type, &id);
        return needSee(view, type, id);
    }
    if (name == "gpo list") {
        if (!args.has("parent") || !args.has("parent-type")) {
            throw Refused{"list the policies of one node of your view (--parent, --parent-type)"};
        }
        return needSee(view, nodeTypeParse(args.get("parent-type"), "--parent-type"),
                       (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX));
    }
    if (name == "gpo create") {
        if (args.has("parent") && args.has("parent-type")) {
            needManage(actor.uid, nodeTypeParse(args.get("parent-type"), "--parent-type"),
                       (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX));
        }
        return;  // without them the command refuses the request
    }
    if (name == "gpo set" || name == "gpo delete") {
        long idGpo = positionalId();
        if (!VUROTARNGpoCanManagedByUid(actor.uid, idGpo)) {
            throw Refused{"you may not manage policy " + std::to_string(idGpo)};
        }
        if (args.has("parent") || args.has("parent-type")) {
            gpoNode(idGpo, &type, &id);
            if (args.has("parent-type")) {
                type = nodeTypeParse(args.get("parent-type"), "--parent-type");
            }
            if (args.has("parent"))
                id = (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX);
            needManage(actor.uid, type, id);
        }
        return;
    }
    if (name == "ou create") {
        return needManage(actor.uid, VURO_TARN_TYPE_OU,
                          args.has("parent")
                              ? (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX)
                              : 0);
    }
    if (name == "ou set" || name == "ou delete" || name == "peer set") {
        long t = name == "peer set" ? VURO_TARN_TYPE_PEER : VURO_TARN_TYPE_OU;
        needManage(actor.uid, t, positionalId());
        if (args.has("parent")) {
            needManage(actor.uid, VURO_TARN_TYPE_OU,
                       (long)parseLongIn(args.get("parent"), "--parent", 0, LONG_MAX));
        }
        return;
    }
    throw Refused{"'" + name + "' is for administrators"};
}

/* A list answer cut to the nodes of the user's view. */
void viewFilter(const std::string& name, View& view, Json::Value* pAnswer) {
    if (name != "ou list" && name != "peer list") return;
    long type = name == "ou list" ? VURO_TARN_TYPE_OU : VURO_TARN_TYPE_PEER;
    Json::Value kept(Json::arrayValue);
    for (const Json::Value& rec : *pAnswer) {
        if (view.has(type, (long)rec["id"].asLargestInt())) kept.append(rec);
    }
    *pAnswer = kept;
}

/* The acting user of the event log rows the command writes, for the call. */
class ActingUser {
public:
    explicit ActingUser(const std::string& name) {
        const char* old = getenv("VURO_WEBAPI_USERNAME");
        if (old != NULL) saved_ = old, had_ = true;
        setenv("VURO_WEBAPI_USERNAME", name.c_str(), 1);
    }
    ~ActingUser() {
        if (had_) {
            setenv("VURO_WEBAPI_USERNAME", saved_.c_str(), 1);
        } else {
            unsetenv("VURO_WEBAPI_USERNAME");
        }
    }
    ActingUser(const ActingUser&) = delete;
    ActingUser& operator=(const ActingUser&) = delete;

private:
    std::string saved_;
    bool had_ = false;
};

Json::Value errorAnswer(const std::string& what) {
    Json::Value j;
    j["error"] = what;
    return j;
}

}  // namespace

int apiCall(const std::string& command, const Json::Value& body, const Actor& actor,
            Json::Value* pAnswer) {
    std::string name = commandName(command);
    const CommandDecl* decl = name.empty() ? nullptr : commandFind(name);
    if (decl == nullptr || kCliOnly.count(name) != 0) {
        *pAnswer = errorAnswer("unknown command '" + command + "'");
        return 404;
    }
    std::string verb = name.find(' ') == std::string::npos ? name : name.substr(name.find(' ') + 1);
    VUROTARNErrReset();
    QLIBCErrSetEx(0, NULL, 0);  // a worker runs many commands: no cause of an earlier one
    try {
        Args args = argsFromJson(*decl, body);
        ActingUser acting(actor.name);
        View view(actor.uid);
        if (!actor.admin) rightsCheck(name, &args, actor, view);
        OutputCapture capture;
        commandRun(*decl, verb, args);
        *pAnswer = capture.result();
        if (!actor.admin) viewFilter(name, view, pAnswer);
        return 200;
    } catch (const UsageError& e) {
        *pAnswer = errorAnswer(e.what);
        return 400;
    } catch (const Refused& e) {
        *pAnswer = errorAnswer(e.what);
        return 403;
    } catch (const StaleEdit& e) {
        *pAnswer = errorAnswer(e.what);
        (*pAnswer)["current"] = e.current;
        return 409;
    } catch (const OpFailure& e) {
        *pAnswer = errorAnswer(e.what);
        if (e.status != 0) return e.status;
        return decl->szLocks[0] != '\0' ? 409 : 500;
    }
}

}  // namespace tarncli
