#!/usr/bin/env bash
# Sets up the machine, then builds and runs every test: the debug build, the
# Windows build (mingw-w64) with its tests under Wine, then the debug suite
# under AddressSanitizer+UndefinedBehaviorSanitizer and under ThreadSanitizer.
# Pass preset names to run only those (e.g. "debug").
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

presets=("$@")
if [ ${#presets[@]} -eq 0 ]; then
  presets=(debug mingw asan tsan)
fi

for preset in "${presets[@]}"; do
  echo "== $preset: build"
  if [ "$preset" = mingw ]; then
    # The Windows build's scenario listing is compared with the Linux debug
    # build's, so that build's client and module must be there.
    cmake --preset debug >/dev/null
    cmake --build --preset debug -j "$(nproc)" --target zqsubtitle-scenario zqregsvr ZQSubtitle
  fi
  scripts/build.sh "$preset"
  echo "== $preset: test"
  ctest --preset "$preset"
done
