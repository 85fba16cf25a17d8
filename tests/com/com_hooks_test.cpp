// Every Direct3D and DXGI hook, through a real host routing and its exact prototype and calling
// convention: it calls its own slot exactly once with every argument untouched (structures by
// value, floats, stack arguments and the result storage of a structure returned by value
// included), returns what came back, and then logs its call name or writes its header line.
// In ordinary mode the arguments' pointers are never valid, so a hook that read through one
// would crash here.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "com_hook_cases.h"
#include "slot_catalogue.h"
#include "testhost.h"

namespace tov::comtest {

namespace {

constexpr std::size_t kVulkanSlots = 435;
constexpr std::size_t kComFirst = 3744;
constexpr std::size_t kComSlots = 4538;

struct RoutedLayer {
    explicit RoutedLayer(const std::vector<testhost::Parameter>& parameters) {
        EXPECT_TRUE(layer.loaded()) << layer.error();
        layer.GetDispatchTable(parameters);
        std::vector<void*> nexts(logging_layer::kSlotCount, nullptr);
        for (const HookCase& c : ComHookCases()) nexts[c.slot] = c.fake;
        layer.RouteAll(nexts);
    }
    testhost::Layer layer;
};

void ExpectCallsOwnSlotUntouched(const HookCase& c, const CallResult& r) {
    ASSERT_EQ(FakeCalls().size(), 1u) << c.name;
    EXPECT_EQ(FakeCalls()[0].slot, c.slot) << c.name;
    EXPECT_EQ(FakeCalls()[0].args, r.args) << c.name;
    EXPECT_EQ(r.hasResult, c.returnsValue) << c.name;
    EXPECT_EQ(r.result, r.expected) << c.name << " changed the downstream result";
}

TEST(ComHooks, CasesCoverTheStretchInSlotOrder) {
    const auto& cases = ComHookCases();
    ASSERT_EQ(cases.size(), kComSlots);
    for (std::size_t i = 0; i < cases.size(); ++i) EXPECT_EQ(cases[i].slot, kComFirst + i);
}

TEST(ComHooks, EveryFilledSlotHasItsOwnHook) {
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    LayerDispatchTable* table = layer.GetDispatchTable();
    std::set<void*> seen;
    std::size_t filled = 0;
    for (std::size_t slot = 0; slot < logging_layer::kSlotCount; ++slot) {
        const bool expected = slot < kVulkanSlots || slot >= kComFirst;
        EXPECT_EQ(table->slots[slot] != nullptr, expected) << slot;
        if (table->slots[slot] == nullptr) continue;
        ++filled;
        EXPECT_TRUE(seen.insert(table->slots[slot]).second) << slot << " shares its hook";
    }
    EXPECT_EQ(filled, 4973u);
    EXPECT_EQ(logging_layer::slots::kFilledSlotCount, 4973u);
}

TEST(ComHooks, OrdinaryModeCallsOnAndLogsTheName) {
    RoutedLayer routed(std::vector<testhost::Parameter>{});
    for (const HookCase& c : ComHookCases()) {
        FakeCalls().clear();
        testhost::LoggerCapture log;
        testhost::StdoutCapture out;
        const CallResult r = c.call(routed.layer.hook(c.slot));
        ExpectCallsOwnSlotUntouched(c, r);
        ASSERT_EQ(log.calls.size(), 1u) << c.name;
        EXPECT_EQ(log.calls[0].level, 2);
        EXPECT_EQ(log.calls[0].category, 1);
        EXPECT_EQ(log.calls[0].flags, 0);
        EXPECT_EQ(log.calls[0].format, "%s");
        EXPECT_EQ(log.calls[0].message, c.name);
        EXPECT_EQ(out.str(), "") << c.name;
    }
}

// In verbose mode the printers follow the arguments: objects are fake objects and every other
// pointer aims at zeroed memory (or is null), so that the hooks can be called with the same
// checks. The dump itself has the tests of tests/com_hooks; here only its frame is checked.
void ExpectVerboseFrame(ArgMode mode) {
    RoutedLayer routed(std::vector<testhost::Parameter>{{u"verbose", u"1"}});
    for (const HookCase& c : ComHookCases()) {
        g_argMode = mode == ArgMode::Null && TakesFixedArray(c.name) ? ArgMode::Zeroed : mode;
        FakeCalls().clear();
        testhost::LoggerCapture log;
        testhost::StdoutCapture out;
        const CallResult r = c.call(routed.layer.hook(c.slot));
        ExpectCallsOwnSlotUntouched(c, r);
        EXPECT_TRUE(log.calls.empty()) << c.name;
        const std::string text = out.str();
        EXPECT_EQ(text.rfind(std::string(c.name) + "\n", 0), 0u) << text;
        const bool isMethod = c.slot >= logging_layer::slots::IUnknown_QueryInterface;
        if (isMethod) EXPECT_NE(text.find("* self"), std::string::npos) << text;
        EXPECT_EQ(text.find("\n= ") != std::string::npos, c.returnsValue) << text;
    }
    g_argMode = ArgMode::Unique;
}

TEST(ComHooks, VerboseModeDumpsAndLogsNothingWithNullArguments) {
    ExpectVerboseFrame(ArgMode::Null);
}

TEST(ComHooks, VerboseModeDumpsAndLogsNothingWithArgumentsToFollow) {
    ExpectVerboseFrame(ArgMode::Zeroed);
}

// A null object is passed on like any other argument.
HRESULT TOV_COM_CALL FakeQueryInterface(IUnknown* self, REFIID riid, void** object) {
    Record(0, {reinterpret_cast<std::uintptr_t>(self), reinterpret_cast<std::uintptr_t>(&riid),
               reinterpret_cast<std::uintptr_t>(object)});
    return -2147467262;  // E_NOINTERFACE
}
D3D12_RESOURCE_DESC* TOV_COM_CALL FakeGetDesc(ID3D12Resource* self, D3D12_RESOURCE_DESC* result) {
    Record(1, {reinterpret_cast<std::uintptr_t>(self), reinterpret_cast<std::uintptr_t>(result)});
    result->Width = 4096;
    return result;
}

TEST(ComHooks, NullObjectIsPassedOn) {
    testhost::Layer layer;
    ASSERT_TRUE(layer.loaded()) << layer.error();
    layer.GetDispatchTable();
    using namespace logging_layer::slots;
    layer.Route(ID3D11Device_QueryInterface, reinterpret_cast<void*>(&FakeQueryInterface));
    layer.Route(ID3D12Resource2_GetDesc, reinterpret_cast<void*>(&FakeGetDesc));
    testhost::LoggerCapture log;
    FakeCalls().clear();

    const auto queryInterface = reinterpret_cast<decltype(ID3D11DeviceVtbl::QueryInterface)>(
        layer.hook(ID3D11Device_QueryInterface));
    EXPECT_EQ(queryInterface(nullptr, IID_ID3D11Device, nullptr), -2147467262);
    D3D12_RESOURCE_DESC desc{};
    const auto getDesc = reinterpret_cast<decltype(ID3D12Resource2Vtbl::GetDesc)>(
        layer.hook(ID3D12Resource2_GetDesc));
    EXPECT_EQ(getDesc(nullptr, &desc), &desc);
    EXPECT_EQ(desc.Width, 4096u);

    ASSERT_EQ(FakeCalls().size(), 2u);
    EXPECT_EQ(FakeCalls()[0].args, (Args{0, reinterpret_cast<std::uintptr_t>(&IID_ID3D11Device), 0}));
    EXPECT_EQ(FakeCalls()[1].args, (Args{0, reinterpret_cast<std::uintptr_t>(&desc)}));
    ASSERT_EQ(log.calls.size(), 2u);
    EXPECT_EQ(log.calls[0].message, "ID3D11Device::QueryInterface");
    EXPECT_EQ(log.calls[1].message, "ID3D12Resource2::GetDesc");
}

// Landmarks of the numbering, and the runs whose make-up is easiest to get wrong.
TEST(ComHooks, CatalogueLandmarks) {
    using namespace logging_layer::slots;
    EXPECT_EQ(D3D10CreateDevice1, 3744u);
    EXPECT_EQ(D3D11CreateDevice, 3749u);
    EXPECT_EQ(DXGIDeclareAdapterRemovalSupport, 3761u);
    EXPECT_EQ(IUnknown_QueryInterface, 3762u);
    EXPECT_EQ(ID3D10Blob_QueryInterface, 3765u);
    EXPECT_EQ(ID3D11DeviceChild_QueryInterface, 4206u);
    EXPECT_EQ(ID3D12Object_QueryInterface, 6113u);
    EXPECT_EQ(IDXGIObject_QueryInterface, 7466u);
    EXPECT_EQ(IDXGIFactory7_QueryInterface, 8250u);
    EXPECT_EQ(IDXGIFactory7_RegisterAdaptersChangedEvent, 8280u);
    EXPECT_EQ(IDXGIFactory7_UnregisterAdaptersChangedEvent, 8281u);
    // ID3D12GraphicsCommandList6: IUnknown 3, ID3D12Object 4, ID3D12DeviceChild 1,
    // ID3D12CommandList 1, ID3D12GraphicsCommandList 51, then 6, 1, 1, 9, 2 and 1.
    const std::uint32_t first = ID3D12GraphicsCommandList6_QueryInterface;
    EXPECT_EQ(first, 7386u);
    EXPECT_EQ(ID3D12GraphicsCommandList6_GetPrivateData, first + 3);
    EXPECT_EQ(ID3D12GraphicsCommandList6_GetDevice, first + 7);
    EXPECT_EQ(ID3D12GraphicsCommandList6_GetType, first + 8);
    EXPECT_EQ(ID3D12GraphicsCommandList6_Close, first + 9);
    EXPECT_EQ(ID3D12GraphicsCommandList6_AtomicCopyBufferUINT, first + 60);
    EXPECT_EQ(ID3D12GraphicsCommandList6_WriteBufferImmediate, first + 66);
    EXPECT_EQ(ID3D12GraphicsCommandList6_SetProtectedResourceSession, first + 67);
    EXPECT_EQ(ID3D12GraphicsCommandList6_BeginRenderPass, first + 68);
    EXPECT_EQ(ID3D12GraphicsCommandList6_RSSetShadingRate, first + 77);
    EXPECT_EQ(ID3D12GraphicsCommandList6_DispatchMesh, first + 79);
    EXPECT_EQ(IDXGIObject_QueryInterface, first + 80);
}

}  // namespace
}  // namespace tov::comtest
