#include "testhost.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <iostream>

#include "tov/hostcore.h"
#include "tov/journal.h"

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
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        error_ = dlerror();
        return;
    }
    getDispatchTable_ =
        reinterpret_cast<PFN_tovGetDispatchTable>(dlsym(handle_, "tovGetDispatchTable"));
    getLayerHelpText_ =
        reinterpret_cast<PFN_tovGetLayerHelpText>(dlsym(handle_, "tovGetLayerHelpText"));
    if (getDispatchTable_ == nullptr || getLayerHelpText_ == nullptr) {
        error_ = "the library does not export the layer's entry points";
        dlclose(handle_);
        handle_ = nullptr;
    }
}

Layer::~Layer() {
    if (handle_ != nullptr) dlclose(handle_);
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
    table_->eventHandler->OnLibraryLoaded(path);
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

void LineCheckingBuffer::clear() { *this = LineCheckingBuffer(); }

void LineCheckingBuffer::Insert(const char* s, std::size_t n) {
    if (insertions_++ > 0 && fault_.empty()) fault_ = "a line in pieces: ";
    text_.append(s, n);
}

LineCheckingBuffer::int_type LineCheckingBuffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    const char ch = traits_type::to_char_type(c);
    Insert(&ch, 1);
    return c;
}

std::streamsize LineCheckingBuffer::xsputn(const char* s, std::streamsize n) {
    Insert(s, static_cast<std::size_t>(n));
    return n;
}

int LineCheckingBuffer::sync() {
    ++flushes_;
    const std::string line = text_.substr(lineStart_);
    if (fault_.empty() && (line.empty() || line.find('\n') != line.size() - 1))
        fault_ = "a flush that does not end exactly one line: ";
    if (fault_.size() > 0 && fault_.back() == ' ') fault_ += "\"" + line + "\"";
    lineStart_ = text_.size();
    insertions_ = 0;
    return 0;
}

std::string LineCheckingBuffer::faults() const {
    if (!fault_.empty()) return fault_;
    if (lineStart_ != text_.size()) return "text never flushed: \"" + text_.substr(lineStart_) + "\"";
    return "";
}

StdoutCapture::StdoutCapture() : previous_(std::cout.rdbuf(&buffer_)) {}
StdoutCapture::~StdoutCapture() { std::cout.rdbuf(previous_); }

}  // namespace tov::testhost
