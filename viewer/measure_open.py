#!/usr/bin/env python3
"""How long a big dump's page takes to come up in headless Chromium. Not a test: a figure to
read. Makes a dump of about SIZE megabytes by repeating the demo's session, builds its page with
tov-dump html, opens it and reports when the frame list was drawn and when the text was unpacked.

Usage: measure_open.py BUILD_DIR [SIZE_MB]    (e.g. viewer/measure_open.py build 100)
"""
import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "tests"))
from browser import Browser  # noqa: E402


def main() -> None:
    build = sys.argv[1]
    size = int(float(sys.argv[2] if len(sys.argv) > 2 else 100) * 1e6)
    session = subprocess.run([os.path.join(build, "demo", "tov_demo")], capture_output=True,
                             check=True, timeout=120).stdout
    with tempfile.TemporaryDirectory(prefix="tov-measure-") as tmp:
        dump, page = os.path.join(tmp, "big.txt"), os.path.join(tmp, "big.html")
        with open(dump, "wb") as f:
            f.write(session * (size // len(session) + 1))
        start = time.monotonic()
        subprocess.run([os.path.join(build, "viewer", "tov-dump"), "html", dump, "-o", page],
                       check=True)
        built = time.monotonic() - start
        print(f"dump {os.path.getsize(dump) / 1e6:.1f} MB; page {os.path.getsize(page) / 1e6:.1f} MB, "
              f"built in {built:.1f} s")
        with Browser() as browser:
            browser.open("about:blank")
            browser.wait_for("document.readyState === 'complete'")
            start = time.monotonic()
            browser.send("Page.navigate", {"url": "file://" + page})
            browser.wait_for("document.body && document.body.dataset.state === 'indexed' || "
                             "document.body.dataset.state === 'ready'", 120)
            indexed = time.monotonic() - start
            browser.wait_for("document.body.dataset.state === 'ready'", 120)
            ready = time.monotonic() - start
            timings = browser.eval("JSON.stringify(tovViewer.timings)")
            summary = browser.eval("document.getElementById('summary').textContent")
        print(f"{summary}\nframe list drawn {indexed:.2f} s after navigating; text unpacked "
              f"after {ready:.2f} s (page's own clock, ms: {timings})")


if __name__ == "__main__":
    main()
