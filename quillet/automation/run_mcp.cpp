#include "quillet/automation/run_mcp.hpp"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "quillet/automation/line_reader.hpp"
#include "quillet/automation/server.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"

namespace kelvor {

namespace {

// Writes the whole line and its newline; a client that went away is not an error worth more
// than a log line, since nobody is left to read an answer.
void writeLine(int fd, const std::string& line) {
    std::string bytes = line + "\n";
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t wrote = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) {
            KelvorLog::write("mcp", std::string("could not write an answer: ") + std::strerror(errno));
            return;
        }
        done += static_cast<std::size_t>(wrote);
    }
}

}  // namespace

int runMcp(const Settings& settings) {
    std::fflush(stdout);
    int protocolFd = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (protocolFd < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        std::fprintf(stderr, "%s\n", trf(S::mcpServeFailed, {std::strerror(errno)}).c_str());
        return 1;
    }
    // A client that closes its end must not kill the server mid-write.
    ::signal(SIGPIPE, SIG_IGN);
    KelvorLog::write("mcp", "automation server started");
    {
        McpServer server([protocolFd](const std::string& line) { writeLine(protocolFd, line); },
                         settings.threads);
        LineReader reader(STDIN_FILENO, MCP_MAX_LINE_BYTES);
        while (std::optional<InputLine> line = reader.next()) {
            if (line->oversize) server.receiveOversize();
            else if (line->text.find_first_not_of(" \t") != std::string::npos) server.receive(line->text);
        }
        server.finish();
    }
    ::close(protocolFd);
    KelvorLog::write("mcp", "automation server stopped: input closed");
    return 0;
}

}  // namespace kelvor
