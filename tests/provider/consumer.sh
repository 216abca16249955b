#!/usr/bin/env bash
# Installs the module, builds the C example from the install folder alone, and runs it.
#   consumer.sh PROJECT BUILD
set -euo pipefail
project=$1
build=$2
scratch="$build/consumer"
rm -rf "$scratch"
mkdir -p "$scratch/store/PO/MAILROOT/box"
export TARNWICK_PREFIX="$project/build/wine-consumer"
wine() { bash "$project/script/wine" "$@" </dev/null; }

cmake --install "$build" --prefix "$scratch/installed" --component provider >"$scratch/install.log"
cmake -G Ninja -S "$project/examples/c" -B "$scratch/example" \
    --toolchain "$project/cmake/mingw-w64.cmake" -D CMAKE_PREFIX_PATH="$scratch/installed" \
    >"$scratch/configure.log"
cmake --build "$scratch/example" >"$scratch/build.log"

root="Z:${scratch//\//\\}\\store"
wine reg add 'HKLM\SOFTWARE\Wow6432Node\Tarnwick\Tarnwick' /v 'Mail Root' /d "$root" /f /reg:64 \
    >/dev/null
output=$(wine "$scratch/example/calendar.exe" PO box | tr -d '\r')
[ "$output" = "1312365600 to 1312369200: example-1" ] || { echo "unexpected: $output"; exit 1; }
echo "the example, built from the install folder, printed: $output"
