#!/usr/bin/env python3
"""End-to-end cases of the Vulkan loader host with the real loader and the software driver.

Each case runs an application without the layer and through tov-log, and compares.
Usage: run_case.py CASE --tov-log PATH --sample PATH [--vulkaninfo PATH]
"""
import argparse
import collections
import fnmatch
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tests", "support"))
from cases import check, run_case  # noqa: E402

LVP_ICD = "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"
CALL_NAME = re.compile(r"^vk[A-Z][A-Za-z0-9]*$")
RECORDED = 1000

# The sample's own calls and how often each reaches the layer; the loader's lookups and its own
# calls during instance creation come on top and are checked against the verbose run instead.
SAMPLE_CALLS = {
    "vkCreateInstance": 1, "vkCreateDevice": 1, "vkGetDeviceQueue": 1, "vkCreateBuffer": 1,
    "vkGetBufferMemoryRequirements": 1, "vkGetPhysicalDeviceMemoryProperties": 1,
    "vkAllocateMemory": 1, "vkBindBufferMemory": 1, "vkMapMemory": 1,
    "vkCreateDescriptorSetLayout": 1, "vkCreatePipelineLayout": 1, "vkCreateShaderModule": 1,
    "vkCreateComputePipelines": 1, "vkCreateDescriptorPool": 1, "vkAllocateDescriptorSets": 1,
    "vkUpdateDescriptorSets": 1, "vkCreateCommandPool": 1, "vkAllocateCommandBuffers": 1,
    "vkBeginCommandBuffer": 2, "vkCmdBindPipeline": 1, "vkCmdBindDescriptorSets": 1,
    "vkCmdPushConstants": 1 + RECORDED, "vkCmdDispatch": 1, "vkCmdPipelineBarrier": 1,
    "vkEndCommandBuffer": 2, "vkResetCommandBuffer": 1, "vkCreateFence": 1, "vkQueueSubmit": 1,
    "vkWaitForFences": 1, "vkDestroyFence": 1, "vkFreeCommandBuffers": 1,
    "vkDestroyCommandPool": 1, "vkDestroyDescriptorPool": 1, "vkDestroyPipeline": 1,
    "vkDestroyShaderModule": 1, "vkDestroyPipelineLayout": 1, "vkDestroyDescriptorSetLayout": 1,
    "vkUnmapMemory": 1, "vkDestroyBuffer": 1, "vkFreeMemory": 1, "vkDestroyDevice": 1,
    "vkDestroyInstance": 1,
}


class Run:
    def __init__(self, proc, workdir):
        self.rc = proc.returncode
        self.out = proc.stdout.decode("utf-8", "replace")
        self.err = proc.stderr.decode("utf-8", "replace")
        self.workdir = workdir

    def logger_lines(self):
        return [l for l in self.err.splitlines() if CALL_NAME.match(l)]

    def file(self, name):
        with open(os.path.join(self.workdir, name), "rb") as f:
            return f.read()


PRELOAD = None  # the sanitizer runtime, for programs that were not built with it


def driver_env():
    env = dict(os.environ, VK_ICD_FILENAMES=LVP_ICD, VK_DRIVER_FILES=LVP_ICD)
    # The software driver leaves an allocation of its own unfreed and is unloaded before the
    # leak check could name it. Leaks of the layer are checked by the suites that run it without
    # a driver.
    env["ASAN_OPTIONS"] = env.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    return env


def run(command, through=None, env_extra=None, preload=False):
    env = driver_env()
    if preload and PRELOAD:
        # The layer is instrumented and the program is not: its runtime must come first.
        env["LD_PRELOAD"] = PRELOAD
    for key in ("TOV_LOGGING_VERBOSE", "TOV_LOGGING_LAYER_LIBRARY", "VK_INSTANCE_LAYERS",
                "VK_LOADER_LAYERS_ENABLE", "TOV_LOGGING_ONLY", "TOV_LOGGING_SKIP"):
        env.pop(key, None)
    env.update(env_extra or {})
    workdir = tempfile.mkdtemp(prefix="tov_loader_")
    full = (through or []) + command
    proc = subprocess.run(full, cwd=workdir, env=env, capture_output=True, timeout=600)
    return Run(proc, workdir)


def header_names(verbose_out, own_lines):
    """The call names of a verbose dump: lines at column 0 that are neither results nor the
    application's own lines (those it printed without the layer, in the same order)."""
    names, own = [], list(own_lines)
    for line in verbose_out.splitlines():
        if not line or line[0] == " " or line.startswith("= "):
            continue
        if own and line == own[0]:
            own.pop(0)
            continue
        names.append(line)
    return names, own


