#include "testhost.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <algorithm>
#include <cstring>

#include "tov/hostcore.h"
#include "tov/journal.h"

namespace {
#ifdef _WIN32
void* OpenLibrary(const std::string& path, std::string& error) {
    HMODULE module = LoadLibraryA(path.c_str());
    if (module == nullptr)
        error = "LoadLibrary failed with error " + std::to_string(GetLastError());
    return reinterpret_cast<void*>(module);
}
void* FindSymbol(void* handle, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}
void CloseLibrary(void* handle) { FreeLibrary(static_cast<HMODULE>(handle)); }
#else
void* OpenLibrary(const std::string& path, std::string& error) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) error = dlerror();
    return handle;
}
void* FindSymbol(void* handle, const char* name) { return dlsym(handle, name); }
void CloseLibrary(void* handle) { dlclose(handle); }
#endif
}  // namespace

namespace tov::testhost {

std::vector<LayerParameterRecord> MakeRecords(const std::vector<Parameter>& parameters) {
    std::vector<LayerParameterRecord> records(parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        LayerParameterRecord& r = records[i];
        std::memset(&r, 0, sizeof r);
        const std::u16string& name = parameters[i].name;
        const std::u16string& value = parameters[i].value;
        std::memcpy(r.parameterName, name.data(), 2 * std::min<std::size_t>(name.size(), 511));
        std::memcpy(r.parameterValue, value.data(), 2 * std::min<std::size_t>(value.size(), 511));
    }
    return records;
}

std::string Layer::DefaultLayerPath() { return TOV_LAYER_PATH; }

Layer::Layer(const std::string& path) {
    handle_ = OpenLibrary(path, error_);
    if (handle_ == nullptr) return;
#ifdef _WIN32
    RouteStdoutToCaptures(handle_);
#endif
    getDispatchTable_ =
        reinterpret_cast<PFN_tovGetDispatchTable>(FindSymbol(handle_, "tovGetDispatchTable"));
    getLayerHelpText_ =
        reinterpret_cast<PFN_tovGetLayerHelpText>(FindSymbol(handle_, "tovGetLayerHelpText"));
    if (getDispatchTable_ == nullptr || getLayerHelpText_ == nullptr) {
        error_ = "the library does not export the layer's entry points";
        CloseLibrary(handle_);
        handle_ = nullptr;
    }
}

Layer::~Layer() {
    if (handle_ != nullptr) CloseLibrary(handle_);
}

LayerDispatchTable* Layer::GetDispatchTable(const std::vector<Parameter>& parameters) {
    const std::vector<LayerParameterRecord> records = MakeRecords(parameters);
    return GetDispatchTable(records.size(), records.empty() ? nullptr : records.data());
}

LayerDispatchTable* Layer::GetDispatchTable(std::uint64_t count,
                                            const LayerParameterRecord* records) {
    table_ = getDispatchTable_(count, records);
    hooks_.assign(table_->slots, table_->slots + tov::logging_layer::kSlotCount);
    return table_;
}

const char16_t* Layer::GetHelpText(std::uint32_t mode) { return getLayerHelpText_(mode); }

void Layer::Route(std::size_t slot, void* next) { table_->slots[slot] = next; }

void Layer::RouteAll(const std::vector<void*>& nexts) {
    for (std::size_t slot = 0; slot < hooks_.size() && slot < nexts.size(); ++slot)
        if (hooks_[slot] != nullptr) table_->slots[slot] = nexts[slot];
}

void Layer::ReportLibraryLoaded(const char16_t* path) {
    EventHandler* handler = table_->eventHandler;
#if TOV_HOST_MSVC_LAYOUT
    handler->table->onLibraryLoaded(handler, path);
#else
    handler->OnLibraryLoaded(path);
#endif
}

namespace {
// What the host publishes on the keyframe channel: an event object whose kind sits at byte 8.
struct KeyframeEventRecord {
    const void* vtable;
    std::uint32_t kind;
    std::uint32_t reserved;
};
static_assert(sizeof(KeyframeEventRecord) == 16);
}  // namespace

int PublishKeyframe(std::uint32_t kind) {
    KeyframeEventRecord event = {nullptr, kind, 0};
    return tov::runtime::PublishEvent("keyframe",
                                      reinterpret_cast<tov::runtime::EventData*>(&event));
}

namespace {
void CaptureSink(void* context, int level, int category, int flags, const char* format,
                 const char* message) {
    static_cast<LoggerCapture*>(context)->calls.push_back(
        {level, category, flags, format, message});
}
}  // namespace

LoggerCapture::LoggerCapture() { JournalSetSink(&CaptureSink, this); }
LoggerCapture::~LoggerCapture() { JournalSetSink(nullptr, nullptr); }


}  // namespace tov::testhost
