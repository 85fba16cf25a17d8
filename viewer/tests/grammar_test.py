#!/usr/bin/env python3
"""tov-dump's reader: every golden dump of the repository goes to JSON and back to the same bytes,
odd line shapes land where they belong, and lines it can not place are refused by number.

Usage: grammar_test.py TOV_DUMP SOURCE_DIR TOV_LOG VK_SAMPLE
"""
import glob
import json
import os
import subprocess
import sys
import tempfile
import unittest

TOV_DUMP, SOURCE_DIR, TOV_LOG, VK_SAMPLE = sys.argv[1:5]
LAVAPIPE = "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"
sys.path.insert(0, os.path.dirname(os.path.realpath(TOV_DUMP)))
import dumpgrammar as g  # noqa: E402

with open(os.path.join(os.path.dirname(TOV_DUMP), "call_names.txt")) as f:
    NAMES = frozenset(f.read().split())


def records(text, **options):
    return list(g.read_records(text.splitlines(keepends=True), NAMES, **options))


def round_trip(text, **options):
    return "".join(g.record_text(json.loads(json.dumps(r))) for r in records(text, **options))


def read(path):
    with open(path, encoding="utf-8", errors="surrogateescape", newline="\n") as f:
        return f.read()


class Goldens(unittest.TestCase):
    def test_every_golden_dump_round_trips(self):
        paths = sorted(glob.glob(os.path.join(SOURCE_DIR, "tests", "**", "golden", "**", "*.txt"),
                                 recursive=True))
        dumps = [p for p in paths if "help_text" not in p]  # the host's help text is no dump
        self.assertGreater(len(dumps), 15)
        for path in dumps:
            with self.subTest(path=os.path.relpath(path, SOURCE_DIR)):
                text = read(path)
                # The value printers' goldens hold values alone, with no call around them.
                values = os.path.basename(path) in ("structs.txt", "tags.txt", "enums.txt")
                self.assertEqual(text, round_trip(text, values=values))

    def test_odd_shapes_are_placed(self):
        def node(path, record, *steps):
            rec = records(read(os.path.join(SOURCE_DIR, path)))[record]
            n = rec["args"][steps[0]]
            for step in steps[1:]:
                n = n["children"][step]
            return n

        cases = [
            # golden, record, path to the node, what it must hold
            ("tests/golden/demo.txt", 25, (0, 3),
             {"label": "VkDeviceSize size", "type": "VkDeviceSize", "name": "size", "kind": "number",
              "value": "4352"}),
            ("tests/golden/vulkan/sweep_null.txt", 403, (4,),
             {"kind": "null_array", "name": "ppMaxPrimitiveCounts", "type": "const uint32_t *const *"}),
            ("tests/golden/com/values.txt", 2, (2,),
             {"kind": "numbers", "values": ["0.5", "1", "0.25", "0"]}),
            ("tests/golden/demo.txt", 17, (0, 3),
             {"kind": "handle", "label": "VkRenderPass renderPass"}),
            ("tests/golden/com/sweep_zeroed.txt", 0, (0,),
             {"kind": "object", "interface": "IDXGIAdapter", "capture_id": "0x2a", "name": "pAdapter"}),
            ("tests/golden/com/sweep_zeroed.txt", 0, (4,),
             {"kind": "enum", "names": [], "label": "D3D10_FEATURE_LEVEL1 HardwareLevel"}),
            ("tests/golden/com/objects.txt", 3, (3, 1),
             {"kind": "null", "label": "[1] ", "index": 1}),
        ]
        for path, record, steps, expected in cases:
            with self.subTest(path=path, steps=steps):
                n = node(path, record, *steps)
                self.assertEqual(expected, {k: n.get(k) for k in expected})

        # A member printed at its structure's own indent is the structure's next sibling; a
        # label line that ends in a blank still has its contents.
        values = records(read(os.path.join(SOURCE_DIR, "tests/golden/com/structs.txt")), values=True)
        flat = next(i for i, v in enumerate(values) if "INPUTS * pDesc" in v["node"]["label"])
        values = values[flat:flat + 3]
        self.assertEqual(["group", "group", "group"], [v["node"]["kind"] for v in values])
        element = values[1]["node"]["children"][0]
        self.assertEqual(("[0] ", 0, 3), (element["label"], element["index"], len(element["children"])))


