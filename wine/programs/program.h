// What the Windows test programs share: a check that ends the program with a message, the
// description of their square RGBA8 textures, and their options.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dxgiformat.h>

namespace tov::programs {

// Ends the program with status 1 when a call fails or a pixel is wrong; the line says which.
inline void Check(bool ok, const char* what) {
    if (ok) return;
    std::printf("FAILED: %s\n", what);
    std::fflush(stdout);
    std::exit(1);
}
inline void CheckHr(long hr, const char* what) {
    if (hr >= 0) return;
    std::printf("FAILED: %s (0x%08lx)\n", what, static_cast<unsigned long>(hr));
    std::fflush(stdout);
    std::exit(1);
}

// Whether an RGBA8 pixel is the colour, within one step of rounding.
inline bool PixelIs(const unsigned char* pixel, const unsigned char (&rgba)[4]) {
    for (int c = 0; c < 4; ++c)
        if (std::abs(pixel[c] - rgba[c]) > 1) return false;
    return true;
}

// The program's own line on standard output, written at once, so that it stands where it
// happened among the layer's lines.
inline void Say(const char* line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

// A size x size RGBA8 texture of one level and one sample: Direct3D 10's and 11's descriptions
// name these fields alike. The caller says its usage.
template <typename Desc>
Desc SquareRgba8(unsigned size) {
    Desc desc = {};
    desc.Width = desc.Height = size;
    desc.MipLevels = desc.ArraySize = 1;
    desc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    desc.SampleDesc.Count = 1;
    return desc;
}

// Whether the program was asked for an option.
inline bool HasOption(int argc, char** argv, const char* option) {
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], option) == 0) return true;
    return false;
}

}  // namespace tov::programs
