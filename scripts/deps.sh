#!/usr/bin/env bash
# Installs the Debian packages a job needs, and only those that are missing.
# Usage: scripts/deps.sh build|test|gallery|bench|fuzz|valgrind|package|windows
set -euo pipefail

packages=(cmake make g++ libpng-dev zlib1g-dev libgtest-dev frei0r-plugins-dev)
case "${1:-build}" in
  # The video tests run ffmpeg; the gallery's check opens it in Chromium; the
  # frei0r plugins are checked inside ffmpeg and melt, beside frei0r's own;
  # the install test builds the C example with pkg-config, and the package's
  # dependencies come from dpkg-shlibdeps, which needs file.
  test) packages+=(ffmpeg chromium python3 melt frei0r-plugins pkg-config dpkg-dev file) ;;
  gallery) packages+=(ffmpeg) ;;
  bench) packages+=(libbenchmark-dev frei0r-plugins python3) ;;
  fuzz) packages+=(clang libclang-rt-dev llvm) ;;
  valgrind) packages+=(valgrind) ;;
  package) packages+=(dpkg-dev file) ;;
  # The Windows cross-build and its tests under wine; libpng's source comes
  # from scripts/libpng_source.sh.
  windows) packages+=(g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine64 python3) ;;
esac

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing missing packages: ${missing[*]}"
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "deps: need root or sudo to install ${missing[*]}" >&2; exit 1; }
  sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q
"${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
