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
    "  init [--data DIR]                      lay out a complete system root\n"
    "  ou create --name N [--desc D] [--parent ID] [--block 0|1]\n"
    "            [--linked-gpo JSON] [--extra JSON]\n"
    "  ou get ID\n"
    "  ou set ID [--name N] [--desc D] [--parent ID] [--block 0|1]\n"
    "            [--linked-gpo JSON] [--extra JSON]\n"
    "  ou delete ID\n"
    "  ou list [--parent ID] [LIST OPTIONS]\n"
    "  peer create --sn SN [--hostname H] [--host ADDR] [--model M] [--version V]\n"
    "              [--parent ID] [--http-port N] [--https-port N] [--desc D] [--block 0|1] [--buildnum N]\n"
    "              [--extra JSON] [--linked-gpo JSON]\n"
    "  peer get ID | get-by-sn SN | delete ID\n"
    "  peer set ID [create's options] [--status N] [--status-by-server N]\n"
    "  peer list [--parent ID] [--sn SN] [LIST OPTIONS]\n"
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
    "  convert --ou ID | --peer ID --set-map '{\"Samba\":2}' [--fetch] [--report [--json]]\n"
    "                                          the effective policy at the set versions asked\n"
    "  delegates set|override|list --ou ID | --peer ID [--users a,b] [--groups g,h]\n"
    "  delete-tree --ou ID | --peer ID | --sn SN   a node with what hangs on it\n"
    "  log list [--lang L] [--word W --field all|username|action] [--obj-id \"'ou_1','peer_2'\"]\n"
    "           [--for-user NAME] [--human] [--all-langs] [LIST OPTIONS]\n"
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
    "--user NAME (anywhere): the acting user the event log records for writes.\n"
    "LIST OPTIONS: [--sort-by COLUMN] [--desc-order] [--limit N] [--offset N]\n"
    "The root is --root, else $VURO_SYSROOT.\n";

}  // namespace

int main(int argc, char** argv) {
    int i = 1;
    bool verbose = false;
    try {
        for (; i < argc; i++) {
            std::string a = argv[i];
            if (a == "-v") {
                verbose = true;
            } else if (a == "--user" && i + 1 < argc) {
                setenv("VURO_WEBAPI_USERNAME", argv[++i], 1);
            } else if (a == "--root" && i + 1 < argc) {
                setenv("VURO_SYSROOT", argv[++i], 1);
            } else if (a == "-h" || a == "--help") {
                fputs(kUsage, stdout);
                return 0;
            } else {
                break;
            }
        }
        if (verbose) {
            openlog("tarn", LOG_PERROR | LOG_PID, LOG_USER);
        }
        if (i >= argc) {
            throw UsageError{"no command"};
        }
        std::string cmd = argv[i];
        // "--user NAME" anywhere: the acting user of the event log rows
        // that the command's writes leave.
        for (int j = i + 1; j + 1 < argc; j++) {
            if (std::string(argv[j]) == "--user") {
                setenv("VURO_WEBAPI_USERNAME", argv[j + 1], 1);
            }
        }
        if (cmd == "init") {
            // "init --root DIR" reads naturally too.
            Args args = parseArgs(argc, argv, i + 1);
            if (args.has("root")) {
                setenv("VURO_SYSROOT", args.get("root").c_str(), 1);
            }
            return cmdInit(args);
        }
        // Commands without a verb.
        if (cmd == "tree") return cmdTree(parseArgs(argc, argv, i + 1));
        if (cmd == "view") return cmdView(parseArgs(argc, argv, i + 1));
        if (cmd == "can-manage") return cmdCanManage(parseArgs(argc, argv, i + 1));
        if (cmd == "link") return cmdLink(parseArgs(argc, argv, i + 1));
        if (cmd == "order") return cmdOrder(parseArgs(argc, argv, i + 1));
        if (cmd == "evaluate") return cmdEvaluate(parseArgs(argc, argv, i + 1));
        if (cmd == "convert") return cmdConvert(parseArgs(argc, argv, i + 1));
        if (cmd == "delete-tree") return cmdDeleteTree(parseArgs(argc, argv, i + 1));
        if (cmd == "pkg-clean") return cmdPkgClean(parseArgs(argc, argv, i + 1));
        if (i + 1 >= argc) {
            throw UsageError{"'" + cmd + "' needs a verb"};
        }
        std::string verb = argv[i + 1];
        Args args = parseArgs(argc, argv, i + 2);
        if (cmd == "ou") return cmdOu(verb, args);
        if (cmd == "peer") return cmdPeer(verb, args);
        if (cmd == "gpo") return cmdGpo(verb, args);
        if (cmd == "delegate") return cmdDelegate(verb, args);
        if (cmd == "delegates") return cmdDelegates(verb, args);
        if (cmd == "log") return cmdLog(verb, args);
        if (cmd == "pkg") return cmdPkg(verb, args);
        if (cmd == "app") return cmdApp(verb, args);
        if (cmd == "info") return cmdInfo(verb, args);
        throw UsageError{"unknown command '" + cmd + "'"};
    } catch (const UsageError& e) {
        fprintf(stderr, "tarn: %s\n%s", e.what.c_str(), kUsage);
        return 2;
    }
}
