"""One model of the declared types of Vulkan, Direct3D and DXGI, and of the rules by which a
declaration becomes lines of the dump.

Which printer a value goes to follows from the text of its declared type alone: its kind (a
number, an enum, a structure, an object, ...), its depth of pointers, and whether it stands as a
parameter of a call or as a field of a structure. One visitor, `Model.line`, makes the printer
call of any parameter or field of either API, and gives a pointer that the API counts as an
array the condition under which it counts no element, where nothing behind the pointer is read.
The two API models add only what really differs between them: Vulkan handles, its ignored
pointers and the lengths of api/vulkan/lengths.txt; COM objects with their ids, counts from SAL
annotations and the rules of api/com/struct_rules.txt and api/com/hook_rules.txt.

Hooks and structure printers are built as lists of C++ statements together with the `Line`s
they print, so that the family of printers (which structures and enums need one) is exactly
what the generated code calls. The model also holds what other generators need of a
declaration: its C++ signature (`Model.signature`), the parameters that hand out objects
(`ComModel.out_objects`) and the count expression of a counted argument (`ComModel.count`).
"""
from __future__ import annotations

import os
import re
from dataclasses import dataclass, field

import apitable
import comtable
from apitable import TableError

# Spellings of the scalar types of both APIs, by kind.
SCALARS = {
    "u32": "uint32_t DWORD UINT UINT32 ULONG DXGI_USAGE",
    "u64": "uint64_t size_t UINT64 ULONGLONG SIZE_T D3D12_GPU_VIRTUAL_ADDRESS",
    "i32": "int32_t int INT",
    "signed": "HRESULT APP_DEPRECATED_HRESULT LONG",
    "f32": "float FLOAT",
    "bool": "BOOL",
    # Untyped by value: the fixed text, the value not even tested for null.
    "voidptr": "HANDLE LPCVOID LPVOID",
    # Pointers in all but name whose target is never read: text and window-system handles.
    "unread": "HWND HINSTANCE HMODULE HMONITOR HDC LPCWSTR LPWSTR LPCSTR LPSTR",
    # Values with no rendering: small integers, characters, the Windows records.
    "nyi": "UINT8 INT8 BYTE UINT16 USHORT uint8_t int8_t uint16_t char wchar_t WCHAR CHAR "
           "IID SECURITY_ATTRIBUTES LPD3D10BLOB",
    "void": "void",
    "reference": "REFIID REFGUID",
}
KIND_OF = {name: kind for kind, names in SCALARS.items() for name in names.split()}
NUMBERS = ("u32", "u64", "i32", "signed", "f32", "bool")
VALUE_PRINTERS = {"u32": "Print_uint32_t", "u64": "Print_uint64_t", "i32": "Print_int32_t",
                  "signed": "Print_HRESULT", "f32": "Print_float", "bool": "Print_BOOL",
                  "voidptr": "Print_voidptr", "nyi": "Print_NYI"}
POINTEE_PRINTERS = {"u32": "PrintPtr_uint32_t", "u64": "PrintPtr_uint64_t",
                    "i32": "PrintPtr_int32_t", "f32": "PrintPtr_float", "bool": "PrintPtr_BOOL"}
POINTEE_KINDS = {f"{k}ptr" for k in POINTEE_PRINTERS}
FRAME_BOUNDARY_RUN = 20


@dataclass
class TypeForm:
    """A declared type taken apart: `const char* const*` is base "char", depth 2."""
    base: str
    depth: int
    text: str


def type_form(text: str) -> TypeForm:
    words = re.sub(r"\bCONST\b", "const", text).replace("*", " * ").split()
    base = [w for w in words if w not in ("const", "*", "struct")]
    if len(base) != 1:
        raise TableError(f"cannot read type {text!r}")
    return TypeForm(base[0], words.count("*"), text)


def label_type(text: str) -> str:
    """A type re-spelled for a label: a blank on both sides of a lone star, stars together,
    "*const *" for a constant array of pointers."""
    t = re.sub(r"\bCONST\b", "const", text)
    t = re.sub(r"\s*\*\s*", " * ", t).strip()
    t = re.sub(r"\*\s+\*", "**", t)
    return re.sub(r"\*\s+const\b", "*const", t)


def label(type_text: str, name: str, array: list[int] | None = None, tight: bool = False) -> str:
    """The declaration re-spelled: the array size between type and name ("BOOL [8] Enable", or
    with `tight` "FLOAT[4] Color")."""
    t = label_type(type_text)
    sizes = "".join(f"[{n}]" for n in (array or []))
    if not sizes:
        return f"{t} {name}"
    return f"{t}{sizes} {name}" if tight else f"{t} {sizes} {name}"


def cpp_string(text: str) -> str:
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def zero_test(length: str, siblings: dict, prefix: str = "") -> str | None:
    """The C++ condition under which an array's length, as its declaration writes it over the
    sibling parameters or fields (`siblings`: name -> declaration, reached in C++ through
    `prefix`), counts no element. The forms: a sibling number; a sibling pointer, or `*name`, whose
    target is read after the call (a null one tells nothing, unless the declaration makes it
    optional: then the API counts nothing); `name->member` through a sibling pointer (a null one
    tells nothing); any other arithmetic over siblings and constants, evaluated (over constants
    alone it is never 0). A length in bytes counts the same way: 0 bytes, no element."""
    length = " ".join(length.split())
    if length == "null-terminated":
        return None
    arrow = re.fullmatch(r"(\w+)->(\w+)", length)
    if arrow and arrow.group(1) in siblings:
        p = prefix + arrow.group(1)
        return f"({p} != nullptr && {p}->{arrow.group(2)} == 0)"
    target = re.fullmatch(r"\*?\s*(\w+)", length)
    if target and target.group(1) in siblings:
        name = target.group(1)
        decl = siblings[name]
        if type_form(decl.type).depth == 0:
            return f"{prefix}{name} == 0"
        p = prefix + name
        if getattr(decl, "optional", False):
            return f"({p} == nullptr || *{p} == 0)"
        return f"({p} != nullptr && *{p} == 0)"
    if not any(w in siblings for w in re.findall(r"\b[A-Za-z_]\w*", length)):
        return None     # a constant of the API: never 0
    formula = re.sub(r"\b[A-Za-z_]\w*\b",
                     lambda w: (f"static_cast<std::uint64_t>({prefix}{w.group()})"
                                if w.group() in siblings else w.group()), length)
    return f"({formula}) == 0"


