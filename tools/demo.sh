#!/usr/bin/env bash
# The demo: lays out a sysroot, builds a small OU tree through the tarn
# tool, edits it and lists it, then calls a simulated fleet on 127.0.0.1.
# Usage: demo.sh SYSROOT (tarn from $TARN_BIN, the simulator beside it or
# from $TARN_PEER_SIM).
set -euo pipefail
ROOT=${1:?usage: demo.sh SYSROOT}
TARN=${TARN_BIN:-tarn}

step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
tarn() { echo "\$ tarn $*" >&2; "$TARN" --root "$ROOT" "$@"; }
id_of() { sed -n 's/^  "id" : \([0-9-]*\),\{0,1\}$/\1/p' | head -n 1; }

rm -rf "$ROOT"
mkdir -p "$ROOT"
step "Lay out a system root under $ROOT"
tarn init

step "A plug-in that records every OU write"
mkdir -p "$ROOT/var/packages/TARN/target/plugin/tarnou"
for hook in create set delete; do
    cat > "$ROOT/var/packages/TARN/target/plugin/tarnou/tarnou_$hook" <<'HOOK'
#!/bin/sh
echo "$PLUGIN_NAME $1 result=$RESULT org=${Org_Name:-} new=${New_Name:-}" >> "$VURO_SYSROOT/hooks.log"
HOOK
    chmod 755 "$ROOT/var/packages/TARN/target/plugin/tarnou/tarnou_$hook"
done

step "Build a small organisation tree"
hq=$(tarn ou create --name "Headquarters" --desc "Main site" | id_of)
sales=$(tarn ou create --name "Sales" --parent "$hq" | id_of)
eng=$(tarn ou create --name "Engineering" --parent "$hq" --extra '{"cost_center":"4711"}' | id_of)
lab=$(tarn ou create --name "Test lab" --parent "$eng" | id_of)
echo "Headquarters=$hq Sales=$sales Engineering=$eng Test lab=$lab"

step "Rename Sales and let it block inherited policies (acting user: alice)"
tarn --user alice ou set "$sales" --name "Sales EU" --block 1

step "The OUs under Headquarters"
tarn ou list --parent "$hq"

step "Managed servers under the OUs: a repeated store of one serial keeps its row"
nas1=$(tarn peer create --sn 2140ABC001 --hostname nas-eu-1 --host 127.0.0.1 --http-port 5000 \
    --parent "$sales" | id_of)
nas2=$(tarn peer create --sn 2140ABC002 --hostname nas-lab-1 --host 127.0.0.2 --parent "$lab" | id_of)
again=$(tarn peer create --sn 2140ABC001 --hostname nas-eu-1 --host 127.0.0.1 --http-port 5000 \
    --parent "$sales" | id_of)
echo "nas-eu-1=$nas1 nas-lab-1=$nas2, stored again: id $again"
# Status changes leave no event log row; an upgrade does.
tarn peer set "$nas1" --status 2 --status-by-server 2 >/dev/null
tarn --user alice peer set "$nas1" --version 7.2 >/dev/null
tarn peer list --parent "$sales"

step "Inventory: nas-eu-1's packages, shown in German (English where no German name is stored)"
tarn pkg set --peer "$nas1" --pkg-id FileStation --name-enu "File Station" --name-ger "Dateistation" \
    --version 1.2-0410 --status 2 >/dev/null
tarn pkg set --peer "$nas1" --pkg-id Backup --name-enu "Backup Vault" --version 3.0 --status 3 >/dev/null
tarn pkg list --peer "$nas1" --lang ger | grep -E '"(pkg_name|pkg_version|pkg_status)" :'
tarn --user alice pkg log --peer "$nas1" --pkg-id FileStation --key pkg_install --lang ger >/dev/null
tarn app set --peer "$nas1" --app-id photos --name-enu "Photos" --protocol https --port 5001 \
    --url /photo >/dev/null
tarn app list --peer "$nas1" --lang ger | grep -E '"(name|port)" :'
tarn info set --peer "$nas1" --general '{"cpu":"4 cores","ram_mb":8192}' \
    --storage-info '{"volumes":1,"free_gb":512}' >/dev/null
