#!/usr/bin/env python3
"""The demo as scripts/demo.sh runs it first. In verbose mode its standard output is the text
of tests/golden/demo.txt (TOV_UPDATE_GOLDEN=1 rewrites it); in ordinary mode standard output
holds the keyframe banner alone and standard error one logger line for each call the verbose
dump has a header line for, in the same order.

Usage: demo_test.py [RUNNER] TOV_DEMO GOLDEN   (RUNNER: the Windows build's wine-run)"""
import os
import subprocess
import sys

demo, golden = sys.argv[1:-1], sys.argv[-1]
verbose = subprocess.run(demo, capture_output=True, timeout=120, check=True).stdout.decode()
ordinary = subprocess.run([*demo, "--ordinary"], capture_output=True, timeout=120, check=True)
if os.environ.get("TOV_UPDATE_GOLDEN") == "1":
    open(golden, "w", encoding="utf-8", newline="\n").write(verbose)
expected = open(golden, encoding="utf-8", newline="").read()
problems = []
if verbose != expected:
    a, b = expected.splitlines(), verbose.splitlines()
    line = next((i for i, (x, y) in enumerate(zip(a, b)) if x != y), min(len(a), len(b)))
    problems.append(f"verbose output differs from {golden} at line {line + 1}:\n"
                    f"  expected: {a[line:line + 3]}\n  actual:   {b[line:line + 3]}")
banner = [l for l in verbose.splitlines() if "Keyframe Applied" in l]
headers = [l for l in verbose.splitlines() if l and l[0] not in " =#"]
if ordinary.stdout.decode().splitlines() != banner:
    problems.append("ordinary mode: standard output holds more than the keyframe banner")
if ordinary.stderr.decode().splitlines() != headers:
    problems.append("ordinary mode: the logger lines are not the verbose dump's header lines")
print("\n".join(problems) or "ok")
sys.exit(1 if problems else 0)
