#!/usr/bin/env bash
# Renders the built-in test card through every effect of this build into out/.
set -euo pipefail
cd "$(dirname "$0")/.."
fxhost="$PWD/build/fxhost"
rm -rf out
mkdir -p out
count=0
while IFS= read -r name; do
  (cd out && "$fxhost" render "$name" --frames 10 >/dev/null 2>&1) || { echo "demo: $name failed" >&2; exit 1; }
  count=$((count + 1))
done < <("$fxhost" list --names 2>/dev/null)
echo "Rendered the test card through $count effects into $PWD/out/:"
ls out
