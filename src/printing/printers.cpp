#include "printers.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>

#include "line_end.h"

namespace tov::printing {

bool g_verbose = false;

Label::Label(const char* text, std::size_t size)
    : data_(inline_), size_(size), capacity_(kInline) {
    if (size > kInline) {
        data_ = new char[size];
        capacity_ = size;
    }
    std::memcpy(data_, text, size);
}

Label::Label(Label&& other) noexcept : data_(inline_), size_(other.size_), capacity_(kInline) {
    if (other.data_ == other.inline_) {
        std::memcpy(inline_, other.inline_, size_);
        return;
    }
    data_ = std::exchange(other.data_, other.inline_);
    capacity_ = std::exchange(other.capacity_, kInline);
    other.size_ = 0;
}

void Label::Append(std::string_view more) {
    if (more.size() > capacity_ - size_) {
        const std::size_t capacity = size_ + more.size();
        char* larger = new char[capacity];
        std::memcpy(larger, data_, size_);
        if (data_ != inline_) delete[] data_;
        data_ = larger;
        capacity_ = capacity;
    }
    std::memcpy(data_ + size_, more.data(), more.size());
    size_ += more.size();
}

void Line::Grow(std::size_t more) {
    const std::size_t capacity = std::max(2 * capacity_, size_ + more);
    std::unique_ptr<char[]> larger(new char[capacity]);
    std::memcpy(larger.get(), data_, size_);
    large_ = std::move(larger);
    data_ = large_.get();
    capacity_ = capacity;
}

void EndLineThroughStream(std::ostream& os, Line& line) {
    const std::ios_base::iostate state = os.rdstate();
    const std::ios_base::iostate exceptions = os.exceptions();
    const bool stdioError = StdoutErrorIndicator();
    if (exceptions != std::ios_base::goodbit) os.exceptions(std::ios_base::goodbit);
    if (state != std::ios_base::goodbit) os.clear();
    os.write(line.data(), static_cast<std::streamsize>(line.size()));
    os.flush();
    os.clear(state);
    // The standard output's C stream shares the buffer: its error indicator stays the program's.
    if (!stdioError) ClearStdoutErrorIndicator();
    if (exceptions != std::ios_base::goodbit) {
        // Putting back a mask that matches a state the program left set raises the stream's
        // failure, as it would have for the program; the layer keeps it to itself.
        try {
            os.exceptions(exceptions);
        } catch (...) {
        }
    }
}

void WriteBareLine(std::ostream& os, std::string_view text) {
    Line line(0, text);
    EndLine(os, line);
}

void WriteLabelLine(Label label, std::ostream& os, std::uint64_t indent) {
    Line line(indent, label);
    EndLine(os, line);
}

namespace {

// The helpers that write a leaf printer's line are inlined into it, and so is the line's end.
template <typename Integer>
[[gnu::always_inline]] inline void WriteNumberLine(Integer number, const Label& label,
                                                   std::ostream& os, std::uint64_t indent) {
    Line line(indent, label);
    line << ": " << number;
    EndLine(os, line);
}

template <typename T>
T Read(const void* value) {
    T v;
    std::memcpy(&v, value, sizeof v);
    return v;
}

[[gnu::always_inline]] inline void WriteTailLine(const Label& label, const char* tail,
                                                 std::ostream& os, std::uint64_t indent) {
    Line line(indent, label);
    line << tail;
    EndLine(os, line);
}

}  // namespace

void Print_uint32_t(const void* value, Label label, std::ostream& os, std::uint64_t indent) {
    WriteNumberLine(Read<std::uint32_t>(value), label, os, indent);
}

void Print_uint64_t(const void* value, Label label, std::ostream& os, std::uint64_t indent) {
    WriteNumberLine(Read<std::uint64_t>(value), label, os, indent);
}

void Print_int32_t(const void* value, Label label, std::ostream& os, std::uint64_t indent) {
    WriteNumberLine(Read<std::int32_t>(value), label, os, indent);
}

void Print_HRESULT(const void* value, Label label, std::ostream& os, std::uint64_t indent) {
    WriteNumberLine(Read<std::int32_t>(value), label, os, indent);
}

void Print_BOOL(const void* value, Label label, std::ostream& os, std::uint64_t indent) {
    WriteTailLine(label, Read<std::uint32_t>(value) != 0 ? ": True" : ": False", os, indent);
}

void Print_float(const void* value, Label label, std::ostream& os, std::uint64_t indent) {
    // Ask for the length first, so that no value is ever cut.
    const double widened = Read<float>(value);
    const int length = std::snprintf(nullptr, 0, "%f", widened);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::snprintf(text.data(), text.size() + 1, "%f", widened);
    Line line(indent, label);
    line << ": " << text;
    EndLine(os, line);
}

void Print_NYI(const void*, Label label, std::ostream& os, std::uint64_t indent) {
    WriteTailLine(label, ": IS NYI", os, indent);
}

void Print_voidptr(const void*, Label label, std::ostream& os, std::uint64_t indent) {
    WriteTailLine(label, " void ptr, can not infer type to print", os, indent);
}

void Print_text(const char* text, std::uint64_t, Label label, std::ostream& os,
                std::uint64_t indent) {
    Line line(indent, label);
    line << " : " << text;
    EndLine(os, line);
}

std::string WideToUtf8(const char16_t* text) {
    std::string out;
    for (const char16_t* p = text; *p != 0; ++p) {
        const std::uint32_t unit = *p;
        if (unit < 0x80) {
            out += static_cast<char>(unit);
        } else if (unit < 0x800) {
            out += static_cast<char>(0xC0 | (unit >> 6));
            out += static_cast<char>(0x80 | (unit & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (unit >> 12));
            out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return out;
}

std::int32_t WideToUtf8Bounded(const char16_t* text, char* buffer, std::uint64_t size) {
    if (size == 0) return -1;
    const std::string converted = WideToUtf8(text);
    const std::uint64_t copied = std::min<std::uint64_t>(size - 1, converted.size());
    std::memcpy(buffer, converted.data(), copied);
    buffer[copied] = '\0';
    return static_cast<std::int32_t>(copied);
}

std::string DecodeEventText(std::uint32_t metadata, const void* data, std::uint32_t) {
    if (data == nullptr) return std::string();
    const auto* bytes = static_cast<const unsigned char*>(data);
    if (metadata == 0) return WideToUtf8(static_cast<const char16_t*>(data));
    if (metadata == 2) {
        // A packed event record: a descriptor word at offset 16, the text from offset 24.
        const std::uint64_t word = Read<std::uint64_t>(bytes + 16);
        const void* text = bytes + 24;
        if ((word >> 54) & 1) return std::string(static_cast<const char*>(text));
        // The record is byte-packed, so the wide text may not be 2-byte aligned.
        std::u16string wide;
        for (const unsigned char* p = bytes + 24;; p += 2) {
            const char16_t unit = Read<char16_t>(p);
            if (unit == 0) break;
            wide += unit;
        }
        return WideToUtf8(wide.c_str());
    }
    return std::string(static_cast<const char*>(data));
}

void WriteNullLine(Label label, std::ostream& os, std::uint64_t indent) {
    WriteTailLine(label, " NULLPTR", os, indent);
}

void PrintPtr_HWND(const void* pointer, Label label, std::ostream& os, std::uint64_t indent) {
    WriteTailLine(label, pointer == nullptr ? " NULLPTR" : ": NYI HWND", os, indent);
}

void PrintHandleLines(bool isNull, Label label, std::ostream& os, std::uint64_t indent) {
    Line line(indent, label);
    if (isNull) {
        line << " NULLPTR";
        EndLine(os, line);
        return;
    }
    EndLine(os, line);
    Print_NYI(nullptr, Label(" "), os, indent + 1);
}

Label IndexLabel(std::uint64_t index, bool trailingBlank) {
    char text[24] = "[";
    char* end = std::to_chars(text + 1, text + sizeof text - 2, index).ptr;
    *end++ = ']';
    if (trailingBlank) *end++ = ' ';
    return Label(text, static_cast<std::size_t>(end - text));
}

namespace {
// The numbers take the stream's own number format: its flags, precision and locale, which the
// layer reads and never changes.
template <typename T>
void WriteFlatArray(const T* array, std::uint64_t count, const Label& label, std::ostream& os,
                    std::uint64_t indent) {
    std::ostringstream numbers;
    numbers.imbue(os.getloc());
    numbers.flags(os.flags());
    numbers.precision(os.precision());
    for (std::uint64_t i = 0; i < count; ++i) numbers << array[i] << ", ";
    Line line(indent, label);
    line << ": [ " << numbers.view() << "]";
    EndLine(os, line);
}
}  // namespace

void PrintArray_float(const float* array, std::uint64_t count, Label label,
                      std::ostream& os, std::uint64_t indent) {
    WriteFlatArray(array, count, label, os, indent);
}

void PrintArray_UINT(const std::uint32_t* array, std::uint64_t count, Label label,
                     std::ostream& os, std::uint64_t indent) {
    WriteFlatArray(array, count, label, os, indent);
}

void PrintEnumRows(std::int32_t value, const EnumRow* rows, std::size_t rowCount,
                   const Label& label, std::ostream& os, std::uint64_t indent) {
    Line line(indent, label);
    line << ' ';
    // Every row is tried, so a value with aliases writes all of its names.
    for (std::size_t i = 0; i < rowCount; ++i)
        if (rows[i].value == value) line << rows[i].text;
    EndLine(os, line);
}

}  // namespace tov::printing
