#pragma once
// A process that looks like a model server to the memory report: a copy of the test binary under
// a server's name that maps a weights file and touches every page of it, so that the pages are
// resident, and then waits to be killed.
#include <sys/types.h>

#include <cstdint>
#include <string>

namespace kelvor::testing {

// Writes a weights file of `bytes` bytes at `path` (GGUF magic, then filler).
void writeWeightsFile(const std::string& path, std::uint64_t bytes);

class ModelServerStandIn {
public:
    // Copies this test binary to `folder`/`name` and starts it with `arguments` after the name;
    // returns once it has mapped and touched `weights`, or failed to (then pid() is 0).
    ModelServerStandIn(const std::string& folder, const std::string& name, const std::string& weights,
                       const std::string& arguments = "");
    ~ModelServerStandIn();  // kills and reaps it
    ModelServerStandIn(const ModelServerStandIn&) = delete;
    ModelServerStandIn& operator=(const ModelServerStandIn&) = delete;

    pid_t pid() const { return pid_; }
    const std::string& executable() const { return executable_; }

private:
    pid_t pid_ = 0;
    std::string executable_;
};

}  // namespace kelvor::testing
