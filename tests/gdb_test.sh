#!/usr/bin/env bash
# gdb_test.sh GDB SAMPLE: what GDB shows of the sample's objects; the printers come with the library.
set -euo pipefail
gdb=$1
sample=$2
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
printf '# c\n[server]\nname = web\nlisten = a\nlisten = b\n' >"$folder/conf"

commands=()
for name in text longText utf8 view list stack pairs map reference failure \
    '*(ZException_5_1*)&failure' conf '*(ZHashMap_5_1*)early._M_impl._M_start'; do
    commands+=(-ex "print $name")
done
TISDIR=/ timeout 60 "$gdb" -nx -q -batch -iex "add-auto-load-safe-path $(dirname "$sample")/.." -ex 'set width 0' \
    -ex 'break stop' -ex run -ex up "${commands[@]}" --args "$sample" "$folder/conf" 2>&1 |
    sed -n 's/^\$[0-9]* = //p' |
    sed "s,$folder,FOLDER,; s,@\?0x[0-9a-f]*:\? ,,g; s/^{<ZAbstractMap_.*/as it is/" >"$folder/seen"
diff "$source/tests/data/gdb_shows.txt" "$folder/seen"
