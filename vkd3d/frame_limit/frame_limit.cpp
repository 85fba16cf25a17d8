// libtov_frame_limit.so: preloaded into a windowed Vulkan program (vkd3d's demos present through
// Vulkan), it counts the presents and, after TOV_FRAMES of them, asks the program's window to
// close as a window manager would (WM_DELETE_WINDOW), so that the program ends as it does when a
// user closes it. With TOV_FRAMES_HANDSHAKE=DIR it first writes DIR/ready and waits for
// DIR/go, so that a test can look at the window in between. At exit it writes the number of
// presents to DIR/presents, or to standard error without a handshake folder, if it made a
// window.
//
// The X protocol's few declarations it needs are written out here, so that it builds without
// the development files of libxcb.
#include <dlfcn.h>
#include <unistd.h>
#include <vulkan/vulkan.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#define TOV_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

struct Connection;  // xcb_connection_t
struct Cookie {
    unsigned int sequence;
};
struct AtomReply {
    std::uint8_t response_type, pad0;
    std::uint16_t sequence;
    std::uint32_t length, atom;
};
struct ClientMessage {  // xcb_client_message_event_t, 32 bytes
    std::uint8_t response_type, format;
    std::uint16_t sequence;
    std::uint32_t window, type;
    std::uint32_t data32[5];
};
static_assert(sizeof(ClientMessage) == 32);
constexpr std::uint8_t kClientMessage = 33;

template <typename F>
F Next(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

std::atomic<Connection*> g_connection{nullptr};
std::atomic<std::uint32_t> g_window{0};
std::atomic<unsigned> g_presents{0};

std::string Handshake(const char* file) {
    const char* dir = std::getenv("TOV_FRAMES_HANDSHAKE");
    return dir != nullptr ? std::string(dir) + "/" + file : std::string();
}

std::uint32_t Atom(Connection* c, const char* name) {
    using Intern = Cookie (*)(Connection*, std::uint8_t, std::uint16_t, const char*);
    using Reply = AtomReply* (*)(Connection*, Cookie, void**);
    const auto reply = Next<Reply>("xcb_intern_atom_reply")(
        c, Next<Intern>("xcb_intern_atom")(c, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr);
    if (reply == nullptr) return 0;
    const std::uint32_t atom = reply->atom;
    std::free(reply);
    return atom;
}

void AskToClose() {
    Connection* c = g_connection.load();
    if (c == nullptr) return;
    const std::string ready = Handshake("ready"), go = Handshake("go");
    if (!ready.empty()) {
        if (std::FILE* f = std::fopen(ready.c_str(), "w")) std::fclose(f);
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (access(go.c_str(), F_OK) != 0 && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ClientMessage message{};
    message.response_type = kClientMessage;
    message.format = 32;
    message.window = g_window.load();
    message.type = Atom(c, "WM_PROTOCOLS");
    message.data32[0] = Atom(c, "WM_DELETE_WINDOW");
    using Send = Cookie (*)(Connection*, std::uint8_t, std::uint32_t, std::uint32_t, const char*);
    Next<Send>("xcb_send_event")(c, 0, message.window, 0, reinterpret_cast<const char*>(&message));
    Next<int (*)(Connection*)>("xcb_flush")(c);
}

struct Report {
    ~Report() {
        if (g_connection.load() == nullptr) return;  // not the program: a process that started it
        const std::string path = Handshake("presents");
        std::FILE* out = path.empty() ? stderr : std::fopen(path.c_str(), "w");
        if (out == nullptr) return;
        const char* format = path.empty() ? "tov-frame-limit: %u presents\n" : "%u\n";
        std::fprintf(out, format, g_presents.load());
        if (out != stderr) std::fclose(out);
    }
} g_report;

}  // namespace

// The program's first window is the one to close.
TOV_EXPORT Cookie xcb_create_window(Connection* c, std::uint8_t depth, std::uint32_t wid,
                                    std::uint32_t parent, std::int16_t x, std::int16_t y,
                                    std::uint16_t width, std::uint16_t height, std::uint16_t border,
                                    std::uint16_t klass, std::uint32_t visual, std::uint32_t mask,
                                    const void* values) {
    using Create = Cookie (*)(Connection*, std::uint8_t, std::uint32_t, std::uint32_t, std::int16_t,
                              std::int16_t, std::uint16_t, std::uint16_t, std::uint16_t,
                              std::uint16_t, std::uint32_t, std::uint32_t, const void*);
    Connection* none = nullptr;
    if (g_connection.compare_exchange_strong(none, c)) g_window.store(wid);
    return Next<Create>("xcb_create_window")(c, depth, wid, parent, x, y, width, height, border,
                                             klass, visual, mask, values);
}

TOV_EXPORT VkResult vkQueuePresentKHR(VkQueue queue, const VkPresentInfoKHR* info) {
    static const auto next = Next<PFN_vkQueuePresentKHR>("vkQueuePresentKHR");
    const VkResult result = next(queue, info);
    static const unsigned limit = [] {
        const char* frames = std::getenv("TOV_FRAMES");
        return frames != nullptr ? static_cast<unsigned>(std::strtoul(frames, nullptr, 10)) : 0u;
    }();
    if (g_presents.fetch_add(1) + 1 == limit) AskToClose();
    return result;
}
