#include "call_filter.h"

#include <cstdlib>

namespace tov::filter {

bool GlobMatches(std::string_view pattern, std::string_view name) {
    // The classic walk with one point to return to: the last star and where the name stood when
    // it was met. A later star makes the earlier one's choice final, so no more is needed.
    std::size_t p = 0, n = 0;
    std::size_t star = std::string_view::npos, resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

namespace {

bool MatchesAny(const std::vector<std::string>& patterns, std::string_view name) {
    for (const std::string& pattern : patterns)
        if (GlobMatches(pattern, name)) return true;
    return false;
}

bool MatchesAKnownCall(std::string_view pattern) {
    for (std::size_t i = 0; i < kKnownCallCount; ++i)
        if (GlobMatches(pattern, kKnownCalls[i].name)) return true;
    return false;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace

CallFilter::CallFilter(std::string_view only, std::string_view skip, std::string_view onlyLabel,
                       std::string_view skipLabel) {
    Read(only, onlyLabel, only_);
    Read(skip, skipLabel, skip_);
}

void CallFilter::Read(std::string_view list, std::string_view label,
                      std::vector<std::string>& patterns) {
    if (Trim(list).empty()) return;
    std::string_view rest = list;
    bool emptyTold = false;
    while (true) {
        const std::size_t comma = rest.find(',');
        const std::string_view pattern = Trim(rest.substr(0, comma));
        if (pattern.empty()) {
            if (!emptyTold)
                problems_.push_back(std::string(label) + ": an empty pattern in '" +
                                    std::string(list) + "'");
            emptyTold = true;
        } else {
            patterns.emplace_back(pattern);
            if (!MatchesAKnownCall(pattern))
                problems_.push_back(std::string(label) + ": '" + std::string(pattern) +
                                    "' matches no call that the layer logs");
        }
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
}

bool CallFilter::Logs(std::string_view name) const {
    return (only_.empty() || MatchesAny(only_, name)) && !MatchesAny(skip_, name);
}

std::size_t CallFilter::Apply(void** hooks) const {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < kKnownCallCount; ++i) {
        if (Logs(kKnownCalls[i].name))
            ++kept;
        else
            hooks[kKnownCalls[i].slot] = nullptr;
    }
    return kept;
}

CallFilter FilterFromEnvironment() {
    const char* only = std::getenv(kOnlyVariable);
    const char* skip = std::getenv(kSkipVariable);
    return CallFilter(only != nullptr ? only : "", skip != nullptr ? skip : "", kOnlyVariable,
                      kSkipVariable);
}

void FilterHooksFromEnvironment(void** hooks, void (*report)(const char* line)) {
    const CallFilter filter = FilterFromEnvironment();
    for (const std::string& problem : filter.problems()) report(problem.c_str());
    if (filter.active() && filter.Apply(hooks) == 0) report("the call filter leaves no call to log");
}

}  // namespace tov::filter
