"""Reads the project's API description tables (api/) into plain Python objects.

The tables are declarative text: one C prototype per line for functions, indented blocks for
structures and enums. A "#" starts a comment that runs to the end of its line; comments never
change what is read. Everything the generators know about an API comes from here.

Every file a generator reads goes through `read_text`, so that `run` can write a depfile naming
all of them, the generator's own modules included, for the build to depend on.
"""
from __future__ import annotations

import os
import re
import sys
from dataclasses import dataclass, field

TOOLS_DIR = os.path.dirname(os.path.abspath(__file__))
API_DIR = os.path.join(TOOLS_DIR, os.pardir, "api")

# Slot numbering of the dispatch table: the Vulkan functions from 0, the Direct3D and DXGI
# entry points from 3744, 8282 slots in all.
VULKAN_FIRST_SLOT = 0
COM_FIRST_SLOT = 3744
SLOT_COUNT = 8282


class TableError(ValueError):
    """A table or rule file says something that does not hold: the build stops."""


# --- reading, with a record of what was read ----------------------------------------------------

_READ: set[str] = set()


def read_text(path: str, errors: str = "strict") -> str:
    _READ.add(os.path.abspath(path))
    with open(path, encoding="utf-8", errors=errors) as f:
        return f.read()


def numbered_lines(path: str) -> list[tuple[str, str]]:
    """(where, line) of every line that holds more than a comment; indentation is kept."""
    out = []
    name = os.path.relpath(path, os.path.join(API_DIR, os.pardir))
    for number, raw in enumerate(read_text(path).splitlines(), 1):
        line = raw.split("#", 1)[0].rstrip()
        if line.strip():
            out.append((f"{name}:{number}", line))
    return out


def read_lines(path: str) -> list[str]:
    return [line for _, line in numbered_lines(path)]


def run(generate) -> None:
    """Runs a generator: `generate(args)` writes its outputs and returns their paths. With
    `--depfile OUTPUT.d` in front of the arguments, that file then names every file that was
    read, as the dependencies of OUTPUT."""
    args = sys.argv[1:]
    depfile = None
    if args[:1] == ["--depfile"]:
        depfile, args = args[1], args[2:]
    try:
        outputs = generate(args)
    except TableError as e:
        sys.exit(f"{os.path.basename(sys.argv[0])}: {e}")
    if depfile is None:
        return
    modules = {os.path.abspath(m.__file__) for m in list(sys.modules.values())
               if getattr(m, "__file__", None) and
               os.path.dirname(os.path.abspath(m.__file__)) == TOOLS_DIR}
    modules.add(os.path.abspath(sys.argv[0]))
    deps = " ".join(p.replace(" ", "\\ ") for p in sorted(_READ | modules))
    # The depfile is named after the build's first output, which it must name as its target.
    target = depfile[:-2] if depfile.endswith(".d") else outputs[0]
    write_if_changed(depfile, f"{os.path.abspath(target)}: {deps}\n")


def write_if_changed(path: str, text: str) -> None:
    """Keeps the timestamps of unchanged outputs, so a regeneration rebuilds only what changed."""
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return
    except FileNotFoundError:
        pass
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "w", encoding="utf-8", newline="\n") as f:
        f.write(text)


def chunks(items: list, count: int) -> list[list]:
    """Splits items into `count` runs of nearly equal length, keeping their order."""
    size, rest = divmod(len(items), count)
    out, start = [], 0
    for i in range(count):
        end = start + size + (1 if i < rest else 0)
        out.append(items[start:end])
        start = end
    return out


# --- declarations -------------------------------------------------------------------------------