class App:
    preload = False

    def __init__(self, args):
        self.args = args

    def command(self):
        raise NotImplementedError

    def results(self, r):
        raise NotImplementedError


class Sample(App):
    results_on_stdout = True

    def command(self):
        return [self.args.sample, "--record", str(RECORDED), "--probe"]

    def results(self, r):
        return r.out

    def own_lines(self, plain):
        return plain.out.splitlines()

    def check_counts(self, names):
        counts = collections.Counter(names)
        for name, expected in SAMPLE_CALLS.items():
            check(counts[name] == expected, f"{name}: {counts[name]} lines, expected {expected}")


class VulkanInfo(App):
    results_on_stdout = False
    preload = True

    def command(self):
        return [self.args.vulkaninfo, "-j", "-o", "info.json"]

    def results(self, r):
        return r.file("info.json")

    def own_lines(self, plain):
        return plain.out.splitlines()

    def check_counts(self, names):
        counts = collections.Counter(names)
        check(counts["vkCreateInstance"] >= 1, "vulkaninfo: no vkCreateInstance line")
        check(counts["vkCreateInstance"] == counts["vkDestroyInstance"],
              "vulkaninfo: instances created and destroyed differ")
        check(counts["vkCreateDevice"] == counts["vkDestroyDevice"],
              "vulkaninfo: devices created and destroyed differ")


def case_modes(app, verbose):
    tov_log = [app.args.tov_log, "--"]
    plain = run(app.command(), preload=app.preload)
    ordinary = run(app.command(), tov_log, preload=app.preload)
    check(ordinary.rc == plain.rc, f"ordinary run exits {ordinary.rc}, plain run {plain.rc}")
    check(app.results(ordinary) == app.results(plain), "ordinary run: results differ")
    check(ordinary.out == plain.out, "ordinary run: standard output differs")
    names = ordinary.logger_lines()
    app.check_counts(names)
    # Every other line on standard error is the application's own or the loader's.
    plain_err = set(plain.err.splitlines())
    for line in ordinary.err.splitlines():
        if not CALL_NAME.match(line) and line not in plain_err:
            check("Loader Message" in line, f"unexpected line on standard error: {line!r}")
    if not verbose:
        return
    dump = run(app.command(), [app.args.tov_log, "--verbose", "--"], preload=app.preload)
    check(dump.rc == plain.rc, f"verbose run exits {dump.rc}, plain run {plain.rc}")
    if not app.results_on_stdout:  # else the application's own lines are checked below
        check(app.results(dump) == app.results(plain), "verbose run: results differ")
    check(dump.logger_lines() == [], "verbose run: logger lines on standard error")
    headers, left = header_names(dump.out, app.own_lines(plain))
    check(left == [], f"verbose run: application lines missing from standard output: {left[:3]}")
    check(len(headers) == len(names),
          f"verbose run: {len(headers)} header lines, ordinary run {len(names)} logger lines")
    for i, (h, n) in enumerate(zip(headers, names)):
        if h != n:
            check(False, f"call {i}: verbose header {h!r}, ordinary logger line {n!r}")
            break


def case_bad_value(app):
    plain = run(app.command())
    r = run(app.command(), [app.args.tov_log, "--"], {"TOV_LOGGING_VERBOSE": "yes"})
    check(r.rc == plain.rc, f"exits {r.rc}, plain run {plain.rc}")
    check(r.out == plain.out, "standard output differs")
    check("Logging Layer: Unrecognized layer parameter: yes" in r.err.splitlines(),
          "no message about the value of TOV_LOGGING_VERBOSE")
    check("vkCreateInstance" in r.logger_lines(), "calls are not logged in ordinary mode")


def case_library(app, path, expected):
    plain = run(app.command())
    r = run(app.command(), [app.args.tov_log, "--"], {"TOV_LOGGING_LAYER_LIBRARY": path})
    check(r.rc == plain.rc, f"exits {r.rc}, plain run {plain.rc}")
    check(r.out == plain.out, "standard output differs")
    check(r.logger_lines() == [], "calls logged without the Logging Layer")
    check(any(expected in l for l in r.err.splitlines()),
          f"no message {expected!r} on standard error:\n{r.err}")


def loaded_end(path):
    """Where the last byte that a 64-bit ELF file's loadable segments take from the file ends."""
    with open(path, "rb") as f:
        data = f.read()
    phoff, = struct.unpack_from("<Q", data, 0x20)
    phentsize, phnum = struct.unpack_from("<HH", data, 0x36)
    end = 0
    for i in range(phnum):
        kind, _, offset, _, _, filesz = struct.unpack_from("<IIQQQQ", data, phoff + i * phentsize)
        if kind == 1:  # PT_LOAD
            end = max(end, offset + filesz)
    return end


