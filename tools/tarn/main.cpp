/* tarn - the management command line over libtarn: lays out a system root
 * and stores, reads and lists records. Prints JSON on stdout; with -v the
 * library's log lines also go to stderr. */
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

#include <string>

#include "cli.h"

using namespace tarncli;

namespace {

const char* kUsage =
    "usage: tarn [-v] [--root DIR] [--user NAME] COMMAND ...\n"
    "  init [--data DIR]                      lay out a complete system root (--root DIR)\n"
    "  ou create --name N [--desc D] [--parent ID] [--block 0|1]\n"
    "            [--linked-gpo JSON] [--extra JSON]\n"
    "  ou get ID\n"
    "  ou set ID [--name N] [--desc D] [--parent ID] [--block 0|1]\n"
    "            [--linked-gpo JSON] [--extra JSON]\n"
    "  ou delete ID\n"
    "  ou list [--parent ID] [LIST OPTIONS]\n"
    "  peer create --sn SN [--hostname H] [--host ADDR] [--model M] [--version V]\n"
    "              [--parent ID] [--http-port N] [--https-port N] [--desc D] [--block 0|1]\n"
    "              [--buildnum N] [--extra JSON] [--linked-gpo JSON]\n"
    "              [--sid TOKEN] [--vuro-token TOKEN] [--relaypath RELAY_ID]\n"
    "  peer get ID | get-by-sn SN | delete ID\n"
    "  peer set ID [create's options] [--status N] [--status-by-server N]\n"
    "  peer list [--parent ID] [--sn SN] [LIST OPTIONS]\n"
    "  peer call ID API VERSION METHOD [PARAMS]   one remote call, the answer as JSON\n"
    "                                          (-v: the way it took)\n"
    "  peer credential ID                      the way a call would take, tokens shortened\n"
    "  peer relay-refresh ID                   ask the relay where the server is, store it\n"
    "  peer import FLEET.json [--parent ID]    a simulator's fleet file as peer records\n"
    "  pkg set --peer ID --pkg-id X [--name-enu N] [--name-LANG N ...] [--version V]\n"
    "          [--new-version V] [--status N] [--install-status N] [--beta 0|1] [--extra JSON]\n"
    "  pkg get ID [--lang L] | get-by --peer ID --pkg-id X [--lang L] | delete ID\n"
    "  pkg list [--peer ID] [--lang L] [LIST OPTIONS]\n"
    "  pkg log --peer ID --pkg-id X --key KEY [--level N] [--lang L]   an event-log row\n"
    "  pkg-clean                               trim the package file store\n"
    "  gpo create --name N --parent-type ou|peer --parent ID [--desc D]\n"
    "             [--setting JSON] [--extra JSON]\n"
    "  gpo get ID | set ID [create's options] | delete ID\n"
    "  gpo list [--parent ID] [--parent-type ou|peer] [LIST OPTIONS]\n"
    "  delegate create --user-type user|group --ugid N --target-type ou|peer --target ID\n"
    "                  [--extra JSON]\n"
    "  delegate get ID | set ID [create's options] | delete ID\n"
    "  delegate delete-by-target --target-type ou|peer --target ID\n"
    "  delegate list [--target ID] [--target-type ou|peer] [--ugid N] [LIST OPTIONS]\n"
    "  tree --ou ID | --peer ID                a node with everything below it\n"
    "  view --uid N                            what a user sees\n"
    "  can-manage --uid N --ou ID | --peer ID  may the user manage the node\n"
    "  link --ou ID | --peer ID --links '{\"order\":[{\"gpo_id\":N,\"override\":0|1}]}'\n"
    "  order --ou ID | --peer ID               the policies that apply, most important first\n"
    "  evaluate --ou ID | --peer ID [--human] [--link-order JSON]   the effective policy\n"
    "  evaluate --ou ID | --peer ID --explain [--json]   which policy won each set, and why\n"
    "  evaluate --ou ID --all-peers [--json|--human]  the effective policy of every peer below\n"
    "  evaluate --ou ID --all-peers --what-if CHANGES [--diff] [--human]\n"
    "           as if the changes were made, writing nothing. CHANGES: a JSON list of\n"
    "           {\"op\":\"link\",\"ou\":N,\"links\":{\"order\":[{\"gpo_id\":G,\"override\":1}]}}\n"
    "           {\"op\":\"block\",\"peer\":N,\"value\":1} {\"op\":\"move\",\"ou\":N,\"parent\":P}\n"
    "           {\"op\":\"setting\",\"gpo\":G,\"setting\":{...}}  (\"ou\" or \"peer\" in each)\n"
    "           --diff: only the peers whose policy would change, set by set, and why\n"
    "  convert --ou ID | --peer ID --set-map '{\"Samba\":2}' [--fetch] [--report [--json]]\n"
    "                                          the effective policy at the set versions asked\n"
    "  delegates set|override|list --ou ID | --peer ID [--users a,b] [--groups g,h]\n"
    "  delete-tree --ou ID | --peer ID | --sn SN   a node with what hangs on it\n"
    "  log list [--lang L] [--word W [--field all|username|action]]\n"
    "           [--obj-id \"'ou_1','peer_2'\"] [--for-user NAME] [--human] [--all-langs]\n"
    "           [LIST OPTIONS]\n"
    "  log get ID | clear                     the event log\n"
    "  app set --peer ID --app-id X [--name-enu N] [--name-<lang> N ...] [--version V]\n"
    "          [--protocol P] [--port N] [--url U] [--window-param T] [--is-package 0|1]\n"
    "          [--icon-mtime N] [--extra JSON]   one row per peer and application id\n"
    "  app get ID [--lang L] | delete ID\n"
    "  app list [--peer ID] [--lang L] [LIST OPTIONS]\n"
    "  info set --peer ID [--general JSON] [--network JSON] [--hdd-info JSON]\n"
    "           [--vol-info JSON] [--session JSON] [--define JSON] [--storage-info JSON]\n"
    "  info get ID | get-by-peer PEER_ID | delete ID\n"
    "  info list [--sn SN]                    what the peers reported, one row per peer\n"
    "  passwd NAME                            a root user's password, from standard input\n"
    "  discover [--sn SN1,SN2]                servers on the LAN: all, or one slot per serial\n"
    "  discover --ids 1,2|--all [--update]    the same for stored peers; --update stores\n"
    "                                         the status each answer gives\n"
    "  wake --mac MAC | --peer ID             a wake packet out of every interface\n"
    "  conninfo [--assign JSON]               this server's connection info as JSON;\n"
    "                                          JSON: {\"host\":[...]|\"H\",\"http_port\":N,...}\n"
    "  update-server IDS [--assign JSON]      send it to peers; IDS: an id or [ids]\n"
    "  join FLEET.json --server-host HOST    finish the join of each server of the file;\n"
    "                                          the stored records and the serials left out\n"
    "  session create|delete SERIAL | list | check SID API   sessions of managed servers\n"
    "  cache-push --all | --ou ID | --ids 1,2  ask ready peers to push their cache\n"
    "  notify-fetch --uid N --peer ID | --ou ID [--wait SECONDS]   ask peers to fetch\n"
    "                                          their policy; --wait: reap the children\n"
    "  serve [--listen 127.0.0.1:PORT] [--data DIR] [--workers N] [--timeout S]   web API, console\n"
    "--expect JSON (ou|peer|gpo|delegate set, link, delegates set|override): the record\n"
    "  as read (\"get\", or \"delegates list\"); when it changed since, nothing is written,\n"
    "  the stored one is printed and the exit code is 1.\n"
    "--user NAME (anywhere): the acting user the event log records for writes.\n"
    "LIST OPTIONS: [--sort-by COLUMN] [--desc-order] [--limit N] [--offset N]\n"
    "--root, --user and -v go anywhere on the line; --help (-h) prints this and does nothing.\n"
    "An option a command does not know is refused; --key=VALUE gives a value that starts\n"
    "with --. The root is --root, else $VURO_SYSROOT; init needs one (--root / for this\n"
    "system itself).\n";

/* --help or -h anywhere before "--": the usage and nothing else, whatever
 * the rest of the line says. */
bool helpAsked(int argc, char** argv) {
    for (int i = 1; i < argc; i++) {
        std::string a = argv[i];
        if (a == "--") return false;
        if (a == "--help" || a == "-h") return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (helpAsked(argc, argv)) {
            fputs(kUsage, stdout);
            return 0;
        }
        Globals globals;
        int i = 1;
        parseGlobals(argc, argv, &i, &globals);
        if (i >= argc) throw UsageError{"no command"};
        std::string cmd = argv[i++];
        if (cmd.rfind("-", 0) == 0) {
            throw UsageError{"unknown option " + cmd + " before the command"};
        }
        std::string verb = cmd;
        const CommandDecl* decl = commandFind(cmd);
        if (decl == nullptr) {
            if (!isFamily(cmd)) throw UsageError{"unknown command '" + cmd + "'"};
            parseGlobals(argc, argv, &i, &globals);
            if (i >= argc) throw UsageError{"'" + cmd + "' needs a verb"};
            verb = argv[i++];
            decl = commandFind(cmd + " " + verb);
            if (decl == nullptr) throw UsageError{"unknown " + cmd + " command '" + verb + "'"};
        }
        Args args = parseArgs(argc, argv, i, *decl, &globals);
        if (globals.hasRoot) setenv("VURO_SYSROOT", globals.root.c_str(), 1);
        // The acting user of the event log rows that the command's writes leave.
        if (globals.hasUser) setenv("VURO_WEBAPI_USERNAME", globals.user.c_str(), 1);
        if (globals.verbose) openlog("tarn", LOG_PERROR | LOG_PID, LOG_USER);
        commandRun(*decl, verb, args);
        return 0;
    } catch (const UsageError& e) {
        fprintf(stderr, "tarn: %s\n%s", e.what.c_str(), kUsage);
        return 2;
    } catch (const StaleEdit& e) {
        fprintf(stderr, "tarn: %s\n", e.what.c_str());
        printJson(e.current);
        return 1;
    } catch (const OpFailure& e) {
        fprintf(stderr, "tarn: %s%s%s%s\n", e.what.c_str(), e.detail.empty() ? "" : " (",
                e.detail.c_str(), e.detail.empty() ? "" : ")");
        return 1;
    }
}
