#include <sys/mount.h>
#include <sys/param.h>

#include "quillet/platform/mount_table.hpp"

namespace kelvor {

std::set<std::string> mountPoints() {
    std::set<std::string> points;
    struct statfs* mounts = nullptr;
    int count = ::getmntinfo(&mounts, MNT_NOWAIT);
    for (int i = 0; i < count; ++i) points.insert(mounts[i].f_mntonname);
    return points;
}

}  // namespace kelvor
