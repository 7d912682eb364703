#include "tests/support/unprivileged.hpp"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kelvor::testing {

std::optional<std::string> runUnprivileged(const std::function<std::string()>& body) {
    int pipeEnds[2];
    if (::pipe(pipeEnds) != 0) return std::nullopt;
    pid_t child = ::fork();
    if (child < 0) {
        ::close(pipeEnds[0]);
        ::close(pipeEnds[1]);
        return std::nullopt;
    }
    if (child == 0) {
        ::close(pipeEnds[0]);
        if (::geteuid() == 0) {
            // The group first: after setuid the right to change it is gone.
            if (::setgroups(0, nullptr) != 0 || ::setgid(UNPRIVILEGED_ID) != 0 || ::setuid(UNPRIVILEGED_ID) != 0)
                ::_exit(3);
        }
        std::string answer = body();
        size_t written = 0;
        while (written < answer.size()) {
            ssize_t n = ::write(pipeEnds[1], answer.data() + written, answer.size() - written);
            if (n <= 0) ::_exit(4);
            written += static_cast<size_t>(n);
        }
        ::close(pipeEnds[1]);
        ::_exit(0);
    }
    ::close(pipeEnds[1]);
    std::string answer;
    char chunk[4096];
    for (ssize_t n; (n = ::read(pipeEnds[0], chunk, sizeof chunk)) > 0;) answer.append(chunk, static_cast<size_t>(n));
    ::close(pipeEnds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
    return answer;
}

}  // namespace kelvor::testing
