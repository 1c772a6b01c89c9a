#!/usr/bin/env bash
# Cross-builds the library and every test suite for 64-bit Windows and runs
# each test program under Wine, in a private Wine prefix below the build
# folder; then registers the automation server OrnCalendar.dll there and
# runs the VBScript suite (tests/vbscript) through the script host. Fails
# when the build or any test fails; the prefix's wineserver is ended in every
# case.
# Usage: scripts/test-windows.sh   (BUILD_WINDOWS and JOBS may be set)
set -euo pipefail
cd "$(dirname "$0")/.."

build=${BUILD_WINDOWS:-build-windows}
jobs=${JOBS:-$(nproc)}

./scripts/install-deps.sh windows

# Unoptimized, like the native test build, but without debug information:
# nothing reads it under Wine, and it is a third of the build's time on two
# cores.
cmake -S . -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
  -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DCMAKE_C_FLAGS_DEBUG=-O0 \
  -DORNCAL_WARNINGS_AS_ERRORS=ON >/dev/null
cmake --build "$build" -j "$jobs"

# A headless, private Wine: no display, no Mono or Gecko prompts, no debug
# noise. The locale gives the ANSI code page 1252 (a test checks it).
export WINEPREFIX="$PWD/$build/wineprefix"
export WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
export LANG=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY LC_ALL LC_CTYPE LANGUAGE

trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
trap 'exit 130' INT TERM

ready="$WINEPREFIX/.orncal-ready"
if [ ! -f "$ready" ]; then
  # An earlier attempt may have left half a prefix behind.
  rm -rf "$WINEPREFIX"
  echo "Creating the Wine prefix $WINEPREFIX (first run only)"
  start=$SECONDS
  if ! wineboot --init >"$build/wineboot.log" 2>&1 || ! wineserver -w; then
    cat "$build/wineboot.log" >&2
    echo "Creating the Wine prefix failed" >&2
    exit 1
  fi
  echo "Wine prefix ready after $((SECONDS - start)) s"
  touch "$ready"
fi

# CTest runs every test program through wine (the toolchain's emulator).
root=$PWD
(cd "$build" && ctest --output-on-failure --timeout 300 -j "$jobs")

# The automation server, registered in the prefix and scripted as a client
# program would: each VBScript test runs in the script host on a data folder
# of its own (the user's application-data folder, emptied before it).
start=$SECONDS
(cd "$build/src/api/com" && wine regsvr32 /s OrnCalendar.dll) || {
  echo "Registering OrnCalendar.dll failed" >&2
  exit 1
}
host="$build/tools/scripthost/orncal-scripthost.exe"
# The scripts' calendars relay their changes through the notifier of the
# build tree, which ends soon after the last of them.
ORNCAL_NOTIFIER=$(wine winepath -w "$PWD/$build/tools/orncal/OrnCalNtf.exe" 2>/dev/null)
export ORNCAL_NOTIFIER ORNCAL_NOTIFIER_LINGER_MS=300
data="$WINEPREFIX/drive_c/users/${USER:-$(id -un)}/AppData/Roaming/Ornavel"
failed=()
for script in tests/vbscript/*.vbs; do
  [ "$(basename "$script")" = assert.vbs ] && continue
  rm -rf "$data"
  echo "VBScript $(basename "$script" .vbs):"
  timeout 120 wine "$host" tests/vbscript/assert.vbs "$script" | sed 's/^/  /' ||
    failed+=("$(basename "$script")")
done
# Two script processes on one data folder: the listener connects its
# handlers and says so with a file in the data folder, then the changer
# files an appointment and a task, which reach the listener through the
# notifier.
rm -rf "$data"
echo "VBScript two processes:"
timeout 120 wine "$host" tests/vbscript/assert.vbs tests/vbscript/two_processes/listener.vbs \
  >"$build/listener.log" 2>&1 &
listener=$!
for _ in $(seq 600); do
  [ -n "$(find "$data" -name listener.ready 2>/dev/null)" ] && break
  kill -0 "$listener" 2>/dev/null || break
  sleep 0.1
done
timeout 60 wine "$host" tests/vbscript/assert.vbs tests/vbscript/two_processes/changer.vbs |
  sed 's/^/  changer: /' || failed+=("two_processes/changer.vbs")
wait "$listener" || failed+=("two_processes/listener.vbs")
sed 's/^/  listener: /' "$build/listener.log"

# Unregistering takes the identifiers away again (and the next run
# registers anew).
(cd "$build/src/api/com" && wine regsvr32 /s /u OrnCalendar.dll)
if wine reg query 'HKCR\OrnCalendar.CalendarMain' >/dev/null 2>&1; then
  failed+=("unregistering")
fi
echo "VBScript suite: $((SECONDS - start)) s"
if [ ${#failed[@]} -gt 0 ]; then
  echo "VBScript tests failed: ${failed[*]}" >&2
  exit 1
fi
