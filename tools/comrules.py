"""The rules by which a Direct3D or DXGI declaration becomes lines of the dump.

Which printer a value goes to follows from the text of its declared type alone, not from what
the type resolves to: a `DXGI_USAGE` is a number like a `UINT`, a `D3D11_PRIMITIVE_TOPOLOGY`
goes to the enum printer it names. One rule serves structure fields and method arguments, with
the differences the layer makes between them (a fixed array is not rendered in a structure and
is a flat array as an argument; a pointer to interface pointers is an object array as an
argument and an unread pointer in a structure).

Besides the rule, this module holds what sets single structures apart: the unions that are not
printed, the tagged unions with the member that each tag names, the fields left out, the bit
fields read from one word, the records whose fields have bare names.
"""
from __future__ import annotations

import re
from dataclasses import dataclass, field

import comenums
import comtable

U32 = {"UINT", "UINT32", "ULONG", "DWORD", "DXGI_USAGE"}
U64 = {"UINT64", "ULONGLONG", "SIZE_T", "D3D12_GPU_VIRTUAL_ADDRESS"}
I32 = {"INT", "int"}
F32 = {"FLOAT", "float"}
SIGNED = {"HRESULT", "APP_DEPRECATED_HRESULT"}
# Values the layer has no rendering of: small integers and the Windows records without a printer.
NYI = {"UINT8", "INT8", "BYTE", "UINT16", "USHORT", "GUID", "POINT", "SIZE", "char", "wchar_t",
       "WCHAR", "CHAR", "D3D12_RESOURCE_ALLOCATION_INFO", "D3D12_GPU_DESCRIPTOR_HANDLE",
       "SECURITY_ATTRIBUTES", "LARGE_INTEGER", "D3D10_RENDER_TARGET_BLEND_DESC1",
       "D3D11_RENDER_TARGET_BLEND_DESC", "D3D11_RENDER_TARGET_BLEND_DESC1",
       "D3D12_RENDER_TARGET_BLEND_DESC"}
# Untyped pointers in all but name: printed with the fixed text, null or not.
VOIDPTR = {"HANDLE", "LPCVOID", "LPVOID"}
# Pointers whose target is not read: text, window-system handles.
UNREAD_POINTERS = {"LPCSTR", "LPCWSTR", "LPSTR", "LPWSTR", "HWND", "HMODULE", "HMONITOR", "HDC"}
# Pointer types of arguments with a pointee printer of their own.
SCALAR_POINTERS = {"u32": "printing::PrintPtr_uint32_t", "u64": "printing::PrintPtr_uint64_t",
                   "i32": "printing::PrintPtr_int32_t", "f32": "printing::PrintPtr_float",
                   "bool": "PrintPtr_BOOL"}
# The two arrays of structure pointers that have a printer.
POINTER_ARRAYS = {"D3D12_VERSIONED_ROOT_SIGNATURE_DESC", "D3D12_RAYTRACING_GEOMETRY_DESC"}


@dataclass
class TypeForm:
    """A declared type taken apart: `const D3D12_RECT* const*` is base D3D12_RECT, depth 2."""
    base: str
    depth: int
    text: str


def type_form(text: str) -> TypeForm:
    words = text.replace("*", " * ").split()
    base = [w for w in words if w not in ("const", "*", "struct")]
    assert len(base) == 1, text
    return TypeForm(base[0], words.count("*"), text)


def label(type_text: str, name: str, array: list[int] | None = None, tight: bool = False) -> str:
    """The declaration re-spelled: blanks on both sides of a star ("const char * Name",
    "ID3D11Buffer *const * ppBuffers"), the array size between type and name ("BOOL [8] Enable",
    or with `tight` "FLOAT[4] Color")."""
    t = re.sub(r"\s*\*\s*", " * ", type_text).strip()
    t = re.sub(r"\*\s+\*", "**", t).replace("* const", "*const")
    sizes = "".join(f"[{n}]" for n in (array or []))
    if not sizes:
        return f"{t} {name}"
    return f"{t}{sizes} {name}" if tight else f"{t} {sizes} {name}"


@dataclass
class Line:
    """One printer call: `printer(value, [count,] "label", os, indent)`. `value` says what is
    passed: "addr" the address of the value, "value" the value itself, "object" an interface
    pointer (const taken away)."""
    printer: str
    value: str
    label: str
    count: str | None = None
    kind: str = ""       # the row of the type table: u32, bool, struct, object, ...


# --- where structures depart from the template -----------------------------------------------

@dataclass
class Tagged:
    """A union of which only the member that the tag names prints."""
    tag: str
    members: dict[int, str]          # tag value -> member name
    member_indent: int = 1           # 0: in line with the structure's own label
    label_suffix: dict[str, str] = field(default_factory=dict)


