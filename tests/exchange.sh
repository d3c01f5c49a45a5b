#!/usr/bin/env bash
# tests/exchange.sh A B: files that one zstanza writes, with plain and obfuscated values, are read
# and edited by the other. script/check gives it the 64-bit and the 32-bit build.
set -euo pipefail
programs=("$(realpath "$1")" "$(realpath "$2")")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

fail() {
    echo "from $writer to $reader: $1"
    exit 1
}

# expect PROGRAM STEP LIST-OF-KEYS: the stanza as JSON, and nothing of what is hidden in the text.
expect() {
    local got
    got=$("$1" list f s --json) || fail "$2: not read"
    [ "$got" = '{"file":"f","stanza":"s","keys":['"$3"']}' ] || fail "$2: $got"
    ! grep -q 'ü\|hidden' f || fail "$2: hidden values in the text"
    [ "$("$1" get f t long --obfuscated | md5sum)" = "$long" ] || fail "$2: the long value"
}

# Both ways; what the other program wrote is edited in place.
for i in 0 1; do
    writer=${programs[i]} reader=${programs[1 - i]}
    rm -f f f.obf
    "$writer" set f s port 80 --create
    "$writer" set f s pw 'hidden ü = 1' --obfuscated
    "$writer" add f s pw $'two\n lines ' --obfuscated
    "$writer" add f s port 443
    "$writer" set f s gone 'hidden too' --obfuscated
    text=$(head -c 60000 /dev/urandom | base64)
    "$writer" set f t long "$text" --obfuscated
    long=$(md5sum <<<"$text")
    port='{"key":"port","values":["80","443"]}'
    pw='"hidden ü = 1","two\n lines "'
    for program in "$writer" "$reader"; do
        expect "$program" written \
            "$port"',{"key":"pw","values":['"$pw"'],"obfuscated":true},{"key":"gone","values":["hidden too"],"obfuscated":true}'
    done
    "$reader" add f s pw 'hidden 3' --obfuscated
    "$reader" unset f s gone
    "$reader" comment f s port --text ports
    "$reader" set f s empty ''
    for program in "$reader" "$writer"; do
        expect "$program" edited \
            "$port"',{"key":"empty","values":[]},{"key":"pw","values":['"$pw"',"hidden 3"],"obfuscated":true}'
    done
    [ "$(head -n 6 f)" = $'\n[s]\n\n#ports\nport = 80\nport = 443' ] || fail "the text: $(cat f)"
    "$writer" unset f s pw
    "$writer" unset f t
    [ ! -e f.obf ] || fail "the database outlives its values"
done
echo "read and edited both ways"
