#!/usr/bin/env python3
"""The Direct3D and DXGI enum table and its generated printers against the published figures:
which enums have a printer, how many names each holds, the row order of the printers that
several API versions share, and the rows that carry a value unlike their neighbours. A table
that lost or gained a row, or a generator that drops one, changes one of these numbers.

Usage: enum_family_test.py [GENERATED_DIR]; with the directory, the generated source is read
back and compared with the table too."""
import os
import re
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, os.pardir,
                                "tools"))
import comenums  # noqa: E402

GENERATED_DIR = sys.argv.pop(1) if len(sys.argv) > 1 else None


def counts(text: str) -> dict[str, int]:
    return {name: int(n) for name, n in (item.split(":") for item in text.split())}


# The printers by API, with the number of names of each.
GROUPS = {
    "D3D10_": (137, counts("""
D3D10_BLEND:17 D3D10_BLEND_OP:5 D3D10_COMPARISON_FUNC:8 D3D10_COUNTER:19 D3D10_COUNTER_TYPE:4
D3D10_CULL_MODE:3 D3D10_DEPTH_WRITE_MASK:2 D3D10_DRIVER_TYPE:5 D3D10_DSV_DIMENSION:7
D3D10_FEATURE_LEVEL1:5 D3D10_FILL_MODE:2 D3D10_FILTER:19 D3D10_INPUT_CLASSIFICATION:2 D3D10_QUERY:8
D3D10_RESOURCE_DIMENSION:5 D3D10_RTV_DIMENSION:9 D3D10_STENCIL_OP:8 D3D10_TEXTURE_ADDRESS_MODE:5
D3D10_USAGE:4""")),
    "D3D11_": (178, counts("""
D3D11_COMPARISON_FUNC:8 D3D11_CONSERVATIVE_RASTERIZATION_MODE:2 D3D11_CONTEXT_TYPE:5 D3D11_COUNTER:1
D3D11_COUNTER_TYPE:4 D3D11_CRYPTO_SESSION_STATUS:3 D3D11_CULL_MODE:3 D3D11_DEPTH_WRITE_MASK:2
D3D11_DEVICE_CONTEXT_TYPE:2 D3D11_DSV_DIMENSION:7 D3D11_FILL_MODE:2 D3D11_FILTER:36
D3D11_INPUT_CLASSIFICATION:2 D3D11_QUERY:16 D3D11_RESOURCE_DIMENSION:5 D3D11_RTV_DIMENSION:9
D3D11_STENCIL_OP:8 D3D11_TEXTURE_ADDRESS_MODE:5 D3D11_TEXTURE_LAYOUT:3 D3D11_UAV_DIMENSION:7
D3D11_USAGE:4 D3D11_VDOV_DIMENSION:2 D3D11_VIDEO_DECODER_BUFFER_TYPE:9 D3D11_VIDEO_FRAME_FORMAT:3
D3D11_VIDEO_PROCESSOR_ALPHA_FILL_MODE:4 D3D11_VIDEO_PROCESSOR_OUTPUT_RATE:3
D3D11_VIDEO_PROCESSOR_ROTATION:4 D3D11_VIDEO_PROCESSOR_STEREO_FLIP_MODE:3
D3D11_VIDEO_PROCESSOR_STEREO_FORMAT:8 D3D11_VIDEO_USAGE:3 D3D11_VPIV_DIMENSION:2
D3D11_VPOV_DIMENSION:3""")),
    "D3D12_": (445, counts("""
D3D12_AUTO_BREADCRUMB_OP:43 D3D12_BUFFER_SRV_FLAGS:2 D3D12_BUFFER_UAV_FLAGS:2
D3D12_COMMAND_LIST_TYPE:7 D3D12_COMMAND_QUEUE_FLAGS:2 D3D12_COMPARISON_FUNC:8
D3D12_CONSERVATIVE_RASTERIZATION_MODE:2 D3D12_CPU_PAGE_PROPERTY:4 D3D12_CULL_MODE:3
D3D12_DEPTH_WRITE_MASK:2 D3D12_DESCRIPTOR_HEAP_FLAGS:2 D3D12_DESCRIPTOR_HEAP_TYPE:5
D3D12_DESCRIPTOR_RANGE_FLAGS:6 D3D12_DESCRIPTOR_RANGE_TYPE:4 D3D12_DRED_ALLOCATION_TYPE:27
D3D12_DRIVER_MATCHING_IDENTIFIER_STATUS:5 D3D12_DSV_DIMENSION:7 D3D12_DSV_FLAGS:3
D3D12_ELEMENTS_LAYOUT:2 D3D12_FENCE_FLAGS:4 D3D12_FILL_MODE:2 D3D12_FILTER:36
D3D12_GRAPHICS_STATES:18 D3D12_HEAP_FLAGS:16 D3D12_HEAP_TYPE:4 D3D12_INDEX_BUFFER_STRIP_CUT_VALUE:3
D3D12_INDIRECT_ARGUMENT_TYPE:11 D3D12_INPUT_CLASSIFICATION:2 D3D12_MEMORY_POOL:3
D3D12_META_COMMAND_PARAMETER_FLAGS:2 D3D12_META_COMMAND_PARAMETER_TYPE:5
D3D12_PIPELINE_STATE_FLAGS:2 D3D12_PRIMITIVE_TOPOLOGY_TYPE:5
D3D12_PROTECTED_RESOURCE_SESSION_FLAGS:1 D3D12_PROTECTED_SESSION_STATUS:2 D3D12_QUERY_HEAP_TYPE:6
D3D12_RAYTRACING_ACCELERATION_STRUCTURE_BUILD_FLAGS:7
D3D12_RAYTRACING_ACCELERATION_STRUCTURE_POSTBUILD_INFO_TYPE:4
D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE:2 D3D12_RAYTRACING_GEOMETRY_FLAGS:3
D3D12_RAYTRACING_GEOMETRY_TYPE:2 D3D12_RENDER_PASS_BEGINNING_ACCESS_TYPE:4
D3D12_RENDER_PASS_ENDING_ACCESS_TYPE:4 D3D12_RESIDENCY_PRIORITY:5 D3D12_RESOLVE_MODE:6
D3D12_RESOURCE_BARRIER_FLAGS:3 D3D12_RESOURCE_BARRIER_TYPE:3 D3D12_RESOURCE_DIMENSION:5
D3D12_RESOURCE_FLAGS:8 D3D12_RESOURCE_STATES:26 D3D12_ROOT_DESCRIPTOR_FLAGS:4
D3D12_ROOT_PARAMETER_TYPE:5 D3D12_ROOT_SIGNATURE_FLAGS:11 D3D12_RTV_DIMENSION:9
D3D12_SHADER_VISIBILITY:8 D3D12_SHADING_RATE_COMBINER:5 D3D12_SRV_DIMENSION:12
D3D12_STATE_OBJECT_TYPE:2 D3D12_STATE_SUBOBJECT_TYPE:13 D3D12_STATIC_BORDER_COLOR:3
D3D12_STENCIL_OP:8 D3D12_TEXTURE_ADDRESS_MODE:5 D3D12_TEXTURE_COPY_TYPE:2 D3D12_TEXTURE_LAYOUT:4
D3D12_TILE_RANGE_FLAGS:4 D3D12_UAV_DIMENSION:7 D3D12_WRITEBUFFERIMMEDIATE_MODE:3""")),
    "D3D_": (157, counts("""
D3D_DRIVER_TYPE:6 D3D_FEATURE_LEVEL:9 D3D_PRIMITIVE_TOPOLOGY:94 D3D_ROOT_SIGNATURE_VERSION:3
D3D_SRV_DIMENSION:45""")),
    "DXGI_": (206, counts("""
DXGI_ADAPTER_FLAG3:8 DXGI_ALPHA_MODE:5 DXGI_COLOR_SPACE_TYPE:26
DXGI_COMPUTE_PREEMPTION_GRANULARITY:5 DXGI_FORMAT:122 DXGI_FRAME_PRESENTATION_MODE:4
DXGI_GRAPHICS_PREEMPTION_GRANULARITY:5 DXGI_HDR_METADATA_TYPE:3 DXGI_MODE_ROTATION:5
DXGI_MODE_SCALING:3 DXGI_MODE_SCANLINE_ORDER:4 DXGI_MULTIPLANE_OVERLAY_YCbCr_FLAGS:3
DXGI_RECLAIM_RESOURCE_RESULTS:3 DXGI_RESIDENCY:3 DXGI_SCALING:3 DXGI_SWAP_EFFECT:4""")),
}

