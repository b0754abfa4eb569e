#!/usr/bin/env bash
# Unpacks Debian's libpng source (the upstream release this system's libpng
# is built from) as DIR, for the Windows build, which compiles it with the
# MinGW compiler so that fxhost.exe writes the same PNG files as fxhost.
# Usage: scripts/libpng_source.sh DIR
set -euo pipefail
dir=${1:?usage: scripts/libpng_source.sh DIR}
[ -f "$dir/png.h" ] && exit 0

sudo=()
[ "$(id -u)" -ne 0 ] && sudo=(sudo)
# Source packages come from the same archives as the binary ones.
if ! apt-get source --print-uris libpng1.6 >/dev/null 2>&1; then
  echo "Adding deb-src entries for Debian's archives"
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -e "$f" ] && grep -q '^Types:.*deb-src' "$f" && continue
    [ -e "$f" ] && sed 's/^Types: deb$/Types: deb-src/' "$f"
  done | "${sudo[@]}" tee /etc/apt/sources.list.d/effects-deb-src.sources >/dev/null
  if [ -f /etc/apt/sources.list ]; then
    sed -n 's/^deb /deb-src /p' /etc/apt/sources.list | "${sudo[@]}" tee /etc/apt/sources.list.d/effects-deb-src.list >/dev/null
  fi
  "${sudo[@]}" apt-get update -q
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Every version of the source shares the one upstream tarball; a mirror may
# lack the newest, so each version the archives list is tried in turn.
fetched=
for version in $(apt-cache showsrc libpng1.6 | sed -n 's/^Version: //p'); do
  if (cd "$work" && apt-get source --download-only -q "libpng1.6=$version" >/dev/null 2>&1); then
    fetched=$version
    break
  fi
done
[ -n "$fetched" ] || { echo "libpng_source: cannot download Debian's libpng1.6 source" >&2; exit 1; }
mkdir -p "$dir"
tar xzf "$work"/libpng1.6_*.orig.tar.gz -C "$dir" --strip-components=1
echo "libpng $fetched unpacked in $dir"
