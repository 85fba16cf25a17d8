// The Vulkan loader host: an ordinary Vulkan layer (VK_LAYER_TOV_logging) that loads the Logging
// Layer and puts its hooks into the loader's chain, so that any Vulkan application logs its calls.
//
// The Logging Layer gives one slot per entry point for the whole process. This host reads each
// slot's hook once, then stores the next function of the chain into the slot. Six slots hold the
// host's own functions instead: creating and destroying instances and devices (which walk the
// loader's chain and learn the next functions) and the two resolvers, which answer a hooked name
// with the hook and any other name with the next layer's answer.
//
// A call that the call filter leaves out has no hook: the resolvers answer its name with the next
// layer's function (or, for the six, with the host's own), so it costs what it costs without
// this layer.
//
// One slot per entry point means that every instance and every device shares the same next
// functions. An object whose next functions differ from those already stored by a live object
// (another driver, another chain of layers below this one) is not logged: the resolvers hand it
// the next layer's functions directly, so no call ever reaches a driver it was not made for.
#include <dlfcn.h>
#include <vulkan/vk_layer.h>
#include <vulkan/vulkan.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "dispatch_table.h"
#include "link_next_to.h"
#include "loader_table.h"

#define TOV_HOST_EXPORT extern "C" __attribute__((visibility("default")))

namespace tov::vulkan_host {
namespace {

constexpr const char* kPrefix = "VK_LAYER_TOV_logging";
constexpr std::uint32_t kInterfaceVersion = 2;

// The slots that hold the host's own functions.
enum HostSlot : std::uint16_t {
    kCreateInstance = 0,
    kDestroyInstance = 1,
    kGetInstanceProcAddr = 9,
    kGetDeviceProcAddr = 10,
    kCreateDevice = 11,
    kDestroyDevice = 12,
};
constexpr std::array<std::uint16_t, 6> kHostSlots = {kCreateInstance,     kDestroyInstance,
                                                     kGetInstanceProcAddr, kGetDeviceProcAddr,
                                                     kCreateDevice,        kDestroyDevice};

bool IsHostSlot(std::uint16_t slot) {
    return std::find(kHostSlots.begin(), kHostSlots.end(), slot) != kHostSlots.end();
}

const SlotName* FindName(const char* name) {
    if (name == nullptr) return nullptr;
    const SlotName* end = kSlotNames + std::size(kSlotNames);
    const SlotName* it = std::lower_bound(
        kSlotNames, end, name,
        [](const SlotName& row, const char* key) { return std::strcmp(row.name, key) < 0; });
    return it != end && std::strcmp(it->name, name) == 0 ? it : nullptr;
}

// Dispatchable handles start with the loader's dispatch pointer; an instance and its physical
// devices share one, a device and its queues and command buffers another.
void* DispatchKey(const void* handle) { return *static_cast<void* const*>(handle); }

// One instance or device as this host knows it.
struct Object {
    void* key = nullptr;
    void* handle = nullptr;
    PFN_vkGetInstanceProcAddr nextGetInstanceProcAddr = nullptr;
    PFN_vkGetDeviceProcAddr nextGetDeviceProcAddr = nullptr;
    PFN_vkVoidFunction nextDestroy = nullptr;
    std::array<void*, kVulkanSlotCount> next{};  // this object's own next function per slot
    bool logged = false;
};

// Which slots of one level the live logged objects have claimed.
struct Claims {
    std::array<bool, kVulkanSlotCount> claimed{};
    std::size_t liveObjects = 0;
};

struct Host {
    std::once_flag loadOnce;
    bool loaded = false;
    LayerDispatchTable* table = nullptr;
    std::array<void*, kVulkanSlotCount> hooks{};

