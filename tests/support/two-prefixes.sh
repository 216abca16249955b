#!/usr/bin/env bash
# Two actors of a test program at work on one folder at the same time, each under a Wine server of
# its own: like two machines they share the files alone. Then a third one judges what they left.
#
#   two-prefixes.sh PROGRAM.exe FILTER
#
# The program finds its part in TARNWICK_ACTOR ("first", "second", "judge") and the folder in
# TARNWICK_SHARED_FOLDER.
set -uo pipefail
program=$1
filter=$2
top=$(cd "$(dirname "$0")/../.." && pwd)
folder=$(mktemp -d "$top/build/shared-XXXXXX")
trap 'rm -rf "$folder"' EXIT
export TARNWICK_SHARED_FOLDER="Z:${folder//\//\\}"

act() {
    TARNWICK_ACTOR=$1 bash "$top/script/wine" "$program" --gtest_filter="$filter" </dev/null \
        >"$folder.$1.log" 2>&1
}

# The other prefix is made before the actors start, so that they meet.
other="$top/build/wine-other"
TARNWICK_PREFIX="$other" bash "$top/script/wine" cmd /c exit </dev/null >/dev/null 2>&1

act first &
first=$!
TARNWICK_PREFIX="$other" act second &
second=$!
status=0
wait "$first" || status=1
wait "$second" || status=1
act judge || status=1
[ "$status" -eq 0 ] || cat "$folder".*.log
rm -f "$folder".*.log
exit "$status"
