#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds everything with warnings as
# errors, and runs every test: native units, the Java tests through the real
# JNI boundary (-Xcheck:jni), the export check, and the native units again
# under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
jobs=$(nproc 2>/dev/null || echo 2)

cmake -S . -B build -DCVX_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j"$jobs"
(cd build && ctest --output-on-failure)

cmake -S . -B build-asan -DCVX_WERROR=ON -DCVX_SANITIZE=ON -DCVX_BUILD_JAVA=OFF -DCVX_BUILD_BENCH=OFF \
  -DCMAKE_BUILD_TYPE=Debug
cmake --build build-asan -j"$jobs" --target cvx_native_tests
(cd build-asan && ctest --output-on-failure -R 'native_tests|platform_includes')
echo "all tests passed"
