#!/usr/bin/env bash
# Installs the Debian packages a build needs, but only those that are missing.
# Usage: scripts/install-deps.sh [native|windows|bench|all]
set -euo pipefail

native=(build-essential cmake ninja-build googletest libgtest-dev libgmock-dev
        libbenchmark-dev libcli11-dev nlohmann-json3-dev clang-format pkgconf
        python3-dev pybind11-dev python3-pytest)
# widl (wine64-tools) compiles the type library of the automation server
# with the Windows interface definitions of Wine's development files.
windows=(g++-mingw-w64-x86-64-posix wine wine64 wine64-tools libwine-dev)
bench=(libbenchmark-dev libical-dev pkgconf python3-dev pybind11-dev)

case "${1:-native}" in
  native) want=("${native[@]}") ;;
  windows) want=("${windows[@]}") ;;
  bench) want=("${bench[@]}") ;;
  all) want=("${native[@]}" "${windows[@]}" "${bench[@]}") ;;
  *) echo "usage: $0 [native|windows|bench|all]" >&2; exit 2 ;;
esac

missing=()
for p in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then sudo=(); else sudo=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
