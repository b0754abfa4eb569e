#!/usr/bin/env bash
# fxhost.exe under wine against the Linux fxhost: every effect the module
# makes (but the random old films) over 8 frames of the test card at 32, 16
# (5-6-5) and 15 bits, then at 32 bits at each vector level; every PNG must
# be the same file, byte for byte.
# Usage: windows_pictures.sh WINE_RUN FXHOST_EXE LINUX_FXHOST
set -euo pipefail
wine=$1 exe=$2 linux=$3
tmp=$(mktemp -d "${TMPDIR:-/tmp}/windows_pictures.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

# Names the module makes and draws the same on every run.
"$linux" list --json | python3 -c '
import json, sys
for e in json.load(sys.stdin):
    if e["created"] and not e["random"]:
        print(e["name"])' >"$tmp/names.txt"
[ "$(wc -l <"$tmp/names.txt")" -ge 30 ] || { echo "FAIL: only $(wc -l <"$tmp/names.txt") names"; exit 1; }

# One job a line: LEVEL FORMAT NAME (LEVEL "-": the processor's best).
while read -r name; do
  for format in 32 565 555; do echo "- $format $name"; done
  for level in scalar sse2 avx2 avx512; do echo "$level 32 $name"; done
done <"$tmp/names.txt" >"$tmp/jobs.txt"

render_pair() {
  local level=$1 format=$2 name=$3
  local tag
  tag=$(echo "$level-$format-$name" | tr -c 'A-Za-z0-9-\n' '_')
  mkdir -p "$tmp/linux/$tag" "$tmp/windows/$tag"
  local env=()
  [ "$level" != - ] && env=(EFFECTS_SIMD="$level")
  env "${env[@]}" "$linux" --quiet render "$name" --format "$format" --frames 8 \
      --out "$tmp/linux/$tag/f%02d.png" || { echo "FAIL: linux fxhost: $name $format $level"; return 0; }
  env "${env[@]}" "$wine" "$exe" --quiet render "$name" --format "$format" --frames 8 \
      --out "$tmp/windows/$tag/f%02d.png" </dev/null || { echo "FAIL: fxhost.exe: $name $format $level"; return 0; }
  for f in "$tmp/linux/$tag"/*.png; do
    cmp -s "$f" "$tmp/windows/$tag/$(basename "$f")" ||
      echo "FAIL: $name at $format bits, level $level: $(basename "$f") differs"
  done
  [ "$(ls "$tmp/windows/$tag" | wc -l)" = 8 ] || echo "FAIL: $name $format $level: fxhost.exe wrote $(ls "$tmp/windows/$tag" | wc -l) frames"
}
export -f render_pair
export tmp wine exe linux
# The first run makes the wine prefix; the wine server then stays up for
# the whole run instead of starting per job.
"$wine" cmd /c exit >/dev/null 2>&1 || true
xargs -P "$(nproc)" -L 1 bash -c 'render_pair "$0" "$1" "${*:2}"' <"$tmp/jobs.txt" >"$tmp/faults.txt"
jobs=$(wc -l <"$tmp/jobs.txt")
if [ -s "$tmp/faults.txt" ]; then
  cat "$tmp/faults.txt"
  echo "$(wc -l <"$tmp/faults.txt") faults in $jobs renders"
  exit 1
fi
echo "windows_pictures: $jobs renders of 8 frames, every PNG the same"
