"""The rules by which a Vulkan declaration becomes lines of the dump.

Which printer a value goes to follows from its declared type alone: one rule for hook
parameters and structure fields, with the two differences the layer makes between them (a
handle by value has no line as a parameter and two lines as a field; a fixed array is a counted
printer as a parameter and not rendered as a field). Labels re-spell the declaration. The family
of structure and enum printers is what a hook can reach from its parameters.
"""
from __future__ import annotations

import re
from dataclasses import dataclass

import apitable

U32 = {"uint32_t", "VkBool32", "VkSampleMask", "VkFlags", "DWORD"}
U64 = {"uint64_t", "size_t", "VkDeviceSize", "VkDeviceAddress", "VkFlags64"}
I32 = {"int32_t", "int"}
# Window-system values that are pointers in all but name.
WIN32_POINTERS = {"HWND", "HINSTANCE", "HMONITOR", "LPCWSTR"}


@dataclass
class TypeForm:
    """A declared type taken apart: `const char* const*` is base "char", depth 2."""
    base: str
    depth: int            # levels of pointer
    text: str             # the declared text


def type_form(text: str) -> TypeForm:
    words = text.replace("*", " * ").split()
    depth = words.count("*")
    base = [w for w in words if w not in ("const", "*", "struct")]
    assert len(base) == 1, text
    return TypeForm(base[0], depth, text)


def label(type_text: str, name: str, array: list[int] | None = None) -> str:
    """The declaration re-spelled: a blank before each star, the array size before the name."""
    t = re.sub(r"\s*\*", " *", type_text)
    t = t.replace("* const", "*const")
    sizes = "".join(f"[{n}]" for n in (array or []))
    return f"{t} {sizes} {name}" if sizes else f"{t} {name}"


@dataclass
class Line:
    """One printer call: `printer(value, [count,] "label", os, indent)`."""
    printer: str
    value: str            # "addr": the address of the value; "value": the value itself
    label: str
    count: str | None = None


