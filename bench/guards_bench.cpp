// Guards speed: gathering the process list and the open files with about 500 processes running,
// and checking 400 targets against them. Run through bench/guards.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "quillet/guards/guards.hpp"
#include "quillet/platform/home.hpp"

extern char** environ;

namespace {

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    using namespace kelvor;
    const int extra = argc > 1 ? std::atoi(argv[1]) : 500;
    std::vector<pid_t> children;
    for (int i = 0; i < extra; ++i) {
        char sleep[] = "sleep";
        char seconds[] = "120";
        char* args[] = {sleep, seconds, nullptr};
        pid_t pid = -1;
        if (::posix_spawnp(&pid, "sleep", nullptr, nullptr, args, environ) == 0) children.push_back(pid);
    }

    double bestGather = 1e9;
    std::vector<Proc> procs;
    std::vector<OpenFile> open;
    for (int round = 0; round < 5; ++round) {
        auto start = std::chrono::steady_clock::now();
        std::optional<std::vector<Proc>> listed = runningProcessesChecked();
        if (!listed) {
            std::fprintf(stderr, "the process table cannot be read\n");
            return 1;
        }
        open = openHomeFiles(*listed);
        bestGather = std::min(bestGather, secondsSince(start));
        procs = std::move(*listed);
    }

    // 400 targets against a large open-file list (the real one padded to 20,000 entries).
    const std::string home = homeDir();
    std::vector<OpenFile> many = open;
    for (int i = 0; static_cast<int>(many.size()) < 20000; ++i)
        many.push_back({1, home + "/.cache/bench-store-" + std::to_string(i % 400) + "/f" + std::to_string(i)});
    std::sort(many.begin(), many.end(), [](const OpenFile& a, const OpenFile& b) { return a.path < b.path; });
    const std::optional<std::vector<OpenFile>> files = many;
    std::size_t violations = 0;
    auto start = std::chrono::steady_clock::now();
    for (int t = 0; t < 400; ++t)
        violations += checkGuards("Ollama", home + "/.cache/bench-store-" + std::to_string(t), procs, files,
                                  LiveSafe::no, RecentWriteCheck::skip)
                          .size();
    double check = secondsSince(start);
    const OpenFileIndex index(many);
    start = std::chrono::steady_clock::now();
    for (int t = 0; t < 400; ++t)
        checkGuards("Ollama", home + "/.cache/bench-store-" + std::to_string(t), procs, &index, LiveSafe::no,
                    RecentWriteCheck::skip);
    double checkIndexed = secondsSince(start);

    for (pid_t pid : children) ::kill(pid, SIGKILL);
    for (pid_t pid : children) ::waitpid(pid, nullptr, 0);

    std::printf("processes listed: %zu, open files under home: %zu\n", procs.size(), open.size());
    std::printf("gather (best of 5): %.1f ms   target < 100 ms  %s\n", bestGather * 1000,
                bestGather < 0.1 ? "ok" : "SLOW");
    std::printf("check 400 targets x %zu open files: %.1f ms (%zu violations)\n", many.size(), check * 1000,
                violations);
    std::printf("the same through an OpenFileIndex: %.1f ms\n", checkIndexed * 1000);
    return bestGather < 0.1 ? 0 : 1;
}
