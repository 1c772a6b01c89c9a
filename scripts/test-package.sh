#!/usr/bin/env bash
# Installs a built tree into a temporary prefix, then builds an example
# outside the tree against the installed package and runs it: through CMake
# (shared and static library) and through pkg-config with g++.
# Usage: scripts/test-package.sh [BUILD_DIR]   (default build-release)
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build-release}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
# The programs start the installed notifier, in a runtime folder of their
# own, and it ends soon after them.
mkdir -p "$work/run"
export XDG_RUNTIME_DIR=$work/run ORNCAL_NOTIFIER_LINGER_MS=200
unset ORNCAL_NOTIFIER

cmake --install "$build" --prefix "$prefix" >"$work/install.log" || { cat "$work/install.log"; exit 1; }
pc=$(find "$prefix" -name orncalendar.pc)
libdir=$(dirname "$(dirname "$pc")")

# Runs a program on a fresh application-data folder; it must save.
run() {
  local program=$1 data=$work/data-$2
  "$program" "$data" >"$work/$2.out" 2>&1 || { cat "$work/$2.out"; echo "$2: failed" >&2; exit 1; }
  grep -q '^saved$' "$work/$2.out" || { cat "$work/$2.out"; echo "$2: nothing saved" >&2; exit 1; }
  [ -n "$(find "$data" -name '*.xmf')" ] || { echo "$2: no month file written" >&2; exit 1; }
}

# Whether a program loads the shared library at run time.
needs_shared() { readelf -d "$1" | grep -q 'NEEDED.*liborncalendar'; }

for kind in shared static; do
  static=OFF checks=ON
  [ "$kind" = static ] && static=ON checks=OFF
  cmake -S tests/package -B "$work/cmake-$kind" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$prefix" -DORNCAL_EXAMPLES_DIR="$PWD/examples" \
    -Dorncalendar_USE_STATIC_LIBS=$static -DORNCAL_CHECK_HEADERS=$checks >"$work/cmake-$kind.log" ||
    { cat "$work/cmake-$kind.log"; exit 1; }
  cmake --build "$work/cmake-$kind" >>"$work/cmake-$kind.log" || { cat "$work/cmake-$kind.log"; exit 1; }
  program=$work/cmake-$kind/add_appointments
  # CMake gives the program the library folder as its run path. The shared
  # library finds the notifier in the installed program folder; a program
  # linked statically, outside the installation, finds it on PATH.
  if [ "$kind" = static ]; then
    PATH=$prefix/bin:$PATH run "$program" "cmake-$kind"
  else
    run "$program" "cmake-$kind"
  fi
  if [ "$kind" = shared ] && ! needs_shared "$program"; then
    echo "cmake-shared: the program does not use the shared library" >&2; exit 1
  fi
  if [ "$kind" = static ] && needs_shared "$program"; then
    echo "cmake-static: the program needs the shared library" >&2; exit 1
  fi
  echo "package: CMake, $kind library: built and ran"
done

export PKG_CONFIG_PATH=$(dirname "$pc")
mkdir -p "$work/pkg-config"
# shellcheck disable=SC2046
g++ -std=c++20 -Wall -Wextra -Werror examples/add_appointments.cc \
  $(pkg-config --cflags --libs orncalendar) -o "$work/pkg-config/add_appointments"
LD_LIBRARY_PATH=$libdir run "$work/pkg-config/add_appointments" pkg-config
echo "package: pkg-config, shared library: built and ran"

# The Python package, imported from the prefix alone.
[ -d "$prefix/lib/python3/dist-packages/orncalendar" ] ||
  { echo "python: the package was not installed" >&2; exit 1; }
PYTHONPATH=$prefix/lib/python3/dist-packages /usr/bin/python3 - "$work/data-python" <<'PY' ||
import datetime, sys
import orncalendar
orncalendar.UseApplicationDataFolder(sys.argv[1])
calendar = orncalendar.Calendar()
entry = calendar.Appointment(datetime.datetime(2008, 5, 14, 9), datetime.datetime(2008, 5, 14, 10))
entry.Title = "from the prefix"
entry.NotifyChange()
calendar.Save()
assert calendar.GetAppointment(200805, entry.ID).Title == "from the prefix"
PY
  { echo "python: the installed package failed" >&2; exit 1; }
[ -f "$work/data-python/Ornavel/Calendar/files/200805.xmf" ] ||
  { echo "python: no month file written" >&2; exit 1; }
echo "package: Python, imported from the prefix: ran"
