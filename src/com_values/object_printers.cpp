#include "object_printers.h"

#include <sstream>

#include "line_end.h"
#include "printers.h"

namespace tov::com_values {

namespace {

// The call goes to the object's own GetPrivateData, never back through the layer's hooks.
template <typename Interface>
std::uint64_t ReadThroughPrivateData(Interface* object) {
    if (object == nullptr) return 0;
    std::uint64_t id = 0;
    UINT size = sizeof id;
    const HRESULT result = object->lpVtbl->GetPrivateData(object, kCaptureTimeIdGuid, &size, &id);
    return result < 0 ? 0 : id;
}

// " Capture Time ID: 0x<hex>" when there is an id; the trailing blank always.
std::string IdText(std::uint64_t id) {
    if (id == 0) return " ";
    std::ostringstream text;
    text << " Capture Time ID: 0x" << std::hex << id << ' ';
    return text.str();
}

void WriteArrayHead(const void* array, printing::Label& label, std::ostream& os,
                    std::uint64_t indent, bool& done) {
    printing::WriteLabelLine(std::move(label), os, indent);
    done = array == nullptr;
    if (done) printing::WriteBareLine(os, " NULLPTR");
}

void PrintVoidPointers(void* const* array, std::uint64_t count, bool tight, printing::Label label,
                       std::ostream& os, std::uint64_t indent) {
    bool done;
    WriteArrayHead(array, label, os, indent, done);
    if (done) return;
    for (std::uint64_t i = 0; i < count; ++i) {
        printing::Line line(indent + 1, printing::IndexLabel(i, !tight));
        line << " void ptr, can not infer type to print";
        printing::EndLine(os, line);
    }
}

}  // namespace

std::uint64_t ReadCaptureTimeId(ID3D11DeviceChild* object) { return ReadThroughPrivateData(object); }
std::uint64_t ReadCaptureTimeId(ID3D11Device* object) { return ReadThroughPrivateData(object); }
std::uint64_t ReadCaptureTimeId(ID3D12Object* object) { return ReadThroughPrivateData(object); }
std::uint64_t ReadCaptureTimeId(IDXGIObject* object) { return ReadThroughPrivateData(object); }

void PrintObject(void* object, IdReader reader, const char* name, printing::Label label,
                 std::ostream& os, std::uint64_t indent) {
    if (object == nullptr) {
        printing::WriteNullLine(std::move(label), os, indent);
        return;
    }
    printing::WriteLabelLine(std::move(label), os, indent);
    // The id is read only once the label line is out.
    const std::uint64_t id = reader != nullptr ? reader(object) : 0;
    const std::string idText = IdText(id);
    printing::Line line(indent + 1, std::string_view(idText));
    line << name;
    printing::EndLine(os, line);
}

void PrintObjectArray(void* const* array, std::uint64_t count, IdReader reader, const char* name,
                      printing::Label label, std::ostream& os, std::uint64_t indent) {
    bool done;
    WriteArrayHead(array, label, os, indent, done);
    if (done) return;
    for (std::uint64_t i = 0; i < count; ++i) {
        void* element = array[i];
        const std::uint64_t id = reader != nullptr && element != nullptr ? reader(element) : 0;
        printing::Line line(indent + 1, printing::IndexLabel(i, false));
        line << IdText(id);
        if (element == nullptr) {
            line << " NULLPTR";
        } else {
            line << name;
        }
        printing::EndLine(os, line);
    }
}

void PrintArray_voidptr(void* const* array, std::uint64_t count, printing::Label label,
                        std::ostream& os, std::uint64_t indent) {
    PrintVoidPointers(array, count, false, std::move(label), os, indent);
}

void PrintArray_voidptr_tight(void* const* array, std::uint64_t count, printing::Label label,
                              std::ostream& os, std::uint64_t indent) {
    PrintVoidPointers(array, count, true, std::move(label), os, indent);
}

}  // namespace tov::com_values
