#pragma once
// A mount made by a test and undone when the test ends, for the cases where only a real file
// system boundary shows the behaviour. Mounting needs root: tests skip without it.
#include <string>

namespace kelvor::testing {

class ScopedMount {
public:
    // A fresh tmpfs at `target` (an existing folder).
    static ScopedMount tmpfs(const std::string& target);
    // A fresh ramfs at `target` (an existing folder): a file system without user extended attributes.
    static ScopedMount ramfs(const std::string& target);
    // `source` (a folder) also visible at `target` (an existing folder).
    static ScopedMount bind(const std::string& source, const std::string& target);
    ~ScopedMount();
    ScopedMount(ScopedMount&& other) noexcept;
    ScopedMount(const ScopedMount&) = delete;
    ScopedMount& operator=(const ScopedMount&) = delete;
    ScopedMount& operator=(ScopedMount&&) = delete;

    bool mounted() const { return mounted_; }

private:
    ScopedMount(std::string target, bool mounted) : target_(std::move(target)), mounted_(mounted) {}
    std::string target_;
    bool mounted_;
};

}  // namespace kelvor::testing