def case_truncated_library(app):
    """A copy of the Logging Layer cut short: empty, inside its headers, inside its loaded
    segments. Each is refused and the program runs as without the layer."""
    end = loaded_end(app.args.layer_library)
    for cut in (0, 100, end // 2, end - 1):
        path = os.path.join(tempfile.mkdtemp(prefix="tov_cut_"), "liblogging_layer.so")
        with open(app.args.layer_library, "rb") as whole, open(path, "wb") as part:
            part.write(whole.read(cut))
        case_library(app, path, "cannot load the Logging Layer library")


def case_output_faults(args):
    """The layer's failed writes harm neither the program's output nor the layer's next line; a
    broken pipe raises no signal for a dump but does for the program's own write; each dump line
    is one write."""
    for mode, rc in (("full-pipe", 0), ("packets", 0), ("reader-gone", -signal.SIGPIPE)):
        r = run([args.probe, mode], [args.tov_log, "--verbose", "--"])
        said = r.err.splitlines()
        check(r.rc == rc, f"{mode}: exits {r.rc}, expected {rc}:\n{r.err}")
        check("ok" in " ".join(said) and not any(l.startswith("FAILED") for l in said),
              f"{mode}: {said}")
    check("own write" in said, "reader-gone: the dump into a closed pipe ended the program")


def case_reader_gone(app):
    """tov-log --verbose -- sample | head -1, and the same for the logger on standard error."""
    plain = run(app.command())
    env = driver_env()
    for verbose, stream in (["--verbose"], "stdout"), ([], "stderr"):
        pipes = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, stream: subprocess.PIPE}
        proc = subprocess.Popen([app.args.tov_log, *verbose, "--", *app.command()], env=env, **pipes)
        first = getattr(proc, stream).readline()
        getattr(proc, stream).close()
        rc = proc.wait(timeout=600)
        check(first.startswith(b"vk") and rc == plain.rc,
              f"{stream}: first line {first!r}, exits {rc} after its reader left, plain run {plain.rc}")


def case_zero_count_submit(args):
    """A valid submit of nothing whose array pointer is not mapped: the program runs as it does
    without the layer, and the dump says only that the pointer is not null."""
    command = [args.sample, "--zero-count-submit"]
    plain = run(command)
    dump = run(command, [args.tov_log, "--verbose", "--"])
    check(plain.rc == 0 and "submitted: an empty batch" in plain.out.splitlines(),
          f"plain run exits {plain.rc}:\n{plain.err}")
    check(dump.rc == plain.rc, f"verbose run exits {dump.rc}, plain run {plain.rc}:\n{dump.err[-2000:]}")
    check("submitted: an empty batch" in dump.out.splitlines(), "verbose run: the program's line is missing")
    expected = ("vkQueueSubmit\n    uint32_t submitCount: 0\n    const VkSubmitInfo * pSubmits: IS NYI\n"
                "= VkResult RESULT  VK_SUCCESS, \n")
    check(expected in dump.out, "verbose run: no dump of the empty submit")


def case_threads(args):
    """Threads that make calls at once: every call has its lines, whole, in both modes."""
    threads, calls, name = 8, 200, "vkGetPhysicalDeviceProperties"
    command = [args.probe, "threads", str(threads), str(calls)]
    one = run([args.probe, "threads", "1", "1"], [args.tov_log, "--verbose", "--"]).out.splitlines()
    own = one.count(name) - 1  # the loader's own calls
    dump = run(command, [args.tov_log, "--verbose", "--"]).out.splitlines()
    mixed = [l for l in dump if l not in set(one)]
    check(dump.count(name) - own == threads * calls and not mixed,
          f"verbose: {dump.count(name) - own} dumps of {threads * calls}, mixed lines {mixed[:2]}")
    with tempfile.TemporaryDirectory() as tmp:
        log = os.path.join(tmp, "log")
        run(command, [args.tov_log, "--log-file", log, "--"])
        with open(log) as f:
            names = f.read().splitlines()
    bad = [l for l in names if not CALL_NAME.match(l)]
    check(names.count(name) - own == threads * calls and not bad,
          f"ordinary: {names.count(name) - own} lines of {threads * calls}, broken lines {bad[:2]}")


