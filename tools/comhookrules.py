"""The rules by which a Direct3D or DXGI hook's dump follows from its declaration.

A declared method (or exported function) becomes an ordered list of lines: which arguments are
printed, with which label and printer, what count an array gets, and the result line. All of it
follows from the published type text and the annotations of api/com/interfaces.txt and
functions.txt; what does not (the void ** arrays with the tight element label, the event text
of Direct3D 12, the frame boundary of a present) is data in api/com/hook_rules.txt.

The code a line becomes is C++ inside a hook body, where the hook's parameters have their
declared names, `This` is the object and `result` the kept result.
"""
from __future__ import annotations

import os
import re
from dataclasses import dataclass

import apitable
import comenums
import comtable

HOOK_RULES = os.path.join(apitable.API_DIR, "com", "hook_rules.txt")

U32 = {"UINT", "DWORD", "DXGI_USAGE", "ULONG"}
U64 = {"UINT64", "SIZE_T", "D3D12_GPU_VIRTUAL_ADDRESS"}
I32 = {"INT", "int"}
SCALAR_BY_VALUE = {**{t: "printing::Print_uint32_t" for t in U32},
                   **{t: "printing::Print_uint64_t" for t in U64},
                   **{t: "printing::Print_int32_t" for t in I32},
                   "BOOL": "printing::Print_BOOL", "FLOAT": "printing::Print_float",
                   "UINT8": "printing::Print_NYI"}
SCALAR_POINTEE = {**{t: "printing::PrintPtr_uint32_t" for t in U32},
                  **{t: "printing::PrintPtr_uint64_t" for t in U64},
                  **{t: "printing::PrintPtr_int32_t" for t in I32},
                  "BOOL": "printing::PrintPtr_BOOL", "FLOAT": "printing::PrintPtr_float"}
# Untyped by value: the fixed text, the value not even tested for null.
VOIDPTR_BY_VALUE = {"HANDLE", "LPCVOID", "LPVOID"}
# Pointers by value whose target is never read: text and window-system handles.
UNREAD_BY_VALUE = {"LPSTR", "LPCSTR", "LPCWSTR", "HWND", "HMODULE", "HMONITOR"}
# Pointees with no rendering.
UNREAD_POINTEES = {"HANDLE", "HDC", "BYTE", "GUID", "IID", "SIZE", "POINT", "LARGE_INTEGER",
                   "SECURITY_ATTRIBUTES", "LPD3D10BLOB"}
REFERENCES = {"REFIID", "REFGUID"}
# Interface spellings that are typedefs of another interface.
INTERFACE_ALIASES = {"ID3DBlob": "ID3D10Blob"}
POINTER_ARRAYS = {"D3D12_VERSIONED_ROOT_SIGNATURE_DESC"}

RESULT_BY_TYPE = {"HRESULT": "printing::Print_HRESULT",
                  "APP_DEPRECATED_HRESULT": "printing::Print_HRESULT",
                  **{t: "printing::Print_uint32_t" for t in U32},
                  **{t: "printing::Print_uint64_t" for t in U64},
                  "INT": "printing::Print_int32_t", "BOOL": "printing::Print_BOOL",
                  "FLOAT": "printing::Print_float"}

FRAME_BOUNDARY = "#" * 20 + "Frame Boundary" + "#" * 20

# An annotation that gives an array's length: _In_reads_opt_(NumViews),
# _Out_writes_opt_(*pNumClassInstances), _Outptr_result_bytebuffer_(*pBufferSize).
_LENGTH = re.compile(r"\b_(?:In_reads|Out_writes|Inout_updates|Outptr(?:_opt)?_result_bytebuffer)"
                     r"\w*?_\s*\(")


@dataclass
class HookRules:
    tight: set[tuple[str, str]]     # (method key, argument name)
    event: set[str]                 # method keys
    frame: set[str]


def read_hook_rules(path: str = HOOK_RULES) -> HookRules:
    rules = HookRules(set(), set(), set())
    for line in apitable.read_lines(path):
        words = line.split()
        if words[0] == "tight":
            rules.tight.add((words[1], words[2]))
        elif words[0] == "event":
            rules.event.add(words[1])
        elif words[0] == "frame":
            rules.frame.add(words[1])
        else:
            raise ValueError(f"unknown hook rule {line!r}")
    return rules


def _raw_params(prototype: str) -> list[str]:
    m = re.match(r"^.*?\b\w+\s*\((?P<params>.*)\)\s*;?\s*$", " ".join(prototype.split()))
    raw = m.group("params").strip() if m else ""
    return [] if raw in ("", "void") else apitable.split_params(raw)


