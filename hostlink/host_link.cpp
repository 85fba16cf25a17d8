#include "host_link.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "call_filter.h"

namespace {

std::u16string Utf8ToUtf16(const std::string& text) {
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        std::size_t length = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        char32_t code = length == 1 ? c : length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
        bool valid = length != 0 && i + length <= text.size();
        for (std::size_t k = 1; valid && k < length; ++k) {
            const unsigned char d = static_cast<unsigned char>(text[i + k]);
            valid = (d & 0xC0) == 0x80;
            code = (code << 6) | (d & 0x3F);
        }
        if (!valid) {  // a stray byte stands for itself
            out.push_back(c);
            ++i;
            continue;
        }
        if (code >= 0x10000) {
            code -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(code));
        }
        i += length;
    }
    return out;
}

// TOV_LOGGING_VERBOSE becomes the layer's parameter "verbose", whatever its value: the layer
// itself says so when a value means nothing to it.
std::vector<LayerParameterRecord> ParametersFromEnvironment() {
    std::vector<LayerParameterRecord> records;
    const char* verbose = std::getenv("TOV_LOGGING_VERBOSE");
    if (verbose == nullptr) return records;
    LayerParameterRecord record;
    std::memset(&record, 0, sizeof record);
    const std::u16string name = u"verbose";
    const std::u16string value = Utf8ToUtf16(verbose);
    std::memcpy(record.parameterName, name.data(), 2 * name.size());
    std::memcpy(record.parameterValue, value.data(), 2 * std::min<std::size_t>(value.size(), 511));
    records.push_back(record);
    return records;
}

// dlopen maps the segments that a library's program headers name and touches them: a file cut
// short inside them ends the process with SIGBUS instead of failing. Such a file is refused
// here. Whatever else is wrong with a file, dlopen finds and reports without harm.
bool CutShort(const std::string& path, std::string& why) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    bool cut = false;
    struct stat status;
    Elf64_Ehdr header;
    if (fstat(fd, &status) == 0 &&
        pread(fd, &header, sizeof header, 0) == static_cast<ssize_t>(sizeof header) &&
        std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
        header.e_phentsize == sizeof(Elf64_Phdr)) {
        const std::uint64_t size = static_cast<std::uint64_t>(status.st_size);
        std::vector<Elf64_Phdr> segments(header.e_phnum);
        const std::uint64_t tableEnd = header.e_phoff + segments.size() * sizeof(Elf64_Phdr);
        if (tableEnd > size ||
            pread(fd, segments.data(), segments.size() * sizeof(Elf64_Phdr),
                  static_cast<off_t>(header.e_phoff)) !=
                static_cast<ssize_t>(segments.size() * sizeof(Elf64_Phdr))) {
            cut = true;
        } else {
            for (const Elf64_Phdr& segment : segments)
                if (segment.p_type == PT_LOAD && segment.p_offset + segment.p_filesz > size) cut = true;
        }
        if (cut)
            why = path + ": the file is cut short: its program headers load bytes beyond its " +
                  std::to_string(size) + " bytes";
    }
    close(fd);
    return cut;
}

struct Link {
    std::once_flag once;
    TovLayerLink link{};
    TovLinkResult result{nullptr, kTovLayerNotLoaded, ""};
    std::string detail;
};

Link& TheLink() {
    static Link link;
    return link;
}

void Connect(Link& l, const char* const* candidates, std::size_t count) {
    std::vector<std::string> paths;
    const char* chosen = std::getenv("TOV_LOGGING_LAYER_LIBRARY");
    if (chosen != nullptr && *chosen != '\0') {
        paths.push_back(chosen);
    } else {
        for (std::size_t i = 0; i < count; ++i)
            if (candidates[i] != nullptr) paths.push_back(candidates[i]);
    }
    void* library = nullptr;
    std::string path;
    for (const std::string& candidate : paths) {
        std::string cut;
        if (CutShort(candidate, cut)) {
            l.detail += "\n    " + cut;
            continue;
        }
        library = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library != nullptr) {
            path = candidate;
            break;
        }
        const char* why = dlerror();
        l.detail += "\n    " + (why != nullptr ? std::string(why) : candidate);
    }
    if (library == nullptr) {
        l.result = {nullptr, kTovLayerNotLoaded, l.detail.c_str()};
        return;
    }
    auto getDispatchTable =
        reinterpret_cast<PFN_tovGetDispatchTable>(dlsym(library, "tovGetDispatchTable"));
    if (getDispatchTable == nullptr) {
        // The library stays loaded: unloading a library is never safe to assume.
        l.detail = path;
        l.result = {nullptr, kTovNoEntryPoint, l.detail.c_str()};
        return;
    }
    const std::vector<LayerParameterRecord> parameters = ParametersFromEnvironment();
    LayerDispatchTable* table =
        getDispatchTable(parameters.size(), parameters.empty() ? nullptr : parameters.data());
    for (std::size_t slot = 0; slot < tov::logging_layer::kSlotCount; ++slot) {
        l.link.hooks[slot] = table->slots[slot];
        table->slots[slot] = nullptr;
    }
    // The call filter is the process's too: every host leaves out the calls whose hooks it drops.
    tov::filter::FilterHooksFromEnvironment(
        l.link.hooks, [](const char* line) { std::fprintf(stderr, "tov-logging: %s\n", line); });
    l.link.table = table;
    l.result = {&l.link, kTovLinked, ""};
}

}  // namespace

TOV_HOST_LINK_API TovLinkResult tovLinkLayer(const char* const* candidates, std::size_t count) {
    Link& l = TheLink();
    std::call_once(l.once, [&] { Connect(l, candidates, count); });
    return l.result;
}
