#!/usr/bin/env python3
"""Writes the name of every logged call, one a line, in slot order: the dump reader's list of the
header lines it accepts.

Usage: gen_call_names.py OUT_FILE
"""
import apitable


def generate(args: list[str]) -> list[str]:
    names = [s.call_name for s in apitable.all_slots()]
    apitable.write_if_changed(args[0], "".join(name + "\n" for name in names))
    return [args[0]]


if __name__ == "__main__":
    apitable.run(generate)
