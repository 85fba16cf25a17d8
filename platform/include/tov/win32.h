// The few Windows platform types and functions that the layer itself touches, declared alike on
// both systems: on Windows the functions are kernel32's and rpcrt4's, on Linux the stand-ins of
// platform/win32. Wide text is UTF-16 in 16-bit units everywhere on the host interface.
#pragma once

#include <cstdint>

#include "tov/win32_types.h"

typedef std::int32_t RPC_STATUS;

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
