#!/usr/bin/env python3
"""Cost per Vulkan call through the loader host, on the software driver: the sample application
records N cheap commands (vkCmdPushConstants) with no layer, with the layer in ordinary mode
(logger output discarded) and in verbose mode (standard output to /dev/null). Prints each
mode's nanoseconds per call, the best of a few runs, and its ratio to the run with no layer.

Usage: loader_ratios.py TOV_LOG SAMPLE [N] [RUNS]
"""
import os
import subprocess
import sys
import tempfile

LVP_ICD = "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json"


def per_call(command, count, runs):
    env = dict(os.environ, VK_ICD_FILENAMES=LVP_ICD, VK_DRIVER_FILES=LVP_ICD)
    best = None
    with tempfile.TemporaryDirectory() as tmp:
        timing = os.path.join(tmp, "ns")
        for _ in range(runs):
            subprocess.run(command + ["--record", str(count), timing], env=env, check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            with open(timing) as f:
                value = float(f.read())
            best = value if best is None else min(best, value)
    return best


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    tov_log, sample = sys.argv[1], sys.argv[2]
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 100000
    runs = int(sys.argv[4]) if len(sys.argv) > 4 else 5
    modes = [
        ("no layer", [sample]),
        ("ordinary mode", [tov_log, "--", sample]),
        ("verbose mode", [tov_log, "--verbose", "--", sample]),
    ]
    results = [(name, per_call(cmd, count, runs)) for name, cmd in modes]
    base = results[0][1]
    print(f"vkCmdPushConstants x {count}, best of {runs} runs, lavapipe")
    for name, ns in results:
        print(f"  {name:14s} {ns:10.1f} ns/call   x{ns / base:7.2f}")


if __name__ == "__main__":
    main()
