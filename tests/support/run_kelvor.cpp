#include "tests/support/run_kelvor.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace kelvor::testing {

namespace {

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

}  // namespace

RunOutput runKelvorBinary(const std::vector<std::string>& args, const std::vector<std::string>& environment) {
    char outPath[] = "/tmp/kelvor-out-XXXXXX";
    char errPath[] = "/tmp/kelvor-err-XXXXXX";
    int outFd = ::mkstemp(outPath);
    int errFd = ::mkstemp(errPath);
    RunOutput result;
    pid_t child = ::fork();
    if (child == 0) {
        ::dup2(outFd, 1);
        ::dup2(errFd, 2);
        int devNull = ::open("/dev/null", O_RDONLY);
        ::dup2(devNull, 0);
        for (const std::string& entry : environment) {
            size_t equals = entry.find('=');
            std::string name = entry.substr(0, equals);
            std::string value = entry.substr(equals + 1);
            if (value.empty()) ::unsetenv(name.c_str());
            else ::setenv(name.c_str(), value.c_str(), 1);
        }
        std::vector<char*> argv;
        std::string program = KELVOR_BINARY;
        argv.push_back(program.data());
        std::vector<std::string> copies = args;
        for (std::string& each : copies) argv.push_back(each.data());
        argv.push_back(nullptr);
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    ::close(outFd);
    ::close(errFd);
    result.out = slurp(outPath);
    result.err = slurp(errPath);
    ::unlink(outPath);
    ::unlink(errPath);
    return result;
}

RunOutput runKelvorMode(const std::string& mode, const std::vector<std::string>& extra) {
    std::vector<std::string> args = {"--mode", mode};
    args.insert(args.end(), extra.begin(), extra.end());
    return runKelvorBinary(args, {"LANG=C", "LANGUAGE=", "LC_ALL="});
}

}  // namespace kelvor::testing
