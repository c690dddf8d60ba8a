#!/usr/bin/env bash
# G.711 packets into one and four Vorbis encoders through the exports. Compare
# with AudioPathBench (the same work below the boundary) for the JNI share.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/cvx-transcoder.jar ] || bash scripts/build.sh
out=build/bench-classes
mkdir -p "$out"
javac -d "$out" -cp build/cvx-transcoder.jar bench/java/AudioPathJniBench.java
java -Dcvx.transcoder.library="$PWD/build/src/libcvx-transcoder.so" -cp "build/cvx-transcoder.jar:$out" AudioPathJniBench
