#!/usr/bin/env python3
"""End-to-end cases of the vkd3d host: real Direct3D 12 programs on vkd3d and the software
Vulkan driver, run without the layer and through tov-log, and compared.

The project's d3d12_sample runs headless; vkd3d's demos run on an X server of the case's own
(Xvfb), for a bounded number of frames: libtov_frame_limit.so closes their window after TOV_FRAMES
presents, and counts them.

Usage: run_case.py CASE --tov-log PATH --sample PATH --frame-limit PATH [--preload LIB]
Set TOV_UPDATE_GOLDEN=1 to rewrite the golden files, then review the diff.
"""
import argparse
import collections
import fnmatch
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tests", "support"))
from cases import check, golden as golden_in, run_case  # noqa: E402

LVP_ICD = "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"
GOLDEN = os.path.join(os.path.dirname(os.path.abspath(__file__)), "golden")
# A logger line: an exported function's name or Interface::Method.
CALL_NAME = re.compile(r"^(?:[A-Z]\w*::\w+|D3D12\w+|vk[A-Z]\w*)$")
MARK = "threads"  # the sample's line between its single-threaded part and its threads
FRAMES = 30
# The demos wait on a fence only if the GPU has not passed it yet when they look.
TIMING_DEPENDENT = {"ID3D12Fence::SetEventOnCompletion"}
CANNOT_LOAD = "tov-vkd3d: cannot load the Logging Layer library"

args = None


class Run:
    def __init__(self, rc, workdir):
        self.rc = rc
        self.workdir = workdir
        self.out = self.file("stdout").decode("utf-8", "replace")
        self.err = self.file("stderr").decode("utf-8", "replace")

    def logger_lines(self):
        return [l for l in self.err.splitlines() if CALL_NAME.match(l)]

    def own_err(self):
        """Standard error without the logger lines: the program's and vkd3d's own."""
        return [l for l in self.err.splitlines() if not CALL_NAME.match(l)]

    def file(self, name):
        path = os.path.join(self.workdir, name)
        if not os.path.exists(path):
            return None
        with open(path, "rb") as f:
            return f.read()


class Display:
    """An X server of this case's own: Xvfb picks a free display and says which."""

    def __enter__(self):
        read, write = os.pipe()
        self.proc = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", "800x600x24",
                                      "-nolisten", "tcp"], pass_fds=(write,),
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as f:
            self.name = ":" + f.readline().strip()
        return self

    def __exit__(self, *exc):
        self.proc.terminate()
        try:
            self.proc.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()


def run(command, through=None, env_extra=None, frames=None, look=None, timeout=120):
    """Runs a program, plainly or through tov-log. With `frames`, the program's window closes
    after that many presents; `look(workdir)` runs while the window is shown."""
    env = dict(os.environ)
    for key in ("TOV_LOGGING_VERBOSE", "TOV_LOGGING_LAYER_LIBRARY", "VK_INSTANCE_LAYERS",
                "VK_LOADER_LAYERS_ENABLE", "LD_PRELOAD", "TOV_FRAMES", "TOV_FRAMES_HANDSHAKE",
                "TOV_LOGGING_ONLY", "TOV_LOGGING_SKIP"):
        env.pop(key, None)
    env["VK_ICD_FILENAMES"] = env["VK_DRIVER_FILES"] = LVP_ICD
    # Leaks of vkd3d and of the driver are theirs, not the host's.
    env["ASAN_OPTIONS"] = env.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    # The sanitizer's runtime must come before the host in the list of libraries, whether or not
    # the program itself was built with it.
    preloads = [args.preload] if args.preload else []
    workdir = tempfile.mkdtemp(prefix="tov_vkd3d_")
    if frames is not None:
        preloads.append(args.frame_limit)
        env["TOV_FRAMES"] = str(frames)
        env["TOV_FRAMES_HANDSHAKE"] = workdir
    if preloads:
        env["LD_PRELOAD"] = ":".join(preloads)
    env.update(env_extra or {})
    # Files, not pipes: nothing waits for a reader while the window is looked at.
    with open(os.path.join(workdir, "stdout"), "wb") as out, \
            open(os.path.join(workdir, "stderr"), "wb") as err:
        proc = subprocess.Popen((through or []) + command, cwd=workdir, env=env, stdout=out, stderr=err)
        deadline = time.monotonic() + timeout
        if look is not None:
            ready = os.path.join(workdir, "ready")
            while not os.path.exists(ready) and proc.poll() is None and time.monotonic() < deadline:
                time.sleep(0.02)
            look(workdir)
            open(os.path.join(workdir, "go"), "w").close()
        try:
            proc.wait(timeout=max(1, deadline - time.monotonic()))
        except subprocess.TimeoutExpired:
            proc.kill()
            proc.wait()
            check(False, f"{command[0]} did not end within {timeout} s")
    return Run(proc.returncode, workdir)


def tov_log(*options):
    return [args.tov_log, *options, "--"]


