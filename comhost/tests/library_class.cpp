// A class whose methods stand in a library of their own, as an implementation's do, and a
// function of that library that calls one of them outside any call of the program, as an
// implementation's own thread does (vkd3d's fence worker releasing the device). Its objects
// answer QueryInterface with themselves for every interface.
#include <cstdint>
#include <iterator>

#include "com_api.h"

namespace {

struct Object {
    void* const* methods;
    std::uint64_t releases;
};

HRESULT TOV_COM_CALL QueryInterface(Object* self, const IID*, void** out) {
    *out = self;
    return 0;
}
ULONG TOV_COM_CALL AddRef(Object*) { return 2; }
ULONG TOV_COM_CALL Release(Object* self) { return static_cast<ULONG>(++self->releases); }
HRESULT TOV_COM_CALL Fails(Object*) { return static_cast<HRESULT>(0x80004005); }

// Long enough for the longest interface of the catalogue, in writable memory.
void* g_methods[1024];
Object g_object{g_methods, 0};
ULONG g_lastRelease = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) void* LibraryObject() {
    g_methods[0] = reinterpret_cast<void*>(&QueryInterface);
    g_methods[1] = reinterpret_cast<void*>(&AddRef);
    g_methods[2] = reinterpret_cast<void*>(&Release);
    for (std::size_t i = 3; i < std::size(g_methods); ++i) g_methods[i] = reinterpret_cast<void*>(&Fails);
    return &g_object;
}

extern "C" __attribute__((visibility("default"))) std::uint64_t LibraryReleases() { return g_object.releases; }

// Calls Release through the object's table, and returns to this library (no tail call).
extern "C" __attribute__((visibility("default"))) void LibraryRelease(void* object) {
    const auto release = reinterpret_cast<ULONG(TOV_COM_CALL*)(void*)>((*static_cast<void* const* const*>(object))[2]);
    g_lastRelease = release(object);
}
