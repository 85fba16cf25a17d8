"""The Logging Layer's verbose dump as records, and records back as the same bytes.

A dump is a sequence of lines, each ended by one line feed:

- a call: its header line (the call's name, no indent), its argument lines at indent 1 and
  deeper, and, if it returns a value, its result line ("= <type> RESULT " and a tail, no indent);
- the banners of the host's keyframes and the frame boundary line behind a swap chain's Present.

An argument or result line is 4 blanks per level, a label and a tail that says what kind of value
the line holds. A line that holds only its label (a structure, an array) has its contents one
level deeper. A few lines keep a shape of their own: the second line of an object or a handle
(one level deeper plus one blank), and the " NULLPTR" that a null array of pointers puts in
column one under its label line.

`read_records` turns lines into records (one per call, banner, frame boundary) and refuses, with
the line number and the reason, any line that it cannot place. `record_text` writes a record back;
the concatenation of all records' texts is the input, byte for byte.
"""
from __future__ import annotations

import re
from typing import Iterable, Iterator

INDENT = "    "
BANNERS = {
    "===================Keyframe Applied===================": "Keyframe Applied",
    "===================Deferred Initialization Ends===================":
        "Deferred Initialization Ends",
}
BANNER_LINES = {text: line for line, text in BANNERS.items()}
FRAME_BOUNDARY = "#" * 20 + "Frame Boundary" + "#" * 20
# The Vulkan side has no frame boundary line: a frame ends with its present call.
PRESENT_CALLS = frozenset({"vkQueuePresentKHR"})

NULL_TAIL = " NULLPTR"
NYI_TAIL = ": IS NYI"
VOIDPTR_TAIL = " void ptr, can not infer type to print"
HWND_TAIL = ": NYI HWND"
TEXT_LABEL = "void* pData"
TEXT_PREFIX = TEXT_LABEL + " : "
CAPTURE = "Capture Time ID: 0x"

_NUMBERS = re.compile(r": \[ ((?:[^ ,\]]+, )*)\]\Z")
_NUMBER = re.compile(r": (-?(?:\d+(?:\.\d+)?|inf|nan)|True|False)\Z")
_NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
_ELEMENT_OBJECT = re.compile(r"(\[\d+\] )(?:Capture Time ID: 0x([0-9a-f]+) )?([A-Za-z_][A-Za-z0-9_]*)\Z")
_OBJECT_LINE = re.compile(r" (?:Capture Time ID: 0x([0-9a-f]+) )?([A-Za-z_][A-Za-z0-9_]*)\Z")
_RESULT_LABEL = re.compile(r"= (.+) RESULT \Z")
_INDEX = re.compile(r"\[(\d+)\]")
_CALL_NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_]*(::[A-Za-z_][A-Za-z0-9_]*)?\Z")
_LABEL_CHARS = re.compile(r"[\x21-\x7e](?:[\x21-\x7e]| (?! ))*\Z")

MARKER_KINDS = ("banner", "frame_boundary", "output")


class DumpError(Exception):
    """A line that the reader can not place: its number (from 1) and why."""

    def __init__(self, line: int, reason: str):
        super().__init__(f"line {line}: {reason}")
        self.line = line
        self.reason = reason


def _describe(node: dict, label: str) -> None:
    """Adds the type, name or index that the label's form shows."""
    m = _RESULT_LABEL.match(label)
    if m:
        node["type"] = m.group(1)
        return
    m = _INDEX.match(label)
    if m:
        node["index"] = int(m.group(1))
        return
    core = label.rstrip(" ")
    if core.endswith(":"):  # "RECT * pRect: ", "LUID AdapterLuid: "
        core = core[:-1]
    head, _, name = core.rpartition(" ")
    stars = len(name) - len(name.lstrip("*"))  # "*const *ppGeometryDescs"
    if stars:
        head, name = f"{head} {'*' * stars}", name[stars:]
    name = name.rstrip(";")  # "Resolve;", "UINT Slot;"
    if head:
        node["type"] = head
    if name:
        node["name"] = name


