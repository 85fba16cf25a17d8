// A Vulkan program that does to its standard output what programs do, around calls that the
// layer dumps in verbose mode, and says "ok NAME" or "FAILED NAME" on standard error per check.
//
//   stdout_probe full-pipe    a full non-blocking pipe fails a dump; the program's own output
//                             and the next dump arrive after it
//   stdout_probe reader-gone  a pipe whose reader has gone fails a dump without a signal; the
//                             program's own write to it then raises SIGPIPE as ever
//   stdout_probe packets      standard output a packet socket: each dump line is one write,
//                             also behind bytes of the program's waiting in the C stream
//   stdout_probe threads T N  T threads make N calls each
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vulkan/vulkan.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

VkInstance g_instance = VK_NULL_HANDLE;
VkPhysicalDevice g_device = VK_NULL_HANDLE;
bool g_failed = false;

void Check(bool good, const char* name) {
    std::fprintf(stderr, "%s %s\n", good ? "ok" : "FAILED", name);
    g_failed |= !good;
}

void DumpedCall() {
    std::uint32_t count = 0;
    vkEnumeratePhysicalDevices(g_instance, &count, nullptr);
}

bool StreamsGood() { return std::cout.good() && !std::ferror(stdout); }

// Points standard output at fd while it lives.
struct Redirect {
    explicit Redirect(int fd) : saved(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        dup2(fd, STDOUT_FILENO);
    }
    ~Redirect() {
        std::fflush(stdout);
        dup2(saved, STDOUT_FILENO);
    }
    int saved;
};

std::string Drain(int fd) {
    std::string text;
    char chunk[65536];
    for (ssize_t n; (n = read(fd, chunk, sizeof chunk)) > 0;) text.append(chunk, std::size_t(n));
    return text;
}

void FullPipe() {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK) != 0) std::exit(2);
    const std::string filler(4096, 'x');
    while (write(ends[1], filler.data(), filler.size()) > 0) {
    }
    {
        Redirect to(ends[1]);
        DumpedCall();
        Check(StreamsGood(), "streams good after the failed dump");
        Drain(ends[0]);
        std::cout << "program line" << std::endl;
        Check(StreamsGood(), "program output goes on");
        DumpedCall();
    }
    Check(Drain(ends[0]).rfind("program line\nvkEnumeratePhysicalDevices\n", 0) == 0,
          "program line and the next dump arrive");
}

void ReaderGone() {
    int ends[2];
    if (pipe(ends) != 0) std::exit(2);
    close(ends[0]);
    Redirect to(ends[1]);
    DumpedCall();
    Check(StreamsGood(), "no signal and streams good after the failed dump");
    std::fprintf(stderr, "own write\n");
    if (write(STDOUT_FILENO, "x\n", 2) < 0) Check(false, "SIGPIPE on the program's own write");
}

void Packets() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) std::exit(2);
    std::vector<std::string> packets;
    std::thread reader([&packets, fd = ends[1]] {
        char packet[65536];
        for (ssize_t n; (n = recv(fd, packet, sizeof packet, 0)) > 0;)
            packets.emplace_back(packet, std::size_t(n));
    });
    {
        Redirect to(ends[0]);
        DumpedCall();
        std::printf("waiting bytes ");  // stays in the C stream's buffer
        DumpedCall();
    }
    shutdown(ends[0], SHUT_WR);
    reader.join();
    bool whole = !packets.empty(), behind = false;
    for (const std::string& packet : packets) {
        whole &= packet.find('\n') == packet.size() - 1;
        behind |= packet == "waiting bytes vkEnumeratePhysicalDevices\n";
    }
    Check(whole, "each line one write");
    Check(behind, "the program's waiting bytes go first");
}

void Threads(int threads, int calls) {
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([calls] {
            VkPhysicalDeviceProperties properties;
            for (int i = 0; i < calls; ++i) vkGetPhysicalDeviceProperties(g_device, &properties);
        });
    for (std::thread& worker : workers) worker.join();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    VkInstanceCreateInfo info{VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
    if (vkCreateInstance(&info, nullptr, &g_instance) != VK_SUCCESS) return 2;
    std::uint32_t count = 1;
    vkEnumeratePhysicalDevices(g_instance, &count, &g_device);
    if (mode == "full-pipe") FullPipe();
    else if (mode == "reader-gone") ReaderGone();
    else if (mode == "packets") Packets();
    else if (mode == "threads" && argc == 4) Threads(std::atoi(argv[2]), std::atoi(argv[3]));
    else return 2;
    vkDestroyInstance(g_instance, nullptr);
    return g_failed ? 1 : 0;
}
