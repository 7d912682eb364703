#include "tests/support/scoped_mount.hpp"

#include <sys/mount.h>

namespace kelvor::testing {

ScopedMount ScopedMount::tmpfs(const std::string& target) {
    return {target, ::mount("kelvor-test", target.c_str(), "tmpfs", 0, "size=16m") == 0};
}

ScopedMount ScopedMount::ramfs(const std::string& target) {
    return {target, ::mount("kelvor-test", target.c_str(), "ramfs", 0, nullptr) == 0};
}

ScopedMount ScopedMount::bind(const std::string& source, const std::string& target) {
    return {target, ::mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0};
}

ScopedMount::ScopedMount(ScopedMount&& other) noexcept : target_(std::move(other.target_)), mounted_(other.mounted_) {
    other.mounted_ = false;
}

ScopedMount::~ScopedMount() {
    // Detached so a test that failed half-way with a descriptor still open cannot leave it behind.
    if (mounted_) ::umount2(target_.c_str(), MNT_DETACH);
}

}  // namespace kelvor::testing