def _classify(body: str) -> dict:
    """The node of one line's text behind its indent, by its tail."""
    if body.startswith(TEXT_PREFIX):
        return {"label": TEXT_LABEL, "kind": "text", "value": body[len(TEXT_PREFIX):]}
    if body.endswith(NULL_TAIL):
        return {"label": body[:-len(NULL_TAIL)], "kind": "null"}
    if body.endswith(NYI_TAIL):
        return {"label": body[:-len(NYI_TAIL)], "kind": "nyi"}
    if body.endswith(VOIDPTR_TAIL):
        return {"label": body[:-len(VOIDPTR_TAIL)], "kind": "voidptr"}
    if body.endswith(HWND_TAIL):
        return {"label": body[:-len(HWND_TAIL)], "kind": "hwnd"}
    if body.endswith("]"):
        m = _NUMBERS.search(body)
        if m:
            values = m.group(1).split(", ")[:-1]
            return {"label": body[:m.start()], "kind": "numbers", "values": values}
    m = _NUMBER.search(body)
    if m:
        value = m.group(1)
        if value in ("True", "False"):
            return {"label": body[:m.start()], "kind": "bool", "value": value == "True"}
        return {"label": body[:m.start()], "kind": "number", "value": value}
    if body.endswith(", "):
        # The names run from the end back to the first word that is not "NAME,".
        words = body[:-1].split(" ")
        first = len(words)
        while first > 0 and words[first - 1].endswith(",") and _NAME.match(words[first - 1], 0,
                                                                           len(words[first - 1]) - 1):
            first -= 1
        if first < len(words):
            return {"label": " ".join(words[:first]), "kind": "enum",
                    "names": [w[:-1] for w in words[first:]]}
    m = _ELEMENT_OBJECT.match(body)
    if m:
        node = {"label": m.group(1), "kind": "object", "interface": m.group(3), "inline": True}
        if m.group(2):
            node["capture_id"] = "0x" + m.group(2)
        return node
    if body.endswith(" "):
        # An enum value without a name; a label line that ends in a blank if contents follow.
        return {"label": body[:-1], "kind": "enum", "names": []}
    return {"label": body, "kind": "group"}


def _as_open_group(node: dict) -> bool:
    """Whether the node's line held only its label, so contents may follow under it."""
    if node["kind"] == "enum" and not node["names"] and "children" not in node:
        node["kind"] = "group"
        node["label"] += " "
        del node["names"]
        node.pop("type", None)
        node.pop("name", None)
        _describe(node, node["label"])
    return node["kind"] == "group"