def _views(names: list[str], first: int = 1) -> dict[int, str]:
    return {first + i: n for i, n in enumerate(names) if n}


TAGGED: dict[str, Tagged] = {
    "D3D12_RESOURCE_BARRIER": Tagged("Type", {0: "Transition", 1: "Aliasing", 2: "UAV"}, 0),
    "D3D12_TEXTURE_COPY_LOCATION": Tagged("Type", {0: "SubresourceIndex", 1: "PlacedFootprint"}, 0),
    "D3D12_ROOT_PARAMETER": Tagged("ParameterType", {0: "DescriptorTable", 1: "Constants",
                                                     2: "Descriptor", 3: "Descriptor",
                                                     4: "Descriptor"}),
    "D3D12_ROOT_PARAMETER1": Tagged("ParameterType", {0: "DescriptorTable", 1: "Constants",
                                                      2: "Descriptor", 3: "Descriptor",
                                                      4: "Descriptor"}),
    "D3D12_VERSIONED_ROOT_SIGNATURE_DESC": Tagged("Version", {1: "Desc_1_0", 2: "Desc_1_1"}),
    "D3D12_RAYTRACING_GEOMETRY_DESC": Tagged("Type", {0: "Triangles", 1: "AABBs"}),
    "D3D12_RENDER_PASS_BEGINNING_ACCESS": Tagged("Type", {2: "Clear"}),
    "D3D12_RENDER_PASS_ENDING_ACCESS": Tagged("Type", {2: "Resolve"},
                                              label_suffix={"Resolve": ";"}),
    "D3D12_SHADER_RESOURCE_VIEW_DESC": Tagged("ViewDimension", _views(
        ["Buffer", "Texture1D", "Texture1DArray", "Texture2D", "Texture2DArray", "Texture2DMS",
         "Texture2DMSArray", "Texture3D", "TextureCube", "TextureCubeArray",
         "RaytracingAccelerationStructure"])),
    "D3D12_RENDER_TARGET_VIEW_DESC": Tagged("ViewDimension", _views(
        ["Buffer", "Texture1D", "Texture1DArray", "Texture2D", "Texture2DArray", "Texture2DMS",
         "Texture2DMSArray", "Texture3D"])),
    "D3D12_UNORDERED_ACCESS_VIEW_DESC": Tagged("ViewDimension", _views(
        ["Buffer", "Texture1D", "Texture1DArray", "Texture2D", "Texture2DArray", None, None,
         "Texture3D"])),
    "D3D12_DEPTH_STENCIL_VIEW_DESC": Tagged("ViewDimension", _views(
        ["Texture1D", "Texture1DArray", "Texture2D", "Texture2DArray", "Texture2DMS",
         "Texture2DMSArray"])),
}

# The indirect argument: for some types a line of the member's bare name at the structure's
# indent, then its numbers, some labels with the semicolon of the declaration kept.
INDIRECT_ARGUMENT = {
    3: ("VertexBuffer", ["UINT Slot;"]),
    5: ("Constant", ["UINT RootParameterIndex;", "UINT DestOffsetIn32BitValues",
                     "UINT Num32BitValuesToSet;"]),
    6: ("ConstantBufferView", ["UINT RootParameterIndex"]),
    7: ("ShaderResourceView", ["UINT RootParameterIndex"]),
    8: ("UnorderedAccessView", ["UINT RootParameterIndex"]),
}
INDIRECT_ARGUMENT_FIELDS = {"VertexBuffer": ["Slot"],
                            "Constant": ["RootParameterIndex", "DestOffsetIn32BitValues",
                                         "Num32BitValuesToSet"],
                            "ConstantBufferView": ["RootParameterIndex"],
                            "ShaderResourceView": ["RootParameterIndex"],
                            "UnorderedAccessView": ["RootParameterIndex"]}

# Printed by code of their own in the generator; the rule still gives their field lines.
RAYTRACING_INPUTS = "D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS"
INDIRECT = "D3D12_INDIRECT_ARGUMENT_DESC"
# Its members with a line of their own; the flat list prints element by element under a label
# line of its own at each element.
RAYTRACING_INPUT_LINES = ("InstanceDescs", "ppGeometryDescs")
# A union whose members all print, from the same memory, with the array label without a blank.
ALL_MEMBERS = {"D3D12_CLEAR_VALUE"}
# Records whose label line ends in ": " and whose fields have their bare names, as (field,
# printer) in printed order. LUID's upper half comes first.
BARE_RECORDS = {
    "RECT": [("left", "Print_HRESULT"), ("top", "Print_HRESULT"), ("right", "Print_HRESULT"),
             ("bottom", "Print_HRESULT")],
    "LUID": [("HighPart", "Print_HRESULT"), ("LowPart", "Print_uint32_t")],
}
# Structures that are nothing but a union, and unions in front of which only some fields print:
# every union that is neither tagged nor in ALL_MEMBERS is left out.


