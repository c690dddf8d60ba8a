#!/usr/bin/env bash
# Installs the jar and its POM into a local Maven repository by the
# repository's directory layout: no network and no Maven run. Maven and
# Gradle projects then depend on com.corvane.cvx:cvx-transcoder:VERSION
# (Gradle: repositories { mavenLocal() }).
#
#   bash scripts/install-maven.sh [REPOSITORY]   (default: ~/.m2/repository)
#
# Builds first when the build folder (CVX_BUILD_DIR, default build) has no jar.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${CVX_BUILD_DIR:-$root/build}"
repo="${1:-$HOME/.m2/repository}"

pom=$(find "$build" -maxdepth 1 -name 'cvx-transcoder-*.pom' | sort | tail -1)
if [ -z "$pom" ]; then
  bash "$root/scripts/build.sh"
  pom=$(find "$build" -maxdepth 1 -name 'cvx-transcoder-*.pom' | sort | tail -1)
fi
jar="${pom%.pom}.jar"
[ -f "$jar" ] || { echo "install-maven: $jar is missing; run scripts/build.sh" >&2; exit 1; }

# The project's own coordinates are the first of each element in the POM.
field() { sed -n "s:.*<$1>\([^<]*\)</$1>.*:\1:p" "$pom" | head -1; }
group=$(field groupId)
artifact=$(field artifactId)
version=$(field version)
base="$repo/${group//.//}/$artifact"
dir="$base/$version"
mkdir -p "$dir"
cp "$jar" "$dir/$artifact-$version.jar"
cp "$pom" "$dir/$artifact-$version.pom"

# The artifact's version list, as Maven's own install keeps it, from what is installed.
versions=$(find "$base" -mindepth 2 -maxdepth 2 -name "$artifact-*.pom" -printf '%h\n' | xargs -n1 basename | sort -V)
{
  echo '<?xml version="1.0" encoding="UTF-8"?>'
  echo '<metadata>'
  echo "  <groupId>$group</groupId>"
  echo "  <artifactId>$artifact</artifactId>"
  echo '  <versioning>'
  echo "    <latest>$(tail -1 <<<"$versions")</latest>"
  echo "    <release>$(tail -1 <<<"$versions")</release>"
  echo '    <versions>'
  for v in $versions; do echo "      <version>$v</version>"; done
  echo '    </versions>'
  echo "    <lastUpdated>$(date -u +%Y%m%d%H%M%S)</lastUpdated>"
  echo '  </versioning>'
  echo '</metadata>'
} >"$base/maven-metadata-local.xml"
echo "install-maven: $group:$artifact:$version in $dir"
