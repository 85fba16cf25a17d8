#!/usr/bin/env python3
"""Cost per Vulkan call through the loader host, on the software driver: the sample application
records N cheap commands (vkCmdPushConstants) and reports the nanoseconds per command.

Ordinary mode is compared with the run without the layer, its logger lines going to /dev/null and
to a file (tov-log --log-file). Verbose mode is compared with the run without the layer that
writes the very lines of one command's dump after each command, one write(2) per line: the
essential work of the dump. Both go to /dev/null and to a file. The runs of all modes take turns,
and each mode's figure is its best run.

Usage: loader_ratios.py TOV_LOG SAMPLE [N] [RUNS]
"""
import os
import subprocess
import sys
import tempfile

LVP_ICD = "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"


def run(command, count, tmp, stdout_path=None):
    env = dict(os.environ, VK_ICD_FILENAMES=LVP_ICD, VK_DRIVER_FILES=LVP_ICD)
    env.pop("TOV_LOG_FILE", None)
    timing = os.path.join(tmp, "ns")
    out = open(stdout_path, "wb") if stdout_path else subprocess.DEVNULL
    try:
        subprocess.run(command + ["--record", str(count), timing], env=env,
                       check=True, stdout=out, stderr=subprocess.DEVNULL, timeout=600)
    finally:
        if stdout_path:
            out.close()
    with open(timing) as f:
        return float(f.read())


def one_dump(tov_log, sample, tmp):
    """The lines that one recorded command writes in verbose mode."""
    env = dict(os.environ, VK_ICD_FILENAMES=LVP_ICD, VK_DRIVER_FILES=LVP_ICD)
    text = subprocess.run([tov_log, "--verbose", "--", sample, "--record", "1"], env=env,
                          check=True, capture_output=True, text=True).stdout.splitlines()
    starts = [i for i, l in enumerate(text) if l == "vkCmdPushConstants"]
    first = starts[-1]
    end = first + 1
    while end < len(text) and text[end].startswith(" "):
        end += 1
    path = os.path.join(tmp, "dump.txt")
    with open(path, "w") as f:
        f.write("\n".join(text[first:end]) + "\n")
    return path, end - first


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    tov_log, sample = sys.argv[1], sys.argv[2]
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 100000
    runs = int(sys.argv[4]) if len(sys.argv) > 4 else 5
    with tempfile.TemporaryDirectory() as tmp:
        dump, lines = one_dump(tov_log, sample, tmp)
        log = os.path.join(tmp, "log.txt")
        out = os.path.join(tmp, "out.txt")
        modes = [
            ("no layer", [sample], None),
            ("ordinary, logger to /dev/null", [tov_log, "--", sample], None),
            ("ordinary, logger to a file", [tov_log, "--log-file", log, "--", sample], None),
            ("bare writes to /dev/null", [sample, "--write-lines", dump], None),
            ("verbose to /dev/null", [tov_log, "--verbose", "--", sample], None),
            ("bare writes to a file", [sample, "--write-lines", dump], out),
            ("verbose to a file", [tov_log, "--verbose", "--", sample], out),
        ]
        best = {}
        for _ in range(runs):
            for name, command, path in modes:
                ns = run(command, count, tmp, path)
                best[name] = min(ns, best.get(name, ns))
    print(f"vkCmdPushConstants x {count} ({lines} dump lines each), best of {runs} runs, lavapipe")
    for name, _, _ in modes:
        print(f"  {name:30s} {best[name]:10.1f} ns/call")
    base = best["no layer"]
    print(f"ordinary / no layer:     logger to /dev/null x{best['ordinary, logger to /dev/null'] / base:.2f},"
          f" logger to a file x{best['ordinary, logger to a file'] / base:.2f}")
    print(f"verbose / bare writes:   to /dev/null x{best['verbose to /dev/null'] / best['bare writes to /dev/null']:.2f},"
          f" to a file x{best['verbose to a file'] / best['bare writes to a file']:.2f}")


if __name__ == "__main__":
    main()