def raw_declarations(api_dir: str = apitable.API_DIR) -> dict[str, list[str]]:
    """Method key ("ID3D11Device::CreateBuffer", or a function's name) -> the parameters as
    written in the table, annotations included."""
    out: dict[str, list[str]] = {}
    iface = None
    for line in apitable.read_lines(os.path.join(api_dir, "com", "interfaces.txt")):
        words = line.split()
        if words[0] == "interface":
            iface = words[1]
        elif words[0] != "uuid":
            name = re.match(r"^.*?\b(\w+)\s*\(", line).group(1)
            out[f"{iface}::{name}"] = _raw_params(line)
    for line in apitable.read_lines(os.path.join(api_dir, "com", "functions.txt")):
        name = re.match(r"^.*?\b(\w+)\s*\(", line).group(1)
        out[name] = _raw_params(line)
    return out


def annotated_length(raw: str) -> str | None:
    """The text inside the length annotation of one parameter, or None."""
    m = _LENGTH.search(raw)
    if not m:
        return None
    depth, i = 1, m.end()
    while depth:
        depth += {"(": 1, ")": -1}.get(raw[i], 0)
        i += 1
    return " ".join(raw[m.end():i - 1].split())


def is_out_parameter(raw: str) -> bool:
    return re.search(r"\b_(Out|COM_Outptr|Outptr)\w*", raw) is not None


def label_type(published: str) -> str:
    """A published type re-spelled for a label: a blank on both sides of a lone star, two stars
    together, "*const *" for a constant array of pointers."""
    t = re.sub(r"\bCONST\b", "const", published)
    t = re.sub(r"\s*\*\s*", " * ", t).strip()
    t = re.sub(r"\*\s+\*", "**", t)
    return re.sub(r"\*\s+const\b", "*const", t)


def label(p: apitable.Param) -> str:
    sizes = "".join(f"[{n}]" for n in p.array)
    t = label_type(p.published)
    return f"{t} {sizes} {p.name}" if sizes else f"{t} {p.name}"


@dataclass
class Type:
    base: str
    depth: int
    const: bool


def take_apart(published: str) -> Type:
    words = re.sub(r"\bCONST\b", "const", published).replace("*", " * ").split()
    base = [w for w in words if w not in ("const", "*")]
    if len(base) != 1:
        raise ValueError(f"cannot read type {published!r}")
    return Type(base[0], words.count("*"), "const" in words)