# The enums that an argument or a field points to: each has a PrintPtr_ printer.
POINTED = {
    "D3D10_COUNTER_TYPE", "D3D10_RESOURCE_DIMENSION", "D3D11_COUNTER_TYPE",
    "D3D11_CRYPTO_SESSION_STATUS", "D3D11_RESOURCE_DIMENSION", "D3D11_VIDEO_FRAME_FORMAT",
    "D3D11_VIDEO_PROCESSOR_ALPHA_FILL_MODE", "D3D11_VIDEO_PROCESSOR_OUTPUT_RATE",
    "D3D11_VIDEO_PROCESSOR_ROTATION", "D3D11_VIDEO_PROCESSOR_STEREO_FLIP_MODE",
    "D3D11_VIDEO_PROCESSOR_STEREO_FORMAT", "D3D12_AUTO_BREADCRUMB_OP", "D3D12_HEAP_FLAGS",
    "D3D12_RESIDENCY_PRIORITY", "D3D12_SHADING_RATE_COMBINER", "D3D12_TILE_RANGE_FLAGS",
    "D3D12_WRITEBUFFERIMMEDIATE_MODE", "D3D_FEATURE_LEVEL", "D3D_PRIMITIVE_TOPOLOGY",
    "DXGI_COLOR_SPACE_TYPE", "DXGI_FORMAT", "DXGI_HDR_METADATA_TYPE", "DXGI_MODE_ROTATION",
    "DXGI_RECLAIM_RESOURCE_RESULTS", "DXGI_RESIDENCY",
}

