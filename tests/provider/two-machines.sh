#!/usr/bin/env bash
# Two Wine prefixes, as two machines, add their entries to one calendar in a shared folder at once.
#   two-machines.sh PROJECT BUILD
set -euo pipefail
project=$1
build=$2
share="$build/two-machines"
folder="$share/PO/MAILROOT/box"
entries=60
rm -rf "$share"
mkdir -p "$folder"

machine() {
    TARNWICK_PREFIX="$project/build/wine-$1" TW_SHARED_NAME="$1-" TW_SHARED_ROOT="Z:${share//\//\\}" \
        bash "$project/script/wine" "$build/bin/provider_tests.exe" \
        --gtest_filter=SharedCalendarChild.AddsItsEntries --gtest_brief=1
}
machine one &
first=$!
machine two &
second=$!
wait "$first"
wait "$second"

for name in one two; do
    for number in $(seq 0 $((entries - 1))); do printf '%s-%s\n' "$name" "$number"; done
done | sort >"$share/expected"
tr -d '\r' <"$folder/Calendar/Y11M08.CAL" | awk -F '\t' '{ print $3 }' | sort >"$share/found"
diff "$share/expected" "$share/found"
echo "each of $((2 * entries)) entries is there once"
