#!/usr/bin/env python3
"""Runs a hook benchmark and prints each hook's cost as a ratio to the baseline and to a direct
call measured in the same run. Benchmarks are named <Call>_Hook, <Call>_Baseline and, where there
is one, <Call>_Direct; <Call>_Filtered (a call that the call filter leaves out) is told as a
ratio to <Call>_Direct.

Usage: ratios.py [--run-with RUNNER] [--cpu-time] BENCH_EXECUTABLE [benchmark args...]
RUNNER starts the executable (the Windows build's wine-run). With --cpu-time the figures are the process's CPU time (the kernel's included) rather than the
wall clock, which on a shared machine also counts the time others hold the processor.
"""
import json
import subprocess
import sys

args = sys.argv[1:]
runner = args[1:2] if args[:1] == ["--run-with"] else []
args = args[2:] if runner else args
clock = "cpu_time" if args[:1] == ["--cpu-time"] else "real_time"
args = args[1:] if clock == "cpu_time" else args
out = subprocess.run([*runner, args[0], "--benchmark_format=json", "--benchmark_repetitions=5",
                      "--benchmark_enable_random_interleaving=true",
                      "--benchmark_report_aggregates_only=true", *args[1:]],
                     check=True, capture_output=True, text=True).stdout
medians = {b["run_name"]: b[clock] for b in json.loads(out)["benchmarks"]
           if b.get("aggregate_name") == "median"}
for name, ns in medians.items():
    print(f"{name:32s} {ns:10.2f} ns")
calls = [name[: -len("_Hook")] for name in medians if name.endswith("_Hook")]
for call in calls:
    hook, base, direct = (medians.get(f"{call}_{k}") for k in ("Hook", "Baseline", "Direct"))
    if hook and base and direct:
        print(f"{call}: hook/baseline {hook / base:.2f}x, hook/direct {hook / direct:.2f}x")
    elif hook and base:
        print(f"{call}: hook/baseline {hook / base:.2f}x")
    elif hook and direct:
        print(f"{call}: hook/direct {hook / direct:.2f}x")
for call in [name[: -len("_Filtered")] for name in medians if name.endswith("_Filtered")]:
    filtered, direct = medians[f"{call}_Filtered"], medians.get(f"{call}_Direct")
    if direct:
        print(f"{call}: filtered/direct {filtered / direct:.2f}x")
