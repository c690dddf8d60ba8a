#!/usr/bin/env bash
# Installs every Debian package the project needs, and only the ones that are missing.
# Safe to run again: a machine that has everything is left untouched.
set -euo pipefail

PACKAGES=(
  build-essential cmake pkg-config git clang libclang-rt-14-dev
  openjdk-17-jdk-headless junit5
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libavcodec-dev libavutil-dev libswscale-dev libyuv-dev
  libx264-dev libvpx-dev libvorbis-dev libogg-dev libspeex-dev libffmpeg-nvenc-dev libmfx-dev libva-dev
  ffmpeg python3 python3-matplotlib linux-perf
  maven libmaven-compiler-plugin-java libmaven-resources-plugin-java
  chromium
)
# The HLS browser test runs Node.js; a machine that has no npm of its own gets Debian's.
if ! command -v npm >/dev/null 2>&1; then PACKAGES+=(nodejs npm); fi

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#PACKAGES[@]} packages present"
else
  echo "setup: installing ${missing[*]}"
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
  echo "setup: done"
fi

# The HLS browser test's npm packages (the player and the browser driver, no browser), exactly as the
# lock file pins them, into build/node; installed again only when the lock file changes.
root="$(cd "$(dirname "$0")/.." && pwd)"
node_dir="$root/build/node"
if ! cmp -s "$root/tests/browser/package-lock.json" "$node_dir/package-lock.json" \
    || [ ! -d "$node_dir/node_modules" ]; then
  echo "setup: npm packages for the browser test into $node_dir"
  mkdir -p "$node_dir"
  cp "$root/tests/browser/package.json" "$root/tests/browser/package-lock.json" "$node_dir/"
  (cd "$node_dir" && npm ci --no-audit --no-fund --loglevel=error >/dev/null)
fi
