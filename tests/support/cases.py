"""What the end-to-end case scripts share: checks that collect their failures, golden files,
and the run of one named case.

Set TOV_UPDATE_GOLDEN=1 to rewrite the golden files, then review the diff."""
import os
import sys

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def golden(folder, name, text):
    """Compares text with the golden file folder/name byte for byte, and names the first line
    that differs."""
    path = os.path.join(folder, name)
    if os.environ.get("TOV_UPDATE_GOLDEN") == "1":
        with open(path, "w", encoding="utf-8", newline="") as f:
            f.write(text)
        return
    with open(path, encoding="utf-8", newline="") as f:
        expected = f.read()
    if text != expected:
        got, want = text.splitlines(), expected.splitlines()
        line = next((i for i, (a, b) in enumerate(zip(got, want)) if a != b), min(len(got), len(want)))
        check(False, f"{name}: differs from line {line + 1}: got "
                     f"{got[line] if line < len(got) else '<end>'!r}, expected "
                     f"{want[line] if line < len(want) else '<end>'!r}")


def run_case(cases, name):
    """Runs the case of that name and exits 1 if any of its checks failed."""
    if name not in cases:
        sys.exit(f"unknown case {name}; one of {', '.join(cases)}")
    cases[name]()
    if failures:
        sys.exit(f"{len(failures)} check(s) failed")
    print("ok")
