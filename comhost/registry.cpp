// Classes, their claims on interfaces, the patching of their tables of methods, and capture ids.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

#include "entry_support.h"
#include "object_printers.h"

namespace tov::comhost {

void** g_slots = nullptr;
void* g_hooks[tov::logging_layer::kSlotCount] = {};
void* g_functionNext[kFunctionSlotCount] = {};
CodeRange g_codeRanges[kMaxCodeRanges] = {};
std::atomic<std::size_t> g_codeRangeCount{0};

namespace {

std::atomic<bool> g_attached{false};
const char* g_who = "tov";

// A class: the table of methods its objects point at, the interface it is hooked under (-1: it
// is not), and whether its calls reach the layer.
struct Class {
    const void* methods = nullptr;
    int interface = -1;
    bool logged = false;
};

// Classes are appended under the lock and never change, so a reader needs no lock: the count is
// published after the record.
constexpr std::size_t kMaxClasses = 1024;
std::array<Class, kMaxClasses> g_classes;
std::atomic<std::size_t> g_classCount{0};
std::vector<const void*> g_claimedBy;  // per interface: the table of methods of its class

std::atomic<std::uint64_t> g_nextCaptureId{1};
bool g_filteredFunction[kFunctionSlotCount] = {};  // the exported functions the filter leaves out

class Locked {
public:
    Locked() { platform::Lock(); }
    ~Locked() { platform::Unlock(); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
};

void Say(const std::string& text) { platform::Report((std::string(g_who) + ": " + text).c_str()); }

const void* MethodsOf(void* object) { return *static_cast<void* const*>(object); }

const Class* Find(const void* methods) {
    const std::size_t count = g_classCount.load(std::memory_order_acquire);
    for (std::size_t i = 0; i < count; ++i)
        if (g_classes[i].methods == methods) return &g_classes[i];
    return nullptr;
}

// Whether QueryInterface gives back the object's own pointer for an interface id.
bool AnswersWithItself(void* object, const IID& iid) {
    IUnknown* unknown = static_cast<IUnknown*>(object);
    void* answer = nullptr;
    const HRESULT hr = unknown->lpVtbl->QueryInterface(unknown, iid, &answer);
    if (hr < 0 || answer == nullptr) return false;
    IUnknown* got = static_cast<IUnknown*>(answer);
    got->lpVtbl->Release(got);
    return answer == object;
}

// The most derived interface of the catalogue that the object answers with itself, as do all
// its bases; -1 if none but IUnknown. A base always stands before its derived interfaces, so one
// pass asks only about interfaces whose base qualified.
int InterfaceOf(void* object) {
    std::vector<int> depth(kInterfaceCount, 0);  // bases up to IUnknown, for those that qualify
    int best = -1;
    for (std::size_t i = 0; i < kInterfaceCount; ++i) {
        const InterfaceInfo& info = kInterfaces[i];
        if (info.base < 0) {
            depth[i] = 1;  // IUnknown: every object has it, under its identity pointer
            continue;
        }
        if (depth[info.base] == 0 || !AnswersWithItself(object, *info.iid)) continue;
        depth[i] = depth[info.base] + 1;
        if (best < 0 || depth[i] > depth[best]) best = static_cast<int>(i);
    }
    return best;
}

const EntryRun* RunOf(std::uint32_t slot) {
    for (std::size_t r = 0; r < kEntryRunCount; ++r) {
        const EntryRun& run = *kEntryRuns[r];
        if (slot >= run.first && slot < run.first + run.count) return &run;
    }
    return nullptr;
}

// Counts the module of an original method as the implementation's code, once. Under the lock.
void AddImplementationCode(const void* method) {
    if (FromImplementation(method)) return;
    const std::size_t count = g_codeRangeCount.load(std::memory_order_relaxed);
    std::uintptr_t begin = 0, end = 0;
    if (count == kMaxCodeRanges || !platform::LibraryBounds(method, &begin, &end)) return;
    g_codeRanges[count] = {begin, end - begin};
    g_codeRangeCount.store(count + 1, std::memory_order_release);
}

// Stores each original method into its slot, then turns the class's entry to the slot's typed
// entry: a call that finds the entry always finds the original in the slot.
//
// A method that the call filter leaves out has no hook. If it hands out objects, its entry still
// catches them, with the original in place of the hook: the entry calls it, catches, and never
// reaches the layer. Any other such method keeps the class's own entry and costs nothing.
bool Patch(const void* methods, const InterfaceInfo& info) {
    void** table = const_cast<void**>(static_cast<void* const*>(methods));
    const std::size_t size = info.slotCount * sizeof(void*);
    unsigned long previous = 0;
    if (!platform::Unprotect(table, size, &previous)) return false;
    for (std::uint32_t i = 0; i < info.slotCount; ++i) {
        const std::uint32_t slot = info.firstSlot + i;
        const EntryRun& run = *RunOf(slot);
        void* const original = table[i];
        AddImplementationCode(original);
        std::atomic_ref<void*>(g_slots[slot]).store(original, std::memory_order_release);
        if (g_hooks[slot] == nullptr) {
            if (!run.handsOutObjects[slot - run.first]) continue;
            std::atomic_ref<void*>(g_hooks[slot]).store(original, std::memory_order_release);
        }
        std::atomic_ref<void*>(table[i]).store(run.entries[slot - run.first], std::memory_order_release);
    }
    platform::Reprotect(table, size, previous);
    return true;
}

// Finds the class of an object seen for the first time, and hooks it if its interface is free.
const Class* Admit(void* object, const void* methods) {
    const Locked locked;
    if (const Class* known = Find(methods)) return known;  // another thread was first
    const std::size_t count = g_classCount.load(std::memory_order_relaxed);
    if (count == kMaxClasses) return nullptr;
    Class& c = g_classes[count];
    c.methods = methods;
    c.interface = InterfaceOf(object);
    if (c.interface >= 0) {
        const InterfaceInfo& info = kInterfaces[c.interface];
        if (g_claimedBy[c.interface] != nullptr) {
            Say(std::string("a second class of objects presents itself as ") + info.name +
                ", which another class already claimed; its calls are passed on without logging");
        } else if (!Patch(methods, info)) {
            Say(std::string("cannot make the methods of a class of ") + info.name +
                " writable; its calls are passed on without logging");
        } else {
            g_claimedBy[c.interface] = methods;
            c.logged = true;
        }
    }
    g_classCount.store(count + 1, std::memory_order_release);
    return &c;
}

// Stores a capture id through the object's own SetPrivateData, unless it has one.
void Tag(void* object, const InterfaceInfo& info) {
    if (info.getPrivateData < 0) return;
    using Get = HRESULT(TOV_COM_CALL*)(void*, REFGUID, UINT*, void*);
    using Set = HRESULT(TOV_COM_CALL*)(void*, REFGUID, UINT, const void*);
    void* const* methods = static_cast<void* const*>(MethodsOf(object));
    const auto get = reinterpret_cast<Get>(methods[info.getPrivateData]);
    const auto set = reinterpret_cast<Set>(methods[info.setPrivateData]);
    const Locked locked;  // no other thread may tag the same object between the test and the store
    std::uint64_t id = 0;
    UINT size = sizeof id;
    if (get(object, com_values::kCaptureTimeIdGuid, &size, &id) >= 0 && id != 0) return;
    id = g_nextCaptureId.fetch_add(1, std::memory_order_relaxed);
    set(object, com_values::kCaptureTimeIdGuid, sizeof id, &id);
}

}  // namespace

void Attach(LayerDispatchTable* table, void* const* hooks, const char* who) {
    const Locked locked;
    if (g_attached.load(std::memory_order_relaxed)) return;
    g_who = who;
    g_slots = table->slots;
    std::copy(hooks, hooks + tov::logging_layer::kSlotCount, g_hooks);
    g_claimedBy.assign(kInterfaceCount, nullptr);
    for (std::uint32_t i = 0; i < std::size(g_functionNext); ++i) {
        std::atomic_ref<void*>(g_slots[kFirstFunctionSlot + i]).store(g_functionNext[i], std::memory_order_release);
        // A function the call filter leaves out still hands out its objects to be caught: its
        // entry calls the implementation's function where the hook would be.
        g_filteredFunction[i] = g_hooks[kFirstFunctionSlot + i] == nullptr;
        if (g_filteredFunction[i]) g_hooks[kFirstFunctionSlot + i] = g_functionNext[i];
    }
    g_attached.store(true, std::memory_order_release);
}

bool Attached() { return g_attached.load(std::memory_order_acquire); }

void SetFunctionNext(std::uint32_t slot, void* next) {
    // A library of the implementation can come in after the host attached (a proxy DLL loaded
    // later): its function goes into the slot too, and stands in for a hook the filter dropped.
    const Locked locked;
    g_functionNext[slot - kFirstFunctionSlot] = next;
    if (!g_attached.load(std::memory_order_relaxed)) return;
    std::atomic_ref<void*>(g_slots[slot]).store(next, std::memory_order_release);
    if (g_filteredFunction[slot - kFirstFunctionSlot])
        std::atomic_ref<void*>(g_hooks[slot]).store(next, std::memory_order_release);
}

void Catch(void* object) {
    if (object == nullptr || !Attached()) return;
    // The host's own calls on the object (QueryInterface, Release, private data) pass on as
    // nested calls, unlogged, whether or not its class is hooked yet.
    const Nesting nesting;
    const void* methods = MethodsOf(object);
    const Class* c = Find(methods);
    if (c == nullptr) c = Admit(object, methods);
    if (c != nullptr && c->logged) Tag(object, kInterfaces[c->interface]);
}

}  // namespace tov::comhost
