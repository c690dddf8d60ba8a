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
  ffmpeg python3 python3-matplotlib
  maven libmaven-compiler-plugin-java libmaven-resources-plugin-java
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#PACKAGES[@]} packages present"
  exit 0
fi

echo "setup: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done"
