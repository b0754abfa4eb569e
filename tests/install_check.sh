#!/usr/bin/env bash
# cmake --install into a temporary prefix, then everything from there alone:
# the example host built with pkg-config and run, the installed fxhost moved
# to another prefix, and a frei0r plugin inside ffmpeg against fxhost.
# Usage: install_check.sh BUILD_DIR SOURCE_DIR LIBDIR
set -euo pipefail

build=$1 source=$2 libdir=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
here=$(dirname "$0")
# shellcheck source=tests/install_common.sh
source "$here/install_common.sh"

prefix=$tmp/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

for f in bin/fxhost "$libdir/libeffects.so" "$libdir/libeffects-frei0r.so" "$libdir/pkgconfig/effects.pc" \
    include/effects/effects.h share/effects/coffee.png lib/frei0r-1/fx_posterize.so; do
    [ -f "$prefix/$f" ] || fail "not installed: $f"
done
[ "$(ls "$prefix/lib/frei0r-1" | wc -l)" = 36 ] || fail "expected 36 frei0r plugins in lib/frei0r-1"

# The example sees nothing of the source tree: only what pkg-config gives.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
module=$(pkg-config --variable=module effects)
[ "$(realpath "$module")" = "$prefix/$libdir/libeffects.so" ] || fail "pkg-config module is $module"
[ "$(realpath "$(pkg-config --variable=frei0rdir effects)")" = "$prefix/lib/frei0r-1" ] || fail "frei0rdir"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Wpedantic -Werror -o "$tmp/list_and_render" "$source/examples/list_and_render.c" \
    $(pkg-config --cflags --libs effects)
"$tmp/list_and_render" "$module" >"$tmp/example.txt" 2>"$tmp/example.log"

expect_line 1 "29 effects" "$tmp/example.txt"
expect_line 2 "RGBControl: red, green, blue" "$tmp/example.txt"
expect_line 12 "Cyclic Triangle Kaleido" "$tmp/example.txt"
expect_line 23 "Posterize: Intensity" "$tmp/example.txt"
expect_line 30 "Tinta Special FX Smooth: Intensity" "$tmp/example.txt"
expect_line 31 "Posterize 64x48 at 0 ms, parameters 255 255 255 255" "$tmp/example.txt"
expect_line 32 "centre pixel: red 253 green 253 blue 253" "$tmp/example.txt"
expect_line 33 "checksum: db68356d" "$tmp/example.txt"
[ "$(wc -l <"$tmp/example.txt")" = 33 ] || fail "the example printed more than expected"
grep -qx "module: Default values for effect Posterize : 255 : 255 : 255 : 255 " "$tmp/example.log" ||
    fail "the module's log line did not reach the example's HostLog"

# The same frame through the installed fxhost has the same checksum.
gradient 64 48 >"$tmp/gradient.raw"
"$prefix/bin/fxhost" render Posterize --in - --size 64x48 --frames 1 --out - \
    <"$tmp/gradient.raw" >"$tmp/fxhost.raw" 2>/dev/null
[ "$(colour_checksum "$tmp/fxhost.raw")" = db68356d ] || fail "fxhost rendered another frame than the example"

# Moved to a prefix of its own, fxhost loads the module of that prefix: the
# only other candidate is the build tree's, compiled in.
cp -a "$prefix" "$tmp/moved"
fxhost_uses_own_module "$tmp/moved" "$libdir" "$tmp"

# A plugin of the moved prefix in ffmpeg: it loads that prefix's bridge and
# module, and draws what fxhost draws.
frei0r_against_fxhost "$tmp/moved/lib/frei0r-1" "$tmp/moved/bin/fxhost" "$tmp/moved/$libdir" "$tmp"
echo "install_check: ok"