@dataclass
class Param:
    type: str            # declared type text without array suffix, e.g. "const VkFence*"
    name: str
    array: list[int] = field(default_factory=list)   # fixed array sizes, e.g. [4]
    published: str = ""  # the type as the API's headers spell it, without annotations
    annotation: str = ""  # the SAL annotations in front of the parameter, if any

    def __post_init__(self):
        self.published = self.published or self.type

    @property
    def decl(self) -> str:
        """The parameter as a C++ declaration."""
        return f"{self.type} {self.name}" + "".join(f"[{n}]" for n in self.array)

    @property
    def cpp_type(self) -> str:
        """The type the parameter has inside a function (arrays decay to pointers)."""
        return f"{self.type}*" if self.array else self.type

    @property
    def optional(self) -> bool:
        return "_opt_" in self.annotation

    @property
    def out(self) -> bool:
        """Whether the annotations make the parameter something the call writes."""
        return re.search(r"\b_(Out|COM_Outptr|Outptr)\w*", self.annotation) is not None


@dataclass
class Function:
    ret: str
    name: str
    params: list[Param]
    published_ret: str = ""

    def __post_init__(self):
        self.published_ret = self.published_ret or self.ret

    @property
    def returns_value(self) -> bool:
        return self.ret != "void"

    def param(self, name: str) -> Param | None:
        return next((p for p in self.params if p.name == name), None)


@dataclass
class Slot:
    number: int
    call_name: str       # text of the logger line and the header line
    hook_name: str       # Hook_<name>
    function: Function
    api: str             # "vulkan", "com_function" or "com_method"
    interface: str | None = None   # COM methods: the interface that owns the slot's run
    declaring: str | None = None   # COM methods: the interface that declares the method

    @property
    def key(self) -> str:
        """The declaration the slot's hook prints by: "Interface::Method" with the declaring
        interface for a COM method, the function's name otherwise."""
        return f"{self.declaring}::{self.function.name}" if self.declaring else self.function.name


_PROTO = re.compile(r"^(?P<ret>.+?)\s*\b(?P<name>\w+)\s*\((?P<params>.*)\)\s*;?$")
_PARAM = re.compile(r"^(?P<type>.*?[\w*])\s*\b(?P<name>\w+)\s*(?P<array>(\[\s*\d+\s*\])*)$")


def split_params(text: str) -> list[str]:
    """Splits a parameter list at top-level commas (annotations may hold parentheses)."""
    parts, depth, current = [], 0, []
    for ch in text:
        if ch == "(":
            depth += 1
        elif ch == ")":
            depth -= 1
        if ch == "," and depth == 0:
            parts.append("".join(current).strip())
            current = []
        else:
            current.append(ch)
    last = "".join(current).strip()
    if last:
        parts.append(last)
    return parts


def parse_param(text: str) -> Param:
    m = _PARAM.match(" ".join(text.split()))
    if not m:
        raise TableError(f"cannot read parameter {text!r}")
    arrays = [int(n) for n in re.findall(r"\[\s*(\d+)\s*\]", m.group("array"))]
    return Param(m.group("type").strip(), m.group("name"), arrays)


def parse_prototype(line: str) -> Function:
    m = _PROTO.match(" ".join(line.split()))
    if not m:
        raise TableError(f"cannot read prototype {line!r}")
    raw = m.group("params").strip()
    params = [] if raw in ("", "void") else [parse_param(p) for p in split_params(raw)]
    return Function(m.group("ret").strip(), m.group("name"), params)


def vulkan_functions(api_dir: str = API_DIR) -> list[Function]:
    return [parse_prototype(l) for l in read_lines(os.path.join(api_dir, "vulkan", "functions.txt"))]


def vulkan_slots(api_dir: str = API_DIR) -> list[Slot]:
    return [Slot(VULKAN_FIRST_SLOT + i, f.name, f"Hook_{f.name}", f, "vulkan")
            for i, f in enumerate(vulkan_functions(api_dir))]


def all_slots(api_dir: str = API_DIR) -> list[Slot]:
    """Every filled slot of the dispatch table, in ascending slot order."""
    import comtable  # the Direct3D and DXGI side, slots from COM_FIRST_SLOT on
    slots = vulkan_slots(api_dir) + comtable.com_slots(api_dir)
    numbers = [s.number for s in slots]
    assert numbers == sorted(set(numbers)), "slots must ascend without repeats"
    assert all(0 <= n < SLOT_COUNT for n in numbers)
    return slots


