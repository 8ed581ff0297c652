#!/usr/bin/env bash
# Sets up the machine, builds the release preset and runs the main job on a
# bundled sample.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh release
exec build/release/bin/zqsubtitle interfaces
