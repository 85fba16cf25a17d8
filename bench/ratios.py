#!/usr/bin/env python3
"""Runs a hook benchmark and prints each hook's cost as a ratio to the baseline and to a direct
call measured in the same run. Benchmarks are named <Call>_Hook, <Call>_Baseline and, where there
is one, <Call>_Direct.

Usage: ratios.py BENCH_EXECUTABLE [benchmark args...]
"""
import json
import subprocess
import sys

out = subprocess.run([sys.argv[1], "--benchmark_format=json", "--benchmark_repetitions=5",
                      "--benchmark_report_aggregates_only=true", *sys.argv[2:]],
                     check=True, capture_output=True, text=True).stdout
medians = {b["run_name"]: b["real_time"] for b in json.loads(out)["benchmarks"]
           if b.get("aggregate_name") == "median"}
for name, ns in medians.items():
    print(f"{name:28s} {ns:10.2f} ns")
calls = [name[: -len("_Hook")] for name in medians if name.endswith("_Hook")]
for call in calls:
    hook, base, direct = (medians.get(f"{call}_{k}") for k in ("Hook", "Baseline", "Direct"))
    if hook and base and direct:
        print(f"{call}: hook/baseline {hook / base:.2f}x, hook/direct {hook / direct:.2f}x")
    elif hook and base:
        print(f"{call}: hook/baseline {hook / base:.2f}x")
