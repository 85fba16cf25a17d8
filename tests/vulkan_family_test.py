#!/usr/bin/env python3
"""The Vulkan tables and the printer rules against the published figures of the API state the
layer describes: counts of hooks, labels, results, enums with their names, structures and the
printers their fields go to. A table that lost a row or a rule that sends a type to the wrong
printer changes one of these numbers."""
import os
import sys
import unittest
from collections import Counter

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "tools"))
import apitable  # noqa: E402
import vkrules  # noqa: E402

ENUM_NAMES = dict(item.split(":") for item in """
VkAccelerationStructureBuildTypeKHR:4 VkAccelerationStructureCompatibilityKHR:3
VkAccelerationStructureMemoryRequirementsTypeNV:4 VkAccelerationStructureTypeKHR:6 VkAttachmentLoadOp:4
VkAttachmentStoreOp:4 VkBlendFactor:20 VkBlendOp:52 VkBorderColor:9 VkBuildAccelerationStructureModeKHR:3
VkChromaLocation:5 VkCoarseSampleOrderTypeNV:5 VkColorSpaceKHR:19 VkCommandBufferLevel:3 VkCompareOp:9
VkComponentSwizzle:8 VkComponentTypeNV:12 VkCompositeAlphaFlagBitsKHR:5 VkCopyAccelerationStructureModeKHR:7
VkCoverageReductionModeNV:3 VkDebugReportObjectTypeEXT:41 VkDebugUtilsMessageSeverityFlagBitsEXT:5
VkDescriptorType:16 VkDescriptorUpdateTemplateType:4 VkDeviceEventTypeEXT:2 VkDisplayEventTypeEXT:2
VkDisplayPlaneAlphaFlagBitsKHR:5 VkDisplayPowerStateEXT:4 VkDynamicState:31 VkExternalFenceHandleTypeFlagBits:9
VkExternalMemoryHandleTypeFlagBits:19 VkExternalSemaphoreHandleTypeFlagBits:12 VkFilter:5 VkFormat:278
VkFragmentShadingRateCombinerOpKHR:6 VkFragmentShadingRateNV:13 VkFrontFace:3 VkGeometryTypeKHR:6
VkImageLayout:29 VkImageTiling:4 VkImageType:4 VkImageViewType:8 VkIndexType:6 VkIndirectCommandsTokenTypeNV:9
VkLogicOp:17 VkObjectType:44 VkPerformanceConfigurationTypeZENTA:2 VkPerformanceCounterScopeKHR:7
VkPerformanceCounterStorageKHR:7 VkPerformanceCounterUnitKHR:12 VkPerformanceOverrideTypeZENTA:3
VkPerformanceParameterTypeZENTA:3 VkPerformanceValueTypeZENTA:6 VkPhysicalDeviceType:6 VkPipelineBindPoint:5
VkPipelineExecutableStatisticFormatKHR:5 VkPipelineStageFlagBits:31 VkPolygonMode:5 VkPresentModeKHR:7
VkPrimitiveTopology:12 VkQueryType:10 VkRayTracingShaderGroupTypeKHR:7 VkResult:45 VkSampleCountFlagBits:8
VkSamplerAddressMode:7 VkSamplerMipmapMode:3 VkSamplerYcbcrModelConversion:11 VkSamplerYcbcrRange:5
VkScopeNV:5 VkShaderGroupShaderKHR:5 VkShaderInfoTypeAMD:4 VkShaderStageFlagBits:23
VkShadingRatePaletteEntryNV:13 VkSharingMode:3 VkStencilOp:9 VkStructureType:600 VkSubpassContents:3
VkSurfaceCounterFlagBitsEXT:3 VkSurfaceTransformFlagBitsKHR:10 VkTimeDomainEXT:5 VkVertexInputRate:3
""".split())

