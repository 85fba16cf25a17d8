// Verbose mode against the essential work of its output, measured in the same run: a hook that
// dumps vkCmdPushConstants, and the same call with bare write(2)s of the same lines, one per
// line, to /dev/null and to a file, and those writes with the dump's one lseek(2). Standard
// output is pointed at the target for each benchmark. With --with-thread, a second thread waits
// through the run, as in most real programs (lavapipe's own threads, for one), so that the layer's
// lines take the C stream's lock; the benchmarks are then named Threaded<Target>_<Kind>.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "slot_catalogue.h"
#include "testhost.h"
#include "vulkan_api.h"

namespace {

namespace s = tov::logging_layer::slots;

__attribute__((noinline)) void VKAPI_CALL DriverCmdPushConstants(VkCommandBuffer, VkPipelineLayout,
                                                                 VkShaderStageFlags, uint32_t,
                                                                 uint32_t, const void*) {}

struct Setup {
    Setup() {
        layer.GetDispatchTable({{u"verbose", u"1"}});
        layer.Route(s::vkCmdPushConstants, reinterpret_cast<void*>(&DriverCmdPushConstants));
        hook = reinterpret_cast<PFN_vkCmdPushConstants>(layer.hook(s::vkCmdPushConstants));
        // The lines one call writes, for the baseline to write the same bytes.
        tov::testhost::StdoutCapture out;
        Call(hook);
        const std::string text = out.str();
        for (std::size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos;
             start = end + 1)
            lines.push_back(text.substr(start, end - start + 1));
    }
    static void Call(PFN_vkCmdPushConstants f) {
        static const std::uint32_t value = 7;
        f(reinterpret_cast<VkCommandBuffer>(0x10), reinterpret_cast<VkPipelineLayout>(0x20),
          VK_SHADER_STAGE_COMPUTE_BIT, 0, sizeof value, &value);
    }
    tov::testhost::Layer layer;
    PFN_vkCmdPushConstants hook = nullptr;
    std::vector<std::string> lines;
};

Setup& Shared() {
    static Setup setup;
    return setup;
}

// Points standard output at /dev/null or a fresh file while it lives.
class StdoutTo {
public:
    explicit StdoutTo(bool file) {
        std::cout.flush();
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        char path[] = "/tmp/tov_output_bench_XXXXXX";
        const int fd = file ? mkstemp(path) : open("/dev/null", O_WRONLY);
        if (file) unlink(path);
        dup2(fd, STDOUT_FILENO);
        close(fd);
    }
    ~StdoutTo() {
        std::cout.flush();
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }

private:
    int saved_;
};

template <typename F>
F Opaque(F f) {
    benchmark::DoNotOptimize(f);
    return f;
}

void Verbose(benchmark::State& state, bool file) {
    const auto hook = Opaque(Shared().hook);
    StdoutTo target(file);
    for (auto _ : state) Setup::Call(hook);
}

// With seek, also the one lseek(2) per dump with which the layer asks whether standard output is
// a pipe: the share of the cost that keeps SIGPIPE from the program.
void BareWrite(benchmark::State& state, bool file, bool seek = false) {
    const auto driver = Opaque(&DriverCmdPushConstants);
    const std::vector<std::string>& lines = Shared().lines;
    StdoutTo target(file);
    for (auto _ : state) {
        Setup::Call(driver);
        if (seek) benchmark::DoNotOptimize(lseek(STDOUT_FILENO, 0, SEEK_CUR));
        for (const std::string& line : lines)
            benchmark::DoNotOptimize(write(STDOUT_FILENO, line.data(), line.size()));
    }
}

}  // namespace

int main(int argc, char** argv) {
    const bool withThread = argc > 1 && std::strcmp(argv[argc - 1], "--with-thread") == 0;
    if (withThread) --argc;
    benchmark::Initialize(&argc, argv);
    std::promise<void> done;
    std::thread waiting;
    if (withThread) waiting = std::thread([end = done.get_future()] { end.wait(); });
    const std::string prefix = withThread ? "Threaded" : "";
    for (const bool file : {false, true}) {
        const std::string target = prefix + (file ? "File" : "DevNull");
        benchmark::RegisterBenchmark((target + "_Baseline").c_str(),
                                     [file](benchmark::State& s) { BareWrite(s, file); });
        benchmark::RegisterBenchmark((target + "_Hook").c_str(),
                                     [file](benchmark::State& s) { Verbose(s, file); });
        benchmark::RegisterBenchmark((target + "_BaselineAndSeek").c_str(),
                                     [file](benchmark::State& s) { BareWrite(s, file, true); });
    }
    Shared();
    benchmark::RunSpecifiedBenchmarks();
    if (withThread) {
        done.set_value();
        waiting.join();
    }
    return 0;
}