@dataclass
class Line:
    """One printer call: `printer(value, [count,] "label", stream, indent)`."""
    printer: str
    value: str                 # "addr": the address of the value; "value": the value itself
    label: str
    count: str | None = None   # the element count of a counted printer, as C++ over the
                               # hook's parameters or the structure's `value`
    kind: str = ""             # the kind of the declared type
    target: str | None = None  # the enum or structure whose printer is called, as declared
    pointer: bool = False      # the target is reached through a pointer
    nullable: bool = False     # a flat array that may be null: a null one shows as a pointer
    unread_if: str | None = None   # C++ condition under which nothing behind the pointer is read
                                   # (the API counts no element there, or ignores the pointer in
                                   # this state): the line then only says whether it is null

    @property
    def reads_pointee(self) -> bool:
        """A pointer printer without a count of its own: it reads one element at the pointer."""
        return self.count is None and (self.kind == "pointer" or self.kind in POINTEE_KINDS)

    def call(self, source: str, stream: str, indent: str) -> str:
        value = f"&{source}" if self.value == "addr" else source
        count = f", {self.count}" if self.count is not None else ""
        text = f"{self.printer}({value}{count}, {cpp_string(self.label)}, {stream}, {indent});"
        if self.nullable:
            return (f"if ({source} == nullptr) printing::WriteNullLine({cpp_string(self.label)}, "
                    f"{stream}, {indent}); else {text}")
        if self.unread_if:
            return (f"if ({self.unread_if}) printing::PrintPtr_NYI({source}, "
                    f"{cpp_string(self.label)}, {stream}, {indent}); else {text}")
        return text


@dataclass
class Printed:
    """C++ statements of a dump or a structure printer, and the lines they can print."""
    statements: list[str] = field(default_factory=list)
    lines: list[Line] = field(default_factory=list)

    def add(self, line: Line | None, source: str, stream: str, indent: str, pad: str = "    ",
            bits: bool = False) -> None:
        if line is None:
            return
        self.lines.append(line)
        if bits:
            # A bit field has no address: it is printed from a word of its own.
            self.statements.append(f"{pad}{{\n{pad}    const std::uint32_t bits = {source};\n"
                                   f"{pad}    {line.call('bits', stream, indent)}\n{pad}}}\n")
        else:
            self.statements.append(f"{pad}{line.call(source, stream, indent)}\n")

    def text(self) -> str:
        return "".join(self.statements)


@dataclass
class Signature:
    """A function as C++ declares it: result type and parameters."""
    ret: str
    decls: list[str]
    types: list[str]
    names: list[str]

    def decl_params(self) -> str:
        return ", ".join(self.decls)

    def call_params(self) -> str:
        return ", ".join(self.names)


