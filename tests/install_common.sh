# Helpers of install_check.sh and package_check.sh; sourced, not run.

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# expect_line N TEXT FILE: line N of FILE is TEXT exactly.
expect_line() {
    local got
    got=$(sed -n "$1p" "$3")
    [ "$got" = "$2" ] || fail "line $1 of $(basename "$3"): expected '$2', got '$got'"
}

# fxhost_uses_own_module ROOT LIBDIR TMP: ROOT/bin/fxhost, with no
# FXHOST_MODULE, loads ROOT/LIBDIR/libeffects.so and lists every name.
fxhost_uses_own_module() {
    env -u FXHOST_MODULE LD_DEBUG=files "$1/bin/fxhost" list --names >"$3/names.txt" 2>"$3/ld.log"
    grep -q "file=$1/$2/libeffects.so .*dynamically loaded by $1/bin/fxhost" "$3/ld.log" ||
        fail "$1/bin/fxhost did not load its own tree's module"
    [ "$(wc -l <"$3/names.txt")" = 36 ] || fail "$1/bin/fxhost listed $(wc -l <"$3/names.txt") names"
}

# gradient W H: the example host's source frame as raw BGRA.
gradient() {
    python3 - "$1" "$2" <<'EOF'
import sys
w, h = int(sys.argv[1]), int(sys.argv[2])
out = bytearray()
for y in range(h):
    for x in range(w):
        out += bytes([x * 255 // (w - 1), y * 255 // (h - 1), (x + y) * 255 // (w + h - 2), 0])
sys.stdout.buffer.write(out)
EOF
}

# colour_checksum FILE: the example host's checksum, FNV-1a over the blue,
# green and red bytes of raw BGRA.
colour_checksum() {
    python3 - "$1" <<'EOF'
import sys
h = 2166136261
for i, c in enumerate(open(sys.argv[1], "rb").read()):
    if i % 4 != 3:
        h = ((h ^ c) * 16777619) & 0xFFFFFFFF
print("%08x" % h)
EOF
}

# same_colours A B [DIFFERENT_FROM]: raw BGRA files A and B have the same
# size and colour bytes (alpha aside), and differ from DIFFERENT_FROM.
same_colours() {
    python3 - "$@" <<'EOF'
import sys
a, b = (open(p, "rb").read() for p in sys.argv[1:3])
colours = lambda d: bytes(c for i, c in enumerate(d) if i % 4 != 3)
if len(a) != len(b) or len(a) == 0:
    sys.exit("sizes differ: %d and %d bytes" % (len(a), len(b)))
diff = sum(x != y for x, y in zip(colours(a), colours(b)))
if diff:
    sys.exit("%d colour bytes differ" % diff)
if len(sys.argv) > 3 and colours(open(sys.argv[3], "rb").read()) == colours(a):
    sys.exit("the effect left the frames as they were")
EOF
}

# frei0r_against_fxhost PLUGIN_DIR FXHOST LIBDIR TMP: fx_posterize from
# PLUGIN_DIR inside ffmpeg loads the bridge and module of LIBDIR and draws
# four frames of testsrc2 as FXHOST draws Posterize.
frei0r_against_fxhost() {
    local plugins=$1 fxhost=$2 libdir=$3 tmp=$4
    local input=(-nostdin -v error -f lavfi -i testsrc2=size=320x240:rate=25 -frames:v 4)
    ffmpeg "${input[@]}" -vf format=bgra -f rawvideo -pix_fmt bgra -y "$tmp/in.raw"
    FREI0R_PATH=$plugins LD_DEBUG=files ffmpeg "${input[@]}" -vf format=bgra,frei0r=filter_name=fx_posterize \
        -f rawvideo -pix_fmt bgra -y "$tmp/plugin.raw" 2>"$tmp/ffmpeg.log" || {
        grep -v '^ *[0-9]*:' "$tmp/ffmpeg.log" >&2
        fail "ffmpeg with fx_posterize failed"
    }
    grep -q "file=$plugins/fx_posterize.so .*dynamically loaded by" "$tmp/ffmpeg.log" ||
        fail "ffmpeg did not load fx_posterize from $plugins"
    local line module bridge
    line=$(grep -m1 "file=[^ ]*/libeffects.so .*dynamically loaded by" "$tmp/ffmpeg.log") ||
        fail "the plugin's bridge loaded no module"
    module=$(sed -E 's/.*file=([^ ]*) .*/\1/' <<<"$line")
    bridge=$(sed -E 's/.*loaded by ([^ ]*) .*/\1/' <<<"$line")
    [ "$(realpath "$module")" = "$(realpath "$libdir/libeffects.so")" ] || fail "the plugin used the module $module"
    [ "$(realpath "$bridge")" = "$(realpath "$libdir/libeffects-frei0r.so")" ] || fail "the plugin used the bridge $bridge"
    env -u FXHOST_MODULE "$fxhost" render Posterize --in - --size 320x240 --fps 25 --frames 4 --out - \
        <"$tmp/in.raw" >"$tmp/fxhost.raw" 2>/dev/null
    same_colours "$tmp/plugin.raw" "$tmp/fxhost.raw" "$tmp/in.raw" || fail "fx_posterize in ffmpeg and fxhost differ"
}
