// Microsoft's own Direct3D 12 headers (Debian's directx-headers-dev), with their C-style
// interfaces, compiled for Linux through their wsl/winadapter.h.
#define CINTERFACE
#include <wsl/winadapter.h>
#include <directx/d3d12.h>