tarn info get-by-peer "$nas1" | grep -E '"(cpu|free_gb)" :'

step "The package file store: entries of server kinds no peer has go, and pool files no entry holds"
mkdir -p "$ROOT/volume1"  # etc/vuro is there from tarn init
echo /volume1 > "$ROOT/etc/vuro/volumes.conf"
store="$ROOT/volume1/@tmp/tarnpkg.tmp"
mkdir -p "$store/bdl/FileStation" "$store/peer/RS819/42000" "$store/peer/DS120/1000"
echo payload > "$store/bdl/FileStation/FileStation-1.2.spk"
echo orphan > "$store/bdl/FileStation/FileStation-0.9.spk"
ln "$store/bdl/FileStation/FileStation-1.2.spk" "$store/peer/RS819/42000/FileStation.spk"
tarn peer set "$nas1" --model RS819 --buildnum 42000 >/dev/null
tarn pkg-clean
( cd "$store" && find . -type f | sort )

step "Policies owned by an OU and by a server"
baseline=$(tarn gpo create --name "Baseline" --parent-type ou --parent "$hq" \
    --setting '{"gpo_content":{"Samba":{"vuro_set_version":3,"smb_encrypt_transport":1},"Time":{"vuro_set_version":1,"ntp":"pool.example"}}}' | id_of)
sales_gpo=$(tarn gpo create --name "Sales shares" --parent-type ou --parent "$sales" \
    --setting '{"gpo_content":{"Samba":{"vuro_set_version":2,"smb_max_protocol":2},"Quota":{"vuro_set_version":1,"gb":50}}}' | id_of)
lab_gpo=$(tarn gpo create --name "Lab server only" --parent-type peer --parent "$nas2" \
    --setting '{"gpo_content":{"Time":{"vuro_set_version":1,"ntp":"lab-clock"}}}' | id_of)
tarn gpo list --parent-type ou | grep -E '"name" :'

step "Links: Baseline enforced at Headquarters, Sales shares on Sales EU (which blocks)"
tarn link --ou "$hq" --links "{\"order\":[{\"gpo_id\":$baseline,\"override\":1}]}" >/dev/null
tarn link --ou "$sales" --links "{\"order\":[{\"gpo_id\":$sales_gpo,\"override\":0}]}" >/dev/null
tarn link --peer "$nas2" --links "{\"order\":[{\"gpo_id\":$lab_gpo}]}" >/dev/null

step "The order of nas-eu-1: the enforced Baseline outranks its own OU's policy"
tarn order --peer "$nas1" | grep -E '"(gpo_name|override|node_id)" :'

step "Its effective policy: each set from the first policy that has it"
tarn evaluate --peer "$nas1" --human

step "Why: each set's winner, and why the others lost"
tarn evaluate --peer "$nas1" --explain

step "The same policy for a reader that knows Samba version 1 only"
tarn convert --peer "$nas1" --set-map '{"Samba":1,"Quota":1}'
tarn convert --peer "$nas1" --set-map '{"Samba":1,"Quota":1}' --report

step "The lab server: the enforced Baseline wins Time even over the server's own link"
tarn evaluate --peer "$nas2"

step "Every server under Headquarters in one pass"
tarn evaluate --ou "$hq" --all-peers --human

step "Planning: which servers would change if Baseline were no longer enforced, and why"
tarn evaluate --ou "$hq" --all-peers --diff --human --what-if \
    "[{\"op\":\"link\",\"ou\":$hq,\"links\":{\"order\":[{\"gpo_id\":$baseline,\"override\":0}]}}]"
echo "(a plan writes nothing: nas-eu-1 still has)"
tarn evaluate --peer "$nas1" --human | grep -E '"gpo_name" :'

step "Delegated administration: alice on Engineering, her group ops on Sales EU"
cat > "$ROOT/etc/passwd" <<'USERS'
root:x:0:0:root:/root:/bin/sh
alice:x:2001:100::/home/alice:/bin/sh
bob:x:2002:100::/home/bob:/bin/sh
USERS
cat > "$ROOT/etc/group" <<'GROUPS'
root:x:0:
users:x:100:
ops:x:300:alice
administrators:x:101:
GROUPS
tarn delegates set --ou "$eng" --users alice | grep -E '"(ugid|userNameCache)"'
tarn delegates set --ou "$sales" --groups ops | grep -E '"(ugid|userNameCache)"'

