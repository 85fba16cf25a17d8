#!/usr/bin/env python3
"""Checks that a layer library defines exactly its two entry points in its dynamic symbol table."""
import subprocess
import sys

EXPECTED = {"tovGetDispatchTable", "tovGetLayerHelpText"}
TOOLCHAIN = {"_init", "_fini"}

out = subprocess.run(["readelf", "--dyn-syms", "--wide", sys.argv[1]], check=True,
                     capture_output=True, text=True).stdout
defined = set()
for line in out.splitlines():
    cols = line.split()
    # Num: Value Size Type Bind Vis Ndx Name
    if len(cols) >= 8 and cols[0].endswith(":") and cols[0][:-1].isdigit() and cols[6] != "UND":
        defined.add(cols[7].split("@")[0])
unexpected = defined - EXPECTED - TOOLCHAIN
missing = EXPECTED - defined
for name in sorted(unexpected):
    print(f"unexpected export: {name}")
for name in sorted(missing):
    print(f"missing export: {name}")
sys.exit(1 if unexpected or missing else 0)
