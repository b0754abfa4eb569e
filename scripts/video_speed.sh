#!/usr/bin/env bash
# Frames a second of fxhost on 1080p video: in a pipe of raw frames beside
# ffmpeg copying the same frames through the same pipe, and on clips with a
# lossless and a lossy codec.
# Usage: scripts/video_speed.sh [FRAMES]   (default 250)
set -euo pipefail
cd "$(dirname "$0")/.."
frames=${1:-250}
fxhost="$PWD/build/fxhost"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
size=1920x1080

# Seconds a command takes, from bash's own clock.
seconds() {
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null 2>&1
  end=$(date +%s.%N)
  awk "BEGIN { print $end - $start }"
}
fps() { awk "BEGIN { printf \"%.1f\", $frames / $1 }"; }

echo "Making $frames frames of ${size} (raw BGRA, FFV1 and H.264) ..."
ffmpeg -nostdin -v error -f lavfi -i "testsrc2=size=$size:rate=25" -frames:v "$frames" \
  -f rawvideo -pix_fmt bgra "$work/in.raw"
ffmpeg -nostdin -v error -f rawvideo -pix_fmt bgra -s $size -framerate 25 -i "$work/in.raw" -c:v ffv1 "$work/lossless.mkv"
ffmpeg -nostdin -v error -f rawvideo -pix_fmt bgra -s $size -framerate 25 -i "$work/in.raw" \
  -c:v libx264 -pix_fmt yuv420p -crf 20 "$work/lossy.mp4"

pipe() { "$@" <"$work/in.raw" | cat >/dev/null; }
copy=$(seconds pipe ffmpeg -nostdin -v error -f rawvideo -pix_fmt bgra -s $size -i - -f rawvideo -pix_fmt bgra -)
echo "Raw frames through a pipe, $frames frames at $size:"
printf '  %-34s %8s frames a second\n' "ffmpeg -f rawvideo (a copy)" "$(fps "$copy")"
for effect in Posterize "Posterize Hue" "Square Kaleido"; do
  t=$(seconds pipe "$fxhost" render "$effect" --quiet --in - --size $size --out -)
  printf '  %-34s %8s frames a second (%.2fx the copy'"'"'s time)\n' "fxhost $effect" "$(fps "$t")" \
    "$(awk "BEGIN { print $t / $copy }")"
done
echo "Clips decoded, rendered and encoded again (FFV1 out for FFV1 in, H.264 for H.264):"
for effect in Posterize "Posterize Hue" "Square Kaleido"; do
  t1=$(seconds "$fxhost" render "$effect" --quiet --in "$work/lossless.mkv" --out "$work/o.mkv" --encode "-c:v ffv1")
  t2=$(seconds "$fxhost" render "$effect" --quiet --in "$work/lossy.mp4" --out "$work/o.mp4" \
    --encode "-c:v libx264 -pix_fmt yuv420p -crf 20")
  printf '  %-20s FFV1 %6s   H.264 %6s frames a second\n' "$effect" "$(fps "$t1")" "$(fps "$t2")"
done