step "Headquarters with everything below it"
tarn tree --ou "$hq" | grep -E '"(name|sn)" :'

step "What alice sees, and what she may manage"
tarn view --uid 2001 | grep -E '"(name|sn|hostname)" :'
tarn can-manage --uid 2001 --ou "$lab" | grep can_manage
tarn can-manage --uid 2001 --ou "$hq" | grep can_manage
tarn can-manage --uid 2002 --peer "$nas1" | grep can_manage

step "Remove the test lab with what hangs on it: its server moves to the root"
tarn delete-tree --ou "$lab"
tarn peer get "$nas2" | grep -E '"parent_id"'

step "List every OU by name"
tarn ou list --sort-by name

step "What the hooks saw"
cat "$ROOT/hooks.log"

step "A refused edit: there is no OU 999"
if tarn -v ou set 999 --name nobody; then
    echo "unexpected success" >&2
    exit 1
fi
echo "(refused, as it should be)"

step "The event log of all this, in English"
tarn log list --lang enu --human

step "The same rows in German"
tarn log list --lang ger --human

step "What alice may read of it: the rows of the nodes delegated to her"
tarn log list --for-user alice --lang enu --human

step "Counts per severity, and a search for Sales"
tarn log list --limit 0 | grep -E '"(total|error|warning|information)"'
tarn log list --word Sales --field all --lang enu --human

# ---- Remote calls: a simulated fleet on 127.0.0.1 ----
# The simulator lives as long as the shell holds its standard input open;
# every way out of this script closes it (and kills it if it lingers).
SIM=${TARN_PEER_SIM:-$(dirname "$(command -v "$TARN")")/tarn-peer-sim}
export VURO_NET_LOOPBACK_ONLY=1
sim_pid=
sim_stop() {
    [ -n "$sim_pid" ] || return 0
    exec 9>&- || true
    for _ in $(seq 50); do
        kill -0 "$sim_pid" 2>/dev/null || break
        sleep 0.1
    done
    kill -9 "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
    sim_pid=
}
trap sim_stop EXIT
trap 'exit 130' INT TERM
ctl() { "$SIM" ctl --port "$ctl_port" "$@"; }
# Starts a simulator with the arguments given and waits for its ready line;
# it lives until sim_stop closes its standard input.
sim_start() {
    rm -f "$ROOT/sim.in" "$ROOT/sim.ready"
    mkfifo "$ROOT/sim.in"
    "$SIM" --root "$ROOT" "$@" <"$ROOT/sim.in" >"$ROOT/sim.ready" 2>"$ROOT/sim.log" &
    sim_pid=$!
    exec 9>"$ROOT/sim.in"
    for _ in $(seq 200); do
        grep -q '"ready"' "$ROOT/sim.ready" 2>/dev/null && break
        kill -0 "$sim_pid" 2>/dev/null || { cat "$ROOT/sim.log" >&2; exit 1; }
        sleep 0.1
    done
    ctl_port=$(sed -n 's/.*"control_port":\([0-9]*\).*/\1/p' "$ROOT/sim.ready")
    [ -n "$ctl_port" ] || { echo "the simulator did not start" >&2; exit 1; }
}
# One line per exchange of the record: server, kind, protocol, sealed.
record_ways() {
    ctl record "$@" | sed 's/},{/}\n{/g' | sed -n \
        's/.*"kind":"\([a-z]*\)".*"protocol":"\([a-z]*\)".*"sealed":\(true\|false\).*"server":\([0-9]*\).*/  server \4: \1 over \2, sealed=\3/p;
         s/.*"id":"\([^"]*\)".*"kind":"relay".*/  relay lookup of \1/p'
}

step "Four simulated servers: #1 refuses HTTPS, #2 drops HTTPS calls, #3 only the relay can reach"
sim_start --peers 4 --relay --relay-only 3
ctl mode 1 refuse_https=true >/dev/null
ctl mode 2 close_after_discovery=true >/dev/null
echo "simulator pid $sim_pid, control port $ctl_port"

