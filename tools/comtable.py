"""Reads the Direct3D and DXGI description tables (api/com) and lays out their dispatch slots.

functions.txt gives the 18 exported functions, interfaces.txt the COM interfaces with their own
methods in virtual-table order, structs.txt and enums.txt the records and enums the declarations
need. A parameter keeps three spellings: its SAL annotations, the published type without them,
from which labels are made, and the C++ type the Linux declarations use.
"""
from __future__ import annotations

import os
import re
from dataclasses import dataclass, field

import apitable
from apitable import TableError

FUNCTIONS_FIRST_SLOT = apitable.COM_FIRST_SLOT          # 3744
FUNCTION_COUNT = 18
METHODS_FIRST_SLOT = FUNCTIONS_FIRST_SLOT + FUNCTION_COUNT   # 3762

# A SAL annotation word, with its parenthesised arguments if it has any: _In_, _Out_writes_(n),
# _In_range_( 0, D3D11_... ), _Outptr_opt_result_maybenull_.
_SAL = re.compile(r"\b_[A-Z][A-Za-z_]*_\b\s*")


def split_annotations(text: str) -> tuple[str, str]:
    """(the annotations, the rest) of a parameter's text, each with its blanks folded."""
    out, notes, i = [], [], 0
    while i < len(text):
        m = _SAL.match(text, i)
        if m and (i == 0 or not (text[i - 1].isalnum() or text[i - 1] == "_")):
            start, i = i, m.end()
            if i < len(text) and text[i] == "(":
                depth = 0
                while i < len(text):
                    depth += {"(": 1, ")": -1}.get(text[i], 0)
                    i += 1
                    if depth == 0:
                        break
            notes.append(text[start:i])
            continue
        out.append(text[i])
        i += 1
    return " ".join(" ".join(notes).split()), " ".join("".join(out).split())


def strip_annotations(text: str) -> str:
    return split_annotations(text)[1]


def cpp_type(published: str) -> str:
    """The published type text as the Linux declarations spell it: CONST is const, stars stick
    to the type ("IUnknown* CONST*" becomes "IUnknown* const*")."""
    t = re.sub(r"\bCONST\b", "const", published)
    t = re.sub(r"\s*\*\s*", "* ", t).strip()
    t = re.sub(r"\*\s+(?=\*)", "*", t)
    t = re.sub(r"\*\s+const\b", "* const", t)
    return t.rstrip()


def _param(text: str) -> apitable.Param:
    notes, clean = split_annotations(text)
    m = re.match(r"^(?P<type>.*?[\w*&])\s*\b(?P<name>\w+)\s*(?P<array>(\[\s*\d+\s*\])*)$", clean)
    if not m:
        raise TableError(f"cannot read parameter {text!r}")
    return apitable.Param(cpp_type(m.group("type")), m.group("name"),
                          [int(n) for n in re.findall(r"\d+", m.group("array"))],
                          " ".join(m.group("type").split()), notes)


def _prototype(line: str) -> apitable.Function:
    line = " ".join(line.split()).rstrip(";")
    m = re.match(r"^(?P<ret>.+?)\s*\b(?P<name>\w+)\((?P<params>.*)\)$", line)
    if not m:
        raise TableError(f"cannot read prototype {line!r}")
    raw = m.group("params").strip()
    params = [] if raw in ("", "void") else [_param(p) for p in apitable.split_params(raw)]
    return apitable.Function(cpp_type(m.group("ret")), m.group("name"), params,
                             " ".join(m.group("ret").split()))


@dataclass
class Interface:
    name: str
    base: str | None
    uuid: str
    methods: list[apitable.Function] = field(default_factory=list)   # its own, in vtable order


@dataclass
class Field:
    type: str
    name: str
    array: list[int] = field(default_factory=list)
    bits: int | None = None


@dataclass
class Record:
    kind: str                  # "struct" or "union"
    name: str | None           # None for an unnamed nested record
    members: list = field(default_factory=list)   # Field or nested Record, in order
    header: str = ""           # the SDK header the record comes from


@dataclass
class Enum:
    name: str
    values: list[tuple[str, int]]   # (name, signed 32-bit value) in published order
    printed: bool              # has a Print_<name> of its own
    header: str = ""

    @property
    def rows(self) -> list[tuple[str, int]]:
        return self.values


def _path(api_dir: str, name: str) -> str:
    return os.path.join(api_dir, "com", name)


def functions(api_dir: str = apitable.API_DIR) -> list[apitable.Function]:
    return [_prototype(l) for l in apitable.read_lines(_path(api_dir, "functions.txt"))]


def interfaces(api_dir: str = apitable.API_DIR) -> list[Interface]:
    out: list[Interface] = []
    for line in apitable.read_lines(_path(api_dir, "interfaces.txt")):
        words = line.split()
        if words[0] == "interface":
            base = words[3] if len(words) > 3 and words[2] == ":" else None
            out.append(Interface(words[1], base, ""))
        elif words[0] == "uuid":
            out[-1].uuid = words[1]
        else:
            out[-1].methods.append(_prototype(line))
    return out


