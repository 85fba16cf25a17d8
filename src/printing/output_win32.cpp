// The output seam on Windows. Every line takes the stream's own way (an insertion and a flush
// into the C runtime's stdout); a reader that has gone raises no signal here, the write just
// fails. What a dump may change of the program's thread, errno and the last-error code, is put
// back when it ends.
#include <errno.h>
#include <stdio.h>
#include <windows.h>

#include <cstring>

#include "output_seam.h"

namespace tov::printing {

bool StdoutErrorIndicator() { return ferror(stdout) != 0; }

void ClearStdoutErrorIndicator() {
    if (ferror(stdout) != 0) clearerr(stdout);
}

// The last-error code is kept where the POSIX seam keeps the signal mask.
OutputScope::OutputScope() : savedErrno_(errno) {
    const DWORD lastError = GetLastError();
    static_assert(sizeof lastError <= sizeof previousMask_);
    std::memcpy(previousMask_, &lastError, sizeof lastError);
    errno = 0;
}

OutputScope::~OutputScope() {
    DWORD lastError;
    std::memcpy(&lastError, previousMask_, sizeof lastError);
    SetLastError(lastError);
    errno = savedErrno_;
}

}  // namespace tov::printing