def read_records(lines: Iterable[str], call_names: frozenset[str] | set[str], *,
                 keep_output: bool = False, values: bool = False,
                 offsets: bool = False, kept: list | None = None) -> Iterator[dict]:
    """Yields the records of a dump, given its lines with their line feeds.

    keep_output: a line that is not the layer's becomes an "output" record (or, inside a call,
    an output node in its place) instead of an error.
    values: the input is printed values without call headers, as the printers' tests hold them.
    offsets: each record gets "offset", the byte offset of its first line in the input.
    kept: receives the number of each line kept as output.
    """
    frame = 0
    call = None          # the call record being read
    stack: list = []     # [depth, node, child list or None] from the call down to the last line
    pending: list = []   # (node, offset) of banners and output inside a call, placed by what follows
    last = None          # the node of the line just read, while a continuation line may follow
    offset = 0
    line_no = 0

    def marker(kind: str, text: str | None = None) -> dict:
        node = {"kind": kind, "line": line_no}
        if text is not None:
            node["text"] = text
        return node

    def emit_marker(node: dict, at: int) -> Iterator[dict]:
        """A banner, boundary or output line: a record of its own, or held inside a call."""
        nonlocal frame
        if call is not None:
            pending.append((node, at))
            return
        rec = {"type": node.pop("kind"), "line": node.pop("line"), "frame": frame, **node}
        if offsets:
            rec["offset"] = at
        yield rec
        if rec["type"] == "frame_boundary":
            frame += 1

    def close_call() -> Iterator[dict]:
        """Ends the open call; the lines held behind it follow it as records."""
        nonlocal call, frame, stack
        if call is not None:
            yield call
            if call["name"] in PRESENT_CALLS:
                frame += 1
            call = None
            stack = []
        held = pending[:]
        pending.clear()
        for node, at in held:
            yield from emit_marker(node, at)

    def place_pending(children: list) -> None:
        for node, _ in pending:
            children.append(node)
        pending.clear()

    def value_line(depth: int, body: str) -> Iterator[dict]:
        """Places an indented line (in values, any line) under the line it belongs to."""
        nonlocal last
        above = len(stack)
        while above and stack[above - 1][0] >= depth:
            above -= 1
        node = _classify(body)
        check_label(node)
        if not above:
            if not values:
                raise DumpError(line_no, "an argument line with no call above it")
            del stack[:]
            yield {"type": "value", "line": line_no, "depth": depth, "node": node,
                   **({"offset": offset} if offsets else {})}
        else:
            entry = stack[above - 1]
            if depth != entry[0] + 1:
                raise DumpError(line_no, f"the indent goes from level {entry[0]} to level "
                                         f"{depth}: contents stand one level below their line")
            if entry[2] is None:
                if not _as_open_group(entry[1]):
                    raise DumpError(line_no, "a line below a line that holds a value; only a "
                                             "line that ends with its label has contents")
                entry[2] = entry[1].setdefault("children", [])
            del stack[above:]
            place_pending(entry[2])
            entry[2].append(node)
        stack.append([depth, node, None])
        last = node

    def check_label(node: dict) -> None:
        label = node["label"]
        if not _LABEL_CHARS.match(label):
            raise DumpError(line_no, f"the label {label!r} is empty, or has a character or a "
                                     "run of blanks that no label has")
        _describe(node, label)

    def continuation(line: str, depth: int, body: str) -> None:
        """The second line of an object or a handle, or the column-one NULLPTR of an array."""
        nonlocal last
        opened = (last is not None and not pending and stack and stack[-1][1] is last
                  and _as_open_group(last) and "children" not in last)
        if line == NULL_TAIL:
            if not opened:
                raise DumpError(line_no, "a \" NULLPTR\" in column one that does not follow "
                                         "the label line of an array")
            last["kind"] = "null_array"
        else:
            if not opened or stack[-1][0] != depth - 1:
                raise DumpError(line_no, "an object's or handle's second line that does not "
                                         "follow its label line")
            if body == NYI_TAIL:
                last["kind"] = "handle"
            else:
                m = _OBJECT_LINE.match(line, len(line) - len(body) - 1)
                if not m:
                    raise DumpError(line_no, "a line one blank off the indent that is neither "
                                             "an object's nor a handle's second line")
                last["kind"] = "object"
                last["interface"] = m.group(2)
                if m.group(1):
                    last["capture_id"] = "0x" + m.group(1)
        last = None

    def read_line(line: str) -> Iterator[dict]:
        nonlocal call, stack, last
        if line == FRAME_BOUNDARY:
            last = None
            yield from emit_marker(marker("frame_boundary"), offset)
            return
        if line in BANNERS:
            last = None
            yield from emit_marker(marker("banner", BANNERS[line]), offset)
            return
        if "\t" in line or "\r" in line:
            raise DumpError(line_no, "a tab or a carriage return, which the layer never writes")
        if values or line.startswith(" "):
            if call is None and not values:
                raise DumpError(line_no, "an argument line with no call above it")
            body = line.lstrip(" ")
            depth, lead = divmod(len(line) - len(body), 4)
            if lead == 1:
                continuation(line, depth, body)
            elif lead:
                raise DumpError(line_no, f"an indent of {len(line) - len(body)} blanks, not a "
                                         "multiple of 4")
            else:
                yield from value_line(depth, body)
            return
        if line.startswith("= "):
            if call is None:
                raise DumpError(line_no, "a result line with no call above it")
            if "result" in call:
                raise DumpError(line_no, f"a second result line for {call['name']}")
            node = _classify(line)
            if not _RESULT_LABEL.match(node["label"]) or node["kind"] in ("group", "object"):
                raise DumpError(line_no, 'a result line is "= <type> RESULT " and a value')
            check_label(node)
            place_pending(call["args"])
            call["result"] = node
            stack = [[0, node, None]]
            last = node
            return
        if not _CALL_NAME.match(line):
            raise DumpError(line_no, f"{line!r} is neither a call's name nor a line of the layer")
        if line not in call_names:
            raise DumpError(line_no, f"{line!r} is not the name of a call that the layer logs")
        yield from close_call()
        call = {"type": "call", "line": line_no, "frame": frame, "name": line, "args": []}
        if offsets:
            call["offset"] = offset
        stack = [[0, call, call["args"]]]
        last = None

    for line_no, raw in enumerate(lines, 1):
        try:
            if not raw.endswith("\n"):
                raise DumpError(line_no, "the last line has no line feed: the dump was cut off")
            yield from read_line(raw[:-1])
        except DumpError:
            if not keep_output:
                raise
            if kept is not None:
                kept.append(line_no)
            node = marker("output", raw.removesuffix("\n"))
            if not raw.endswith("\n"):
                node["no_line_feed"] = True
            last = None
            yield from emit_marker(node, offset)
        offset += len(raw) if raw.isascii() else len(raw.encode("utf-8", "surrogateescape"))
    yield from close_call()


