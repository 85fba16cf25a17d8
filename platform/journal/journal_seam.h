// What the host logger needs of the operating system, apart from its portable core so that each
// platform supplies its own. Everything marked signal-safe may run inside a signal handler.
#pragma once

#include <cstddef>

namespace tov::journal {

// Where the lines go: standard error, or the file named by the environment.
int StandardErrorFile();
// Opens a log file for appending; -1 and a reason on failure.
int OpenLogFile(const char* path, const char** reason);

struct Piece {
    const char* data;
    std::size_t size;
};

enum class WriteResult { kWritten, kLost, kReaderGone };

// How long a write may wait for a reader that does not take its bytes (a full non-blocking pipe).
enum class Patience { kUnbounded, kBounded };

// Writes every byte of the pieces, in order, as few writes as the file takes. A broken pipe
// ends it with kReaderGone and raises no signal; a failure that may pass (a full disk) loses
// these bytes (kLost). Signal-safe.
WriteResult WriteAll(int fd, const Piece* pieces, int count, Patience patience);

// A small number for the calling thread, never 0. Signal-safe.
long CurrentThread();
// Sleeps about a millisecond. Signal-safe.
void PauseBriefly();

// Calls flush on a fatal signal (a fault, an abort, an interruption that ends the process), then
// lets the signal take its course: to a handler that was there before, or to its default.
void FlushOnFatalSignals(void (*flush)());
// Calls the three functions around fork(); the child keeps only its calling thread.
void OnFork(void (*prepare)(), void (*parent)(), void (*child)());
// Starts a thread that no signal of the program's is delivered to.
void StartQuietThread(void (*run)());
// Whether the system has stopped every other thread when the exit handlers run (Windows does,
// wherever they were: the writing thread may have been stopped in the middle of a write).
bool OtherThreadsStoppedAtExit();

}  // namespace tov::journal
