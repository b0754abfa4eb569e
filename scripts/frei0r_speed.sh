#!/usr/bin/env bash
# Frames a second inside ffmpeg at 1920x1080, from ffmpeg's own -benchmark:
# the same command line with no filter, with this build's plugin, and with
# frei0r's own peer; a filter's cost is its ms a frame less the first line's.
# Usage: scripts/frei0r_speed.sh [frames]   (after make bench, which installs the peers)
set -euo pipefail
cd "$(dirname "$0")/.."
frames=${1:-300}
export FREI0R_PATH=$PWD/build/frei0r-1:/usr/lib/frei0r-1
input=(-f lavfi -i "testsrc2=size=1920x1080:rate=25")

# Real seconds of one run, from ffmpeg's "bench: ... rtime=" line.
seconds() {
  ffmpeg -hide_banner -nostats -benchmark "${input[@]}" -frames:v "$frames" -vf "$1" -f null - 2>&1 |
    sed -n 's/.*rtime=\([0-9.]*\)s.*/\1/p'
}
# The best of three runs, as frames a second and ms a frame.
measure() {
  local best=""
  for _ in 1 2 3; do
    local s
    s=$(seconds "$1")
    best=$(awk -v a="$s" -v b="$best" 'BEGIN { print (b == "" || a < b) ? a : b }')
  done
  awk -v s="$best" -v n="$frames" 'BEGIN { printf "%8.1f fps %7.3f ms", n / s, 1000 * s / n }'
}

base=$(measure "format=bgra")
echo "no filter                 $base"
for pair in fx_posterize:posterize fx_posterize_hue:hueshift0r fx_rgb_cycling_fast:hueshift0r \
            fx_motion_blur:baltan fx_brightness_contrast:brightness; do
  ours=${pair%%:*} peer=${pair##*:}
  printf '%-25s %s\n' "$ours" "$(measure "format=bgra,frei0r=$ours")"
  printf '%-25s %s\n' "  peer $peer" "$(measure "format=bgra,frei0r=$peer")"
done
