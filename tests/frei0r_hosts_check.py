#!/usr/bin/env python3
"""The frei0r plugins inside ffmpeg and melt, frame for frame against fxhost.

  frei0r_hosts_check.py OPTIONS ffmpeg|melt card|clip
      Every plugin, at its defaults and at 64,191,128,26, over the test card
      (one picture, repeated) or a moving clip with a moving alpha. The
      host's colour bytes must equal fxhost's for the same frames, values
      and times; the host's alpha must equal the input's.
  frei0r_hosts_check.py OPTIONS alignment
      ffmpeg's frei0r filter hands a plugin padded rows as if they were
      contiguous. frei0r's own invert0r against ffmpeg's negate, and one of
      ours against fxhost, are damaged in the same rows at widths whose rows
      are not a multiple of the alignment, and exact at widths whose rows are.
"""
import argparse
import concurrent.futures
import json
import os
import shutil
import subprocess
import sys
import tempfile

WIDTH, HEIGHT, FPS, FRAMES = 320, 240, 25, 5
OTHER = (64, 191, 128, 26)
MELT_ATTEMPTS, MELT_DEADLINE = 8, 6
MELT_RETRIES = []
SYSTEM_FREI0R_DIRS = ("/usr/lib/x86_64-linux-gnu/frei0r-1", "/usr/lib/frei0r-1", "/usr/local/lib/frei0r-1")
# The moving clip: testsrc2's pattern, its alpha running across the picture
# and down it, and shifting every frame. testsrc2 draws even widths only: an
# odd one is cut from the next.
CLIP_FILTER = "format=bgra,crop={w}:{h}:0:0,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='mod(X+2*Y+40*N,256)'"
# A plugin that treats every pixel on its own, so that its damage from the
# alignment fault lands on the same rows as invert0r's.
POINTWISE = ("RGBControl Inverse", "fx_rgb_control_inverse")


class Failure(Exception):
    pass


def run(cmd, env=None, stdin=None, timeout=120):
    # Never the terminal: melt reads keys from its standard input.
    feed = {"input": stdin} if stdin is not None else {"stdin": subprocess.DEVNULL}
    proc = subprocess.run(cmd, capture_output=True, env=env, timeout=timeout, **feed)
    if proc.returncode != 0:
        tail = proc.stderr.decode(errors="replace").strip().splitlines()[-3:]
        raise Failure(f"{os.path.basename(cmd[0])} exited {proc.returncode}: {' / '.join(tail)}")
    return proc


def frei0r_value(v):
    # The bridge takes round(value * 255): v / 255 gives back v exactly.
    return repr(v / 255)


def clip(width, height, frames):
    return run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                f"testsrc2=size={width + width % 2}x{height}:rate={FPS}", "-frames:v", str(frames),
                "-vf", CLIP_FILTER.format(w=width, h=height), "-f", "rawvideo", "-pix_fmt", "bgra", "-"]).stdout


