#!/usr/bin/env bash
# readme_test.sh SAMPLE EXAMPLE: runs the README's sample on a copy of the example.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cp "$2" server.conf
"$1" server.conf >out 2>err || { cat out err; exit 1; }

fail() {
    echo "not as promised: $1"
    cat out err
    diff "$2" server.conf
    exit 1
}
grep -q '^web.example.org, 4 workers$' out || fail "the values read" "$2"
grep -q '^changed: backlog of \[server\]$' out || fail "the change observed" "$2"
grep -q '30s' err || fail "the refused number" "$2"
# The key and its comment are set off by a blank line; nothing else changed.
added=$(diff "$2" server.conf | grep '^[<>]' | sort) || true
wanted=$'> \n> # connections that wait to be accepted\n> backlog = 128'
[ "$added" = "$wanted" ] || fail "the stored file" "$2"
