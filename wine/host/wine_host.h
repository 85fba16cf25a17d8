// The Wine host: tov_comhost-x64.dll, which the proxy DLLs (d3d10.dll, d3d10_1.dll, d3d11.dll,
// dxgi.dll, d3d12.dll) put in front of Wine's own Direct3D and DXGI DLLs. A proxy forwards each
// export to this DLL's entry for it (generated from api/wine) or to where Wine's DLL forwards it;
// the COM host core does the rest.
#pragma once

#include <cstddef>
#include <cstdint>

// Neither windows.h nor the catalogue's declarations: the two spell the Windows types apart, and
// this header stands between the host's code (windows.h) and the generated entries (com_api.h).

namespace tov::wine_host {

// An export of Wine's DLL that goes through this DLL: with a slot, the core's entry of the slot
// calls Wine's function; without, `next` holds it for the entry (a jump, or a call that catches
// the objects it hands out).
struct ProxyExport {
    const char* name;
    std::uint32_t slot;  // 0: none
    void** next;
};
struct ProxyDll {
    const wchar_t* file;  // lower case
    const ProxyExport* exports;
    std::size_t count;
};
extern const ProxyDll kProxyDlls[];
extern const std::size_t kProxyDllCount;

// The first call links the layer and attaches the core (or says once why it cannot: then every
// call is passed on unlogged); every call after that returns at once.
void Start();

}  // namespace tov::wine_host

// Called by a proxy when it is loaded (from its DllMain, with the name of the DLL it stands for
// and its own module): loads Wine's own DLL of that name from the system folder and finds its
// functions. 0, after a message, if it cannot: without Wine's DLL the proxy has nothing to give.
extern "C" int tovWineAttachProxy(const wchar_t* file, void* proxy);
