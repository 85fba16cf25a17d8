// How a line leaves the layer, for the sources that make lines: the printing core and the COM
// object printers.
//
// Everything here is inlined into the printer that made the line, so that the write is made from
// that printer's own frame. After a system call the processor has lost track of where the returns
// still pending go (the kernel's own calls overwrite its return predictions), and each of them
// costs a misprediction, about 9 ns here: a write made four calls below the printer costs a dump
// of five lines more than all of its formatting. Made from the printer, the write leaves one
// return pending, as a program's own call of write(2) does.
#pragma once

#include <stdio.h>

#include <cstddef>
#include <ostream>

#include "output_seam.h"
#include "printers.h"

#if defined(__GLIBC__) && defined(__GLIBCXX__)
#include <errno.h>
#include <stdio_ext.h>
#include <sys/single_threaded.h>

#include <ext/stdio_sync_filebuf.h>
#include <typeinfo>

#include "system_call.h"
#define TOV_DIRECT_LINES 1
#endif

namespace tov::printing {

// Writes a whole line straight to the file under the stream, when the stream is the standard
// output stream over the C stream of glibc and nothing of the program's waits in that C stream's
// buffer: the same bytes in the same place and order as an insertion and a flush, in one write,
// without the buffer's round trip. Returns false, having written nothing, when the line must go
// through the stream. A failed write loses the line and leaves no trace in either stream.
[[gnu::always_inline]] inline bool WriteLineDirect(std::ostream& os, const char* data,
                                                   std::size_t size) {
#ifdef TOV_DIRECT_LINES
    using SyncBuffer = __gnu_cxx::stdio_sync_filebuf<char>;
    std::streambuf* buffer = os.rdbuf();
    // A tied stream would be flushed by an insertion first; that goes the ordinary way.
    if (buffer == nullptr || os.tie() != nullptr || typeid(*buffer) != typeid(SyncBuffer))
        return false;
    FILE* file = static_cast<SyncBuffer*>(buffer)->file();
    // The C stream's lock keeps the program's insertions on other threads whole. A process with
    // one thread has no other insertion to keep whole (a signal handler on this thread would take
    // the lock again anyway), and the lock's two atomic operations cost a dump of five lines
    // about 60 ns.
    const bool lock = __libc_single_threaded == 0;
    if (lock) flockfile(file);
    // Bytes of the program's waiting in the buffer go first, through the C stream; a stream in
    // wide orientation or not open for writing takes no narrow text at all.
    if (file->_mode > 0 || file->_IO_write_ptr != file->_IO_write_base || __fwritable(file) == 0) {
        if (lock) funlockfile(file);
        return false;
    }
    const int fd = file->_fileno;
    std::size_t done = 0;
    while (done < size) {
        const long n = SystemWrite(fd, data + done, size - done);
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
    if (lock) funlockfile(file);
    return true;
#else
    (void)os, (void)data, (void)size;
    return false;
#endif
}

// The way of every line that cannot be written directly: one insertion and a flush, with the
// stream's state and exception mask kept as the program left them.
void EndLineThroughStream(std::ostream& os, Line& line);

// Every line of the layer ends here: a line feed, then one write of the whole line, or one
// insertion and a flush. The stream's state and exception mask are the program's: a failure of
// this write leaves them as they were, so it silences neither the program's later output nor the
// layer's next line.
[[gnu::always_inline]] inline void EndLine(std::ostream& os, Line& line) {
    line << '\n';
    if (WriteLineDirect(os, line.data(), line.size())) return;
    EndLineThroughStream(os, line);
}

}  // namespace tov::printing
