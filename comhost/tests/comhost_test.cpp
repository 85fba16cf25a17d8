// The COM host core over fake classes and the real layer in ordinary mode: which interface a
// class is hooked under, what the patch leaves in the slots and the class's table, nested calls,
// a second class under a claimed interface, objects handed out, capture ids. Each test runs in
// a process of its own: classes and claims last for the process.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "call_filter.h"
#include "comhost.h"
#include "comhost_functions.h"
#include "entry_support.h"
#include "object_printers.h"
#include "slot_catalogue.h"
#include "testhost.h"

namespace {

using tov::comhost::Catch;
namespace s = tov::logging_layer::slots;

bool Same(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// What a fake class answers: QueryInterface gives the object itself for `own` interfaces and
// the object's `other` pointer for `elsewhere` ones.
struct Behaviour {
    std::vector<const IID*> own;
    std::vector<const IID*> elsewhere;
};

struct FakeObject {
    const ID3D12Fence1Vtbl* lpVtbl;
    const Behaviour* behaviour;
    std::atomic<ULONG> refs{1};
    std::map<std::string, std::string> privateData;
    FakeObject* other = nullptr;
    int signals = 0;
    HRESULT getDeviceResult = 0;
};

FakeObject* Self(void* object) { return static_cast<FakeObject*>(object); }
std::string Key(const GUID& guid) { return std::string(reinterpret_cast<const char*>(&guid), sizeof guid); }

HRESULT TOV_COM_CALL QueryInterface(ID3D12Fence1* This, REFIID riid, void** out) {
    FakeObject* self = Self(This);
    *out = nullptr;
    for (const IID* iid : self->behaviour->own)
        if (Same(*iid, riid)) *out = self;
    for (const IID* iid : self->behaviour->elsewhere)
        if (Same(*iid, riid)) *out = self->other;
    if (Same(riid, IID_IUnknown)) *out = self;
    if (*out == nullptr) return static_cast<HRESULT>(0x80004002);  // E_NOINTERFACE
    ++Self(*out)->refs;
    return 0;
}
ULONG TOV_COM_CALL AddRef(ID3D12Fence1* This) { return ++Self(This)->refs; }
ULONG TOV_COM_CALL Release(ID3D12Fence1* This) { return --Self(This)->refs; }
HRESULT TOV_COM_CALL GetPrivateData(ID3D12Fence1* This, REFGUID guid, UINT* size, void* data) {
    const auto it = Self(This)->privateData.find(Key(guid));
    if (it == Self(This)->privateData.end()) return static_cast<HRESULT>(0x887A0002);
    std::memcpy(data, it->second.data(), std::min<std::size_t>(*size, it->second.size()));
    *size = static_cast<UINT>(it->second.size());
    return 0;
}
HRESULT TOV_COM_CALL SetPrivateData(ID3D12Fence1* This, REFGUID guid, UINT size, const void* data) {
    Self(This)->privateData[Key(guid)] = std::string(static_cast<const char*>(data), size);
    return 0;
}
HRESULT TOV_COM_CALL SetPrivateDataInterface(ID3D12Fence1*, REFGUID, const IUnknown*) { return 0; }
HRESULT TOV_COM_CALL SetName(ID3D12Fence1*, LPCWSTR) { return 0; }
// Hands out the object's `other`; a failing call leaves a pointer that is no object at all.
HRESULT TOV_COM_CALL GetDevice(ID3D12Fence1* This, REFIID, void** out) {
    *out = Self(This)->getDeviceResult < 0 ? reinterpret_cast<void*>(16) : Self(This)->other;
    return Self(This)->getDeviceResult;
}
UINT64 TOV_COM_CALL GetCompletedValue(ID3D12Fence1*) { return 42; }
HRESULT TOV_COM_CALL SetEventOnCompletion(ID3D12Fence1*, UINT64, HANDLE) { return 0; }
// Calls methods of its own object, as implementations do.
HRESULT TOV_COM_CALL Signal(ID3D12Fence1* This, UINT64) {
    This->lpVtbl->AddRef(This);
    ++Self(This)->signals;
    This->lpVtbl->Release(This);
    return 0;
}
D3D12_FENCE_FLAGS TOV_COM_CALL GetCreationFlags(ID3D12Fence1*) { return D3D12_FENCE_FLAGS{}; }

// Each class has a table of its own, in read-only memory as an implementation's would be.
#define TOV_FAKE_CLASS(name)                                                                      \
    const ID3D12Fence1Vtbl name = {QueryInterface, AddRef, Release, GetPrivateData,              \
                                   SetPrivateData, SetPrivateDataInterface, SetName, GetDevice,  \
                                   GetCompletedValue, SetEventOnCompletion, Signal,               \
                                   GetCreationFlags};
TOV_FAKE_CLASS(kFenceClass)
TOV_FAKE_CLASS(kFence1Class)
TOV_FAKE_CLASS(kPageableClass)
TOV_FAKE_CLASS(kSecondFenceClass)
TOV_FAKE_CLASS(kDeviceChildClass)

const Behaviour kFence{{&IID_ID3D12Object, &IID_ID3D12DeviceChild, &IID_ID3D12Pageable, &IID_ID3D12Fence}, {}};
const Behaviour kFence1{{&IID_ID3D12Object, &IID_ID3D12DeviceChild, &IID_ID3D12Pageable,
                         &IID_ID3D12Fence, &IID_ID3D12Fence1}, {}};
// Answers ID3D12Fence with another pointer: not the same object under that interface.
const Behaviour kPageable{{&IID_ID3D12Object, &IID_ID3D12DeviceChild, &IID_ID3D12Pageable}, {&IID_ID3D12Fence}};
// Answers ID3D12Fence1 but not its base ID3D12Fence.
const Behaviour kDeviceChild{{&IID_ID3D12Object, &IID_ID3D12DeviceChild, &IID_ID3D12Fence1}, {}};

std::uint64_t CaptureId(FakeObject& object) {
    const auto it = object.privateData.find(Key(tov::com_values::kCaptureTimeIdGuid));
    std::uint64_t id = 0;
    if (it != object.privateData.end()) std::memcpy(&id, it->second.data(), sizeof id);
    return id;
}

ID3D12Fence1* AsFence(FakeObject& object) { return reinterpret_cast<ID3D12Fence1*>(&object); }

class ComHost : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(layer.loaded()) << layer.error();
        LayerDispatchTable* table = layer.GetDispatchTable();
        for (std::size_t slot = 0; slot < hooks.size(); ++slot) hooks[slot] = layer.hook(slot);
        tov::filter::CallFilter("", skip, "", "").Apply(hooks.data());
        tov::comhost::Attach(table, hooks.data(), "comhost_test");
    }

