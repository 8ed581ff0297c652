#!/usr/bin/env bash
# Sets up the machine, builds the release preset and runs the main job on the
# bundled samples: the sample video (made by the build from FFmpeg's test
# sources) and four SubRip files in four encodings into one Matroska file,
# which then plays ten times as fast as real time.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh release
zq=build/release/bin/zqsubtitle
out=build/release/samples/sample-with-subtitles.mkv
"$zq" mux build/release/samples/sample-video.mkv \
    -s samples/english-utf8.srt:en:English -s samples/german-cp1252.srt:de:Deutsch \
    -s samples/russian-cp1251.srt:ru:Русский -s samples/japanese-utf16le-bom.srt:ja:日本語 -o "$out"
exec "$zq" play "$out" --speed 10
