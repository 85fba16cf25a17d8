// A small host for tests, the demo and the benchmarks. It does what a real host does with the
// layer: load it, pass parameters, read each slot's hook, store the next function of the chain
// into the slot, call hooks, publish events; and it captures what the layer writes.
#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "dispatch_table.h"

namespace tov::testhost {

struct Parameter {
    std::u16string name;
    std::u16string value;
};

// Records as the host passes them; text longer than a field is cut to leave room for the NUL.
std::vector<LayerParameterRecord> MakeRecords(const std::vector<Parameter>& parameters);

// The layer library, loaded with dlopen and found by its exported names.
class Layer {
public:
    explicit Layer(const std::string& path = DefaultLayerPath());
    ~Layer();
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    static std::string DefaultLayerPath();

    bool loaded() const { return handle_ != nullptr; }
    const std::string& error() const { return error_; }

    // Calls tovGetDispatchTable and reads every slot's hook (zero: no hook for that slot).
    LayerDispatchTable* GetDispatchTable(const std::vector<Parameter>& parameters = {});
    LayerDispatchTable* GetDispatchTable(std::uint64_t count, const LayerParameterRecord* records);
    const char16_t* GetHelpText(std::uint32_t mode);

    LayerDispatchTable* table() const { return table_; }
    void* hook(std::size_t slot) const { return hooks_.at(slot); }
    // Stores the next function of the chain into a slot.
    void Route(std::size_t slot, void* next);
    // Routes every slot that has a hook to nexts[slot].
    void RouteAll(const std::vector<void*>& nexts);

    // Calls the layer's event handler as the host does when it loads a library.
    void ReportLibraryLoaded(const char16_t* path);

private:
    void* handle_ = nullptr;
    std::string error_;
    PFN_tovGetDispatchTable getDispatchTable_ = nullptr;
    PFN_tovGetLayerHelpText getLayerHelpText_ = nullptr;
    LayerDispatchTable* table_ = nullptr;
    std::vector<void*> hooks_;
};

// Publishes an event of the given kind on the "keyframe" channel; returns subscribers reached.
int PublishKeyframe(std::uint32_t kind);

// Collects every message of the host logger while it lives.
class LoggerCapture {
public:
    struct Call {
        int level, category, flags;
        std::string format, message;
    };
    LoggerCapture();
    ~LoggerCapture();
    LoggerCapture(const LoggerCapture&) = delete;
    LoggerCapture& operator=(const LoggerCapture&) = delete;

    std::vector<Call> calls;
};

// Collects everything written to std::cout while it lives.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    std::string str() const { return buffer_.str(); }
    void clear() { buffer_.str(std::string()); }

private:
    std::stringstream buffer_;
    std::streambuf* previous_;
};

}  // namespace tov::testhost