step "Import the fleet under Engineering (no server is called for it)"
tarn peer import "$ROOT/fleet.json" --parent "$eng" | grep -E '"(sn|http_port|https_port|relaypath)" :'
fleet_ids=$(tarn peer list --parent "$eng" --sort-by id | sed -n 's/^ *"id" : \([0-9]*\),\{0,1\}$/\1/p')
echo "peer ids: $(echo $fleet_ids)"

step "Call each server, then the way each call took, from the simulator's record"
for id in $fleet_ids; do
    ctl reset --keep-modes --keep-relay >/dev/null
    echo "-- peer $id"
    # -v: the tool's own account of the way, beside the simulator's.
    tarn -v peer call "$id" VURO.Core.TARN.Policy 1 fetch '{}' 2>"$ROOT/call.err" |
        grep -E '"(success|sn)" :'
    grep -E 'vurocred: (discovery|relay|call)' "$ROOT/call.err" |
        sed 's/^tarn\[[0-9]*\]: vurocred: /  tool: /'
    record_ways
done

step "The way a call would take now, tokens shortened"
first=$(echo $fleet_ids | cut -d' ' -f1)
tarn peer credential "$first"

step "Server #0 moves: its HTTPS port is gone, the relay knows how to reach it; refresh its row"
ctl mode 0 refuse_https=true >/dev/null
tarn peer relay-refresh "$first" | grep -E '"(host|http_port|https_port)" :'
tarn log list --obj-id "'peer_$first'" --lang enu --human --desc-order --limit 1
ctl reset --keep-modes --keep-relay >/dev/null
tarn peer call "$first" VURO.Core.TARN.Policy 1 fetch '{}' | grep -E '"(success|sn)" :'
record_ways

step "Stop the simulator"
sim_stop
echo "stopped"

# ---- Servers on the LAN: discovery and wake, answered on 127.0.0.1 ----
step "Three simulated servers answering discovery scans; LAN00003 is asleep"
sim_start --peers 3 --sn-prefix LAN --scout --wol
# A scan listens for one second; wake packets leave by loopback alone.
echo "listen_ms=1000" >>"$ROOT/etc/vuro/scout.conf"
echo '{"interfaces":[{"name":"lo","active":true}]}' >"$ROOT/etc/vuro/network.json"
ctl scout 2 state=sleeping >/dev/null
echo "etc/vuro/scout.conf: $(tr '\n' ' ' <"$ROOT/etc/vuro/scout.conf")"
echo "etc/vuro/wol.conf:   $(cat "$ROOT/etc/vuro/wol.conf")"

step "Every server that answers a scan"
tarn discover | grep -E '"(sn|mac|status)" :'

step "Store the servers under Engineering, each with the MAC it reports"
tarn peer import "$ROOT/fleet.json" --parent "$eng" >/dev/null
lan_ids=
sleeper=
while read -r entry; do
    sn=$(echo "$entry" | sed -n 's/.*"sn":"\([^"]*\)".*/\1/p')
    mac=$(echo "$entry" | sed -n 's/.*"macs":\["\([^"]*\)".*/\1/p')
    id=$(tarn peer get-by-sn "$sn" | id_of)
    tarn info set --peer "$id" --network "{\"nif\":[{\"name\":\"eth0\",\"mac\":\"$mac\"}]}" \
        >/dev/null
    echo "$sn: peer $id, MAC $mac"
    lan_ids=${lan_ids:+$lan_ids,}$id
    [ "$sn" = LAN00003 ] && sleeper=$id
done < <(sed 's/},{/}\n{/g' "$ROOT/fleet.json")

step "Store the statuses the answers give: the sleeping server is missing and keeps its own"
tarn discover --ids "$lan_ids" --update | grep -E '"(sn|status)" :'