TABLE = comenums.read_enums()
FAMILY = TABLE.family()


def rows(enum: str) -> list[tuple[str, int]]:
    return TABLE.enums[enum].rows


def values(enum: str) -> list[int]:
    return [v & 0xFFFFFFFF for _, v in rows(enum)]


def names_of(enum: str, value: int) -> list[str]:
    return [n for n, v in rows(enum) if v & 0xFFFFFFFF == value]


def prefix_runs(enum: str, prefixes: list[str]) -> list[tuple[str, int]]:
    """The table's rows as runs of the longest matching prefix, in order."""
    runs: list[tuple[str, int]] = []
    for name, _ in rows(enum):
        prefix = max((p for p in prefixes if name.startswith(p)), key=len)
        if runs and runs[-1][0] == prefix:
            runs[-1] = (prefix, runs[-1][1] + 1)
        else:
            runs.append((prefix, 1))
    return runs


class Family(unittest.TestCase):
    def test_printers_and_name_counts(self):
        expected = {e: n for _, by_enum in GROUPS.values() for e, n in by_enum.items()}
        self.assertEqual(len(FAMILY), len(set(FAMILY)))
        self.assertEqual({e: len(rows(e)) for e in FAMILY}, expected)
        self.assertEqual(len(FAMILY), 139)
        self.assertEqual(sum(len(rows(e)) for e in FAMILY), 1123)

    def test_group_totals(self):
        for prefix, (total, by_enum) in GROUPS.items():
            members = [e for e in FAMILY if e.startswith(prefix)]
            self.assertEqual(sorted(members), sorted(by_enum), prefix)
            self.assertEqual(sum(len(rows(e)) for e in members), total, prefix)
        self.assertEqual([len(g[1]) for g in GROUPS.values()], [19, 32, 67, 5, 16])

    def test_enums_without_printer(self):
        for name in ("D3D11_BLEND", "D3D12_BLEND", "D3D11_MAP", "D3D12_CLEAR_FLAGS"):
            self.assertIn(name, TABLE.enums)
            self.assertIsNone(TABLE.printer(name), name)

    def test_aliases_print_through_the_shared_printers(self):
        self.assertEqual({a: TABLE.printer(a) for a in TABLE.aliases}, {
            "D3D10_PRIMITIVE_TOPOLOGY": "Print_D3D_PRIMITIVE_TOPOLOGY",
            "D3D11_PRIMITIVE_TOPOLOGY": "Print_D3D_PRIMITIVE_TOPOLOGY",
            "D3D12_PRIMITIVE_TOPOLOGY": "Print_D3D_PRIMITIVE_TOPOLOGY",
            "D3D10_SRV_DIMENSION": "Print_D3D_SRV_DIMENSION",
            "D3D10_SRV_DIMENSION1": "Print_D3D_SRV_DIMENSION",
            "D3D11_SRV_DIMENSION": "Print_D3D_SRV_DIMENSION",
        })
        self.assertEqual(TABLE.printer("D3D12_SRV_DIMENSION"), "Print_D3D12_SRV_DIMENSION")

    def test_pointer_printers(self):
        self.assertEqual(set(comenums.pointed_enums(TABLE)), POINTED)


