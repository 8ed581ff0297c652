#!/usr/bin/env bash
# Sets up the machine, then builds and runs every test: the debug build, then
# the same suite under AddressSanitizer+UndefinedBehaviorSanitizer and under
# ThreadSanitizer. Pass preset names to run only those (e.g. "debug").
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

presets=("$@")
if [ ${#presets[@]} -eq 0 ]; then
  presets=(debug asan tsan)
fi

for preset in "${presets[@]}"; do
  echo "== $preset: build"
  scripts/build.sh "$preset"
  echo "== $preset: test"
  ctest --preset "$preset"
done
