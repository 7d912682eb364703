#include "quillet/platform/login_shell.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

extern char** environ;

namespace kelvor {

// Plain POSIX, the same on every system: no pipe2 (macOS lacks it), so the read end is marked
// close-on-exec by hand; /usr/bin/env is named in full because a login shell's PATH may not hold
// /usr/bin first. A shell that hangs in its profile is killed; its partial output is not trusted.
std::map<std::string, std::string> readLoginShellEnvironment(const std::string& shell,
                                                             std::chrono::milliseconds timeLimit) {
    int pipeEnds[2];
    if (::pipe(pipeEnds) != 0) return {};
    ::fcntl(pipeEnds[0], F_SETFD, FD_CLOEXEC);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string loginFlag = "-l", commandFlag = "-c", command = "/usr/bin/env -0";
    char* argv[] = {const_cast<char*>(shell.c_str()), loginFlag.data(), commandFlag.data(), command.data(), nullptr};
    pid_t child = -1;
    int spawned = ::posix_spawn(&child, shell.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeEnds[1]);
    if (spawned != 0) {
        ::close(pipeEnds[0]);
        return {};
    }

    std::string output;
    bool timedOut = false;
    auto deadline = std::chrono::steady_clock::now() + timeLimit;
    char buffer[65536];
    while (true) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        pollfd wait{pipeEnds[0], POLLIN, 0};
        int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) {
            timedOut = true;
            break;
        }
        ssize_t got = ::read(pipeEnds[0], buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        output.append(buffer, static_cast<size_t>(got));
    }
    ::close(pipeEnds[0]);
    if (timedOut) ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (timedOut || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return {};
    return parseNulEnvironment(output);
}

}  // namespace kelvor
