#include "quillet/platform/login_shell.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "quillet/platform/our_spawns.hpp"

extern char** environ;

namespace kelvor {

namespace {

using Clock = std::chrono::steady_clock;

// How often a read that waits for the shell to end looks again.
constexpr std::chrono::milliseconds LOOK_EVERY{10};

int millisecondsUntil(Clock::time_point deadline, std::chrono::milliseconds most) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return 0;
    return static_cast<int>(std::min(left, most).count());
}

// True once `child` has ended, without reaping it: a zombie leader keeps its process group's
// number from being reused, so the group can still be killed safely afterwards.
bool hasEnded(pid_t child) {
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0) return errno == ECHILD;
    return info.si_pid == child;
}

}  // namespace

const char* loginReadFailureReason(LoginReadFailure failure) {
    switch (failure) {
        case LoginReadFailure::cannotStart: return "the shell could not be started";
        case LoginReadFailure::timedOut: return "timed out";
        case LoginReadFailure::exitedNonZero: return "exited non-zero";
        case LoginReadFailure::tooMuchOutput: return "too much output";
    }
    return "failed";
}

// Plain POSIX, the same on every system: no pipe2 (macOS lacks it), so the read end is marked
// close-on-exec by hand; /usr/bin/env is named in full because a login shell's PATH may not hold
// /usr/bin first. A profile may close its output and sleep, or leave a background job holding the
// pipe: the read ends when the shell itself has ended, not when the pipe closes.
LoginShellRead readLoginShellEnvironment(const std::string& shell, std::chrono::milliseconds timeLimit) {
    const Clock::time_point deadline = Clock::now() + timeLimit;
    int pipeEnds[2];
    if (::pipe(pipeEnds) != 0) return {{}, LoginReadFailure::cannotStart};
    ::fcntl(pipeEnds[0], F_SETFD, FD_CLOEXEC);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);  // a group of its own, ended as a whole
    std::string loginFlag = "-l", commandFlag = "-c", command = "/usr/bin/env -0";
    char* argv[] = {const_cast<char*>(shell.c_str()), loginFlag.data(), commandFlag.data(), command.data(), nullptr};
    pid_t child = -1;
    int spawned = ::posix_spawn(&child, shell.c_str(), &actions, &attributes, argv, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeEnds[1]);
    if (spawned != 0) {
        ::close(pipeEnds[0]);
        return {{}, LoginReadFailure::cannotStart};
    }
    OurSpawns::add(child);

    std::string output;
    std::optional<LoginReadFailure> failure;
    bool pipeOpen = true;
    char buffer[65536];
    while (!failure) {
        if (Clock::now() >= deadline) {
            failure = LoginReadFailure::timedOut;
            break;
        }
        bool ended = hasEnded(child);
        if (!pipeOpen) {
            if (ended) break;
            ::poll(nullptr, 0, millisecondsUntil(deadline, LOOK_EVERY));
            continue;
        }
        // Once the shell has ended, whatever it wrote is already in the pipe: drain without waiting.
        pollfd wait{pipeEnds[0], POLLIN, 0};
        int ready = ::poll(&wait, 1, ended ? 0 : millisecondsUntil(deadline, LOOK_EVERY));
        if (ready < 0 && errno != EINTR) break;
        if (ready <= 0) {
            if (ended) break;
            continue;
        }
        ssize_t got = ::read(pipeEnds[0], buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
            pipeOpen = false;
            continue;
        }
        output.append(buffer, static_cast<size_t>(got));
        if (output.size() > LOGIN_SHELL_OUTPUT_LIMIT) failure = LoginReadFailure::tooMuchOutput;
    }
    ::close(pipeEnds[0]);
    // The leader is not reaped yet, so the group's number still names this group alone.
    ::kill(-child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    OurSpawns::remove(child);
    if (failure) return {{}, failure};
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return {{}, LoginReadFailure::exitedNonZero};
    return {parseNulEnvironment(output), std::nullopt};
}

}  // namespace kelvor
