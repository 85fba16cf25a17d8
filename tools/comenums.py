"""Reads the Direct3D and DXGI enum table (api/com/enums.txt).

The table lists first the enums that have a printer, then, behind the comment line that begins
with NO_PRINTER_MARK, the enums that only resolve types. An alias prints through the enum it
names: `D3D11_PRIMITIVE_TOPOLOGY` has no printer of its own, it is `Print_D3D_PRIMITIVE_TOPOLOGY`.
"""
from __future__ import annotations

import os
import re
from dataclasses import dataclass

API_DIR = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "api")
NO_PRINTER_MARK = "# Enums with no printer"


@dataclass
class ComEnum:
    name: str
    rows: list[tuple[str, int]]   # (name, signed 32-bit value) in published order
    printed: bool                 # has a Print_<name> of its own


@dataclass
class ComEnums:
    enums: dict[str, ComEnum]     # in table order
    aliases: dict[str, str]       # typedef name -> the enum it names

    def resolve(self, name: str) -> str:
        while name in self.aliases:
            name = self.aliases[name]
        return name

    def family(self) -> list[str]:
        """The enums with a printer, in table order."""
        return [e.name for e in self.enums.values() if e.printed]

    def printer(self, type_name: str) -> str | None:
        """The printer of a declared enum type, aliases followed; None if it has none."""
        e = self.enums.get(self.resolve(type_name))
        return f"Print_{e.name}" if e is not None and e.printed else None


def read_enums(api_dir: str = API_DIR) -> ComEnums:
    enums: dict[str, ComEnum] = {}
    aliases: dict[str, str] = {}
    printed, current = True, None
    with open(os.path.join(api_dir, "com", "enums.txt"), encoding="utf-8") as f:
        for number, raw in enumerate(f, 1):
            line = raw.rstrip("\n")
            where = f"enums.txt:{number}"
            if line.startswith(NO_PRINTER_MARK):
                printed = False
                continue
            text = line.split("#", 1)[0].rstrip()
            if not text.strip():
                continue
            words = text.split()
            if text[0] in " \t":
                if current is None or len(words) != 2:
                    raise ValueError(f"{where}: stray row {line!r}")
                value = int(words[1])
                if not -2**31 <= value < 2**31:
                    raise ValueError(f"{where}: {words[1]} is no signed 32-bit value")
                current.rows.append((words[0], value))
            elif words[0] == "enum" and len(words) == 2:
                if words[1] in enums or words[1] in aliases:
                    raise ValueError(f"{where}: {words[1]} declared twice")
                current = enums[words[1]] = ComEnum(words[1], [], printed)
            elif words[0] == "alias" and len(words) == 3:
                aliases[words[1]] = words[2]
                current = None
            else:
                raise ValueError(f"{where}: cannot read {line!r}")
    for alias, target in aliases.items():
        if target not in enums:
            raise ValueError(f"alias {alias} names no enum: {target}")
    return ComEnums(enums, aliases)


_POINTER = re.compile(r"\b(\w+)\s*\*(?!\s*(\*|const\b))")


def pointed_enums(table: ComEnums, api_dir: str = API_DIR) -> list[str]:
    """The printed enums that some argument or field declares a pointer to (one `*`, `const` or
    not), in table order. They get a PrintPtr_ printer; a pointer to a pointer is no such use."""
    seen = set()
    for name in ("functions.txt", "interfaces.txt", "structs.txt"):
        with open(os.path.join(api_dir, "com", name), encoding="utf-8") as f:
            for line in f:
                if line.lstrip().startswith("#"):
                    continue
                for m in _POINTER.finditer(line):
                    if table.printer(m.group(1)) is not None:
                        seen.add(table.resolve(m.group(1)))
    return [e for e in table.family() if e in seen]
