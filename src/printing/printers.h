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

// --- labels --------------------------------------------------------------------------------
// The label a printer receives: narrow text handed over by value and owned by the printer from
// the call on. Nearly every label is a literal of the generated code and under 100 bytes, so its
// text is kept in the object itself: making a label, or the copy that a pointer printer hands on,
// is one copy of the text and no allocation. A longer label takes the heap.
class Label {
public:
    // A literal's length is known where it is written, so no label measures its text at run time.
    [[gnu::always_inline]] Label(const char* text) : Label(text, __builtin_strlen(text)) {}
    Label(std::string_view text) : Label(text.data(), text.size()) {}
    Label(const std::string& text) : Label(text.data(), text.size()) {}
    Label(const char* text, std::size_t size);
    Label(const Label& other) : Label(other.data_, other.size_) {}
    Label(Label&& other) noexcept;
    Label& operator=(const Label&) = delete;
    ~Label() {
        if (data_ != inline_) delete[] data_;
    }

    // The label with more text behind it; the label a structure hands on with a suffix.
    friend Label operator+(Label label, std::string_view more) {
        label.Append(more);
        return label;
    }

    operator std::string_view() const { return {data_, size_}; }

    static constexpr std::size_t kInline = 104;
    // Where the text is kept in the label itself, copies all kInline bytes to out, a copy of
    // fixed width that needs no call; out has room for them. Otherwise copies nothing.
    bool CopyInline(char* out) const {
        if (data_ != inline_) return false;
        std::memcpy(out, inline_, kInline);
        return true;
    }
    std::size_t size() const { return size_; }

private:
    void Append(std::string_view more);

    char* data_;
    std::size_t size_;
    std::size_t capacity_;
    char inline_[kInline];
};

