// COM objects in the dump: the interface through which the API declares the object and, where
// the host has tagged it, its capture id, which the object keeps in its private data.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "com_api.h"

namespace tov::printing {
class Label;
}

namespace tov::com_values {

// The GUID under which the host stores an object's 8-byte capture id.
inline constexpr GUID kCaptureTimeIdGuid = {
    0x374D3F62, 0x2ACE, 0x4DF6, {0xB6, 0x05, 0x9A, 0x62, 0xB2, 0xEA, 0x79, 0x3A}};

// The capture id through the GetPrivateData of the base that declares it: 0 for a null object,
// a failing call or an untagged object. Nothing else of the object is touched.
std::uint64_t ReadCaptureTimeId(ID3D11DeviceChild* object);
std::uint64_t ReadCaptureTimeId(ID3D11Device* object);
std::uint64_t ReadCaptureTimeId(ID3D12Object* object);
std::uint64_t ReadCaptureTimeId(IDXGIObject* object);

// How an interface's printers read an id: through one of the four bases, or not at all.
using IdReader = std::uint64_t (*)(void* object);
template <typename Base>
std::uint64_t ReadIdAs(void* object) {
    return ReadCaptureTimeId(static_cast<Base*>(object));
}

// One object pointer: the label line, then the id (if any) and the interface's name one level
// deeper; a null pointer is the label and " NULLPTR".
void PrintObject(void* object, IdReader reader, const char* name, tov::printing::Label label,
                 std::ostream& os, std::uint64_t indent);
// A counted array of object pointers: the label line, then one line per element.
void PrintObjectArray(void* const* array, std::uint64_t count, IdReader reader, const char* name,
                      tov::printing::Label label, std::ostream& os, std::uint64_t indent);

// `void **` arguments: the elements are not read. The plain form has two blanks behind each
// index, the tight form one.
void PrintArray_voidptr(void* const* array, std::uint64_t count, tov::printing::Label label,
                        std::ostream& os, std::uint64_t indent);
void PrintArray_voidptr_tight(void* const* array, std::uint64_t count, tov::printing::Label label,
                              std::ostream& os, std::uint64_t indent);

}  // namespace tov::com_values
