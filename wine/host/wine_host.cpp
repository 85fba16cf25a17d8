// The Wine host's link to the Logging Layer and the attaching of its proxies.
//
// This DLL is the one link to the layer of the process, as libtov_hostlink.so is on Linux: the
// proxies share it, so that tovGetDispatchTable is called once and the COM host core has one set
// of classes. It links the layer at the first call of an exported function that goes through it,
// not while the loader holds its lock.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwctype>
#include <mutex>
#include <string>

#include "call_filter.h"
#include "comhost.h"
#include "dispatch_table.h"
#include "wine_host.h"

namespace tov::wine_host {
namespace {

constexpr const char* kWho = "tov-wine";
constexpr const wchar_t* kLayerFile = L"logging_layer-x64.dll";

void* g_hooks[tov::logging_layer::kSlotCount];

void Say(const std::string& text) { std::fprintf(stderr, "%s: %s\n", kWho, text.c_str()); }

std::string Narrow(const std::wstring& text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string out(size > 0 ? size - 1 : 0, '\0');
    if (size > 1) WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, out.data(), size, nullptr, nullptr);
    return out;
}

std::string SystemMessage(DWORD error) {
    char text[512] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                   sizeof text, nullptr);
    std::string out = text;
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r' || out.back() == ' ')) out.pop_back();
    return out.empty() ? "error " + std::to_string(error) : out;
}

// The folder of this DLL, with its last backslash.
std::wstring OwnFolder() {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&OwnFolder), &self);
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(self, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L"\\/") + 1);
}

// TOV_LOGGING_LAYER_LIBRARY if set and not empty, else the layer next to this DLL. Under Wine a
// path that starts with a slash is the Unix one, as a Linux shell hands it on.
std::wstring LayerPath() {
    const wchar_t* chosen = _wgetenv(L"TOV_LOGGING_LAYER_LIBRARY");
    if (chosen == nullptr || *chosen == L'\0') return OwnFolder() + kLayerFile;
    using ToDos = WCHAR*(CDECL*)(LPCSTR);
    const auto toDos = reinterpret_cast<ToDos>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_dos_file_name")));
    if (chosen[0] != L'/' || toDos == nullptr) return chosen;
    WCHAR* dos = toDos(Narrow(chosen).c_str());
    if (dos == nullptr) return chosen;
    std::wstring path = dos;
    HeapFree(GetProcessHeap(), 0, dos);
    return path;
}

// TOV_LOGGING_VERBOSE becomes the layer's parameter "verbose", whatever its value: the layer
// itself says so when a value means nothing to it.
std::size_t ParametersFromEnvironment(LayerParameterRecord* record) {
    const wchar_t* verbose = _wgetenv(L"TOV_LOGGING_VERBOSE");
    if (verbose == nullptr) return 0;
    std::memset(record, 0, sizeof *record);
    std::memcpy(record->parameterName, u"verbose", sizeof u"verbose");
    const std::size_t length = std::min<std::size_t>(std::wcslen(verbose), 511);
    for (std::size_t i = 0; i < length; ++i) record->parameterValue[i] = static_cast<char16_t>(verbose[i]);
    return 1;
}

void Link() {
    const std::wstring path = LayerPath();
    HMODULE layer = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (layer == nullptr) {
        const DWORD error = GetLastError();
        Say("cannot load the Logging Layer library (" + Narrow(kLayerFile) +
            "); calls are passed on without logging: " + Narrow(path) + ": " + SystemMessage(error));
        return;
    }
    const auto getDispatchTable = reinterpret_cast<PFN_tovGetDispatchTable>(
        reinterpret_cast<void*>(GetProcAddress(layer, "tovGetDispatchTable")));
    if (getDispatchTable == nullptr) {
        Say("the library it loaded has no tovGetDispatchTable (" + Narrow(path) +
            "); calls are passed on without logging");
        return;
    }
    LayerParameterRecord parameter;
    const std::size_t count = ParametersFromEnvironment(&parameter);
    LayerDispatchTable* table = getDispatchTable(count, count != 0 ? &parameter : nullptr);
    // No hook can call itself before the core has stored the next function of its slot.
    for (std::size_t slot = 0; slot < tov::logging_layer::kSlotCount; ++slot) {
        g_hooks[slot] = table->slots[slot];
        table->slots[slot] = nullptr;
    }
    tov::filter::FilterHooksFromEnvironment(g_hooks, [](const char* line) { Say(line); });
    comhost::Attach(table, g_hooks, kWho);
}

extern "C" HRESULT NotImplemented() { return E_NOTIMPL; }

}  // namespace

void Start() {
    static std::once_flag once;
    std::call_once(once, Link);
}

}  // namespace tov::wine_host

using namespace tov;

extern "C" int tovWineAttachProxy(const wchar_t* file, void* proxy) {
    std::wstring name = file;
    std::transform(name.begin(), name.end(), name.begin(), [](wchar_t c) { return std::towlower(c); });
    const wine_host::ProxyDll* dll = nullptr;
    for (std::size_t i = 0; i < wine_host::kProxyDllCount; ++i)
        if (name == wine_host::kProxyDlls[i].file) dll = &wine_host::kProxyDlls[i];
    if (dll == nullptr) {
        wine_host::Say("no proxy stands for " + wine_host::Narrow(name));
        return FALSE;
    }
    // Wine's own DLL by its full path: under an override that puts the proxies first, Wine maps
    // its builtin DLL of that name there, as a module of its own.
    wchar_t system[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(system, MAX_PATH);
    const std::wstring path = std::wstring(system, length) + L"\\" + name;
    HMODULE real = LoadLibraryExW(path.c_str(), nullptr, 0);
    if (real == nullptr || real == static_cast<HMODULE>(proxy)) {
        const std::string why =
            real == nullptr ? wine_host::SystemMessage(GetLastError()) : "the proxy itself stands there";
        wine_host::Say("cannot load Wine's own " + wine_host::Narrow(name) + " (" + wine_host::Narrow(path) +
                       "): " + why);
        return FALSE;
    }
    for (std::size_t i = 0; i < dll->count; ++i) {
        const wine_host::ProxyExport& e = dll->exports[i];
        void* next = reinterpret_cast<void*>(GetProcAddress(real, e.name));
        if (next == nullptr) next = reinterpret_cast<void*>(&wine_host::NotImplemented);
        if (e.slot != 0)
            comhost::SetFunctionNext(e.slot, next);
        else
            *e.next = next;
    }
    return TRUE;
}
