// The host logger's seam on POSIX systems.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include "journal_seam.h"

namespace tov::journal {

int StandardErrorFile() { return STDERR_FILENO; }

int OpenLogFile(const char* path, const char** reason) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) *reason = strerror(errno);
    return fd;
}

namespace {

bool PipeSignalPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

// A reader that takes nothing for this long is given up on, where the caller cannot wait longer.
constexpr int kBoundedWaitMs = 5000;

}  // namespace

WriteResult WriteAll(int fd, const Piece* pieces, int count, Patience patience) {
    // The logger's writes must not end the program when the reader has gone: the signal is
    // blocked on this thread while they run, and one they raised is taken back.
    sigset_t pipe, previous;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &previous);
    const bool wasPending = sigismember(&previous, SIGPIPE) == 1 && PipeSignalPending();

    iovec vectors[8];
    int left = 0;
    for (int i = 0; i < count && left < 8; ++i)
        if (pieces[i].size > 0)
            vectors[left++] = {const_cast<char*>(pieces[i].data), pieces[i].size};
    iovec* next = vectors;
    int waitedMs = 0;
    WriteResult result = WriteResult::kWritten;
    while (left > 0) {
        const ssize_t n = writev(fd, next, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN || errno == EWOULDBLOCK) {
                // A non-blocking file that is full: wait until its reader takes some.
                if (patience == Patience::kBounded && waitedMs >= kBoundedWaitMs) {
                    result = WriteResult::kLost;
                    break;
                }
                pollfd ready = {fd, POLLOUT, 0};
                poll(&ready, 1, 100);
                waitedMs += 100;
                continue;
            }
            result = errno == EPIPE ? WriteResult::kReaderGone : WriteResult::kLost;
            break;
        }
        std::size_t written = static_cast<std::size_t>(n);
        while (left > 0 && written >= next->iov_len) {
            written -= next->iov_len;
            ++next;
            --left;
        }
        if (left > 0) {
            next->iov_base = static_cast<char*>(next->iov_base) + written;
            next->iov_len -= written;
        }
    }

    if (result == WriteResult::kReaderGone && !wasPending && PipeSignalPending()) {
        siginfo_t info;
        const timespec now = {0, 0};
        sigtimedwait(&pipe, &info, &now);
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return result;
}

long CurrentThread() { return static_cast<long>(gettid()); }

bool OtherThreadsStoppedAtExit() { return false; }

void PauseBriefly() {
    const timespec pause = {0, 1000000};
    nanosleep(&pause, nullptr);
}

namespace {

void (*g_flush)() = nullptr;
struct sigaction g_previous[NSIG];

// Faults and aborts, whose handlers are kept in a chain whatever they are, and the interruptions
// that end a process by default, which a process that ignores them keeps ignoring.
constexpr int kFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS};
constexpr int kInterruptions[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

void OnFatalSignal(int sig, siginfo_t* info, void* context) {
    const int savedErrno = errno;
    g_flush();
    const struct sigaction& previous = g_previous[sig];
    if (previous.sa_flags & SA_RESETHAND) {
        // A one-shot handler of the program's: the kernel would have put the default back.
        struct sigaction reset = {};
        reset.sa_handler = SIG_DFL;
        sigaction(sig, &reset, nullptr);
    }
    if (previous.sa_flags & SA_SIGINFO) {
        previous.sa_sigaction(sig, info, context);
    } else if (previous.sa_handler == SIG_DFL || previous.sa_handler == SIG_IGN) {
        // Back to what the process had. A default action happens as the handler returns: the
        // signal raised here is delivered then, and a fault that is met again does the same.
        sigaction(sig, &previous, nullptr);
        if (previous.sa_handler == SIG_DFL) raise(sig);
    } else {
        previous.sa_handler(sig);
    }
    errno = savedErrno;
}

void Install(int sig, bool keepIgnored) {
    struct sigaction previous;
    if (sigaction(sig, nullptr, &previous) != 0) return;
    if (keepIgnored && previous.sa_handler == SIG_IGN && !(previous.sa_flags & SA_SIGINFO)) return;
    g_previous[sig] = previous;
    struct sigaction action = {};
    action.sa_sigaction = &OnFatalSignal;
    action.sa_mask = previous.sa_mask;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | (previous.sa_flags & (SA_NODEFER | SA_RESTART));
    sigaction(sig, &action, nullptr);
}

void (*g_run)() = nullptr;

void* RunQuietThread(void*) {
    g_run();
    return nullptr;
}

}  // namespace

void FlushOnFatalSignals(void (*flush)()) {
    g_flush = flush;
    for (int sig : kFaults) Install(sig, false);
    for (int sig : kInterruptions) Install(sig, true);
}

void OnFork(void (*prepare)(), void (*parent)(), void (*child)()) {
    pthread_atfork(prepare, parent, child);
}

void StartQuietThread(void (*run)()) {
    g_run = run;
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    pthread_create(&thread, &attributes, &RunQuietThread, nullptr);
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

}  // namespace tov::journal
