// Asking an owner's app to quit so that its stores can be cleaned, and waiting for it to go.
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "quillet/guards/guards.hpp"
#include "quillet/guards/owner_guards.hpp"

namespace kelvor {

namespace {

constexpr std::chrono::milliseconds POLL_INTERVAL{300};
constexpr double FIRST_WAIT_SECONDS = 10;
constexpr double SECOND_WAIT_SECONDS = 5;

bool isAppOf(const OwnerGuard& row, const Proc& proc) {
    if (proc.path.empty()) return false;
    auto inPath = [&](std::string_view fragment) { return proc.path.find(fragment) != std::string::npos; };
    return std::any_of(row.appFragments.begin(), row.appFragments.end(), inPath) ||
           std::any_of(row.linuxAppFragments.begin(), row.linuxAppFragments.end(), inPath);
}

// The owners among `owners` with an app process still listed; all of them when the table cannot
// be read, since nothing then shows that they quit.
std::set<std::string> stillRunning(const std::set<std::string>& owners, ProcessTable& table) {
    std::optional<std::vector<Proc>> procs = runningProcessesChecked(table);
    if (!procs) return owners;
    std::set<std::string> running;
    for (const std::string& owner : owners) {
        const OwnerGuard* row = ownerGuard(owner);
        if (!row) continue;
        for (const Proc& proc : *procs)
            if (isAppOf(*row, proc)) {
                running.insert(owner);
                break;
            }
    }
    return running;
}

std::set<std::string> waitUntilGone(const std::set<std::string>& owners, ProcessTable& table, Clock& clock,
                                    double seconds) {
    const double deadline = clock.monotonicSeconds() + seconds;
    std::set<std::string> running = stillRunning(owners, table);
    while (!running.empty() && clock.monotonicSeconds() < deadline) {
        clock.sleep(POLL_INTERVAL);
        running = stillRunning(running, table);
    }
    return running;
}

}  // namespace

std::set<std::string> quitOwnersAndWait(const std::set<std::string>& owners) {
    return quitOwnersAndWait(owners, ProcessTable::real(), Clock::real());
}

std::set<std::string> quitOwnersAndWait(const std::set<std::string>& owners, ProcessTable& table, Clock& clock) {
    std::optional<std::vector<Proc>> procs = runningProcessesChecked(table);
    if (!procs) return owners;
    // Only the person's own processes are asked; a service account's (Ollama's "ollama") are not
    // theirs to stop, and stay reported as running.
    const std::int64_t me = static_cast<std::int64_t>(::getuid());
    for (const std::string& owner : owners) {
        const OwnerGuard* row = ownerGuard(owner);
        if (!row) continue;
        for (const Proc& proc : *procs)
            if (isAppOf(*row, proc) && proc.uid == me) (void)table.terminate(proc.pid);
    }
    std::set<std::string> running = waitUntilGone(owners, table, clock, FIRST_WAIT_SECONDS);
    // A slow app (saving its windows, flushing a database) gets a second, shorter wait.
    if (!running.empty()) running = waitUntilGone(running, table, clock, SECOND_WAIT_SECONDS);
    return running;
}

// No simulator runtime is controlled from here: on Linux there are none, and the macOS desktop app
// shuts its simulators down itself.
bool shutdownSimulators() { return false; }

}  // namespace kelvor