def golden(name, text):
    golden_in(GOLDEN, name, text)


def header_names(dump):
    """The call names of a verbose dump: lines at column 0 but results and the program's own."""
    return [l for l in dump.splitlines() if CALL_NAME.match(l)]


# --- The project's sample ------------------------------------------------------------------------

def case_sample():
    plain = run([args.sample])
    check(plain.rc == 0, f"the sample fails without the layer ({plain.rc}): {plain.err}")
    # The logger writes its lines out a little later than the program writes its own, so the
    # "threads" line on standard error marks nothing there: the ordinary run has no threads.
    ordinary = run([args.sample, "--threads", "0"], tov_log())
    check(ordinary.rc == plain.rc, f"ordinary run exits {ordinary.rc}, plain run {plain.rc}")
    check(ordinary.out == plain.out, "ordinary run: standard output differs")
    check(ordinary.own_err() == plain.own_err(),
          f"ordinary run: other lines on standard error: {ordinary.own_err()}")
    names = ordinary.logger_lines()
    check(not any(n.startswith("vk") for n in ordinary.logger_lines()),
          "vkd3d's own Vulkan calls are logged without --vulkan")
    # vkd3d's CreateCommandList calls methods of the new list; the program's call is the one line.
    check(names.count("ID3D12Device::CreateCommandList") == 1, "CreateCommandList: not one line")
    if "ID3D12Device::CreateCommandList" in names:
        after = names[names.index("ID3D12Device::CreateCommandList") + 1]
        check(after == "ID3D12GraphicsCommandList2::ClearRenderTargetView",
              f"CreateCommandList is followed by {after!r}, not by the program's next call")

    dump = run([args.sample], tov_log("--verbose"))
    check(dump.rc == plain.rc, f"verbose run exits {dump.rc}, plain run {plain.rc}")
    check(dump.logger_lines() == [], "verbose run: logger lines on standard error")
    single = dump.out[:dump.out.index(MARK + "\n")] if MARK + "\n" in dump.out else dump.out
    golden("sample_verbose.txt", single)
    # The ordinary run, without threads, goes on to release the device after the mark.
    headers = header_names(single)
    check(headers == names[:len(headers)] and names[len(headers):] == ["ID3D12Device::Release"],
          "verbose run: the header lines are not the ordinary run's logger lines")
    # The threads' dumps interleave; before them the program's own lines stand between the calls.
    own = [l for l in single.splitlines() if l and not l.startswith((" ", "= ")) and not CALL_NAME.match(l)]
    check(own + [MARK] == plain.out.splitlines(), f"verbose run: the program's own lines are {own}")


def case_sample_ids():
    command = [args.sample, "--threads", "8", "--fences", "16", "--report-ids"]
    plain = run(command)
    check("capture ids: 0 of 128 fences tagged, all distinct" in plain.out.splitlines(),
          f"plain run: {plain.out!r}")
    for through in (tov_log(), tov_log("--verbose")):
        r = run(command, through)
        check(r.rc == 0, f"{' '.join(through)}: exits {r.rc}")
        check("capture ids: 128 of 128 fences tagged, all distinct" in r.out.splitlines(),
              f"{' '.join(through)}: {[l for l in r.out.splitlines() if l.startswith('capture')]}")


def case_filtered():
    """A filtered run logs exactly the ordinary run's calls that pass the filter. The methods that
    hand out objects still catch them when they are left out (the command list's class is only
    ever handed out by CreateCommandList), and what vkd3d calls inside them stays unlogged."""
    def passes(name):
        return (any(fnmatch.fnmatchcase(name, p) for p in only.split(","))
                and not any(fnmatch.fnmatchcase(name, p) for p in skip.split(",")))
    plain = run([args.sample])
    names = run([args.sample], tov_log()).logger_lines()
    only, skip = "*CommandList*::*,*Queue::*,D3D12CreateDevice", "*::AddRef,*::Release"
    r = run([args.sample], tov_log("--only", only, "--skip", skip))
    check(r.rc == plain.rc and r.out == plain.out, "the filtered run differs from the plain run")
    expected = collections.Counter(n for n in names if passes(n))
    check("ID3D12GraphicsCommandList2::Close" in expected, f"the ordinary run logs {set(names)}")
    check(collections.Counter(r.logger_lines()) == expected,
          f"logged {collections.Counter(r.logger_lines())}, expected {expected}")


def case_both_hosts():
    plain = run([args.sample])
    r = run([args.sample], tov_log("--d3d12", "--vulkan"))
    check(r.rc == plain.rc, f"exits {r.rc}, plain run {plain.rc}")
    check(r.out == plain.out, "standard output differs")
    names = r.logger_lines()
    for name in ("vkCreateInstance", "vkCreateDevice", "vkQueueSubmit", "D3D12CreateDevice",
                 "ID3D12CommandQueue::ExecuteCommandLists"):
        check(name in names, f"no logger line {name}")
    # vkd3d makes its Vulkan device inside D3D12CreateDevice, which is told once it returned.
    if "vkCreateDevice" in names and "D3D12CreateDevice" in names:
        check(names.index("vkCreateDevice") < names.index("D3D12CreateDevice"),
              "D3D12CreateDevice is told before the Vulkan calls it made")


