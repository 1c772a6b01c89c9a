#!/usr/bin/env bash
# Installs the Debian packages a build needs, but only those that are missing.
# Usage: scripts/install-deps.sh [native|interop|windows|bench|fuzz|all]...
set -euo pipefail

native=(build-essential cmake ninja-build googletest libgtest-dev libgmock-dev
        libbenchmark-dev libcli11-dev nlohmann-json3-dev clang-format pkgconf
        python3-dev pybind11-dev python3-pytest)
# widl (wine64-tools) compiles the type library of the automation server
# with the Windows interface definitions of Wine's development files.
windows=(g++-mingw-w64-x86-64-posix wine wine64 wine64-tools libwine-dev)
bench=(libbenchmark-dev libical-dev libcurl4-openssl-dev pkgconf python3-dev pybind11-dev)
# iCalendar and CalDAV, and what their tests run: an independent reader and
# writer of iCalendar and a CalDAV server on 127.0.0.1.
interop=(libical-dev libcurl4-openssl-dev pkgconf python3 python3-pytest python3-icalendar
         python3-dateutil radicale)
# libFuzzer and the sanitizers' runtime come with clang.
fuzz=(clang libclang-rt-dev llvm libcli11-dev nlohmann-json3-dev ninja-build cmake)

want=()
for set in "${@:-native}"; do
  case "$set" in
    native) want+=("${native[@]}") ;;
    interop) want+=("${interop[@]}") ;;
    windows) want+=("${windows[@]}") ;;
    bench) want+=("${bench[@]}") ;;
    fuzz) want+=("${fuzz[@]}") ;;
    all) want+=("${native[@]}" "${interop[@]}" "${windows[@]}" "${bench[@]}" "${fuzz[@]}") ;;
    *) echo "usage: $0 [native|interop|windows|bench|fuzz|all]..." >&2; exit 2 ;;
  esac
done

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