def fxhost(args, effect, values, source, width, height):
    cmd = [args.fxhost, "--quiet", "render", effect, "--in", "-", "--size", f"{width}x{height}",
           "--fps", str(FPS), "--frames", str(len(source) // (width * height * 4)), "--out", "-"]
    if values:
        cmd += ["--params", ",".join(map(str, values))]
    return run(cmd, stdin=source).stdout


def ffmpeg(vf, raw, width, height, env, pix_fmt="bgra"):
    """Renders raw frames through a filter; refuses any pixel format conversion."""
    proc = run(["ffmpeg", "-nostdin", "-v", "verbose", "-f", "rawvideo", "-pix_fmt", pix_fmt,
                "-s", f"{width}x{height}", "-r", str(FPS), "-i", raw, "-vf", vf,
                "-f", "rawvideo", "-pix_fmt", pix_fmt, "-"], env=env)
    if b"auto-inserting" in proc.stderr:
        raise Failure(f"ffmpeg converted the pixels around {vf}")
    return proc.stdout


def frei0r_filter(plugin, values):
    chain = f"frei0r=filter_name={plugin}"
    return chain + (":filter_params=" + "|".join(map(frei0r_value, values)) if values else "")


def melt(plugin, values, nut, frames, out, env):
    # The clip is read as it is (its length stated: nut keeps no duration for
    # the last frame); real_time=-1 renders every frame, in order, on one thread.
    cmd = ["melt", "-silent", nut, f"length={frames}", "in=0", f"out={frames - 1}"]
    if plugin:
        cmd += ["-filter", f"frei0r.{plugin}"]
        cmd += [f"{i}={frei0r_value(v)}" for i, v in enumerate(values or ())]
    cmd += ["-consumer", f"avformat:{out}", "f=rawvideo", "vcodec=rawvideo", "pix_fmt=bgra",
            "real_time=-1", "an=1"]
    # melt 7.12's avformat consumer starts its thread before it marks itself
    # running. When melt's main thread is held up in between (a loaded
    # machine), the consumer's thread finds itself stopped and ends with
    # nothing written, or melt then waits forever on a consumer that has
    # ended; with or without any filter. Such a run is tried again, and the
    # melt tests run alone (RUN_SERIAL) so that the race stays rare.
    for attempt in range(MELT_ATTEMPTS):
        if attempt:
            MELT_RETRIES.append(plugin)
        try:
            run(cmd, env=env, timeout=MELT_DEADLINE)
        except subprocess.TimeoutExpired:
            continue
        with open(out, "rb") as f:
            data = f.read()
        if data or attempt == MELT_ATTEMPTS - 1:
            return data
    raise Failure(f"melt {plugin or 'alone'} did not finish in {MELT_ATTEMPTS} runs of {MELT_DEADLINE} s")


def first_difference(a, b, width, step=4):
    """(x, y) of the first pixel where a and b differ, step bytes a pixel, or None."""
    for i in range(min(len(a), len(b))):
        if a[i] != b[i]:
            pixel = i // step
            return pixel % width, pixel // width
    return None


def colour(frame):
    masked = bytearray(frame)
    masked[3::4] = bytes(len(frame) // 4)
    return masked


def compare(got, want, source, width, height, check_colour=True):
    """The first fault found, as text, or None."""
    size = width * height * 4
    for who, frames in (("host", got), ("fxhost", want)):
        if len(frames) != len(source):
            return f"{who} gave {len(frames) / size:g} frames of {width}x{height}, not {len(source) // size}"
    for k in range(len(source) // size):
        g, w, s = (x[k * size:(k + 1) * size] for x in (got, want, source))
        if check_colour and colour(g) != colour(w):
            x, y = first_difference(colour(g), colour(w), width)
            i = (y * width + x) * 4
            count = sum(1 for p in range(0, size, 4) if g[p:p + 3] != w[p:p + 3])
            return (f"frame {k}: colour differs first at pixel ({x},{y}): host BGR {tuple(g[i:i + 3])}, "
                    f"fxhost {tuple(w[i:i + 3])}; {count} pixels differ")
        if g[3::4] != s[3::4]:
            x, y = first_difference(g[3::4], s[3::4], width, step=1)
            return f"frame {k}: alpha at pixel ({x},{y}) is {g[(y * width + x) * 4 + 3]}, not the input's"
    return None


def plugins(args):
    """(effect, plugin, random) for every plugin built."""
    with open(args.names) as f:
        names = [line.rstrip("\n").split("\t") for line in f if line.strip()]
    facts = {e["name"]: e for e in json.loads(run([args.fxhost, "list", "--json"]).stdout)}
    built = sorted(n[:-3] for n in os.listdir(args.plugins) if n.startswith("fx_") and n.endswith(".so"))
    if sorted(p for _, p in names) != built:
        raise Failure(f"the plugin directory holds {built}, the names file {[p for _, p in names]}")
    missing = [e for e, _ in names if e not in facts]
    if missing:
        raise Failure(f"fxhost does not know {missing}")
    return [(e, p, facts[e]["random"]) for e, p in names]


def check_host(args):
    env = dict(os.environ, FREI0R_PATH=args.plugins)
    work = tempfile.mkdtemp(prefix="frei0r_hosts_")
    try:
        if args.input == "card":
            source = run([args.card, str(WIDTH), str(HEIGHT), str(FRAMES)]).stdout
        else:
            source = clip(WIDTH, HEIGHT, FRAMES)
        raw = os.path.join(work, "in.raw")
        with open(raw, "wb") as f:
            f.write(source)
        nut = os.path.join(work, "in.nut")
        if args.host == "melt":
            run(["ffmpeg", "-nostdin", "-v", "error", "-f", "rawvideo", "-pix_fmt", "bgra", "-s",
                 f"{WIDTH}x{HEIGHT}", "-r", str(FPS), "-i", raw, "-c:v", "rawvideo", "-pix_fmt", "bgra", nut])

        def render(plugin, values, tag):
            if args.host == "ffmpeg":
                return ffmpeg(frei0r_filter(plugin, values) if plugin else "null", raw, WIDTH, HEIGHT, env)
            return melt(plugin, values, nut, FRAMES, os.path.join(work, f"{tag}.raw"), env)

        # The host alone must hand the frames back untouched.
        if render(None, None, "alone") != source:
            raise Failure(f"{args.host} does not give back its input unchanged")

        def job(entry, values):
            effect, plugin, random = entry
            tag = f"{plugin}_{'default' if values is None else 'other'}"
            want = fxhost(args, effect, values, source, WIDTH, HEIGHT)
            got = render(plugin, values, tag)
            fault = compare(got, want, source, WIDTH, HEIGHT, check_colour=not random)
            setting = "defaults" if values is None else ",".join(map(str, values))
            return f"{plugin} at {setting}: {fault}" if fault else None

        entries = plugins(args)
        with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count() or 2) as pool:
            futures = [pool.submit(job, e, v) for e in entries for v in (None, OTHER)]
            faults = []
            for future in futures:
                try:
                    fault = future.result()
                except (Failure, subprocess.TimeoutExpired) as e:
                    fault = str(e)
                if fault:
                    faults.append(fault)
        random = [p for _, p, r in entries if r]
        print(f"{args.host}, {args.input}: {len(entries)} plugins x 2 settings x {FRAMES} frames of "
              f"{WIDTH}x{HEIGHT}; colour not compared for {', '.join(random)} (random)")
        if MELT_RETRIES:
            print(f"melt runs tried again after ending with nothing or hanging: {len(MELT_RETRIES)}")
        for fault in faults:
            print("FAIL", fault)
        return not faults
    finally:
        shutil.rmtree(work, ignore_errors=True)


def damaged_rows(got, want, width, height):
    """Per frame, the first row whose colour differs, or None."""
    size = width * height * 4
    rows = []
    for k in range(len(want) // size):
        frame = slice(k * size, (k + 1) * size)
        at = first_difference(colour(got[frame]), colour(want[frame]), width)
        rows.append(None if at is None else at[1])
    return rows


def check_alignment(args):
    system = next((d for d in SYSTEM_FREI0R_DIRS if os.path.exists(os.path.join(d, "invert0r.so"))), None)
    if not system:
        raise Failure(f"invert0r.so is in none of {SYSTEM_FREI0R_DIRS}")
    theirs = dict(os.environ, FREI0R_PATH=system)
    ours = dict(os.environ, FREI0R_PATH=args.plugins)
    effect, plugin = POINTWISE
    ok = True
    work = tempfile.mkdtemp(prefix="frei0r_align_")
    try:
        # 320 and 336 pixels: rows of 1280 and 1344 bytes, multiples of 64.
        # 321 and 328: 1284 and 1312 bytes; 1312 is a multiple of 32 only.
        for width, aligned in ((320, True), (321, False), (328, False), (336, True)):
            source = clip(width, HEIGHT, 3)
            raw = os.path.join(work, f"in{width}.raw")
            with open(raw, "wb") as f:
                f.write(source)
            # invert0r takes RGBA: the same bytes, so labelled, reach it unconverted;
            # inverting treats the three colour bytes alike.
            invert0r = ffmpeg("frei0r=filter_name=invert0r", raw, width, HEIGHT, theirs, "rgba")
            negate = ffmpeg("negate", raw, width, HEIGHT, theirs, "rgba")
            got = ffmpeg(frei0r_filter(plugin, None), raw, width, HEIGHT, ours)
            want = fxhost(args, effect, None, source, width, HEIGHT)
            if any(len(x) != len(source) for x in (invert0r, negate, got, want)):
                raise Failure(f"width {width}: a render lost or gained frames")
            theirs_rows = damaged_rows(invert0r, negate, width, HEIGHT)
            ours_rows = damaged_rows(got, want, width, HEIGHT)
            print(f"width {width} ({width * 4} bytes a row): first damaged row per frame: "
                  f"invert0r {theirs_rows}, {plugin} {ours_rows}")
            if aligned and (any(r is not None for r in theirs_rows) or any(r is not None for r in ours_rows)):
                print(f"FAIL width {width}: aligned rows, yet a plugin's output differs")
                ok = False
            if not aligned and (None in theirs_rows or ours_rows != theirs_rows):
                print(f"FAIL width {width}: expected both plugins damaged from the same rows")
                ok = False
        return ok
    finally:
        shutil.rmtree(work, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--fxhost", required=True)
    parser.add_argument("--card", required=True, help="the program that writes the test card")
    parser.add_argument("--plugins", required=True, help="the directory of fx_*.so")
    parser.add_argument("--names", required=True, help="plugin_names.txt")
    parser.add_argument("host", choices=("ffmpeg", "melt", "alignment"))
    parser.add_argument("input", nargs="?", choices=("card", "clip"), default="card")
    args = parser.parse_args()
    for program in ("ffmpeg", "melt"):
        if not shutil.which(program):
            print(f"{program} is not installed: scripts/deps.sh test installs it")
            return 1
    try:
        ok = check_alignment(args) if args.host == "alignment" else check_host(args)
    except (Failure, subprocess.TimeoutExpired) as e:
        print("FAIL", e)
        ok = False
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
