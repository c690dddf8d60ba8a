#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds everything with warnings as
# errors, and runs every test, stage by stage:
#   build    the library, the jar, the benchmarks and the tests
#   tests    native units, the Java tests through the real JNI boundary
#            (-Xcheck:jni) and the export check
#   asan     the native units under AddressSanitizer and UndefinedBehaviorSanitizer
#   tsan     the native units under ThreadSanitizer
#   fuzz     a short bounded run of every libFuzzer target (scripts/fuzz.sh)
# The time of each stage is printed at the end, also when one fails.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)

times=()
current=""
report() {
  local status=$?
  # A stage that failed reports how far it got.
  [ -z "$current" ] || times+=("$(stage_time "$current" FAILED)")
  if [ ${#times[@]} -gt 0 ]; then
    echo "stage times:"
    printf '  %s\n' "${times[@]}"
  fi
  return $status
}
trap report EXIT

# CPU seconds of the finished children of this shell: beside the wall time it
# tells a stage's own cost from what other work on the machine took.
cpu_seconds() { awk -v tick="$(getconf CLK_TCK)" '{print int(($16 + $17) / tick)}' /proc/$$/stat; }

started=0
cpu=0
stage_time() { printf '%-6s %4ds wall %5ds CPU %s' "$1" $(( $(date +%s) - started )) $(( $(cpu_seconds) - cpu )) "${2:-}"; }

stage() {
  current=$1
  shift
  started=$(date +%s)
  cpu=$(cpu_seconds)
  echo "=== $current"
  "$@"
  times+=("$(stage_time "$current")")
  current=""
}

setup() { bash scripts/setup.sh; }

build() {
  cmake -S . -B build -DCVX_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
  cmake --build build -j"$jobs"
}

tests() { (cd build && ctest --output-on-failure); }

asan() {
  cmake -S . -B build-asan -DCVX_WERROR=ON -DCVX_SANITIZE=ON -DCVX_BUILD_JAVA=OFF -DCVX_BUILD_BENCH=OFF \
    -DCMAKE_BUILD_TYPE=Debug
  cmake --build build-asan -j"$jobs" --target cvx_native_tests
  (cd build-asan && ctest --output-on-failure -R 'native_tests|platform_includes')
}

tsan() {
  # -O1: quicker to build than the optimised tree, and ThreadSanitizer runs
  # well enough on it.
  cmake -S . -B build-tsan -DCVX_WERROR=ON -DCVX_TSAN=ON -DCVX_BUILD_JAVA=OFF -DCVX_BUILD_BENCH=OFF \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" -DCMAKE_C_FLAGS_DEBUG="-g -O1"
  cmake --build build-tsan -j"$jobs" --target cvx_native_tests
  (cd build-tsan && ctest --output-on-failure -R native_tests)
}

fuzz() { bash scripts/fuzz.sh --jobs "$jobs"; }

stage setup setup
stage build build
stage tests tests
stage asan asan
stage tsan tsan
stage fuzz fuzz
echo "all tests passed"