    std::mutex mutex;  // guards what follows; never held across a call down the chain
    std::vector<Object> instances;
    std::vector<Object> devices;
    Claims instanceClaims;
    Claims deviceClaims;
};

Host& TheHost() {
    static Host host;
    return host;
}

// --- Loading the Logging Layer --------------------------------------------------------------------

PFN_vkVoidFunction HostFunction(std::uint16_t slot);

void Load(Host& host) {
    // Another host of this process may have linked the layer already; then this is its link.
    const TovLinkResult linked = hostlink::LinkLayerNextTo(reinterpret_cast<const void*>(&Load));
    if (linked.failure == kTovNoEntryPoint) {
        std::fprintf(stderr, "%s: the library it loaded has no tovGetDispatchTable;"
                     " calls are passed on without logging\n", kPrefix);
        return;
    }
    if (linked.link == nullptr) {
        std::fprintf(stderr, "%s: cannot load the Logging Layer library (liblogging_layer.so);"
                     " calls are passed on without logging:%s\n", kPrefix, linked.detail);
        return;
    }
    LayerDispatchTable* table = linked.link->table;
    // The link leaves every slot zero until its host stores a next function there.
    for (std::size_t slot = 0; slot < kVulkanSlotCount; ++slot)
        host.hooks[slot] = linked.link->hooks[slot];
    for (std::uint16_t slot : kHostSlots)
        table->slots[slot] = reinterpret_cast<void*>(HostFunction(slot));
    host.table = table;
    host.loaded = true;
}

bool EnsureLoaded() {
    Host& host = TheHost();
    std::call_once(host.loadOnce, [&host] { Load(host); });
    return host.loaded;
}

// The layer's hook for one of the host's slots; without the Logging Layer, or when the call
// filter leaves the call out, the host's own function.
PFN_vkVoidFunction HostEntry(const Host& host, std::uint16_t slot) {
    return host.loaded && host.hooks[slot] != nullptr
               ? reinterpret_cast<PFN_vkVoidFunction>(host.hooks[slot])
               : HostFunction(slot);
}

template <typename F>
F Entry(std::uint16_t slot) {
    return reinterpret_cast<F>(HostEntry(TheHost(), slot));
}

// --- Objects and their claims on the slots ------------------------------------------------------

Object* FindObject(std::vector<Object>& objects, void* key) {
    for (Object& object : objects)
        if (object.key == key) return &object;
    return nullptr;
}

// Stores an object's next functions into the free slots of its level. An object whose next
// function for some slot differs from the one a live object stored there is not logged.
void Claim(Host& host, Object& object, Level level, const char* kind) {
    if (!host.loaded) return;  // without the Logging Layer every object is passed on as it is
    Claims& claims = level == Level::Instance ? host.instanceClaims : host.deviceClaims;
    if (claims.liveObjects == 0) claims.claimed.fill(false);
    bool conflict = false;
    for (const SlotName& row : kSlotNames) {
        // A slot whose call the filter leaves out is never routed through the layer.
        if (row.level != level || IsHostSlot(row.slot) || host.hooks[row.slot] == nullptr) continue;
        void* own = object.next[row.slot];
        if (own != nullptr && claims.claimed[row.slot] && host.table->slots[row.slot] != own) {
            conflict = true;
            break;
        }
    }
    if (conflict) {
        std::fprintf(stderr, "%s: this %s resolves to other next functions than a live %s"
                     " (another driver or other layers below this one); its calls are passed on"
                     " without logging\n", kPrefix, kind, kind);
        object.logged = false;
        return;
    }
    for (const SlotName& row : kSlotNames) {
        if (row.level != level || IsHostSlot(row.slot) || host.hooks[row.slot] == nullptr) continue;
        void* own = object.next[row.slot];
        if (own != nullptr && !claims.claimed[row.slot]) {
            host.table->slots[row.slot] = own;
            claims.claimed[row.slot] = true;
        }
    }
    ++claims.liveObjects;
    object.logged = true;
}

void Release(std::vector<Object>& objects, void* key, Claims& claims) {
    for (auto it = objects.begin(); it != objects.end(); ++it) {
        if (it->key != key) continue;
        if (it->logged) --claims.liveObjects;
        objects.erase(it);
        return;
    }
}

// What a resolver answers for a name that has a slot, for a known object.
PFN_vkVoidFunction Answer(Host& host, const Object& object, const SlotName& row) {
    if (IsHostSlot(row.slot))
        return object.logged ? HostEntry(host, row.slot) : HostFunction(row.slot);
    void* own = object.next[row.slot];
    void* hook = host.hooks[row.slot];
    if (object.logged && hook != nullptr && own != nullptr && host.table->slots[row.slot] == own)
        return reinterpret_cast<PFN_vkVoidFunction>(hook);
    return reinterpret_cast<PFN_vkVoidFunction>(own);
}

// The loader's link information in a create call's chain, advanced for the next layer: the
// next layer's resolvers, or null (with a message) for a call that did not come from the loader.
template <typename Info>
auto* TakeLayerLink(const void* pNext, VkStructureType type, const char* call) {
    auto* info = static_cast<Info*>(const_cast<void*>(pNext));
    while (info != nullptr && !(info->sType == type && info->function == VK_LAYER_LINK_INFO))
        info = static_cast<Info*>(const_cast<void*>(info->pNext));
    if (info == nullptr || info->u.pLayerInfo == nullptr) {
        std::fprintf(stderr, "%s: %s was not called by the Vulkan loader (no layer link information)\n",
                     kPrefix, call);
        return decltype(info->u.pLayerInfo){};
    }
    auto* link = info->u.pLayerInfo;
    info->u.pLayerInfo = link->pNext;
    return link;
}

// A created instance or device: learns its next functions through `resolve`, keeps them and
// claims the free slots of its level.
template <typename Handle, typename Resolve>
void Adopt(Handle handle, Level level, Resolve resolve, Object object) {
    object.handle = handle;
    object.key = DispatchKey(handle);
    object.nextDestroy = resolve(handle, level == Level::Instance ? "vkDestroyInstance" : "vkDestroyDevice");
    for (const SlotName& row : kSlotNames)
        if (row.level == level && !IsHostSlot(row.slot))
            object.next[row.slot] = reinterpret_cast<void*>(resolve(handle, row.name));
    Host& host = TheHost();
    std::lock_guard<std::mutex> lock(host.mutex);
    Claim(host, object, level, level == Level::Instance ? "instance" : "device");
    (level == Level::Instance ? host.instances : host.devices).push_back(object);
}

// A destroyed instance or device: the next layer destroys it, then its claim on the slots goes.
template <typename Handle>
void Forget(Handle handle, const VkAllocationCallbacks* pAllocator, Level level) {
    if (handle == VK_NULL_HANDLE) return;
    Host& host = TheHost();
    std::vector<Object>& objects = level == Level::Instance ? host.instances : host.devices;
    void* key = DispatchKey(handle);
    PFN_vkVoidFunction destroy = nullptr;
    {
        std::lock_guard<std::mutex> lock(host.mutex);
        if (Object* object = FindObject(objects, key)) destroy = object->nextDestroy;
    }
    if (destroy != nullptr)
        reinterpret_cast<void(VKAPI_PTR*)(Handle, const VkAllocationCallbacks*)>(destroy)(handle, pAllocator);
    std::lock_guard<std::mutex> lock(host.mutex);
    Release(objects, key, level == Level::Instance ? host.instanceClaims : host.deviceClaims);
}

// --- The host's functions in the six slots -------------------------------------------------------

VKAPI_ATTR PFN_vkVoidFunction VKAPI_CALL HostGetInstanceProcAddr(VkInstance instance,
                                                                  const char* pName) {
    Host& host = TheHost();
    const SlotName* row = FindName(pName);
    if (instance == VK_NULL_HANDLE) {
        // Before an instance exists only the functions that create one are asked for.
        if (row != nullptr && (row->slot == kCreateInstance || row->slot == kGetInstanceProcAddr))
            return HostEntry(host, row->slot);
        return nullptr;
    }
    PFN_vkGetInstanceProcAddr next = nullptr;
    {
        std::lock_guard<std::mutex> lock(host.mutex);
        Object* object = FindObject(host.instances, DispatchKey(instance));
        if (object == nullptr) return nullptr;
        if (row != nullptr && (row->level == Level::Instance || IsHostSlot(row->slot)))
            return Answer(host, *object, *row);
        next = object->nextGetInstanceProcAddr;
    }
    return next(instance, pName);
}

VKAPI_ATTR PFN_vkVoidFunction VKAPI_CALL HostGetDeviceProcAddr(VkDevice device,
                                                                const char* pName) {
    Host& host = TheHost();
    if (device == VK_NULL_HANDLE) return nullptr;
    const SlotName* row = FindName(pName);
    PFN_vkGetDeviceProcAddr next = nullptr;
    {
        std::lock_guard<std::mutex> lock(host.mutex);
        Object* object = FindObject(host.devices, DispatchKey(device));
        if (object == nullptr) return nullptr;
        if (row != nullptr && (row->slot == kGetDeviceProcAddr || row->slot == kDestroyDevice ||
                               (row->level == Level::Device && !IsHostSlot(row->slot))))
            return Answer(host, *object, *row);
        next = object->nextGetDeviceProcAddr;
    }
    return next(device, pName);
}

VKAPI_ATTR VkResult VKAPI_CALL HostCreateInstance(const VkInstanceCreateInfo* pCreateInfo,
                                                  const VkAllocationCallbacks* pAllocator,
                                                  VkInstance* pInstance) {
    auto* link = TakeLayerLink<VkLayerInstanceCreateInfo>(
        pCreateInfo->pNext, VK_STRUCTURE_TYPE_LOADER_INSTANCE_CREATE_INFO, "vkCreateInstance");
    if (link == nullptr) return VK_ERROR_INITIALIZATION_FAILED;
    const PFN_vkGetInstanceProcAddr nextGipa = link->pfnNextGetInstanceProcAddr;
    auto create = reinterpret_cast<PFN_vkCreateInstance>(nextGipa(nullptr, "vkCreateInstance"));
    if (create == nullptr) return VK_ERROR_INITIALIZATION_FAILED;
    const VkResult result = create(pCreateInfo, pAllocator, pInstance);
    if (result != VK_SUCCESS) return result;
    Object object;
    object.nextGetInstanceProcAddr = nextGipa;
    Adopt(*pInstance, Level::Instance, nextGipa, object);
    return result;
}

VKAPI_ATTR void VKAPI_CALL HostDestroyInstance(VkInstance instance,
                                               const VkAllocationCallbacks* pAllocator) {
    Forget(instance, pAllocator, Level::Instance);
}

VKAPI_ATTR VkResult VKAPI_CALL HostCreateDevice(VkPhysicalDevice physicalDevice,
                                                const VkDeviceCreateInfo* pCreateInfo,
                                                const VkAllocationCallbacks* pAllocator,
                                                VkDevice* pDevice) {
    auto* link = TakeLayerLink<VkLayerDeviceCreateInfo>(
        pCreateInfo->pNext, VK_STRUCTURE_TYPE_LOADER_DEVICE_CREATE_INFO, "vkCreateDevice");
    if (link == nullptr) return VK_ERROR_INITIALIZATION_FAILED;
    const PFN_vkGetInstanceProcAddr nextGipa = link->pfnNextGetInstanceProcAddr;
    const PFN_vkGetDeviceProcAddr nextGdpa = link->pfnNextGetDeviceProcAddr;
    Host& host = TheHost();
    VkInstance instance = VK_NULL_HANDLE;
    {
        std::lock_guard<std::mutex> lock(host.mutex);
        if (Object* object = FindObject(host.instances, DispatchKey(physicalDevice)))
            instance = static_cast<VkInstance>(object->handle);
    }
    auto create = reinterpret_cast<PFN_vkCreateDevice>(nextGipa(instance, "vkCreateDevice"));
    if (create == nullptr) return VK_ERROR_INITIALIZATION_FAILED;
    const VkResult result = create(physicalDevice, pCreateInfo, pAllocator, pDevice);
    if (result != VK_SUCCESS) return result;
    Object object;
    object.nextGetDeviceProcAddr = nextGdpa;
    Adopt(*pDevice, Level::Device, nextGdpa, object);
    return result;
}

VKAPI_ATTR void VKAPI_CALL HostDestroyDevice(VkDevice device, const VkAllocationCallbacks* pAllocator) {
    Forget(device, pAllocator, Level::Device);
}

PFN_vkVoidFunction HostFunction(std::uint16_t slot) {
    switch (slot) {
        case kCreateInstance: return reinterpret_cast<PFN_vkVoidFunction>(&HostCreateInstance);
        case kDestroyInstance: return reinterpret_cast<PFN_vkVoidFunction>(&HostDestroyInstance);
        case kGetInstanceProcAddr:
            return reinterpret_cast<PFN_vkVoidFunction>(&HostGetInstanceProcAddr);
        case kGetDeviceProcAddr:
            return reinterpret_cast<PFN_vkVoidFunction>(&HostGetDeviceProcAddr);
        case kCreateDevice: return reinterpret_cast<PFN_vkVoidFunction>(&HostCreateDevice);
        case kDestroyDevice: return reinterpret_cast<PFN_vkVoidFunction>(&HostDestroyDevice);
        default: return nullptr;
    }
}

}  // namespace
}  // namespace tov::vulkan_host