def printed_union(struct: str) -> bool:
    return struct in TAGGED or struct in ALL_MEMBERS or struct in (RAYTRACING_INPUTS, INDIRECT)


class Rules:
    def __init__(self, api_dir: str | None = None):
        kw = {} if api_dir is None else {"api_dir": api_dir}
        recs, self.aliases = comtable.records(**kw)
        self.records = {r.name: r for r in recs}
        self.enums = comenums.read_enums(**kw)
        self.interfaces = {i.name for i in comtable.interfaces(**kw)}

    def resolve(self, name: str) -> str:
        while name in self.aliases:
            name = self.aliases[name]
        return name

    def kind(self, name: str) -> str:
        if name in self.interfaces:
            return "interface"
        if self.enums.printer(name) is not None:
            return "enum"
        if name in U32:
            return "u32"
        if name in U64:
            return "u64"
        if name in I32:
            return "i32"
        if name in F32:
            return "f32"
        if name == "BOOL":
            return "bool"
        if name in SIGNED:
            return "signed"
        if name in ("void",) or name in VOIDPTR:
            return "void" if name == "void" else "voidptr"
        if name in UNREAD_POINTERS:
            return "unread"
        if name in NYI:
            return "nyi"
        if self.resolve(name) in self.records:
            return "struct"
        return "nyi"

    def line(self, type_text: str, name: str, array: list[int] | None = None,
             context: str = "field", count: str | None = None) -> Line:
        """The printer call of a structure field (context "field", also for a union's member)
        or of a method argument (context "argument"). `count` is the expression of an object
        array's count, for arguments."""
        f = type_form(type_text)
        k = self.kind(f.base)
        lab = label(type_text, name, array)
        if array:
            if context == "argument" and k == "f32":
                return Line("printing::PrintArray_float", "value", lab, str(array[0]), "array")
            if context == "argument" and k == "u32":
                return Line("printing::PrintArray_UINT", "value", lab, str(array[0]), "array")
            return Line("printing::Print_NYI", "addr", lab, kind="array")
        if f.depth == 0:
            simple = {"u32": "Print_uint32_t", "u64": "Print_uint64_t", "i32": "Print_int32_t",
                      "f32": "Print_float", "bool": "Print_BOOL", "signed": "Print_HRESULT",
                      "voidptr": "Print_voidptr", "nyi": "Print_NYI"}
            if k in simple:
                return Line(f"printing::{simple[k]}", "value" if k == "voidptr" else "addr",
                            lab, kind=k)
            if k == "unread":
                return Line("printing::PrintPtr_NYI", "value", lab, kind="unread")
            if k == "enum":
                return Line(self.enums.printer(f.base), "addr", lab, kind="enum")
            if k == "struct":
                return Line(f"Print_{f.base}", "addr", lab, kind="struct")
            raise ValueError(f"no printer for {type_text} {name}")
        if f.depth == 1:
            if k == "void":
                return Line("printing::Print_voidptr", "value", lab, kind="voidptr")
            if k == "interface":
                return Line(f"PrintObject_{f.base}", "object", lab, kind="object")
            if k == "struct":
                return Line(f"PrintPtr_{f.base}", "value", lab, kind="pointer")
            if k == "enum":
                return Line(f"PrintPtr_{self.enums.resolve(f.base)}", "value", lab, kind="pointer")
            if f.base == "HWND" and context == "argument":
                return Line("PrintPtr_HWND", "value", lab, kind="unread")
            if k in SCALAR_POINTERS and (context == "argument" or k == "u32"):
                return Line(SCALAR_POINTERS[k], "value", lab, kind="u32ptr" if k == "u32" else k)
            return Line("printing::PrintPtr_NYI", "value", lab, kind="unread")
        # Two levels of pointer.
        if context == "argument":
            if k == "void":
                return Line("PrintArray_voidptr", "value", lab, count or "1", "voidarray")
            if k == "interface":
                return Line(f"PrintArray_{f.base}", "value", lab, count or "1", "objectarray")
        if k == "struct" and f.base in POINTER_ARRAYS:
            return Line(f"PrintPtrArray_{f.base}", "value",
                        label(type_text, name, array) if context == "argument" else lab,
                        count or "1", "pointer")
        return Line("printing::PrintPtr_NYI", "value", lab, kind="unread")

    # --- structures ---------------------------------------------------------------------------

    def published_fields(self, struct: str) -> list:
        """The structure's fields and nested records in published order."""
        return self.records[self.resolve(struct)].members

    def printed_fields(self, struct: str) -> list[comtable.Field]:
        """The fields that the template prints in front of and behind a union, in order, with
        LARGE_INTEGER fields and the left-out unions taken away. The union itself, where it is
        printed, is not among them: see union_members."""
        return [m for m in self.published_fields(struct)
                if isinstance(m, comtable.Field) and m.type != "LARGE_INTEGER"]

    def union(self, struct: str) -> comtable.Record | None:
        for m in self.published_fields(struct):
            if isinstance(m, comtable.Record) and m.kind == "union":
                return m
        return None

    def fields_before_union(self, struct: str) -> tuple[list, list]:
        """The printed fields in front of the union and behind it."""
        before, after, seen = [], [], False
        for m in self.published_fields(struct):
            if isinstance(m, comtable.Record):
                seen = True
            elif m.type != "LARGE_INTEGER":
                (after if seen else before).append(m)
        return before, after

    def member(self, struct: str, name: str) -> comtable.Field:
        u = self.union(struct)
        for m in u.members:
            if isinstance(m, comtable.Field) and m.name == name:
                return m
        raise KeyError(f"{struct} has no member {name}")

    def field_lines(self, struct: str) -> list[Line]:
        """Every line with a declared type that the structure's printer can write: its fields,
        the members of a printed union (each once), and the numbers of the indirect argument.
        The figures of the family are counted over these."""
        if self.resolve(struct) in BARE_RECORDS:
            return []
        out = [self.line(m.type, m.name, m.array) for m in self.printed_fields(struct)]
        if struct == INDIRECT:
            out += [Line("printing::Print_uint32_t", "addr", lab, kind="u32")
                    for _, labels in INDIRECT_ARGUMENT.values() for lab in labels]
        elif struct in ALL_MEMBERS:
            out += [self.clear_value_line(m) for m in self.union(struct).members]
        elif struct in TAGGED:
            t = TAGGED[struct]
            for name in dict.fromkeys(t.members.values()):
                out.append(self.member_line(struct, name))
        elif struct == RAYTRACING_INPUTS:
            out += [self.line(m.type, m.name, m.array) for m in self.union(struct).members
                    if m.name in RAYTRACING_INPUT_LINES]
        return out

    def member_line(self, struct: str, name: str) -> Line:
        m = self.member(struct, name)
        line = self.line(m.type, m.name, m.array)
        line.label += TAGGED[struct].label_suffix.get(name, "")
        return line

    def clear_value_line(self, m: comtable.Field) -> Line:
        line = self.line(m.type, m.name, m.array)
        if m.array:
            line.label = label(m.type, m.name, m.array, tight=True)
        return line

    def field_structs(self, struct: str) -> list[tuple[str, bool]]:
        """The structures a structure's printer leads to: (name, through a pointer)."""
        out = []
        for line, t in self._typed(struct):
            f = type_form(t)
            if line.kind == "struct":
                out.append((f.base, False))
            elif line.kind == "pointer" and self.kind(f.base) == "struct":
                out.append((f.base, True))
        return out

    def _typed(self, struct: str):
        """(line, declared type) of every field line with a structure or pointer type."""
        if self.resolve(struct) in BARE_RECORDS:
            return
        for m in self.printed_fields(struct):
            yield self.line(m.type, m.name, m.array), m.type
        if struct in ALL_MEMBERS or struct in TAGGED or struct == RAYTRACING_INPUTS:
            names = ([m.name for m in self.union(struct).members] if struct not in TAGGED
                     else list(dict.fromkeys(TAGGED[struct].members.values())))
            for n in names:
                m = self.member(struct, n)
                yield self.line(m.type, m.name, m.array), m.type

    # --- the family ---------------------------------------------------------------------------

    def family(self, methods: list) -> tuple[list[str], list[str]]:
        """The structures that arguments reach (names as declared, aliases included), and those
        of them that some argument or field points to, which have a PrintPtr_. An argument
        reaches a structure through a pointer, a field through a pointer or by value; a union
        only where it prints, a fixed array never."""
        reached: dict[str, None] = {}
        pointed: set[str] = set()

        def visit(name: str) -> None:
            if name in reached:
                return
            reached[name] = None
            for s, through_pointer in self.field_structs(name):
                if through_pointer:
                    pointed.add(s)
                visit(s)

        for fn in methods:
            for p in fn.params:
                f = type_form(p.type)
                if p.array or self.kind(f.base) != "struct":
                    continue
                if f.depth == 1 or (f.depth == 2 and f.base in POINTER_ARRAYS):
                    pointed.add(f.base)
                    visit(f.base)
        return sorted(reached), sorted(pointed & set(reached))
