#!/usr/bin/env bash
# The main job: set up, build, and run the reference host.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
exec java -Dcvx.transcoder.library="$PWD/build/src/libcvx-transcoder.so" \
  -cp build/cvx-transcoder.jar com.corvane.cvx.transcoder.host.ReferenceHost "$@"
