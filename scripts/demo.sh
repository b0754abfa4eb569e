#!/usr/bin/env bash
# Renders the built-in test card through every effect of this build into out/.
set -euo pipefail
cd "$(dirname "$0")/.."
fxhost="$PWD/build/fxhost"
rm -rf out
mkdir -p out
count=0
while IFS= read -r name; do
  # Ten frames at 25 a second; the stroboscope flashes in the second half of
  # its first second, so it runs a little longer. The motion blur's trail
  # shows only on a picture that moves.
  args=(--frames 10)
  [ "$name" = Stroboscope ] && args=(--frames 15)
  [ "$name" = MotionBlur ] && args=(--frames 10 --scroll 24)
  (cd out && "$fxhost" render "$name" "${args[@]}" >/dev/null 2>&1) || { echo "demo: $name failed" >&2; exit 1; }
  count=$((count + 1))
done < <("$fxhost" list --names 2>/dev/null)
# The ascii art's factory names are always refused; its in-process instances
# draw the card with glyphs captured from the card itself.
ascii=$("$PWD/build/ascii_demo" out | grep -c '^wrote ') || { echo "demo: ascii_demo failed" >&2; exit 1; }
count=$((count + 1))
echo "Rendered the test card through $count effects (the ascii art $ascii ways) into $PWD/out/:"
ls out