    std::vector<std::string> Lines() {
        std::vector<std::string> lines;
        for (const auto& call : logger.calls) lines.push_back(call.message);
        logger.calls.clear();
        return lines;
    }

    std::string skip;  // the call filter's --skip
    tov::testhost::Layer layer;
    std::vector<void*> hooks = std::vector<void*>(tov::logging_layer::kSlotCount);
    tov::testhost::LoggerCapture logger;
};

class FilteredComHost : public ComHost {
protected:
    void SetUp() override {
        skip = "ID3D12Fence::AddRef,ID3D12Fence::GetCompletedValue,ID3D12Fence::GetDevice,CreateDXGIFactory1";
        ComHost::SetUp();
    }
};

TEST_F(FilteredComHost, LeavesFilteredMethodsAloneButStillCatchesTheObjectsTheyHandOut) {
    FakeObject device{&kFence1Class, &kFence1}, fence{&kFenceClass, &kFence};
    fence.other = &device;
    const ID3D12Fence1Vtbl before = kFenceClass;
    Catch(&fence);
    ID3D12Fence1Vtbl after;
    std::memcpy(&after, fence.lpVtbl, sizeof after);
    EXPECT_EQ(after.AddRef, before.AddRef) << "a filtered method keeps the class's own entry";
    EXPECT_EQ(after.GetCompletedValue, before.GetCompletedValue);
    EXPECT_NE(after.GetDevice, before.GetDevice) << "it hands out objects: its entry catches them";
    EXPECT_NE(after.Signal, before.Signal);

    ID3D12Fence1* f = AsFence(fence);
    void* out = nullptr;
    Lines();
    f->lpVtbl->AddRef(f);
    EXPECT_EQ(f->lpVtbl->GetCompletedValue(f), 42u);
    EXPECT_EQ(f->lpVtbl->GetDevice(f, IID_ID3D12Fence1, &out), 0);
    EXPECT_EQ(f->lpVtbl->Signal(f, 1), 0);
    EXPECT_EQ(out, &device);
    EXPECT_NE(CaptureId(device), 0u) << "the object GetDevice handed out is caught";
    AsFence(device)->lpVtbl->GetCreationFlags(AsFence(device));
    EXPECT_EQ(Lines(), (std::vector<std::string>{"ID3D12Fence::Signal", "ID3D12Fence1::GetCreationFlags"}));
}

