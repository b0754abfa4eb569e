#!/usr/bin/env python3
"""scripts/bench_report.py: regressions found by ratio, and the README's
generated tables replaced between their markers."""
import io
import json
import os
import sys
import tempfile
import unittest
from contextlib import redirect_stdout

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scripts"))
import bench_report  # noqa: E402


def write_run(directory, name, times):
    path = os.path.join(directory, name)
    runs = [{"name": n, "run_type": "iteration", "real_time": t, "time_unit": unit} for n, (t, unit) in times.items()]
    with open(path, "w") as f:
        json.dump({"context": {}, "benchmarks": runs}, f)
    return path


class BenchReport(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.baseline = write_run(self.dir.name, "baseline.json", {
            "memcpy/32": (0.3, "ms"), "memcpy/16": (100.0, "us"),
            "effect/Hue/32": (0.6, "ms"), "effect/Hue/565": (0.2, "ms"),
            "effect/Blur/32": (0.9, "ms"), "first/Hue/32/iterations:3": (5.0, "ms"),
            "effect/Gone/32": (0.3, "ms"), "effect/Nothing/565": (0.0001, "ms")})

    def tearDown(self):
        self.dir.cleanup()

    def run_check(self, current):
        out = io.StringIO()
        with redirect_stdout(out):
            code = bench_report.check(self.baseline, write_run(self.dir.name, "now.json", current))
        return code, out.getvalue()

    def test_ratios_not_times_decide(self):
        # Everything twice as slow, memcpy too: no regression. Hue at 565
        # keeps its time while memcpy got faster: its ratio is 2.5x worse.
        code, text = self.run_check({
            "memcpy/32": (0.6, "ms"), "memcpy/16": (40.0, "us"),
            "effect/Hue/32": (1.2, "ms"), "effect/Hue/565": (0.2, "ms"), "effect/Blur/32": (1.8, "ms")})
        self.assertEqual(code, 1)
        self.assertIn("regression: Hue at 565 bits: 5.00x memcpy, baseline 2.00x (+150%)", text)
        self.assertNotIn("Hue at 32", text)
        self.assertNotIn("Blur", text)
        self.assertIn("not in this run: Gone/32", text)
        self.assertIn("3 cases compared, 1 regressions", text)

    def test_within_a_quarter_passes(self):
        code, text = self.run_check({
            "memcpy/32": (0.3, "ms"), "memcpy/16": (0.1, "ms"),
            "effect/Hue/32": (0.74, "ms"), "effect/Hue/565": (0.1, "ms"), "effect/Blur/32": (0.9, "ms")})
        self.assertEqual(code, 0, text)

    def test_readme_tables_between_markers(self):
        sweep = write_run(self.dir.name, "sweep.json", {
            "memcpy/32/320x240": (10.0, "us"), "memcpy/32/1920x1080": (0.3, "ms"), "memcpy/32/16x16": (0.05, "us"),
            "size/Hue/32/320x240": (25.0, "us"), "size/Hue/32/1920x1080": (0.6, "ms"),
            "size/Hue/32/16x16": (0.4, "us")})
        path = os.path.join(self.dir.name, "README.md")
        with open(path, "w") as f:
            f.write("intro\n<!-- bench-effects:start -->\nold\n<!-- bench-effects:end -->\nmiddle\n"
                    "<!-- bench-sizes:start -->\n<!-- bench-sizes:end -->\nend\n")
        bench_report.readme(path, self.baseline, self.baseline, sweep)
        text = open(path).read()
        self.assertNotIn("old", text)
        self.assertIn("| Hue | 32 | 0.600 | 2.00 | 0.600 | 2.00 |\n| Hue | 565 | 0.200 | 2.00 |", text)
        self.assertNotIn("Nothing", text)
        self.assertIn("| Effect | Depth | 320x240 | 1920x1080 | 16x16 us |\n|---|---|---|---|---|\n"
                      "| Hue | 32 | 2.50 | 2.00 | 0.4 |", text)
        self.assertTrue(text.startswith("intro\n") and text.endswith("end\n"))

    def test_repeated_cases_read_as_their_median(self):
        path = os.path.join(self.dir.name, "repeated.json")
        runs = [{"name": "effect/Hue/32", "run_type": "iteration", "real_time": t, "time_unit": "ms"}
                for t in (0.9, 0.5, 0.6)]
        runs.append({"name": "effect/Hue/32_median", "run_type": "aggregate", "real_time": 7.0, "time_unit": "ms"})
        with open(path, "w") as f:
            json.dump({"benchmarks": runs}, f)
        self.assertEqual(bench_report.load(path), {"effect/Hue/32": 0.6})

    def test_readme_puts_avx2_before_scalar(self):
        avx2 = write_run(self.dir.name, "avx2.json", {"memcpy/32": (0.3, "ms"), "effect/Hue/32": (0.9, "ms")})
        path = os.path.join(self.dir.name, "README.md")
        with open(path, "w") as f:
            f.write("<!-- bench-effects:start -->\n<!-- bench-effects:end -->\n")
        bench_report.readme(path, self.baseline, self.baseline, None, avx2)
        with open(path) as f:
            text = f.read()
        self.assertIn("| Effect | Depth | ms/frame | x memcpy | AVX2 ms | AVX2 x memcpy | scalar ms | scalar x memcpy |\n"
                      "|---|---|---|---|---|---|---|---|\n", text)
        self.assertIn("| Hue | 32 | 0.600 | 2.00 | 0.900 | 3.00 | 0.600 | 2.00 |\n"
                      "| Hue | 565 | 0.200 | 2.00 | | | 0.200 | 2.00 |", text)


if __name__ == "__main__":
    unittest.main()
