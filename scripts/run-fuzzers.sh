#!/usr/bin/env bash
# Builds the fuzzers (clang, build-fuzz/) and runs each for FUZZ_SECONDS,
# FUZZ_PARALLEL at a time, each in one process with bounded memory and time
# per input. The corpus each grows is kept in build-fuzz/corpus/<target>
# (seeded from fuzz/corpus/<target>); logs and anything found go to
# build-fuzz/logs and build-fuzz/artifacts. Prints one line per target and
# fails when any target found something.
# Usage: scripts/run-fuzzers.sh [TARGET...]   (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD=${FUZZ_BUILD:-build-fuzz}
SECONDS_EACH=${FUZZ_SECONDS:-60}
PARALLEL=${FUZZ_PARALLEL:-1}
JOBS=${JOBS:-$(nproc)}

./scripts/install-deps.sh fuzz
cmake -S . -B "$BUILD" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DORNCAL_BUILD_FUZZ=ON -DORNCAL_SANITIZE=ON -DORNCAL_BUILD_TESTS=OFF \
  -DORNCAL_BUILD_EXAMPLES=OFF -DORNCAL_WARNINGS_AS_ERRORS=ON >/dev/null
cmake --build "$BUILD" -j "$JOBS" >"$BUILD/build.log" 2>&1 || { cat "$BUILD/build.log"; exit 1; }

if [ $# -gt 0 ]; then targets=("$@"); else mapfile -t targets <"$BUILD/fuzz/fuzzers.txt"; fi
mkdir -p "$BUILD/logs" "$BUILD/artifacts"

run_one() {
  local target=$1 name=${1%_fuzz}
  local corpus="$BUILD/corpus/$name" log="$BUILD/logs/$target.log"
  local args=(-max_total_time="$SECONDS_EACH" -rss_limit_mb=2048 -malloc_limit_mb=256
              -timeout=10 -print_final_stats=1 -artifact_prefix="$BUILD/artifacts/$target-")
  [ -f "fuzz/$name.dict" ] && args+=(-dict="fuzz/$name.dict")
  mkdir -p "$corpus"
  local seeds=()
  [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
  ORNCAL_NOTIFIER=off "$BUILD/fuzz/$target" "${args[@]}" "$corpus" "${seeds[@]}" >"$log" 2>&1
}

summary() {
  local target=$1 status=$2 log="$BUILD/logs/$1.log"
  local runs cov
  runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | awk '{print $2}' || true)
  cov=$(grep -E '^#[0-9]+' "$log" | grep -o 'cov: [0-9]* ft: [0-9]*' | tail -1 || true)
  if [ "$status" -eq 0 ]; then
    printf '%-28s ok      %10s runs  %s  corpus %s\n' "$target" "${runs:-?}" "${cov:-}" \
      "$(ls "$BUILD/corpus/${target%_fuzz}" | wc -l)"
  else
    printf '%-28s FAILED  (status %s) see %s\n' "$target" "$status" "$log"
    grep -E 'ERROR|SUMMARY|Test unit written' "$log" | head -5 | sed 's/^/    /'
  fi
}

failed=0
pids=() names=()
for target in "${targets[@]}"; do
  run_one "$target" &
  pids+=($!) names+=("$target")
  if [ ${#pids[@]} -ge "$PARALLEL" ]; then
    status=0; wait "${pids[0]}" || status=$?
    summary "${names[0]}" "$status"; [ "$status" -eq 0 ] || failed=1
    pids=("${pids[@]:1}") names=("${names[@]:1}")
  fi
done
for i in "${!pids[@]}"; do
  status=0; wait "${pids[$i]}" || status=$?
  summary "${names[$i]}" "$status"; [ "$status" -eq 0 ] || failed=1
done
exit $failed
