#include "tests/support/model_server_stand_in.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

extern char** environ;

namespace kelvor::testing {

namespace {

constexpr const char* WEIGHTS_VARIABLE = "KELVOR_STAND_IN_WEIGHTS";
constexpr const char* READY_VARIABLE = "KELVOR_STAND_IN_READY_FD";

// Runs before main in every copy of the test binary; only a copy started as a stand-in (the
// variable set) turns into one, and it never returns to the test runner.
[[maybe_unused]] const bool STAND_IN = [] {
    const char* weights = std::getenv(WEIGHTS_VARIABLE);
    const char* ready = std::getenv(READY_VARIABLE);
    if (!weights || !ready) return false;
    const int readyFd = std::atoi(ready);
    char done = 'n';
    int fd = ::open(weights, O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd >= 0 && ::fstat(fd, &info) == 0 && info.st_size > 0) {
        const auto size = static_cast<std::size_t>(info.st_size);
        void* map = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
        if (map != MAP_FAILED) {
            // Reading one byte of every page makes the whole file resident in this process.
            volatile unsigned char sum = 0;
            const auto* bytes = static_cast<const unsigned char*>(map);
            for (std::size_t at = 0; at < size; at += 4096) sum = static_cast<unsigned char>(sum + bytes[at]);
            done = 'y';
        }
    }
    if (fd >= 0) ::close(fd);
    (void)!::write(readyFd, &done, 1);
    ::close(readyFd);
    for (;;) ::pause();
}();

}  // namespace

void writeWeightsFile(const std::string& path, std::uint64_t bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write("GGUF", 4);
    std::vector<char> block(1 << 20, '\x5a');
    for (std::uint64_t written = 4; written < bytes;) {
        const std::uint64_t chunk = std::min<std::uint64_t>(block.size(), bytes - written);
        out.write(block.data(), static_cast<std::streamsize>(chunk));
        written += chunk;
    }
}

ModelServerStandIn::ModelServerStandIn(const std::string& folder, const std::string& name, const std::string& weights,
                                       const std::string& arguments) {
    std::filesystem::create_directories(folder);
    executable_ = folder + "/" + name;
    std::filesystem::copy_file(std::filesystem::canonical("/proc/self/exe"), executable_,
                               std::filesystem::copy_options::overwrite_existing);
    ::chmod(executable_.c_str(), 0755);
    int ready[2];
    if (::pipe(ready) != 0) return;
    std::vector<std::string> words{executable_};
    for (std::size_t at = 0; at < arguments.size();) {
        std::size_t end = arguments.find(' ', at);
        if (end == std::string::npos) end = arguments.size();
        if (end > at) words.push_back(arguments.substr(at, end - at));
        at = end + 1;
    }
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    std::vector<std::string> variables;
    for (char** entry = environ; *entry; ++entry) variables.emplace_back(*entry);
    variables.push_back(std::string(WEIGHTS_VARIABLE) + "=" + weights);
    variables.push_back(std::string(READY_VARIABLE) + "=" + std::to_string(ready[1]));
    std::vector<char*> envp;
    for (std::string& variable : variables) envp.push_back(variable.data());
    envp.push_back(nullptr);
    pid_t child = 0;
    if (::posix_spawn(&child, executable_.c_str(), nullptr, nullptr, argv.data(), envp.data()) != 0) child = 0;
    ::close(ready[1]);
    char done = 'n';
    if (child > 0 && (::read(ready[0], &done, 1) != 1 || done != 'y')) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        child = 0;
    }
    ::close(ready[0]);
    pid_ = child;
}

ModelServerStandIn::~ModelServerStandIn() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove(executable_, ignored);
}

}  // namespace kelvor::testing
