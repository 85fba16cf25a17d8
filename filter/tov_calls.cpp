// tov-calls: the calls that a filter lets through to the Logging Layer, one name a line; with
// --check, only whether every pattern matches a call. tov-log checks its filter with it before
// the program starts, with the same matching as the hosts.
#include <cstdio>
#include <cstring>
#include <string>

#include "call_filter.h"

namespace {

constexpr const char* kHelp = R"(usage: tov-calls [--only PATTERNS] [--skip PATTERNS] [--check]

Prints the names of the calls that the Logging Layer logs under a call filter, one a line, in the
order of the dispatch table; without a filter, every call it logs. Names are as the dump prints
them: vkCmdDraw, ID3D12GraphicsCommandList2::Close, D3D12CreateDevice.

options:
  --only PATTERNS  only the calls that match one of the patterns: globs separated by commas,
                   where * stands for any run of characters and ? for any one character
                     tov-calls --only 'vkCmd*,vkQueue*'
  --skip PATTERNS  without the calls that match one of the patterns (after --only)
                     tov-calls --skip 'vkGet*ProcAddr,*::AddRef,*::Release'
                   Both may be given more than once: the lists are joined.
  --check          print no names; only check that every pattern matches some call
                     tov-calls --check --only 'vkCmdDraw*'
  -h, --help       this text

A pattern that matches no call is an error: a line on standard error, and the exit status 2.
)";

int UsageError(const std::string& message) {
    std::fprintf(stderr, "tov-calls: %s\nusage: tov-calls [--only PATTERNS] [--skip PATTERNS] [--check]\n",
                 message.c_str());
    return 2;
}

void Join(std::string& list, const char* more) {
    if (!list.empty()) list += ',';
    list += more;
}

}  // namespace

int main(int argc, char** argv) {
    std::string only, skip;
    bool check = false;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (std::strcmp(arg, "--only") == 0 || std::strcmp(arg, "--skip") == 0) {
            if (i + 1 == argc)
                return UsageError(std::string(arg) + " expects patterns: " + arg + " 'vkCmd*,vkQueue*'");
            Join(arg[2] == 'o' ? only : skip, argv[++i]);
        } else if (std::strcmp(arg, "--check") == 0) {
            check = true;
        } else if (std::strcmp(arg, "-h") == 0 || std::strcmp(arg, "--help") == 0) {
            std::fputs(kHelp, stdout);
            return 0;
        } else {
            return UsageError(std::string("unknown argument '") + arg +
                              "'; expected --only PATTERNS, --skip PATTERNS, --check or --help");
        }
    }
    const tov::filter::CallFilter filter(only, skip, "--only", "--skip");
    for (const std::string& problem : filter.problems())
        std::fprintf(stderr, "tov-calls: %s\n", problem.c_str());
    if (!filter.problems().empty()) return 2;
    if (check) return 0;
    for (std::size_t i = 0; i < tov::filter::kKnownCallCount; ++i)
        if (filter.Logs(tov::filter::kKnownCalls[i].name)) std::puts(tov::filter::kKnownCalls[i].name);
    return 0;
}
