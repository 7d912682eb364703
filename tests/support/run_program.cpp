#include "tests/support/run_program.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

extern char** environ;

namespace kelvor::testing {

RunOutput runProgram(const std::vector<std::string>& argv, const std::string& input,
                     const std::optional<std::vector<std::string>>& environment) {
    int in[2], out[2], err[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0 || ::pipe(err) != 0) return {};
    std::vector<std::string> args = argv;
    std::vector<char*> argPointers;
    for (std::string& each : args) argPointers.push_back(each.data());
    argPointers.push_back(nullptr);
    std::vector<std::string> env = environment.value_or(std::vector<std::string>{});
    std::vector<char*> envPointers;
    for (std::string& each : env) envPointers.push_back(each.data());
    envPointers.push_back(nullptr);

    pid_t child = ::fork();
    if (child == 0) {
        ::dup2(in[0], 0);
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) ::close(fd);
        ::execve(argPointers[0], argPointers.data(), environment ? envPointers.data() : environ);
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    // SIGPIPE would kill the test if the child stops reading early; the write just fails instead.
    struct sigaction ignore {}, previous {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &previous);
    std::thread writer([fd = in[1], &input] {
        std::size_t done = 0;
        while (done < input.size()) {
            ssize_t wrote = ::write(fd, input.data() + done, input.size() - done);
            if (wrote < 0 && errno == EINTR) continue;
            if (wrote <= 0) break;
            done += static_cast<std::size_t>(wrote);
        }
        ::close(fd);
    });
    RunOutput result;
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open = 2;
    while (open > 0) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) continue;
            char buffer[65536];
            ssize_t got = ::read(fds[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(got));
            } else if (got == 0 || errno != EINTR) {
                ::close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    writer.join();
    int status = 0;
    ::waitpid(child, &status, 0);
    ::sigaction(SIGPIPE, &previous, nullptr);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace kelvor::testing
