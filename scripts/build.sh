#!/usr/bin/env bash
# Configures and builds one preset: debug (default), release, asan, tsan, mingw
# (Windows, cross-compiled), fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-debug}"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)"
