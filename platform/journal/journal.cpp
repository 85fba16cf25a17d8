// The host logger. Lines are kept in a ring and written out by a thread of the logger's own, at
// the latest 50 ms after they came in, and at once when the ring is half full: a program that
// logs much pays for a copy, not for a write per line. Nothing is lost when the program returns
// from main, calls exit, aborts or dies of a fault: what the ring holds is written out first.
// Only _exit and SIGKILL can take the last lines with them, at most those of the last 50 ms
// and of the write under way.
//
// Lines are whole in the ring and written whole, so lines of different threads never mix. A
// reader of the lines that goes away ends the logging, not the program.
#include "tov/journal.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include "journal_seam.h"

namespace {

using namespace tov::journal;

constexpr std::size_t kCapacity = std::size_t{1} << 20;
constexpr auto kFlushDelay = std::chrono::milliseconds(50);

struct Ring {
    char bytes[kCapacity];
    // Counts of bytes since the start: whole lines put in, and bytes taken out (written or
    // dropped). What lies between them waits to be written.
    std::atomic<std::uint64_t> head{0};
    std::atomic<std::uint64_t> tail{0};
    std::mutex appending;
    std::condition_variable due;  // the writing thread waits here for lines and for their time
    std::atomic<long> writer{0};  // the thread that writes out now, 0 when none does
    std::atomic<bool> readerGone{false};
    std::atomic<bool> exiting{false};  // after the flush at exit every line is written at once
    std::atomic<bool> threadRunning{false};
    int fd = -1;
};

// Never destroyed: the writing thread and late lines of other threads may outlive every
// destructor that runs at exit.
Ring* g_ring = nullptr;
std::once_flag g_started;

JournalSink g_sink = nullptr;
void* g_context = nullptr;

// --- taking lines out ------------------------------------------------------------------------

void ClaimWriter(Ring& ring, long self) {
    long none = 0;
    while (!ring.writer.compare_exchange_weak(none, self, std::memory_order_acquire)) {
        none = 0;
        PauseBriefly();
    }
}

void ReleaseWriter(Ring& ring) { ring.writer.store(0, std::memory_order_release); }

// The waiting bytes from tail up to head as at most two pieces of the ring.
int WaitingPieces(const Ring& ring, std::uint64_t tail, std::uint64_t head, Piece* pieces) {
    if (head == tail) return 0;
    const std::size_t start = tail % kCapacity;
    const std::size_t size = head - tail;
    if (start + size <= kCapacity) {
        pieces[0] = {ring.bytes + start, size};
        return 1;
    }
    pieces[0] = {ring.bytes + start, kCapacity - start};
    pieces[1] = {ring.bytes, size - (kCapacity - start)};
    return 2;
}

// Writes what waits, and the extra line if there is one, with the writer claimed.
void WriteWaiting(Ring& ring, Patience patience, const Piece* extra = nullptr, int extras = 0) {
    const std::uint64_t tail = ring.tail.load(std::memory_order_relaxed);
    const std::uint64_t head = ring.head.load(std::memory_order_acquire);
    Piece pieces[4];
    int count = WaitingPieces(ring, tail, head, pieces);
    for (int i = 0; i < extras; ++i) pieces[count++] = extra[i];
    if (count > 0 && !ring.readerGone.load(std::memory_order_relaxed) &&
        WriteAll(ring.fd, pieces, count, patience) == WriteResult::kReaderGone)
        ring.readerGone.store(true, std::memory_order_relaxed);
    ring.tail.store(head, std::memory_order_release);
}

void WriteOut(Ring& ring, Patience patience) {
    ClaimWriter(ring, CurrentThread());
    WriteWaiting(ring, patience);
    ReleaseWriter(ring);
}

void WritingThread() {
    Ring& ring = *g_ring;
    std::unique_lock<std::mutex> lock(ring.appending);
    for (;;) {
        ring.due.wait(lock, [&ring] {
            return ring.head.load(std::memory_order_relaxed) !=
                   ring.tail.load(std::memory_order_relaxed);
        });
        ring.due.wait_for(lock, kFlushDelay, [&ring] {
            return ring.head.load(std::memory_order_relaxed) -
                       ring.tail.load(std::memory_order_relaxed) >= kCapacity / 2;
        });
        lock.unlock();
        WriteOut(ring, Patience::kUnbounded);
        lock.lock();
    }
}

void StartWritingThread(Ring& ring) {
    bool running = false;
    if (ring.threadRunning.compare_exchange_strong(running, true)) StartQuietThread(&WritingThread);
}

// --- exit, fatal signals, fork ---------------------------------------------------------------

void FlushOnSignal();

// Where other threads still run at exit, a write under way is waited for; where the system has
// stopped them, the writer may never let go, and the flush takes over as on a signal.
void FlushAtExit() {
    Ring& ring = *g_ring;
    ring.exiting.store(true, std::memory_order_relaxed);
    if (OtherThreadsStoppedAtExit())
        FlushOnSignal();
    else
        WriteOut(ring, Patience::kBounded);
}

// Signal-safe: no lock, no allocation. A writer under way on another thread is given a moment
// to finish, so that its lines are not written twice.
void FlushOnSignal() {
    Ring& ring = *g_ring;
    const long self = CurrentThread();
    bool claimed = false;
    for (int i = 0; i < 500 && !claimed; ++i) {
        long none = 0;
        claimed = ring.writer.compare_exchange_strong(none, self, std::memory_order_acquire);
        if (!claimed && none == self) break;  // interrupted its own write: go on from its tail
        if (!claimed) PauseBriefly();
    }
    WriteWaiting(ring, Patience::kBounded);
    if (claimed) ReleaseWriter(ring);
}

void BeforeFork() {
    Ring& ring = *g_ring;
    ring.appending.lock();
    ClaimWriter(ring, CurrentThread());
}

void AfterForkInParent() {
    Ring& ring = *g_ring;
    ReleaseWriter(ring);
    ring.appending.unlock();
}

// The child has the parent's waiting lines, which the parent writes; and no writing thread,
// which it starts again with its first line.
void AfterForkInChild() {
    Ring& ring = *g_ring;
    ring.tail.store(ring.head.load());
    ring.threadRunning.store(false);
    new (&ring.due) std::condition_variable();
    ReleaseWriter(ring);
    ring.appending.unlock();
}

// The file named by the environment variable TOV_LOG_FILE, or null.
const char* LogFilePathFromEnvironment() {
    const char* path = std::getenv("TOV_LOG_FILE");
    return path != nullptr && *path != '\0' ? path : nullptr;
}

// Says on standard error that the log file could not be opened.
void ReportLogFileFailure(const char* path, const char* reason) {
    char text[4096];
    const int n = std::snprintf(text, sizeof text,
                                "journal: cannot open the log file %s (%s); the logger writes to"
                                " standard error\n", path, reason);
    if (n <= 0) return;
    const Piece piece = {text, n < static_cast<int>(sizeof text) ? static_cast<std::size_t>(n)
                                                                 : sizeof text - 1};
    WriteAll(StandardErrorFile(), &piece, 1, Patience::kBounded);
}

void Start() {
    Ring* ring = new Ring;
    ring->fd = StandardErrorFile();
    if (const char* path = LogFilePathFromEnvironment()) {
        const char* reason = "";
        const int fd = OpenLogFile(path, &reason);
        if (fd >= 0)
            ring->fd = fd;
        else
            ReportLogFileFailure(path, reason);
    }
    g_ring = ring;
    std::atexit(&FlushAtExit);
    FlushOnFatalSignals(&FlushOnSignal);
    OnFork(&BeforeFork, &AfterForkInParent, &AfterForkInChild);
}

// --- putting lines in ------------------------------------------------------------------------

void CopyIn(Ring& ring, std::uint64_t at, const char* text, std::size_t size) {
    const std::size_t start = at % kCapacity;
    const std::size_t first = std::min(size, kCapacity - start);
    std::memcpy(ring.bytes + start, text, first);
    std::memcpy(ring.bytes, text + first, size - first);
}

void AppendLine(const char* text, std::size_t size) {
    std::call_once(g_started, &Start);
    Ring& ring = *g_ring;
    if (ring.readerGone.load(std::memory_order_relaxed)) return;
    const std::size_t line = size + 1;
    if (line > kCapacity / 2 || ring.exiting.load(std::memory_order_relaxed)) {
        // Written at once, behind what waits.
        const Piece pieces[2] = {{text, size}, {"\n", 1}};
        ClaimWriter(ring, CurrentThread());
        WriteWaiting(ring, Patience::kBounded, pieces, 2);
        ReleaseWriter(ring);
        return;
    }
    if (!ring.threadRunning.load(std::memory_order_relaxed)) StartWritingThread(ring);
    std::unique_lock<std::mutex> lock(ring.appending);
    std::uint64_t head = ring.head.load(std::memory_order_relaxed);
    std::uint64_t tail = ring.tail.load(std::memory_order_acquire);
    while (head + line - tail > kCapacity) {
        // The writing thread has fallen behind: this thread writes out itself.
        lock.unlock();
        WriteOut(ring, Patience::kUnbounded);
        lock.lock();
        head = ring.head.load(std::memory_order_relaxed);
        tail = ring.tail.load(std::memory_order_acquire);
    }
    CopyIn(ring, head, text, size);
    CopyIn(ring, head + size, "\n", 1);
    ring.head.store(head + line, std::memory_order_release);
    const std::uint64_t before = head - tail;
    if (before == 0 || (before < kCapacity / 2 && before + line >= kCapacity / 2))
        ring.due.notify_one();
}

void Deliver(int level, int category, int flags, const char* format, const char* message,
             std::size_t size) {
    if (g_sink != nullptr) {
        g_sink(g_context, level, category, flags, format, message);
    } else {
        AppendLine(message, size);
    }
}

}  // namespace

extern "C" int LogMessage(int level, int category, int flags, const char* format, ...) {
    va_list args;
    va_start(args, format);
    // The most frequent message, a name on its own, needs no formatting.
    if (format[0] == '%' && format[1] == 's' && format[2] == '\0') {
        const char* text = va_arg(args, const char*);
        va_end(args);
        if (text == nullptr) text = "(null)";
        const std::size_t size = std::strlen(text);
        Deliver(level, category, flags, format, text, size);
        return static_cast<int>(size);
    }
    // Short messages are formatted on the stack, so logging allocates nothing.
    char small[1024];
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (length < 0) {
        va_end(again);
        return -1;
    }
    if (static_cast<std::size_t>(length) < sizeof small) {
        va_end(again);
        Deliver(level, category, flags, format, small, static_cast<std::size_t>(length));
        return length;
    }
    std::string large(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(large.data(), large.size() + 1, format, again);
    va_end(again);
    Deliver(level, category, flags, format, large.c_str(), large.size());
    return length;
}

extern "C" JournalSink JournalSetSink(JournalSink sink, void* context) {
    JournalSink previous = g_sink;
    g_sink = sink;
    g_context = context;
    return previous;
}
