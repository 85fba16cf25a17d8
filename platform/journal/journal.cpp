#include "tov/journal.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace {
JournalSink g_sink = nullptr;
void* g_context = nullptr;

void Deliver(int level, int category, int flags, const char* format, const char* message) {
    if (g_sink != nullptr) {
        g_sink(g_context, level, category, flags, format, message);
    } else {
        std::fprintf(stderr, "%s\n", message);
    }
}
}  // namespace

extern "C" int LogMessage(int level, int category, int flags, const char* format, ...) {
    // Short messages are formatted on the stack, so logging a call allocates nothing.
    char small[1024];
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (length < 0) {
        va_end(again);
        return -1;
    }
    if (static_cast<size_t>(length) < sizeof small) {
        va_end(again);
        Deliver(level, category, flags, format, small);
        return length;
    }
    std::string large(static_cast<size_t>(length), '\0');
    std::vsnprintf(large.data(), large.size() + 1, format, again);
    va_end(again);
    Deliver(level, category, flags, format, large.c_str());
    return length;
}

extern "C" JournalSink JournalSetSink(JournalSink sink, void* context) {
    JournalSink previous = g_sink;
    g_sink = sink;
    g_context = context;
    return previous;
}
