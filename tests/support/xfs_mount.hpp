#pragma once
// A fresh XFS with reflinks on a loop device, for the cases only a real copy-on-write file system
// shows (clones, shared extents). Needs root and xfsprogs: tests skip with the reason otherwise.
#include <string>

namespace kelvor::testing {

class XfsMount {
public:
    // Makes an XFS in the sparse file `image` and mounts it at `target` until the end of the test.
    XfsMount(const std::string& image, const std::string& target);
    ~XfsMount();
    XfsMount(const XfsMount&) = delete;
    XfsMount& operator=(const XfsMount&) = delete;

    bool mounted() const { return mounted_; }
    // Why it is not mounted.
    const std::string& reason() const { return reason_; }

private:
    std::string target_;
    std::string reason_;
    bool mounted_ = false;
};

// The first of `paths` that can be run, or "".
std::string firstExisting(std::initializer_list<const char*> paths);

}  // namespace kelvor::testing
