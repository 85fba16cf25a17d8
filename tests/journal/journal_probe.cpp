// A program that logs through the host logger and then ends in one of the ways a program ends,
// for the tests of what reaches the log.
//
//   journal_probe LINES END [THREADS]
//
// Each of THREADS threads (default 1) logs LINES lines "thread <t> line <i>"; then the program
// ends by END: return, exit, abort, segv, bus, fpe, ill, term, _exit, kill (these two after
// 150 ms), own-handler-before, own-handler-after (a SIGSEGV handler of the program's own, set
// before the first line or after the last, that says "own handler" on standard output and ends
// the process with status 3), fork (a child logs its own lines "child line <i>" and exits).
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tov/journal.h"

namespace {

void OwnHandler(int) {
    const char text[] = "own handler\n";
    if (write(STDOUT_FILENO, text, sizeof text - 1) < 0) _exit(4);
    _exit(3);
}

void SetOwnHandler() {
    struct sigaction action = {};
    action.sa_handler = &OwnHandler;
    sigaction(SIGSEGV, &action, nullptr);
}

void Log(int thread, int lines) {
    for (int i = 0; i < lines; ++i) LogMessage(2, 1, 0, "thread %d line %d", thread, i);
}

// A store to the first page, which is never mapped.
[[noreturn]] void Fault() {
    *reinterpret_cast<volatile int*>(std::uintptr_t{64}) = 1;
    std::abort();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const int lines = std::atoi(argv[1]);
    const std::string end = argv[2];
    const int threads = argc > 3 ? std::atoi(argv[3]) : 1;

    if (end == "own-handler-before") SetOwnHandler();
    std::vector<std::thread> workers;
    for (int t = 1; t < threads; ++t) workers.emplace_back(Log, t, lines);
    Log(0, lines);
    for (std::thread& worker : workers) worker.join();
    if (end == "own-handler-after") SetOwnHandler();

    if (end == "return") return 0;
    if (end == "exit") std::exit(0);
    if (end == "abort") std::abort();
    if (end == "segv" || end.rfind("own-handler", 0) == 0) Fault();
    if (end == "bus") raise(SIGBUS);
    if (end == "fpe") raise(SIGFPE);
    if (end == "ill") __builtin_trap();
    if (end == "term") raise(SIGTERM);
    if (end == "_exit" || end == "kill") {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        if (end == "kill") raise(SIGKILL);
        _exit(0);
    }
    if (end == "fork") {
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0; i < lines; ++i) LogMessage(2, 1, 0, "child line %d", i);
            std::exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    }
    return 2;
}
