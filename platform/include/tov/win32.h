// The few Windows platform types and functions that the layer itself touches, for building on
// Linux. Wide text is UTF-16 in 16-bit units everywhere on the host interface.
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
typedef std::int32_t RPC_STATUS;

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

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3
#define RPC_S_OK 0
#define RPC_S_INVALID_STRING_UUID 1705

extern "C" {
BOOL DisableThreadLibraryCalls(HMODULE module);
// Parses "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" (hex digits, either case). A null text gives the
// nil uuid. Anything else is rejected with RPC_S_INVALID_STRING_UUID and leaves *uuid alone.
RPC_STATUS UuidFromStringA(const unsigned char* text, UUID* uuid);
}
