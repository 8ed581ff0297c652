#!/usr/bin/env bash
# Installs exactly the Debian packages the project needs. Idempotent and quiet:
# when everything is already there it touches neither the network nor apt.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config python3
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  clang-14 libclang-rt-14-dev
  qt6-base-dev fonts-dejavu-core xvfb xauth
  libavformat-dev libavcodec-dev libavutil-dev ffmpeg mkvtoolnix time
  # The Windows build (preset mingw): the cross compiler, widl for the type
  # library, and Wine to run its tests.
  g++-mingw-w64-x86-64-posix mingw-w64-tools wine wine64
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
