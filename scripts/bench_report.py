#!/usr/bin/env python3
"""Reads effects_bench's JSON (Google Benchmark's own output).

  bench_report.py check BASELINE RESULTS
      every effect's ratio to memcpy of the same depth in RESULTS against
      BASELINE; a ratio more than 25% worse is a regression (exit 1)
  bench_report.py readme README RESULTS [SCALAR_RESULTS] [SWEEP_RESULTS] [AVX2_RESULTS]
      rewrites the README's generated tables between their markers; the
      runs capped at AVX2 and at scalar get columns beside the best level
"""
import json
import re
import statistics
import sys

WORSE = 1.25
DEPTH_BYTES = {"32": 4, "565": 2, "555": 2}
UNIT_MS = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}


def load(path):
    """Case name -> real time in ms, the median where a case was repeated;
    the iteration-count suffix dropped."""
    with open(path) as f:
        data = json.load(f)
    runs = {}
    for run in data.get("benchmarks", []):
        if run.get("run_type", "iteration") != "iteration" or run.get("error_occurred"):
            continue
        name = re.sub(r"/iterations:\d+$", "", run["name"])
        runs.setdefault(name, []).append(run["real_time"] * UNIT_MS[run.get("time_unit", "ns")])
    return {name: statistics.median(ms) for name, ms in runs.items()}


def ratios(times):
    """(effect, depth) -> (ms, x memcpy) for every effect case."""
    out = {}
    for name, ms in times.items():
        parts = name.split("/")
        if len(parts) != 3 or parts[0] != "effect" or parts[2] not in DEPTH_BYTES:
            continue
        copy = times.get("memcpy/%d" % (DEPTH_BYTES[parts[2]] * 8))
        if copy and ms >= 0.001:  # effects that draw nothing at a depth are left out
            out[(parts[1], parts[2])] = (ms, ms / copy)
    return out


def check(baseline_path, results_path):
    baseline, now = ratios(load(baseline_path)), ratios(load(results_path))
    if not now:
        print("bench-check: no effect cases with a memcpy baseline in %s" % results_path)
        return 1
    regressions, compared = [], 0
    for key in sorted(now):
        if key not in baseline:
            continue
        compared += 1
        before, after = baseline[key][1], now[key][1]
        if after > before * WORSE:
            regressions.append("%s at %s bits: %.2fx memcpy, baseline %.2fx (%+.0f%%)"
                               % (key[0], key[1], after, before, (after / before - 1) * 100))
    for line in regressions:
        print("regression: " + line)
    missing = sorted(set(baseline) - set(now))
    if missing:
        print("not in this run: " + ", ".join("%s/%s" % k for k in missing))
    print("bench-check: %d cases compared, %d regressions (worse by more than %d%%)"
          % (compared, len(regressions), round((WORSE - 1) * 100)))
    return 1 if regressions else 0


def effects_table(results, levels):
    """levels: (label, results) of runs at capped vector levels, each given a
    pair of columns beside the best level's."""
    now = ratios(results)
    others = [(label, ratios(run)) for label, run in levels if run]
    head = "| Effect | Depth | ms/frame | x memcpy |" + "".join(
        " %s ms | %s x memcpy |" % (label, label) for label, _ in others)
    rows = [head, "|" + "---|" * (head.count("|") - 1)]
    for (effect, depth), (ms, ratio) in sorted(now.items(), key=lambda kv: (kv[0][0].lower(), kv[0][1] != "32")):
        row = "| %s | %s | %.3f | %.2f |" % (effect, depth, ms, ratio)
        for _, other in others:
            s = other.get((effect, depth))
            row += " %.3f | %.2f |" % s if s else " | |"
        rows.append(row)
    copies = ", ".join("%s bits %.3f ms" % (bits, results["memcpy/" + bits])
                       for bits in ("32", "16") if "memcpy/" + bits in results)
    return "\n".join(rows) + "\n\nmemcpy of the frame: " + copies + "."


def sweep_table(times):
    sizes = []
    for name in times:
        m = re.match(r"memcpy/32/(\d+x\d+)$", name)
        if m and m.group(1) != "16x16":
            sizes.append(m.group(1))
    order = ["320x240", "640x480", "1280x720", "1920x1080", "3840x2160", "1917x1083"]
    sizes = [s for s in order if s in sizes]
    cases = sorted({tuple(n.split("/")[1:3]) for n in times if n.startswith("size/")},
                   key=lambda k: (k[0].lower(), k[1] != "32"))
    head = "| Effect | Depth | " + " | ".join(sizes) + " | 16x16 us |"
    rows = [head, "|" + "---|" * (head.count("|") - 1)]
    for effect, depth in cases:
        bits = DEPTH_BYTES[depth] * 8
        if times.get("size/%s/%s/1920x1080" % (effect, depth), 1.0) < 0.001:
            continue  # draws nothing at this depth
        cells = []
        for size in sizes:
            ms = times.get("size/%s/%s/%s" % (effect, depth, size))
            copy = times.get("memcpy/%d/%s" % (bits, size))
            cells.append("%.2f" % (ms / copy) if ms is not None and copy else "")
        fixed = times.get("size/%s/%s/16x16" % (effect, depth))
        rows.append("| %s | %s | %s | %s |" % (effect, depth, " | ".join(cells),
                                                "%.1f" % (fixed * 1000) if fixed is not None else ""))
    return "\n".join(rows)


def replace_between(text, name, body):
    start, end = "<!-- %s:start -->" % name, "<!-- %s:end -->" % name
    pattern = re.compile(re.escape(start) + ".*?" + re.escape(end), re.S)
    if not pattern.search(text):
        raise SystemExit("bench_report: the README has no %s ... %s markers" % (start, end))
    return pattern.sub(lambda _: start + "\n" + body + "\n" + end, text)


def readme(readme_path, results_path, scalar_path=None, sweep_path=None, avx2_path=None):
    with open(readme_path) as f:
        text = f.read()
    levels = [("AVX2", load(avx2_path) if avx2_path else None),
              ("scalar", load(scalar_path) if scalar_path else None)]
    text = replace_between(text, "bench-effects", effects_table(load(results_path), levels))
    if sweep_path:
        text = replace_between(text, "bench-sizes", sweep_table(load(sweep_path)))
    with open(readme_path, "w") as f:
        f.write(text)
    return 0


def main(argv):
    if len(argv) == 4 and argv[1] == "check":
        return check(argv[2], argv[3])
    if 4 <= len(argv) <= 7 and argv[1] == "readme":
        return readme(*argv[2:])
    sys.stderr.write(__doc__)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
