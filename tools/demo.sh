#!/usr/bin/env bash
# The demo: lays out a sysroot, builds a small OU tree through the tarn
# tool, edits it and lists it. Usage: demo.sh SYSROOT (tarn from $TARN_BIN).
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

step "Rename Sales and let it block inherited policies"
tarn ou set "$sales" --name "Sales EU" --block 1

step "The OUs under Headquarters"
tarn ou list --parent "$hq"

step "Remove the test lab, then list everything by name"
tarn ou delete "$lab"
tarn ou list --sort-by name

step "What the hooks saw"
cat "$ROOT/hooks.log"

step "A refused edit: there is no OU 999"
if tarn -v ou set 999 --name nobody; then
    echo "unexpected success" >&2
    exit 1
fi
echo "(refused, as it should be)"
