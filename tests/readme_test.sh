#!/usr/bin/env bash
# readme_test.sh SAMPLE C-SAMPLE PROJECT SYSLOG-SERVICE: runs what README.md and examples/ show.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
example=$3/examples/server.conf

fail() {
    echo "not as promised: $1"
    cat out err
    diff "$example" server.conf
    exit 1
}
# Runs a sample; lines given are those it writes, the last argument is what it adds to the file.
check() {
    local added line program=$1 wanted=${*: -1}
    cp "$example" server.conf
    "$program" server.conf >out 2>err || fail "$program ends well"
    for line in "${@:2:$#-2}"; do grep -qx -- "$line" out || fail "$program writes $line"; done
    added=$(diff "$example" server.conf | grep '^[<>]' | sort) || true
    [ "$added" = "$wanted" ] || fail "$program stores"
}

# The key and its comment are set off by a blank line; nothing else changed.
check "$1" 'web.example.org, 4 workers' 'changed: backlog of \[server\]' \
    $'> \n> # connections that wait to be accepted\n> backlog = 128'
grep -q '30s' err || fail "the refused number"

check "$2" 'web.example.org, 4 workers' 'the timeout is not a number' 'level info, forward 0' \
    'cookie sid; Path=/; Secure' 'listens at 0.0.0.0:8080' 'listens at \[::\]:8080' \
    $'> \n> #connections that wait\n> backlog = 128\n> listen = 127.0.0.1:8081'
sed -n '/^```c$/,/^```$/{//!p}' "$3/README.md" | diff - "$3/examples/stanza.c" ||
    fail "the README shows examples/stanza.c"

"$4" "$example" 2>err || true  # what goes to the log
grep -q '"30s" is no number, as timeout in \[session\] has to be$' err || fail "the log has the number"

cp "$example" server.conf
sed -n '/^\$ zstanza/,/^```$/{/^```$/!p}' "$3/README.md" >shown
# Who watches is ready when it sleeps with its events open.
ready='until ls -l /proc/$!/fd | grep -q inotify \&\& grep -q "State:.S" /proc/$!/status; do sleep 0.05; done'
(sed -n 's/^[$>] //p' shown | sed "s#&\$#\& $ready#" && echo 'wait') >commands
PATH=${1%/*}/../src/zstanza:$PATH timeout 60 bash commands >out 2>&1
sed '/^[$>] /d' shown | diff - out || fail "the commands of the README"