HRESULT TOV_COM_CALL LateFactory(REFIID, void** factory) {
    *factory = nullptr;
    return 7;
}

TEST_F(FilteredComHost, RoutesAFunctionWhoseLibraryComesInAfterTheHostAttached) {
    // A proxy DLL loaded after the first call: its functions reach the implementation, through
    // the layer unless the filter leaves them out.
    tov::comhost::SetFunctionNext(s::CreateDXGIFactory, reinterpret_cast<void*>(&LateFactory));
    tov::comhost::SetFunctionNext(s::CreateDXGIFactory1, reinterpret_cast<void*>(&LateFactory));
    void* factory = &factory;
    Lines();
    EXPECT_EQ(tov::comhost::Function_CreateDXGIFactory(IID_IDXGIFactory, &factory), 7);
    EXPECT_EQ(factory, nullptr);
    EXPECT_EQ(tov::comhost::Function_CreateDXGIFactory1(IID_IDXGIFactory1, &factory), 7);
    EXPECT_EQ(Lines(), std::vector<std::string>{"CreateDXGIFactory"});
}

TEST_F(ComHost, HooksAClassUnderItsMostDerivedInterfaceThatAnswersWithItself) {
    struct Case {
        const ID3D12Fence1Vtbl* methods;
        const Behaviour* behaviour;
        const char* addRef;  // the logger line of an AddRef through the class's table
    };
    const Case cases[] = {{&kFenceClass, &kFence, "ID3D12Fence::AddRef"},
                          {&kFence1Class, &kFence1, "ID3D12Fence1::AddRef"},
                          {&kPageableClass, &kPageable, "ID3D12Pageable::AddRef"},
                          {&kDeviceChildClass, &kDeviceChild, "ID3D12DeviceChild::AddRef"}};
    for (const Case& c : cases) {
        FakeObject elsewhere{c.methods, &kFence};
        FakeObject object{c.methods, c.behaviour};
        object.other = &elsewhere;
        Catch(&object);
        EXPECT_EQ(object.refs, 1u) << c.addRef << ": the host's own calls keep their balance";
        Lines();
        AsFence(object)->lpVtbl->AddRef(AsFence(object));
        EXPECT_EQ(Lines(), std::vector<std::string>{c.addRef});
    }
}

TEST_F(ComHost, PatchLeavesTheOriginalsInTheSlotsAndPassesEachCallOnOnce) {
    FakeObject object{&kFenceClass, &kFence};
    const std::vector<void*> originals(reinterpret_cast<void* const*>(&kFenceClass),
                                       reinterpret_cast<void* const*>(&kFenceClass) + 11);
    Catch(&object);
    const void* const* methods = reinterpret_cast<const void* const*>(&kFenceClass);
    for (std::size_t i = 0; i < originals.size(); ++i) {
        EXPECT_EQ(layer.table()->slots[s::ID3D12Fence_QueryInterface + i], originals[i]) << i;
        EXPECT_NE(methods[i], originals[i]) << i;
    }
    ID3D12Fence1* fence = AsFence(object);
    Lines();
    EXPECT_EQ(fence->lpVtbl->GetCompletedValue(fence), 42u);
    EXPECT_EQ(fence->lpVtbl->Signal(fence, 1), 0);
    EXPECT_EQ(object.signals, 1);
    // Signal's own AddRef and Release are nested: only the program's call is told.
    EXPECT_EQ(Lines(), (std::vector<std::string>{"ID3D12Fence::GetCompletedValue", "ID3D12Fence::Signal"}));
}