class Model:
    """What both APIs share. `api` names the generated files' prefix and namespace."""
    api = ""
    namespace = ""
    call_convention = ""

    # --- kinds ----------------------------------------------------------------------------
    def kind(self, name: str) -> str:
        own = self.own_kind(name)
        if own is not None:
            return own
        if name in KIND_OF:
            return KIND_OF[name]
        raise TableError(f"no kind for the type {name}")

    def own_kind(self, name: str) -> str | None:
        raise NotImplementedError

    def enum_name(self, name: str) -> str | None:
        """The enum whose printer a declared enum type prints through, None without one."""
        raise NotImplementedError

    def record_name(self, name: str) -> str:
        """The record a declared structure type names (aliases followed)."""
        raise NotImplementedError

    def printed(self, name: str) -> bool:
        """Whether a structure has a printer; one without shows ": IS NYI"."""
        return True

    # --- the visitor ------------------------------------------------------------------------
    def line(self, decl, context: str, count: str | None = None, tight: bool = False,
             owner=None) -> Line | None:
        """The printer call of a parameter (context "param"; "method" for the arguments of a COM
        method) or a structure field (context "field"), or None where it has no line. `decl`
        has .type, .name, .array and, for parameters, .published and .annotation. With `owner`,
        the function or record that declares it, a pointer that the API counts as an array is
        not read where its count is 0: its line only says whether it is null."""
        line = self._line(decl, context, count, tight)
        if line is not None and owner is not None and line.reads_pointee:
            line.unread_if = self.zero_count(owner, decl)
        return line

    def zero_count(self, owner, decl) -> str | None:
        """C++ condition, true where the API counts no element behind the pointer `decl` of
        `owner`; None where the declaration gives no count or it cannot be told."""
        raise NotImplementedError

    def _line(self, decl, context: str, count: str | None, tight: bool) -> Line | None:
        published = getattr(decl, "published", "") or decl.type
        f = type_form(decl.type)
        k = self.kind(f.base)
        lab = label(published, decl.name, decl.array, tight)
        enum = self.enum_name(f.base) if k == "enum" else None
        if decl.array:
            if context == "field":
                return Line("printing::Print_NYI", "addr", lab, kind="array")
            return self.fixed_array(decl, f, k, lab, enum)
        if f.depth == 0:
            if k == "reference" or (context == "method" and k in ("enum", "struct")):
                return None     # interface ids by reference; COM methods' enums and records
            if k == "union":
                return None     # a union that no rule tells has no line
            if k == "handle":
                return Line("printing::Print_handle", "value", lab, kind=k) if context == "field" else None
            if k == "enum":
                if enum is None and context != "field":
                    raise TableError(f"the enum of {lab} has no printer")
                return (Line(f"Print_{enum}", "addr", lab, kind=k, target=enum) if enum
                        else Line("printing::Print_NYI", "addr", lab, kind="nyi"))
            if k == "struct" and self.printed(f.base):
                return Line(f"Print_{f.base}", "addr", lab, kind=k, target=f.base)
            if k == "struct":
                return Line("printing::Print_NYI", "addr", lab, kind="nyi")
            if k in ("funcpointer", "unread"):
                return Line("printing::PrintPtr_NYI", "value", lab, kind=k)
            if k in VALUE_PRINTERS:
                return Line(f"printing::{VALUE_PRINTERS[k]}", "value" if k == "voidptr" else "addr",
                            lab, kind=k)
            raise TableError(f"no printer for {lab}")
        if f.depth == 1:
            if k == "void":
                return Line("printing::Print_voidptr", "value", lab, kind="voidptr")
            if k == "interface":
                return Line(f"PrintObject_{self.interface_name(f.base)}", "value", lab, kind="object")
            if k == "struct" and self.printed(f.base):
                return Line(f"PrintPtr_{f.base}", "value", lab, kind="pointer", target=f.base,
                            pointer=True)
            if k == "enum" and enum:
                return Line(f"PrintPtr_{enum}", "value", lab, kind="pointer", target=enum, pointer=True)
            if f.base == "HWND" and context != "field":
                return Line("printing::PrintPtr_HWND", "value", lab, kind="unread")
            if k in POINTEE_PRINTERS:
                return Line(f"printing::{POINTEE_PRINTERS[k]}", "value", lab, kind=f"{k}ptr")
            return Line("printing::PrintPtr_NYI", "value", lab, kind="unread")
        return self.pointer_to_pointers(decl, f, k, lab, context, count)

    def fixed_array(self, decl, f: TypeForm, k: str, lab: str, enum: str | None) -> Line:
        raise NotImplementedError

    def pointer_to_pointers(self, decl, f, k, lab, context, count) -> Line | None:
        raise NotImplementedError

    def interface_name(self, name: str) -> str:
        return name

    def pointer_array(self, target: str, lab: str, count: str | None) -> Line:
        """An array of pointers to structures: the label line, then each element."""
        return Line(f"PrintPtrArray_{target}", "value", lab, count or "1", "pointer", target, True)

    # --- results and hooks ---------------------------------------------------------------------
    def result_line(self, fn: apitable.Function) -> Line | None:
        if not fn.returns_value:
            return None
        lab = f"= {label_type(fn.published_ret)} RESULT "
        f = type_form(fn.published_ret)
        k = self.kind(f.base)
        if f.depth == 0 and k in NUMBERS:
            return Line(f"printing::{VALUE_PRINTERS[k]}", "addr", lab, kind=k)
        enum = self.enum_name(f.base) if f.depth == 0 and k == "enum" else None
        if enum:
            return Line(f"Print_{enum}", "addr", lab, kind=k, target=enum)
        # Pointers, handles and structures by value: the label and ": IS NYI", nothing read.
        return Line("printing::Print_NYI", "addr", lab, kind="nyi")

    def dump(self, slot: apitable.Slot) -> Printed:
        """The statements behind the header line of a hook's dump: the object (COM methods), the
        arguments at indent 1, the result at indent 0 and what a rule adds behind it."""
        out = Printed()
        self.dump_arguments(slot, out)
        out.add(self.result_line(slot.function), "result", "std::cout", "0")
        return out

    def dump_arguments(self, slot: apitable.Slot, out: Printed) -> None:
        raise NotImplementedError

    def signature(self, fn: apitable.Function, self_type: str | None = None) -> Signature:
        """The C++ signature of a function, or of a COM method whose object has `self_type`."""
        return Signature(fn.ret, [p.decl for p in fn.params], [p.cpp_type for p in fn.params],
                         [p.name for p in fn.params])

    def outputs(self, fn: apitable.Function) -> list[tuple[int, str]]:
        """(index, what to write) of the parameters a call writes through: "object" for a pointer
        to interface pointers, "" for a pointer to a number or an enum, ".<field>" for a pointer
        to a structure, whose first number field is written. Pointers to const are inputs."""
        out = []
        for i, p in enumerate(fn.params):
            words = p.type.replace("*", " * ").split()
            f = type_form(p.type)
            if p.array or f.depth == 0 or words[-2] == "const" or (f.depth == 1 and "const" in words):
                continue
            k = self.kind(f.base)
            if f.depth == 2 and k == "interface":
                out.append((i, "object"))
            elif f.depth == 1 and (k in NUMBERS or (k == "enum" and self.enum_name(f.base))):
                out.append((i, ""))
            elif f.depth == 1 and k == "struct" and self.printed(f.base):
                path = self.first_number(self.record_name(f.base))
                if path:
                    out.append((i, path))
        return out

    def first_number(self, record: str) -> str | None:
        raise NotImplementedError

    # --- structure printers -------------------------------------------------------------------
    def record_printer(self, name: str) -> Printed:
        raise NotImplementedError

    def family(self, slots: list[apitable.Slot]) -> Family:
        """The structures and enums the hooks of these slots reach, with the printers each
        needs: through the lines of the dumps, then of each structure printer reached."""
        fam = Family()
        todo = [l for s in slots for l in self.dump(s).lines]
        while todo:
            line = todo.pop()
            if line.target is None:
                continue
            if self.is_enum(line.target):
                fam.enums.add(line.target)
                if line.pointer:
                    fam.pointed_enums.add(line.target)
                if line.printer.startswith("PrintArray_"):
                    fam.enum_arrays.add(line.target)
                continue
            if line.pointer:
                fam.pointed.add(line.target)
            if line.printer.startswith("PrintPtrArray_"):
                fam.pointer_arrays.add(line.target)
            if line.target not in fam.structs:
                fam.structs[line.target] = None
                todo += self.record_printer(line.target).lines
        return fam

    def is_enum(self, name: str) -> bool:
        raise NotImplementedError

    def enum_printers(self, fam: Family) -> list[tuple[str, list[tuple[str, int]]]]:
        raise NotImplementedError

    def enum_rows(self, name: str) -> list[tuple[str, int]]:
        raise NotImplementedError


