/* commands.cpp - every command of the tool: its options, flags, most
 * positionals, the record families it locks, and its handler. The CLI and
 * the web API dispatch through this one table. */
#include <string>

#include "cli.h"

namespace tarncli {

namespace {

/* Option lists shared by several commands (see CommandDecl). */
#define LIST_OPTIONS "sort-by limit offset"
#define LIST_FLAGS "desc-order"
#define OU_FIELDS "name desc parent block linked-gpo extra"
#define PEER_FIELDS                                                                         \
    "sn hostname host model version desc parent http-port https-port block buildnum extra " \
    "linked-gpo sid vuro-token relaypath"
#define GPO_FIELDS "name desc parent parent-type setting extra"
#define DELEGATE_FIELDS "user-type ugid target-type target extra"
#define PKG_FIELDS "peer pkg-id name-LANG version new-version status install-status beta extra"
#define APP_FIELDS \
    "peer app-id name-LANG version protocol port url window-param is-package icon-mtime extra"
#define INFO_FIELDS "peer general network hdd-info vol-info session define storage-info"
/* Everything that hangs on a node, for the commands that remove nodes. */
#define NODE_FAMILIES "ou peer gpo delegate pkg app info"

/* For the commands without a verb. */
#define NO_VERB(fn) [](const std::string&, const Args& a) { return fn(a); }

/* Every command: name, options, flags, most positionals, locked families,
 * handler. A new option of a command is its name added to that command's
 * options (or flags) here; the handler reads it with args.get/has/flag. */
const CommandDecl kCommands[] = {
    {"init", "data", "", 0, "", NO_VERB(cmdInit)},
    {"ou create", OU_FIELDS, "", 0, "ou", cmdOu},
    {"ou get", "", "", 1, "", cmdOu},
    {"ou set", OU_FIELDS " expect", "", 1, "ou", cmdOu},
    {"ou delete", "", "", 1, "ou peer gpo delegate", cmdOu},
    {"ou list", LIST_OPTIONS " parent", LIST_FLAGS, 0, "", cmdOu},
    {"peer create", PEER_FIELDS, "", 0, "peer ou", cmdPeer},
    {"peer get", "", "", 1, "", cmdPeer},
    {"peer get-by-sn", "", "", 1, "", cmdPeer},
    {"peer set",
     PEER_FIELDS " status status-by-server"
                 " expect",
     "", 1, "peer ou", cmdPeer},
    {"peer delete", "", "", 1, NODE_FAMILIES, cmdPeer},
    {"peer list", LIST_OPTIONS " parent sn", LIST_FLAGS, 0, "", cmdPeer},
    // A call writes the row only through the relay refresh.
    {"peer call", "", "", 5, "peer", cmdPeer},
    {"peer credential", "", "", 1, "", cmdPeer},
    {"peer relay-refresh", "", "", 1, "peer", cmdPeer},
    {"peer import", "parent", "", 1, "peer ou", cmdPeer},
    {"gpo create", GPO_FIELDS, "", 0, "gpo ou peer", cmdGpo},
    {"gpo get", "", "", 1, "", cmdGpo},
    {"gpo set", GPO_FIELDS " expect", "", 1, "gpo ou peer", cmdGpo},
    {"gpo delete", "", "", 1, "gpo ou peer", cmdGpo},
    {"gpo list", LIST_OPTIONS " parent parent-type", LIST_FLAGS, 0, "", cmdGpo},
    {"delegate create", DELEGATE_FIELDS, "", 0, "delegate ou peer", cmdDelegate},
    {"delegate get", "", "", 1, "", cmdDelegate},
    {"delegate set", DELEGATE_FIELDS " expect", "", 1, "delegate ou peer", cmdDelegate},
    {"delegate delete", "", "", 1, "delegate", cmdDelegate},
    {"delegate delete-by-target", "target-type target", "", 0, "delegate", cmdDelegate},
    {"delegate list", LIST_OPTIONS " target target-type ugid", LIST_FLAGS, 0, "", cmdDelegate},
    {"delegates set", "ou peer users groups expect", "", 0, "delegate ou peer", cmdDelegates},
    {"delegates override", "ou peer users groups expect", "", 0, "delegate ou peer", cmdDelegates},
    {"delegates list", "ou peer", "", 0, "", cmdDelegates},
    {"tree", "ou peer", "", 0, "", NO_VERB(cmdTree)},
    {"view", "uid", "", 0, "", NO_VERB(cmdView)},
    {"can-manage", "uid ou peer", "", 0, "", NO_VERB(cmdCanManage)},
    {"link", "ou peer links expect", "", 0, "ou peer gpo", NO_VERB(cmdLink)},
    {"order", "ou peer", "", 0, "", NO_VERB(cmdOrder)},
    {"evaluate", "ou peer link-order what-if", "human explain json all-peers diff", 0, "",
     NO_VERB(cmdEvaluate)},
    {"convert", "ou peer set-map", "fetch report json", 0, "", NO_VERB(cmdConvert)},
    {"delete-tree", "ou peer sn", "", 0, NODE_FAMILIES, NO_VERB(cmdDeleteTree)},
    {"log list", LIST_OPTIONS " lang word field obj-id for-user", LIST_FLAGS " human all-langs", 0,
     "", cmdLog},
    {"log get", "", "all-langs", 1, "", cmdLog},
    {"log clear", "", "", 0, "", cmdLog},
    {"pkg set", PKG_FIELDS " lang", "", 0, "pkg peer", cmdPkg},
    {"pkg get", "lang", "", 1, "", cmdPkg},
    {"pkg get-by", "peer pkg-id lang", "", 0, "", cmdPkg},
    {"pkg list", LIST_OPTIONS " peer lang", LIST_FLAGS, 0, "", cmdPkg},
    {"pkg delete", "", "", 1, "pkg", cmdPkg},
    {"pkg log", "peer pkg-id key level lang", "", 0, "", cmdPkg},
    {"pkg-clean", "", "", 0, "pkg", NO_VERB(cmdPkgClean)},
    {"app set", APP_FIELDS " lang", "", 0, "app peer", cmdApp},
    {"app get", "lang", "", 1, "", cmdApp},
    {"app delete", "", "", 1, "app", cmdApp},
    {"app list", LIST_OPTIONS " peer lang", LIST_FLAGS, 0, "", cmdApp},
    {"info set", INFO_FIELDS, "", 0, "info peer", cmdInfo},
    {"info get", "", "", 1, "", cmdInfo},
    {"info get-by-peer", "", "", 1, "", cmdInfo},
    {"info delete", "", "", 1, "info", cmdInfo},
    {"info list", "sn", "", 0, "", cmdInfo},
    {"passwd", "", "", 1, "", NO_VERB(cmdPasswd)},
    {"discover", "sn ids", "all update", 0, "peer", NO_VERB(cmdDiscover)},
    {"wake", "mac peer", "", 0, "", NO_VERB(cmdWake)},
    {"conninfo", "assign", "", 0, "", NO_VERB(cmdConnInfo)},
    // Sending writes a peer's row only through the relay refresh.
    {"update-server", "assign", "", 1, "peer", NO_VERB(cmdUpdateServer)},
    {"join", "server-host", "", 1, "peer", NO_VERB(cmdJoin)},
    {"session create", "", "", 1, "", cmdSession},
    {"session delete", "", "", 1, "", cmdSession},
    {"session list", "", "", 0, "", cmdSession},
    {"session check", "", "", 2, "", cmdSession},
    {"cache-push", "ou ids", "all", 0, "peer", NO_VERB(cmdCachePush)},
    {"notify-fetch", "uid peer ou wait", "", 0, "", NO_VERB(cmdNotifyFetch)},
    {"serve", "listen data workers timeout", "", 0, "", NO_VERB(cmdServe)},
    // Started by "serve" only, one per worker process.
    {"serve-worker", "", "", 0, "", NO_VERB(cmdServeWorker)},
};

}  // namespace

const CommandDecl* commandFind(const std::string& name) {
    for (const CommandDecl& c : kCommands) {
        if (name == c.szName) return &c;
    }
    return nullptr;
}

bool isFamily(const std::string& word) {
    for (const CommandDecl& c : kCommands) {
        if (std::string(c.szName).rfind(word + " ", 0) == 0) return true;
    }
    return false;
}

}  // namespace tarncli
