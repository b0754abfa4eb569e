#!/usr/bin/env python3
"""Builds a gallery with fxhost and checks it in headless Chromium.

    gallery_check.py FXHOST [--chromium PATH] [--keep]

The gallery is made in a temporary directory, with a small benchmark file so
that the chart is drawn. Chromium, driven over its DevTools pipe, loads the
page and reports every picture that is not loaded and decoded at the size its
attributes give, the chart's bars, and any console error. A copy with one
picture truncated and one animation deleted must then fail, naming both.
Exit status 0 when all holds, 77 when Chromium is missing; problems are
printed one a line.
"""

import argparse
import fcntl
import json
import os
import select
import shutil
import subprocess
import sys
import tempfile
import time

# Three effects, each at both depths, and the two copies: eight bars.
BENCH = {
    "context": {"date": "2024-01-02T03:04:05+00:00", "host_name": "checker", "num_cpus": 2,
                "mhz_per_cpu": 3000, "library_build_type": "release"},
    "benchmarks": [
        {"name": "memcpy/32", "run_type": "iteration", "real_time": 0.5, "time_unit": "ms"},
        {"name": "memcpy/16", "run_type": "iteration", "real_time": 250.0, "time_unit": "us"},
        {"name": "effect/RGBControl/32", "run_type": "iteration", "real_time": 1.5, "time_unit": "ms"},
        {"name": "effect/RGBControl/565", "run_type": "iteration", "real_time": 1.0, "time_unit": "ms"},
        {"name": "effect/Solarize/32", "run_type": "iteration", "real_time": 2.0, "time_unit": "ms"},
        {"name": "effect/Solarize/565", "run_type": "iteration", "real_time": 1.25, "time_unit": "ms"},
        {"name": "effect/MotionBlur/32", "run_type": "iteration", "real_time": 3.0, "time_unit": "ms"},
        {"name": "effect/MotionBlur/565", "run_type": "iteration", "real_time": 2.5, "time_unit": "ms"},
    ],
}
EXPECTED_BARS = 8
EXPECTED_NAMES = 38

# Run in the page after its load event: every picture must be complete, decode,
# have its attributes' size and be opaque in its last corner (a truncated
# file decodes partly, leaving the rest transparent).
CHECK_SCRIPT = r"""
(async () => {
  const problems = [];
  const canvas = document.createElement('canvas');
  const context = canvas.getContext('2d', {willReadFrequently: true});
  const images = [...document.querySelectorAll('img')];
  for (const img of images) {
    const name = img.getAttribute('src');
    const w = Number(img.getAttribute('width')), h = Number(img.getAttribute('height'));
    if (!img.dataset.check) problems.push(name + ': no data-check attribute');
    if (!img.complete || img.naturalWidth === 0) { problems.push(name + ': not loaded'); continue; }
    try { await img.decode(); } catch (e) { problems.push(name + ': does not decode'); continue; }
    if (img.naturalWidth !== w || img.naturalHeight !== h) {
      problems.push(`${name}: ${img.naturalWidth}x${img.naturalHeight}, the page says ${w}x${h}`);
      continue;
    }
    canvas.width = w; canvas.height = h;
    context.clearRect(0, 0, w, h);
    context.drawImage(img, 0, 0);
    if (context.getImageData(w - 1, h - 1, 1, 1).data[3] !== 255) problems.push(name + ': only partly decoded');
  }
  for (const video of document.querySelectorAll('video')) {
    const name = video.getAttribute('src');
    if (video.readyState < 2) problems.push(name + ': video not ready');
    else if (video.videoWidth !== Number(video.getAttribute('width'))) problems.push(name + ': wrong video width');
  }
  const bars = document.querySelectorAll('svg.chart rect.bar').length;
  const names = document.querySelectorAll('article.card h2').length;
  const remote = [...document.querySelectorAll('[src], [href]')]
    .map(e => e.getAttribute('src') || e.getAttribute('href')).filter(u => /^[a-z]+:/i.test(u));
  for (const u of remote) problems.push('refers outside the gallery: ' + u);
  return {problems, images: images.length,
          animations: images.filter(i => i.dataset.check === 'animation').length, bars, names};
})()
"""


