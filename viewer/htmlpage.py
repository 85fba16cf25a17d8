"""One self-contained HTML page of a verbose dump: no server, no network, no other file.

The page carries the dump's exact bytes, gzip-compressed, and an index of its records made here
by the same reader as tov-dump json: for each call, banner and frame boundary its byte offset,
line, frame and call name. The browser shows the frame list from the index alone and unpacks the
text behind it; a call's lines are decoded and laid out as a tree only when it is opened.
"""
from __future__ import annotations

import base64
import gzip
import html
import io
import json
import os
import re
import sys
from array import array

import dumpgrammar

KINDS = {"call": 0, "banner": 1, "frame_boundary": 2, "output": 3}
NO_NAME = 0xFFFFFFFF
_SLOT = re.compile(r"/\*(?:STYLE|SCRIPT)\*/|\{\{(?:TITLE|META|INDEX|DUMP)\}\}")
PAGE_DIR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "page")


def _u32(values: list[int] | array) -> bytes:
    column = array("I", values)
    assert column.itemsize == 4
    if sys.byteorder != "little":
        column.byteswap()
    return column.tobytes()


def index(data: bytes, call_names, keep_output: bool = False,
          kept: list | None = None) -> tuple[bytes, list[str], int]:
    """The binary index of a dump's records, the names it refers to, and the number of frames."""
    if len(data) >= 1 << 32:
        raise ValueError("a dump of 4 GiB or more is beyond what a browser page can hold")
    lines = io.TextIOWrapper(io.BytesIO(data), encoding="utf-8", errors="surrogateescape",
                             newline="\n")
    offsets, line_numbers, frames, name_ids = array("I"), array("I"), array("I"), array("I")
    kinds = bytearray()
    names: dict[str, int] = {}
    frame_count = 1
    for rec in dumpgrammar.read_records(lines, call_names, keep_output=keep_output, offsets=True,
                                          kept=kept):
        offsets.append(rec["offset"])
        line_numbers.append(rec["line"])
        frames.append(rec["frame"])
        kinds.append(KINDS[rec["type"]])
        name_ids.append(names.setdefault(rec["name"], len(names)) if "name" in rec else NO_NAME)
        frame_count = rec["frame"] + 1
    count = len(kinds)
    blob = b"".join([_u32([count, len(data)]), _u32(offsets), _u32(line_numbers), _u32(frames),
                     _u32(name_ids), bytes(kinds)])
    return blob, list(names), frame_count


def _packed(data: bytes) -> str:
    return base64.b64encode(gzip.compress(data, compresslevel=6, mtime=0)).decode("ascii")


def _asset(name: str) -> str:
    with open(os.path.join(PAGE_DIR, name), encoding="utf-8") as f:
        return f.read()


def _script_json(value) -> str:
    # Inside <script>, "</" could end the element: escape every "<".
    return json.dumps(value).replace("<", "\\u003c")


def build(data: bytes, call_names, *, title: str, keep_output: bool = False,
          kept: list | None = None) -> bytes:
    blob, names, frames = index(data, call_names, keep_output, kept)
    meta = {"title": title, "names": names, "frames": frames, "bytes": len(data)}
    fills = {"/*STYLE*/": _asset("viewer.css"),
             "/*SCRIPT*/": _asset("viewer.js"),
             "{{TITLE}}": html.escape(title),
             "{{META}}": _script_json(meta),
             "{{INDEX}}": _packed(blob),
             "{{DUMP}}": _packed(data)}
    # One pass over the template: nothing that is filled in is looked at again.
    page = _SLOT.sub(lambda m: fills[m.group(0)], _asset("viewer.html"))
    return page.encode("utf-8")