class SharedPrinters(unittest.TestCase):
    def test_primitive_topology_order(self):
        self.assertEqual(prefix_runs("D3D_PRIMITIVE_TOPOLOGY", ["D3D_", "D3D10_", "D3D11_"]),
                         [("D3D_", 42), ("D3D10_", 10), ("D3D11_", 42)])
        self.assertEqual(names_of("D3D_PRIMITIVE_TOPOLOGY", 4), [
            "D3D_PRIMITIVE_TOPOLOGY_TRIANGLELIST", "D3D10_PRIMITIVE_TOPOLOGY_TRIANGLELIST",
            "D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST"])
        # The patch lists have no D3D10_ name: two names for each of the 32 values.
        for value in range(33, 65):
            self.assertEqual([n.split("_PRIMITIVE")[0]
                              for n in names_of("D3D_PRIMITIVE_TOPOLOGY", value)],
                             ["D3D", "D3D11"], value)

    def test_srv_dimension_order(self):
        self.assertEqual(prefix_runs("D3D_SRV_DIMENSION", ["D3D_", "D3D10_", "D3D10_1_", "D3D11_"]),
                         [("D3D_", 12), ("D3D10_", 10), ("D3D10_1_", 11), ("D3D11_", 12)])
        self.assertEqual(names_of("D3D_SRV_DIMENSION", 0), [
            "D3D_SRV_DIMENSION_UNKNOWN", "D3D10_SRV_DIMENSION_UNKNOWN",
            "D3D10_1_SRV_DIMENSION_UNKNOWN", "D3D11_SRV_DIMENSION_UNKNOWN"])
        self.assertEqual(names_of("D3D_SRV_DIMENSION", 11),
                         ["D3D_SRV_DIMENSION_BUFFEREX", "D3D11_SRV_DIMENSION_BUFFEREX"])


