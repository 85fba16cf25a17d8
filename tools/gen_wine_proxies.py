#!/usr/bin/env python3
"""Generates the proxy DLLs of the Wine host: their export lists, and the entries behind them in
the host DLL, from api/wine/exports.txt and api/wine/functions.txt.

A proxy (d3d11.dll, dxgi.dll, ...) exports every export of Wine's DLL of that name, under the
same ordinal, as a forwarder; it has no code but the call that attaches it. What each export
forwards to follows from the tables:

- an exported API function with a slot, and a function of api/wine/functions.txt: the host's
  entry for it (through the layer's hook of the slot; passed on, with the objects it hands out
  caught), unless Wine forwards it to another DLL of the table, whose proxy takes it;
- any other export that Wine forwards: the same target as Wine's;
- any other export: a jump in the host DLL to Wine's own function, found when the proxy attaches.

Given the folder of the installed Wine's DLLs, the tables are compared with their export tables
first: a proxy that misses an export of Wine's DLL breaks whoever looks it up.

Usage: gen_wine_proxies.py OUTDIR HOST_DLL [WINE_DLL_DIR]
Writes OUTDIR/<dll>.def for each proxy, OUTDIR/<HOST_DLL>.def and OUTDIR/wine_entries.cpp.
"""
import os
from dataclasses import dataclass, field

import apitable
import comtable
import gen_comhost_entries
import pe_exports

EXPORTS = f"{apitable.API_DIR}/wine/exports.txt"
FUNCTIONS = f"{apitable.API_DIR}/wine/functions.txt"


@dataclass
class Dll:
    file: str
    exports: list[pe_exports.Export] = field(default_factory=list)
    prototypes: dict[str, apitable.Function] = field(default_factory=dict)

    @property
    def stem(self) -> str:
        return self.file[:-len(".dll")]


def read_exports(path: str = EXPORTS) -> list[Dll]:
    dlls: list[Dll] = []
    for where, line in apitable.numbered_lines(path):
        words = line.split()
        if words[0] == "dll" and len(words) == 2 and words[1].endswith(".dll"):
            dlls.append(Dll(words[1]))
        elif dlls and words[0].isdigit() and (len(words) == 2 or (len(words) == 4 and words[2] == "->")):
            dlls[-1].exports.append(pe_exports.Export(int(words[0]), words[1],
                                                      words[3] if len(words) == 4 else None))
        else:
            raise apitable.TableError(f"{where}: cannot read {line.strip()!r}")
    for dll in dlls:
        names = [e.name for e in dll.exports]
        ordinals = [e.ordinal for e in dll.exports]
        if len(set(names)) != len(names) or len(set(ordinals)) != len(ordinals):
            raise apitable.TableError(f"{path}: {dll.file} has a name or an ordinal twice")
    return dlls


def read_functions(dlls: list[Dll], path: str = FUNCTIONS) -> None:
    by_file = {d.file: d for d in dlls}
    dll = None
    for where, line in apitable.numbered_lines(path):
        words = line.split()
        if words[0] == "dll" and len(words) == 2:
            if words[1] not in by_file:
                raise apitable.TableError(f"{where}: {words[1]} is no DLL of {EXPORTS}")
            dll = by_file[words[1]]
            continue
        if dll is None or "(" not in line:
            raise apitable.TableError(f"{where}: cannot read {line.strip()!r}")
        f = comtable._prototype(line)
        if f.name not in {e.name for e in dll.exports}:
            raise apitable.TableError(f"{where}: {dll.file} does not export {f.name}")
        if f.ret != "HRESULT":
            raise apitable.TableError(f"{where}: {f.name}: the host passes on functions that return HRESULT")
        if not gen_comhost_entries.object_outs(f.name, f):
            raise apitable.TableError(f"{where}: {f.name} hands out no object of the catalogue")
        dll.prototypes[f.name] = f


