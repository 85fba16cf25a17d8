// The generated Direct3D and DXGI enum printers, each case one exact line: names in table order,
// every matching row written, no name and no number for a value without a row.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "com_printers.h"

using namespace tov::com_values;

namespace {

using EnumPrinter = void (*)(const void*, std::string, std::ostream&, std::uint64_t);

struct Case {
    const char* what;
    EnumPrinter print;
    std::uint32_t value;
    const char* label;
    std::uint64_t indent;
    const char* expected;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.what; }

const Case kCases[] = {
    // a field at indent 2 and a result at indent 0, whose label ends in its own blank
    {"field", Print_DXGI_FORMAT, 28, "DXGI_FORMAT Format", 2,
     "        DXGI_FORMAT Format DXGI_FORMAT_R8G8B8A8_UNORM, \n"},
    {"result", Print_D3D_FEATURE_LEVEL, 0xB000, "= D3D_FEATURE_LEVEL RESULT ", 0,
     "= D3D_FEATURE_LEVEL RESULT  D3D_FEATURE_LEVEL_11_0, \n"},
    {"result without a name", Print_D3D_FEATURE_LEVEL, 0xC200, "= D3D_FEATURE_LEVEL RESULT ", 0,
     "= D3D_FEATURE_LEVEL RESULT  \n"},

    // values with no row: the label and the blank, no number
    {"format gap", Print_DXGI_FORMAT, 116, "DXGI_FORMAT Format", 1, "    DXGI_FORMAT Format \n"},
    {"format after gap", Print_DXGI_FORMAT, 130, "DXGI_FORMAT Format", 1,
     "    DXGI_FORMAT Format DXGI_FORMAT_P208, \n"},
    {"residency priority near a row", Print_D3D12_RESIDENCY_PRIORITY, 0xA0000000,
     "D3D12_RESIDENCY_PRIORITY Priority", 0, "D3D12_RESIDENCY_PRIORITY Priority \n"},
    {"residency priority high", Print_D3D12_RESIDENCY_PRIORITY, 0xA0010000,
     "D3D12_RESIDENCY_PRIORITY Priority", 0,
     "D3D12_RESIDENCY_PRIORITY Priority D3D12_RESIDENCY_PRIORITY_HIGH, \n"},
    {"single-row enum, other value", Print_D3D11_COUNTER, 0, "D3D11_COUNTER Counter", 0,
     "D3D11_COUNTER Counter \n"},
    {"single-row enum", Print_D3D11_COUNTER, 0x40000000, "D3D11_COUNTER Counter", 0,
     "D3D11_COUNTER Counter D3D11_COUNTER_DEVICE_DEPENDENT_0, \n"},

    // flags are equality tests too: single bits and the named combinations print, others do not
    {"fence flag", Print_D3D12_FENCE_FLAGS, 1, "= D3D12_FENCE_FLAGS RESULT ", 0,
     "= D3D12_FENCE_FLAGS RESULT  D3D12_FENCE_FLAG_SHARED, \n"},
    {"fence flags 3", Print_D3D12_FENCE_FLAGS, 3, "= D3D12_FENCE_FLAGS RESULT ", 0,
     "= D3D12_FENCE_FLAGS RESULT  \n"},
    {"state render target", Print_D3D12_RESOURCE_STATES, 0x4, "D3D12_RESOURCE_STATES StateAfter", 2,
     "        D3D12_RESOURCE_STATES StateAfter D3D12_RESOURCE_STATE_RENDER_TARGET, \n"},
    {"state render target | copy source", Print_D3D12_RESOURCE_STATES, 0x804,
     "D3D12_RESOURCE_STATES StateAfter", 2, "        D3D12_RESOURCE_STATES StateAfter \n"},
    {"state generic read", Print_D3D12_RESOURCE_STATES, 0xAC3, "D3D12_RESOURCE_STATES State", 0,
     "D3D12_RESOURCE_STATES State D3D12_RESOURCE_STATE_GENERIC_READ, \n"},
    {"state generic read less a bit", Print_D3D12_RESOURCE_STATES, 0xAC2,
     "D3D12_RESOURCE_STATES State", 0, "D3D12_RESOURCE_STATES State \n"},
    {"heap flags 3", Print_D3D12_HEAP_FLAGS, 3, "D3D12_HEAP_FLAGS HeapFlags", 1,
     "    D3D12_HEAP_FLAGS HeapFlags \n"},
    {"heap flags named combination", Print_D3D12_HEAP_FLAGS, 0xC0, "D3D12_HEAP_FLAGS HeapFlags", 1,
     "    D3D12_HEAP_FLAGS HeapFlags D3D12_HEAP_FLAG_ALLOW_ONLY_BUFFERS, \n"},

    // values with several names: all of them, in table order
    {"state 0", Print_D3D12_RESOURCE_STATES, 0, "D3D12_RESOURCE_STATES StateBefore", 2,
     "        D3D12_RESOURCE_STATES StateBefore D3D12_RESOURCE_STATE_COMMON, "
     "D3D12_RESOURCE_STATE_PRESENT, \n"},
    {"state 0x200", Print_D3D12_RESOURCE_STATES, 0x200, "D3D12_RESOURCE_STATES State", 0,
     "D3D12_RESOURCE_STATES State D3D12_RESOURCE_STATE_INDIRECT_ARGUMENT, "
     "D3D12_RESOURCE_STATE_PREDICATION, \n"},
    {"heap flags 0", Print_D3D12_HEAP_FLAGS, 0, "D3D12_HEAP_FLAGS HeapFlags", 1,
     "    D3D12_HEAP_FLAGS HeapFlags D3D12_HEAP_FLAG_NONE, "
     "D3D12_HEAP_FLAG_ALLOW_ALL_BUFFERS_AND_TEXTURES, \n"},
    {"root signature version 1", Print_D3D_ROOT_SIGNATURE_VERSION, 1,
     "D3D_ROOT_SIGNATURE_VERSION Version", 2,
     "        D3D_ROOT_SIGNATURE_VERSION Version D3D_ROOT_SIGNATURE_VERSION_1, "
     "D3D_ROOT_SIGNATURE_VERSION_1_0, \n"},

    // the shared printers: one name of each version, whichever label
    {"D3D11 topology 4", Print_D3D_PRIMITIVE_TOPOLOGY, 4, "D3D11_PRIMITIVE_TOPOLOGY Topology", 0,
     "D3D11_PRIMITIVE_TOPOLOGY Topology D3D_PRIMITIVE_TOPOLOGY_TRIANGLELIST, "
     "D3D10_PRIMITIVE_TOPOLOGY_TRIANGLELIST, D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST, \n"},
    {"topology patch list has no D3D10 name", Print_D3D_PRIMITIVE_TOPOLOGY, 64,
     "D3D10_PRIMITIVE_TOPOLOGY Topology", 0,
     "D3D10_PRIMITIVE_TOPOLOGY Topology D3D_PRIMITIVE_TOPOLOGY_32_CONTROL_POINT_PATCHLIST, "
     "D3D11_PRIMITIVE_TOPOLOGY_32_CONTROL_POINT_PATCHLIST, \n"},
    {"topology between runs", Print_D3D_PRIMITIVE_TOPOLOGY, 6, "D3D11_PRIMITIVE_TOPOLOGY Topology",
     0, "D3D11_PRIMITIVE_TOPOLOGY Topology \n"},
    {"srv dimension 0", Print_D3D_SRV_DIMENSION, 0, "D3D11_SRV_DIMENSION ViewDimension", 1,
     "    D3D11_SRV_DIMENSION ViewDimension D3D_SRV_DIMENSION_UNKNOWN, D3D10_SRV_DIMENSION_UNKNOWN, "
     "D3D10_1_SRV_DIMENSION_UNKNOWN, D3D11_SRV_DIMENSION_UNKNOWN, \n"},
    {"srv dimension 10", Print_D3D_SRV_DIMENSION, 10, "D3D10_SRV_DIMENSION1 ViewDimension", 1,
     "    D3D10_SRV_DIMENSION1 ViewDimension D3D_SRV_DIMENSION_TEXTURECUBEARRAY, "
     "D3D10_1_SRV_DIMENSION_TEXTURECUBEARRAY, D3D11_SRV_DIMENSION_TEXTURECUBEARRAY, \n"},
    {"srv dimension 11", Print_D3D_SRV_DIMENSION, 11, "D3D11_SRV_DIMENSION ViewDimension", 1,
     "    D3D11_SRV_DIMENSION ViewDimension D3D_SRV_DIMENSION_BUFFEREX, "
     "D3D11_SRV_DIMENSION_BUFFEREX, \n"},
    {"D3D12 srv dimension is its own", Print_D3D12_SRV_DIMENSION, 0,
     "D3D12_SRV_DIMENSION ViewDimension", 1,
     "    D3D12_SRV_DIMENSION ViewDimension D3D12_SRV_DIMENSION_UNKNOWN, \n"},

    // rows with the high bit set match by their 32-bit pattern
    {"format force uint", Print_DXGI_FORMAT, 0xFFFFFFFF, "DXGI_FORMAT Format", 0,
     "DXGI_FORMAT Format DXGI_FORMAT_FORCE_UINT, \n"},
    {"alpha mode force dword", Print_DXGI_ALPHA_MODE, 0xFFFFFFFF, "DXGI_ALPHA_MODE AlphaMode", 0,
     "DXGI_ALPHA_MODE AlphaMode DXGI_ALPHA_MODE_FORCE_DWORD, \n"},
    {"adapter flag3 force dword", Print_DXGI_ADAPTER_FLAG3, 0xFFFFFFFF, "DXGI_ADAPTER_FLAG3 Flags",
     0, "DXGI_ADAPTER_FLAG3 Flags DXGI_ADAPTER_FLAG3_FORCE_DWORD, \n"},
    {"color space custom", Print_DXGI_COLOR_SPACE_TYPE, 0xFFFFFFFF,
     "DXGI_COLOR_SPACE_TYPE ColorSpace", 0,
     "DXGI_COLOR_SPACE_TYPE ColorSpace DXGI_COLOR_SPACE_CUSTOM, \n"},
    {"dred invalid", Print_D3D12_DRED_ALLOCATION_TYPE, 0xFFFFFFFF,
     "D3D12_DRED_ALLOCATION_TYPE AllocationType", 0,
     "D3D12_DRED_ALLOCATION_TYPE AllocationType D3D12_DRED_ALLOCATION_TYPE_INVALID, \n"},
    {"D3D10 filter text 1bit", Print_D3D10_FILTER, 0x80000000, "D3D10_FILTER Filter", 0,
     "D3D10_FILTER Filter D3D10_FILTER_TEXT_1BIT, \n"},
    {"D3D11 filter has no text 1bit", Print_D3D11_FILTER, 0x80000000, "D3D11_FILTER Filter", 0,
     "D3D11_FILTER Filter \n"},
    {"no 0xFFFFFFFF row", Print_D3D12_FENCE_FLAGS, 0xFFFFFFFF, "D3D12_FENCE_FLAGS Flags", 0,
     "D3D12_FENCE_FLAGS Flags \n"},
    {"D3D10 feature level 9_3", Print_D3D10_FEATURE_LEVEL1, 0x9300,
     "D3D10_FEATURE_LEVEL1 HardwareLevel", 1,
     "    D3D10_FEATURE_LEVEL1 HardwareLevel D3D10_FEATURE_LEVEL_9_3, \n"},
};

class EnumPrinterCase : public testing::TestWithParam<Case> {};

TEST_P(EnumPrinterCase, WritesExactLine) {
    const Case& c = GetParam();
    // The value alone on the heap: a printer that reads more than 32 bits is caught under ASan.
    auto value = std::make_unique<std::uint32_t>(c.value);
    std::ostringstream os;
    c.print(value.get(), c.label, os, c.indent);
    EXPECT_EQ(os.str(), c.expected);
}

INSTANTIATE_TEST_SUITE_P(ComEnums, EnumPrinterCase, testing::ValuesIn(kCases));

// Pointer arguments show the first value only, on the pointer's own line.
TEST(ComEnumPointers, NullAndFirstValue) {
    const std::uint32_t formats[] = {87, 28};
    const std::uint32_t topology = 5;
    std::ostringstream os;
    PrintPtr_DXGI_FORMAT(formats, "const DXGI_FORMAT * pSupportedFormats", os, 1);
    PrintPtr_DXGI_FORMAT(nullptr, "const DXGI_FORMAT * pSupportedFormats", os, 1);
    PrintPtr_D3D_PRIMITIVE_TOPOLOGY(&topology, "D3D11_PRIMITIVE_TOPOLOGY * pTopology", os, 1);
    EXPECT_EQ(os.str(),
              "    const DXGI_FORMAT * pSupportedFormats DXGI_FORMAT_B8G8R8A8_UNORM, \n"
              "    const DXGI_FORMAT * pSupportedFormats NULLPTR\n"
              "    D3D11_PRIMITIVE_TOPOLOGY * pTopology D3D_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP, "
              "D3D10_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP, D3D11_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP, \n");
}

}  // namespace
