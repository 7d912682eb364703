#include "tests/support/scratch_mount.hpp"

#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>

namespace kelvor::testing {

ScratchMount::ScratchMount(const std::string& type, const std::string& folder) : folder_(folder) {
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    if (::geteuid() != 0) return;
    mounted_ = ::mount(type.c_str(), folder.c_str(), type.c_str(), 0, type == "tmpfs" ? "size=8m" : nullptr) == 0;
}

ScratchMount::~ScratchMount() {
    if (mounted_) ::umount2(folder_.c_str(), MNT_DETACH);
}

}  // namespace kelvor::testing