def check_against_wine(dlls: list[Dll], wine_dir: str) -> None:
    """Stops the build where the installed Wine's DLL exports other than the table says."""
    for dll in dlls:
        path = os.path.join(wine_dir, dll.file)
        if not os.path.exists(path):
            continue
        apitable._READ.add(os.path.abspath(path))
        with open(path, "rb") as f:
            installed = {e.name: e for e in pe_exports.read_exports(f.read())}
        table = {e.name: e for e in dll.exports}
        problems = []
        for name in sorted(set(installed) - set(table)):
            problems.append(f"it exports {pe_exports.spell(installed[name])!r}, which the table lacks")
        for name in sorted(set(table) - set(installed)):
            problems.append(f"it does not export {name}")
        for name in sorted(set(table) & set(installed)):
            if table[name] != installed[name]:
                problems.append(f"it exports {pe_exports.spell(installed[name])!r}, the table says "
                                f"{pe_exports.spell(table[name])!r}")
        if problems:
            raise apitable.TableError(
                f"{EXPORTS} does not match {path}: " + "; ".join(problems) +
                ". A proxy must export all that Wine's DLL exports: bring the table up to date "
                f"(python3 tools/pe_exports.py {path} prints it)")


# --- what each export becomes --------------------------------------------------------------------

@dataclass
class Entry:
    dll: Dll
    name: str
    kind: str                          # "slot", "catch" or "jump"
    slot: int = 0
    function: apitable.Function | None = None

    @property
    def symbol(self) -> str:
        return f"tov_{self.dll.stem}_{self.name}"


def plan(dlls: list[Dll]) -> tuple[dict[tuple[str, str], str], list[Entry]]:
    """The forwarder of every export, and the host's entries."""
    slots = {s.function.name: s for s in comtable.com_slots() if s.api == "com_function"}
    proxied = {d.stem.lower() for d in dlls}
    forwards: dict[tuple[str, str], str] = {}
    entries: list[Entry] = []
    hooked: dict[int, str] = {}
    for dll in dlls:
        for e in dll.exports:
            to_proxy = e.forward is not None and e.forward.split(".", 1)[0].lower() in proxied
            entry = None
            if not to_proxy and e.name in slots:
                entry = Entry(dll, e.name, "slot", slots[e.name].number, slots[e.name].function)
                if entry.slot in hooked:
                    raise apitable.TableError(f"{e.name}: both {hooked[entry.slot]} and {dll.file} take its slot")
                hooked[entry.slot] = dll.file
            elif not to_proxy and e.name in dll.prototypes:
                entry = Entry(dll, e.name, "catch", function=dll.prototypes[e.name])
            elif e.forward is None:
                entry = Entry(dll, e.name, "jump")
            if entry is None:
                forwards[(dll.file, e.name)] = e.forward
            else:
                entries.append(entry)
                forwards[(dll.file, e.name)] = None
    return forwards, entries


# --- output -----------------------------------------------------------------------------------------

CPP = """\
// Generated by tools/gen_wine_proxies.py from api/wine. Do not edit.
// The host DLL's side of the proxies: an entry for each export that does not simply forward
// elsewhere, and what attaching a proxy must look up in Wine's own DLL.
#include <cstddef>
#include <cstdint>

#include "comhost_functions.h"
#include "wine_host.h"

{opaque}
extern "C" {{
{next_arrays}}}

// A jump to Wine's own function, with every register and the stack as the caller left them.
asm(".text\\n"
{jumps});

using namespace tov;

{functions}
namespace tov::wine_host {{

{tables}
const ProxyDll kProxyDlls[] = {{
{dlls}}};
const std::size_t kProxyDllCount = {dll_count};

}}  // namespace tov::wine_host
"""

SLOTTED = """\
extern "C" {ret} TOV_COM_CALL {symbol}({params}) {{
    wine_host::Start();
    return comhost::Function_{name}({args});
}}
"""

CATCH = """\
extern "C" {ret} TOV_COM_CALL {symbol}({params}) {{
    using Fn = {ret}(TOV_COM_CALL*)({types});
    wine_host::Start();
    const comhost::Nesting nesting;
    {ret} result = reinterpret_cast<Fn>({next})({args});
    if (nesting.outermost() && result >= 0) {{ {catches}}}
    return result;
}}
"""


