// The generated Direct3D and DXGI structure printers: worked examples against hand-written golden
// files, and every tag of every tagged union against the member line that it must select.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "com_printers.h"
#include "golden.h"

using namespace tov::com_values;
using tov::test::ExpectGolden;

namespace {

// A resource whose private data holds a capture id, or none if the id is 0: the call fails.
struct FakeResource {
    ID3D12Resource object;
    ID3D12ResourceVtbl vtbl;
};

std::uint64_t g_storedId = 0;

HRESULT TOV_COM_CALL FakeGetPrivateData(ID3D12Resource*, REFGUID guid, UINT* size, void* data) {
    if (g_storedId == 0 || std::memcmp(&guid, &kCaptureTimeIdGuid, sizeof guid) != 0)
        return static_cast<HRESULT>(0x887A0002);   // not found
    std::memcpy(data, &g_storedId, sizeof g_storedId);
    *size = sizeof g_storedId;
    return 0;
}

FakeResource MakeResource() {
    FakeResource r{};
    r.vtbl.GetPrivateData = FakeGetPrivateData;
    return r;
}

template <typename T>
T Zeroed() {
    T value;
    std::memset(static_cast<void*>(&value), 0, sizeof value);
    return value;
}

template <typename T, typename Printer>
std::string Dump(Printer print, const T& value, const char* label, std::uint64_t indent) {
    std::ostringstream os;
    print(&value, label, os, indent);
    return os.str();
}

// --- worked examples ---------------------------------------------------------------------

TEST(ComStructExamples, BufferDescription) {
    D3D11_BUFFER_DESC desc = Zeroed<D3D11_BUFFER_DESC>();
    desc.ByteWidth = 256;
    desc.Usage = D3D11_USAGE_DEFAULT;
    desc.BindFlags = 1;
    ExpectGolden("com/values/buffer_desc.txt",
                 Dump(PrintPtr_D3D11_BUFFER_DESC, desc, "const D3D11_BUFFER_DESC * pDesc", 1));
}

TEST(ComStructExamples, RectAndLuid) {
    RECT rect{0, -8, 640, 480};
    ExpectGolden("com/values/rect.txt", Dump(PrintPtr_RECT, rect, "RECT * pRect", 1));
    LUID luid{49853, 0};
    ExpectGolden("com/values/luid.txt", Dump(Print_LUID, luid, "LUID AdapterLuid", 2));
}

TEST(ComStructExamples, MembersAtTheStructuresIndent) {
    FakeResource resource = MakeResource();
    g_storedId = 0x2c;
    D3D12_RESOURCE_BARRIER barrier = Zeroed<D3D12_RESOURCE_BARRIER>();
    barrier.Type = D3D12_RESOURCE_BARRIER_TYPE_TRANSITION;
    barrier.Transition.pResource = &resource.object;
    barrier.Transition.StateAfter = D3D12_RESOURCE_STATE_RENDER_TARGET;
    barrier.Transition.pResource->lpVtbl = &resource.vtbl;
    ExpectGolden("com/values/resource_barrier_transition.txt",
                 Dump(PrintPtr_D3D12_RESOURCE_BARRIER, barrier,
                      "const D3D12_RESOURCE_BARRIER * pBarriers", 1));
    g_storedId = 0;

    D3D12_TEXTURE_COPY_LOCATION location = Zeroed<D3D12_TEXTURE_COPY_LOCATION>();
    ExpectGolden("com/values/texture_copy_location.txt",
                 Dump(PrintPtr_D3D12_TEXTURE_COPY_LOCATION, location,
                      "const D3D12_TEXTURE_COPY_LOCATION * pDst", 1));
}

TEST(ComStructExamples, AliasingBarrierObjectsWithoutId) {
    FakeResource before = MakeResource(), after = MakeResource();
    before.object.lpVtbl = &before.vtbl;
    after.object.lpVtbl = &after.vtbl;
    D3D12_RESOURCE_BARRIER barrier = Zeroed<D3D12_RESOURCE_BARRIER>();
    barrier.Type = D3D12_RESOURCE_BARRIER_TYPE_ALIASING;
    barrier.Aliasing.pResourceBefore = &before.object;
    barrier.Aliasing.pResourceAfter = &after.object;
    EXPECT_EQ(Dump(Print_D3D12_RESOURCE_BARRIER, barrier, "D3D12_RESOURCE_BARRIER b", 0),
              "D3D12_RESOURCE_BARRIER b\n"
              "    D3D12_RESOURCE_BARRIER_TYPE Type D3D12_RESOURCE_BARRIER_TYPE_ALIASING, \n"
              "    D3D12_RESOURCE_BARRIER_FLAGS Flags D3D12_RESOURCE_BARRIER_FLAG_NONE, \n"
              "D3D12_RESOURCE_ALIASING_BARRIER Aliasing\n"
              "    ID3D12Resource * pResourceBefore\n"
              "         ID3D12Resource\n"
              "    ID3D12Resource * pResourceAfter\n"
              "         ID3D12Resource\n");
}

TEST(ComStructExamples, IndirectArgument) {
    D3D12_INDIRECT_ARGUMENT_DESC argument = Zeroed<D3D12_INDIRECT_ARGUMENT_DESC>();
    argument.Type = D3D12_INDIRECT_ARGUMENT_TYPE_CONSTANT;
    argument.Constant.RootParameterIndex = 2;
    argument.Constant.Num32BitValuesToSet = 4;
    ExpectGolden("com/values/indirect_argument_constant.txt",
                 Dump(PrintPtr_D3D12_INDIRECT_ARGUMENT_DESC, argument,
                      "const D3D12_INDIRECT_ARGUMENT_DESC * pArgumentDescs", 1));
}

TEST(ComStructExamples, RaytracingInputsFlatList) {
    D3D12_RAYTRACING_GEOMETRY_DESC geometry[2] = {Zeroed<D3D12_RAYTRACING_GEOMETRY_DESC>(),
                                                  Zeroed<D3D12_RAYTRACING_GEOMETRY_DESC>()};
    geometry[0].Type = D3D12_RAYTRACING_GEOMETRY_TYPE_PROCEDURAL_PRIMITIVE_AABBS;
    geometry[0].Flags = D3D12_RAYTRACING_GEOMETRY_FLAG_OPAQUE;
    geometry[0].AABBs.AABBCount = 1;
    geometry[0].AABBs.AABBs.StartAddress = 65536;
    geometry[0].AABBs.AABBs.StrideInBytes = 24;
    geometry[1].Type = D3D12_RAYTRACING_GEOMETRY_TYPE_TRIANGLES;
    geometry[1].Triangles.VertexFormat = DXGI_FORMAT_R32G32B32_FLOAT;
    geometry[1].Triangles.VertexCount = 3;
    geometry[1].Triangles.VertexBuffer.StartAddress = 131072;
    geometry[1].Triangles.VertexBuffer.StrideInBytes = 12;
    D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS inputs =
        Zeroed<D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS>();
    inputs.Type = D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE_BOTTOM_LEVEL;
    inputs.NumDescs = 2;
    inputs.DescsLayout = D3D12_ELEMENTS_LAYOUT_ARRAY;
    inputs.pGeometryDescs = geometry;
    ExpectGolden("com/values/raytracing_inputs_flat.txt",
                 Dump(PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS, inputs,
                      "const D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS * pDesc", 1));
}

TEST(ComStructExamples, RaytracingInputsOtherForms) {
    using Inputs = D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS;
    const std::string head =
        "    const D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS * pDesc\n"
        "        D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE Type ";
    const char* label = "const D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS * pDesc";

    // Top level, whatever the layout: the address of the instances, never a geometry.
    Inputs top = Zeroed<Inputs>();
    top.NumDescs = 5;
    top.DescsLayout = D3D12_ELEMENTS_LAYOUT_ARRAY_OF_POINTERS;
    top.InstanceDescs = 4096;
    EXPECT_EQ(Dump(PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS, top, label, 1),
              head + "D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE_TOP_LEVEL, \n"
              "        D3D12_RAYTRACING_ACCELERATION_STRUCTURE_BUILD_FLAGS Flags "
              "D3D12_RAYTRACING_ACCELERATION_STRUCTURE_BUILD_FLAG_NONE, \n"
              "        UINT NumDescs: 5\n"
              "        D3D12_ELEMENTS_LAYOUT DescsLayout D3D12_ELEMENTS_LAYOUT_ARRAY_OF_POINTERS, \n"
              "        D3D12_GPU_VIRTUAL_ADDRESS InstanceDescs: 4096\n");

    const std::string bottom =
        head + "D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE_BOTTOM_LEVEL, \n"
        "        D3D12_RAYTRACING_ACCELERATION_STRUCTURE_BUILD_FLAGS Flags "
        "D3D12_RAYTRACING_ACCELERATION_STRUCTURE_BUILD_FLAG_NONE, \n";
    // An array of pointers that is null: its label line, then " NULLPTR" in column one.
    Inputs pointers = Zeroed<Inputs>();
    pointers.Type = D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE_BOTTOM_LEVEL;
    pointers.NumDescs = 1;
    pointers.DescsLayout = D3D12_ELEMENTS_LAYOUT_ARRAY_OF_POINTERS;
    EXPECT_EQ(Dump(PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS, pointers, label, 1),
              bottom + "        UINT NumDescs: 1\n"
              "        D3D12_ELEMENTS_LAYOUT DescsLayout D3D12_ELEMENTS_LAYOUT_ARRAY_OF_POINTERS, \n"
              "        const D3D12_RAYTRACING_GEOMETRY_DESC *const *ppGeometryDescs\n"
              " NULLPTR\n");

    // A flat list of none: the four fields and nothing else.
    Inputs empty = Zeroed<Inputs>();
    empty.Type = D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE_BOTTOM_LEVEL;
    EXPECT_EQ(Dump(PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS, empty, label, 1),
              bottom + "        UINT NumDescs: 0\n"
              "        D3D12_ELEMENTS_LAYOUT DescsLayout D3D12_ELEMENTS_LAYOUT_ARRAY, \n");

    // An array of pointers whose second element is null.
    D3D12_RAYTRACING_GEOMETRY_DESC aabbs = Zeroed<D3D12_RAYTRACING_GEOMETRY_DESC>();
    aabbs.Type = D3D12_RAYTRACING_GEOMETRY_TYPE_PROCEDURAL_PRIMITIVE_AABBS;
    const D3D12_RAYTRACING_GEOMETRY_DESC* list[2] = {&aabbs, nullptr};
    pointers.NumDescs = 2;
    pointers.ppGeometryDescs = list;
    EXPECT_EQ(Dump(PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS, pointers, label, 0),
              "const D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS * pDesc\n"
              "    D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE Type "
              "D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE_BOTTOM_LEVEL, \n"
              "    D3D12_RAYTRACING_ACCELERATION_STRUCTURE_BUILD_FLAGS Flags "
              "D3D12_RAYTRACING_ACCELERATION_STRUCTURE_BUILD_FLAG_NONE, \n"
              "    UINT NumDescs: 2\n"
              "    D3D12_ELEMENTS_LAYOUT DescsLayout D3D12_ELEMENTS_LAYOUT_ARRAY_OF_POINTERS, \n"
              "    const D3D12_RAYTRACING_GEOMETRY_DESC *const *ppGeometryDescs\n"
              "        [0]\n"
              "            D3D12_RAYTRACING_GEOMETRY_TYPE Type "
              "D3D12_RAYTRACING_GEOMETRY_TYPE_PROCEDURAL_PRIMITIVE_AABBS, \n"
              "            D3D12_RAYTRACING_GEOMETRY_FLAGS Flags D3D12_RAYTRACING_GEOMETRY_FLAG_NONE, \n"
              "            D3D12_RAYTRACING_GEOMETRY_AABBS_DESC AABBs\n"
              "                UINT64 AABBCount: 0\n"
              "                D3D12_GPU_VIRTUAL_ADDRESS_AND_STRIDE AABBs\n"
              "                    D3D12_GPU_VIRTUAL_ADDRESS StartAddress: 0\n"
              "                    UINT64 StrideInBytes: 0\n"
              "        [1] NULLPTR\n");
}

TEST(ComStructExamples, ClearValuePrintsEveryMember) {
    D3D12_CLEAR_VALUE clear = Zeroed<D3D12_CLEAR_VALUE>();
    clear.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    clear.Color[0] = 1.0f;
    clear.Color[1] = 0.5f;
    ExpectGolden("com/values/clear_value.txt",
                 Dump(PrintPtr_D3D12_CLEAR_VALUE, clear,
                      "const D3D12_CLEAR_VALUE * pOptimizedClearValue", 1));
}

TEST(ComStructExamples, ArrayOfPointers) {
    D3D12_VERSIONED_ROOT_SIGNATURE_DESC desc = Zeroed<D3D12_VERSIONED_ROOT_SIGNATURE_DESC>();
    desc.Version = D3D_ROOT_SIGNATURE_VERSION_1_1;
    const D3D12_VERSIONED_ROOT_SIGNATURE_DESC* array[2] = {&desc, nullptr};
    std::ostringstream os;
    PrintPtrArray_D3D12_VERSIONED_ROOT_SIGNATURE_DESC(
        array, 2, "const D3D12_VERSIONED_ROOT_SIGNATURE_DESC ** ppDesc", os, 1);
    ExpectGolden("com/values/versioned_root_signature_array.txt", os.str());

    std::ostringstream null;
    PrintPtrArray_D3D12_VERSIONED_ROOT_SIGNATURE_DESC(
        nullptr, 1, "const D3D12_VERSIONED_ROOT_SIGNATURE_DESC ** ppDesc", null, 1);
    EXPECT_EQ(null.str(), "    const D3D12_VERSIONED_ROOT_SIGNATURE_DESC ** ppDesc\n NULLPTR\n");
}

TEST(ComStructExamples, PointersShowTheFirstElement) {
    D3D12_CPU_DESCRIPTOR_HANDLE handles[2] = {{65536}, {65568}};
    ExpectGolden("com/values/cpu_descriptor_handle.txt",
                 Dump(PrintPtr_D3D12_CPU_DESCRIPTOR_HANDLE, handles[0],
                      "const D3D12_CPU_DESCRIPTOR_HANDLE * pRenderTargetDescriptors", 1));

    D3D12_RECT rects[3] = {{-1, 2, 30, 40}, {5, 6, 7, 8}, {9, 10, 11, 12}};
    D3D12_DISCARD_REGION region{3, rects, 0, 1};
    std::string text = Dump(PrintPtr_D3D12_DISCARD_REGION, region,
                            "const D3D12_DISCARD_REGION * pRegion", 1);
    region.pRects = nullptr;
    text += Dump(PrintPtr_D3D12_DISCARD_REGION, region, "const D3D12_DISCARD_REGION * pRegion", 1);
    ExpectGolden("com/values/discard_region.txt", text);

    EXPECT_EQ(Dump(PrintPtr_DXGI_RGBA, DXGI_RGBA{0.5f, 0.0f, 1.0f, 1.0f},
                   "const DXGI_RGBA * pColor", 0),
              "const DXGI_RGBA * pColor\n    float r: 0.500000\n    float g: 0.000000\n"
              "    float b: 1.000000\n    float a: 1.000000\n");
    std::ostringstream null;
    PrintPtr_D3D12_RECT(nullptr, "const D3D12_RECT * pRects", null, 0);
    EXPECT_EQ(null.str(), "const D3D12_RECT * pRects NULLPTR\n");
}

TEST(ComStructExamples, LinkedListByRecursion) {
    const char* name = "queue";
    const wchar_t* wide = L"fence";
    D3D12_DRED_ALLOCATION_NODE third{nullptr, nullptr, static_cast<D3D12_DRED_ALLOCATION_TYPE>(26),
                                     nullptr};
    D3D12_DRED_ALLOCATION_NODE second{nullptr, wide, D3D12_DRED_ALLOCATION_TYPE_FENCE, &third};
    D3D12_DRED_ALLOCATION_NODE first{name, nullptr, D3D12_DRED_ALLOCATION_TYPE_COMMAND_QUEUE,
                                     &second};
    ExpectGolden("com/values/dred_allocation_list.txt",
                 Dump(PrintPtr_D3D12_DRED_ALLOCATION_NODE, first,
                      "const D3D12_DRED_ALLOCATION_NODE * pHeadExistingAllocationNode", 1));
}

TEST(ComStructExamples, FixedArraysAndLeftOutFields) {
    DXGI_GAMMA_CONTROL gamma = Zeroed<DXGI_GAMMA_CONTROL>();
    gamma.Scale = {1.0f, 0.5f, 0.25f};
    gamma.Offset.Blue = -0.0f;
    ExpectGolden("com/values/gamma_control.txt",
                 Dump(PrintPtr_DXGI_GAMMA_CONTROL, gamma, "DXGI_GAMMA_CONTROL * pArray", 1));

    D3D11_VIDEO_PROCESSOR_COLOR_SPACE space{};
    space.Usage = 1;
    space.YCbCr_Matrix = 1;
    space.Nominal_Range = 2;
    space.Reserved = (1u << 26) - 1;
    D3D11_VIDEO_COLOR color = Zeroed<D3D11_VIDEO_COLOR>();
    color.RGBA.R = 1.0f;
    D3D11_SHADER_RESOURCE_VIEW_DESC view = Zeroed<D3D11_SHADER_RESOURCE_VIEW_DESC>();
    view.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    view.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
    view.Texture2D.MipLevels = 3;
    DXGI_FRAME_STATISTICS stats = Zeroed<DXGI_FRAME_STATISTICS>();
    stats.PresentCount = 7;
    stats.PresentRefreshCount = 8;
    stats.SyncRefreshCount = 9;
    ExpectGolden("com/values/left_out_fields.txt",
                 Dump(PrintPtr_D3D11_VIDEO_PROCESSOR_COLOR_SPACE, space,
                      "D3D11_VIDEO_PROCESSOR_COLOR_SPACE * pColorSpace", 0) +
                     Dump(PrintPtr_D3D11_VIDEO_COLOR, color, "D3D11_VIDEO_COLOR * pColor", 0) +
                     Dump(PrintPtr_D3D11_SHADER_RESOURCE_VIEW_DESC, view,
                          "const D3D11_SHADER_RESOURCE_VIEW_DESC * pDesc", 0) +
                     Dump(PrintPtr_DXGI_FRAME_STATISTICS, stats, "DXGI_FRAME_STATISTICS * pStats", 0));
}

// --- the tags ------------------------------------------------------------------------------

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

struct TagCase {
    const char* structure;
    std::uint32_t tag;
    std::size_t front;      // lines of the label and the fields in front of the union
    const char* next;       // the line behind them, at indent 1; "" if there is none
    std::function<std::string(std::uint32_t)> print;
};

void PrintTo(const TagCase& c, std::ostream* os) { *os << c.structure << " tag " << c.tag; }

// Prints a zeroed structure at indent 1 with its tag field set.
template <typename T, auto Printer, auto Tag>
std::string Tagged(std::uint32_t tag) {
    T value = Zeroed<T>();
    std::memcpy(&(value.*Tag), &tag, sizeof tag);
    std::ostringstream os;
    Printer(&value, "label", os, 1);
    return os.str();
}

#define TAGGED(S, TAG) Tagged<S, Print_##S, &S::TAG>

std::vector<TagCase> TagCases() {
    std::vector<TagCase> cases;
    auto add = [&](const char* name, auto print, std::size_t front,
                   std::vector<std::pair<std::uint32_t, const char*>> rows) {
        for (auto& [tag, next] : rows) cases.push_back({name, tag, front, next, print});
    };
    add("D3D12_RESOURCE_BARRIER", TAGGED(D3D12_RESOURCE_BARRIER, Type), 3,
        {{0, "    D3D12_RESOURCE_TRANSITION_BARRIER Transition"},
         {1, "    D3D12_RESOURCE_ALIASING_BARRIER Aliasing"},
         {2, "    D3D12_RESOURCE_UAV_BARRIER UAV"},
         {3, ""}});
    add("D3D12_TEXTURE_COPY_LOCATION", TAGGED(D3D12_TEXTURE_COPY_LOCATION, Type), 3,
        {{0, "    UINT SubresourceIndex: 0"},
         {1, "    D3D12_PLACED_SUBRESOURCE_FOOTPRINT PlacedFootprint"},
         {2, ""}});
    const char* visibility = "        D3D12_SHADER_VISIBILITY ShaderVisibility "
                             "D3D12_SHADER_VISIBILITY_ALL, ";
    add("D3D12_ROOT_PARAMETER", TAGGED(D3D12_ROOT_PARAMETER, ParameterType), 2,
        {{0, "        D3D12_ROOT_DESCRIPTOR_TABLE DescriptorTable"},
         {1, "        D3D12_ROOT_CONSTANTS Constants"},
         {2, "        D3D12_ROOT_DESCRIPTOR Descriptor"},
         {3, "        D3D12_ROOT_DESCRIPTOR Descriptor"},
         {4, "        D3D12_ROOT_DESCRIPTOR Descriptor"},
         {5, visibility}});
    add("D3D12_ROOT_PARAMETER1", TAGGED(D3D12_ROOT_PARAMETER1, ParameterType), 2,
        {{0, "        D3D12_ROOT_DESCRIPTOR_TABLE1 DescriptorTable"},
         {1, "        D3D12_ROOT_CONSTANTS Constants"},
         {2, "        D3D12_ROOT_DESCRIPTOR1 Descriptor"},
         {3, "        D3D12_ROOT_DESCRIPTOR1 Descriptor"},
         {4, "        D3D12_ROOT_DESCRIPTOR1 Descriptor"},
         {7, visibility}});
    add("D3D12_VERSIONED_ROOT_SIGNATURE_DESC", TAGGED(D3D12_VERSIONED_ROOT_SIGNATURE_DESC, Version),
        2,
        {{0, ""},
         {1, "        D3D12_ROOT_SIGNATURE_DESC Desc_1_0"},
         {2, "        D3D12_ROOT_SIGNATURE_DESC1 Desc_1_1"},
         {3, ""}});
    add("D3D12_RAYTRACING_GEOMETRY_DESC", TAGGED(D3D12_RAYTRACING_GEOMETRY_DESC, Type), 3,
        {{0, "        D3D12_RAYTRACING_GEOMETRY_TRIANGLES_DESC Triangles"},
         {1, "        D3D12_RAYTRACING_GEOMETRY_AABBS_DESC AABBs"},
         {2, ""}});
    add("D3D12_RENDER_PASS_BEGINNING_ACCESS", TAGGED(D3D12_RENDER_PASS_BEGINNING_ACCESS, Type), 2,
        {{0, ""}, {1, ""}, {3, ""},
         {2, "        D3D12_RENDER_PASS_BEGINNING_ACCESS_CLEAR_PARAMETERS Clear"}});
    add("D3D12_RENDER_PASS_ENDING_ACCESS", TAGGED(D3D12_RENDER_PASS_ENDING_ACCESS, Type), 2,
        {{0, ""}, {1, ""}, {3, ""},
         {2, "        D3D12_RENDER_PASS_ENDING_ACCESS_RESOLVE_PARAMETERS Resolve;"}});
    add("D3D12_SHADER_RESOURCE_VIEW_DESC", TAGGED(D3D12_SHADER_RESOURCE_VIEW_DESC, ViewDimension), 4,
        {{0, ""},
         {1, "        D3D12_BUFFER_SRV Buffer"},
         {2, "        D3D12_TEX1D_SRV Texture1D"},
         {3, "        D3D12_TEX1D_ARRAY_SRV Texture1DArray"},
         {4, "        D3D12_TEX2D_SRV Texture2D"},
         {5, "        D3D12_TEX2D_ARRAY_SRV Texture2DArray"},
         {6, "        D3D12_TEX2DMS_SRV Texture2DMS"},
         {7, "        D3D12_TEX2DMS_ARRAY_SRV Texture2DMSArray"},
         {8, "        D3D12_TEX3D_SRV Texture3D"},
         {9, "        D3D12_TEXCUBE_SRV TextureCube"},
         {10, "        D3D12_TEXCUBE_ARRAY_SRV TextureCubeArray"},
         {11, "        D3D12_RAYTRACING_ACCELERATION_STRUCTURE_SRV RaytracingAccelerationStructure"},
         {12, ""}});
    add("D3D12_RENDER_TARGET_VIEW_DESC", TAGGED(D3D12_RENDER_TARGET_VIEW_DESC, ViewDimension), 3,
        {{0, ""},
         {1, "        D3D12_BUFFER_RTV Buffer"},
         {2, "        D3D12_TEX1D_RTV Texture1D"},
         {3, "        D3D12_TEX1D_ARRAY_RTV Texture1DArray"},
         {4, "        D3D12_TEX2D_RTV Texture2D"},
         {5, "        D3D12_TEX2D_ARRAY_RTV Texture2DArray"},
         {6, "        D3D12_TEX2DMS_RTV Texture2DMS"},
         {7, "        D3D12_TEX2DMS_ARRAY_RTV Texture2DMSArray"},
         {8, "        D3D12_TEX3D_RTV Texture3D"},
         {9, ""}, {10, ""}, {11, ""}});
    add("D3D12_UNORDERED_ACCESS_VIEW_DESC", TAGGED(D3D12_UNORDERED_ACCESS_VIEW_DESC, ViewDimension),
        3,
        {{0, ""},
         {1, "        D3D12_BUFFER_UAV Buffer"},
         {2, "        D3D12_TEX1D_UAV Texture1D"},
         {3, "        D3D12_TEX1D_ARRAY_UAV Texture1DArray"},
         {4, "        D3D12_TEX2D_UAV Texture2D"},
         {5, "        D3D12_TEX2D_ARRAY_UAV Texture2DArray"},
         {6, ""}, {7, ""},
         {8, "        D3D12_TEX3D_UAV Texture3D"},
         {9, ""}});
    add("D3D12_DEPTH_STENCIL_VIEW_DESC", TAGGED(D3D12_DEPTH_STENCIL_VIEW_DESC, ViewDimension), 4,
        {{0, ""},
         {1, "        D3D12_TEX1D_DSV Texture1D"},
         {2, "        D3D12_TEX1D_ARRAY_DSV Texture1DArray"},
         {3, "        D3D12_TEX2D_DSV Texture2D"},
         {4, "        D3D12_TEX2D_ARRAY_DSV Texture2DArray"},
         {5, "        D3D12_TEX2DMS_DSV Texture2DMS"},
         {6, "        D3D12_TEX2DMS_ARRAY_DSV Texture2DMSArray"},
         {7, ""}});
    add("D3D12_INDIRECT_ARGUMENT_DESC", TAGGED(D3D12_INDIRECT_ARGUMENT_DESC, Type), 2,
        {{0, ""}, {1, ""}, {2, ""},
         {3, "    VertexBuffer"},
         {4, ""},
         {5, "    Constant"},
         {6, "    ConstantBufferView"},
         {7, "    ShaderResourceView"},
         {8, "    UnorderedAccessView"},
         {9, ""}, {10, ""}, {11, ""}});
    return cases;
}

class TaggedUnion : public ::testing::TestWithParam<TagCase> {};

TEST_P(TaggedUnion, PrintsTheMemberThatTheTagNames) {
    const TagCase& c = GetParam();
    std::vector<std::string> lines = Lines(c.print(c.tag));
    ASSERT_GE(lines.size(), c.front);
    if (*c.next == '\0') {
        EXPECT_EQ(lines.size(), c.front);
        return;
    }
    ASSERT_GT(lines.size(), c.front);
    EXPECT_EQ(lines[c.front], c.next);
}

INSTANTIATE_TEST_SUITE_P(AllTags, TaggedUnion, ::testing::ValuesIn(TagCases()));

TEST(TaggedUnionMembers, IndirectArgumentNumbers) {
    D3D12_INDIRECT_ARGUMENT_DESC argument = Zeroed<D3D12_INDIRECT_ARGUMENT_DESC>();
    argument.Type = D3D12_INDIRECT_ARGUMENT_TYPE_VERTEX_BUFFER_VIEW;
    argument.VertexBuffer.Slot = 3;
    EXPECT_EQ(Dump(Print_D3D12_INDIRECT_ARGUMENT_DESC, argument, "a", 0),
              "a\n    D3D12_INDIRECT_ARGUMENT_TYPE Type "
              "D3D12_INDIRECT_ARGUMENT_TYPE_VERTEX_BUFFER_VIEW, \nVertexBuffer\n    UINT Slot;: 3\n");
    argument.Type = D3D12_INDIRECT_ARGUMENT_TYPE_UNORDERED_ACCESS_VIEW;
    argument.UnorderedAccessView.RootParameterIndex = 9;
    EXPECT_EQ(Dump(Print_D3D12_INDIRECT_ARGUMENT_DESC, argument, "a", 0),
              "a\n    D3D12_INDIRECT_ARGUMENT_TYPE Type "
              "D3D12_INDIRECT_ARGUMENT_TYPE_UNORDERED_ACCESS_VIEW, \nUnorderedAccessView\n"
              "    UINT RootParameterIndex: 9\n");
}

TEST(TaggedUnionMembers, UnknownTagLeavesTheTagLineWithoutName) {
    D3D12_RESOURCE_BARRIER barrier = Zeroed<D3D12_RESOURCE_BARRIER>();
    barrier.Type = static_cast<D3D12_RESOURCE_BARRIER_TYPE>(3);
    EXPECT_EQ(Dump(Print_D3D12_RESOURCE_BARRIER, barrier, "b", 0),
              "b\n    D3D12_RESOURCE_BARRIER_TYPE Type \n"
              "    D3D12_RESOURCE_BARRIER_FLAGS Flags D3D12_RESOURCE_BARRIER_FLAG_NONE, \n");
    D3D12_ROOT_PARAMETER parameter = Zeroed<D3D12_ROOT_PARAMETER>();
    parameter.ParameterType = static_cast<D3D12_ROOT_PARAMETER_TYPE>(5);
    parameter.ShaderVisibility = D3D12_SHADER_VISIBILITY_PIXEL;
    EXPECT_EQ(Dump(Print_D3D12_ROOT_PARAMETER, parameter, "p", 0),
              "p\n    D3D12_ROOT_PARAMETER_TYPE ParameterType \n"
              "    D3D12_SHADER_VISIBILITY ShaderVisibility D3D12_SHADER_VISIBILITY_PIXEL, \n");
}

}  // namespace