@dataclass
class Family:
    structs: dict[str, None] = field(default_factory=dict)   # as declared, aliases included
    pointed: set[str] = field(default_factory=set)           # structures with a PrintPtr_
    pointer_arrays: set[str] = field(default_factory=set)    # ... and a PrintPtrArray_
    enums: set[str] = field(default_factory=set)
    pointed_enums: set[str] = field(default_factory=set)
    enum_arrays: set[str] = field(default_factory=set)


# --- Vulkan -----------------------------------------------------------------------------------

class VulkanModel(Model):
    api = "vulkan"
    namespace = "tov::vulkan"
    call_convention = "VKAPI_CALL"

    def __init__(self, api_dir: str = apitable.API_DIR):
        self.reg = apitable.vulkan_registry(api_dir)
        self.functions = {f.name: f for f in self.reg.functions}
        self.ignored = self._ignored_pointers(os.path.join(api_dir, "vulkan", "ignored_pointers.txt"))
        self.lengths = self._lengths(os.path.join(api_dir, "vulkan", "lengths.txt"))

    def _siblings(self, owner) -> dict:
        """The parameters of a function or the members of a structure, by name."""
        return {m.name: m for m in (owner.params if isinstance(owner, apitable.Function) else owner.members)}

    def _lengths(self, path: str) -> dict[tuple[str, str], str]:
        """(function or structure, pointer) -> its length; every name a length counts by must be
        a sibling, a member of the structure a sibling points at, or an API constant."""
        out = {}
        for where, line in apitable.numbered_lines(path):
            owner_name, name, length = line.split(None, 2)
            owner = self.functions.get(owner_name) or self.reg.records.get(owner_name)
            siblings = self._siblings(owner) if owner else {}
            if name not in siblings or "*" not in siblings[name].type:
                raise TableError(f"{where}: {owner_name} has no pointer {name}")
            for dim in (d.strip() for d in length.split(",")):
                arrow = re.fullmatch(r"(\w+)->(\w+)", dim)
                if arrow:
                    via = siblings.get(arrow.group(1))
                    record = self.reg.records.get(self.reg.resolve(type_form(via.type).base)) if via else None
                    if record is None or arrow.group(2) not in self._siblings(record):
                        raise TableError(f"{where}: {name} cannot be counted by {dim}")
                    continue
                if dim == "null-terminated":
                    continue
                for word in re.findall(r"\b[A-Za-z_]\w*", dim):
                    if word not in siblings and not re.fullmatch(r"VK_[A-Z0-9_]+", word):
                        raise TableError(f"{where}: {owner_name} has no {word} to count {name} by")
            out[(owner_name, name)] = length
        return out

    def _first_length(self, owner, decl) -> str | None:
        """The count of the pointer itself: the first of its length's levels."""
        length = self.lengths.get((owner.name, decl.name))
        return length.split(",")[0].strip() if length else None

    def zero_count(self, owner, decl):
        length = self._first_length(owner, decl)
        prefix = "" if isinstance(owner, apitable.Function) else "value->"
        return zero_test(length, self._siblings(owner), prefix) if length else None

    def _ignored_pointers(self, path: str) -> dict[tuple[str, str], str]:
        """(structure, pointer field) -> the C++ condition under which the API ignores it."""
        out = {}
        for where, line in apitable.numbered_lines(path):
            struct, member, condition = line.split(None, 2)
            record = self.reg.records.get(struct)
            m = next((m for m in record.members if m.name == member), None) if record else None
            if m is None or "*" not in m.type:
                raise TableError(f"{where}: {struct} has no pointer field {member}")
            out[(struct, member)] = condition
        return out

    def own_kind(self, name: str) -> str | None:
        r = self.reg
        name = r.resolve(name)
        if name in r.handles:
            return "handle"
        if name in r.enums:
            return "enum"
        if name in r.records:
            return r.records[name].kind
        if name in r.funcpointers:
            return "funcpointer"
        if name in r.bitmasks:
            return "u64" if r.bitmasks[name] == "VkFlags64" else "u32"
        if name in r.basetypes and name not in KIND_OF:
            return self.kind(r.basetypes[name])
        return None

    def enum_name(self, name: str) -> str | None:
        return self.reg.resolve(name)

    def record_name(self, name: str) -> str:
        return self.reg.resolve(name)

    def is_enum(self, name: str) -> bool:
        return name in self.reg.enums

    def enum_printers(self, fam: Family) -> list[tuple[str, list[tuple[str, int]]]]:
        """The enums with a printer, with their rows: those the hooks reach."""
        return [(e, self.reg.enums[e].rows) for e in sorted(fam.enums)]

    def enum_rows(self, name: str) -> list[tuple[str, int]]:
        return self.reg.enums[name].rows

    def fixed_array(self, decl, f, k, lab, enum):
        if k == "f32":
            return Line("printing::PrintArray_float", "value", lab, str(decl.array[0]), k)
        if k == "enum":
            return Line(f"PrintArray_{enum}", "value", lab, str(decl.array[0]), k, enum)
        raise TableError(f"no counted printer for {lab}")

    def pointer_to_pointers(self, decl, f, k, lab, context, count):
        if k == "void":
            return None          # the mapped-memory out-pointer of vkMapMemory
        if context == "field":
            return Line("printing::PrintPtr_NYI", "value", lab, kind="unread")
        if count is None and k in ("struct", "u32"):
            raise TableError(f"no length for the array of pointers {lab}")
        if k == "struct":
            return self.pointer_array(f.base, lab, count)
        if k == "u32":
            return Line("printing::PrintPtrArray<printing::PrintPtr_uint32_t>", "value", lab, count,
                        "pointer")
        return Line("printing::PrintPtr_NYI", "value", lab, kind="unread")

    def dump_arguments(self, slot, out):
        fn = slot.function
        for p in fn.params:
            # An array of pointers prints every element: its count is a sibling's value.
            count = self._first_length(fn, p)
            count = count if count in self._siblings(fn) else None
            out.add(self.line(p, "param", count, owner=fn), p.name, "std::cout", "1")

    def first_number(self, record: str) -> str | None:
        for m in self.reg.records[record].members:
            f = type_form(m.type)
            k = self.kind(f.base)
            if m.array or m.bits is not None or f.depth:
                continue
            if k in NUMBERS:
                return f".{m.name}"
            if k == "struct" and (inner := self.first_number(self.record_name(f.base))):
                return f".{m.name}{inner}"
        return None

    def record_printer(self, name: str) -> Printed:
        record = self.reg.records[self.reg.resolve(name)]
        out = Printed(["    printing::WriteLabelLine(std::move(label), os, indent);\n"])
        for m in record.members:
            line = self.line(m, "field", owner=record)
            ignored = self.ignored.get((record.name, m.name))
            if line is not None and ignored is not None:
                # The API leaves the pointer undefined in this state: only null or not shows.
                line.unread_if = " || ".join(f"({c})" for c in (ignored, line.unread_if) if c)
            out.add(line, f"value->{m.name}", "os", "indent + 1", bits=m.bits is not None)
        if len(out.statements) == 1:
            out.statements.append("    static_cast<void>(value);\n")
        return out