def cpp_text(dlls: list[Dll], entries: list[Entry]) -> str:
    next_arrays, jumps, functions, tables, rows, opaque = [], [], [], [], [], set()
    for dll in dlls:
        mine = [e for e in entries if e.dll is dll]
        nexts = [e for e in mine if e.kind != "slot"]
        index = {e.name: k for k, e in enumerate(nexts)}
        array = f"tov_next_{dll.stem}"
        if nexts:
            next_arrays.append(f"void* {array}[{len(nexts)}];\n")
        for e in mine:
            if e.kind == "jump":
                jumps.append(f'    ".globl {e.symbol}\\n.p2align 4\\n{e.symbol}:\\n'
                             f'    jmp *{array}+{8 * index[e.name]}(%rip)\\n"\n')
                continue
            ret, params, types, names = gen_comhost_entries.frame(e.function, False)
            for p in e.function.params:
                opaque.update(w for w in _struct_names(p.type))
            if e.kind == "slot":
                functions.append(SLOTTED.format(ret=ret, symbol=e.symbol, params=", ".join(params),
                                                name=e.name, args=", ".join(names)))
            else:
                catches = "".join(f"comhost::CatchOut({n}, {c}); "
                                  for n, c in gen_comhost_entries.object_outs(e.name, e.function))
                functions.append(CATCH.format(ret=ret, symbol=e.symbol, params=", ".join(params),
                                              types=", ".join(types), args=", ".join(names),
                                              next=f"{array}[{index[e.name]}]", catches=catches))
        exports = "".join(
            f'    {{"{e.name}", {e.slot}, {"nullptr" if e.kind == "slot" else f"&{array}[{index[e.name]}]"}}},\n'
            for e in mine)
        tables.append(f"const ProxyExport kExports_{dll.stem}[] = {{\n{exports}}};\n")
        rows.append(f'    {{L"{dll.file}", kExports_{dll.stem}, {len(mine)}}},\n')
    return CPP.format(opaque="".join(f"struct {o};\n" for o in sorted(opaque)),
                      next_arrays="".join(next_arrays), jumps="".join(jumps) or '    ""\n',
                      functions="\n".join(functions), tables="\n".join(tables), dlls="".join(rows),
                      dll_count=len(dlls))


def _struct_names(cpp_type: str) -> list[str]:
    words = cpp_type.replace("*", " ").split()
    return [words[k + 1] for k, w in enumerate(words[:-1]) if w == "struct"]


def proxy_def(dll: Dll, forwards: dict, host: str, entries: list[Entry]) -> str:
    symbols = {e.name: e.symbol for e in entries if e.dll is dll}
    lines = [f'LIBRARY "{dll.file}"\n', "EXPORTS\n"]
    for e in sorted(dll.exports, key=lambda e: e.ordinal):
        target = forwards[(dll.file, e.name)] or f"{host}.{symbols[e.name]}"
        lines.append(f'    {e.name} = "{target}" @{e.ordinal}\n')
    return "; Generated by tools/gen_wine_proxies.py from api/wine. Do not edit.\n" + "".join(lines)


def host_def(host: str, entries: list[Entry]) -> str:
    return ("; Generated by tools/gen_wine_proxies.py from api/wine. Do not edit.\n"
            f'LIBRARY "{host}.dll"\nEXPORTS\n    tovWineAttachProxy\n' +
            "".join(f"    {e.symbol}\n" for e in entries))


def generate(args: list[str]) -> list[str]:
    outdir, host = args[0], args[1]
    dlls = read_exports()
    read_functions(dlls)
    if len(args) > 2 and args[2]:
        check_against_wine(dlls, args[2])
    forwards, entries = plan(dlls)
    outputs = [f"{outdir}/wine_entries.cpp", f"{outdir}/{host}.def"]
    apitable.write_if_changed(outputs[0], cpp_text(dlls, entries))
    apitable.write_if_changed(outputs[1], host_def(host, entries))
    for dll in dlls:
        outputs.append(f"{outdir}/{dll.stem}.def")
        apitable.write_if_changed(outputs[-1], proxy_def(dll, forwards, host, entries))
    return outputs


if __name__ == "__main__":
    apitable.run(generate)
