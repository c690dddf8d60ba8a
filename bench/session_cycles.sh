#!/usr/bin/env bash
# 10,000 create/drain/destroy cycles through JNI: microseconds per cycle and RSS.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/cvx-transcoder.jar ] || bash scripts/build.sh
out=build/bench-classes
mkdir -p "$out"
javac -d "$out" -cp build/cvx-transcoder.jar bench/java/SessionCycleBench.java
java -Dcvx.transcoder.library="$PWD/build/src/libcvx-transcoder.so" -cp "build/cvx-transcoder.jar:$out" \
  SessionCycleBench "${1:-10000}"
