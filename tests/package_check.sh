#!/usr/bin/env bash
# The Debian package: cpack -G DEB into a temporary directory, its control
# fields and file list, then its contents unpacked and run from there alone:
# fxhost, pkg-config's paths and a frei0r plugin inside ffmpeg.
# Usage: package_check.sh BUILD_DIR CPACK LIBDIR
set -euo pipefail

build=$1 cpack=$2 libdir=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
here=$(dirname "$0")
# shellcheck source=tests/install_common.sh
source "$here/install_common.sh"

(cd "$tmp" && "$cpack" -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/cpack" >"$tmp/cpack.log" 2>&1) || {
    cat "$tmp/cpack.log" >&2
    fail "cpack failed"
}
debs=("$tmp"/cpack/*.deb)
[ ${#debs[@]} = 1 ] && [ -f "${debs[0]}" ] || fail "cpack made no single .deb"
deb=${debs[0]}
[ "$(basename "$deb")" = effects_0.1.0_amd64.deb ] || fail "package file is $(basename "$deb")"

field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = effects ] || fail "Package: $(field Package)"
[ "$(field Version)" = 0.1.0 ] || fail "Version: $(field Version)"
[ "$(field Architecture)" = amd64 ] || fail "Architecture: $(field Architecture)"
[ "$(field Maintainer)" = "effects developers" ] || fail "Maintainer: $(field Maintainer)"
for dep in libc6 libpng16-16 libstdc++6; do
    field Depends | tr ',' '\n' | grep -q "^ *$dep\b" || fail "Depends lacks $dep: $(field Depends)"
done

dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./|/|' >"$tmp/files.txt"
for f in /usr/bin/fxhost "/usr/$libdir/libeffects.so" "/usr/$libdir/libeffects-frei0r.so" \
    "/usr/$libdir/pkgconfig/effects.pc" /usr/include/effects/effects.h /usr/share/effects/coffee.png \
    /usr/lib/frei0r-1/fx_posterize.so; do
    grep -qx "$f" "$tmp/files.txt" || fail "the package lacks $f"
done
[ "$(grep -c '^/usr/lib/frei0r-1/fx_.*\.so$' "$tmp/files.txt")" = 36 ] || fail "expected 36 frei0r plugins"
grep -v '^/usr/' "$tmp/files.txt" | grep -vx '/' && fail "files outside /usr"

root=$tmp/root
dpkg -x "$deb" "$root"
export PKG_CONFIG_PATH=$root/usr/$libdir/pkgconfig
[ "$(realpath "$(pkg-config --variable=module effects)")" = "$root/usr/$libdir/libeffects.so" ] ||
    fail "pkg-config's module is not the package's"
fxhost_uses_own_module "$root/usr" "$libdir" "$tmp"

frei0r_against_fxhost "$root/usr/lib/frei0r-1" "$root/usr/bin/fxhost" "$root/usr/$libdir" "$tmp"
echo "package_check: ok"