TEST_F(ComHost, PassesASecondClassUnderAClaimedInterfaceOnUnlogged) {
    FakeObject first{&kFenceClass, &kFence}, second{&kSecondFenceClass, &kFence};
    const ID3D12Fence1Vtbl before = kSecondFenceClass;
    Catch(&first);
    testing::internal::CaptureStderr();
    Catch(&second);
    Catch(&second);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, "comhost_test: a second class of objects presents itself as ID3D12Fence, which"
                    " another class already claimed; its calls are passed on without logging\n");
    EXPECT_EQ(std::memcmp(&before, &kSecondFenceClass, sizeof before), 0);
    EXPECT_EQ(CaptureId(second), 0u);
    Lines();
    AsFence(second)->lpVtbl->Signal(AsFence(second), 1);
    AsFence(first)->lpVtbl->Signal(AsFence(first), 1);
    EXPECT_EQ(Lines(), std::vector<std::string>{"ID3D12Fence::Signal"});
}

TEST_F(ComHost, CatchesHandedOutObjectsAndGivesEachOneCaptureId) {
    FakeObject device{&kFence1Class, &kFence1}, fence{&kFenceClass, &kFence}, tagged{&kFenceClass, &kFence};
    const std::uint64_t old = 0x77;
    tagged.privateData[Key(tov::com_values::kCaptureTimeIdGuid)] = std::string(reinterpret_cast<const char*>(&old), 8);
    fence.other = &device;
    Catch(&fence);
    Catch(&tagged);
    Catch(&fence);
    EXPECT_NE(CaptureId(fence), 0u);
    EXPECT_EQ(CaptureId(tagged), 0x77u) << "an id already there stays";

    void* out = nullptr;
    fence.getDeviceResult = static_cast<HRESULT>(0x80004005);  // a failed call hands out nothing
    EXPECT_LT(AsFence(fence)->lpVtbl->GetDevice(AsFence(fence), IID_ID3D12Fence1, &out), 0);
    fence.getDeviceResult = 0;
    EXPECT_EQ(AsFence(fence)->lpVtbl->GetDevice(AsFence(fence), IID_ID3D12Fence1, &out), 0);
    EXPECT_EQ(out, &device);
    EXPECT_NE(CaptureId(device), 0u);
    EXPECT_NE(CaptureId(device), CaptureId(fence));
    Lines();
    AsFence(device)->lpVtbl->GetCreationFlags(AsFence(device));
    EXPECT_EQ(Lines(), std::vector<std::string>{"ID3D12Fence1::GetCreationFlags"});
}

TEST_F(ComHost, ThreadsMeetingANewClassAtOnceHookItOnce) {
    constexpr int kThreads = 8;
    std::vector<FakeObject> objects(kThreads * 4);
    for (FakeObject& o : objects) {
        o.lpVtbl = &kFence1Class;
        o.behaviour = &kFence1;
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 4; ++i) Catch(&objects[t * 4 + i]);
        });
    for (std::thread& t : threads) t.join();
    std::vector<std::uint64_t> ids;
    for (FakeObject& o : objects) ids.push_back(CaptureId(o));
    std::sort(ids.begin(), ids.end());
    EXPECT_NE(ids.front(), 0u);
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end()) << "ids repeat";
    Lines();
    AsFence(objects[0])->lpVtbl->GetCompletedValue(AsFence(objects[0]));
    EXPECT_EQ(Lines(), std::vector<std::string>{"ID3D12Fence1::GetCompletedValue"});
}

extern "C" void* LibraryObject();
extern "C" std::uint64_t LibraryReleases();
extern "C" void LibraryRelease(void* object);

TEST_F(ComHost, PassesOnACallThatTheImplementationsOwnCodeMakesOutsideTheProgramsCalls) {
    void* object = LibraryObject();
    Catch(object);
    const auto release = reinterpret_cast<ULONG(TOV_COM_CALL*)(void*)>((*static_cast<void* const* const*>(object))[2]);
    const std::uint64_t before = LibraryReleases();
    Lines();
    release(object);
    LibraryRelease(object);
    EXPECT_EQ(LibraryReleases() - before, 2u) << "both calls reach the class's Release";
    const std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 1u) << "only the program's call is logged";
    EXPECT_TRUE(lines[0].ends_with("::Release")) << lines[0];
}

TEST(ComHostUnattached, LeavesObjectsAloneBeforeTheLayerIsLinked) {
    FakeObject object{&kFenceClass, &kFence};
    const ID3D12Fence1Vtbl before = kFenceClass;
    Catch(&object);
    EXPECT_EQ(std::memcmp(&before, &kFenceClass, sizeof before), 0);
    EXPECT_TRUE(object.privateData.empty());
    EXPECT_EQ(object.refs, 1u);
}

}  // namespace
