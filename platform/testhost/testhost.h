// A small host for tests, the demo and the benchmarks. It does what a real host does with the
// layer: load it, pass parameters, read each slot's hook, store the next function of the chain
// into the slot, call hooks, publish events; and it captures what the layer writes.
#pragma once

#include <cstdint>
#include <streambuf>
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

// The layer library, loaded with dlopen (LoadLibrary on Windows) and found by its exported names.
class Layer {
public:
    explicit Layer(const std::string& path = DefaultLayerPath());
    ~Layer();
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    static std::string DefaultLayerPath();

    bool loaded() const { return handle_ != nullptr; }
    // The dlopen handle; on Windows the module handle.
    void* module() const { return handle_; }
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

// A stream buffer that keeps what is written to it and checks how it arrives: each line as one
// insertion, followed by one flush before anything else is written. It has no buffer of its own,
// so that every insertion and every flush reaches it.
class LineCheckingBuffer : public std::streambuf {
public:
    const std::string& str() const { return text_; }
    void clear();
    int flushes() const { return flushes_; }
    // Empty when every line came whole and was flushed; else the first fault, with its text.
    std::string faults() const;

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* s, std::streamsize n) override;
    int sync() override;

private:
    void Insert(const char* s, std::size_t n);

    std::string text_;
    std::size_t lineStart_ = 0;  // where the text not yet flushed begins
    int insertions_ = 0;         // insertions since the last flush
    int flushes_ = 0;
    std::string fault_;
};

// Collects everything written to std::cout while it lives, checking that each line is one
// insertion followed by a flush.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    std::string str() const { return buffer_.str(); }
    void clear() { buffer_.clear(); }
    int flushes() const { return buffer_.flushes(); }
    std::string faults() const { return buffer_.faults(); }

private:
    LineCheckingBuffer buffer_;
    std::streambuf* previous_;
};
#ifdef _WIN32
// What symbol interposition does on Linux: points a loaded module's import of `function` from
// `library` (matched without regard to case) at `replacement`. Returns what the import pointed
// at before, or null if the module has no such import.
void* ReplaceImport(void* module, const char* library, const char* function, void* replacement);
// The module that holds an address, null if none.
void* ModuleOf(const void* address);
// Makes a loaded layer DLL's writes to standard output reach the StdoutCapture that lives when
// they happen (the layer loaded by Layer is routed so already).
void RouteStdoutToCaptures(void* module);
#endif

}  // namespace tov::testhost
