#!/usr/bin/env bash
# The console on a demo root: the accounts of its users, and "tarn serve" on
# 127.0.0.1 until Ctrl-C. Run: console.sh SYSROOT (tarn from $TARN_BIN; the
# port from $TARN_CONSOLE_PORT, default 5443, 0 for any free one). A root
# without console accounts is laid out by demo.sh first. demo.sh sources this
# file for console_accounts, serve_start and serve_stop.

# console_accounts ROOT: "admin" in the administrators group and "alice"
# (delegated by the demo) with fresh random passwords, listed in
# ROOT/console.accounts (0600) for whoever runs the demo.
console_accounts() {
    local root=$1 etc=$1/etc user pw
    grep -q '^admin:' "$etc/passwd" || echo 'admin:x:2000:100::/home/admin:/bin/sh' >>"$etc/passwd"
    grep -q '^alice:' "$etc/passwd" || echo 'alice:x:2001:100::/home/alice:/bin/sh' >>"$etc/passwd"
    if grep -q '^administrators:' "$etc/group"; then
        grep -Eq '^administrators:[^:]*:[^:]*:(.*,)?admin(,|$)' "$etc/group" ||
            sed -i 's/^\(administrators:[^:]*:[^:]*:\)\(.\{1,\}\)$/\1\2,admin/; s/^\(administrators:[^:]*:[^:]*:\)$/\1admin/' \
                "$etc/group"
    else
        echo 'administrators:x:101:admin' >>"$etc/group"
    fi
    (umask 077 && : >"$root/console.accounts")
    for user in admin alice; do
        pw=$(head -c 18 /dev/urandom | base64 | tr -dc 'A-Za-z0-9' | head -c 16)
        printf '%s\n' "$pw" | "$TARN" --root "$root" passwd "$user" >/dev/null
        printf '%s %s\n' "$user" "$pw" >>"$root/console.accounts"
    done
}

# account_password ROOT USER
account_password() {
    sed -n "s/^$2 //p" "$1/console.accounts"
}

# serve_start ROOT PORT: starts the server in the background; sets
# serve_pid and serve_addr (HOST:PORT) once it listens.
serve_pid=
serve_addr=
serve_start() {
    local root=$1 port=$2
    rm -f "$root/serve.out"
    "$TARN" --root "$root" serve --listen "127.0.0.1:$port" >"$root/serve.out" 2>"$root/serve.log" &
    serve_pid=$!
    for _ in $(seq 300); do
        serve_addr=$(sed -n 's/.*"listen" *: *"\([^"]*\)".*/\1/p' "$root/serve.out" 2>/dev/null)
        [ -n "$serve_addr" ] && return 0
        if ! kill -0 "$serve_pid" 2>/dev/null; then
            wait "$serve_pid" 2>/dev/null || true
            serve_pid=
            cat "$root/serve.log" >&2
            return 1
        fi
        sleep 0.1
    done
    echo "tarn serve did not start listening" >&2
    serve_stop
    return 1
}

# serve_stop: SIGTERM, then up to ten seconds for it and its workers to end.
serve_stop() {
    [ -n "$serve_pid" ] || return 0
    kill -TERM "$serve_pid" 2>/dev/null || true
    for _ in $(seq 100); do
        kill -0 "$serve_pid" 2>/dev/null || break
        sleep 0.1
    done
    kill -9 "$serve_pid" 2>/dev/null || true
    wait "$serve_pid" 2>/dev/null || true
    serve_pid=
}

console_main() {
    set -euo pipefail
    local root=${1:?usage: console.sh SYSROOT}
    if [ ! -s "$root/console.accounts" ]; then
        echo "== laying out the demo root $root first (./run demo)"
        bash "$(dirname "${BASH_SOURCE[0]}")/demo.sh" "$root"
    fi
    trap serve_stop EXIT
    trap 'exit 130' INT TERM
    serve_start "$root" "${TARN_CONSOLE_PORT:-5443}"
    echo
    echo "The console: https://$serve_addr/  (its certificate is this root's own: accept it once)"
    echo "Accounts:"
    echo "  admin / $(account_password "$root" admin)   an administrator: everything"
    echo "  alice / $(account_password "$root" alice)   a delegate: her part of the tree only"
    echo "Requests are logged in $root/serve.log. Ctrl-C stops it."
    wait "$serve_pid" || true
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
    TARN=${TARN_BIN:-tarn}
    console_main "$@"
fi