class Browser:
    """Headless Chromium over --remote-debugging-pipe: JSON messages ending in NUL."""

    def __init__(self, chromium, profile):
        # Chromium reads commands on descriptor 3 and answers on 4.
        to_browser, self.commands = os.pipe()
        self.replies, from_browser = os.pipe()
        high = [fcntl.fcntl(fd, fcntl.F_DUPFD_CLOEXEC, 10) for fd in (to_browser, from_browser)]
        os.close(to_browser)
        os.close(from_browser)

        def descriptors():
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)

        args = [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--disable-extensions", "--allow-file-access-from-files", "--remote-debugging-pipe",
                "--user-data-dir=" + profile, "about:blank"]
        self.process = subprocess.Popen(args, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, preexec_fn=descriptors, close_fds=False)
        for fd in high:
            os.close(fd)
        self.buffer = b""
        self.next_id = 0
        self.events = []
        self.session = None

    def send(self, method, params=None, session=True, timeout=30):
        self.next_id += 1
        message = {"id": self.next_id, "method": method, "params": params or {}}
        if session and self.session:
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        while True:
            reply = self.receive(timeout)
            if reply.get("id") == self.next_id:
                if "error" in reply:
                    raise RuntimeError(f"{method}: {reply['error'].get('message')}")
                return reply.get("result", {})
            self.events.append(reply)

    def receive(self, timeout):
        deadline = time.monotonic() + timeout
        while b"\0" not in self.buffer:
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self.replies], [], [], left)[0]:
                raise TimeoutError("Chromium did not answer in time")
            chunk = os.read(self.replies, 1 << 16)
            if not chunk:
                raise RuntimeError("Chromium closed its pipe")
            self.buffer += chunk
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def wait_event(self, method, timeout):
        for i, event in enumerate(self.events):
            if event.get("method") == method:
                return self.events.pop(i)
        while True:
            event = self.receive(timeout)
            if event.get("method") == method:
                return event
            self.events.append(event)

    def open_tab(self):
        target = self.send("Target.createTarget", {"url": "about:blank"}, session=False)["targetId"]
        self.session = self.send("Target.attachToTarget", {"targetId": target, "flatten": True},
                                 session=False)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.send(domain + ".enable")

    def check_page(self, path, timeout=60):
        """Loads the page and returns the check's findings, console errors among its problems."""
        self.events = []
        self.send("Page.navigate", {"url": "file://" + os.path.abspath(path)})
        self.wait_event("Page.loadEventFired", timeout)
        result = self.send("Runtime.evaluate", {"expression": CHECK_SCRIPT, "awaitPromise": True,
                                                "returnByValue": True}, timeout=timeout)
        if "exceptionDetails" in result:
            raise RuntimeError("the check script failed: " + json.dumps(result["exceptionDetails"]))
        findings = result["result"]["value"]
        for event in self.events:
            method, params = event.get("method"), event.get("params", {})
            if method == "Log.entryAdded" and params["entry"].get("level") == "error":
                entry = params["entry"]
                findings["problems"].append(f"console: {entry.get('text')} {entry.get('url', '')}".strip())
            elif method == "Runtime.consoleAPICalled" and params.get("type") in ("error", "assert"):
                text = " ".join(str(a.get("value", a.get("description", ""))) for a in params.get("args", []))
                findings["problems"].append("console: " + text)
            elif method == "Runtime.exceptionThrown":
                findings["problems"].append("console: " + params["exceptionDetails"].get("text", "exception"))
        return findings

    def close(self):
        try:
            self.send("Browser.close", session=False, timeout=5)
        except (RuntimeError, TimeoutError, OSError):
            pass
        try:
            self.process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self.commands)
        os.close(self.replies)


def break_copy(good, bad):
    """A copy of the gallery (hard links) with one still truncated and one animation gone."""
    shutil.copytree(good, bad, copy_function=os.link)
    pictures = sorted(os.listdir(os.path.join(bad, "pictures")))
    still = next(p for p in pictures if p.endswith("-photo-defaults.png"))
    animation = next(p for p in pictures if p.endswith(".webp"))
    path = os.path.join(bad, "pictures", still)
    with open(path, "rb") as f:
        data = f.read()
    os.unlink(path)  # the good copy's file stays whole
    with open(path, "wb") as f:
        f.write(data[: len(data) // 2])
    os.unlink(os.path.join(bad, "pictures", animation))
    return "pictures/" + still, "pictures/" + animation


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("fxhost")
    parser.add_argument("--chromium", default="/usr/bin/chromium")
    parser.add_argument("--keep", action="store_true", help="keep the temporary directory")
    options = parser.parse_args()
    if not os.access(options.chromium, os.X_OK):
        print(f"{options.chromium} not found: no check in a browser (scripts/deps.sh test installs it)")
        return 77

    work = tempfile.mkdtemp(prefix="gallery-check-")
    failures = []
    browser = None
    try:
        bench = os.path.join(work, "results.json")
        with open(bench, "w") as f:
            json.dump(BENCH, f)
        good = os.path.join(work, "gallery")
        start = time.monotonic()
        made = subprocess.run([options.fxhost, "--quiet", "gallery", good, "--bench", bench],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        made_in = time.monotonic() - start
        if made.returncode != 0:
            print(f"fxhost gallery failed ({made.returncode}): {made.stderr.strip()}")
            return 1
        expected_bad = break_copy(good, os.path.join(work, "broken"))

        start = time.monotonic()
        browser = Browser(options.chromium, os.path.join(work, "profile"))
        browser.open_tab()
        findings = browser.check_page(os.path.join(good, "index.html"))
        for problem in findings["problems"]:
            failures.append(problem)
        if findings["bars"] != EXPECTED_BARS:
            failures.append(f"the chart has {findings['bars']} bars, expected {EXPECTED_BARS}")
        if findings["names"] != EXPECTED_NAMES:
            failures.append(f"the page shows {findings['names']} names, expected {EXPECTED_NAMES}")
        if findings["animations"] == 0:
            failures.append("the page has no animation")

        broken = browser.check_page(os.path.join(work, "broken", "index.html"))
        for picture in expected_bad:
            if not any(p.startswith(picture + ":") for p in broken["problems"]):
                failures.append(f"the check missed the broken {picture} (it found: {broken['problems']})")
        checked_in = time.monotonic() - start
        print(f"gallery made in {made_in:.1f} s; {findings['images']} pictures, {findings['animations']} "
              f"animations and {findings['bars']} bars checked in {checked_in:.1f} s; the broken copy gave "
              f"{len(broken['problems'])} problems")
    finally:
        if browser:
            browser.close()
        if options.keep:
            print("kept", work)
        else:
            shutil.rmtree(work, ignore_errors=True)
    for failure in failures:
        print(failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
