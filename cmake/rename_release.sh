#!/bin/sh
# rename_release.sh RELEASE FOLDER: writes the tree of the current folder to FOLDER as release
# RELEASE (5.2, say) and prints the names of the files read. A file that would not change is left
# alone, so that it is not built again.
set -eu
release=$1
folder=$2
suffix=_$(printf '%s' "$release" | tr . _)
case $suffix in
*[!0-9_]*) echo "$release is not a release" >&2 && exit 1 ;;
esac

find CMakeLists.txt README.md bench cmake docs examples faults fuzz script src tests -type f |
    grep -v RESULTS | while read -r file; do
    printf '%s\n' "$file"
    mkdir -p "$folder/$(dirname "$file")"
    LC_ALL=C sed -e "s/_5_1/$suffix/g" \
        -e "s/\(^\|[^0-9.]\)5\.1\($\|[^0-9.]\)/\1$release\2/g" "$file" >"$folder/new"
    cmp -s "$folder/new" "$folder/$file" || cat "$folder/new" >"$folder/$file"
done
rm -f "$folder/new"