step "Wake LAN00003 by the MACs in its information row (the wake tool sends, the simulator hears)"
tarn wake --peer "$sleeper"
ctl record --kind wol | sed 's/},{/}\n{/g' |
    sed -n 's/.*"mac":"\([^"]*\)".*"server":\([0-9]*\).*"valid":\(true\|false\).*"was":"\([a-z]*\)".*/  wake packet for \1: server \2 (was \4), valid=\3/p'

step "It answers as booting (status 6), and at the next scan as ready (status 2)"
tarn discover --ids "$sleeper" --update | grep -E '"(sn|status)" :'
tarn discover --ids "$sleeper" --update | grep -E '"(sn|status)" :'

step "Stop the simulator"
sim_stop
echo "stopped"

# ---- Connection info: what this server publishes, sent to a fleet ----
step "This server's network, dynamic DNS names and relay settings (documentation addresses only)"
cat > "$ROOT/etc/vuro/network.json" <<'NET'
{"interfaces":[
  {"name":"eth0","active":true,"manual":true,"ip":"192.0.2.10","ipv6":["2001:db8::10"]},
  {"name":"eth1","active":true,"manual":false,"dhcp_ip":"192.0.2.20"},
  {"name":"eth2","active":false,"manual":true,"ip":"192.0.2.30"}],
 "tun":"2001:db8::99"}
NET
echo '{"records":[{"hostname":"tarn-demo.example.net"}]}' > "$ROOT/etc/vuro/ddns.json"
cat > "$ROOT/etc/vuro/relay.json" <<'RELAY'
{"permission":{"services":[{"id":"kelp_portal","enabled":true}]},
 "settings":{"enabled":true,"server_alias":"tarn-demo","region":"eu","domain":"relay.example"}}
RELAY
echo "supportddns=yes" >> "$ROOT/etc.defaults/vuroinfo.conf"
echo "external_host_ip=192.0.2.5" >> "$ROOT/etc/vuroinfo.conf"

step "The connection info it collects"
tarn conninfo

step "Three simulated servers, imported; each answers after 200 ms"
rm -f "$ROOT/fleet.json"
sim_start --peers 3 --sn-prefix PUB
ctl mode all delay_ms=200 >/dev/null
conn_ou=$(tarn ou create --name "Published to" --parent "$hq" | id_of)
tarn peer import "$ROOT/fleet.json" --parent "$conn_ou" >/dev/null
conn_ids=$(tarn peer list --parent "$conn_ou" --sort-by id | sed -n 's/^ *"id" : \([0-9]*\),\{0,1\}$/\1/p')
ids_json="[$(echo $conn_ids | tr ' ' ',')]"
echo "peer ids: $ids_json"

step "Send it to all three at once"
tarn update-server "$ids_json"
echo "calls in flight at most: $(ctl record | sed -n 's/.*"max_in_flight":\([0-9]*\).*/\1/p')"
for server in 0 1; do
    echo "-- server $server received:"
    ctl record --server "$server" --kind call | sed -n 's/.*"conn_info":\(\[[^]]*\]\).*/  \1/p' | head -n 1
done

step "This server manages itself: its own record is updated locally through the API runner"
own_sn=$(head -n 1 "$ROOT/etc/vuro/serial")
own_id=$(tarn peer create --sn "$own_sn" --hostname this-server | id_of)
echo "kelp_tarn_self_join=yes" >> "$ROOT/etc/vuroinfo.conf"
ctl reset --keep-modes >/dev/null
first_conn=$(echo $conn_ids | cut -d' ' -f1)
tarn update-server "[$own_id,$first_conn]" >/dev/null
echo "ids [$own_id,$first_conn]: remote calls $(ctl record --kind call | grep -o '"kind":"call"' | wc -l) (to peer $first_conn only)"
echo "kept locally: $(cat "$ROOT/var/vuro/tarn/managed.json")"
sim_stop

# ---- Joining servers: sessions, the incoming check, cache push, fetch notice ----
step "Six new servers join; #5 refuses the join"
sim_start --peers 6 --sn-prefix JOIN
ctl mode 5 fail_code=105 >/dev/null
# -v: the library's own words for the server it passed over.
tarn -v join "$ROOT/fleet.json" --server-host 192.0.2.10 2>"$ROOT/join.err" |
    grep -E '"(sn|hostname|status|https_port|sid)" :|"JOIN' || true
