#!/usr/bin/env python3
"""The frame time of a DXGI present loop (dxgi_present.exe --time FRAMES: a clear and a Present a
frame) under Wine, through the layer in ordinary mode with the logger's lines going to a file,
as a ratio to the same loop without the layer. Each run times its loop REPEAT times and tells
the median loop. Runs alternate, without and with, so that both see the machine alike; the
ratio of each pair is taken, and the median of them is told.

Usage: present_ratio.py --wine-run PATH --tov-log PATH --bin DIR [--frames N] [--repeat N] [--pairs N]"""
import argparse
import os
import re
import statistics
import subprocess
import tempfile


def frame_time(command, env):
    out = subprocess.run(command, env=env, capture_output=True, text=True, timeout=300, check=True).stdout
    return float(re.search(r"frame time: ([0-9.]+) us", out).group(1))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wine-run", required=True)
    parser.add_argument("--tov-log", required=True)
    parser.add_argument("--bin", required=True)
    parser.add_argument("--frames", type=int, default=300)
    parser.add_argument("--repeat", type=int, default=9)
    parser.add_argument("--pairs", type=int, default=21)
    args = parser.parse_args()
    env = {k: v for k, v in os.environ.items() if not k.startswith(("TOV_LOG", "TOV_WINE"))}
    env.update(TOV_WINE=args.wine_run, TOV_WINE_DLLS=args.bin)
    program = [args.wine_run, os.path.join(args.bin, "dxgi_present.exe"), "--time", str(args.frames),
               "--repeat", str(args.repeat)]
    with tempfile.TemporaryDirectory() as folder:
        logged = [args.tov_log, "--log-file", os.path.join(folder, "calls.log"), "--", *program]
        frame_time(program, env)  # the Wine server and the shader caches warm up
        plain, layer = [], []
        for k in range(args.pairs):
            first, second = (program, logged) if k % 2 == 0 else (logged, program)
            a, b = frame_time(first, env), frame_time(second, env)
            plain.append(a if first is program else b)
            layer.append(b if first is program else a)
        lines = sum(1 for _ in open(os.path.join(folder, "calls.log")))
    ratios = [l / p for p, l in zip(plain, layer)]
    print(f"loops of {args.frames} frames, the median of {args.repeat} a run, {args.pairs} pairs of runs; "
          f"{lines} logger lines in the file of a run")
    print(f"frame time without the layer: median {statistics.median(plain):.1f} us "
          f"(min {min(plain):.1f}, max {max(plain):.1f})")
    print(f"frame time, ordinary mode:    median {statistics.median(layer):.1f} us "
          f"(min {min(layer):.1f}, max {max(layer):.1f})")
    print(f"ratio, layer/no layer:        median {statistics.median(ratios):.3f} "
          f"(min {min(ratios):.3f}, max {max(ratios):.3f})")


if __name__ == "__main__":
    main()
