#!/usr/bin/env python3
"""End-to-end cases of the Wine host: the project's Windows programs run under Wine, without the
layer and through tov-log in both modes, and compared.

Every program checks its own pixels and exits 1 if they are wrong, so an equal exit status says
they were right with the layer too. Programs run through the build's wine-run: its Wine prefix,
its Wine server and its X server serve the whole test run, and every run has a time limit.

Usage: run_case.py CASE --tov-log PATH --wine-run PATH --bin DIR
Set TOV_UPDATE_GOLDEN=1 to rewrite the golden files, then review the diff.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tests", "support"))
from cases import check, golden as golden_in, run_case  # noqa: E402

GOLDEN = os.path.join(os.path.dirname(os.path.abspath(__file__)), "golden")
# A header line of the dump and a logger line: an exported function or Interface::Method.
CALL_NAME = re.compile(r"^(?:[A-Z]\w*::\w+|D3D1\w+|CreateDXGIFactory\w*|DXGI\w+)$")
BOUNDARY = "#" * 20 + "Frame Boundary" + "#" * 20
CANNOT_LOAD = "tov-wine: cannot load the Logging Layer library (logging_layer-x64.dll)"

args = None


class Run:
    def __init__(self, proc):
        self.rc = proc.returncode
        self.out = proc.stdout.decode("utf-8", "replace")
        self.err = proc.stderr.decode("utf-8", "replace")

    def logger_lines(self):
        return [l for l in self.err.splitlines() if CALL_NAME.match(l)]

    def own_err(self):
        return [l for l in self.err.splitlines() if not CALL_NAME.match(l)]

    def own_out(self):
        """The program's own lines: those of the dump start with blanks, '=', a call name or
        the frame boundary."""
        return [l for l in self.out.splitlines()
                if l and not l.startswith((" ", "= ")) and not CALL_NAME.match(l) and l != BOUNDARY]


def run(program, *options, tov_log=(), env_extra=None, folder=None):
    """Runs one of the programs (from `folder`, else the build's) through tov-log with its
    options, or plainly if they are None."""
    env = {k: v for k, v in os.environ.items() if not k.startswith(("TOV_LOG", "TOV_WINE"))}
    command = [args.wine_run, os.path.join(folder or args.bin, program + ".exe"), *options]
    if tov_log is not None:
        env["TOV_WINE_DLLS"] = args.bin
        command = [args.tov_log, *tov_log, "--", *command]
    env.update(env_extra or {})
    return Run(subprocess.run(command, env=env, capture_output=True, timeout=300))


def golden(name, text):
    golden_in(GOLDEN, name, text)


def headers(dump):
    return [l for l in dump.splitlines() if CALL_NAME.match(l)]


# --- the cases ------------------------------------------------------------------------------------

def case_program(program, *options):
    """Without the layer, in ordinary mode and in verbose mode: the same exit status and output;
    the logger lines are the dump's calls; the dump is the golden one."""
    plain = run(program, *options, tov_log=None)
    check(plain.rc == 0, f"{program} fails without the layer ({plain.rc}): {plain.out} {plain.err}")
    ordinary = run(program, *options)
    dump = run(program, *options, tov_log=["--verbose"])
    for mode, r in (("ordinary", ordinary), ("verbose", dump)):
        check(r.rc == plain.rc, f"{mode} run exits {r.rc}, plain run {plain.rc}: {r.out} {r.err}")
        check(r.own_err() == plain.own_err(), f"{mode} run: other lines on standard error: {r.own_err()}")
    check(ordinary.out == plain.out, "ordinary run: standard output differs")
    check(dump.own_out() == plain.out.splitlines(), f"verbose run: the program's own lines are {dump.own_out()}")
    check(dump.logger_lines() == [], "verbose run: logger lines on standard error")
    calls = headers(dump.out)
    check(ordinary.logger_lines() == calls, "the ordinary run's logger lines are not the verbose dump's calls")
    # A frame boundary behind each present, and nowhere else.
    lines = dump.out.splitlines()
    presents = [i for i, l in enumerate(lines) if re.match(r"IDXGISwapChain\d?::Present1?$", l)]
    boundaries = [i for i, l in enumerate(lines) if l == BOUNDARY]
    ends = [next(j for j in range(i + 1, len(lines)) if lines[j].startswith("= ")) + 1 for i in presents]
    check(boundaries == ends, f"frame boundaries at lines {boundaries}, presents end at {ends}")
    check(BOUNDARY not in ordinary.out + ordinary.err, "ordinary run: a frame boundary line")
    golden(f"{program}_verbose.txt", dump.out)


def case_missing_layer():
    """The folder of the host's DLLs lacks the layer's: the program runs as without the host,
    and the host says so once."""
    plain = run("d3d11_readback", tov_log=None)
    with tempfile.TemporaryDirectory() as dlls, tempfile.TemporaryDirectory() as folder:
        for name in os.listdir(args.bin):
            if name.endswith(".dll") and name != "logging_layer-x64.dll":
                os.symlink(os.path.join(args.bin, name), os.path.join(dlls, name))
        shutil.copy(os.path.join(args.bin, "d3d11_readback.exe"), folder)
        r = run("d3d11_readback", env_extra={"TOV_WINE_DLLS": dlls}, folder=folder)
        left = sorted(os.listdir(folder))
    check(r.rc == plain.rc and r.out == plain.out, f"the run differs from the plain run: {r.rc} {r.out}")
    check(r.logger_lines() == [], "calls logged without the Logging Layer")
    said = [l for l in r.own_err() if l not in plain.own_err()]
    check(len(said) == 1 and said[0].startswith(CANNOT_LOAD), f"expected one message {CANNOT_LOAD!r}, got {said}")
    check(left == ["d3d11_readback.exe"], f"tov-log left {left} next to the program")


def case_unknown_interface():
    """An object whose interface the catalogue does not have is passed on unlogged: the program's
    AddRef and two Releases on it stand between QueryInterface and its next line, unlogged."""
    dump = run("d3d11_readback", "--unknown-interface", tov_log=["--verbose"])
    check(dump.rc == 0, f"exits {dump.rc}: {dump.out}")
    lines = [l for l in dump.out.splitlines() if CALL_NAME.match(l) or not l.startswith((" ", "= "))]
    answered = "d3d11_readback: an unpublished interface answered"
    check(answered in lines, f"the device did not answer the unpublished interface: {lines}")
    if answered in lines:
        before = lines[lines.index(answered) - 1]
        check(before == "ID3D11Device2::QueryInterface", f"the call before the program's line is {before!r}")


def case_capture_ids():
    """The host tags the Direct3D 10 objects too, although the layer reads no id from them."""
    plain = run("d3d10_draw", "--report-ids", tov_log=None)
    check("capture ids: 0 of 3 objects tagged" in plain.out.splitlines(), f"plain run: {plain.out!r}")
    for mode in ([], ["--verbose"]):
        r = run("d3d10_draw", "--report-ids", tov_log=mode)
        check("capture ids: 3 of 3 objects tagged" in r.out.splitlines(), f"tov-log {mode}: {r.own_out()}")


def main():
    global args
    parser = argparse.ArgumentParser()
    parser.add_argument("case")
    parser.add_argument("--tov-log", required=True)
    parser.add_argument("--wine-run", required=True)
    parser.add_argument("--bin", required=True)
    args = parser.parse_args()
    cases = {
        "d3d11_readback": lambda: case_program("d3d11_readback"),
        "dxgi_present": lambda: case_program("dxgi_present"),
        "d3d12_readback": lambda: case_program("d3d12_readback"),
        "d3d10_draw": lambda: case_program("d3d10_draw"),
        "missing_layer": case_missing_layer,
        "unknown_interface": case_unknown_interface,
        "capture_ids": case_capture_ids,
    }
    run_case(cases, args.case)


if __name__ == "__main__":
    main()
