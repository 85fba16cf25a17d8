#!/usr/bin/env python3
"""Writes the name of every logged call, one a line, in slot order: the dump reader's list of the
header lines it accepts.

Usage: gen_call_names.py OUT_FILE
"""
import sys

import apitable


def main() -> None:
    names = [s.call_name for s in apitable.all_slots()]
    apitable.write_if_changed(sys.argv[1], "".join(name + "\n" for name in names))


if __name__ == "__main__":
    main()
