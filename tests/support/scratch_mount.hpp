#pragma once
// A small file system mounted for one test (root only), unmounted when the test ends.
#include <string>

namespace kelvor::testing {

class ScratchMount {
public:
    // Mounts a `type` ("tmpfs", or "ramfs", which keeps no user extended attributes) at
    // `folder`, creating it. mounted() says whether that worked (it needs root).
    ScratchMount(const std::string& type, const std::string& folder);
    ~ScratchMount();
    ScratchMount(const ScratchMount&) = delete;
    ScratchMount& operator=(const ScratchMount&) = delete;

    bool mounted() const { return mounted_; }

private:
    std::string folder_;
    bool mounted_ = false;
};

}  // namespace kelvor::testing
