// Call filters: which calls a host routes through the Logging Layer. A filter is two lists of
// globs on the call names as the dump prints them ("vkCmdDraw", "ID3D12Device::CreateFence"):
// `only` (if it has patterns, a call must match one of them) and `skip` (a call that matches one
// of them is left out). A host drops the hook of every slot whose call is left out and routes
// that call straight to the next function, so that it costs what it costs without the layer.
//
// Portable C++ with no system calls beyond getenv: every host of the project uses it, the
// Linux ones and the Windows DLLs under Wine (which hands the Unix environment on).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tov::filter {

inline constexpr const char* kOnlyVariable = "TOV_LOGGING_ONLY";
inline constexpr const char* kSkipVariable = "TOV_LOGGING_SKIP";

// A call the layer logs: its slot in the dispatch table and its name. Generated from the tables.
struct KnownCall {
    std::uint32_t slot;
    const char* name;
};
extern const KnownCall kKnownCalls[];
extern const std::size_t kKnownCallCount;

// Whether a glob matches the whole name: `*` stands for any run of characters (none too), `?`
// for any one character, every other character for itself.
bool GlobMatches(std::string_view pattern, std::string_view name);

class CallFilter {
public:
    CallFilter() = default;
    // Each list holds patterns separated by commas; blanks around a pattern do not count, and a
    // list of nothing but blanks is no list. The labels name the lists in problems ("--only",
    // "TOV_LOGGING_ONLY").
    CallFilter(std::string_view only, std::string_view skip, std::string_view onlyLabel,
               std::string_view skipLabel);

    // Whether the filter leaves any call out at all.
    bool active() const { return !only_.empty() || !skip_.empty(); }
    bool Logs(std::string_view name) const;

    // One line for each pattern that is empty or matches no known call. Such a pattern changes
    // nothing: the filter is applied as written, so an `only` list of nothing but such patterns
    // leaves every call out.
    const std::vector<std::string>& problems() const { return problems_; }

    // Sets to null the hook of each slot (of tov::logging_layer::kSlotCount) whose call the
    // filter leaves out. Returns how many known calls keep their hook.
    std::size_t Apply(void** hooks) const;

private:
    void Read(std::string_view list, std::string_view label, std::vector<std::string>& patterns);

    std::vector<std::string> only_;
    std::vector<std::string> skip_;
    std::vector<std::string> problems_;
};

// The filter that TOV_LOGGING_ONLY and TOV_LOGGING_SKIP ask for (unset or blank: no list).
CallFilter FilterFromEnvironment();

// What a host does at start: applies the environment's filter to the hooks it was handed and
// reports each problem through `report`, one line without an end of line, and last, if the
// filter leaves no call to log, that it does.
void FilterHooksFromEnvironment(void** hooks, void (*report)(const char* line));

}  // namespace tov::filter
