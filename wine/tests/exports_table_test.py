#!/usr/bin/env python3
"""The build's comparison of api/wine/exports.txt with the installed Wine's DLLs stops on an
export the table lacks and on one whose ordinal or forwarding differs, and names it.

Usage: exports_table_test.py WINE_DLL_DIR"""
import os
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools"))
import apitable  # noqa: E402
import gen_wine_proxies  # noqa: E402

wine_dir = sys.argv[1]
table = open(gen_wine_proxies.EXPORTS, encoding="utf-8").read()
cases = [
    (table, None),
    (table.replace("4 D3D11CoreRegisterLayers\n", ""), "exports '4 D3D11CoreRegisterLayers', which the table lacks"),
    (table.replace("101 D3D12CreateDevice\n", "111 D3D12CreateDevice\n"),
     "exports '101 D3D12CreateDevice', the table says '111 D3D12CreateDevice'"),
    (table.replace("3 D3D10CreateBlob -> d3dcompiler_43.D3DCreateBlob", "3 D3D10CreateBlob"),
     "exports '3 D3D10CreateBlob -> d3dcompiler_43.D3DCreateBlob', the table says '3 D3D10CreateBlob'"),
]
problems = []
for text, expected in cases:
    with tempfile.NamedTemporaryFile("w", suffix=".txt", delete=False) as f:
        f.write(text)
    try:
        gen_wine_proxies.check_against_wine(gen_wine_proxies.read_exports(f.name), wine_dir)
        said = None
    except apitable.TableError as e:
        said = str(e)
    finally:
        os.unlink(f.name)
    if (expected is None) != (said is None) or (expected is not None and expected not in said):
        problems.append(f"expected {expected!r}, the check said {said!r}")
print("\n".join(problems) or "ok")
sys.exit(1 if problems else 0)
