// The printing core: the verbose flag, the line format and the printers that every other printer
// rests on. A printer takes its value, then the label (consumed), the stream and the indent, and
// writes whole lines: 4 blanks per indent level, the label, a tail by kind of value, a line feed
// and a flush.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "output_seam.h"

namespace tov::printing {

// The process-wide verbose byte: false at load, only ever set to true by tovGetDispatchTable.
extern bool g_verbose;
inline bool IsVerbose() { return g_verbose; }
inline void SetVerbose(bool verbose) { g_verbose = verbose; }

// --- lines ---------------------------------------------------------------------------------
// One line in the making, in the caller's own storage: the indent, the label and the tail are
// appended here and leave together through EndLine, so that a line is one insertion into the
// stream and one write, and lines of different threads never mix inside a line.
class Line {
public:
    Line() = default;
    Line(std::uint64_t indent, std::string_view label) {
        AppendBlanks(4 * indent);
        Append(label.data(), label.size());
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    Line& operator<<(std::string_view text) {
        Append(text.data(), text.size());
        return *this;
    }
    Line& operator<<(char c) {
        Append(&c, 1);
        return *this;
    }
    // Decimal digits, never through a stream's number format.
    Line& operator<<(std::uint32_t number) { return AppendNumber(number); }
    Line& operator<<(std::uint64_t number) { return AppendNumber(number); }
    Line& operator<<(std::int32_t number) { return AppendNumber(number); }

    const char* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    void Append(const char* text, std::size_t length) {
        if (length > capacity_ - size_) Grow(length);
        std::memcpy(data_ + size_, text, length);
        size_ += length;
    }
    void AppendBlanks(std::size_t count) {
        if (count > capacity_ - size_) Grow(count);
        std::memset(data_ + size_, ' ', count);
        size_ += count;
    }
    template <typename Integer>
    Line& AppendNumber(Integer number) {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        Append(digits, static_cast<std::size_t>(end - digits));
        return *this;
    }
    void Grow(std::size_t more);

    char small_[256];
    char* data_ = small_;
    std::size_t size_ = 0;
    std::size_t capacity_ = sizeof small_;
    std::unique_ptr<char[]> large_;
};

// Every line of the layer ends here: a line feed, one insertion of the whole line, a flush.
// The stream's state and exception mask are the program's: a failure of this write leaves them
// as they were, so it silences neither the program's later output nor the layer's next line.
void EndLine(std::ostream& os, Line& line);

// A line with no label and no indent: the header line of a call dump, the banners.
void WriteBareLine(std::ostream& os, std::string_view text);
// A line that holds only its label: structures and arrays, whose contents follow one level deeper.
void WriteLabelLine(std::string label, std::ostream& os, std::uint64_t indent);

// --- scalars and text ----------------------------------------------------------------------
void Print_uint32_t(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_uint64_t(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_int32_t(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_HRESULT(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_BOOL(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_float(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_NYI(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_voidptr(const void* value, std::string label, std::ostream& os, std::uint64_t indent);
void Print_text(const char* text, std::uint64_t size, std::string label, std::ostream& os,
                std::uint64_t indent);

// --- wide text -----------------------------------------------------------------------------
// Converts each 16-bit unit on its own into 1 to 3 bytes; surrogates are not paired.
std::string WideToUtf8(const char16_t* text);
// Converts, then copies at most size - 1 bytes and a NUL. Returns the bytes copied, -1 if size is 0.
std::int32_t WideToUtf8Bounded(const char16_t* text, char* buffer, std::uint64_t size);
// The text of a debug event: metadata 0 wide text, 2 a packed event record, else narrow text.
std::string DecodeEventText(std::uint32_t metadata, const void* data, std::uint32_t size);

// --- pointers and arrays -------------------------------------------------------------------
void WriteNullLine(std::string label, std::ostream& os, std::uint64_t indent);

// A pointer shares its line with its pointee: same label, same indent.
template <auto PointeePrinter, typename T>
void PrintPtr(const T* pointer, std::string label, std::ostream& os, std::uint64_t indent) {
    if (pointer == nullptr) {
        WriteNullLine(std::move(label), os, indent);
        return;
    }
    PointeePrinter(pointer, std::string(label), os, indent);
}

inline void PrintPtr_NYI(const void* pointer, std::string label, std::ostream& os,
                         std::uint64_t indent) {
    PrintPtr<Print_NYI>(pointer, std::move(label), os, indent);
}
// Function pointers are pointers too: null or not is all that shows.
template <typename R, typename... A>
void PrintPtr_NYI(R (*function)(A...), std::string label, std::ostream& os, std::uint64_t indent) {
    PrintPtr_NYI(reinterpret_cast<const void*>(function), std::move(label), os, indent);
}
inline void PrintPtr_uint32_t(const void* pointer, std::string label, std::ostream& os,
                              std::uint64_t indent) {
    PrintPtr<Print_uint32_t>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_uint64_t(const void* pointer, std::string label, std::ostream& os,
                              std::uint64_t indent) {
    PrintPtr<Print_uint64_t>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_float(const void* pointer, std::string label, std::ostream& os,
                           std::uint64_t indent) {
    PrintPtr<Print_float>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_int32_t(const void* pointer, std::string label, std::ostream& os,
                             std::uint64_t indent) {
    PrintPtr<Print_int32_t>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_BOOL(const void* pointer, std::string label, std::ostream& os,
                          std::uint64_t indent) {
    PrintPtr<Print_BOOL>(pointer, std::move(label), os, indent);
}
// A pointer to a window handle: only whether it is null shows; the handle is never read.
inline void PrintPtr_HWND(const void* pointer, std::string label, std::ostream& os,
                          std::uint64_t indent) {
    if (pointer == nullptr) {
        WriteNullLine(std::move(label), os, indent);
        return;
    }
    Line line(indent, label);
    line << ": NYI HWND";
    EndLine(os, line);
}

// A handle held by value: its label line, then one fixed line one level deeper. The value
// itself is never written.
void PrintHandleLines(bool isNull, std::string label, std::ostream& os, std::uint64_t indent);
template <typename Handle>
void Print_handle(Handle handle, std::string label, std::ostream& os, std::uint64_t indent) {
    PrintHandleLines(handle == Handle{}, std::move(label), os, indent);
}

// The label of element i: "[i]" for pointer arrays, "[i] " for enum arrays.
std::string IndexLabel(std::uint64_t index, bool trailingBlank);

// An array of pointers: the label line first, then each element through its pointer printer.
// A null array puts " NULLPTR" on a line of its own, at no indent.
template <auto ElementPointerPrinter, typename T>
void PrintPtrArray(const T* const* array, std::uint64_t count, std::string label,
                   std::ostream& os, std::uint64_t indent) {
    WriteLabelLine(std::move(label), os, indent);
    if (array == nullptr) {
        WriteBareLine(os, " NULLPTR");
        return;
    }
    for (std::uint64_t i = 0; i < count; ++i)
        ElementPointerPrinter(array[i], IndexLabel(i, false), os, indent + 1);
}

// An array of enum values of a fixed size: the label line, then each element one level deeper.
template <auto EnumPrinter, typename E>
void PrintArray(const E* array, std::uint64_t count, std::string label, std::ostream& os,
                std::uint64_t indent) {
    WriteLabelLine(std::move(label), os, indent);
    for (std::uint64_t i = 0; i < count; ++i)
        EnumPrinter(&array[i], IndexLabel(i, true), os, indent + 1);
}

// Flat arrays of numbers go on one line through the stream's own (default) number format.
void PrintArray_float(const float* array, std::uint64_t count, std::string label,
                      std::ostream& os, std::uint64_t indent);
void PrintArray_UINT(const std::uint32_t* array, std::uint64_t count, std::string label,
                     std::ostream& os, std::uint64_t indent);

// --- enums ---------------------------------------------------------------------------------
// One row of an enum printer: the value and its name followed by ", " as one literal.
struct EnumRow {
    std::int32_t value;
    const char* text;
};

// Writes the label, a blank, and every row whose value equals the value, in table order.
void PrintEnumRows(std::int32_t value, const EnumRow* rows, std::size_t rowCount,
                   std::string label, std::ostream& os, std::uint64_t indent);

template <std::size_t N>
void PrintEnum(const void* value, const EnumRow (&rows)[N], std::string label, std::ostream& os,
               std::uint64_t indent) {
    std::int32_t v;
    __builtin_memcpy(&v, value, sizeof v);
    PrintEnumRows(v, rows, N, std::move(label), os, indent);
}

}  // namespace tov::printing
