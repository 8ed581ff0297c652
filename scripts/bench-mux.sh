#!/usr/bin/env bash
# The whole mux command against ffmpeg, measured in the same run on the same
# files: wall time and peak memory (GNU time) of
#   1. a 1,000,000-cue SubRip file into Matroska, no media:
#        zqsubtitle mux -s big.srt -o out.mkv   vs   ffmpeg -i big.srt -c:s copy out.mkv
#   2. the sample video with the four bundled SubRip files, each in its own
#      encoding, which ffmpeg is told file by file (-sub_charenc).
# Each command runs RUNS times (default 3), alternating; the table gives the
# median time and the largest peak. Builds the release preset first.
#   scripts/bench-mux.sh [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
runs="${1:-3}"
scripts/build.sh release >/dev/null
zq=build/release/bin/zqsubtitle
video=build/release/samples/sample-video.mkv
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# A million two-line cues, one every two seconds (about 100 MB).
python3 - "$work/big.srt" <<'PY'
import sys
def t(ms):
    return "%02d:%02d:%02d,%03d" % (ms // 3600000, ms // 60000 % 60, ms // 1000 % 60, ms % 1000)
with open(sys.argv[1], "w", encoding="utf-8") as out:
    for i in range(1000000):
        s = i * 2000
        out.write(f"{i + 1}\n{t(s)} --> {t(s + 1500)}\nThe night train leaves at nine, number {i}\n"
                  "and we will be on it tomorrow morning.\n\n")
PY

# measure NAME COMMAND...: appends "seconds kilobytes" of one run to $work/NAME.
measure() {
    local name="$1"
    shift
    /usr/bin/time -f "%e %M" -o "$work/one" "$@" >/dev/null 2>"$work/err" || { cat "$work/err" >&2; exit 1; }
    cat "$work/one" >>"$work/$name"
}

s=samples
for ((i = 0; i < runs; i++)); do
    measure zq-big "$zq" mux -s "$work/big.srt" -o "$work/zq.mkv" --quiet
    measure ffmpeg-big ffmpeg -nostdin -v error -y -i "$work/big.srt" -c:s copy "$work/ff.mkv"
    measure zq-video "$zq" mux "$video" -s "$s/english-utf8.srt:en" -s "$s/german-cp1252.srt:de" \
        -s "$s/russian-cp1251.srt:ru" -s "$s/japanese-utf16le-bom.srt:ja" -o "$work/zq-video.mkv" --quiet
    measure ffmpeg-video ffmpeg -nostdin -v error -y -i "$video" \
        -sub_charenc UTF-8 -i "$s/english-utf8.srt" -sub_charenc CP1252 -i "$s/german-cp1252.srt" \
        -sub_charenc CP1251 -i "$s/russian-cp1251.srt" -i "$s/japanese-utf16le-bom.srt" \
        -map 0 -map 1 -map 2 -map 3 -map 4 -c:v copy -c:a copy -c:s srt \
        -metadata:s:s:0 language=eng -metadata:s:s:1 language=ger -metadata:s:s:2 language=rus \
        -metadata:s:s:3 language=jpn "$work/ff-video.mkv"
done

# median seconds and largest peak of a file of "seconds kilobytes" lines.
summary() { sort -n "$work/$1" | awk '{ t[NR] = $1; if ($2 > m) m = $2 } END { printf "%8.2f s %9.1f MB", t[int((NR + 1) / 2)], m / 1024 }'; }
ratio() { paste <(sort -n "$work/$1") <(sort -n "$work/$2") | awk '{ t1[NR] = $1; t2[NR] = $3 } END { m = int((NR + 1) / 2); printf "%.2f", t2[m] / t1[m] }'; }

printf '%-44s %s\n' "1,000,000 cues, no media: zqsubtitle mux" "$(summary zq-big)"
printf '%-44s %s\n' "                          ffmpeg -c:s copy" "$(summary ffmpeg-big)"
printf '%-44s %sx\n' "                          ffmpeg / zqsubtitle" "$(ratio zq-big ffmpeg-big)"
printf '%-44s %s\n' "sample video + 4 files:  zqsubtitle mux" "$(summary zq-video)"
printf '%-44s %s\n' "                          ffmpeg -sub_charenc" "$(summary ffmpeg-video)"
printf '%-44s %sx\n' "                          ffmpeg / zqsubtitle" "$(ratio zq-video ffmpeg-video)"
