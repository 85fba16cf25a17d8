// The output seam on POSIX systems: the C stream's error indicator, and the scope in which the
// layer's writes cannot raise SIGPIPE.
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "output_seam.h"
#include "system_call.h"

#if defined(__GLIBC__)
#define TOV_GLIBC_STDIO 1
#endif

namespace tov::printing {

bool StdoutErrorIndicator() { return ferror_unlocked(stdout) != 0; }

void ClearStdoutErrorIndicator() {
    if (ferror_unlocked(stdout) != 0) clearerr_unlocked(stdout);
}

namespace {

sigset_t PipeSignal() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool PipeSignalPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

// Whether a write to standard output can raise SIGPIPE: only a pipe or a socket can, and neither
// can seek (nor can a terminal, which is harmless to count in).
bool StdoutMayRaisePipeSignal() {
#ifdef TOV_GLIBC_STDIO
    // A C stream that keeps count of its file's position is on a file that seeks: nothing to ask.
    // Otherwise the file is asked at every dump. The answer is not kept anywhere: planting it in
    // the C stream would make the program's own ftell trust a position that other writers to the
    // same file may have moved.
    if (stdout->_offset >= 0) return false;
#endif
    return SystemSeek(STDOUT_FILENO, 0, SEEK_CUR) == -1 && errno == ESPIPE;
}

}  // namespace

OutputScope::OutputScope() : savedErrno_(errno) {
    if (!StdoutMayRaisePipeSignal()) {
        errno = 0;
        return;
    }
    static_assert(sizeof(sigset_t) <= sizeof previousMask_);
    const sigset_t pipe = PipeSignal();
    sigset_t previous;
    pthread_sigmask(SIG_BLOCK, &pipe, &previous);
    std::memcpy(previousMask_, &previous, sizeof previous);
    masked_ = true;
    // Where the program blocks the signal itself, one already pending is the program's.
    if (sigismember(&previous, SIGPIPE) == 1) wasPending_ = PipeSignalPending();
    errno = 0;
}

OutputScope::~OutputScope() {
    if (masked_) {
        // A write that failed left errno set; only then can a signal of the layer's be pending.
        if (errno != 0 && !wasPending_ && PipeSignalPending()) {
            const sigset_t pipe = PipeSignal();
            siginfo_t info;
            const timespec now = {0, 0};
            // The kernel signs a broken pipe as sent by the writing process itself.
            if (sigtimedwait(&pipe, &info, &now) == SIGPIPE &&
                !(info.si_code == SI_USER && info.si_pid == getpid()))
                raise(SIGPIPE);  // sent by someone else meanwhile: it stays theirs
        }
        sigset_t previous;
        std::memcpy(&previous, previousMask_, sizeof previous);
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }
    errno = savedErrno_;
}

}  // namespace tov::printing
