#!/usr/bin/env python3
"""What reaches the host logger's output when a program ends in each of the ways programs end.

Every case runs journal_probe, which logs numbered lines from one or more threads and then ends
as the case says; the lines in the log must be exactly those logged, each whole and once.
Usage: journal_cases.py PROBE [--sanitized]
"""
import collections
import os
import signal
import subprocess
import sys
import tempfile
import time

PROBE = sys.argv[1]
SANITIZED = "--sanitized" in sys.argv
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def expected_lines(lines, threads, child=False):
    out = [f"thread {t} line {i}" for t in range(threads) for i in range(lines)]
    return out + ([f"child line {i}" for i in range(lines)] if child else [])


def compare(name, text, want):
    got = collections.Counter(text.splitlines())
    missing = collections.Counter(want) - got
    extra = got - collections.Counter(want)
    check(not missing, f"{name}: {sum(missing.values())} lines lost, e.g. {list(missing)[:2]}")
    check(not extra, f"{name}: {sum(extra.values())} lines not logged as such, e.g. {list(extra)[:2]}")


def signalled(sig):
    # Under AddressSanitizer its own handlers report faults and abort.
    if SANITIZED and sig in (signal.SIGSEGV, signal.SIGBUS, signal.SIGFPE):
        return {-sig, -signal.SIGABRT}
    return {-sig}


# end, threads, lines, exit statuses accepted
CASES = [
    ("return", 1, 2000, {0}),
    ("exit", 1, 2000, {0}),
    ("return", 8, 5000, {0}),
    ("abort", 1, 2000, signalled(signal.SIGABRT)),
    ("segv", 4, 2000, signalled(signal.SIGSEGV)),
    ("bus", 1, 2000, signalled(signal.SIGBUS)),
    ("fpe", 1, 2000, signalled(signal.SIGFPE)),
    ("ill", 1, 2000, signalled(signal.SIGILL)),
    ("term", 1, 2000, signalled(signal.SIGTERM)),
    ("_exit", 1, 2000, {0}),
    ("kill", 1, 2000, {-signal.SIGKILL}),
    ("own-handler-before", 1, 2000, {3}),
    ("fork", 1, 2000, {0}),
]


def run_to_file(end, threads, lines, statuses):
    name = f"{end} x{threads}"
    with tempfile.TemporaryDirectory() as tmp:
        log = os.path.join(tmp, "log")
        env = dict(os.environ, TOV_LOG_FILE=log)
        r = subprocess.run([PROBE, str(lines), end, str(threads)], env=env, capture_output=True,
                           timeout=120)
        check(r.returncode in statuses, f"{name}: exit status {r.returncode}, expected {statuses}")
        with open(log) as f:
            compare(name, f.read(), expected_lines(lines, threads, end == "fork"))
        if end.startswith("own-handler"):
            check(r.stdout == b"own handler\n", f"{name}: the program's own handler did not run")


def own_handler_after():
    """A handler the program sets after the logger's keeps working; lines may be lost then."""
    with tempfile.TemporaryDirectory() as tmp:
        env = dict(os.environ, TOV_LOG_FILE=os.path.join(tmp, "log"))
        r = subprocess.run([PROBE, "10", "own-handler-after"], env=env, capture_output=True,
                           timeout=120)
        check(r.returncode == 3 and r.stdout == b"own handler\n",
              f"own handler set after: status {r.returncode}, output {r.stdout!r}")


def to_standard_error():
    env = {k: v for k, v in os.environ.items() if k != "TOV_LOG_FILE"}
    r = subprocess.run([PROBE, "1000", "abort"], env=env, capture_output=True, timeout=120)
    compare("abort to standard error", r.stderr.decode(), expected_lines(1000, 1))


def slow_nonblocking_reader():
    """Standard error a non-blocking pipe that fills: the logger waits for its reader."""
    read_end, write_end = os.pipe()
    os.set_blocking(write_end, False)
    env = {k: v for k, v in os.environ.items() if k != "TOV_LOG_FILE"}
    proc = subprocess.Popen([PROBE, "20000", "return"], env=env, stderr=write_end,
                            stdout=subprocess.DEVNULL)
    os.close(write_end)
    time.sleep(0.3)
    chunks = []
    while chunk := os.read(read_end, 65536):
        chunks.append(chunk)
    os.close(read_end)
    check(proc.wait(timeout=120) == 0, "slow reader: the program did not end well")
    compare("slow reader", b"".join(chunks).decode(), expected_lines(20000, 1))


def main():
    for case in CASES:
        run_to_file(*case)
    own_handler_after()
    to_standard_error()
    slow_nonblocking_reader()
    if failures:
        sys.exit(f"{len(failures)} check(s) failed")
    print("ok")


if __name__ == "__main__":
    main()