class Values(unittest.TestCase):
    def test_values_with_two_names(self):
        cases = [("D3D12_RESOURCE_STATES", 0,
                  ["D3D12_RESOURCE_STATE_COMMON", "D3D12_RESOURCE_STATE_PRESENT"]),
                 ("D3D12_RESOURCE_STATES", 0x200,
                  ["D3D12_RESOURCE_STATE_INDIRECT_ARGUMENT", "D3D12_RESOURCE_STATE_PREDICATION"]),
                 ("D3D12_RESOURCE_STATES", 0xAC3, ["D3D12_RESOURCE_STATE_GENERIC_READ"]),
                 ("D3D12_HEAP_FLAGS", 0,
                  ["D3D12_HEAP_FLAG_NONE", "D3D12_HEAP_FLAG_ALLOW_ALL_BUFFERS_AND_TEXTURES"]),
                 ("D3D12_HEAP_FLAGS", 0xC0, ["D3D12_HEAP_FLAG_ALLOW_ONLY_BUFFERS"]),
                 ("D3D12_HEAP_FLAGS", 0x44, ["D3D12_HEAP_FLAG_ALLOW_ONLY_NON_RT_DS_TEXTURES"]),
                 ("D3D12_HEAP_FLAGS", 0x84, ["D3D12_HEAP_FLAG_ALLOW_ONLY_RT_DS_TEXTURES"]),
                 ("D3D_ROOT_SIGNATURE_VERSION", 1,
                  ["D3D_ROOT_SIGNATURE_VERSION_1", "D3D_ROOT_SIGNATURE_VERSION_1_0"])]
        for enum, value, names in cases:
            self.assertEqual(names_of(enum, value), names, (enum, value))
        # Elsewhere in the resource states every value has one name.
        states = values("D3D12_RESOURCE_STATES")
        self.assertEqual(len(states) - len(set(states)), 2)

    def test_value_runs(self):
        self.assertEqual(values("DXGI_FORMAT"),
                         [*range(116), 130, 131, 132, 189, 190, 0xFFFFFFFF])
        self.assertEqual(rows("DXGI_FORMAT")[-1], ("DXGI_FORMAT_FORCE_UINT", -1))
        self.assertEqual(values("DXGI_COLOR_SPACE_TYPE"), [*range(25), 0xFFFFFFFF])
        self.assertEqual(values("D3D12_AUTO_BREADCRUMB_OP"), list(range(43)))
        self.assertEqual([rows("D3D12_AUTO_BREADCRUMB_OP")[i][0] for i in (0, -1)],
                         ["D3D12_AUTO_BREADCRUMB_OP_SETMARKER", "D3D12_AUTO_BREADCRUMB_OP_DISPATCHMESH"])
        dred = values("D3D12_DRED_ALLOCATION_TYPE")
        self.assertEqual(dred, [v for v in range(19, 48) if v not in (26, 31, 33)] + [0xFFFFFFFF])
        self.assertEqual(rows("D3D12_DRED_ALLOCATION_TYPE")[-1][0], "D3D12_DRED_ALLOCATION_TYPE_INVALID")
        self.assertEqual(values("D3D12_RESIDENCY_PRIORITY"),
                         [0x28000000, 0x50000000, 0x78000000, 0xA0010000, 0xC8000000])
        self.assertEqual(values("D3D10_COUNTER"), [*range(18), 0x40000000])
        self.assertEqual(rows("D3D11_COUNTER"), [("D3D11_COUNTER_DEVICE_DEPENDENT_0", 0x40000000)])
        self.assertEqual(rows("D3D12_PROTECTED_RESOURCE_SESSION_FLAGS"),
                         [("D3D12_PROTECTED_RESOURCE_SESSION_FLAG_NONE", 0)])

    def test_declared_order_is_kept(self):
        self.assertEqual([n for n, _ in rows("D3D10_FEATURE_LEVEL1")],
                         [f"D3D10_FEATURE_LEVEL_{v}" for v in ("10_0", "10_1", "9_1", "9_2", "9_3")])
        levels = [n for n, _ in rows("D3D_FEATURE_LEVEL")]
        self.assertEqual((levels[0], levels[-1]), ("D3D_FEATURE_LEVEL_9_1", "D3D_FEATURE_LEVEL_12_1"))

    def test_last_rows(self):
        last = {e: rows(e)[-1] for e in ("DXGI_ADAPTER_FLAG3", "DXGI_ALPHA_MODE", "D3D10_FILTER",
                                         "D3D12_INDIRECT_ARGUMENT_TYPE", "D3D12_STATE_SUBOBJECT_TYPE",
                                         "D3D12_DESCRIPTOR_HEAP_TYPE")}
        self.assertEqual(last, {
            "DXGI_ADAPTER_FLAG3": ("DXGI_ADAPTER_FLAG3_FORCE_DWORD", -1),
            "DXGI_ALPHA_MODE": ("DXGI_ALPHA_MODE_FORCE_DWORD", -1),
            "D3D10_FILTER": ("D3D10_FILTER_TEXT_1BIT", -2**31),
            "D3D12_INDIRECT_ARGUMENT_TYPE": ("D3D12_INDIRECT_ARGUMENT_TYPE_DISPATCH_MESH", 10),
            "D3D12_STATE_SUBOBJECT_TYPE": ("D3D12_STATE_SUBOBJECT_TYPE_MAX_VALID", 13),
            "D3D12_DESCRIPTOR_HEAP_TYPE": ("D3D12_DESCRIPTOR_HEAP_TYPE_NUM_TYPES", 4),
        })
        for e in ("D3D11_FILTER", "D3D12_FILTER"):
            self.assertNotIn(0x80000000, values(e), e)


@unittest.skipIf(GENERATED_DIR is None, "no generated directory given")
class Generated(unittest.TestCase):
    def test_source_holds_the_table_rows(self):
        with open(os.path.join(GENERATED_DIR, "com_enum_printers.cpp"), encoding="utf-8") as f:
            source = f.read()
        printers = re.findall(r"^void Print_(\w+)\(.*?^}", source, re.M | re.S)
        self.assertEqual(printers, FAMILY)
        bodies = re.split(r"^void Print_\w+\(", source, flags=re.M)[1:]
        for enum, body in zip(FAMILY, bodies):
            found = [(n, eval(v)) for v, n in re.findall(r'\{(-?[\d -]+), "(\w+), "\}', body)]
            self.assertEqual(found, rows(enum), enum)

    def test_header_declares_printers_and_pointer_printers(self):
        with open(os.path.join(GENERATED_DIR, "com_enum_printers.h"), encoding="utf-8") as f:
            header = f.read()
        self.assertEqual(re.findall(r"^void Print_(\w+)\(", header, re.M), FAMILY)
        self.assertEqual(set(re.findall(r"^inline void PrintPtr_(\w+)\(", header, re.M)), POINTED)
        for alias in TABLE.aliases:
            self.assertNotRegex(header, rf"\bPrint(Ptr)?_{alias}\(")


if __name__ == "__main__":
    unittest.main()
