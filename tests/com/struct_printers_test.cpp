// The Direct3D and DXGI structure printers called directly, against files under tests/golden/com:
// worked examples, and every tag value of every tagged union on a zeroed structure.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "com_printers.h"
#include "golden.h"

namespace tov::test {
namespace {

using namespace com_values;

template <typename T>
T Zeroed() {
    T value;
    std::memset(static_cast<void*>(&value), 0, sizeof value);
    return value;
}

// Values at indent 0 come last: a value below another's line at a smaller indent would read as
// its content.
TEST(ComStructs, WorkedExamples) {
    std::ostringstream os, last;
    const RECT rect{0, -8, 640, 480};
    PrintPtr_RECT(&rect, "RECT * pRect", os, 1);

    // Members printed in line with the structure's label.
    D3D12_RESOURCE_BARRIER barrier = Zeroed<D3D12_RESOURCE_BARRIER>();
    barrier.Type = D3D12_RESOURCE_BARRIER_TYPE_ALIASING;
    Print_D3D12_RESOURCE_BARRIER(&barrier, "D3D12_RESOURCE_BARRIER b", last, 0);
    const D3D12_TEXTURE_COPY_LOCATION location = Zeroed<D3D12_TEXTURE_COPY_LOCATION>();
    PrintPtr_D3D12_TEXTURE_COPY_LOCATION(&location, "const D3D12_TEXTURE_COPY_LOCATION * pDst", os, 1);
    D3D12_INDIRECT_ARGUMENT_DESC argument = Zeroed<D3D12_INDIRECT_ARGUMENT_DESC>();
    argument.Type = D3D12_INDIRECT_ARGUMENT_TYPE_CONSTANT;
    argument.Constant.RootParameterIndex = 2;
    argument.Constant.Num32BitValuesToSet = 4;
    PrintPtr_D3D12_INDIRECT_ARGUMENT_DESC(&argument, "const D3D12_INDIRECT_ARGUMENT_DESC * pArgumentDescs", os, 1);

    // The raytracing inputs in each of their forms: a flat list, a top level, an array of
    // pointers with a null element.
    D3D12_RAYTRACING_GEOMETRY_DESC geometry[2] = {Zeroed<D3D12_RAYTRACING_GEOMETRY_DESC>(),
                                                  Zeroed<D3D12_RAYTRACING_GEOMETRY_DESC>()};
    geometry[0].Type = D3D12_RAYTRACING_GEOMETRY_TYPE_PROCEDURAL_PRIMITIVE_AABBS;
    geometry[0].Flags = D3D12_RAYTRACING_GEOMETRY_FLAG_OPAQUE;
    geometry[0].AABBs.AABBCount = 1;
    geometry[0].AABBs.AABBs = {65536, 24};
    geometry[1].Triangles.VertexFormat = DXGI_FORMAT_R32G32B32_FLOAT;
    geometry[1].Triangles.VertexCount = 3;
    geometry[1].Triangles.VertexBuffer = {131072, 12};
    const char* inputsLabel = "const D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS * pDesc";
    using Inputs = D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS;
    Inputs inputs = Zeroed<Inputs>();
    inputs.Type = D3D12_RAYTRACING_ACCELERATION_STRUCTURE_TYPE_BOTTOM_LEVEL;
    inputs.NumDescs = 2;
    inputs.pGeometryDescs = geometry;
    PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS(&inputs, inputsLabel, os, 1);
    Inputs top = Zeroed<Inputs>();
    top.NumDescs = 5;
    top.DescsLayout = D3D12_ELEMENTS_LAYOUT_ARRAY_OF_POINTERS;
    top.InstanceDescs = 4096;
    PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS(&top, inputsLabel, os, 1);
    const D3D12_RAYTRACING_GEOMETRY_DESC* list[2] = {&geometry[0], nullptr};
    inputs.DescsLayout = D3D12_ELEMENTS_LAYOUT_ARRAY_OF_POINTERS;
    inputs.ppGeometryDescs = list;
    PrintPtr_D3D12_BUILD_RAYTRACING_ACCELERATION_STRUCTURE_INPUTS(&inputs, inputsLabel, last, 0);

    // Every member of the clear value; arrays of pointers; pointers show their first element.
    D3D12_CLEAR_VALUE clear = Zeroed<D3D12_CLEAR_VALUE>();
    clear.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    clear.Color[0] = 1.0f;
    clear.Color[1] = 0.5f;
    PrintPtr_D3D12_CLEAR_VALUE(&clear, "const D3D12_CLEAR_VALUE * pOptimizedClearValue", os, 1);
    D3D12_VERSIONED_ROOT_SIGNATURE_DESC root = Zeroed<D3D12_VERSIONED_ROOT_SIGNATURE_DESC>();
    root.Version = D3D_ROOT_SIGNATURE_VERSION_1_1;
    const D3D12_VERSIONED_ROOT_SIGNATURE_DESC* roots[2] = {&root, nullptr};
    PrintPtrArray_D3D12_VERSIONED_ROOT_SIGNATURE_DESC(roots, 2, "const D3D12_VERSIONED_ROOT_SIGNATURE_DESC ** ppDesc", os, 1);
    PrintPtrArray_D3D12_VERSIONED_ROOT_SIGNATURE_DESC(nullptr, 1, "const D3D12_VERSIONED_ROOT_SIGNATURE_DESC ** ppDesc", os, 1);
    D3D12_RECT rects[3] = {{-1, 2, 30, 40}, {5, 6, 7, 8}, {9, 10, 11, 12}};
    D3D12_DISCARD_REGION region{3, rects, 0, 1};
    PrintPtr_D3D12_DISCARD_REGION(&region, "const D3D12_DISCARD_REGION * pRegion", os, 1);
    region.pRects = nullptr;
    PrintPtr_D3D12_DISCARD_REGION(&region, "const D3D12_DISCARD_REGION * pRegion", os, 1);

    // A linked list, followed by recursion; fixed arrays, bit fields and left-out fields.
    D3D12_DRED_ALLOCATION_NODE third{nullptr, nullptr, static_cast<D3D12_DRED_ALLOCATION_TYPE>(26), nullptr};
    D3D12_DRED_ALLOCATION_NODE second{nullptr, L"fence", D3D12_DRED_ALLOCATION_TYPE_FENCE, &third};
    D3D12_DRED_ALLOCATION_NODE first{"queue", nullptr, D3D12_DRED_ALLOCATION_TYPE_COMMAND_QUEUE, &second};
    PrintPtr_D3D12_DRED_ALLOCATION_NODE(&first, "const D3D12_DRED_ALLOCATION_NODE * pHeadExistingAllocationNode", os, 1);
    DXGI_GAMMA_CONTROL gamma = Zeroed<DXGI_GAMMA_CONTROL>();
    gamma.Scale = {1.0f, 0.5f, 0.25f};
    gamma.Offset.Blue = -0.0f;
    PrintPtr_DXGI_GAMMA_CONTROL(&gamma, "DXGI_GAMMA_CONTROL * pArray", os, 1);
    D3D11_VIDEO_PROCESSOR_COLOR_SPACE space{};
    space.Usage = 1;
    space.YCbCr_Matrix = 1;
    space.Nominal_Range = 2;
    space.Reserved = (1u << 26) - 1;
    PrintPtr_D3D11_VIDEO_PROCESSOR_COLOR_SPACE(&space, "D3D11_VIDEO_PROCESSOR_COLOR_SPACE * pColorSpace", last, 0);
    DXGI_FRAME_STATISTICS stats = Zeroed<DXGI_FRAME_STATISTICS>();
    stats.PresentCount = 7;
    PrintPtr_DXGI_FRAME_STATISTICS(&stats, "DXGI_FRAME_STATISTICS * pStats", last, 0);
    ExpectGolden("com/structs.txt", os.str() + last.str());
}

// Prints a zeroed structure with its tag field set to each value from 0 to 12.
template <typename T, auto Printer, auto Tag>
void EveryTag(const char* name, std::ostream& os) {
    for (std::uint32_t tag = 0; tag <= 12; ++tag) {
        T value = Zeroed<T>();
        std::memcpy(&(value.*Tag), &tag, sizeof tag);
        Printer(&value, std::string(name) + " with tag " + std::to_string(tag), os, 0);
    }
}
#define EVERY_TAG(S, TAG) EveryTag<S, Print_##S, &S::TAG>(#S, os)

TEST(ComStructs, EveryTagOfEveryTaggedUnion) {
    std::ostringstream os;
    EVERY_TAG(D3D12_RESOURCE_BARRIER, Type);
    EVERY_TAG(D3D12_TEXTURE_COPY_LOCATION, Type);
    EVERY_TAG(D3D12_ROOT_PARAMETER, ParameterType);
    EVERY_TAG(D3D12_ROOT_PARAMETER1, ParameterType);
    EVERY_TAG(D3D12_VERSIONED_ROOT_SIGNATURE_DESC, Version);
    EVERY_TAG(D3D12_RAYTRACING_GEOMETRY_DESC, Type);
    EVERY_TAG(D3D12_RENDER_PASS_BEGINNING_ACCESS, Type);
    EVERY_TAG(D3D12_RENDER_PASS_ENDING_ACCESS, Type);
    EVERY_TAG(D3D12_SHADER_RESOURCE_VIEW_DESC, ViewDimension);
    EVERY_TAG(D3D12_RENDER_TARGET_VIEW_DESC, ViewDimension);
    EVERY_TAG(D3D12_UNORDERED_ACCESS_VIEW_DESC, ViewDimension);
    EVERY_TAG(D3D12_DEPTH_STENCIL_VIEW_DESC, ViewDimension);
    EVERY_TAG(D3D12_INDIRECT_ARGUMENT_DESC, Type);
    ExpectGolden("com/tags.txt", os.str());
}

}  // namespace
}  // namespace tov::test