grep -o 'create server fail.*' "$ROOT/join.err" | sed 's/^/  why: /'

step "Place them in the tree: three in Sales EU, two in Engineering"
joined=$(tarn peer list --sort-by id | sed -n 's/^ *"sn" : "\(JOIN[^"]*\)",\{0,1\}$/\1/p')
n=0
for sn in $joined; do
    id=$(tarn peer get-by-sn "$sn" | id_of)
    parent=$sales
    [ $n -ge 3 ] && parent=$eng
    tarn peer set "$id" --parent "$parent" >/dev/null
    echo "  $sn (peer $id) -> OU $parent"
    n=$((n + 1))
done

step "The session the first server got at its join, checked both ways"
# The token comes from the simulator's record; only its length is shown.
token=$(ctl record --kind call | sed 's/},{/}\n{/g' | grep '"end_join"' | grep '"server":0' |
    sed -n 's/.*"access_token":"\([^"]*\)".*/\1/p' | head -n 1)
echo "token of server #0: ${token:0:4}...(${#token} chars)"
check() { echo "\$ tarn session check <token> $1" >&2; "$TARN" --root "$ROOT" session check "$token" "$1"; }
check VURO.NotificationCenter.Send
check VURO.Core.Share
tarn session delete "$(echo $joined | cut -d' ' -f1)"
check VURO.NotificationCenter.Send

step "Ready again: push the cache of Sales EU (each peer is at 9, updating, afterwards)"
for sn in $joined; do
    tarn peer set "$(tarn peer get-by-sn "$sn" | id_of)" --status 2 --status-by-server 2 >/dev/null
done
tarn cache-push --ou "$sales" | grep -E '"(success|sn|status)" :'

step "Ask everything under Headquarters to fetch its policy, waiting for the children"
tarn notify-fetch --uid 0 --ou "$hq" --wait 20
echo "the simulator's record of fetches:"
ctl fetches
ctl record --kind call | sed 's/},{/}\n{/g' | grep '"fetch"' |
    sed -n 's/.*"params":\({[^}]*}\).*"sn":"\([^"]*\)".*/  \2 asked to fetch with \1/p'

step "The event log's join rows"
tarn log list --word joined --field all --lang enu --human

sim_stop
echo "stopped"

