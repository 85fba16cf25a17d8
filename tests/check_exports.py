#!/usr/bin/env python3
"""Checks that a layer library exports exactly its two entry points.

Usage: check_exports.py LIBRARY                  (Linux: the dynamic symbol table, by readelf)
       check_exports.py --objdump OBJDUMP DLL    (Windows: the PE export and import tables)

On Windows the import table is checked too: the host's C++ functions from hostcore-x64.dll under
their MSVC-decorated names, the logger from journal-x64.dll, the two Win32 functions from
kernel32 and rpcrt4, and no DLL beyond those and the C runtime (the C++ runtime is linked in).
"""
import re
import subprocess
import sys

EXPECTED = {"tovGetDispatchTable", "tovGetLayerHelpText"}
TOOLCHAIN = {"_init", "_fini"}

# DLL (lower case) -> the names the layer must import from it; exact unless marked "at least".
IMPORTS = {
    "hostcore-x64.dll": {
        "?GetEventPublisher@runtime@tov@@YAPEAVEventPublisher@12@XZ",
        "??0Subscriber@EventPublisher@runtime@tov@@QEAA@XZ",
        "??1Subscriber@EventPublisher@runtime@tov@@UEAA@XZ",
    },
    "journal-x64.dll": {"LogMessage"},
    "rpcrt4.dll": {"UuidFromStringA"},
}
AT_LEAST = {"kernel32.dll": {"DisableThreadLibraryCalls"}}
ALLOWED_DLLS = set(IMPORTS) | set(AT_LEAST) | {"msvcrt.dll"}

problems = []


def compare(what, actual, expected):
    for name in sorted(actual - expected):
        problems.append(f"unexpected {what}: {name}")
    for name in sorted(expected - actual):
        problems.append(f"missing {what}: {name}")


def elf_exports(path):
    out = subprocess.run(["readelf", "--dyn-syms", "--wide", path], check=True,
                         capture_output=True, text=True).stdout
    defined = set()
    for line in out.splitlines():
        cols = line.split()
        # Num: Value Size Type Bind Vis Ndx Name
        if len(cols) >= 8 and cols[0].endswith(":") and cols[0][:-1].isdigit() and cols[6] != "UND":
            defined.add(cols[7].split("@")[0])
    return defined - TOOLCHAIN


def pe_tables(objdump, path):
    """The export names and, per DLL, the imported names, from `objdump -p`."""
    out = subprocess.run([objdump, "-p", path], check=True, capture_output=True, text=True).stdout
    exports, imports, dll, section = set(), {}, None, None
    for line in out.splitlines():
        if line.startswith("[Ordinal/Name Pointer] Table"):
            section = "exports"
        elif m := re.match(r"\s+DLL Name: (\S+)", line):
            section, dll = "imports", m.group(1).lower()
            imports.setdefault(dll, set())
        elif not line.strip():
            if section == "exports":
                section = None
        elif section == "exports" and (m := re.match(r"\s+\[\s*\d+\] (\S+)$", line)):
            exports.add(m.group(1))
        elif section == "imports" and (m := re.match(r"\s+[0-9a-f]+\s+\d+\s+(\S+)$", line)):
            imports[dll].add(m.group(1))
    return exports, imports


if sys.argv[1] == "--objdump":
    exports, imports = pe_tables(sys.argv[2], sys.argv[3])
    compare("export", exports, EXPECTED)
    for dll in sorted(set(imports) - ALLOWED_DLLS):
        problems.append(f"unexpected DLL: {dll} ({', '.join(sorted(imports[dll]))})")
    for dll, names in IMPORTS.items():
        compare(f"import from {dll}", imports.get(dll, set()), names)
    for dll, names in AT_LEAST.items():
        compare(f"import from {dll}", imports.get(dll, set()) & names, names)
else:
    compare("export", elf_exports(sys.argv[1]), EXPECTED)

for problem in problems:
    print(problem)
sys.exit(1 if problems else 0)