# Structures the API declares only by value or inside fixed arrays: no pointer printer.
BY_VALUE_ONLY = {
    "VkComponentMapping", "VkDisplayModeParametersKHR", "VkExtent3D", "VkExternalMemoryProperties",
    "VkGeometryAABBNV", "VkGeometryDataNV", "VkGeometryTrianglesNV", "VkImageSubresourceLayers",
    "VkOffset2D", "VkOffset3D", "VkPhysicalDeviceLimits", "VkPhysicalDeviceSparseProperties",
    "VkStencilOpState",
}

REG = apitable.vulkan_registry()
RULES = vkrules.Rules(REG)
STRUCTS, ENUMS = RULES.family()


def printer_kind(printer: str) -> str:
    name = printer.split("::")[-1]
    if name.startswith("Print_Vk"):
        return "enum" if RULES.kind(name[len("Print_"):]) == "enum" else "struct"
    if name.startswith("PrintPtr_Vk"):
        return "pointer"
    return name


class Hooks(unittest.TestCase):
    def test_slots_and_results(self):
        names = [f.name for f in REG.functions]
        self.assertEqual(len(names), 435)
        self.assertEqual(names.index("vkEnumerateInstanceVersion"), 137)
        self.assertEqual(names.index("vkCmdDrawIndirectCount"), 165)
        self.assertEqual(names.index("vkDestroySurfaceKHR"), 178)
        self.assertEqual(names.index("vkCreateWin32SurfaceKHR"), 422)
        results = Counter(f.ret for f in REG.functions)
        self.assertEqual(results, Counter({"void": 235, "VkResult": 186, "VkDeviceAddress": 4,
                                           "uint64_t": 4, "uint32_t": 2, "PFN_vkVoidFunction": 2,
                                           "VkDeviceSize": 1, "VkBool32": 1}))

    def test_parameter_labels(self):
        lines = [l for f in REG.functions for l in RULES.parameter_lines(f)]
        self.assertEqual(len(lines), 925)
        counted = sorted(l.label for l in lines if l.count is not None)
        self.assertEqual(counted, sorted([
            "const float [4] blendConstants",
            "const VkFragmentShadingRateCombinerOpKHR [2] combinerOps",
            "const VkFragmentShadingRateCombinerOpKHR [2] combinerOps",
            "const VkAccelerationStructureBuildRangeInfoKHR *const * ppBuildRangeInfos",
            "const VkAccelerationStructureBuildRangeInfoKHR *const * ppBuildRangeInfos",
            "const uint32_t *const * ppMaxPrimitiveCounts"]))
        self.assertTrue(all(l.count in ("4", "2", "infoCount") for l in lines if l.count))


class Enums(unittest.TestCase):
    def test_family_and_name_counts(self):
        self.assertEqual({e: len(REG.enums[e].rows) for e in ENUMS},
                         {k: int(v) for k, v in ENUM_NAMES.items()})
        self.assertEqual(sum(len(REG.enums[e].rows) for e in ENUMS), 1660)

    def test_max_enum_stands_last(self):
        for e in ENUMS:
            self.assertEqual(REG.enums[e].rows[-1], (f"{REG.enums[e].rows[-1][0]}", 2147483647), e)
            self.assertIn("_MAX_ENUM", REG.enums[e].rows[-1][0], e)

    def test_values_with_several_names(self):
        rows = REG.enums["VkResult"].rows
        self.assertEqual([n for n, v in rows if v == -1000257000],
                         ["VK_ERROR_INVALID_OPAQUE_CAPTURE_ADDRESS", "VK_ERROR_INVALID_DEVICE_ADDRESS_EXT",
                          "VK_ERROR_INVALID_OPAQUE_CAPTURE_ADDRESS_KHR"])
        self.assertEqual(len({v for _, v in REG.enums["VkStructureType"].rows}), 486)
        self.assertEqual(len({v for _, v in REG.enums["VkFormat"].rows}), 244)


