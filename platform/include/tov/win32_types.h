// The Windows types that the layer and the Direct3D and DXGI declarations use, as Windows x64
// has them, for building on Linux. Types only, so that the layout check can declare them in a
// namespace of its own next to another set of Windows headers.
#pragma once

#include <cstdint>

typedef int BOOL;
typedef std::uint32_t DWORD;
typedef void* HANDLE;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef struct HWND__* HWND;
typedef struct HMONITOR__* HMONITOR;
typedef char16_t WCHAR;
typedef const WCHAR* LPCWSTR;
typedef void* LPVOID;

typedef struct _SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
} SECURITY_ATTRIBUTES;

typedef struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
} GUID, UUID;