// --- lines ---------------------------------------------------------------------------------
// One line in the making, in the caller's own storage: the indent, the label and the tail are
// appended here and leave together through EndLine, so that a line is one insertion into the
// stream and one write, and lines of different threads never mix inside a line.
class Line {
public:
    Line() = default;
    Line(std::uint64_t indent, std::string_view label) {
        Indent(indent);
        Append(label.data(), label.size());
    }
    Line(std::uint64_t indent, const Label& label) {
        Indent(indent);
        static_assert(kFixedIndent + Label::kInline <= sizeof small_);
        if (size_ <= kFixedIndent && label.CopyInline(small_ + size_)) {
            size_ += label.size();
        } else {
            const std::string_view text = label;
            Append(text.data(), text.size());
        }
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
    // The common indents are filled at a fixed width, without a call; a new line always has
    // room for that.
    void Indent(std::uint64_t indent) {
        if (indent <= kFixedIndent / 4) {
            std::memset(small_, ' ', kFixedIndent);
            size_ = 4 * indent;
        } else {
            AppendBlanks(4 * indent);
        }
    }
    void AppendBlanks(std::size_t count) {
        if (count > capacity_ - size_) Grow(count);
        std::memset(data_ + size_, ' ', count);
        size_ += count;
    }
    // The digits go straight into the line.
    template <typename Integer>
    Line& AppendNumber(Integer number) {
        constexpr std::size_t kMostDigits = 20;  // 18446744073709551615, or a sign and 10 digits
        if (kMostDigits > capacity_ - size_) Grow(kMostDigits);
        size_ = static_cast<std::size_t>(
            std::to_chars(data_ + size_, data_ + size_ + kMostDigits, number).ptr - data_);
        return *this;
    }
    void Grow(std::size_t more);

    static constexpr std::size_t kFixedIndent = 32;

    char small_[256];
    char* data_ = small_;
    std::size_t size_ = 0;
    std::size_t capacity_ = sizeof small_;
    std::unique_ptr<char[]> large_;
};

// A line leaves through EndLine (line_end.h), inlined into the printer that made it.

// A line with no label and no indent: the header line of a call dump, the banners.
void WriteBareLine(std::ostream& os, std::string_view text);
// A line that holds only its label: structures and arrays, whose contents follow one level deeper.
void WriteLabelLine(Label label, std::ostream& os, std::uint64_t indent);

// --- scalars and text ----------------------------------------------------------------------
void Print_uint32_t(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_uint64_t(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_int32_t(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_HRESULT(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_BOOL(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_float(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_NYI(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_voidptr(const void* value, Label label, std::ostream& os, std::uint64_t indent);
void Print_text(const char* text, std::uint64_t size, Label label, std::ostream& os,
                std::uint64_t indent);

// --- wide text -----------------------------------------------------------------------------
// Converts each 16-bit unit on its own into 1 to 3 bytes; surrogates are not paired.
std::string WideToUtf8(const char16_t* text);
// Converts, then copies at most size - 1 bytes and a NUL. Returns the bytes copied, -1 if size is 0.
std::int32_t WideToUtf8Bounded(const char16_t* text, char* buffer, std::uint64_t size);
// The text of a debug event: metadata 0 wide text, 2 a packed event record, else narrow text.
std::string DecodeEventText(std::uint32_t metadata, const void* data, std::uint32_t size);

// --- pointers and arrays -------------------------------------------------------------------
void WriteNullLine(Label label, std::ostream& os, std::uint64_t indent);

// A pointer shares its line with its pointee: same label, same indent.
template <auto PointeePrinter, typename T>
void PrintPtr(const T* pointer, Label label, std::ostream& os, std::uint64_t indent) {
    if (pointer == nullptr) {
        WriteNullLine(std::move(label), os, indent);
        return;
    }
    PointeePrinter(pointer, Label(label), os, indent);
}

inline void PrintPtr_NYI(const void* pointer, Label label, std::ostream& os,
                         std::uint64_t indent) {
    PrintPtr<Print_NYI>(pointer, std::move(label), os, indent);
}
// Function pointers are pointers too: null or not is all that shows.
template <typename R, typename... A>
void PrintPtr_NYI(R (*function)(A...), Label label, std::ostream& os, std::uint64_t indent) {
    PrintPtr_NYI(reinterpret_cast<const void*>(function), std::move(label), os, indent);
}
inline void PrintPtr_uint32_t(const void* pointer, Label label, std::ostream& os,
                              std::uint64_t indent) {
    PrintPtr<Print_uint32_t>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_uint64_t(const void* pointer, Label label, std::ostream& os,
                              std::uint64_t indent) {
    PrintPtr<Print_uint64_t>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_float(const void* pointer, Label label, std::ostream& os,
                           std::uint64_t indent) {
    PrintPtr<Print_float>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_int32_t(const void* pointer, Label label, std::ostream& os,
                             std::uint64_t indent) {
    PrintPtr<Print_int32_t>(pointer, std::move(label), os, indent);
}
inline void PrintPtr_BOOL(const void* pointer, Label label, std::ostream& os,
                          std::uint64_t indent) {
    PrintPtr<Print_BOOL>(pointer, std::move(label), os, indent);
}
// A pointer to a window handle: only whether it is null shows; the handle is never read.
void PrintPtr_HWND(const void* pointer, Label label, std::ostream& os, std::uint64_t indent);

// A handle held by value: its label line, then one fixed line one level deeper. The value
// itself is never written.
void PrintHandleLines(bool isNull, Label label, std::ostream& os, std::uint64_t indent);
template <typename Handle>
void Print_handle(Handle handle, Label label, std::ostream& os, std::uint64_t indent) {
    PrintHandleLines(handle == Handle{}, std::move(label), os, indent);
}

// The label of element i: "[i]" for pointer arrays, "[i] " for enum arrays.
Label IndexLabel(std::uint64_t index, bool trailingBlank);

// An array of pointers: the label line first, then each element through its pointer printer.
// A null array puts " NULLPTR" on a line of its own, at no indent.
template <auto ElementPointerPrinter, typename T>
void PrintPtrArray(const T* const* array, std::uint64_t count, Label label,
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
void PrintArray(const E* array, std::uint64_t count, Label label, std::ostream& os,
                std::uint64_t indent) {
    WriteLabelLine(std::move(label), os, indent);
    for (std::uint64_t i = 0; i < count; ++i)
        EnumPrinter(&array[i], IndexLabel(i, true), os, indent + 1);
}

// Flat arrays of numbers go on one line through the stream's own (default) number format.
void PrintArray_float(const float* array, std::uint64_t count, Label label,
                      std::ostream& os, std::uint64_t indent);
void PrintArray_UINT(const std::uint32_t* array, std::uint64_t count, Label label,
                     std::ostream& os, std::uint64_t indent);

// --- enums ---------------------------------------------------------------------------------
// One row of an enum printer: the value and its name followed by ", " as one literal.
struct EnumRow {
    std::int32_t value;
    const char* text;
};

// Writes the label, a blank, and every row whose value equals the value, in table order.
void PrintEnumRows(std::int32_t value, const EnumRow* rows, std::size_t rowCount,
                   const Label& label, std::ostream& os, std::uint64_t indent);

// The body of an enum printer, which hands on its own label: with no label of its own to destroy
// afterwards, the printer's call of PrintEnumRows is its last jump, and the write leaves no return
// of the enum printer's pending.
template <std::size_t N>
void PrintEnum(const void* value, const EnumRow (&rows)[N], const Label& label, std::ostream& os,
               std::uint64_t indent) {
    std::int32_t v;
    __builtin_memcpy(&v, value, sizeof v);
    PrintEnumRows(v, rows, N, label, os, indent);
}

}  // namespace tov::printing