class Structures(unittest.TestCase):
    def test_family(self):
        self.assertEqual(len(STRUCTS), 278)
        self.assertIn("VkMemoryRequirements2KHR", STRUCTS)
        self.assertNotIn("VkMemoryType", STRUCTS)
        self.assertNotIn("VkPhysicalDeviceVulkan12Features", STRUCTS)

    def test_fields_by_printer(self):
        # Structures with the same field list share their lines; count each list once.
        seen, kinds = set(), Counter()
        for name in sorted({REG.resolve(s) for s in STRUCTS}):
            fields = tuple((m.type, m.name, tuple(m.array)) for m in REG.records[name].members)
            if fields in seen:
                continue
            seen.add(fields)
            for line in RULES.field_lines(REG.records[name]):
                kinds["VkStructureType" if line.printer == "Print_VkStructureType"
                      else printer_kind(line.printer)] += 1
        self.assertEqual(kinds, Counter({
            "VkStructureType": 193, "Print_voidptr": 208, "Print_uint32_t": 551, "Print_uint64_t": 112,
            "Print_int32_t": 15, "Print_float": 34, "enum": 164, "struct": 91, "Print_handle": 106,
            "Print_NYI": 36, "pointer": 79, "PrintPtr_uint32_t": 14, "PrintPtr_uint64_t": 1,
            "PrintPtr_float": 1, "PrintPtr_NYI": 42}))

    def test_sizes_and_left_out_unions(self):
        lines = {n: RULES.field_lines(REG.records[REG.resolve(n)]) for n in STRUCTS}
        self.assertEqual(len(lines["VkPhysicalDeviceLimits"]), 106)
        self.assertEqual(len(lines["VkPhysicalDeviceFeatures"]), 55)
        self.assertEqual(len(lines["VkGraphicsPipelineCreateInfo"]), 19)
        self.assertEqual([l.label for l in lines["VkPerformanceValueZENTA"]],
                         ["VkPerformanceValueTypeZENTA type"])
        self.assertEqual([l.label for l in lines["VkClearAttachment"]][-1], "uint32_t colorAttachment")
        left_out = sorted(n for n in {REG.resolve(s) for s in STRUCTS}
                          if len(lines[n]) < len(REG.records[n].members))
        self.assertEqual(left_out, sorted([
            "VkAccelerationStructureBuildGeometryInfoKHR", "VkAccelerationStructureGeometryKHR",
            "VkCopyAccelerationStructureToMemoryInfoKHR", "VkCopyMemoryToAccelerationStructureInfoKHR",
            "VkClearAttachment", "VkPerformanceValueZENTA", "VkPipelineExecutableStatisticKHR"]))

    def test_handle_types_and_pointer_printers(self):
        handles = {m.type for n in {REG.resolve(s) for s in STRUCTS} for m in REG.records[n].members
                   if RULES.kind(m.type) == "handle" and "*" not in m.type and not m.array}
        self.assertEqual(len(handles), 24)
        pointed = set()
        for f in REG.functions:
            for l in RULES.parameter_lines(f):
                pointed.add(l.printer.split("PrintPtr_")[-1].rstrip(">"))
        for n in {REG.resolve(s) for s in STRUCTS}:
            for l in RULES.field_lines(REG.records[n]):
                pointed.add(l.printer.split("PrintPtr_")[-1])
        # VkXYColorEXT has the field list of VkSampleLocationEXT, whose pointer printer serves both.
        self.assertEqual(set(STRUCTS) - pointed, BY_VALUE_ONLY | {"VkXYColorEXT"})


class Labels(unittest.TestCase):
    def test_spelling(self):
        cases = [("const VkFence*", "pFences", [], "const VkFence * pFences"),
                 ("const char* const*", "ppEnabledLayerNames", [], "const char *const * ppEnabledLayerNames"),
                 ("const float", "blendConstants", [4], "const float [4] blendConstants"),
                 ("char", "extensionName", [256], "char [256] extensionName"),
                 ("VkDeviceSize", "offset", [], "VkDeviceSize offset")]
        for type_text, name, array, expected in cases:
            self.assertEqual(vkrules.label(type_text, name, array), expected)


if __name__ == "__main__":
    unittest.main()
