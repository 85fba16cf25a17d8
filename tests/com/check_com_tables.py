#!/usr/bin/env python3
"""Holds the Direct3D and DXGI description tables (api/com) against the catalogue's figures.

The catalogue (catalogue.txt) gives the exported functions' slots, each interface's first slot
and number of slots, the structures and the enums that have printers with their numbers of
names, and parameter labels as the published declarations spell them. Every difference is
reported; the exit status is the number of differences (capped).

Usage: check_com_tables.py TOOLS_DIR CATALOGUE
"""
import re
import sys

sys.path.insert(0, sys.argv[1])
import comtable  # noqa: E402

problems: list[str] = []


def expect(ok: bool, what: str) -> None:
    if not ok:
        problems.append(what)


def label(p) -> str:
    """A parameter's label: its published type without annotations, then its name; a blank on
    both sides of a star, stars together, a fixed array's bound in front of the name."""
    t = re.sub(r"\bCONST\b", "const", p.published)
    m = re.match(r"^(?P<base>[^*]*?)\s*(?P<stars>\*.*)?$", t)
    base, stars = m.group("base").strip(), (m.group("stars") or "").replace(" ", "")
    stars = stars.replace("*const*", "*const *")
    if p.array:
        return f"{base} {''.join(f'[{n}]' for n in p.array)} {p.name}"
    return f"{base} {stars} {p.name}" if stars else f"{base} {p.name}"


def main() -> int:
    rows = [l.split(None, 1) for l in open(sys.argv[2], encoding="utf-8")
            if l.strip() and not l.startswith("#")]
    kinds: dict[str, list[str]] = {}
    for kind, rest in rows:
        kinds.setdefault(kind, []).append(rest.strip())

    slots = comtable.com_slots()
    functions = [s for s in slots if s.api == "com_function"]
    expect([f"{s.number} {s.call_name}" for s in functions] == kinds["function"],
           "exported functions or their slots differ")

    ifaces = comtable.interfaces()
    methods = [s for s in slots if s.api == "com_method"]
    expect(len(ifaces) == 196, f"{len(ifaces)} interfaces, not 196")
    expect(sum(len(i.methods) for i in ifaces) == 885, "declared methods are not 885")
    expect(len(methods) == 4520, f"{len(methods)} method slots, not 4520")
    runs: dict[str, list[int]] = {}
    for s in methods:
        runs.setdefault(s.interface, []).append(s.number)
    catalogue_runs = [r.split() for r in kinds["interface"]]
    expect([n for _, _, n in catalogue_runs] == [i.name for i in ifaces], "interface order differs")
    for start, count, name in catalogue_runs:
        run = runs.get(name, [])
        expect(run[:1] == [int(start)] and len(run) == int(count),
               f"{name}: run {run[:1]}+{len(run)}, catalogue {start}+{count}")

    recs, rec_aliases = comtable.records()
    record_names = {r.name for r in recs} | set(rec_aliases)
    expect(len(kinds["struct"]) == 256, "the catalogue's structures are not 256")
    for name in kinds["struct"]:
        expect(name in record_names, f"structure {name} is not in structs.txt")

    enums, _ = comtable.enums()
    printed = {e.name: len(e.values) for e in enums if e.printed}
    catalogue_enums = dict(r.split() for r in kinds["enum"])
    expect(len(printed) == 139, f"{len(printed)} enums with a printer, not 139")
    expect(sum(printed.values()) == 1123, f"{sum(printed.values())} enum names, not 1123")
    for name, count in catalogue_enums.items():
        expect(printed.get(name) == int(count),
               f"enum {name}: {printed.get(name)} names, catalogue {count}")
    expect(set(printed) == set(catalogue_enums), "enums with a printer differ from the catalogue's")

    labels = {label(p) for f in comtable.functions() for p in f.params}
    labels |= {label(p) for i in ifaces for m in i.methods for p in m.params}
    for text in kinds.get("label", []):
        expect(text in labels, f"no parameter has the label {text!r}")

    for p in problems:
        print(p)
    print(f"{len(problems)} differences")
    return min(len(problems), 100)


if __name__ == "__main__":
    sys.exit(main())