def passes(name, only, skip):
    """The call filter as tov-log's options give it (fnmatch's * and ? are the filter's)."""
    def matches(patterns):
        return any(fnmatch.fnmatchcase(name, p) for p in patterns.split(",") if p)
    return (not only or matches(only)) and not matches(skip)


def case_filtered(app):
    """A filtered run logs exactly the ordinary run's calls that pass the filter, the host's own
    six (instances, devices, the two resolvers) included, and the program runs as without it."""
    plain = run(app.command())
    names = run(app.command(), [app.args.tov_log, "--"]).logger_lines()
    host_own = "vkGet*ProcAddr,vkCreateInstance,vkDestroyInstance,vkCreateDevice,vkDestroyDevice"
    for only, skip in (("vkCmd*,vkQueue*", "vkCmdPushConstants"), ("", host_own)):
        options = (["--only", only] if only else []) + ["--skip", skip]
        r = run(app.command(), [app.args.tov_log, *options, "--"])
        check(r.rc == plain.rc, f"--only {only!r} --skip {skip!r}: exits {r.rc}, plain run {plain.rc}")
        check(r.out == plain.out, f"--only {only!r} --skip {skip!r}: standard output differs")
        expected = [n for n in names if passes(n, only, skip)]
        check(expected and r.logger_lines() == expected,
              f"--only {only!r} --skip {skip!r}: logged {collections.Counter(r.logger_lines())},"
              f" expected {collections.Counter(expected)}")


def case_bad_filter(app):
    """tov-log refuses a pattern that matches no call before the program starts; a host that
    reads it from the environment says so once and applies the filter as written."""
    r = run(app.command(), [app.args.tov_log, "--skip", "vkCmdPushConstants,vkCmdDarw*", "--"])
    check(r.rc == 2 and r.out == "", f"exits {r.rc} with output {r.out[:80]!r}; expected 2 before the start")
    check("tov-log: --skip: 'vkCmdDarw*' matches no call that the layer logs" in r.err.splitlines(),
          f"no message about the pattern:\n{r.err}")
    plain = run(app.command())
    manifests = os.path.join(os.path.dirname(os.path.abspath(app.args.tov_log)), "explicit_layer.d")
    r = run(app.command(), env_extra={
        "VK_LAYER_PATH": manifests, "VK_INSTANCE_LAYERS": "VK_LAYER_TOV_logging",
        "TOV_LOGGING_ONLY": "vkCmdDarw*, vkQueueSubmit"})
    check(r.rc == plain.rc and r.out == plain.out, "the environment's filter changes the program's run")
    said = [l for l in r.err.splitlines() if l.startswith("tov-logging:")]
    check(said == ["tov-logging: TOV_LOGGING_ONLY: 'vkCmdDarw*' matches no call that the layer logs"],
          f"the host says {said}")
    check(r.logger_lines() == ["vkQueueSubmit"], f"logged {r.logger_lines()}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("case")
    parser.add_argument("--tov-log", required=True)
    parser.add_argument("--sample", required=True)
    parser.add_argument("--vulkaninfo", default=shutil.which("vulkaninfo"))
    parser.add_argument("--preload", default="")
    parser.add_argument("--layer-library", default="")
    parser.add_argument("--probe", default="")
    args = parser.parse_args()
    global PRELOAD
    PRELOAD = args.preload or None
    sample, info = Sample(args), VulkanInfo(args)
    cannot_load = "VK_LAYER_TOV_logging: cannot load the Logging Layer library"
    cases = {
        "sample_ordinary": lambda: case_modes(sample, False),
        "sample_verbose": lambda: case_modes(sample, True),
        "vulkaninfo_ordinary": lambda: case_modes(info, False),
        "vulkaninfo_verbose": lambda: case_modes(info, True),
        "bad_verbose_value": lambda: case_bad_value(sample),
        "filtered": lambda: case_filtered(sample),
        "bad_filter": lambda: case_bad_filter(sample),
        "missing_layer_library": lambda: case_library(
            sample, "/nonexistent/liblogging_layer.so", cannot_load),
        "unloadable_layer_library": lambda: case_library(sample, LVP_ICD, cannot_load),
        "library_without_entry_point": lambda: case_library(
            sample, "libvulkan.so.1", "has no tovGetDispatchTable"),
        "truncated_layer_library": lambda: case_truncated_library(sample),
        "output_faults": lambda: case_output_faults(args),
        "reader_gone": lambda: case_reader_gone(sample),
        "threads": lambda: case_threads(args),
        "zero_count_submit": lambda: case_zero_count_submit(args),
    }
    run_case(cases, args.case)


if __name__ == "__main__":
    main()
