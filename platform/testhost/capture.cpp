// Capturing what the layer writes to standard output, and on Windows reaching into a loaded
// module's imports. Apart from the rest of the test host, so that a program with a host runtime
// of its own can use it.
#include <cstdio>
#include <cstring>
#include <iostream>

#include "testhost.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace tov::testhost {

#ifdef _WIN32
void* ReplaceImport(void* module, const char* library, const char* function, void* replacement) {
    auto* base = static_cast<unsigned char*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) return nullptr;
    const auto* d = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; d->Name != 0; ++d) {
        if (_stricmp(reinterpret_cast<const char*>(base + d->Name), library) != 0) continue;
        auto* names = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + d->OriginalFirstThunk);
        auto* slots = reinterpret_cast<IMAGE_THUNK_DATA64*>(base + d->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++slots) {
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal)) continue;
            const auto* byName =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(byName->Name), function) != 0) continue;
            void* previous = reinterpret_cast<void*>(slots->u1.Function);
            DWORD protection;
            void* slot = &slots->u1.Function;
            VirtualProtect(slot, sizeof slots->u1.Function, PAGE_READWRITE, &protection);
            slots->u1.Function = reinterpret_cast<ULONGLONG>(replacement);
            VirtualProtect(slot, sizeof slots->u1.Function, protection, &protection);
            return previous;
        }
    }
    return nullptr;
}

void* ModuleOf(const void* address) {
    HMODULE module = nullptr;
    GetModuleHandleExA(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        static_cast<const char*>(address), &module);
    return reinterpret_cast<void*>(module);
}
#endif

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

#ifdef _WIN32
namespace {
// The layer DLL has a C++ runtime of its own, whose std::cout writes into the C runtime's stdout
// by fwrite, putc and fflush. While a capture lives, those calls that go to stdout reach its
// buffer, as the program's own std::cout does through the buffer put in its place.
std::streambuf* g_capturing = nullptr;
using Fwrite = std::size_t (*)(const void*, std::size_t, std::size_t, FILE*);
using Fputc = int (*)(int, FILE*);
using Fflush = int (*)(FILE*);
Fwrite g_fwrite = &std::fwrite;
Fputc g_fputc = &std::fputc;
Fputc g_putc = &std::fputc;
Fflush g_fflush = &std::fflush;

std::size_t CaptureFwrite(const void* data, std::size_t size, std::size_t count, FILE* file) {
    if (file != stdout || g_capturing == nullptr) return g_fwrite(data, size, count, file);
    g_capturing->sputn(static_cast<const char*>(data), static_cast<std::streamsize>(size * count));
    return count;
}
int CaptureFputc(int c, FILE* file) {
    if (file != stdout || g_capturing == nullptr) return g_fputc(c, file);
    g_capturing->sputc(static_cast<char>(c));
    return c & 0xFF;
}
int CapturePutc(int c, FILE* file) {
    if (file != stdout || g_capturing == nullptr) return g_putc(c, file);
    g_capturing->sputc(static_cast<char>(c));
    return c & 0xFF;
}
int CaptureFflush(FILE* file) {
    if (file != stdout || g_capturing == nullptr) return g_fflush(file);
    g_capturing->pubsync();
    return 0;
}

template <typename F>
void Route(void* module, const char* function, F replacement, F& original) {
    void* previous =
        ReplaceImport(module, "msvcrt.dll", function, reinterpret_cast<void*>(replacement));
    if (previous != nullptr && previous != reinterpret_cast<void*>(replacement))
        original = reinterpret_cast<F>(previous);
}
}  // namespace

void RouteStdoutToCaptures(void* module) {
    if (module == nullptr) return;
    Route(module, "fwrite", &CaptureFwrite, g_fwrite);
    Route(module, "fputc", &CaptureFputc, g_fputc);
    Route(module, "putc", &CapturePutc, g_putc);
    Route(module, "fflush", &CaptureFflush, g_fflush);
}

StdoutCapture::StdoutCapture() : previous_(std::cout.rdbuf(&buffer_)) {
    RouteStdoutToCaptures(GetModuleHandleA(TOV_LAYER_FILE_NAME));
    g_capturing = &buffer_;
}
StdoutCapture::~StdoutCapture() {
    g_capturing = nullptr;
    std::cout.rdbuf(previous_);
}
#else
StdoutCapture::StdoutCapture() : previous_(std::cout.rdbuf(&buffer_)) {}
StdoutCapture::~StdoutCapture() { std::cout.rdbuf(previous_); }
#endif

}  // namespace tov::testhost