# --- Vulkan types, enums and structures --------------------------------------------------------

@dataclass
class Member:
    type: str            # declared type text, e.g. "const VkSemaphore*"
    name: str
    array: list[int] = field(default_factory=list)
    bits: int | None = None

    @property
    def decl(self) -> str:
        return f"{self.type} {self.name}" + "".join(f"[{n}]" for n in self.array)


@dataclass
class Record:
    kind: str            # "struct" or "union"
    name: str
    members: list[Member]


@dataclass
class Enum:
    name: str
    rows: list[tuple[str, int]]   # (name, value) in published order


@dataclass
class VulkanRegistry:
    functions: list[Function]
    handles: dict[str, str]       # name -> "dispatchable" | "nondispatchable"
    basetypes: dict[str, str]     # name -> C scalar type
    bitmasks: dict[str, str]      # name -> "VkFlags" | "VkFlags64"
    aliases: dict[str, str]       # name -> the type it stands for
    funcpointers: set[str]
    win32types: set[str]
    enums: dict[str, Enum]
    records: dict[str, Record]

    def resolve(self, name: str) -> str:
        """Follows typedef aliases to the type that has a declaration of its own."""
        while name in self.aliases:
            name = self.aliases[name]
        return name


_MEMBER = re.compile(r"^(?P<type>.*?[\w*])\s+(?P<name>\w+)\s*(?P<array>(\[\s*\d+\s*\])*)\s*(:\s*(?P<bits>\d+))?$")


def parse_member(text: str) -> Member:
    m = _MEMBER.match(" ".join(text.split()))
    if not m:
        raise TableError(f"cannot read member {text!r}")
    arrays = [int(n) for n in re.findall(r"\[\s*(\d+)\s*\]", m.group("array"))]
    bits = int(m.group("bits")) if m.group("bits") else None
    return Member(m.group("type").strip(), m.group("name"), arrays, bits)


def _blocks(path: str) -> list[tuple[str, list[str]]]:
    """Reads "<header line>" + indented lines blocks."""
    blocks: list[tuple[str, list[str]]] = []
    for line in read_lines(path):
        if line.startswith((" ", "\t")):
            blocks[-1][1].append(line.strip())
        else:
            blocks.append((line.strip(), []))
    return blocks


def vulkan_registry(api_dir: str = API_DIR) -> VulkanRegistry:
    base = os.path.join(api_dir, "vulkan")
    handles, basetypes, bitmasks, aliases = {}, {}, {}, {}
    funcpointers, win32types = set(), set()
    for where, line in numbered_lines(os.path.join(base, "types.txt")):
        kind, name, *rest = line.split()
        if kind == "handle":
            handles[name] = rest[0]
        elif kind == "basetype":
            basetypes[name] = rest[0]
        elif kind == "bitmask":
            bitmasks[name] = rest[0]
        elif kind == "alias":
            aliases[name] = rest[0]
        elif kind == "funcpointer":
            funcpointers.add(name)
        elif kind == "win32type":
            win32types.add(name)
        else:
            raise TableError(f"{where}: unknown type line {line!r}")
    enums = {}
    for head, body in _blocks(os.path.join(base, "enums.txt")):
        kind, name = head.split()
        if kind == "enum":
            enums[name] = Enum(name, [(n, int(v)) for n, v in (row.split() for row in body)])
    records = {}
    for head, body in _blocks(os.path.join(base, "structs.txt")):
        kind, name = head.split()
        records[name] = Record(kind, name, [parse_member(m) for m in body])
    return VulkanRegistry(vulkan_functions(api_dir), handles, basetypes, bitmasks, aliases,
                          funcpointers, win32types, enums, records)