# ---- Nothing of the demo outlives it ----
step "No simulator and no child of the demo is left"
# A process of this demo names its root on its command line or in its
# environment; this shell, the subshell of the check and what that runs do not count.
demo_leftovers() {
    local d pid ppid
    for d in /proc/[0-9]*; do
        pid=${d#/proc/}
        [ "$pid" != $$ ] && [ "$pid" != "$BASHPID" ] || continue
        ppid=$(sed -n 's/^PPid:[[:space:]]*//p' "$d/status" 2>/dev/null) || continue
        [ -n "$ppid" ] && [ "$ppid" != "$BASHPID" ] || continue
        if tr '\0' '\n' 2>/dev/null <"$d/cmdline" | grep -qxF -- "$ROOT" ||
            tr '\0' '\n' 2>/dev/null <"$d/environ" | grep -qxF -- "VURO_SYSROOT=$ROOT"; then
            echo "$pid $(tr '\0' ' ' 2>/dev/null <"$d/cmdline")"
        fi
    done
}
# Fails the demo when a process of it outlives its section (5 s of grace).
leftovers_check() {
    local left=
    for _ in $(seq 50); do
        left=$(demo_leftovers)
        [ -n "$left" ] || break
        sleep 0.1
    done
    if [ -n "$left" ]; then
        echo "still running after the demo:" >&2
        echo "$left" >&2
        exit 1
    fi
    echo "none left"
}
leftovers_check

# ---- The service: the web API and the console on 127.0.0.1 ----
# shellcheck source=console.sh
source "$(dirname "${BASH_SOURCE[0]}")/console.sh"
trap 'serve_stop; sim_stop' EXIT

step "Console accounts: admin (an administrator) and alice (delegated on Engineering), fresh passwords"
console_accounts "$ROOT"
echo "stored in $ROOT/console.accounts (0600); ./run console prints them"

step "Start the server on a free loopback port"
serve_start "$ROOT" 0
echo "listening on https://$serve_addr/ (pid $serve_pid)"

step "Sign in with curl (the password from a file, never on a command line)"
api="https://$serve_addr/api"
(umask 077 && printf '{"user":"admin","password":"%s"}' "$(account_password "$ROOT" admin)" \
    >"$ROOT/signin.json")
curl -sk --fail-with-body -c "$ROOT/cookies" -H 'Content-Type: application/json' \
    --data-binary @"$ROOT/signin.json" "$api/signin" >"$ROOT/signin.out"
rm -f "$ROOT/signin.json"
csrf=$(sed -n 's/.*"csrf" *: *"\([^"]*\)".*/\1/p' "$ROOT/signin.out" | head -n 1)
grep -o '"\(user\|admin\)" *: *[^,}]*' "$ROOT/signin.out"
echo "CSRF token: ${#csrf} characters (kept, not shown)"
api_call() {
    curl -sk --fail-with-body -b "$ROOT/cookies" -H 'Content-Type: application/json' \
        -H "X-CSRF-Token: $csrf" --data-binary "$2" "$api/$1"
}

step "Read the tree through the API: POST /api/tree {\"ou\": $hq}"
api_call tree "{\"ou\":$hq}" >"$ROOT/tree.json"
echo "$(grep -o '"sn" *: *"[^"]*"' "$ROOT/tree.json" | wc -l) servers below, among them:"
grep -o '"sn" *: *"[^"]*"' "$ROOT/tree.json" | sort | head -n 4

step "Managed servers come back for their policy: two join, a notice to Sales EU, each fetches it here"
sim_start --peers 2 --sn-prefix FETCH --fetch-back --central "$serve_addr" \
    --set-versions '{"Samba":2,"TimeServer":2,"Quota":1,"Delegate":1}'
tarn join "$ROOT/fleet.json" --server-host 127.0.0.1 >/dev/null
for sn in $(tarn peer list --sort-by id | sed -n 's/^ *"sn" : "\(FETCH[^"]*\)",\{0,1\}$/\1/p'); do
    tarn peer set "$(tarn peer get-by-sn "$sn" | id_of)" --parent "$sales" >/dev/null
done
tarn notify-fetch --uid 0 --ou "$sales" --wait 20 >/dev/null
for _ in $(seq 100); do
    [ "$(ctl record --kind fetch_back | grep -o '"outcome"' | wc -l)" -ge 2 ] && break
    sleep 0.1
done
# What each server received: the sets at the versions it asked for (Samba 3 -> 2).
ctl record --kind fetch_back | /usr/bin/python3 -c '
import json, sys
for e in json.load(sys.stdin)["record"]:
    sets = e.get("policy", {}).get("gpo_content", {})
    got = ", ".join("%s %s" % (k, v.get("vuro_set_version", "-")) for k, v in sorted(sets.items()))
    print("  server #%d: %s; %s" % (e["server"], e["outcome"], got or "no policy"))
'
sim_stop

step "The same request without the CSRF token is refused"
curl -sk -o /dev/null -w '%{http_code}\n' -b "$ROOT/cookies" -H 'Content-Type: application/json' \
    --data-binary "{\"ou\":$hq}" "$api/tree"

step "A screenshot of the console: nas-eu-1's policy and why, in headless chromium"
PY=$(command -v /usr/bin/python3 || command -v python3 || true)
(umask 077 && account_password "$ROOT" admin >"$ROOT/admin.pw")
if [ -n "$PY" ] && "$PY" "$(dirname "${BASH_SOURCE[0]}")/console_browser.py" "https://$serve_addr" \
    admin "$ROOT/admin.pw" "$ROOT/console.png" "peer/$nas1/policy"; then
    echo "saved $ROOT/console.png"
else
    echo "(no screenshot: chromium, chromedriver or python3-selenium is missing)"
fi
rm -f "$ROOT/admin.pw" "$ROOT/cookies"

step "Stop the server"
serve_stop
echo "stopped"

step "No server, worker or browser of the demo is left"
leftovers_check