class Streams(unittest.TestCase):
    DUMP = ("vkQueuePresentKHR\n"
            "    const VkPresentInfoKHR * pPresentInfo NULLPTR\n"
            "= VkResult RESULT  VK_SUCCESS, \n"
            "===================Keyframe Applied===================\n"
            "IDXGISwapChain::Present\n"
            "    IDXGISwapChain* self\n"
            "         Capture Time ID: 0x7 IDXGISwapChain\n"
            "    UINT SyncInterval: 1\n"
            "===================Deferred Initialization Ends===================\n"
            "    UINT Flags: 0\n"
            "= HRESULT RESULT : 0\n"
            "####################Frame Boundary####################\n"
            "vkDeviceWaitIdle\n"
            "= VkResult RESULT  VK_SUCCESS, \n")

    def test_frames_and_banners_in_their_places(self):
        recs = records(self.DUMP)
        self.assertEqual([("call", 0), ("banner", 1), ("call", 1), ("frame_boundary", 1), ("call", 2)],
                         [(r["type"], r["frame"]) for r in recs])
        # A banner between two argument lines stays there, inside the call.
        self.assertEqual(["self", "SyncInterval", "banner", "Flags"],
                         [a.get("name", a["kind"]) for a in recs[2]["args"]])
        self.assertEqual(self.DUMP, round_trip(self.DUMP))

    def test_program_output_is_kept_on_request(self):
        lines = self.DUMP.splitlines(keepends=True)
        text = "".join(["starting\n"] + lines[:9] + ["  progress: 50%\n"] + lines[9:] + ["done"])
        with self.assertRaises(g.DumpError) as refused:
            records(text)
        self.assertEqual(1, refused.exception.line)
        recs = records(text, keep_output=True)
        self.assertEqual(text, "".join(g.record_text(r) for r in recs))
        self.assertEqual(("output", "starting"), (recs[0]["type"], recs[0]["text"]))
        self.assertEqual("  progress: 50%", recs[3]["args"][3]["text"])
        self.assertEqual((True, "done"), (recs[-1]["no_line_feed"], recs[-1]["text"]))

    def test_lines_it_can_not_place_are_refused(self):
        head = "vkCmdDraw\n    uint32_t vertexCount: 3\n"
        cases = [
            ("Hello, world\n", 1, "neither a call's name"),
            ("vkNotAFunction\n", 1, "not the name of a call"),
            ("    uint32_t vertexCount: 3\n", 1, "no call above it"),
            (head + "      uint32_t x: 1\n", 3, "not a multiple of 4"),
            (head + "            uint32_t x: 1\n", 3, "from level 1 to level 3"),
            (head + "        uint32_t x: 1\n", 3, "below a line that holds a value"),
            (head + " NULLPTR\n", 3, "does not follow the label line of an array"),
            (head + "         ID3D11Device\n", 3, "does not follow its label line"),
            (head + "    uint32_t\tx: 1\n", 3, "a tab"),
            (head + "    uint32_t  x: 1\n", 3, "run of blanks"),
            ("vkDeviceWaitIdle\n= VkResult\n", 2, "a result line is"),
            ("vkDeviceWaitIdle\n= VkResult RESULT : 0\n= VkResult RESULT : 0\n", 3, "second result"),
            ("= VkResult RESULT : 0\n", 1, "no call above it"),
            (head + "    uint32_t instanceCount: 1", 3, "no line feed"),
        ]
        for text, line, reason in cases:
            with self.subTest(text=text):
                with self.assertRaises(g.DumpError) as refused:
                    records(text)
                self.assertEqual(line, refused.exception.line)
                self.assertIn(reason, refused.exception.reason)

    def test_command_line(self):
        with tempfile.TemporaryDirectory() as tmp:
            bad = os.path.join(tmp, "bad.txt")
            with open(bad, "w") as f:
                f.write("vkCmdDraw\nprogram says hi\n")
            run = subprocess.run([TOV_DUMP, "json", bad], capture_output=True, text=True, timeout=60)
            self.assertEqual(1, run.returncode)
            self.assertRegex(run.stderr, r"bad\.txt:2: 'program says hi' is neither")
            run = subprocess.run([TOV_DUMP, "text"], input='{"type":"call"}\n', capture_output=True,
                                 text=True, timeout=60)
            self.assertEqual(1, run.returncode)
            self.assertIn("<stdin>:1: not a record of tov-dump json", run.stderr)
            run = subprocess.run([TOV_DUMP, "jsn"], capture_output=True, text=True, timeout=60)
            self.assertEqual(2, run.returncode)
            self.assertIn("choose from 'json', 'text', 'html'", run.stderr)

    def test_tov_log_exports_a_real_program(self):
        """The sample through the Vulkan loader: its calls, and its own two lines kept."""
        with tempfile.TemporaryDirectory() as tmp:
            out = os.path.join(tmp, "calls.jsonl")
            # Under the sanitizers: what Mesa's driver leaves behind at exit is not this test's.
            env = dict(os.environ, VK_ICD_FILENAMES=LAVAPIPE, VK_DRIVER_FILES=LAVAPIPE,
                       ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0")
            subprocess.run([TOV_LOG, "--json", out, "--", VK_SAMPLE], env=env, check=True,
                           capture_output=True, timeout=120)
            with open(out) as f:
                recs = [json.loads(line) for line in f]
        self.assertIn("vkCreateInstance", {r.get("name") for r in recs})
        self.assertEqual(2, sum(r["type"] == "output" for r in recs))
        self.assertTrue(any(r["type"] == "output" and r["text"].startswith("computed: ") for r in recs))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
