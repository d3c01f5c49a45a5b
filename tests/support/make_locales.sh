#!/bin/bash
# make_locales: makes the locales of the tests in a folder of their own; use it as LOCPATH=DIR.
# Usage: make_locales.sh DIR. What is there already is left alone.
set -eu

dir=${1:?usage: make_locales.sh DIR}
mkdir -p "$dir"

make_locale() { # NAME SOURCE CHARMAP
    if [ -e "$dir/$1/LC_CTYPE" ]; then
        return
    fi
    local new said
    new=$(mktemp -d "$dir/new.XXXXXX")
    # The status tells little: 1 stands for mere warnings (Shift JIS is no superset of ASCII).
    said=$(localedef -c -i "$2" -f "$3" "$new/$1" 2>&1) || true
    if [ ! -e "$new/$1/LC_CTYPE" ]; then
        echo "$said" >&2
        echo "make_locales: cannot make $1; is Debian's package locales installed?" >&2
        exit 1
    fi
    rm -rf "${dir:?}/$1"
    mv "$new/$1" "$dir/"
    rmdir "$new"
}

# LOCPATH hides the installed locales, so the usual ones are made as well.
make_locale C.UTF-8 C UTF-8
make_locale en_US.UTF-8 en_US UTF-8
make_locale de_DE.ISO-8859-1 de_DE ISO-8859-1
make_locale ja_JP.EUC-JP ja_JP EUC-JP
make_locale ja_JP.SJIS ja_JP SHIFT_JIS
make_locale tr_TR.UTF-8 tr_TR UTF-8
make_locale zh_CN.GB18030 zh_CN GB18030
