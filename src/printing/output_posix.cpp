// The output seam on POSIX systems. Where the C library is glibc and the C++ library libstdc++,
// standard output's C stream is known well enough for a line to bypass its buffer when that is
// empty; elsewhere every line takes the stream's own way.
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <cstring>
#include <typeinfo>

#include "output_seam.h"

#if defined(__GLIBC__) && defined(__GLIBCXX__)
#include <stdio_ext.h>

#include <ext/stdio_sync_filebuf.h>
#define TOV_GLIBC_STDIO 1
#endif

namespace tov::printing {

bool StdoutErrorIndicator() { return ferror_unlocked(stdout) != 0; }

void ClearStdoutErrorIndicator() {
    if (ferror_unlocked(stdout) != 0) clearerr_unlocked(stdout);
}

bool WriteLineDirect(std::ostream& os, const char* data, std::size_t size) {
#ifdef TOV_GLIBC_STDIO
    using SyncBuffer = __gnu_cxx::stdio_sync_filebuf<char>;
    std::streambuf* buffer = os.rdbuf();
    // A tied stream would be flushed by an insertion first; that goes the ordinary way.
    if (buffer == nullptr || os.tie() != nullptr || typeid(*buffer) != typeid(SyncBuffer))
        return false;
    FILE* file = static_cast<SyncBuffer*>(buffer)->file();
    flockfile(file);
    // Bytes of the program's waiting in the buffer go first, through the C stream; a stream in
    // wide orientation or not open for writing takes no narrow text at all.
    if (file->_mode > 0 || file->_IO_write_ptr != file->_IO_write_base || __fwritable(file) == 0) {
        funlockfile(file);
        return false;
    }
    const int fd = file->_fileno;
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = write(fd, data + done, size - done);
        if (n > 0) {
            done += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            break;
        }
    }
    // Where the C stream keeps count of its file's position, it counts these bytes too.
    if (file->_offset >= 0) file->_offset += static_cast<off64_t>(done);
    funlockfile(file);
    return true;
#else
    return false;
#endif
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
    return lseek(STDOUT_FILENO, 0, SEEK_CUR) == -1 && errno == ESPIPE;
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
