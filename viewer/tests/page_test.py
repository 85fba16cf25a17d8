#!/usr/bin/env python3
"""The HTML page of the demo's dump in a real headless Chromium: the frames and the chart come up,
a search finds the present calls, and a call opens into a tree whose structure expands.

Usage: page_test.py TOV_DUMP TOV_DEMO
"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from browser import Browser  # noqa: E402

TOV_DUMP, TOV_DEMO = sys.argv[1:3]


class DemoPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.TemporaryDirectory(prefix="tov-viewer-")
        dump = os.path.join(cls.dir.name, "demo.txt")
        with open(dump, "wb") as out:
            subprocess.run([TOV_DEMO], stdout=out, check=True, timeout=120)
        records = subprocess.run([TOV_DUMP, "json", dump], capture_output=True, check=True,
                                 timeout=120).stdout.decode().splitlines()
        records = [json.loads(r) for r in records]
        cls.calls = sum(r["type"] == "call" for r in records)
        cls.frames = records[-1]["frame"] + 1
        cls.per_frame = [sum(r["type"] == "call" and r["frame"] == f for r in records)
                         for f in range(cls.frames)]
        page = os.path.join(cls.dir.name, "demo.html")
        subprocess.run([TOV_DUMP, "html", dump, "-o", page], check=True, timeout=120)
        cls.browser = Browser()
        cls.browser.open("file://" + page)
        cls.browser.wait_for("document.body.dataset.state === 'ready'")

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        cls.dir.cleanup()

    def texts(self, selector, skip=""):
        """The text of each element that matches, without that of its child `skip`."""
        return self.browser.eval(
            f"Array.from(document.querySelectorAll({json.dumps(selector)}), e => e.textContent"
            f".slice({json.dumps(skip)} ? e.querySelector({json.dumps(skip or '*')}).textContent.length : 0))")

    def test_1_frames_and_chart(self):
        b = self.browser
        self.assertIn(f"{self.calls} calls in {self.frames} frames", b.eval(
            "document.getElementById('summary').textContent"))
        self.assertEqual([f"Frame {f}{n}" for f, n in enumerate(self.per_frame)],
                         self.texts("#frames [data-frame]"))
        # Only the rows in view are in the document.
        self.assertLess(len(self.texts("#calls .row")), self.calls)
        # The chart has one bar per frame, in several colours, and a legend.
        self.assertEqual(self.frames, b.eval("tovViewer.chart.bins"))
        colours = b.eval("""(() => {
            const c = document.getElementById('chart');
            const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
            const seen = new Set();
            for (let i = 0; i < d.length; i += 4) if (d[i + 3] === 255) seen.add(d[i] << 16 | d[i + 1] << 8 | d[i + 2]);
            return seen.size; })()""")
        self.assertGreater(colours, 5)
        self.assertGreater(len(self.texts("#legend span")), 1)

    def test_2_search_then_open_a_tree(self):
        b = self.browser
        b.click("#query")
        b.type("QueuePresent, IDXGISwapChain*::Present*")
        b.press_enter()
        b.wait_for("document.getElementById('matches').textContent === '1 of 3 matching calls'")
        b.wait_for("document.querySelector('#calls .call.current') !== null")
        self.assertEqual(["vkQueuePresentKHR", "IDXGISwapChain::Present", "IDXGISwapChain3::Present1"],
                         self.texts("#calls .call .name"))

        b.click("#calls .call.current .name")
        b.wait_for("document.querySelector('#calls .open .tree .n') !== null")
        self.assertEqual(["const VkPresentInfoKHR * pPresentInfo", "= VkResult RESULT  VK_SUCCESS, "],
                         self.texts("#calls .open .tree > .n > .l", ".tw"))
        self.assertEqual([], self.texts("#calls .open .tree .k"))
        b.click("#calls .open .tree .l.kids")
        b.wait_for("document.querySelector('#calls .open .tree .k:not([hidden])') !== null")
        self.assertIn("uint32_t swapchainCount: 1", self.texts("#calls .open .k .l", ".tw"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
