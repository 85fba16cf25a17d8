// The host logger's seam on Windows. A reader that has gone makes a write fail, with no signal
// to take back; the writing thread keeps the DLL loaded; what ends the process is an unhandled
// exception, abort or a console interruption, after which the lines are written out first.
#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <windows.h>

#include "journal_seam.h"

namespace tov::journal {

int StandardErrorFile() { return _fileno(stderr); }

int OpenLogFile(const char* path, const char** reason) {
    constexpr int kFlags = _O_WRONLY | _O_CREAT | _O_APPEND | _O_BINARY | _O_NOINHERIT;
    // Under Wine a path that starts with a slash is the Unix one that a Linux shell handed on:
    // Wine's own kernel32 names it for Windows.
    using ToDos = WCHAR*(CDECL*)(LPCSTR);
    const auto toDos = reinterpret_cast<ToDos>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_dos_file_name")));
    WCHAR* dos = path[0] == '/' && toDos != nullptr ? toDos(path) : nullptr;
    const int fd = dos != nullptr ? _wopen(dos, kFlags, _S_IREAD | _S_IWRITE) : _open(path, kFlags, _S_IREAD | _S_IWRITE);
    if (fd < 0) *reason = strerror(errno);
    if (dos != nullptr) HeapFree(GetProcessHeap(), 0, dos);
    return fd;
}

WriteResult WriteAll(int fd, const Piece* pieces, int count, Patience) {
    // The program's last-error code is its own.
    const DWORD lastError = GetLastError();
    const HANDLE file = reinterpret_cast<HANDLE>(_get_osfhandle(fd));
    WriteResult result = file == INVALID_HANDLE_VALUE ? WriteResult::kLost : WriteResult::kWritten;
    // Small pieces go out together, so that another process's writes do not fall between them.
    char joined[16384];
    std::size_t total = 0;
    for (int i = 0; i < count; ++i) total += pieces[i].size;
    Piece one = {joined, total};
    if (count > 1 && total <= sizeof joined) {
        char* at = joined;
        for (int i = 0; i < count; ++i) {
            memcpy(at, pieces[i].data, pieces[i].size);
            at += pieces[i].size;
        }
        pieces = &one;
        count = 1;
    }
    for (int i = 0; i < count && result == WriteResult::kWritten; ++i) {
        const char* data = pieces[i].data;
        std::size_t left = pieces[i].size;
        while (left > 0) {
            DWORD written = 0;
            const DWORD chunk = left > 0x40000000 ? 0x40000000 : static_cast<DWORD>(left);
            if (!WriteFile(file, data, chunk, &written, nullptr)) {
                const DWORD error = GetLastError();
                result = error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA
                             ? WriteResult::kReaderGone
                             : WriteResult::kLost;
                break;
            }
            data += written;
            left -= written;
        }
    }
    SetLastError(lastError);
    return result;
}

long CurrentThread() { return static_cast<long>(GetCurrentThreadId()); }

void PauseBriefly() { Sleep(1); }

bool OtherThreadsStoppedAtExit() { return true; }

namespace {

void (*g_flush)() = nullptr;
LPTOP_LEVEL_EXCEPTION_FILTER g_previousFilter = nullptr;
void (*g_previousAbort)(int) = SIG_DFL;
void (*g_previousInterrupt)(int) = SIG_DFL;

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception) {
    g_flush();
    return g_previousFilter != nullptr ? g_previousFilter(exception) : EXCEPTION_CONTINUE_SEARCH;
}

void OnSignal(int sig) {
    g_flush();
    void (*previous)(int) = sig == SIGABRT ? g_previousAbort : g_previousInterrupt;
    signal(sig, previous);
    if (previous == SIG_DFL)
        raise(sig);
    else if (previous != SIG_IGN)
        previous(sig);
}

void (*g_run)() = nullptr;

DWORD WINAPI RunQuietThread(void*) {
    g_run();
    return 0;
}

}  // namespace

void FlushOnFatalSignals(void (*flush)()) {
    g_flush = flush;
    g_previousFilter = SetUnhandledExceptionFilter(&OnUnhandledException);
    g_previousAbort = signal(SIGABRT, &OnSignal);
    g_previousInterrupt = signal(SIGINT, &OnSignal);
    // A program that ignores interruptions keeps ignoring them.
    if (g_previousInterrupt == SIG_IGN) signal(SIGINT, SIG_IGN);
}

// Windows has no fork.
void OnFork(void (*)(), void (*)(), void (*)()) {}

void StartQuietThread(void (*run)()) {
    g_run = run;
    // The thread runs this DLL's code until the process ends: the DLL stays loaded.
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const char*>(&StartQuietThread), &self);
    const HANDLE thread = CreateThread(nullptr, 0, &RunQuietThread, nullptr, 0, nullptr);
    if (thread != nullptr) CloseHandle(thread);
}

}  // namespace tov::journal