# --- Direct3D and DXGI ------------------------------------------------------------------------

# An annotation that gives an array's length: _In_reads_opt_(NumViews),
# _Out_writes_opt_(*pNumClassInstances), _Outptr_result_bytebuffer_(*pBufferSize).
_LENGTH = re.compile(r"\b_(?:In_reads|Out_writes|Inout_updates|Outptr(?:_opt)?_result_bytebuffer"
                     r"|In(?:_opt)?_count|Inout_opt_bytecount)\w*?_\s*\(")


def annotated_length(annotation: str) -> str | None:
    """The text inside the length annotation of one parameter, or None."""
    m = _LENGTH.search(annotation)
    if not m:
        return None
    depth, i = 1, m.end()
    while depth:
        depth += {"(": 1, ")": -1}.get(annotation[i], 0)
        i += 1
    return " ".join(annotation[m.end():i - 1].split())


@dataclass
class Tagged:
    """A union of which only the member that the tag names prints."""
    tag: str
    members: dict[int, str]          # tag value -> member name
    record: object = None            # the record whose union it tells
    inline: bool = False             # the member at the structure's own indent
    suffix: dict[str, str] = field(default_factory=dict)   # member -> text behind its label


@dataclass
class StructRules:
    tagged: dict[str, Tagged] = field(default_factory=dict)
    headed: dict[str, Tagged] = field(default_factory=dict)
    headed_fields: dict[tuple[str, str], list[str]] = field(default_factory=dict)
    all_members: set[str] = field(default_factory=set)
    bare: dict[str, list[str]] = field(default_factory=dict)
    pointer_arrays: set[str] = field(default_factory=set)
    unprinted: set[str] = field(default_factory=set)
    lengths: dict[tuple[str, str], str] = field(default_factory=dict)   # (record, pointer) -> count


@dataclass
class HookRules:
    tight: set[tuple[str, str]] = field(default_factory=set)   # (method key, argument)
    event: set[str] = field(default_factory=set)                # method keys
    frame: set[str] = field(default_factory=set)
    lengths: dict[tuple[str, str], str] = field(default_factory=dict)   # (method key, argument) -> count


