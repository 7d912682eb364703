#include "tests/support/xfs_mount.hpp"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/run_program.hpp"

namespace kelvor::testing {

std::string firstExisting(std::initializer_list<const char*> paths) {
    for (const char* path : paths)
        if (::access(path, X_OK) == 0) return path;
    return "";
}

XfsMount::XfsMount(const std::string& image, const std::string& target) : target_(target) {
    std::string mkfs = firstExisting({"/usr/sbin/mkfs.xfs", "/sbin/mkfs.xfs"});
    std::string mount = firstExisting({"/usr/bin/mount", "/bin/mount"});
    if (mkfs.empty()) {
        reason_ = "mkfs.xfs is not installed (xfsprogs)";
        return;
    }
    if (::geteuid() != 0) {
        reason_ = "mounting a loop device needs root";
        return;
    }
    { std::ofstream(image).close(); }
    std::filesystem::resize_file(image, 400ull << 20);  // sparse: only what XFS writes takes room
    std::filesystem::create_directories(target);
    if (runProgram({mkfs, "-q", "-f", "-m", "reflink=1", image}, "").status != 0) {
        reason_ = "mkfs.xfs failed";
        return;
    }
    if (runProgram({mount, "-o", "loop", image, target}, "").status != 0) {
        reason_ = "the loop mount failed";
        return;
    }
    mounted_ = true;
}

XfsMount::~XfsMount() {
    if (mounted_) runProgram({firstExisting({"/usr/bin/umount", "/bin/umount"}), target_}, "");
}

}  // namespace kelvor::testing
