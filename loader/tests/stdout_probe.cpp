// A Vulkan program that does to its standard output what programs do, around Vulkan calls that
// the layer dumps in verbose mode, and says on standard error what it found: a line "ok NAME" or
// "FAILED NAME" for each check.
//
//   stdout_probe full-pipe    a non-blocking pipe that is full fails the dump; then the
//                             program's own output and the next dump arrive
//   stdout_probe full-disk    /dev/full fails the dump; the program's stream stays good
//   stdout_probe reader-gone  a pipe whose reader has gone fails the dump without a signal;
//                             then the program's own write to it raises SIGPIPE as ever
//   stdout_probe packets      standard output a packet socket: each dump line is one write,
//                             also behind bytes of the program's that wait in the C stream
//   stdout_probe threads T N  T threads make N calls each, to standard output as it is
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

// One call that the layer dumps in a few lines.
void DumpedCall() {
    std::uint32_t count = 0;
    vkEnumeratePhysicalDevices(g_instance, &count, nullptr);
}

std::string Drain(int fd) {
    std::string text;
    char chunk[65536];
    for (ssize_t n; (n = read(fd, chunk, sizeof chunk)) > 0;) text.append(chunk, static_cast<std::size_t>(n));
    return text;
}

// Points standard output at fd, and back to where it was.
class Redirect {
public:
    explicit Redirect(int fd) : saved_(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        dup2(fd, STDOUT_FILENO);
    }
    ~Redirect() {
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }

private:
    int saved_;
};

bool StreamsGood() { return std::cout.good() && !std::ferror(stdout); }

void FullPipe() {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK) != 0) std::exit(2);
    const std::string filler(4096, 'x');
    while (write(ends[1], filler.data(), filler.size()) > 0) {
    }
    {
        Redirect to(ends[1]);
        DumpedCall();  // fails: the pipe is full
        Check(StreamsGood(), "streams good after the failed dump");
        Drain(ends[0]);
        std::cout << "program line" << std::endl;
        Check(StreamsGood(), "program output goes on");
        DumpedCall();
    }
    const std::string after = Drain(ends[0]);
    Check(after.rfind("program line\nvkEnumeratePhysicalDevices\n", 0) == 0,
          "program line and the next dump arrive");
}

void FullDisk() {
    const int full = open("/dev/full", O_WRONLY);
    {
        Redirect to(full);
        DumpedCall();
        Check(StreamsGood(), "streams good after the failed dump");
    }
    std::cout << "program line" << std::endl;
    Check(StreamsGood(), "program output goes on");
}

void ReaderGone() {
    int ends[2];
    if (pipe(ends) != 0) std::exit(2);
    close(ends[0]);
    Redirect to(ends[1]);
    DumpedCall();
    Check(StreamsGood(), "no signal and streams good after the failed dump");
    std::fprintf(stderr, "own write\n");
    // The program's own write: SIGPIPE ends the program, as it would without the layer.
    if (write(STDOUT_FILENO, "x\n", 2) < 0) Check(false, "SIGPIPE on the program's own write");
}

void Packets() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) std::exit(2);
    std::vector<std::string> packets;
    std::thread reader([&packets, fd = ends[1]] {
        char packet[65536];
        for (ssize_t n; (n = recv(fd, packet, sizeof packet, 0)) > 0;)
            packets.emplace_back(packet, static_cast<std::size_t>(n));
    });
    {
        Redirect to(ends[0]);
        DumpedCall();
        std::printf("waiting bytes ");  // stays in the C stream's buffer
        DumpedCall();
    }
    shutdown(ends[0], SHUT_WR);
    reader.join();
    bool whole = !packets.empty();
    for (const std::string& packet : packets) whole &= packet.find('\n') == packet.size() - 1;
    Check(whole, "each line one write");
    bool behind = false;
    for (const std::string& packet : packets)
        behind |= packet == "waiting bytes vkEnumeratePhysicalDevices\n";
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
    if (argc < 2) return 2;
    const std::string mode = argv[1];
    VkInstanceCreateInfo info{VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
    if (vkCreateInstance(&info, nullptr, &g_instance) != VK_SUCCESS) return 2;
    std::uint32_t count = 1;
    vkEnumeratePhysicalDevices(g_instance, &count, &g_device);
    if (mode == "full-pipe") FullPipe();
    else if (mode == "full-disk") FullDisk();
    else if (mode == "reader-gone") ReaderGone();
    else if (mode == "packets") Packets();
    else if (mode == "threads" && argc == 4) Threads(std::atoi(argv[2]), std::atoi(argv[3]));
    else return 2;
    vkDestroyInstance(g_instance, nullptr);
    return g_failed ? 1 : 0;
}