class ComModel(Model):
    api = "com"
    namespace = "tov::com_values"
    call_convention = "TOV_COM_CALL"
    # Type names the SDK gives an interface, as (interface, name).
    INTERFACE_TYPEDEFS = [("ID3D10Blob", "ID3DBlob"), ("ID3D10Blob*", "LPD3D10BLOB")]
    RESULT_PARAM = "RetVal"
    # Printed by code of its own: a union told by two tags, the structure's type and then the
    # layout of its list.
    RAYTRACING_INPUTS = "D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS"

    def __init__(self, api_dir: str = apitable.API_DIR):
        recs, self.aliases = comtable.records(api_dir)
        self.records = {r.name: r for r in recs}
        enums, self.enum_aliases = comtable.enums(api_dir)
        self.enums = {e.name: e for e in enums}
        self.interfaces = comtable.interfaces(api_dir)
        self.interface_names = {i.name for i in self.interfaces}
        self.interface_alias = {new: old for old, new in self.INTERFACE_TYPEDEFS if "*" not in old}
        self.functions = comtable.functions(api_dir)
        self.methods = {f"{i.name}::{m.name}": m for i in self.interfaces for m in i.methods}
        self.methods.update({f.name: f for f in self.functions})
        self.rules = self._struct_rules(os.path.join(api_dir, "com", "struct_rules.txt"))
        self.hook_rules = self._hook_rules(os.path.join(api_dir, "com", "hook_rules.txt"))
        if self.RAYTRACING_INPUTS not in self.records:
            raise TableError(f"no record {self.RAYTRACING_INPUTS}")

    # --- rule files -----------------------------------------------------------------------------
    def _struct_rules(self, path: str) -> StructRules:
        rules = StructRules()
        current: tuple[str, Tagged] | None = None
        for where, line in apitable.numbered_lines(path):
            words = line.split()
            if line[0] in " \t":
                if current is None or len(words) < 2:
                    raise TableError(f"{where}: stray row {line!r}")
                kind, t = current
                if kind == "tagged":
                    values = [w for w in words if w.isdigit()]
                    rest = words[len(values):]
                    self._member(where, t.record, rest[0])
                    for v in values:
                        t.members[int(v)] = rest[0]
                    if len(rest) > 1:
                        t.suffix[rest[0]] = " ".join(rest[1:])
                else:
                    member = self._member(where, t.record, words[1])
                    names = [w.rstrip(";") for w in words[2:]]
                    for n in names:
                        self._field(where, member, n)
                    t.members[int(words[0])] = words[1]
                    rules.headed_fields[(t.record.name, words[1])] = words[2:]
                continue
            current = None
            directive, names = words[0], words[1:]
            if directive in ("tagged", "headed"):
                record = self._record(where, names[0])
                self._field(where, record, names[1])
                t = Tagged(names[1], {}, record, inline=names[2:] == ["inline"])
                (rules.tagged if directive == "tagged" else rules.headed)[names[0]] = t
                current = (directive, t)
            elif directive == "allmembers":
                self._record(where, names[0])
                rules.all_members.add(names[0])
            elif directive == "bare":
                record = self._record(where, names[0])
                for n in names[1:]:
                    self._field(where, record, n)
                rules.bare[names[0]] = names[1:]
            elif directive == "pointerarray":
                self._record(where, names[0])
                rules.pointer_arrays.add(names[0])
            elif directive == "unprinted":
                for n in names:
                    self._record(where, n)
                rules.unprinted.update(names)
            elif directive == "length" and len(names) == 3:
                record = self._record(where, names[0])
                pointer, count = self._field(where, record, names[1]), self._field(where, record, names[2])
                if type_form(pointer.type).depth != 1 or type_form(count.type).depth != 0 or \
                        self.kind(type_form(count.type).base) not in NUMBERS:
                    raise TableError(f"{where}: {names[2]} is no count of a pointer {names[1]}")
                rules.lengths[(record.name, names[1])] = names[2]
            else:
                raise TableError(f"{where}: unknown rule {directive!r}")
        return rules

    def _record(self, where: str, name: str) -> comtable.Record:
        record = self.records.get(self.resolve(name))
        if record is None:
            raise TableError(f"{where}: no record {name}")
        return record

    def _field(self, where: str, record: comtable.Record, name: str) -> comtable.Field:
        f = next((m for m in record.members if isinstance(m, comtable.Field) and m.name == name), None)
        if f is None:
            raise TableError(f"{where}: {record.name} has no field {name}")
        return f

    def _member(self, where: str, record: comtable.Record, name: str):
        """A member of the record's union: a field, or a nested structure with that name."""
        for u in record.members:
            if isinstance(u, comtable.Record) and u.kind == "union":
                for m in u.members:
                    if m.name == name:
                        return m
        raise TableError(f"{where}: the union of {record.name} has no member {name}")

    def _hook_rules(self, path: str) -> HookRules:
        rules = HookRules()
        for where, line in apitable.numbered_lines(path):
            words = line.split()
            sizes = {"tight": 3, "event": 2, "frame": 2, "length": 4}
            if len(words) != sizes.get(words[0]):
                raise TableError(f"{where}: cannot read rule {line!r}")
            fn = self.methods.get(words[1])
            if fn is None:
                raise TableError(f"{where}: no declared method or function {words[1]}")
            if words[0] == "tight":
                p = fn.param(words[2])
                if p is None or type_form(p.type).base != "void" or type_form(p.type).depth != 2:
                    raise TableError(f"{where}: {words[1]} has no void ** argument {words[2]}")
                rules.tight.add((words[1], words[2]))
            elif words[0] == "event":
                if [p.name for p in fn.params] != ["Metadata", "pData", "Size"]:
                    raise TableError(f"{where}: event text needs Metadata, pData, Size")
                rules.event.add(words[1])
            elif words[0] == "length":
                p, count = fn.param(words[2]), fn.param(words[3])
                if p is None or count is None or type_form(p.type).depth != 1 or \
                        type_form(count.type).depth != 0 or self.kind(type_form(count.type).base) not in NUMBERS:
                    raise TableError(f"{where}: {words[1]} has no array {words[2]} counted by {words[3]}")
                rules.lengths[(words[1], words[2])] = words[3]
            else:
                rules.frame.add(words[1])
        return rules

    # --- kinds ----------------------------------------------------------------------------------
    def resolve(self, name: str) -> str:
        while name in self.aliases:
            name = self.aliases[name]
        return name

    def own_kind(self, name: str) -> str | None:
        if name in self.interface_names or name in self.interface_alias:
            return "interface"
        enum = name
        while enum in self.enum_aliases:
            enum = self.enum_aliases[enum]
        if enum in self.enums:
            return "enum"
        record = self.resolve(name)
        if record in self.records:
            return self.records[record].kind
        return None

    def printed(self, name: str) -> bool:
        return self.resolve(name) not in self.rules.unprinted

    def enum_name(self, name: str) -> str | None:
        while name in self.enum_aliases:
            name = self.enum_aliases[name]
        return name if self.enums[name].printed else None

    def record_name(self, name: str) -> str:
        return self.resolve(name)

    def is_enum(self, name: str) -> bool:
        return name in self.enums

    def enum_printers(self, fam: Family) -> list[tuple[str, list[tuple[str, int]]]]:
        """The enums with a printer, with their rows: those the table marks, in table order."""
        return [(e.name, e.values) for e in self.enums.values() if e.printed]

    def enum_rows(self, name: str) -> list[tuple[str, int]]:
        return self.enums[name].values

    def interface_name(self, name: str) -> str:
        return self.interface_alias.get(name, name)

    def fixed_array(self, decl, f, k, lab, enum):
        flat = {"f32": "printing::PrintArray_float", "u32": "printing::PrintArray_UINT"}
        if decl.array != [4] or k not in flat:
            raise TableError(f"no printer for the fixed array {lab}")
        # An optional array may be null, and the flat printer reads without a null test.
        return Line(flat[k], "value", lab, "4", "array", nullable=decl.optional)

    def pointer_to_pointers(self, decl, f, k, lab, context, count):
        if context != "field" and k == "void":
            return Line("PrintArray_voidptr", "value", lab, count or "1", "voidarray")
        if context != "field" and k == "interface":
            return Line(f"PrintArray_{self.interface_name(f.base)}", "value", lab, count or "1",
                        "objectarray")
        if k == "struct" and f.base in self.rules.pointer_arrays:
            return self.pointer_array(f.base, lab, "1")
        return Line("printing::PrintPtr_NYI", "value", lab, kind="unread")

    # --- hooks ----------------------------------------------------------------------------------
    def returns_record(self, fn: apitable.Function) -> bool:
        """Whether a method returns a structure by value (and so takes the result storage)."""
        return fn.ret in self.records or fn.ret in self.aliases

    def signature(self, fn, self_type=None):
        if self_type is None:
            return super().signature(fn)
        sig = Signature(fn.ret, [f"{self_type}* This"], [f"{self_type}*"], ["This"])
        if self.returns_record(fn):
            sig.ret = f"{fn.ret}*"
            sig.decls.append(f"{fn.ret}* {self.RESULT_PARAM}")
            sig.types.append(f"{fn.ret}*")
            sig.names.append(self.RESULT_PARAM)
        plain = super().signature(fn)
        sig.decls += plain.decls
        sig.types += plain.types
        sig.names += plain.names
        return sig

    def out_objects(self, fn: apitable.Function) -> list[tuple[apitable.Param, apitable.Param | None, str | None]]:
        """(parameter, its interface id parameter, interface) of every parameter through which a
        call hands out interface pointers: an out-annotated pointer to an interface pointer, or a
        `void **` right behind the interface id that tells what it is (interface None)."""
        out, previous = [], None
        for p in fn.params:
            words = re.sub(r"\b(?:struct|enum)\s+", "", p.published).replace("*", " * ").split()
            f = type_form(" ".join(words))
            riid = previous if previous is not None and previous.type in ("REFIID", "REFGUID") else None
            previous = p
            if not p.out or f.depth != 2 or (len(words) > 1 and words[-2] == "const"):
                continue
            if f.base in self.interface_names or f.base in self.interface_alias:
                out.append((p, None, self.interface_name(f.base)))
            elif f.base == "void" and riid is not None:
                out.append((p, riid, None))
        return out

    def zero_count(self, owner, decl):
        if isinstance(owner, comtable.Record):
            count = self.rules.lengths.get((owner.name, decl.name))
            return f"value->{count} == 0" if count else None
        length = annotated_length(decl.annotation)
        if length is None or "_Inexpressible_" in length:
            return None     # the headers say the length cannot be written as an expression
        # Of a capacity and the part written (`_Out_writes_to_(size, count)`), the capacity is
        # what the pointer must be valid for.
        first = apitable.split_params(length)[0]
        return zero_test(first, {p.name: p for p in owner.params})

    def count(self, key: str, fn: apitable.Function, index: int, checks_result: bool) -> str:
        """The count expression of a counted array argument."""
        p = fn.params[index]
        length = annotated_length(p.annotation)
        names = {q.name for q in fn.params}
        out_objects = p.out and self.kind(type_form(p.type).base) == "interface"
        # The elements of an out-array of objects that a failed call left unwritten are not
        # read: on a failing HRESULT the array shows its label line (or its null line) alone.
        def guard(e):
            return f"(result < 0 ? std::uint64_t{{0}} : {e})" if out_objects and checks_result else e
        if length is None:
            return guard("std::uint64_t{1}") if out_objects and checks_result else "1"
        if "_Inexpressible_" in length:
            return "0"
        target = re.fullmatch(r"\*\s*(\w+)", length)
        if target and target.group(1) in names:
            # Read after the call. A null count pointer gives 0 elements, and so does a failed
            # call: the target may not have been written.
            n = target.group(1)
            expr = f"({n} == nullptr ? std::uint64_t{{0}} : std::uint64_t{{*{n}}})"
            return f"(result < 0 ? std::uint64_t{{0}} : {expr})" if checks_result else expr
        if length in names:
            return guard(f"static_cast<std::uint64_t>({length})")
        raise TableError(f"{key}: cannot count {p.name} by {length!r}")

    def dump_arguments(self, slot, out):
        fn, key, declaring = slot.function, slot.key, slot.declaring
        if declaring is not None:
            self_line = Line(f"PrintObject_{declaring}", "value", f"{declaring}* self", kind="object")
            out.add(self_line, f"reinterpret_cast<const {declaring}*>(This)", "std::cout", "1")
        checks_result = fn.returns_value and self.kind(type_form(fn.published_ret).base) == "signed"
        if key in self.hook_rules.event:
            out.statements += [
                '    printing::Print_uint32_t(&Metadata, "UINT Metadata", std::cout, 1);\n',
                '    printing::Print_text(printing::DecodeEventText(Metadata, pData, Size).c_str(), '
                'Size, "void* pData", std::cout, 1);\n',
                '    printing::Print_uint32_t(&Size, "UINT Size", std::cout, 1);\n']
            return
        context = "method" if declaring is not None else "param"
        for i, p in enumerate(fn.params):
            f = type_form(p.type)
            counted = f.depth == 2 and self.kind(f.base) in ("void", "interface")
            line = self.line(p, context, self.count(key, fn, i, checks_result) if counted else None,
                             owner=fn)
            if line is not None and line.kind == "voidarray" and (key, p.name) in self.hook_rules.tight:
                line.printer = "PrintArray_voidptr_tight"
            if line is not None and line.reads_pointee and (key, p.name) in self.hook_rules.lengths:
                line.unread_if = f"{self.hook_rules.lengths[(key, p.name)]} == 0"
            out.add(line, p.name, "std::cout", "1")

    def dump(self, slot):
        out = super().dump(slot)
        if slot.key in self.hook_rules.frame:
            run = "#" * FRAME_BOUNDARY_RUN
            out.statements.append(f'    printing::WriteBareLine(std::cout, "{run}Frame Boundary{run}");\n')
        return out

    def first_number(self, record: str) -> str | None:
        if record in self.rules.bare or not self.printed(record):
            return None
        for m in self.records[record].members:
            if not isinstance(m, comtable.Field) or m.array or m.bits is not None:
                continue
            f = type_form(m.type)
            k = self.kind(f.base)
            if f.depth == 0 and k in NUMBERS:
                return f".{m.name}"
            if f.depth == 0 and k == "struct" and (inner := self.first_number(self.resolve(f.base))):
                return f".{m.name}{inner}"
        return None

    # --- structure printers ---------------------------------------------------------------------
    def union(self, record: comtable.Record) -> comtable.Record | None:
        return next((m for m in record.members if isinstance(m, comtable.Record) and m.kind == "union"), None)

    def record_printer(self, name: str) -> Printed:
        r = self.rules
        record = self.records[self.resolve(name)]
        out = Printed()
        if record.name in r.bare:
            out.statements.append('    printing::WriteLabelLine(std::move(label) + ": ", os, indent);\n')
            for n in r.bare[record.name]:
                f = self._field("", record, n)
                line = self.line(f, "field")
                line.label = n
                out.add(line, f"value->{n}", "os", "indent + 1")
            return out
        out.statements.append("    printing::WriteLabelLine(std::move(label), os, indent);\n")
        before, after, seen = [], [], False
        for m in record.members:
            if isinstance(m, comtable.Record):
                seen = True
            else:
                (after if seen else before).append(m)
        name = record.name
        special = (name in r.tagged or name in r.headed or name in r.all_members
                   or name == self.RAYTRACING_INPUTS)
        for m in before if special else before + after:
            out.add(self.line(m, "field", owner=record), f"value->{m.name}", "os", "indent + 1",
                    bits=m.bits is not None)
        union = self.union(record)
        if name in r.tagged:
            self._tagged(name, r.tagged[name], union, out)
        elif name in r.headed:
            self._headed(name, r.headed[name], union, out)
        elif name in r.all_members:
            for m in union.members:
                out.add(self.line(m, "field", tight=True), f"value->{m.name}", "os", "indent + 1")
        elif name == self.RAYTRACING_INPUTS:
            self._raytracing_inputs(union, out)
        if special:
            for m in after:
                out.add(self.line(m, "field", owner=record), f"value->{m.name}", "os", "indent + 1",
                        bits=m.bits is not None)
        if len(out.statements) == 1:
            out.statements.append("    static_cast<void>(value);\n")
        return out

    def _switch(self, t: Tagged, cases: dict[str, Printed], out: Printed) -> None:
        values: dict[str, list[int]] = {}
        for value, member in t.members.items():
            values.setdefault(member, []).append(value)
        text = [f"    switch (static_cast<std::uint32_t>(value->{t.tag})) {{\n"]
        for member, vs in values.items():
            text += [f"    case {v}:\n" for v in vs]
            text += cases[member].statements + ["        break;\n"]
            out.lines += cases[member].lines
        text.append("    default:\n        break;\n    }\n")
        out.statements.append("".join(text))

    def _tagged(self, name, t, union, out):
        cases = {}
        for member in dict.fromkeys(t.members.values()):
            m = next(m for m in union.members if m.name == member)
            line = self.line(m, "field")
            line.label += t.suffix.get(member, "")
            cases[member] = Printed()
            cases[member].add(line, f"value->{member}", "os", "indent" if t.inline else "indent + 1",
                              pad="        ")
        self._switch(t, cases, out)

    def _headed(self, name, t, union, out):
        cases = {}
        for member in t.members.values():
            nested = next(m for m in union.members if m.name == member)
            case = cases[member] = Printed()
            case.statements.append(f'        printing::WriteLabelLine("{member}", os, indent);\n')
            for written in self.rules.headed_fields[(t.record.name, member)]:
                f = self._field("", nested, written.rstrip(";"))
                line = self.line(f, "field")
                line.label += ";" if written.endswith(";") else ""
                case.add(line, f"value->{member}.{f.name}", "os", "indent + 1", pad="        ")
        self._switch(t, cases, out)

    def _raytracing_inputs(self, union, out):
        members = {m.name: m for m in union.members}
        instances = self.line(members["InstanceDescs"], "field")
        geometry = type_form(members["pGeometryDescs"].type).base
        pointers = self.pointer_array(geometry, label_type(members["ppGeometryDescs"].type)
                                      + "ppGeometryDescs", "value->NumDescs")
        element = Line(f"Print_{geometry}", "addr", "", kind="struct", target=geometry)
        out.lines += [instances, pointers, element]
        out.statements.append(
            "    if (static_cast<std::uint32_t>(value->Type) == 0) {\n"
            f"        {instances.call('value->InstanceDescs', 'os', 'indent + 1')}\n"
            "    } else if (static_cast<std::uint32_t>(value->DescsLayout) != 0) {\n"
            f"        {pointers.call('value->ppGeometryDescs', 'os', 'indent + 1')}\n"
            "    } else {\n"
            "        for (std::uint32_t i = 0; i < value->NumDescs; ++i) {\n"
            "            printing::WriteLabelLine(\n"
            f'                "{label_type(members["pGeometryDescs"].type)}pGeometryDescs", os, indent);\n'
            f"            Print_{geometry}(&value->pGeometryDescs[i], printing::IndexLabel(i, true), os,\n"
            "                indent + 1);\n"
            "        }\n"
            "    }\n")


def model(api: str, api_dir: str = apitable.API_DIR) -> Model:
    return {"vulkan": VulkanModel, "com": ComModel}[api](api_dir)


def slots(api: str, api_dir: str = apitable.API_DIR) -> list[apitable.Slot]:
    return apitable.vulkan_slots(api_dir) if api == "vulkan" else comtable.com_slots(api_dir)
