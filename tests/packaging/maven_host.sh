#!/usr/bin/env bash
# A Java team's first contact: install the jar and its POM into a fresh local
# Maven repository with scripts/install-maven.sh, build a tiny host project
# that names the transcoder by its coordinates with offline Maven, and run
# it with the installed jar alone on its class path: the library must come
# out of the jar into the user's cache by itself.
#   maven_host.sh BUILD_DIR
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
build="$(cd "$1" && pwd)"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

repo="$work/repository"
CVX_BUILD_DIR="$build" bash "$root/scripts/install-maven.sh" "$repo"
pom=$(find "$build" -maxdepth 1 -name 'cvx-transcoder-*.pom' | sort | tail -1)
version=$(basename "$pom" .pom)
version=${version#cvx-transcoder-}
jar="$repo/com/corvane/cvx/cvx-transcoder/$version/cvx-transcoder-$version.jar"
cmp "$jar" "$build/cvx-transcoder-$version.jar"

# Maven's own plugins come from Debian's packages, read as a file repository
# (offline Maven reads a file: repository only when told it may).
cat >"$work/settings.xml" <<XML
<settings><mirrors><mirror><id>debian</id><mirrorOf>*</mirrorOf><url>file:///usr/share/maven-repo</url></mirror></mirrors></settings>
XML
cp -r "$here/tiny-host" "$work/tiny-host"
(cd "$work/tiny-host" && mvn -o -B -q -Dstyle.color=never -s "$work/settings.xml" -Dmaven.repo.local="$repo" \
  -Daether.offline.protocols=file -Dcvx.version="$version" compile)

out=$(env -u JAVA_TOOL_OPTIONS XDG_CACHE_HOME="$work/cache" java -Xcheck:jni \
  -cp "$jar:$work/tiny-host/target/classes" tiny.TinyHost 2>&1)
echo "$out"
fail=0
grep -q '^tiny host: bit rate 400000$' <<<"$out" || { echo "FAIL: the encoder did not keep its bit rate"; fail=1; }
grep -q '^tiny host: log TranscoderSession.videoEncoderAdd\[tiny/video encoder 0\]: Create video encoder: H.264: default$' <<<"$out" ||
  { echo "FAIL: no encoder log line with its context filled in"; fail=1; }
grep -q 'WARNING' <<<"$out" && { echo "FAIL: the JVM warned (JNI checks)"; fail=1; }
extracted=$(find "$work/cache/cvx-transcoder" -name libcvx-transcoder.so | head -1)
[ -n "$extracted" ] || { echo "FAIL: the library was not extracted into the user's cache"; fail=1; }
[ $fail -eq 0 ] && echo "maven host: built by coordinates with offline Maven, ran from $jar alone"
exit $fail