class Rules:
    def __init__(self, reg: apitable.VulkanRegistry):
        self.reg = reg

    # --- kinds of named types ---
    def kind(self, name: str) -> str:
        r = self.reg
        name = r.resolve(name)
        if name in r.handles:
            return "handle"
        if name in r.enums:
            return "enum"
        if name in r.records:
            return r.records[name].kind   # "struct" | "union"
        if name in r.funcpointers:
            return "funcpointer"
        if name == "HANDLE":
            return "voidptr"
        if name in WIN32_POINTERS:
            return "pointerlike"
        scalar = r.basetypes.get(name, name)
        if name in r.bitmasks:
            scalar = "VkFlags64" if r.bitmasks[name] == "VkFlags64" else "VkFlags"
        if scalar in U32 or name in U32:
            return "u32"
        if scalar in U64 or name in U64:
            return "u64"
        if scalar in I32:
            return "i32"
        if scalar == "float":
            return "float"
        if scalar == "void":
            return "void"
        return "nyi"        # 8- and 16-bit integers, char, Windows records

    def printer_name(self, name: str) -> str:
        """The printer of a value of a named enum or structure type (aliases keep their name)."""
        return f"Print_{self.reg.resolve(name)}" if self.kind(name) == "enum" else f"Print_{name}"

    def line(self, type_text: str, name: str, array: list[int], field: bool,
             count: str | None = None) -> Line | None:
        """The printer call for a parameter (field=False) or structure field, or None: no line."""
        f = type_form(type_text)
        lab = label(type_text, name, array)
        if array:
            if field:
                return Line("printing::Print_NYI", "addr", lab)
            k = self.kind(f.base)
            if k == "float":
                return Line("printing::PrintArray_float", "value", lab, str(array[0]))
            if k == "enum":
                return Line(f"PrintArray_{self.reg.resolve(f.base)}", "value", lab, str(array[0]))
            raise ValueError(f"no counted printer for {type_text} {name}")
        k = self.kind(f.base)
        if f.depth == 0:
            if k == "handle":
                return Line("printing::Print_handle", "value", lab) if field else None
            if k == "union":
                return None
            if k in ("enum", "struct"):
                return Line(self.printer_name(f.base), "addr", lab)
            if k in ("funcpointer", "pointerlike"):
                return Line("printing::PrintPtr_NYI", "value", lab)
            simple = {"u32": "Print_uint32_t", "u64": "Print_uint64_t", "i32": "Print_int32_t",
                      "float": "Print_float", "voidptr": "Print_voidptr", "nyi": "Print_NYI"}
            return Line(f"printing::{simple[k]}", "addr", lab)
        if f.depth == 1:
            if k in ("void",):
                return Line("printing::Print_voidptr", "value", lab)
            if k in ("enum", "struct"):
                return Line(f"PrintPtr_{f.base if k == 'struct' else self.reg.resolve(f.base)}",
                            "value", lab)
            pointers = {"u32": "PrintPtr_uint32_t", "u64": "PrintPtr_uint64_t",
                        "i32": "PrintPtr_int32_t", "float": "PrintPtr_float"}
            return Line(f"printing::{pointers.get(k, 'PrintPtr_NYI')}", "value", lab)
        # Two levels of pointer.
        if k == "void":
            return None                      # the mapped-memory out-pointer of vkMapMemory
        if field or k not in ("struct", "u32"):
            return Line("printing::PrintPtr_NYI", "value", lab)
        element = f"PrintPtr_{f.base}" if k == "struct" else "printing::PrintPtr_uint32_t"
        return Line(f"printing::PrintPtrArray<{element}>", "value", lab, count)

    # --- hooks ---
    def parameter_lines(self, fn: apitable.Function) -> list[Line]:
        lines, last_count = [], None
        for p in fn.params:
            if p.name.endswith("Count") and type_form(p.type).depth == 0:
                last_count = p.name
            line = self.line(p.type, p.name, p.array, field=False, count=last_count)
            if line is not None:
                lines.append(line)
        return lines

    def result_line(self, fn: apitable.Function) -> Line | None:
        if not fn.returns_value:
            return None
        lab = f"= {fn.ret} RESULT "
        k = self.kind(fn.ret)
        if k == "enum":
            return Line(self.printer_name(fn.ret), "addr", lab)
        simple = {"u32": "Print_uint32_t", "u64": "Print_uint64_t"}
        return Line(f"printing::{simple.get(k, 'Print_NYI')}", "addr", lab)

    # --- structures ---
    def field_lines(self, record: apitable.Record) -> list[Line]:
        lines = []
        for m in record.members:
            line = self.line(m.type, m.name, m.array, field=True)
            if line is not None:
                lines.append(line)
        return lines

    def family(self) -> tuple[list[str], list[str]]:
        """The structure names (as declared, aliases included) and enums (resolved) that hooks
        reach: from parameters through pointers and by-value fields, never through a void
        pointer, a union or a fixed array."""
        structs: dict[str, None] = {}
        enums: dict[str, None] = {}

        def visit(type_text: str, array: list[int], field: bool) -> None:
            f = type_form(type_text)
            k = self.kind(f.base)
            if k == "enum" and (not array or not field) and f.depth <= 1:
                enums[self.reg.resolve(f.base)] = None
            if k != "struct" or array or f.depth > (1 if field else 2):
                return
            if f.depth == 2 and self.line(type_text, "x", [], field) is None:
                return
            if f.depth == 2 and "PrintPtrArray" not in self.line(type_text, "x", [], field, "n").printer:
                return
            if f.base in structs:
                return
            structs[f.base] = None
            for m in self.reg.records[self.reg.resolve(f.base)].members:
                visit(m.type, m.array, True)

        for fn in self.reg.functions:
            for p in fn.params:
                if self.line(p.type, p.name, p.array, field=False, count="n") is not None:
                    visit(p.type, p.array, False)
            if fn.returns_value and self.kind(fn.ret) == "enum":
                enums[self.reg.resolve(fn.ret)] = None
        return sorted(structs), sorted(enums)
