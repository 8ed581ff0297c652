#!/usr/bin/env bash
# Sets up the machine, builds the release preset and runs the main job on a
# bundled sample.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh release
# Four tracks in four encodings, played ten times as fast as real time: about
# a second of cue events.
exec build/release/bin/zqsubtitle play samples/english-utf8.srt:en samples/german-cp1252.srt:de \
    samples/russian-cp1251.srt:ru samples/japanese-utf16le-bom.srt:ja --speed 10