def case_library(path, expected):
    plain = run([args.sample])
    r = run([args.sample], tov_log(), {"TOV_LOGGING_LAYER_LIBRARY": path})
    check(r.rc == plain.rc, f"exits {r.rc}, plain run {plain.rc}")
    check(r.out == plain.out, "standard output differs")
    check(r.logger_lines() == [], "calls logged without the Logging Layer")
    # One message, whose details may follow on indented lines.
    said = [l for l in r.own_err() if l not in plain.own_err() and not l.startswith(" ")]
    check(len(said) == 1 and expected in said[0], f"expected one message {expected!r}, got {said}")


# --- vkd3d's demos --------------------------------------------------------------------------------

def screenshot(display, name):
    """Dumps the screen once the picture stands: the present reaches the X server from the
    driver's own thread, so the dump is taken again until two in a row agree and show more
    than a cleared window."""
    def look(workdir):
        path, previous = os.path.join(workdir, name), None
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            time.sleep(0.2)
            subprocess.run(["xwd", "-root", "-silent", "-display", display, "-out", path],
                           check=True, timeout=30)
            with open(path, "rb") as f:
                image = f.read()
            if image == previous and len(colours(image)) > 3:
                return
            previous = image
    return look


def colours(xwd):
    """The distinct pixel values of an X window dump (32 bits per pixel)."""
    header, ncolours = int.from_bytes(xwd[0:4], "big"), int.from_bytes(xwd[76:80], "big")
    start = header + 12 * ncolours
    return {xwd[i:i + 4] for i in range(start, len(xwd) - 3, 4)}


def presents(r):
    text = r.file("presents")
    return int(text) if text else 0


def case_demo(program, take_screenshot):
    command = [shutil.which(program) or program]
    frames = 1 if take_screenshot else FRAMES
    with Display() as display:
        env = {"DISPLAY": display.name}
        look = screenshot(display.name, "window.xwd") if take_screenshot else (lambda workdir: None)
        plain, ordinary, dump = (run(command, through, env, frames, look)
                                 for through in (None, tov_log(), tov_log("--verbose")))
    check(plain.rc == 0, f"{program} fails without the layer ({plain.rc}): {plain.err}")
    check(presents(plain) >= frames, f"plain run: {presents(plain)} presents")
    for mode, r in (("ordinary", ordinary), ("verbose", dump)):
        check(r.rc == plain.rc, f"{mode} run exits {r.rc}, plain run {plain.rc}")
        check(presents(r) >= frames, f"{mode} run: {presents(r)} presents, at least {frames} expected")
        check(r.own_err() == plain.own_err(),
              f"{mode} run: other lines on standard error: {r.own_err()} / {plain.own_err()}")
    check(ordinary.out == plain.out, "ordinary run: standard output differs")
    if take_screenshot:
        image = plain.file("window.xwd")
        check(image is not None and len(colours(image)) > 3, "the plain run's window shows no picture")
        check(ordinary.file("window.xwd") == image, "ordinary run: the window's pixels differ")
        check(dump.file("window.xwd") == image, "verbose run: the window's pixels differ")
    names = set(ordinary.logger_lines()) - TIMING_DEPENDENT
    golden(f"{program}_calls.txt", "".join(f"{n}\n" for n in sorted(names)))
    check(set(header_names(dump.out)) - TIMING_DEPENDENT == names,
          "verbose run: the calls told differ from the ordinary run's")
    check(dump.logger_lines() == [], "verbose run: logger lines on standard error")


def main():
    global args
    parser = argparse.ArgumentParser()
    parser.add_argument("case")
    parser.add_argument("--tov-log", required=True)
    parser.add_argument("--sample", required=True)
    parser.add_argument("--frame-limit", required=True)
    parser.add_argument("--preload", default="")
    args = parser.parse_args()
    cases = {
        "sample": case_sample,
        "sample_capture_ids": case_sample_ids,
        "both_hosts": case_both_hosts,
        "filtered": case_filtered,
        "missing_layer_library": lambda: case_library("/nonexistent/liblogging_layer.so", CANNOT_LOAD),
        "unloadable_layer_library": lambda: case_library(LVP_ICD, CANNOT_LOAD),
        "library_without_entry_point": lambda: case_library(
            "libvulkan.so.1", "tov-vkd3d: the library it loaded has no tovGetDispatchTable"),
        "triangle": lambda: case_demo("vkd3d-triangle", True),
        "gears": lambda: case_demo("vkd3d-gears", False),
    }
    run_case(cases, args.case)


if __name__ == "__main__":
    main()