using namespace tov::vulkan_host;

// --- The loader's layer interface ----------------------------------------------------------------

// The loader reaches this layer through the hooks of vkGetInstanceProcAddr and
// vkGetDeviceProcAddr, so that its own lookups are logged like the application's.
TOV_HOST_EXPORT VKAPI_ATTR PFN_vkVoidFunction VKAPI_CALL vkGetInstanceProcAddr(VkInstance instance,
                                                                               const char* pName) {
    EnsureLoaded();
    return Entry<PFN_vkGetInstanceProcAddr>(kGetInstanceProcAddr)(instance, pName);
}

TOV_HOST_EXPORT VKAPI_ATTR PFN_vkVoidFunction VKAPI_CALL vkGetDeviceProcAddr(VkDevice device,
                                                                             const char* pName) {
    EnsureLoaded();
    return Entry<PFN_vkGetDeviceProcAddr>(kGetDeviceProcAddr)(device, pName);
}

TOV_HOST_EXPORT VKAPI_ATTR VkResult VKAPI_CALL
vkNegotiateLoaderLayerInterfaceVersion(VkNegotiateLayerInterface* pVersionStruct) {
    if (pVersionStruct == nullptr || pVersionStruct->sType != LAYER_NEGOTIATE_INTERFACE_STRUCT) {
        std::fprintf(stderr, "%s: the loader's negotiation record is not one this layer knows;"
                     " the layer is not used\n", kPrefix);
        return VK_ERROR_INITIALIZATION_FAILED;
    }
    if (pVersionStruct->loaderLayerInterfaceVersion < kInterfaceVersion) {
        std::fprintf(stderr, "%s: the Vulkan loader offers layer interface version %u; this layer"
                     " needs version %u or later and is not used\n", kPrefix,
                     pVersionStruct->loaderLayerInterfaceVersion, kInterfaceVersion);
        return VK_ERROR_INITIALIZATION_FAILED;
    }
    // Without the Logging Layer this layer still takes its place in the chain and passes every
    // call on, so that the application runs as it would without it.
    EnsureLoaded();
    pVersionStruct->loaderLayerInterfaceVersion = kInterfaceVersion;
    pVersionStruct->pfnGetInstanceProcAddr = Entry<PFN_vkGetInstanceProcAddr>(kGetInstanceProcAddr);
    pVersionStruct->pfnGetDeviceProcAddr = Entry<PFN_vkGetDeviceProcAddr>(kGetDeviceProcAddr);
    pVersionStruct->pfnGetPhysicalDeviceProcAddr = nullptr;
    return VK_SUCCESS;
}