def _node_lines(node: dict, depth: int, out: list) -> None:
    kind = node["kind"]
    if kind in MARKER_KINDS:
        out.append(_marker_text(kind, node))
        return
    indent = INDENT * depth
    label = node["label"]
    if kind == "group":
        out.append(indent + label)
    elif kind == "number":
        out.append(f"{indent}{label}: {node['value']}")
    elif kind == "bool":
        out.append(f"{indent}{label}: {'True' if node['value'] else 'False'}")
    elif kind == "enum":
        out.append(f"{indent}{label} " + "".join(name + ", " for name in node["names"]))
    elif kind == "text":
        out.append(f"{indent}{label} : {node['value']}")
    elif kind == "numbers":
        out.append(f"{indent}{label}: [ " + "".join(v + ", " for v in node["values"]) + "]")
    elif kind == "null":
        out.append(indent + label + NULL_TAIL)
    elif kind == "nyi":
        out.append(indent + label + NYI_TAIL)
    elif kind == "voidptr":
        out.append(indent + label + VOIDPTR_TAIL)
    elif kind == "hwnd":
        out.append(indent + label + HWND_TAIL)
    elif kind == "null_array":
        out.append(indent + label)
        out.append(NULL_TAIL)
    elif kind == "handle":
        out.append(indent + label)
        out.append(INDENT * (depth + 1) + " " + NYI_TAIL)
    elif kind == "object":
        capture = f"{CAPTURE}{node['capture_id'][2:]} " if "capture_id" in node else ""
        if node.get("inline"):
            out.append(indent + label + capture + node["interface"])
        else:
            out.append(indent + label)
            out.append(INDENT * (depth + 1) + " " + capture + node["interface"])
    else:
        raise ValueError(f"unknown kind of value {kind!r}")
    for child in node.get("children", ()):
        _node_lines(child, depth + 1, out)


def _marker_text(kind: str, node: dict) -> str:
    if kind == "frame_boundary":
        return FRAME_BOUNDARY
    if kind == "banner":
        return BANNER_LINES[node["text"]]
    return node["text"]


def record_text(rec: dict) -> str:
    """The exact text of one record, with its line feeds."""
    kind = rec["type"]
    out: list = []
    if kind == "call":
        out.append(rec["name"])
        for arg in rec["args"]:
            _node_lines(arg, 1, out)
        if "result" in rec:
            _node_lines(rec["result"], 0, out)
    elif kind == "value":
        _node_lines(rec["node"], rec["depth"], out)
    elif kind in MARKER_KINDS:
        out.append(_marker_text(kind, rec))
        if rec.get("no_line_feed"):
            return out[0]
    else:
        raise ValueError(f"unknown record type {kind!r}")
    return "\n".join(out) + "\n"
