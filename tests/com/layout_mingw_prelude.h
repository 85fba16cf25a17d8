// mingw-w64's own Direct3D 10, 11, 12 and DXGI headers, with their C-style interfaces.
#define CINTERFACE
#define COBJMACROS
#include <windows.h>
#include <d3d10_1.h>
#include <d3d11_4.h>
#include <d3d11on12.h>
#include <d3d12.h>
#include <dxgi1_6.h>