def vtable(iface: Interface, by_name: dict[str, Interface]) -> list[tuple[Interface, apitable.Function]]:
    """The interface's whole virtual table: (declaring interface, method), base methods first."""
    base = vtable(by_name[iface.base], by_name) if iface.base else []
    return base + [(iface, m) for m in iface.methods]


def _field(text: str) -> Field:
    type_text, last = text.strip().rsplit(None, 1)
    m = re.match(r"^(?P<name>\w+)(?P<rest>.*)$", last)
    if not m:
        raise TableError(f"cannot read field {text!r}")
    rest = m.group("rest").strip()
    bits = int(rest[1:]) if rest.startswith(":") else None
    arrays = [int(n) for n in re.findall(r"\[\s*(\d+)\s*\]", rest)]
    return Field(cpp_type(type_text), m.group("name"), arrays, bits)


def _structs(api_dir: str):
    """records, aliases (new name -> old name) and scalar typedefs (old, new) of structs.txt."""
    out: list[Record] = []
    aliases: dict[str, str] = {}
    typedefs: list[tuple[str, str]] = []
    stack: list[Record] = []
    header = ""
    for where, line in apitable.numbered_lines(_path(api_dir, "structs.txt")):
        words = line.split()
        top = not line[0].isspace()
        if top and words[0] == "header" and len(words) == 2:
            header = words[1]
        elif top and words[0] == "typedef" and len(words) == 3:
            typedefs.append((words[1], words[2]))
        elif top and words[0] == "alias" and len(words) == 3:
            aliases[words[1]] = words[2]
            stack = []
        elif top and words[0] in ("struct", "union") and len(words) == 2:
            rec = Record(words[0], words[1], header=header)
            out.append(rec)
            stack = [rec]
        elif top or not stack:
            raise TableError(f"{where}: cannot read {line!r}")
        elif words[0] in ("struct", "union") and len(words) <= 2:
            rec = Record(words[0], words[1] if len(words) == 2 else None)
            stack[-1].members.append(rec)
            stack.append(rec)
        elif words == ["end"]:
            stack.pop()
        else:
            stack[-1].members.append(_field(line))
    return out, aliases, typedefs


def records(api_dir: str = apitable.API_DIR) -> tuple[list[Record], dict[str, str]]:
    """The records in table order, and the aliases (new name -> old name)."""
    out, aliases, _ = _structs(api_dir)
    return out, aliases


def scalar_typedefs(api_dir: str = apitable.API_DIR) -> list[tuple[str, str]]:
    """The scalar typedefs of structs.txt, as (old, new)."""
    return _structs(api_dir)[2]


def enums(api_dir: str = apitable.API_DIR) -> tuple[list[Enum], dict[str, str]]:
    """The enums in table order, and the aliases (typedef name -> the enum it names)."""
    out: dict[str, Enum] = {}
    aliases: dict[str, str] = {}
    printed, header, current = True, "", None
    for where, line in apitable.numbered_lines(_path(api_dir, "enums.txt")):
        words = line.split()
        if line[0] in " \t":
            if current is None or len(words) != 2:
                raise TableError(f"{where}: stray row {line!r}")
            value = int(words[1], 0)
            if not -2**31 <= value < 2**31:
                raise TableError(f"{where}: {words[1]} is no signed 32-bit value")
            current.values.append((words[0], value))
            continue
        current = None
        if words == ["unprinted"]:
            printed = False
        elif words[0] == "header" and len(words) == 2:
            header = words[1]
        elif words[0] == "enum" and len(words) == 2:
            if words[1] in out or words[1] in aliases:
                raise TableError(f"{where}: {words[1]} declared twice")
            current = out[words[1]] = Enum(words[1], [], printed, header)
        elif words[0] == "alias" and len(words) == 3:
            aliases[words[1]] = words[2]
        else:
            raise TableError(f"{where}: cannot read {line!r}")
    for alias, target in aliases.items():
        if target not in out:
            raise TableError(f"enums.txt: alias {alias} names no enum: {target}")
    return list(out.values()), aliases


def com_slots(api_dir: str = apitable.API_DIR) -> list[apitable.Slot]:
    """Slots 3744 on: the exported functions, then each interface's whole virtual table."""
    slots = [apitable.Slot(FUNCTIONS_FIRST_SLOT + i, f.name, f"Hook_{f.name}", f, "com_function")
             for i, f in enumerate(functions(api_dir))]
    ifaces = interfaces(api_dir)
    by_name = {i.name: i for i in ifaces}
    number = METHODS_FIRST_SLOT
    for iface in ifaces:
        for declaring, method in vtable(iface, by_name):
            slots.append(apitable.Slot(number, f"{iface.name}::{method.name}",
                                       f"Hook_{iface.name}_{method.name}", method, "com_method",
                                       iface.name, declaring.name))
            number += 1
    return slots
