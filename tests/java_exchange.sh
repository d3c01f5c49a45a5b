#!/usr/bin/env bash
# tests/java_exchange.sh JAVA WORKER: pairs that the JDK stores are loaded by Z, and the other way
# round.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
program=$(dirname "$0")/JavaExchange.java
"$1" "$program" write "$folder"
"$2" "$folder"
"$1" "$program" read "$folder"
echo "$(cat "$folder"/*.pairs | wc -l) pairs exchanged"
