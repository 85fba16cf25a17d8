// A proxy DLL of the Wine host: all it exports forwards elsewhere (its .def file, generated from
// api/wine); when it is loaded, the host DLL finds Wine's own DLL that it stands for.
#include <windows.h>

extern "C" int tovWineAttachProxy(const wchar_t* file, void* proxy);

extern "C" BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void*) {
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    return tovWineAttachProxy(TOV_PROXY_FILE, self);
}
