"""Reads the export table of a Windows DLL (a PE32+ image): every export with its ordinal, its
name if it has one, and where the DLL forwards it, if it does.

    python3 pe_exports.py FILE.dll     prints the table as api/wine/exports.txt spells it
"""
from __future__ import annotations

import struct
import sys
from dataclasses import dataclass


@dataclass(frozen=True)
class Export:
    ordinal: int
    name: str | None        # None: exported by ordinal only
    forward: str | None     # "module.Function" for a forwarder, else None


class NotAnImage(ValueError):
    pass


def _sections(data: bytes, pe: int) -> list[tuple[int, int, int]]:
    """(virtual address, size, file offset) of each section."""
    count, optional_size = struct.unpack_from("<H12xH", data, pe + 6)
    first = pe + 24 + optional_size
    out = []
    for k in range(count):
        vsize, vaddr, rawsize, rawptr = struct.unpack_from("<IIII", data, first + 40 * k + 8)
        out.append((vaddr, max(vsize, rawsize), rawptr))
    return out


def read_exports(data: bytes) -> list[Export]:
    """The exports of an image, in ordinal order."""
    if data[:2] != b"MZ":
        raise NotAnImage("no MZ header")
    pe = struct.unpack_from("<I", data, 0x3C)[0]
    if data[pe:pe + 4] != b"PE\0\0":
        raise NotAnImage("no PE header")
    magic = struct.unpack_from("<H", data, pe + 24)[0]
    if magic != 0x20B:
        raise NotAnImage("not a PE32+ (64-bit) image")
    export_rva, export_size = struct.unpack_from("<II", data, pe + 24 + 112)
    if export_rva == 0:
        return []
    sections = _sections(data, pe)

    def offset(rva: int) -> int:
        for vaddr, size, rawptr in sections:
            if vaddr <= rva < vaddr + size:
                return rawptr + rva - vaddr
        raise NotAnImage(f"address {rva:#x} lies in no section")

    def text(rva: int) -> str:
        start = offset(rva)
        return data[start:data.index(b"\0", start)].decode("ascii")

    base, functions, names, functions_rva, names_rva, ordinals_rva = struct.unpack_from(
        "<IIIIII", data, offset(export_rva) + 16)
    named = {}
    for k in range(names):
        name_rva = struct.unpack_from("<I", data, offset(names_rva) + 4 * k)[0]
        index = struct.unpack_from("<H", data, offset(ordinals_rva) + 2 * k)[0]
        named[index] = text(name_rva)
    out = []
    for index in range(functions):
        rva = struct.unpack_from("<I", data, offset(functions_rva) + 4 * index)[0]
        if rva == 0:
            continue  # a gap in the ordinals
        forward = text(rva) if export_rva <= rva < export_rva + export_size else None
        out.append(Export(base + index, named.get(index), forward))
    return out


def spell(export: Export) -> str:
    line = f"{export.ordinal} {export.name or '-'}"
    return line + (f" -> {export.forward}" if export.forward else "")


if __name__ == "__main__":
    with open(sys.argv[1], "rb") as f:
        for e in read_exports(f.read()):
            print(spell(e))
