#!/usr/bin/env python3
"""What reaches the host logger's output when a program ends in each of the ways programs end.

Each case runs journal_probe, which logs numbered lines from one or more threads and ends as the
case says; the log must hold exactly the lines logged, each whole and once.
Usage: journal_cases.py PROBE [--sanitized]
"""
import collections
import os
import signal as s
import subprocess
import sys
import tempfile
import time

PROBE = sys.argv[1]
# Under AddressSanitizer its own handlers report these faults and abort.
FAULT = ({-s.SIGSEGV, -s.SIGBUS, -s.SIGFPE, -s.SIGABRT} if "--sanitized" in sys.argv else set())
failures = []

# end, threads, exit statuses accepted
CASES = [
    ("return", 1, {0}), ("exit", 1, {0}), ("return", 8, {0}), ("abort", 1, {-s.SIGABRT}),
    ("segv", 4, {-s.SIGSEGV} | FAULT), ("bus", 1, {-s.SIGBUS} | FAULT),
    ("fpe", 1, {-s.SIGFPE} | FAULT), ("ill", 1, {-s.SIGILL}), ("term", 1, {-s.SIGTERM}),
    ("_exit", 1, {0}), ("kill", 1, {-s.SIGKILL}), ("own-handler-before", 1, {3}), ("fork", 1, {0}),
]


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def compare(name, text, lines, threads=1, child=False):
    want = collections.Counter(f"thread {t} line {i}" for t in range(threads) for i in range(lines))
    want.update(f"child line {i}" for i in range(lines if child else 0))
    got = collections.Counter(text.splitlines())
    lost, extra = want - got, got - want
    check(not lost and not extra,
          f"{name}: {sum(lost.values())} lines lost {list(lost)[:2]}, {sum(extra.values())} "
          f"lines not logged as such {list(extra)[:2]}")


def probe(args, env_extra=None, **kw):
    env = {k: v for k, v in os.environ.items() if k != "TOV_LOG_FILE"}
    env.update(env_extra or {})
    return subprocess.run([PROBE, *args], env=env, capture_output=True, timeout=120, **kw)


def main():
    with tempfile.TemporaryDirectory() as tmp:
        for n, (end, threads, statuses) in enumerate(CASES):
            log = os.path.join(tmp, f"log{n}")
            r = probe(["2000", end, str(threads)], {"TOV_LOG_FILE": log})
            check(r.returncode in statuses, f"{end}: exit status {r.returncode}, not {statuses}")
            with open(log) as f:
                compare(f"{end} x{threads}", f.read(), 2000, threads, end == "fork")
            if end == "own-handler-before":
                check(r.stdout == b"own handler\n", f"{end}: the program's handler did not run")
        # A handler the program sets after the logger's replaces it and works as ever.
        r = probe(["10", "own-handler-after"], {"TOV_LOG_FILE": os.path.join(tmp, "after")})
        check(r.returncode == 3 and r.stdout == b"own handler\n", f"own handler set after: {r}")

    r = probe(["1000", "abort"])
    compare("abort, standard error", r.stderr.decode(), 1000)

    # Standard error a non-blocking pipe that fills: the logger waits for its slow reader.
    read_end, write_end = os.pipe()
    os.set_blocking(write_end, False)
    env = {k: v for k, v in os.environ.items() if k != "TOV_LOG_FILE"}
    proc = subprocess.Popen([PROBE, "20000", "return"], env=env, stderr=write_end,
                            stdout=subprocess.DEVNULL)
    os.close(write_end)
    time.sleep(0.3)
    with os.fdopen(read_end, "rb") as reader:
        text = reader.read().decode()
    check(proc.wait(timeout=120) == 0, "slow reader: the program did not end well")
    compare("slow reader", text, 20000)

    if failures:
        sys.exit(f"{len(failures)} check(s) failed")
    print("ok")


if __name__ == "__main__":
    main()