class Rules:
    def __init__(self, api_dir: str = apitable.API_DIR, rules_path: str = HOOK_RULES):
        self.interfaces = {i.name for i in comtable.interfaces(api_dir)}
        recs, aliases = comtable.records(api_dir)
        self.records = {r.name for r in recs if r.name} | set(aliases)
        self.enums = comenums.read_enums(api_dir)
        self.raw = raw_declarations(api_dir)
        self.hook_rules = read_hook_rules(rules_path)

    # --- helpers ---------------------------------------------------------------------------
    def interface(self, base: str) -> str | None:
        base = INTERFACE_ALIASES.get(base, base)
        return base if base in self.interfaces else None

    def enum_printer(self, base: str) -> str | None:
        printer = self.enums.printer(base)
        return f"com_values::{printer}" if printer else None

    def is_enum(self, base: str) -> bool:
        return self.enums.resolve(base) in self.enums.enums

    # --- arguments -------------------------------------------------------------------------
    def count(self, key: str, params: list[apitable.Param], index: int, checks_result: bool) -> str:
        """The count expression of a counted array argument."""
        raw = self.raw[key][index]
        length = annotated_length(raw)
        names = {p.name for p in params}
        p = params[index]
        out_objects = is_out_parameter(raw) and self.interface(take_apart(p.published).base)
        # The elements of an out-array of objects that a failed call left unwritten are not
        # read: on a failing HRESULT the array shows its label line (or its null line) alone.
        guard = (lambda e: f"(result < 0 ? std::uint64_t{{0}} : {e})") if out_objects and checks_result \
            else (lambda e: e)
        if length is None:
            return guard("std::uint64_t{1}") if out_objects and checks_result else "1"
        if "_Inexpressible_" in length:
            return "0"
        target = re.fullmatch(r"\*\s*(\w+)", length)
        if target and target.group(1) in names:
            # Read after the call. A null count pointer gives 0 elements, and so does a failed
            # call: the target may not have been written.
            expr = f"({target.group(1)} == nullptr ? std::uint64_t{{0}} : std::uint64_t{{*{target.group(1)}}})"
            return f"(result < 0 ? std::uint64_t{{0}} : {expr})" if checks_result else expr
        if length in names:
            return guard(f"static_cast<std::uint64_t>({length})")
        raise ValueError(f"{key}: cannot count {p.name} by {length!r}")

    def argument(self, key: str, f: apitable.Function, index: int, is_function: bool,
                 checks_result: bool) -> str | None:
        """The statement that prints one argument, or None where the argument has no line."""
        p = f.params[index]
        t = take_apart(p.published)
        lab = label(p)
        out = "std::cout, 1"

        def call(printer: str, value: str, count: str | None = None) -> str:
            counted = f", {count}" if count is not None else ""
            return f'{printer}({value}{counted}, "{lab}", {out});'

        if t.base in REFERENCES:
            return None
        if p.array:
            flat = {"FLOAT": "printing::PrintArray_float", "UINT": "printing::PrintArray_UINT"}
            if p.array != [4] or t.depth or t.base not in flat:
                raise ValueError(f"{key}: fixed array {lab}")
            line = call(flat[t.base], p.name, "4")
            if "_opt_" not in self.raw[key][index]:
                return line
            # An optional array may be null, and the flat printer reads without a null test:
            # a null one shows as a null pointer does.
            return (f'if ({p.name} == nullptr) printing::WriteNullLine("{lab}", {out}); '
                    f"else {line}")
        if t.depth == 0:
            if t.base in SCALAR_BY_VALUE:
                return call(SCALAR_BY_VALUE[t.base], f"&{p.name}")
            if t.base in VOIDPTR_BY_VALUE:
                return call("printing::Print_voidptr", p.name)
            if t.base in UNREAD_BY_VALUE:
                return call("printing::PrintPtr_NYI", p.name)
            if self.is_enum(t.base):
                # Only the exported functions print an enumeration passed by value.
                return call(self.enum_printer(t.base), f"&{p.name}") if is_function else None
            if t.base in self.records:
                return None     # a structure by value has no line
            raise ValueError(f"{key}: no printer for {lab}")
        if t.depth == 1:
            iface = self.interface(t.base)
            if t.base == "void":
                return call("printing::Print_voidptr", p.name)
            if iface:
                return call(f"com_values::PrintObject_{iface}", p.name)
            if t.base in SCALAR_POINTEE:
                return call(SCALAR_POINTEE[t.base], p.name)
            if t.base in UNREAD_POINTEES:
                return call("printing::PrintPtr_NYI", p.name)
            if t.base == "HWND":
                return call("printing::PrintPtr_HWND", p.name)
            if self.is_enum(t.base):
                return call(f"com_values::PrintPtr_{self.enums.resolve(t.base)}", p.name)
            if t.base in self.records:
                return call(f"com_values::PrintPtr_{t.base}", p.name)
            raise ValueError(f"{key}: no printer for {lab}")
        if t.depth == 2:
            iface = self.interface(t.base)
            if t.base == "void":
                tight = (key, p.name) in self.hook_rules.tight
                printer = "PrintArray_voidptr_tight" if tight else "PrintArray_voidptr"
                return call(f"com_values::{printer}", p.name,
                            self.count(key, f.params, index, checks_result))
            if iface:
                return call(f"com_values::PrintArray_{iface}", p.name,
                            self.count(key, f.params, index, checks_result))
            if t.base in POINTER_ARRAYS:
                return call(f"com_values::PrintPtrArray_{t.base}", p.name, "1")
        raise ValueError(f"{key}: no printer for {lab}")

    # --- result ----------------------------------------------------------------------------
    def result(self, f: apitable.Function) -> str | None:
        ret = getattr(f, "published_ret", f.ret)
        if ret == "void":
            return None
        lab = f"= {label_type(ret)} RESULT "
        t = take_apart(ret)
        if t.depth == 0 and t.base in RESULT_BY_TYPE:
            printer = RESULT_BY_TYPE[t.base]
        elif t.depth == 0 and self.enum_printer(t.base):
            printer = self.enum_printer(t.base)
        else:
            # Pointers and structures by value: the label and ": IS NYI", nothing read.
            printer = "printing::Print_NYI"
        return f'{printer}(&result, "{lab}", std::cout, 0);'

    # --- whole dumps -----------------------------------------------------------------------
    def dump_lines(self, key: str, f: apitable.Function, declaring: str | None) -> list[str]:
        """The statements behind the header line of one declared method or exported function."""
        lines: list[str] = []
        if declaring is not None:
            lines.append(f"com_values::PrintObject_{declaring}(reinterpret_cast<const {declaring}*>(This), "
                         f'"{declaring}* self", std::cout, 1);')
        checks_result = take_apart(getattr(f, "published_ret", f.ret)).base in (
            "HRESULT", "APP_DEPRECATED_HRESULT") and f.ret != "void"
        if key in self.hook_rules.event:
            names = [p.name for p in f.params]
            if names != ["Metadata", "pData", "Size"]:
                raise ValueError(f"{key}: event text needs Metadata, pData, Size")
            lines += ['printing::Print_uint32_t(&Metadata, "UINT Metadata", std::cout, 1);',
                      'printing::Print_text(printing::DecodeEventText(Metadata, pData, Size).c_str(), '
                      'Size, "void* pData", std::cout, 1);',
                      'printing::Print_uint32_t(&Size, "UINT Size", std::cout, 1);']
        else:
            for i in range(len(f.params)):
                line = self.argument(key, f, i, declaring is None, checks_result)
                if line is not None:
                    lines.append(line)
        result = self.result(f)
        if result is not None:
            lines.append(result)
        if key in self.hook_rules.frame:
            run = "#" * 20
            lines.append(f'printing::WriteBareLine(std::cout, "{run}Frame Boundary{run}");')
        return lines
