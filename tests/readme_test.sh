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
# The key and its comment stand at the end of their stanza; nothing else changed.
added=$(diff "$2" server.conf) && fail "the stored file" "$2"
[ "$(grep -c '^[<>]' <<<"$added")" -eq 2 ] || fail "the stored file" "$2"
grep -qx '> backlog = 128' <<<"$added" || fail "the added key" "$2"
grep -q '^> # connections' <<<"$added" || fail "the added comment" "$2"
