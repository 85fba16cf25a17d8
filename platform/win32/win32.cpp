#include "tov/win32.h"

#include <cstring>

extern "C" BOOL DisableThreadLibraryCalls(HMODULE) { return 1; }

namespace {
int HexDigit(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Reads `digits` hex digits at text[pos...]; false if any is not a hex digit.
bool ReadHex(const unsigned char* text, int pos, int digits, std::uint64_t& out) {
    out = 0;
    for (int i = 0; i < digits; ++i) {
        const int d = HexDigit(text[pos + i]);
        if (d < 0) return false;
        out = (out << 4) | static_cast<std::uint64_t>(d);
    }
    return true;
}
}  // namespace

extern "C" RPC_STATUS UuidFromStringA(const unsigned char* text, UUID* uuid) {
    if (text == nullptr) {
        std::memset(uuid, 0, sizeof *uuid);
        return RPC_S_OK;
    }
    if (std::strlen(reinterpret_cast<const char*>(text)) != 36) return RPC_S_INVALID_STRING_UUID;
    if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-')
        return RPC_S_INVALID_STRING_UUID;
    std::uint64_t d1, d2, d3, d4, d5;
    if (!ReadHex(text, 0, 8, d1) || !ReadHex(text, 9, 4, d2) || !ReadHex(text, 14, 4, d3) ||
        !ReadHex(text, 19, 4, d4) || !ReadHex(text, 24, 12, d5))
        return RPC_S_INVALID_STRING_UUID;
    UUID parsed;
    parsed.Data1 = static_cast<std::uint32_t>(d1);
    parsed.Data2 = static_cast<std::uint16_t>(d2);
    parsed.Data3 = static_cast<std::uint16_t>(d3);
    parsed.Data4[0] = static_cast<std::uint8_t>(d4 >> 8);
    parsed.Data4[1] = static_cast<std::uint8_t>(d4);
    for (int i = 0; i < 6; ++i) parsed.Data4[2 + i] = static_cast<std::uint8_t>(d5 >> (8 * (5 - i)));
    *uuid = parsed;
    return RPC_S_OK;
}
