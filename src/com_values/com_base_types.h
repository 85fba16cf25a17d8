// The Windows scalar types and handles that the Direct3D and DXGI declarations use, as Windows
// x64 has them: LONG and ULONG are 32 bits wide, SIZE_T 64. COM methods and the exported
// functions keep the Windows x64 calling convention on Linux as well, as Linux implementations
// of these APIs declare them, so the layer can stand in front of one unchanged.
//
// Included by the generated com_api.h. The layout check compiles these declarations next to
// another set of Windows headers inside a namespace of their own.
#pragma once

#include <cstddef>
#include <cstdint>

#define TOV_COM_CALL __attribute__((ms_abi))

#include "tov/win32_types.h"

typedef std::uint8_t BYTE;
typedef std::int8_t INT8;
typedef std::uint8_t UINT8;
typedef std::uint16_t UINT16;
typedef std::uint16_t USHORT;
typedef std::int32_t INT;
typedef std::uint32_t UINT;
typedef std::uint32_t UINT32;
typedef std::int32_t LONG;
typedef std::uint32_t ULONG;
typedef std::int64_t LONGLONG;
typedef std::uint64_t UINT64;
typedef std::uint64_t ULONGLONG;
typedef std::uint64_t SIZE_T;
typedef float FLOAT;
typedef std::int32_t HRESULT;
typedef HRESULT APP_DEPRECATED_HRESULT;
typedef struct HDC__* HDC;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef const void* LPCVOID;
typedef GUID IID;
typedef const IID& REFIID;
typedef const GUID& REFGUID;
